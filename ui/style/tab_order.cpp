#include "ui/style/tab_order.h"

#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QRect>
#include <QWidget>
#include <algorithm>
#include <span>
#include <vector>

namespace tonalith {

namespace {

// A part of a window with the rectangle that it has there, and what Tab reaches inside.
struct Part {
  QRect place;
  std::vector<QWidget*> stops;
};

int TopOf(const Part& part) {
  return part.place.top();
}
int LeftOf(const Part& part) {
  return part.place.left();
}
int BottomOf(const Part& part) {
  return part.place.bottom();
}
int RightOf(const Part& part) {
  return part.place.right();
}

// How many of the parts stand before the first gap that goes through all of them; sorted by where they begin.
std::size_t BeforeGap(std::span<const Part> parts, int (*begin)(const Part&), int (*end)(const Part&)) {
  int reach = end(parts.front());
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (begin(parts[i]) > reach) return i;
    reach = std::max(reach, end(parts[i]));
  }
  return parts.size();
}

// Cuts at each such gap and orders what stands between; false: there is none.
bool CutAtGaps(std::span<Part> parts, int (*begin)(const Part&), int (*end)(const Part&));

void Order(std::span<Part> parts) {
  if (parts.size() < 2 || CutAtGaps(parts, TopOf, BottomOf) || CutAtGaps(parts, LeftOf, RightOf)) return;
  std::stable_sort(parts.begin(), parts.end(), [](const Part& one, const Part& other) {
    return TopOf(one) != TopOf(other) ? TopOf(one) < TopOf(other) : LeftOf(one) < LeftOf(other);
  });
}

bool CutAtGaps(std::span<Part> parts, int (*begin)(const Part&), int (*end)(const Part&)) {
  std::stable_sort(parts.begin(), parts.end(),
                   [begin](const Part& one, const Part& other) { return begin(one) < begin(other); });
  std::size_t count = BeforeGap(parts, begin, end);
  if (count == parts.size()) return false;
  while (!parts.empty()) {
    Order(parts.first(count));
    parts = parts.subspan(count);
    if (!parts.empty()) count = BeforeGap(parts, begin, end);
  }
  return true;
}

// What Tab reaches in a widget, itself first.
std::vector<QWidget*> StopsIn(QWidget* widget) {
  std::vector<QWidget*> stops;
  if (widget->focusPolicy() & Qt::TabFocus && !widget->focusProxy()) stops.push_back(widget);
  std::vector<Part> parts;
  for (QObject* object : widget->children()) {
    auto* child = qobject_cast<QWidget*>(object);
    if (!child || child->isWindow() || child->isHidden()) continue;
    Part part{child->geometry(), StopsIn(child)};
    if (widget->isRightToLeft()) part.place.moveLeft(widget->width() - 1 - part.place.right());
    if (!part.stops.empty()) parts.push_back(std::move(part));
  }
  Order(parts);
  for (const Part& part : parts) stops.insert(stops.end(), part.stops.begin(), part.stops.end());
  return stops;
}

class TabKeeper final : public QObject {
 public:
  using QObject::QObject;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    switch (event->type()) {
      case QEvent::Show:
        if (watched->isWidgetType()) Shown(static_cast<QWidget*>(watched));
        break;
      case QEvent::ShortcutOverride:
      case QEvent::KeyPress: {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool tab = key == Qt::Key_Tab || key == Qt::Key_Backtab;
        if (tab && watched->isWidgetType()) OrderTabs(static_cast<QWidget*>(watched)->window());
        break;
      }
      default:
        break;
    }
    return false;
  }

 private:
  static void Shown(QWidget* widget) {
    if (widget->windowType() == Qt::Dialog || widget->windowType() == Qt::Window) OrderTabs(widget);
  }
};

}  // namespace

void OrderTabs(QWidget* window) {
  const std::vector<QWidget*> stops = StopsIn(window);
  for (std::size_t i = 1; i < stops.size(); ++i) QWidget::setTabOrder(stops[i - 1], stops[i]);
}

void KeepTabsInOrder(QObject* application) {
  application->installEventFilter(new TabKeeper(application));
}

}  // namespace tonalith
