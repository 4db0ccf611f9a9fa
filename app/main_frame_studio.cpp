#include <QFileInfo>
#include <algorithm>

#include "app/main_frame.h"
#include "app/simulation.h"
#include "platform/text.h"
#include "services/zkbasics.h"
#include "studio/package_install.h"
#include "ui/qt_text.h"

namespace tonalith {

TZKDrvLst* CMainFrame::ShowStudio() {
  if (!studioWindow_) {
    studioWindow_ = new TZKDrvLst(studio_, *this);
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
  return loaded;
}

void CMainFrame::StudioEdited() {
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

bool CMainFrame::InstallPackageFile(const std::string& path) {
  if (!studioWindow_) {
    prompts().Say("Tonalith",
                  "Please open the Studio Window using the menu option 'File | New | Studio'\nbefore installing an "
                  "instrument module.");
    return false;
  }
  InstallReport report;
  if (const Result result = InstallPackage(path, basics_.paths().MainGetInstrPath(), &report); !result.ok()) {
    prompts().Say("Studio", result.text);
    return false;
  }
  if (report.moduleFile.empty()) return false;
  const int former = ReplaceInstruments(report.moduleFile);
  if (simulation_) simulation_->RouteInstruments(studio_, ports_);
  studio_.UpdatePortReferences();
  StudioEdited();
  studioWindow_->Refresh();
  studioWindow_->Select(report.moduleFile);
  Status(former ? tr("%1 was installed again.").arg(FromUtf8(report.name))
                : tr("%1 was installed.").arg(FromUtf8(report.name)));
  return true;
}

// Instruments made from an earlier version of the module are made anew and keep their ports and channels.  Returns how
// many there were.
int CMainFrame::ReplaceInstruments(const std::string& moduleFile) {
  struct Kept {
    int sysExChannel, midiChannel, inPort, outPort;
    std::string inName, outName;
  };
  std::vector<Kept> kept;
  for (const auto& instrument : studio_.instruments()) {
    if (!AsciiEqualNoCase(instrument->moduleFile, moduleFile)) continue;
    kept.push_back({instrument->sysExChannel, instrument->midiChannel, instrument->midiInPort, instrument->midiOutPort,
                    instrument->inPortName, instrument->outPortName});
  }
  while (studio_.RemoveInstrumentUsingFilename(moduleFile)) {
  }
  const std::size_t copies = std::max<std::size_t>(1, kept.size());
  for (std::size_t i = 0; i < copies; ++i) {
    if (!studio_.AddDrivers(moduleFile) || i >= kept.size()) continue;
    ZKDrvList* added = studio_.instruments().back().get();
    added->SetSysExChannel(kept[i].sysExChannel);
    added->SetMidiChannel(kept[i].midiChannel);
    added->SetInPort(kept[i].inPort, kept[i].inName);
    added->SetOutPort(kept[i].outPort, kept[i].outName);
  }
  return static_cast<int>(kept.size());
}

void CMainFrame::InstallModule() {
  ShowStudio();
  FilePrompt prompt;
  prompt.title = "Select Instrument Modules to Install...";
  prompt.folder = basics_.paths().MainGetDataPath();
  prompt.patterns = {"ZK Compressed Module (*.pvz)", "All Files (*)"};
  const std::string path = prompts().File(prompt);
  if (!path.empty()) OpenFile(path, 0);
}

}  // namespace tonalith
