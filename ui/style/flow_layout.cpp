#include "ui/style/flow_layout.h"

#include <QStyle>
#include <QWidget>
#include <algorithm>

namespace tonalith {

FlowLayout::FlowLayout(QWidget* parent, int gap) : QLayout(parent) {
  setContentsMargins(0, 0, 0, 0);
  setSpacing(gap);
}

FlowLayout::~FlowLayout() = default;

void FlowLayout::addItem(QLayoutItem* item) {
  items_.emplace_back(item);
}

QLayoutItem* FlowLayout::itemAt(int index) const {
  return index >= 0 && index < count() ? items_[static_cast<std::size_t>(index)].get() : nullptr;
}

QLayoutItem* FlowLayout::takeAt(int index) {
  if (index < 0 || index >= count()) return nullptr;
  QLayoutItem* item = items_[static_cast<std::size_t>(index)].release();
  items_.erase(items_.begin() + index);
  return item;
}

QSize FlowLayout::sizeHint() const {
  int width = 0, height = 0;
  for (const auto& item : items_) {
    width += item->sizeHint().width() + spacing();
    height = std::max(height, item->sizeHint().height());
  }
  return {std::max(0, width - spacing()), height};
}

QSize FlowLayout::minimumSize() const {
  QSize size;
  for (const auto& item : items_) size = size.expandedTo(item->minimumSize());
  return size;
}

void FlowLayout::setGeometry(const QRect& rect) {
  QLayout::setGeometry(rect);
  Arrange(rect, true);
}

int FlowLayout::Arrange(const QRect& rect, bool apply) const {
  const Qt::LayoutDirection direction = parentWidget() ? parentWidget()->layoutDirection() : Qt::LeftToRight;
  int x = rect.left(), y = rect.top(), line = 0;
  std::vector<std::pair<QLayoutItem*, QRect>> placed;  // of the line
  // What is lower than its line stands in the middle of it.
  const auto endLine = [&] {
    for (const auto& [item, place] : placed)
      if (apply)
        item->setGeometry(QStyle::visualRect(direction, rect, place.translated(0, (line - place.height()) / 2)));
    placed.clear();
  };
  for (const auto& item : items_) {
    const QSize size = item->sizeHint().boundedTo(QSize(std::max(1, rect.width()), QLAYOUTSIZE_MAX));
    if (x > rect.left() && x + size.width() > rect.right() + 1) {
      endLine();
      x = rect.left();
      y += line + spacing();
      line = 0;
    }
    placed.emplace_back(item.get(), QRect(QPoint(x, y), size));
    x += size.width() + spacing();
    line = std::max(line, size.height());
  }
  endLine();
  return y + line - rect.top();
}

}  // namespace tonalith
