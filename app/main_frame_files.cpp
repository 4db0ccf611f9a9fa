#include <QApplication>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QMenu>
#include <QMimeData>
#include <QUrl>
#include <algorithm>

#include "app/main_frame.h"
#include "app/simulation.h"
#include "data/container.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/text.h"
#include "services/zkbasics.h"
#include "studio/package.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kRecentSection = "Recent File List";

}  // namespace

// ---- recent files ---------------------------------------------------------------------------------------------------

void CMainFrame::LoadRecentFiles(int entries) {
  recentLimit_ = entries;
  recentFiles_.clear();
  const IniFile ini(basics_.paths().GetZKIni());
  for (int i = 1; i <= entries; ++i) {
    const std::string file = ini.GetString(kRecentSection, "File" + std::to_string(i));
    if (!file.empty()) recentFiles_ << FromUtf8(file);
  }
  UpdateRecentFiles();
}

void CMainFrame::FileUsed(const std::string& path) {
  recentFiles_.removeAll(FromUtf8(path));
  recentFiles_.prepend(FromUtf8(path));
  while (recentFiles_.size() > recentLimit_) recentFiles_.removeLast();
  IniFile ini(basics_.paths().GetZKIni());
  for (int i = 0; i < recentFiles_.size(); ++i) {
    ini.Set(kRecentSection, "File" + std::to_string(i + 1), ToUtf8(recentFiles_[i]));
  }
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  UpdateRecentFiles();
}

void CMainFrame::UpdateRecentFiles() {
  recentMenu_->clear();
  recentMenu_->setEnabled(!recentFiles_.isEmpty());
  for (int i = 0; i < recentFiles_.size(); ++i) {
    const QString path = recentFiles_[i];
    recentMenu_
        ->addAction(QStringLiteral("&%1 %2").arg(i + 1).arg(QFileInfo(path).fileName()), this,
                    [this, path] { OpenFile(ToUtf8(path), 0); })
        ->setStatusTip(path);
  }
}

// ---- files ----------------------------------------------------------------------------------------------------------

bool CMainFrame::OpenFile(const std::string& path, int hint) {
  (void)hint;
  const std::string name = AsciiUpper(ToUtf8(QFileInfo(FromUtf8(path)).fileName()));
  const auto has = [&name](const char* extension) { return name.find(extension) != std::string::npos; };
  bool opened = false;
  if (has(".PV9") || has(".PV5")) {
    opened = OpenStudioFile(path);
  } else if (has(".PVW")) {
    opened = LoadWorkspace(path);
  } else if (has(".SYX")) {
    opened = studioWindow_ ? OpenForeign(path) : OpenRawSysEx(path);
  } else if (has(".MID") || has(".SMF")) {
    opened = studioWindow_ && OpenForeign(path);
  } else if (has(".PVZ")) {
    opened = InstallPackageFile(path);
  } else {
    for (const char* other : {".PVS", ".PVG", ".PVC", ".PVD", ".PVL", ".PVB"}) {
      if (!has(other)) continue;
      prompts().Say(
          "Tonalith",
          path + "\n\nThis version opens single banks and patches; sets, collections and libraries cannot be opened.");
      return false;
    }
    opened = OpenDataFile(path);
  }
  if (opened) FileUsed(path);
  return opened;
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

// Without a studio nobody can tell what the bytes are: they are shown as they are.
bool CMainFrame::OpenRawSysEx(const std::string& path) {
  const QFileInfo info(FromUtf8(path));
  DataFilePtr raw = CreateMidiXFile(ToUtf8(info.path()), ToUtf8(info.fileName()));
  if (!raw) {
    prompts().Say("File Error", "The file " + path + " could not be read, or it is empty.");
    return false;
  }
  OpenBank(std::move(raw), {});
  return true;
}

bool CMainFrame::OpenDataFile(const std::string& path) {
  // A file that is open already is not opened twice: the windows would overwrite each other's changes.
  for (ZKWindow* child : Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    if (!bank || bank->document().path().empty()) continue;
    if (QFileInfo(FromUtf8(bank->document().path())) != QFileInfo(FromUtf8(path))) continue;
    Activate(bank);
    return true;
  }
  DataFilePtr read;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  const Result result = ZKBankDoc::Load(path, &read);
  QApplication::restoreOverrideCursor();
  if (!result.ok()) {
    prompts().Say("File Error", result.text);
    return false;
  }
  studio_.DrvUpdateDataFile(read.get());
  OpenBank(std::move(read), path);
  return true;
}

bool CMainFrame::OpenForeign(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok()) {
    prompts().Say("File Error", read.text);
    return false;
  }
  Recognition recognition;
  const Result result = Recognizer(studio_).Recognize(bytes, &recognition);
  if (!result.ok() || recognition.pieces.empty()) {
    prompts().Say("File Error",
                  result.text.empty() ? path + "\n\nNone of the studio's instruments knows this data." : result.text);
    return false;
  }
  ShowRecognised(path, recognition);
  return true;
}

void CMainFrame::ShowRecognised(const std::string& path, Recognition& recognition) {
  constexpr std::size_t kMostWindows = 16;
  std::size_t opened = 0;
  std::size_t bad = 0;
  for (auto& piece : recognition.pieces) {
    bad += piece.checksum == ChecksumVerdict::kBad ? 1 : 0;
    if (!piece.data || opened >= kMostWindows) continue;
    studio_.DrvUpdateDataFile(piece.data.get());
    OpenBank(std::move(piece.data), {});
    ++opened;
  }
  QString text = tr("%1: %2 pieces of data").arg(QFileInfo(FromUtf8(path)).fileName()).arg(recognition.pieces.size());
  if (opened < recognition.pieces.size()) text += tr(", the first %1 were opened").arg(opened);
  if (bad) text += tr("; the checksum of %1 is wrong").arg(bad);
  Status(text);
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

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile()) OpenFile(ToUtf8(url.toLocalFile()), 0);
  }
  event->acceptProposedAction();
}

std::string CMainFrame::DataFolder(const ZKBankDoc& document) {
  std::string folder = FieldText(document.synth().reserved206);
  folder = folder.substr(0, folder.find_first_of("/\\:"));
  if (folder.empty()) {
    const std::string definition = GetDefn(document.synth());
    folder = definition.substr(0, definition.find_first_of("/\\:"));
  }
  std::string path = basics_.paths().MainGetDataPath();
  if (!folder.empty() && folder != "." && folder != "..") path += "/" + Latin1ToUtf8(folder);
  return MakeFolders(path).ok() ? path : basics_.paths().MainGetDataPath();
}

std::string CMainFrame::FileExtension(const ZKBankDoc& document) {
  const std::string extension = FieldText(document.synth().reserved238);
  return extension.empty() ? "DAT" : Latin1ToUtf8(FixInvalidFilenameCharacters(extension));
}

}  // namespace tonalith
