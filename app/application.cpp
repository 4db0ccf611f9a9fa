#include "app/application.h"

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QIcon>
#include <QPixmap>
#include <QStatusBar>
#include <QTimer>
#include <QWindow>
#include <atomic>
#include <iostream>
#include <thread>

#include "app/child_windows.h"
#include "app/frame_parts.h"
#include "app/portal_look.h"
#include "midi/backends/alsa_backend.h"
#include "midi/backends/jack_backend.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/short_memory.h"
#include "platform/terminal_text.h"
#include "script/transfer_engine.h"
#include "services/main_window_messages.h"
#include "services/script_bridge.h"
#include "studio/package_install.h"
#include "studio/shipped_modules.h"
#include "ui/patch_selector.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/look.h"

namespace tonalith {

namespace {

constexpr int kClosingNoteMs = 2000;

}  // namespace

CZKApp::CZKApp(const CommandLine& commandLine, std::future<MadeInstruments> instruments)
    : commandLine_(commandLine),
      simulated_(commandLine_.Takes(kOptions[0])),
      fastCables_(commandLine_.Takes(kOptions[1])),
      dispatch_(std::make_unique<QtDispatch>(dispatcher_)),
      scripted_(ScriptedPrompts::FromEnvironment()),
      prompts_(dispatcher_),
      instruments_(std::move(instruments)),
      handOver_(commandLine_.MakeFolders()),
      sequence_(*this, commandLine_) {}

std::vector<std::string> CZKApp::PromptLog() const {
  return scripted_ ? scripted_->Log() : std::vector<std::string>();
}

CZKApp::~CZKApp() {
  sequence_.ExitInstance(true);
  dispatcher_.Close();
}

bool CZKApp::HandOver() {
  return !commandLine_.newInstance && handOver_.Give(commandLine_.files);
}

void CZKApp::Listen() {
  const Result listening = handOver_.Listen([this](const std::vector<std::string>& files) {
    // Menus and the command list would keep the keyboard from what is opened.
    for (QWidget* popup = QApplication::activePopupWidget(); popup && popup->close();)
      popup = QApplication::activePopupWidget();
    if (frame_) {
      frame_->setWindowState(frame_->windowState() & ~Qt::WindowMinimized);
      frame_->raise();
      frame_->activateWindow();
    }
    sequence_.OpenFiles(files);
  });
  if (!listening) MonitorMsg("%s", listening.text.c_str());
}

// For the benchmark: how long after a given moment (milliseconds since 1970) the window is painted and takes input.
void CZKApp::ReportStart() {
  const qint64 began = qEnvironmentVariable("TONALITH_STARTED_AT").toLongLong();
  if (began == 0) return;
  auto* watch = new QTimer(this);
  connect(watch, &QTimer::timeout, this, [this, watch, began] {
    if (!frame_ || !frame_->windowHandle() || !frame_->windowHandle()->isExposed()) return;
    const TerminalText out(std::cout);
    (out << "usable after " << QDateTime::currentMSecsSinceEpoch() - began << " ms\n").Flush();
    watch->deleteLater();
  });
  watch->start(0);  // runs when nothing else waits
}

int CZKApp::Run() {
  if (!Start()) {
    End(true);
    return 1;
  }
  if (ending_) {
    EndQuietly();
    End(true);
    return 0;
  }
  Listen();
  ReportStart();
  const int status = QApplication::exec();
  End(false);
  return status;
}

std::unique_ptr<Program> CZKApp::AllocZKBasics(const CommandLine& commandLine) {
  const Folders folders = commandLine.MakeFolders();
  Prompts& prompts = scripted_ ? *scripted_ : static_cast<Prompts&>(prompts_);
  auto program = std::make_unique<Program>(folders, SystemClock(), prompts, dispatcher_);
  if (simulated_) {
    simulation_ = std::make_unique<Simulation>(SystemClock(), folders.support + "/Simulated Instruments", fastCables_);
    program->midi().AddBackend(simulation_->backend());
    auto made = instruments_.valid() ? instruments_.get() : MadeInstruments::All();
    if (const auto problem = simulation_->AttachAll(std::move(made)); !problem.empty())
      MonitorMsg("%s", problem.c_str());
  } else {
    program->midi().AddBackend(MakeAlsaBackend());
    program->midi().AddBackend(MakeJackBackend());
  }
  return program;
}

void CZKApp::SetDisplayName(const std::string& name) {
  QApplication::setApplicationDisplayName(FromUtf8(name));
}

// The window program shows what the user may install, so its instrument folder is there even without packages.
void CZKApp::PrepareInstruments(const Paths& paths) {
  const Result folder = EnsureInstrumentFolder(paths.MainGetInstrPath(), paths.MainGetResourcePath());
  if (!folder.ok()) MonitorMsg("%s", folder.text.c_str());
  ShippedOutcome outcome;
  if (const Result result = InstallShippedModules(paths, &outcome); !result.ok()) MonitorMsg("%s", result.text.c_str());
  restored_ = RestoredSentence(outcome);
  if (!restored_.empty()) MonitorMsg("%s", restored_.c_str());
}

bool CZKApp::CreateMainFrame(Program& program) {
  SetLook(static_cast<Look>(program.settings().MainLook(-1)));
  PrepareInstruments(program.paths());
  QApplication::setWindowIcon(QIcon(FromUtf8(program.paths().MainGetResourcePath() + "/ZKBmp/Tonalith.png")));
  ports_ = std::make_unique<OpenStudioPorts>(program.midi());
  studio_ = MakeStudio(program.paths(), program.prompts(), ports_.get());
  frame_ = std::make_unique<CMainFrame>(program, *studio_, *ports_, simulation_.get());
  prompts_.SetParent(frame_.get());
  dispatcher_.SetShortMemory([&program] { program.prompts().Say("Tonalith", kShortMemory); });
  PlugIn(program, frame_.get());
  connect(
      qApp, &QGuiApplication::commitDataRequest, this,
      [this] {
        prompts_.SetQuitting(true);
        if (frame_) frame_->SetQuitting();
      },
      Qt::DirectConnection);
  return true;
}

// The dialog that scripts ask for a patch number with; a null frame takes it away.
void CZKApp::PlugIn(Program& program, CMainFrame* frame) {
  if (!frame) return program.scripts().SetPatchSelector({});
  program.scripts().SetPatchSelector([this](const std::string& question, int current, int low, int high) {
    std::optional<int> number;
    dispatcher_.Call([&] {
      ZKPatchSelector dialog(question, current, low, high, frame_.get());
      if (dialog.exec() == QDialog::Accepted) number = dialog.Selected();
    });
    return number;
  });
}

void CZKApp::SetManuals(const std::vector<Manual>& manuals, bool showInMenu) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const auto& manual : manuals) rows.emplace_back(manual.title, manual.file);
  frame_->SetManuals(rows, showInMenu);
}

void CZKApp::RemoveMenuActions(const std::vector<std::string>& names) {
  frame_->RemoveMenuActions(names);
}

void CZKApp::UpdateAppTitleBar() {
  frame_->UpdateAppTitleBar();
}

bool CZKApp::Start() {
  // Boxes that come before the main window look like those that come later.
  if (commandLine_.debug) SetLook(Look::System);
  started_ = sequence_.InitInstance();
  if (started_ && frame_) frame_->windows().FocusFront();
  if (started_ && frame_ && !restored_.empty()) ShowStatus(frame_->statusBar(), ShownUtf8(restored_));
  return started_;
}

void CZKApp::ShowMainFrame() {
  frame_->show();
  // The bus may take its time; the window is there before.
  QTimer::singleShot(0, this, [this] {
    if (const auto bus = SessionBus()) portalLook_ = std::make_unique<PortalLook>(*bus);
  });
}

void CZKApp::ShowSplash(const std::string& picture, int milliseconds) {
  const QPixmap image(FromUtf8(picture));
  if (image.isNull()) return;
  splash_ = std::make_unique<QSplashScreen>(image);
  splash_->show();
  QTimer::singleShot(milliseconds, this, [this] { splash_.reset(); });
}

void CZKApp::AskForPorts() {
  frame_->AskForPorts();
}

void CZKApp::LoadRecentFiles(int entries) {
  frame_->LoadRecentFiles(entries);
}

void CZKApp::CloseMainWindow() {
  splash_.reset();
  prompts_.SetQuitting(true);
  prompts_.SetParent(nullptr);
  dispatcher_.SetShortMemory({});
  if (program()) PlugIn(*program(), nullptr);
  frame_.reset();
}

// The note only appears when closing takes longer than a user expects.
void CZKApp::ShowClosingMidi(const std::function<void()>& close) {
  dispatcher_.RunQueued();
  std::atomic<bool> done{false};
  std::thread worker([&] {
    close();
    done.store(true);
  });
  PlainLabel note(tr("Closing MIDI..."));
  note.setWindowFlags(Qt::SplashScreen);
  note.setFrameStyle(QFrame::Panel | QFrame::Raised);
  note.setMargin(24);
  Clock& clock = SystemClock();
  const std::int64_t beganUs = clock.NowUs();
  while (!done.load()) {
    const std::int64_t passedMs = (clock.NowUs() - beganUs) / 1000;
    if (passedMs > kClosingNoteMs && note.isHidden()) note.show();
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    clock.SleepMs(passedMs < 50 ? 1 : 20);
  }
  worker.join();
}

void CZKApp::EndQuietly() {
  prompts_.SetQuitting(true);
  ending_ = true;
  // A frame whose start is not over has no studio yet, and must not save one.
  if (frame_ && started_) {
    frame_->SetQuitting();
    frame_->close();
  }
  if (started_) return QApplication::quit();
  // quit() leaves a dialog alone that is open before the main loop runs.
  QApplication::exit(0);
}

std::string CZKApp::KeepUnsaved() {
  return frame_ ? frame_->parts().autosave.KeepNow() : std::string();
}

void CZKApp::CleanUpModule(const char* name) {
  if (std::string_view(name) != "studio") return;
  studio_.reset();
  if (simulation_) simulation_->Remember();
}

}  // namespace tonalith
