#include <QCoreApplication>
#include <QFileInfo>
#include <QMdiSubWindow>
#include <QProcess>
#include <QTimer>
#include <algorithm>

#include "app/first_start.h"
#include "app/main_frame.h"
#include "app/simulation.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "services/zkbasics.h"
#include "ui/qt_text.h"

namespace tonalith {

void CMainFrame::ConnectStudio() {
  studio_.SetSettings(&basics_.settings());
  studio_.SetCloseHook([this](std::span<ZKDrvList* const> instruments) { return CloseWindowsOf(instruments); });
  studio_.SetAutoSenseHook([this](ZKDrvList* instrument) { SenseInstruments({instrument}); });
}

// False: the user keeps a window of one of these instruments open.
bool CMainFrame::CloseWindowsOf(std::span<ZKDrvList* const> instruments) {
  for (ZKWindow* child : Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    const ZKDrvList* driver = bank ? studio_.DriverOf(bank->document().dataFile()) : nullptr;
    if (!driver || std::find(instruments.begin(), instruments.end(), driver->instrument) == instruments.end()) continue;
    if (QMdiSubWindow* window = SubWindowOf(child); window && !window->close()) return false;
  }
  return true;
}

TZKDrvLst* CMainFrame::ShowStudio() {
  if (!studioWindow_) {
    studioWindow_ = ZKDriverList(nullptr, studio_, *this);
    AddChild(studioWindow_);
  }
  Activate(studioWindow_);
  return studioWindow_;
}

void CMainFrame::OpenDriver(ZKDrvList* driver, bool get) {
  DataFilePtr fresh = studio_.GetNewDataFile(driver);
  if (!fresh) {
    prompts().Say("Studio", "Insufficient memory.\n");
    return;
  }
  TZKBank* window = OpenBank(std::move(fresh), {});
  if (get) StartGet(window);
}

bool CMainFrame::DrvLoadSetup(int which) {
  (void)which;
  const bool loaded = studio_.DrvLoadSetup(0) == 0;
  if (simulation_) simulation_->RouteInstruments(studio_, ports_);
  studio_.UpdatePortReferences();
  if (studioWindow_)
    studioWindow_->Refresh();
  else
    ShowStudio();
  SenseInstrumentsAtStart();
  ShowFirstStartOnce();
  return loaded;
}

void CMainFrame::StudioEdited() {
  if (simulation_) simulation_->RouteInstruments(studio_, ports_);
  studio_.DrvSaveSetup(0);
  TellMonitorsOfStudio();
  for (ZKWindow* child : Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    if (bank && !bank->document().IsBusy()) studio_.DrvUpdateDataFile(bank->document().dataFile());
  }
}

bool CMainFrame::DrvSaveSetup() {
  return studio_.DrvSaveSetup(0) == 0;
}

bool CMainFrame::OpenStudioFile(const std::string& path) {
  const QFileInfo info(FromUtf8(path));
  const bool loaded = !studio_.instruments().empty() && QFileInfo(FromUtf8(studio_.studioFile().string())) == info;
  ShowStudio();
  if (loaded) return true;
  const bool opened = studio_.DrvLoadSetup(0, ToUtf8(info.path()), ToUtf8(info.fileName())) == 0;
  if (opened && simulation_) simulation_->RouteInstruments(studio_, ports_);
  if (studioWindow_) studioWindow_->Refresh();
  return opened;
}

Settings& CMainFrame::settings() {
  return basics_.settings();
}

std::string CMainFrame::ResourceFolder() {
  return basics_.paths().MainGetResourcePath();
}

std::string CMainFrame::PreferencesIni() {
  return basics_.paths().MainGetPreferencesIni();
}

const WindowCounters* CMainFrame::windowCounters() {
  return &basics_.program().windowCounters();
}

bool CMainFrame::InstallPackageFile(const std::string& path) {
  if (!studioWindow_) {
    prompts().Say("Tonalith",
                  "Please open the Studio Window using the menu option 'File | New | Studio'\nbefore installing an "
                  "instrument module.");
    return false;
  }
  return studioWindow_->InstallInstrumentModule(path, false);
}

void CMainFrame::ShowFirstStart() {
  if (firstStart_) {
    firstStart_->raise();
    return firstStart_->activateWindow();
  }
  FirstStartFacts facts;
  facts.inputs = ports_.InputPortNames();
  facts.outputs = ports_.OutputPortNames();
  facts.instruments = basics_.paths().MainGetInstrPath();
  facts.data = basics_.paths().MainGetDataPath();
  facts.preferences = FolderOf(basics_.paths().GetZKIni());
  facts.simulated = simulation_ != nullptr;
  firstStart_ = new FirstStartPage(facts, this);
  firstStart_->setAttribute(Qt::WA_DeleteOnClose);
  connect(firstStart_, &FirstStartPage::AddInstrument, this, [this] { ShowStudio()->OfferInstruments(); });
  connect(firstStart_, &FirstStartPage::TrySimulated, this, &CMainFrame::RestartSimulated);
  connect(firstStart_, &FirstStartPage::GoToStudio, this, [this] { ShowStudio(); });
  firstStart_->show();
}

// Once, and only to a person: simulated instruments were asked for already, and scripts answer questions only.
void CMainFrame::ShowFirstStartOnce() {
  constexpr char kSection[] = "Application";
  constexpr char kKey[] = "First Start Shown";
  if (simulation_ || qEnvironmentVariableIsSet("TONALITH_PROMPT_SCRIPT")) return;
  IniFile ini(basics_.paths().GetZKIni());
  if (ini.GetInt(kSection, kKey) != 0) return;
  ini.SetInt(kSection, kKey, 1);
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  QTimer::singleShot(0, this, &CMainFrame::ShowFirstStart);
}

// The same program with virtual cables instead of this one.
void CMainFrame::RestartSimulated() {
  QStringList arguments = QCoreApplication::arguments().mid(1);
  arguments << QStringLiteral("--simulated") << QStringLiteral("--new-instance");
  if (!close()) return;
  if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments))
    DebugLog("The program could not be started again.");
}

void CMainFrame::InstallModule() {
  ShowStudio()->OnInstallFromDisk();
}

}  // namespace tonalith
