#include "services/start_stop.h"

#include <cstdlib>
#include <ctime>

#include "midi/midi_input.h"
#include "platform/atomic_file.h"
#include "platform/clock.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/hosts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"

namespace tonalith {

namespace {

constexpr int kSplashMs = 4000;
constexpr int kRecentFiles = 4;
constexpr int kMostManuals = 10;

// Gives the user a copy of a file the program ships, once.
void CopyFromResources(const Paths& paths, const char* name, bool toldInLog) {
  const std::string own = JoinPath(paths.MainGetApplicationSupportPath(), name);
  if (FileExists(own)) return;
  const std::string shipped = JoinPath(paths.MainGetResourcePath(), name);
  if (toldInLog) DebugLog("%s file not found in ApplicationSupportPath", name);
  if (!FileExists(shipped)) {
    if (toldInLog) DebugLog("Failed to find %s at ResourcePath", name);
    return;
  }
  if (toldInLog) DebugLog("Copying %s from ResourcePath to ApplicationSupportPath", name);
  if (const Result result = CopyFileAtomically(shipped, own); !result) DebugLog("%s", result.text.c_str());
}

}  // namespace

StartStop::StartStop(StartStopHost& host, CommandLine commandLine)
    : host_(host), commandLine_(std::move(commandLine)) {}

StartStop::~StartStop() {
  ExitInstance(true);
}

void StartStop::Say(const char* step) {
  DebugLog("%s", step);
  if (commandLine_.debug && program_ && !quiet_) program_->prompts().Say("Tonalith", step);
}

std::vector<Manual> StartStop::ReadManuals(const std::string& iniFile) {
  const IniFile ini(iniFile);
  std::vector<Manual> manuals;
  for (int i = 0; i < kMostManuals; ++i) {
    Manual manual{ini.GetString("Manuals", Printf("Title%d", i)), ini.GetString("Manuals", Printf("File%d", i))};
    if (manual.title.empty() || manual.file.empty()) break;
    manuals.push_back(std::move(manual));
  }
  return manuals;
}

std::vector<std::string> StartStop::ReadMenuRemovals(const std::string& iniFile) {
  const IniFile ini(iniFile);
  std::vector<std::string> names;
  for (int i = 0;; ++i) {
    std::string name = ini.GetString("Mac Main Menu Remove", Printf("%d", i));
    if (name.empty()) return names;
    names.push_back(std::move(name));
  }
}

void StartStop::OwlMain() {
  CopyFromResources(program_->paths(), "ZKSkins.ini", true);
  CopyFromResources(program_->paths(), "ZKKeys.ini", false);
}

bool StartStop::InitInstance() {
  if (!host_.InitialiseFramework()) return false;
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  host_.ZKEditInit();
  program_ = host_.AllocZKBasics(commandLine_);
  if (!program_) return false;
  program_->SetOwnerName("CZKapp");
  Say("CZKApp::InitInstance Debug mode set from command line");
  host_.SetDisplayName("Tonalith");
  program_->ConfigBasics();
  settingsProblem_ = program_->LoadConfig().text;
  const Paths& paths = program_->paths();
  OwlMain();
  Say("ZKApp::InitInstance()-A");
  Say("ZKApp::InitInstance()-A1");
  host_.ZKMonInitialize();
  program_->in().InAMidiInitialize();
  Say("ZKApp::InitInstance()-A2");
  Say("ZKApp::InitInstance()-A3");
  if (program_->settings().MainNoRegExtensions(-1) == 0) {
    host_.RegisterFileTypes();
    Say("ZKApp::InitInstance()-A4");
  }
  Say("ZKApp::InitInstance()-A5");
  Say(paths.MainGetApplicationName().c_str());
  Say("ZKApp::InitInstance()-A6");
  if (!host_.CreateMainFrame(*program_)) return false;
  frameMade_ = true;
  for (const char* step : {"-A7", "-A71", "-A72", "-A"}) Say((std::string("ZKApp::InitInstance()") + step).c_str());
  const std::vector<Manual> manuals = ReadManuals(paths.GetZKIni());
  host_.SetManuals(manuals, manuals.size() > 1);
  host_.RemoveMenuActions(ReadMenuRemovals(paths.GetZKIni()));
  Say("ZKApp::InitInstance()-B");
  Say("ZKApp::InitInstance()-C");
  host_.UpdateAppTitleBar();
  Say("ZKApp::InitInstance()-D");
  Say("ZKApp::InitInstance()-E");
  host_.ShowMainFrame();
  if (const std::string picture = paths.SplashPicture(); !picture.empty()) {
    host_.ShowSplash(picture, kSplashMs);
    Say("ZKApp::InitInstance()-F");
  }
  host_.ZKEditOnFirstOpen();
  host_.LoadRecentFiles(kRecentFiles);
  Say("Out ZKApp::InitInstance()");
  AfterShow();
  return true;
}

// What needs the frame: ports first, because the studio looks its instruments' ports up by name, and the studio before
// the windows that refer to it.
void StartStop::AfterShow() {
  if (!settingsProblem_.empty()) program_->prompts().Say("Tonalith", settingsProblem_);
  program_->OpenMidiPorts();
  host_.AskForPorts();
  if (StudioHost* studio = program_->studio()) studio->DrvLoadSetup(0);
  DocumentsHost* documents = program_->documents();
  const std::string desktop = program_->paths().DefaultDesktopFile();
  if (documents && program_->settings().MainAutoSaveLoadDesktop(-1) != 0 && FileExists(desktop))
    documents->LoadWorkspace(desktop);
  // After the desktop, which closes every other window.
  if (documents) documents->OfferRecovery();
  OpenFiles(commandLine_.files);
}

void StartStop::OpenFiles(const std::vector<std::string>& files) {
  DocumentsHost* documents = program_ ? program_->documents() : nullptr;
  for (const std::string& file : files) {
    if (documents) documents->OpenFile(file, 0);
  }
}

void StartStop::ExitInstance(bool quietly) {
  if (ended_ || !program_) return;
  ended_ = true;
  quiet_ = quietly;
  // Whoever still works on data stops before the windows and documents go.
  program_->StopWork();
  if (frameMade_ && program_->documents() && program_->settings().MainAutoSaveLoadDesktop(-1) != 0) {
    program_->documents()->SaveWorkspace(program_->paths().DefaultDesktopFile());
  }
  Say("ZKApp::ExitInstance()-1");
  host_.CloseMainWindow();
  Say("ZKApp::ExitInstance()-2");
  program_->clock().SleepMs(100);
  const Result written = WritePrivateProfileString("Preferences", "ExtendedMode", commandLine_.extended ? "1" : "0",
                                                   program_->paths().GetZKIni());
  if (!written) DebugLog("%s", written.text.c_str());
  Say("ZKApp::ExitInstance()-3");
  Say("Out of prog - closing .DLLs next");
  host_.ShowClosingMidi([this] { program_->CloseMidiPorts(); });
  Say("ZKApp::ExitInstance()-4");
  program_->in().InAMidiCleanup();
  for (const char* module : {"bank", "studio", "bitmap", "set", "library", "monitor", "view"}) {
    host_.CleanUpModule(module);
  }
  Say("ZKApp::ExitInstance()-5");
  host_.CloseTimerAndSequencer();
  Say("ZKApp::ExitInstance()-6");
  Say("ZKApp::ExitInstance()-7");
  host_.ZKEditCleanup();
  Say("ZKApp::ExitInstance()-Finished");
  host_.ExitFramework();
  Say("CWinApp::ExitInstance()-Finished");
  program_.reset();
}

}  // namespace tonalith
