#pragma once

#include <QMainWindow>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ui/commands.h"

class QAction;

namespace tonalith {

class ChildWindows;
class CommandMenus;
class MidiActivityDock;
class Program;
class Simulation;
class StudioPorts;
class Workspace;
class ZKControlBar;
class ZKStudioDoc;
class ZKWindow;
struct FrameParts;

// The main window: menus, bars and the workspace.  What its commands do is in the parts, one a subject; they register
// their commands themselves.
class CMainFrame final : public QMainWindow {
  Q_OBJECT

 public:
  // Everything given must outlive the frame; `simulation` may be null.
  CMainFrame(Program& program, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation);
  ~CMainFrame() override;

  CommandMenus& menus() { return *menus_; }
  ChildWindows& windows();
  Workspace& workspace() { return *workspace_; }
  FrameParts& parts() { return *parts_; }
  ZKControlBar* controlBar() { return controlBar_; }

  // Carries a command out, as its menu entry does.
  void RunCommand(CommandId command);
  QAction* ActionOf(CommandId command) const;
  ZKWindow* ActiveChild() const;
  std::vector<ZKWindow*> Children() const;

  // ---- steps of start and end
  // Asks whether ports shall be chosen when none is.
  void AskForPorts();
  // Titles and files of the manuals; with `show` they stand in the Help menu.
  void SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show);
  void RemoveMenuActions(const std::vector<std::string>& names);
  void LoadRecentFiles(int entries);
  void UpdateAppTitleBar();
  // The program ends without questions (end of the session); see QuitSequence.
  void SetQuitting();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void BuildBars();
  void RegisterViewCommands();
  void UpdateBars();
  void PortsChanged(int changes);
  void ReadPlace();
  void StorePlace();

  Program& program_;
  Simulation* simulation_;
  Workspace* workspace_;
  ChildWindows* windows_;  // the workspace's
  CommandMenus* menus_;
  ZKControlBar* controlBar_;
  MidiActivityDock* activity_;
  std::unique_ptr<FrameParts> parts_;
  int portListener_ = 0;
};

}  // namespace tonalith
