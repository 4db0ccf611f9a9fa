#include "studio/ui/studio_tree.h"

#include <QComboBox>
#include <QDropEvent>
#include <QHeaderView>
#include <QPainter>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QTimer>
#include <algorithm>

#include "studio/ui/studio_pictures.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/colours.h"

namespace tonalith {

namespace {

constexpr int kNodeRole = Qt::UserRole;
// With more instruments than this the drivers are not shown at first.
constexpr std::size_t kMostOpenAtFirst = 8;
constexpr int kNameCharacters = 44;

// Edits ports and channels of an instrument row with a list to choose from.
class StudioDelegate final : public QStyledItemDelegate {
 public:
  explicit StudioDelegate(ZKStudioTree* tree) : QStyledItemDelegate(tree), tree_(tree) {}

  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex& index) const override {
    ZKDrvList* node = Node(index);
    if (!node || !node->IsInstrument() || index.column() == ZKStudioTree::kName) return nullptr;
    auto* box = new QComboBox(parent);
    StudioPorts* ports = tree_->host().ports();
    const Synth* synth = FirstSynth(node);
    switch (index.column()) {
      case ZKStudioTree::kIn:
        if (ports) AddNames(box, ports->InputPortNames());
        break;
      case ZKStudioTree::kOut:
        if (ports) AddNames(box, ports->OutputPortNames());
        break;
      case ZKStudioTree::kDevice:
        for (int i = synth ? synth->sysExChannelMin : 0; i <= (synth ? synth->sysExChannelMax : 15); ++i) {
          box->addItem(QString::number(ShownDeviceNumber(synth, i)), i);
        }
        break;
      default:
        for (int i = 0; i < 16; ++i) box->addItem(QString::number(i + 1), i);
    }
    connect(box, &QComboBox::activated, this, [this, box] {
      auto* self = const_cast<StudioDelegate*>(this);
      emit self->commitData(box);
      emit self->closeEditor(box);
    });
    return box;
  }
  void setEditorData(QWidget* editor, const QModelIndex& index) const override {
    auto* box = static_cast<QComboBox*>(editor);
    box->setCurrentIndex(box->findText(index.data().toString()));
    QTimer::singleShot(0, box, &QComboBox::showPopup);
  }
  void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override {
    auto* box = static_cast<QComboBox*>(editor);
    ZKDrvList* node = Node(index);
    if (!node || box->currentIndex() < 0) return;
    // Changing the studio builds the rows anew, which must not happen under the editor.
    QMetaObject::invokeMethod(
        tree_,
        [tree = tree_, node, column = index.column(), place = box->currentIndex(), number = box->currentData().toInt(),
         name = ToUtf8(box->currentData().toString())] { Change(tree, node, column, place, number, name); },
        Qt::QueuedConnection);
  }

 private:
  static void Change(ZKStudioTree* tree, ZKDrvList* node, int column, int place, int number, const std::string& name) {
    if (!tree->studio().GetInstrumentDrvList(node)) return;
    switch (column) {
      case ZKStudioTree::kIn:
        node->SetInPort(place, name);
        break;
      case ZKStudioTree::kOut:
        node->SetOutPort(place, name);
        break;
      case ZKStudioTree::kDevice:
        node->SetSysExChannel(number);
        break;
      default:
        node->SetMidiChannel(number);
    }
    if (const Result written = tree->studio().InstrumentChanged(node); !written.ok())
      tree->host().prompts().Say("Studio", written.text);
    tree->host().StudioEdited();
    tree->Rebuild();
  }
  static void AddNames(QComboBox* box, const std::vector<std::string>& names) {
    for (const auto& name : names) {
      box->addItem(ShownUtf8(name));
      box->setItemData(box->count() - 1, FromUtf8(name));
    }
  }
  ZKDrvList* Node(const QModelIndex& index) const {
    return static_cast<ZKDrvList*>(index.sibling(index.row(), 0).data(kNodeRole).value<void*>());
  }

  ZKStudioTree* tree_;
};

}  // namespace

PortState StateOfPort(StudioPorts* ports, const std::string& name, bool input) {
  if (name.empty()) return PortState::None;
  if (!ports) return PortState::Gone;
  const auto names = input ? ports->InputPortNames() : ports->OutputPortNames();
  return std::find(names.begin(), names.end(), name) != names.end() ? PortState::There : PortState::Gone;
}

PortState StateOfInstrument(StudioPorts* ports, const ZKDrvList* instrument) {
  const PortState in = StateOfPort(ports, instrument->inPortName, true);
  const PortState out = StateOfPort(ports, instrument->outPortName, false);
  if (in == PortState::Gone || out == PortState::Gone) return PortState::Gone;
  return in == PortState::None || out == PortState::None ? PortState::None : PortState::There;
}

QString PortStateText(PortState state) {
  switch (state) {
    case PortState::There:
      return ZKStudioTree::tr("online");
    case PortState::Gone:
      return ZKStudioTree::tr("offline: the MIDI port is not there");
    default:
      return ZKStudioTree::tr("no MIDI port is chosen");
  }
}

QPixmap PortStateMark(PortState state, const QPalette& palette, int size, qreal scale) {
  QPixmap mark(QSize(size, size) * scale);
  mark.setDevicePixelRatio(scale);
  mark.fill(Qt::transparent);
  QPainter painter(&mark);
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor colour = state == PortState::There  ? ColourOf(Shade::Ok)
                        : state == PortState::Gone ? ColourOf(Shade::Danger)
                                                   : palette.color(QPalette::Disabled, QPalette::Text);
  painter.setPen(QPen(colour, 1.6));
  if (state != PortState::None) painter.setBrush(colour);
  const qreal edge = size * (state == PortState::Gone ? 0.18 : 0.26);
  painter.drawEllipse(QRectF(edge, edge, size - 2 * edge, size - 2 * edge));
  if (state != PortState::Gone) return mark;
  painter.setPen(QPen(ColourOf(Shade::Surface), 1.8));
  painter.drawLine(QPointF(edge * 1.5, size / 2.0), QPointF(size - edge * 1.5, size / 2.0));
  return mark;
}

int ShownDeviceNumber(const Synth* synth, int channel) {
  return synth && synth->sysExChannelZeroBased ? channel : channel + 1;
}

const Synth* FirstSynth(const ZKDrvList* instrument) {
  return instrument->drivers.empty() ? nullptr : instrument->drivers.front()->synth();
}

ZKStudioTree::ZKStudioTree(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent)
    : QTreeWidget(parent), studio_(studio), host_(host) {
  setHeaderLabels({tr("Instrument / Data"), tr("MIDI In"), tr("MIDI Out"), tr("Device ID"), tr("Channel")});
  setColumnCount(kColumns);
  setAlternatingRowColors(true);
  setUniformRowHeights(true);
  setAllColumnsShowFocus(true);
  setSelectionMode(ExtendedSelection);
  setItemDelegate(new StudioDelegate(this));
  setEditTriggers(SelectedClicked | EditKeyPressed);
  setExpandsOnDoubleClick(false);
  setContextMenuPolicy(Qt::CustomContextMenu);
  setDragEnabled(true);
  setAcceptDrops(true);
  setDropIndicatorShown(true);
  setDragDropMode(DragDrop);
  header()->setStretchLastSection(false);
  header()->setSectionsMovable(false);
  for (const int column : {kDevice, kChannel}) header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
  for (const int column : {kIn, kOut}) header()->setSectionResizeMode(column, QHeaderView::Stretch);
  connect(this, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* row) {
    open_[NodeOf(row)] = true;
    FitNames();
  });
  connect(this, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* row) { open_[NodeOf(row)] = false; });
}

ZKDrvList* ZKStudioTree::NodeOf(const QTreeWidgetItem* item) const {
  return item ? static_cast<ZKDrvList*>(item->data(kName, kNodeRole).value<void*>()) : nullptr;
}

ZKDrvList* ZKStudioTree::CurrentNode() const {
  return NodeOf(currentItem());
}

int ZKStudioTree::PlaceOf(const QTreeWidgetItem* item) const {
  return indexOfTopLevelItem(item && item->parent() ? item->parent() : const_cast<QTreeWidgetItem*>(item));
}

std::vector<ZKDrvList*> ZKStudioTree::SelectedInstruments() const {
  std::vector<int> places;
  for (const QTreeWidgetItem* item : selectedItems()) places.push_back(PlaceOf(item));
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  std::vector<ZKDrvList*> instruments;
  for (const int place : places) instruments.push_back(NodeOf(topLevelItem(place)));
  return instruments;
}

void ZKStudioTree::AddInstrumentRow(ZKDrvList* instrument) {
  const Synth* synth = FirstSynth(instrument);
  const int size = fontMetrics().height();
  auto* row = new QTreeWidgetItem(this);
  row->setText(kName, ShownUtf8(instrument->DisplayKey()));
  for (const bool input : {true, false}) {
    const std::string& port = input ? instrument->inPortName : instrument->outPortName;
    const PortState state = StateOfPort(host_.ports(), port, input);
    const int column = input ? kIn : kOut;
    row->setText(column, ShownUtf8(port));
    row->setIcon(column, QIcon(PortStateMark(state, palette(), size, devicePixelRatioF())));
    SetToolTip(row, column, port.empty() ? PortStateText(state) : ShownUtf8(port) + '\n' + PortStateText(state));
  }
  row->setText(kDevice, QString::number(ShownDeviceNumber(synth, instrument->sysExChannel)));
  row->setText(kChannel, QString::number(instrument->midiChannel + 1));
  row->setData(kName, kNodeRole, QVariant::fromValue(static_cast<void*>(instrument)));
  row->setFlags(row->flags() | Qt::ItemIsEditable | Qt::ItemIsDragEnabled);
  QFont bold = font();
  bold.setBold(true);
  row->setFont(kName, bold);
  for (const auto& driver : instrument->drivers) {
    auto* child = new QTreeWidgetItem(row);
    child->setText(kName, ShownLatin1(driver->TypeName()));
    child->setIcon(kName, DriverIcon(driver.get(), palette(), size));
    child->setData(kName, kNodeRole, QVariant::fromValue(static_cast<void*>(driver.get())));
    SetToolTip(child, kName, tr("Double-click to get this data from the instrument"));
    child->setFlags(child->flags() & ~Qt::ItemIsDragEnabled);
  }
}

// A long name must not push the other columns out of the window.
void ZKStudioTree::FitNames() {
  const int wanted = std::max(sizeHintForColumn(kName), header()->sectionSizeHint(kName));
  header()->resizeSection(kName, std::min(wanted, kNameCharacters * fontMetrics().averageCharWidth()));
}

void ZKStudioTree::SetCurrentNode(const ZKDrvList* node) {
  for (QTreeWidgetItemIterator it(this); *it; ++it) {
    if (NodeOf(*it) == node) return setCurrentItem(*it);
  }
}

void ZKStudioTree::Rebuild() {
  // The nodes may be gone, so they are only compared.
  const ZKDrvList* current = CurrentNode();
  const int place = topLevelItemCount() > 0 && currentItem() ? PlaceOf(currentItem()) : 0;
  const QSignalBlocker quiet(this);
  setUpdatesEnabled(false);
  clear();
  std::map<const ZKDrvList*, bool> open;
  const bool few = studio_.instruments().size() <= kMostOpenAtFirst;
  for (const auto& instrument : studio_.instruments()) {
    AddInstrumentRow(instrument.get());
    const auto known = open_.find(instrument.get());
    open[instrument.get()] = known == open_.end() ? few : known->second;
  }
  open_ = std::move(open);
  SetCurrentNode(current);
  if (!currentItem()) setCurrentItem(topLevelItem(std::clamp(place, 0, std::max(0, topLevelItemCount() - 1))));
  Filter(filter_);
  setUpdatesEnabled(true);
  FitNames();
}

void ZKStudioTree::Filter(const QString& text) {
  filter_ = text;
  // What is opened to show a find is not the user's choice.
  const QSignalBlocker quiet(this);
  for (int i = 0; i < topLevelItemCount(); ++i) {
    QTreeWidgetItem* row = topLevelItem(i);
    const bool whole = row->text(kName).contains(text, Qt::CaseInsensitive);
    bool any = whole;
    for (int k = 0; k < row->childCount(); ++k) {
      const bool match = whole || row->child(k)->text(kName).contains(text, Qt::CaseInsensitive);
      row->child(k)->setHidden(!match);
      any = any || match;
    }
    row->setHidden(!any);
    row->setExpanded(open_[NodeOf(row)] || (any && !whole));
  }
}

void ZKStudioTree::dropEvent(QDropEvent* event) {
  // Only rows of this tree; the document moves, and the rows follow it.
  if (event->source() != this || !currentItem()) return event->ignore();
  const int from = PlaceOf(currentItem());
  const QTreeWidgetItem* under = itemAt(event->position().toPoint());
  int to = under ? PlaceOf(under) : topLevelItemCount() - 1;
  if (under && !under->parent() && dropIndicatorPosition() == AboveItem && to > from) --to;
  if (under && (under->parent() || dropIndicatorPosition() == BelowItem) && to < from) ++to;
  event->setDropAction(Qt::CopyAction);
  event->accept();
  if (from >= 0 && to >= 0 && from != to) emit Moved(from, to);
}

void ZKStudioTree::changeEvent(QEvent* event) {
  QTreeWidget::changeEvent(event);
  // The drawn pictures have the colours of the palette.
  if (event->type() == QEvent::PaletteChange && topLevelItemCount() > 0)
    QMetaObject::invokeMethod(
        this, [this] { Rebuild(); }, Qt::QueuedConnection);
}

}  // namespace tonalith
