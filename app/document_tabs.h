#pragma once

#include <QPointer>
#include <QWidget>
#include <span>
#include <vector>

#include "app/tab_layout.h"
#include "ui/window_base.h"

class QSplitter;

namespace tonalith {

class TabDropMark;
class TabPane;

// Windows as tabs, in panes side by side and one above the other.  Tabs are dragged between panes; dropped on a side of
// a pane they get a pane of their own there.
class DocumentTabs final : public QWidget {
  Q_OBJECT

 public:
  enum class Side { Middle, Left, Right, Top, Bottom };

  explicit DocumentTabs(QWidget* parent = nullptr);

  // Into the pane where `beside` is; without it into the one used last.
  void Add(ZKWindow* window, const ZKWindow* beside = nullptr);
  // The window leaves and goes on without the tabs.
  void Take(ZKWindow* window);
  // The window closes itself; its tab goes.
  void Drop(ZKWindow* window);
  // Brings a window to the front of its pane, which is then the one used last.
  void Show(ZKWindow* window);
  // The window in front of the pane used last; null: none.
  ZKWindow* Current() const;
  // In the order of panes and tabs.
  std::vector<ZKWindow*> Windows() const;
  // Its title or its mark of unsaved changes is another.
  void Rename(const ZKWindow* window);

  // To a pane on this side of its own, or of `target`; false: it is alone there.
  bool Move(ZKWindow* window, Side side, TabPane* target = nullptr, int index = -1);
  bool CanSplit(const ZKWindow* window) const;
  int Panes() const;
  // Where the window's pane stands.
  QRect PlaceOf(const ZKWindow* window) const;
  // Panes for windows that are all there, as they stood in `places` (one a window).
  void Arrange(const std::vector<ZKWindow*>& windows, std::span<const DesktopRect> places);

 signals:
  // A window came to the front by its tab.
  void Shown(ZKWindow* window);
  void CloseWanted(ZKWindow* window);
  // The right button was pressed beside the tabs; a place on the screen.
  void MenuWanted(const QPoint& at);

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dragLeaveEvent(QDragLeaveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  struct DropPlace {
    TabPane* pane = nullptr;
    Side side = Side::Middle;
    int index = -1;  // in the bar; -1: at the end
    QRect mark;
  };
  TabPane* MakePane();
  TabPane* PaneOf(const ZKWindow* window) const;
  std::vector<TabPane*> AllPanes() const;
  void RemoveIfEmpty(TabPane* pane);
  void Use(TabPane* pane);
  void Split(TabPane* pane, QWidget* added, Side side);
  QWidget* Build(const TabLayout& layout, const std::vector<ZKWindow*>& windows);
  void Drag(ZKWindow* window);
  DropPlace PlaceAt(const QPoint& at) const;

  QSplitter* root_;
  TabPane* last_ = nullptr;     // used last
  QPointer<ZKWindow> dragged_;  // while its tab is
  TabDropMark* mark_;
};

}  // namespace tonalith
