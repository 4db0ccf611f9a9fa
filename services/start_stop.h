#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "services/command_line.h"

namespace tonalith {

class Program;

struct Manual {
  std::string title;
  std::string file;
};

// What the program itself does at the steps of start and end.  The sequence (order, conditions, what is read from
// which file) is in StartStop; a host only carries out.  Every default does nothing and succeeds.  All on the
// user-interface thread.
class StartStopHost {
 public:
  virtual ~StartStopHost() = default;

  // ---- start
  virtual bool InitialiseFramework() { return true; }
  virtual void ZKEditInit() {}
  // The program with its services object; null ends the start.  Backends, hosts and prompts are plugged in here.
  virtual std::unique_ptr<Program> AllocZKBasics(const CommandLine& commandLine) = 0;
  virtual void SetDisplayName(const std::string& name) { (void)name; }
  virtual void ZKMonInitialize() {}
  virtual void RegisterFileTypes() {}  // unless the user does not want it
  // Makes the main frame and links it with the services; false ends the start.
  virtual bool CreateMainFrame(Program& program) {
    (void)program;
    return true;
  }
  // All manuals; showInMenu: append their titles to the Help menu.
  virtual void SetManuals(const std::vector<Manual>& manuals, bool showInMenu) { (void)manuals, (void)showInMenu; }
  virtual void RemoveMenuActions(const std::vector<std::string>& names) { (void)names; }
  virtual void UpdateAppTitleBar() {}
  virtual void ShowMainFrame() {}
  virtual void ShowSplash(const std::string& picture, int milliseconds) { (void)picture, (void)milliseconds; }
  virtual void ZKEditOnFirstOpen() {}
  // Asks for ports when none are selected for a direction; the ports that are selected are open.
  virtual void AskForPorts() {}
  virtual void LoadRecentFiles(int entries) { (void)entries; }

  // ---- end
  virtual void CloseMainWindow() {}
  // Closes the MIDI ports by calling `close` once and returns when that is done.  Ports that still send take their
  // time: a host may call it from another thread and show a note meanwhile.
  virtual void ShowClosingMidi(const std::function<void()>& close) { close(); }
  // Bank, studio, bitmaps, Set, Library, monitor, view: in this order.
  virtual void CleanUpModule(const char* name) { (void)name; }
  virtual void CloseTimerAndSequencer() {}
  virtual void ZKEditCleanup() {}
  virtual void ExitFramework() {}
};

// Start and end of the program, in order.  In debug mode every numbered step is shown in a message box.
class StartStop {
 public:
  StartStop(StartStopHost& host, CommandLine commandLine);
  ~StartStop();

  // False: the program ends at once.
  bool InitInstance();
  // Safe after a start that failed half-way; runs once.  `quietly`: no message boxes (end of the session, SIGTERM).
  void ExitInstance(bool quietly = false);

  Program* program() { return program_.get(); }
  const CommandLine& commandLine() const { return commandLine_; }
  // Files that another process handed over, or that were dropped on the program.
  void OpenFiles(const std::vector<std::string>& files);

  static std::vector<Manual> ReadManuals(const std::string& iniFile);
  static std::vector<std::string> ReadMenuRemovals(const std::string& iniFile);

 private:
  void Say(const char* step);
  void OwlMain();
  void AfterShow();

  StartStopHost& host_;
  CommandLine commandLine_;
  std::string settingsProblem_;  // what the user is told once the main window is there
  std::unique_ptr<Program> program_;
  bool frameMade_ = false;
  bool quiet_ = false;
  bool ended_ = false;
};

}  // namespace tonalith
