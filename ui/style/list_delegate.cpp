#include "ui/style/list_delegate.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QListView>
#include <QPainter>
#include <QTableView>
#include <QTreeView>

#include "ui/style/plain_text.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kMarkStep = kMarkSize + kSmallGap;

// The marks at the right end begin here, as wide as they are.
int WidthOfMarks(std::size_t count) {
  return static_cast<int>(count) * kMarkStep;
}

void PaintMarks(QPainter* painter, QRect place, const std::vector<Mark>& marks, bool leftToRight) {
  for (const Mark mark : marks) {
    const QRect one(leftToRight ? place.left() : place.right() + 1 - kMarkSize, place.top(), kMarkSize, place.height());
    PaintMark(painter, one, mark);
    place.adjust(leftToRight ? kMarkStep : 0, 0, leftToRight ? 0 : -kMarkStep, 0);
  }
}

}  // namespace

QVariant MarksOf(std::initializer_list<Mark> marks) {
  return MarksOf(std::vector<Mark>(marks));
}

QVariant MarksOf(const std::vector<Mark>& marks) {
  unsigned bits = 0;
  for (const Mark mark : marks) bits |= 1U << static_cast<unsigned>(mark);
  return bits;
}

std::vector<Mark> MarksIn(const QVariant& data) {
  std::vector<Mark> marks;
  const unsigned bits = data.toUInt();
  for (unsigned i = 0; i < kMarks; ++i)
    if (bits >> i & 1U) marks.push_back(static_cast<Mark>(i));
  return marks;
}

QString MarksText(const std::vector<Mark>& marks) {
  QStringList words;
  for (const Mark mark : marks) words << MarkText(mark);
  return words.join(QStringLiteral(", "));
}

ListDelegate::ListDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

int ListDelegate::PlacesOf(const QModelIndex& index) const {
  return markPlaces_ > 0 ? markPlaces_ : static_cast<int>(MarksIn(index.data(kMarksRole)).size());
}

QRect ListDelegate::TextPlace(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  int left = kSmallGap + PlacesOf(index) * kMarkStep;
  if (!option.icon.isNull()) left += option.decorationSize.width() + kGap;
  int right = kSmallGap + WidthOfMarks(MarksIn(index.data(kAsideMarksRole)).size());
  if (const QString aside = index.data(kAsideRole).toString(); !aside.isEmpty())
    right += option.fontMetrics.horizontalAdvance(aside) + kGap;
  if (option.features & QStyleOptionViewItem::HasCheckIndicator) left += kGlyph + kGap;
  return QStyle::visualRect(option.direction, option.rect, option.rect.adjusted(left, 0, -right, 0));
}

void ListDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given, const QModelIndex& index) const {
  QStyleOptionViewItem option = given;
  initStyleOption(&option, index);
  const bool leftToRight = option.direction == Qt::LeftToRight;
  const bool selected = option.state & QStyle::State_Selected;
  const bool number = index.data(kNumberRole).toBool();
  const bool quiet = index.data(kQuietRole).toBool();
  const QStyle* style = option.widget ? option.widget->style() : QApplication::style();
  painter->save();
  style->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, painter, option.widget);
  const auto visual = [&](int x, int width) {
    return QStyle::visualRect(option.direction, option.rect,
                              QRect(option.rect.left() + x, option.rect.top(), width, option.rect.height()));
  };
  int x = kSmallGap;
  if (option.features & QStyleOptionViewItem::HasCheckIndicator) {
    QStyleOptionViewItem check = option;
    check.rect = style->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, option.widget);
    check.state &= ~QStyle::State_HasFocus;
    check.state |= option.checkState == Qt::Checked     ? QStyle::State_On
                   : option.checkState == Qt::Unchecked ? QStyle::State_Off
                                                        : QStyle::State_NoChange;
    style->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &check, painter, option.widget);
    x += kGlyph + kGap;
  }
  const int places = PlacesOf(index);
  PaintMarks(painter, visual(x, places * kMarkStep), MarksIn(index.data(kMarksRole)), leftToRight);
  x += places * kMarkStep;
  if (!option.icon.isNull()) {
    const QIcon::Mode mode = option.state & QStyle::State_Enabled ? QIcon::Normal : QIcon::Disabled;
    option.icon.paint(painter, visual(x, option.decorationSize.width()), Qt::AlignCenter, mode);
  }
  const std::vector<Mark> asides = MarksIn(index.data(kAsideMarksRole));
  const int asideWidth = WidthOfMarks(asides.size());
  PaintMarks(painter, visual(option.rect.width() - asideWidth, asideWidth), asides, leftToRight);
  const bool enabled = option.state & QStyle::State_Enabled;
  const QColor secondary = ColourOf(enabled ? Shade::Secondary : Shade::Faint);
  const int flags = Qt::AlignVCenter | Qt::TextSingleLine;
  if (const QString aside = index.data(kAsideRole).toString(); !aside.isEmpty()) {
    painter->setPen(secondary);
    painter->setFont(TabularFont(given.font));
    painter->drawText(visual(0, option.rect.width() - asideWidth - kSmallGap - (asides.empty() ? kSmallGap : 0)),
                      flags | static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignRight)), aside);
  }
  QFont font = number ? TabularFont(option.font) : option.font;
  font.setItalic(quiet || font.italic());
  const QVariant own = index.data(Qt::ForegroundRole);
  const QColor colour = own.isValid() && !selected ? qvariant_cast<QBrush>(own).color()
                        : !enabled                 ? ColourOf(Shade::Faint)
                        : number || quiet          ? secondary
                                                   : ColourOf(Shade::Text);
  painter->setPen(colour);
  painter->setFont(font);
  const QRect place = TextPlace(option, index);
  const QString text = QFontMetrics(font).elidedText(option.text, option.textElideMode, place.width());
  const Qt::Alignment alignment =
      QStyle::visualAlignment(option.direction, number ? Qt::AlignRight : option.displayAlignment) &
      Qt::AlignHorizontal_Mask;
  // What is being edited stands in the editor, which need not cover all of the text.
  const auto* view = qobject_cast<const QAbstractItemView*>(option.widget);
  if (!view || !view->indexWidget(index)) painter->drawText(place, flags | static_cast<int>(alignment), text);
  if (const QVariant progress = index.data(kProgressRole); progress.isValid()) {
    const QRect groove(option.rect.left() + kSmallGap, option.rect.bottom() - 1, option.rect.width() - kGap, 2);
    painter->fillRect(groove, ColourOf(Shade::Line));
    QRect done = groove;
    done.setWidth(groove.width() * std::clamp(progress.toInt(), 0, 100) / 100);
    painter->fillRect(QStyle::visualRect(option.direction, groove, done), ColourOf(Shade::Busy));
  }
  if (option.state & QStyle::State_HasFocus) {
    QStyleOptionFocusRect focus;
    focus.QStyleOption::operator=(option);
    style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, option.widget);
  }
  painter->restore();
}

QSize ListDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  QSize size = QStyledItemDelegate::sizeHint(option, index);
  const int aside = option.fontMetrics.horizontalAdvance(index.data(kAsideRole).toString());
  size.rwidth() += PlacesOf(index) * kMarkStep + WidthOfMarks(MarksIn(index.data(kAsideMarksRole)).size()) + kGap +
                   (aside ? aside + kGap : 0);
  size.setHeight(std::max(size.height(), RowHeight(option.fontMetrics)));
  return size;
}

// The text alone is edited; marks and number stay.
void ListDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& given,
                                        const QModelIndex& index) const {
  QStyleOptionViewItem option = given;
  initStyleOption(&option, index);
  editor->setGeometry(TextPlace(option, index).adjusted(-kSmallGap, 0, kSmallGap, 0));
}

// A row without a tool tip of its own says what its marks mean.
bool ListDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                             const QModelIndex& index) {
  if (event->type() == QEvent::ToolTip && index.isValid() && index.data(Qt::ToolTipRole).toString().isEmpty()) {
    std::vector<Mark> marks = MarksIn(index.data(kMarksRole));
    const std::vector<Mark> asides = MarksIn(index.data(kAsideMarksRole));
    marks.insert(marks.end(), asides.begin(), asides.end());
    if (!marks.empty()) {
      ShowToolTip(event->globalPos(), MarksText(marks), view->viewport(), option.rect);
      return true;
    }
  }
  return QStyledItemDelegate::helpEvent(event, view, option, index);
}

ListDelegate* DressList(QAbstractItemView* view) {
  auto* delegate = new ListDelegate(view);
  view->setItemDelegate(delegate);
  view->setFrameShape(QFrame::NoFrame);
  view->viewport()->setAttribute(Qt::WA_Hover);
  view->setMouseTracking(true);
  view->setTextElideMode(Qt::ElideRight);
  view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  view->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  if (auto* table = qobject_cast<QTableView*>(view)) {
    table->setShowGrid(false);
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(RowHeight(view->fontMetrics()));
    table->verticalHeader()->setMinimumSectionSize(RowHeight(view->fontMetrics()));
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
  }
  if (auto* tree = qobject_cast<QTreeView*>(view)) {
    tree->setUniformRowHeights(true);
    // Qt does not measure the rows again that are there already.
    if (tree->model()) tree->doItemsLayout();
    tree->setIndentation(kWideGap);
  }
  return delegate;
}

}  // namespace tonalith
