#pragma once

#include <QObject>
#include <QPointer>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "services/desktop_file.h"
#include "ui/window_base.h"

class QAction;
class QMenu;
class QRect;
class QStackedWidget;
class QWidget;

namespace tonalith {

class DocumentTabs;
class FreeWindows;
class StudioDock;
class WindowCounters;
class WindowPlaces;

// The child windows of a main window: which there are, which is active, where they stand, and messages to all of them.
// As tabs, the studio stands in its dock beside the centre; as free windows, all stand inside the centre.
class ChildWindows final : public QObject {
  Q_OBJECT

 public:
  // `places` (where windows of each kind stood), `counters` and the dock must outlive this.
  ChildWindows(WindowPlaces& places, WindowCounters& counters, StudioDock& dock, QWidget* parent);
  ~ChildWindows() override;
  // At the end of the main window: deletes what is left without asking; nobody is told any more.
  void DeleteAll();

  // What stands in the middle of the main window; shows `empty` while no window stands there.
  QWidget* centre() const;
  void SetEmptyPage(QWidget* empty);

  // Shows a window, which is owned by the place it stands in from now on.
  void Add(ZKWindow* window);
  // Brings a window to the front and gives it the focus.
  void Activate(ZKWindow* window);
  // The keys go to the one in front.
  void FocusFront();
  // The window that commands go to: the one used last.
  ZKWindow* Active() const { return active_; }
  // The studio first where it is in its dock, then in the order of the tabs; free windows in the order they came.
  std::vector<ZKWindow*> All() const;
  bool Empty() const { return windows_.empty(); }
  // The first window that fits; null when none does.
  ZKWindow* FirstThat(const std::function<bool(ZKWindow&)>& fits) const;
  // What is done to one window may close another.
  void ForEach(const std::function<void(ZKWindow&)>& action) const;

  // ---- messages to every window
  void DistributeToAllWindows(std::uint32_t message, std::uint64_t wParam, std::int64_t lParam) const;
  void DistributeCntrlToAllWindows(int controller, int value) const;
  void DistributeMIDIToAllWindows(int port, std::uint32_t shortMessage) const;

  // ---- closing
  // Asks every window whether it may close; none closes.  False: one of them stays.
  bool VerifyCloseAll() const;
  // Asks every window, and closes all of them or, when one stays, none.  The studio stays in its dock.
  bool CloseAll();
  void CloseActive();

  // ---- arranging
  void ShowFree(bool free);
  bool AreFree() const { return isFree_; }
  void Cascade();
  void Tile();
  void Next();
  bool CanSplit() const;
  // A pane of its own for the active tab, at the right of its pane or below it.
  void Split(bool right);
  void StorePlaces() const;
  // Where a window stands inside the centre; none: it has no place of its own there.
  std::optional<QRect> PlaceOf(const ZKWindow* window) const;
  // Gives windows the places they had; as tabs: panes that stand so.
  void Arrange(const std::vector<ZKWindow*>& windows, std::span<const DesktopRect> places);
  // Puts the windows at the end of a menu, the active one checked.
  void ListIn(QMenu* menu);

 signals:
  // A window came, went, came to the front or changed its state.
  void Changed();
  void StatusMessage(const QString& text);
  // The right button was pressed on the background; a place on the screen.
  void BackgroundMenu(const QPoint& at);

 private:
  bool InDock(const ZKWindow* window) const;
  void Rename(ZKWindow* window);
  void Host(ZKWindow* window);
  void Unhost(ZKWindow* window);
  void Closing(ZKWindow* window);
  void SetActive(ZKWindow* window);
  void FocusMoved(QWidget* now);
  void Focus(ZKWindow* window);
  void ShowPage();
  ZKWindow* InFront() const;

  WindowCounters& counters_;
  StudioDock& dock_;
  QPointer<QStackedWidget> centre_;
  DocumentTabs* tabs_;
  FreeWindows* free_;
  QWidget* empty_ = nullptr;
  bool isFree_ = false;
  bool moving_ = false;                      // windows change their places
  std::vector<QPointer<ZKWindow>> windows_;  // in the order they came
  std::vector<QPointer<ZKWindow>> closed_;   // and not deleted yet
  QPointer<ZKWindow> active_;
  std::vector<QAction*> listed_;
};

}  // namespace tonalith
