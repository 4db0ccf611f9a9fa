#pragma once

#include <QObject>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "app/desktop_menu.h"
#include "app/frame_context.h"
#include "services/desktop_file.h"

class QPoint;

namespace tonalith {

class FileOpening;
class ZKWindow;
struct DesktopPlan;
struct DesktopStep;

// Desktops: which windows are open, and where, kept as a file and brought back; and the menu of desktops on the
// background.
class DesktopFiles final : public QObject {
  Q_OBJECT

 public:
  // Registers the commands.  All of it must outlive this.
  DesktopFiles(const FrameContext& frame, FileOpening& files);

  // How a window that shows no file is opened again.
  using WindowOpener = std::function<ZKWindow*()>;
  void RegisterWindow(WindowType type, WindowOpener open) { openers_[type] = std::move(open); }

  bool SaveWorkspace(const std::string& path);
  // Asks every window before the first one closes; false: nothing was changed.
  bool LoadWorkspace(const std::string& path);
  // A command number of the menu of desktops.
  void RunDesktopCommand(int number);
  DiskStructure& desktops() { return desktops_; }

 private:
  void OnSaveDesktop();
  void OnLoadDesktop();
  std::vector<DesktopWindow> SaveDeskTopWindow();
  bool SaveEachWindow(const ZKWindow* child, DesktopWindow* window);
  bool CloseAllBut(bool studio);
  bool AskAboutStudio(const DesktopPlan& plan, bool* useIt);
  ZKWindow* OpenDesktopWindow(const DesktopStep& step, const DesktopWindow& window, bool useItsStudio);
  ZKWindow* ShowWindow(WindowType type);
  ZKWindow* OpenStudio(const DesktopWindow& window, const std::string& path);
  void ShowDesktopMenu(const QPoint& at);
  DesktopRect Pixels(const DesktopWindow& window) const;

  FrameContext frame_;
  FileOpening& files_;
  DiskStructure desktops_;
  std::map<WindowType, WindowOpener> openers_;
};

}  // namespace tonalith
