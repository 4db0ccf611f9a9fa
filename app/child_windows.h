#pragma once

#include <QMdiArea>
#include <QObject>
#include <QPointer>
#include <cstdint>
#include <functional>
#include <vector>

class QAction;
class QMdiSubWindow;
class QMenu;
class QWidget;

namespace tonalith {

class WindowCounters;
class WindowPlaces;
class ZKWindow;

// The child windows of a main window: the area they stand in, their places, and messages to all of them.
class ChildWindows final : public QObject {
  Q_OBJECT

 public:
  // `places` (where windows of each kind stood) and `counters` must outlive this.
  ChildWindows(WindowPlaces& places, WindowCounters& counters, QWidget* parent);
  // Closes what is left without asking; nobody is told any more.
  ~ChildWindows() override;

  QMdiArea* area() const { return area_; }
  // Shows a window, which is owned by the area from now on.
  void Add(ZKWindow* window);
  // Brings a window to the front and gives it the focus.
  void Activate(ZKWindow* window);
  ZKWindow* Active() const;
  std::vector<ZKWindow*> All() const;
  bool Empty() const;
  QMdiSubWindow* SubWindowOf(const ZKWindow* window) const;
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
  // Asks every window, and closes all of them or, when one stays, none.
  bool CloseAll();
  void CloseActive();

  // ---- arranging
  void ShowAsTabs(bool tabs);
  bool AsTabs() const;
  void Cascade();
  void Tile();
  void Next();
  void StorePlaces() const;
  // Puts the windows at the end of a menu, the active one checked.
  void ListIn(QMenu* menu);

 signals:
  // A window came, went, came to the front or changed its state.
  void Changed();
  void StatusMessage(const QString& text);

 private:
  void NameTabs();
  void Place(QMdiSubWindow* sub, const ZKWindow* window) const;
  void StorePlace(const ZKWindow* window) const;

  WindowPlaces& places_;
  WindowCounters& counters_;
  QPointer<QMdiArea> area_;
  std::vector<QAction*> listed_;
};

}  // namespace tonalith
