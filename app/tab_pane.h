#pragma once

#include <QStackedLayout>
#include <QTabBar>
#include <QWidget>
#include <vector>

class QHBoxLayout;

namespace tonalith {

class ZKWindow;

// The tabs of a pane.  Each has a place at its right for the mark of unsaved changes and the cross that closes it; the
// middle button closes as well.  A tab that is dragged out of the bar can be dropped in any pane.
class WindowTabBar final : public QTabBar {
  Q_OBJECT

 public:
  explicit WindowTabBar(QWidget* parent = nullptr);

  ZKWindow* WindowAt(int index) const;
  int IndexOf(const ZKWindow* window) const;
  // The title is read again.
  void Name(int index);
  // The pane is the one that commands go to.
  void SetActive(bool active);

 signals:
  void CloseWanted(ZKWindow* window);
  void DragWanted(ZKWindow* window);

 protected:
  QSize tabSizeHint(int index) const override;
  QSize minimumTabSizeHint(int index) const override { return tabSizeHint(index); }
  void initStyleOption(QStyleOptionTab* option, int index) const override;
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  bool event(QEvent* event) override;

 private:
  QRect EndOf(int index) const;
  void Hover(const QPoint& at);

  int hovered_ = -1;    // tab under the pointer
  bool onEnd_ = false;  // and the pointer is on its cross
  int closing_ = -1;    // tab whose cross, or whose middle, was pressed
  bool active_ = false;
  bool dragging_ = false;
};

// As large as the page in front needs.  The others are not asked: with a hundred of them each layout would take long.
class PageStack final : public QStackedLayout {
  Q_OBJECT

 public:
  using QStackedLayout::QStackedLayout;
  bool hasHeightForWidth() const override { return false; }
  int heightForWidth(int) const override { return -1; }
  QSize sizeHint() const override;
  QSize minimumSize() const override;
};

// Windows behind each other, with a tab for each.
class TabPane final : public QWidget {
  Q_OBJECT

 public:
  explicit TabPane(QWidget* parent = nullptr);

  WindowTabBar* bar() const { return bar_; }
  // At the end, or before the tab at `index`; the window is the pane's until it is taken or closes.
  void Add(ZKWindow* window, int index = -1);
  // The window leaves the pane and goes on without it.
  void Take(ZKWindow* window);
  // The window closes itself; its tab goes.
  void Drop(ZKWindow* window);
  void Show(ZKWindow* window);
  bool Holds(const ZKWindow* window) const;
  bool Empty() const;
  ZKWindow* Current() const;
  std::vector<ZKWindow*> Windows() const;  // in the order of their tabs

 signals:
  // Another window came to the front by its tab.
  void Shown(ZKWindow* window);

 private:
  void CurrentChanged(int index);

  WindowTabBar* bar_;
  PageStack* stack_;
  bool quiet_ = false;
};

}  // namespace tonalith
