#pragma once

#include <QSplashScreen>
#include <array>
#include <future>
#include <memory>
#include <string_view>

#include "app/hand_over.h"
#include "app/main_frame.h"
#include "app/simulation.h"
#include "services/program.h"
#include "services/start_stop.h"
#include "studio/open_studio_ports.h"
#include "ui/qt_dispatch.h"
#include "ui/qt_prompts.h"

namespace tonalith {

class PortalLook;
// The desktop program: puts the rooms together at the steps of start and end.
class CZKApp final : public QObject, public StartStopHost {
  Q_OBJECT

 public:
  // What the program takes besides the options every program of this house knows.
  static constexpr std::array<std::string_view, 2> kOptions = {"--simulated", "--fast-cables"};

  // `instruments`: those that --simulated asks for, when they are being made already.
  explicit CZKApp(const CommandLine& commandLine, std::future<MadeInstruments> instruments = {});
  ~CZKApp() override;

  // Hands the files to a process that runs already on the same folders.  True: done, this process may end.
  bool HandOver();
  // Starts, runs the main loop and ends; the exit status of the process.
  int Run();

  Program* program() { return sequence_.program(); }
  ZKBasics* basics() { return program() ? &program()->basics() : nullptr; }
  CMainFrame* frame() { return frame_.get(); }
  ZKStudioDoc* studio() { return studio_.get(); }
  Simulation* simulation() { return simulation_.get(); }
  // The questions asked so far, when a script answers them.
  std::vector<std::string> PromptLog() const;
  bool Start();
  void End(bool quietly) { sequence_.ExitInstance(quietly); }
  // Ends without questions (SIGTERM, end of the session); during the start: as soon as that is over, with every
  // question refused.
  void EndQuietly();
  // Keeps what is not saved for the next start, without any window; a sentence about it, empty when there was nothing.
  std::string KeepUnsaved();
  // Lets other processes on the same folders hand their files over.
  void Listen();

  // ---- StartStopHost
  std::unique_ptr<Program> AllocZKBasics(const CommandLine& commandLine) override;
  void SetDisplayName(const std::string& name) override;
  bool CreateMainFrame(Program& program) override;
  void SetManuals(const std::vector<Manual>& manuals, bool showInMenu) override;
  void RemoveMenuActions(const std::vector<std::string>& names) override;
  void UpdateAppTitleBar() override;
  void ShowMainFrame() override;
  void ShowSplash(const std::string& picture, int milliseconds) override;
  void AskForPorts() override;
  void LoadRecentFiles(int entries) override;
  void CloseMainWindow() override;
  void ShowClosingMidi(const std::function<void()>& close) override;
  void CleanUpModule(const char* name) override;

 private:
  void PrepareInstruments(const Paths& paths);
  void PlugIn(Program& program, CMainFrame* frame);
  void ReportStart();

  CommandLine commandLine_;
  bool simulated_ = false;
  bool fastCables_ = false;
  bool started_ = false;
  bool ending_ = false;
  std::string restored_;  // what the start found damaged among the shipped modules, said once the frame is shown
  Dispatcher dispatcher_;
  std::unique_ptr<QtDispatch> dispatch_;
  std::unique_ptr<ScriptedPrompts> scripted_;
  QtPrompts prompts_;
  std::future<MadeInstruments> instruments_;
  std::unique_ptr<Simulation> simulation_;
  FileHandOver handOver_;
  StartStop sequence_;
  std::unique_ptr<OpenStudioPorts> ports_;
  std::unique_ptr<ZKStudioDoc> studio_;
  std::unique_ptr<CMainFrame> frame_;
  std::unique_ptr<QSplashScreen> splash_;
  std::unique_ptr<PortalLook> portalLook_;
};

}  // namespace tonalith
