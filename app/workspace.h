#pragma once

#include <QObject>
#include <functional>
#include <memory>

class QMainWindow;
class QToolBar;
class QToolButton;

namespace tonalith {

class ChildWindows;
class CommandMenus;
class EmptyState;
class IniFile;
class InspectorDock;
class MidiLights;
class Program;
class StudioDock;
class TransferStrip;
class ZKStudioDoc;

// What the main window is put together from: the studio's dock, the windows in the middle, the strip of transfers and
// the status line; the commands that arrange them, and how they were left.
class Workspace final : public QObject {
  Q_OBJECT

 public:
  // Everything given must outlive this.
  Workspace(Program& program, ZKStudioDoc& studio, QMainWindow* frame);
  ~Workspace() override;

  ChildWindows& windows() { return *windows_; }
  StudioDock& dock() { return *dock_; }
  TransferStrip& strip() { return *strip_; }

  // Registers the commands; the menus must outlive this.
  void Register(CommandMenus& menus);
  // Ports came or went.
  void PortsChanged();
  // How it was left.
  void Read(const IniFile& ini);
  void Store(IniFile* ini) const;

 private:
  void BuildStrip();
  void BuildEmptyPage(CommandMenus& menus);
  void BuildInspector(CommandMenus& menus);
  void BuildFindField(CommandMenus& menus);
  void RegisterWindowCommands(CommandMenus& menus);

  QMainWindow* frame_;
  StudioDock* dock_;
  ChildWindows* windows_;
  InspectorDock* inspector_;
  TransferStrip* strip_;
  MidiLights* lights_;
};

}  // namespace tonalith
