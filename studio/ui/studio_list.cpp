#include "studio/ui/studio_list.h"

#include <QDropEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <algorithm>

#include "studio/device_ids.h"
#include "studio/ui/studio_pictures.h"
#include "studio/ui/studio_tree.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

enum PanelRole { kPanelNodeRole = Qt::UserRole, kLinesRole, kStateRole, kPanelSearchRole };
constexpr int kMargin = kGap;
constexpr int kCompactPicture = 0;

class PanelDelegate final : public QStyledItemDelegate {
 public:
  explicit PanelDelegate(ZKStudioList* list) : QStyledItemDelegate(list), list_(list) {}

  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
    const int text = option.fontMetrics.averageCharWidth() * 32;
    const int lines = option.fontMetrics.height() * 4;
    const int picture = list_->compact() ? kCompactPicture : kInstrumentPicture.width() + kMargin;
    const int height = list_->compact() ? lines : std::max(kInstrumentPicture.height(), lines);
    // A narrow dock shows panels as wide as it is: their lines are shortened, not cut off.
    return {std::min(picture + text + 4 * kMargin, list_->viewport()->width()), height + 4 * kMargin};
  }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const bool selected = option.state & QStyle::State_Selected;
    const QRect panel = option.rect.adjusted(kMargin / 2, kMargin / 2, -kMargin / 2, -kMargin / 2);
    const bool focused = option.state & QStyle::State_HasFocus;
    painter->setPen(QPen(ColourOf(focused ? Shade::Accent : Shade::Line), focused ? 2 : 1));
    painter->setBrush(ColourOf(selected ? Shade::Selection : Shade::Surface));
    painter->drawRoundedRect(QRectF(panel).adjusted(0.5, 0.5, -0.5, -0.5), kRound, kRound);
    QRect inner = panel.adjusted(kMargin, kMargin, -kMargin, -kMargin);
    if (!list_->compact()) {
      const auto picture = index.data(Qt::DecorationRole).value<QPixmap>();
      const QSizeF size = picture.deviceIndependentSize();
      painter->drawPixmap(QPointF(inner.left() + (kInstrumentPicture.width() - size.width()) / 2,
                                  inner.center().y() - size.height() / 2 + 0.5),
                          picture);
      inner.setLeft(inner.left() + kInstrumentPicture.width() + kMargin);
    }
    if (!selected && !list_->pictures().unselectedOverlay().isNull())
      painter->drawTiledPixmap(panel, list_->pictures().unselectedOverlay());
    PaintText(painter, option, index, inner);
    painter->restore();
  }

 private:
  void PaintText(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index, QRect inner) const {
    const int line = option.fontMetrics.height();
    const auto state = static_cast<PortState>(index.data(kStateRole).toInt());
    const int top = inner.top() + std::max(0, (inner.height() - 4 * line) / 2);
    PaintMark(painter, QRect(inner.right() - line, top, line, line), PortStateMark(state));
    painter->setPen(ColourOf(Shade::Text));
    const QFont bold = HeadingFont(option.font);
    painter->setFont(bold);
    const QFontMetrics boldMetrics(bold);
    painter->drawText(QRect(inner.left(), top, inner.width() - line - kMargin, line), Qt::AlignVCenter,
                      boldMetrics.elidedText(index.data().toString(), Qt::ElideRight, inner.width() - line - kMargin));
    painter->setFont(option.font);
    painter->setPen(ColourOf(Shade::Secondary));
    int y = top + line;
    for (const QString& text : index.data(kLinesRole).toStringList()) {
      painter->drawText(QRect(inner.left(), y, inner.width(), line), Qt::AlignVCenter,
                        option.fontMetrics.elidedText(text, Qt::ElideMiddle, inner.width()));
      y += line;
    }
  }

  ZKStudioList* list_;
};

}  // namespace

ZKStudioList::ZKStudioList(ZKStudioDoc& studio, StudioWindowHost& host, const StudioPictures& pictures, QWidget* parent)
    : QListWidget(parent), studio_(studio), host_(host), pictures_(pictures) {
  setItemDelegate(new PanelDelegate(this));
  setFlow(LeftToRight);
  setWrapping(true);
  setResizeMode(Adjust);
  setUniformItemSizes(true);
  setSelectionMode(ExtendedSelection);
  setContextMenuPolicy(Qt::CustomContextMenu);
  setVerticalScrollMode(ScrollPerPixel);
  setDragEnabled(true);
  setAcceptDrops(true);
  setDropIndicatorShown(true);
  setDragDropMode(DragDrop);
  setFrameShape(QFrame::NoFrame);
}

ZKDrvList* ZKStudioList::InstrumentOf(const QListWidgetItem* item) const {
  return item ? static_cast<ZKDrvList*>(item->data(kPanelNodeRole).value<void*>()) : nullptr;
}

ZKDrvList* ZKStudioList::CurrentInstrument() const {
  return InstrumentOf(currentItem());
}

void ZKStudioList::SetCurrentInstrument(const ZKDrvList* instrument) {
  for (int i = 0; i < count(); ++i) {
    if (InstrumentOf(item(i)) == instrument) return setCurrentRow(i);
  }
}

std::vector<ZKDrvList*> ZKStudioList::SelectedInstruments() const {
  std::vector<ZKDrvList*> found;
  for (int i = 0; i < count(); ++i) {
    if (item(i)->isSelected()) found.push_back(InstrumentOf(item(i)));
  }
  return found;
}

void ZKStudioList::Rebuild() {
  const ZKDrvList* current = CurrentInstrument();
  const int place = std::max(0, currentRow());
  const QSignalBlocker quiet(this);
  clear();
  for (const auto& instrument : studio_.instruments()) {
    const Synth* synth = DeviceIdSynth(*instrument);
    const QString channel = tr("channel %1").arg(instrument->midiChannel + 1);
    const auto port = [](const std::string& name) { return name.empty() ? tr("unassigned") : ShownUtf8(name); };
    auto* panel = new QListWidgetItem(ShownUtf8(instrument->DisplayKey()), this);
    panel->setData(kPanelNodeRole, QVariant::fromValue(static_cast<void*>(instrument.get())));
    panel->setData(
        kLinesRole,
        QStringList{
            tr("In: %1").arg(port(instrument->inPortName)), tr("Out: %1").arg(port(instrument->outPortName)),
            synth ? tr("Device ID %1, %2").arg(ShownDeviceId(synth, instrument->sysExChannel)).arg(channel) : channel});
    const PortState state = StateOfInstrument(host_.ports(), instrument.get());
    panel->setData(kStateRole, static_cast<int>(state));
    QString search = panel->text();
    for (const auto& driver : instrument->drivers) search += '\n' + ShownLatin1(driver->TypeName());
    panel->setData(kPanelSearchRole, search);
    SetToolTip(panel, panel->text() + '\n' + PortStateText(state));
    panel->setData(Qt::AccessibleTextRole, panel->text() + ", " +
                                               panel->data(kLinesRole).toStringList().join(QStringLiteral(", ")) +
                                               ", " + PortStateText(state));
    if (!compact_)
      panel->setData(Qt::DecorationRole,
                     InstrumentPicture(studio_, instrument.get(), kInstrumentPicture, devicePixelRatioF()));
  }
  SetCurrentInstrument(current);
  if (!currentItem() && count() > 0) setCurrentRow(std::min(place, count() - 1));
  Filter(filter_);
}

int ZKStudioList::Filter(const SearchWords& words) {
  filter_ = words;
  int hits = 0;
  for (int i = 0; i < count(); ++i) {
    const bool hit = words.Match(item(i)->data(kPanelSearchRole).toString());
    item(i)->setHidden(!hit);
    hits += hit ? 1 : 0;
  }
  return hits;
}

void ZKStudioList::SetCompact(bool compact) {
  if (compact_ == compact) return;
  compact_ = compact;
  Rebuild();
  doItemsLayout();
}

void ZKStudioList::dropEvent(QDropEvent* event) {
  // Only panels of this list; the document moves, and the panels follow it.
  if (event->source() != this || currentRow() < 0) return event->ignore();
  const int from = currentRow();
  const QPoint at = event->position().toPoint();
  const QModelIndex under = indexAt(at);
  int to = under.isValid() ? under.row() : count() - 1;
  if (under.isValid()) {
    const bool behind = at.x() > visualRect(under).center().x();
    if (to > from && !behind) --to;
    if (to < from && behind) ++to;
  }
  event->setDropAction(Qt::CopyAction);
  event->accept();
  if (from != to) emit Moved(from, to);
}

void ZKStudioList::changeEvent(QEvent* event) {
  QListWidget::changeEvent(event);
  if (event->type() == QEvent::PaletteChange && count() > 0)
    QMetaObject::invokeMethod(
        this, [this] { Rebuild(); }, Qt::QueuedConnection);
}

void ZKStudioList::paintEvent(QPaintEvent* event) {
  if (!pictures_.background().isNull()) {
    QPainter painter(viewport());
    painter.drawTiledPixmap(viewport()->rect(), pictures_.background());
  }
  QListWidget::paintEvent(event);
}

}  // namespace tonalith
