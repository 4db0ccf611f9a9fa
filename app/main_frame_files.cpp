#include <QApplication>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QMenu>
#include <QMimeData>
#include <QUrl>
#include <algorithm>

#include "app/main_frame.h"
#include "app/raw_sysex_window.h"
#include "data/patch_names.h"
#include "document/file_kinds.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/zkbasics.h"
#include "studio/new_data.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kRecentSection = "Recent File List";
constexpr int kRecentEntries = 9;

bool SameFile(const std::string& a, const std::string& b) {
  return !a.empty() && QFileInfo(FromUtf8(a)) == QFileInfo(FromUtf8(b));
}

}  // namespace

// ---- recent files ---------------------------------------------------------------------------------------------------

void CMainFrame::LoadRecentFiles(int entries) {
  recentLimit_ = std::max(entries, kRecentEntries);
  recentFiles_.clear();
  const IniFile ini(basics_.paths().GetZKIni());
  for (int i = 1; i <= recentLimit_; ++i) {
    const std::string file = ini.GetString(kRecentSection, "File" + std::to_string(i));
    if (!file.empty()) recentFiles_ << FromUtf8(file);
  }
  UpdateRecentFiles();
}

void CMainFrame::OnClearRecentFiles() {
  recentFiles_.clear();
  StoreRecentFiles();
}

void CMainFrame::FileUsed(const std::string& path) {
  recentFiles_.removeAll(FromUtf8(path));
  recentFiles_.prepend(FromUtf8(path));
  while (recentFiles_.size() > recentLimit_) recentFiles_.removeLast();
  StoreRecentFiles();
}

void CMainFrame::StoreRecentFiles() {
  IniFile ini(basics_.paths().GetZKIni());
  for (int i = 0; i < recentLimit_; ++i) {
    const std::string key = "File" + std::to_string(i + 1);
    if (i < recentFiles_.size()) {
      ini.Set(kRecentSection, key, ToUtf8(recentFiles_[i]));
    } else {
      ini.RemoveKey(kRecentSection, key);
    }
  }
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  UpdateRecentFiles();
}

void CMainFrame::UpdateRecentFiles() {
  for (QAction* action : recentActions_) delete action;
  recentActions_.clear();
  recentMenu_->setEnabled(!recentFiles_.isEmpty());
  for (int i = 0; i < recentFiles_.size(); ++i) {
    const QString path = recentFiles_[i];
    auto* action = new QAction(QStringLiteral("&%1 %2").arg(i + 1).arg(QFileInfo(path).fileName()), recentMenu_);
    connect(action, &QAction::triggered, this, [this, path] { OpenFile(ToUtf8(path), 0); });
    action->setStatusTip(path);
    recentMenu_->insertAction(recentEnd_, action);
    recentActions_.push_back(action);
  }
}

// ---- files ----------------------------------------------------------------------------------------------------------

bool CMainFrame::OpenFile(const std::string& path, int hint) {
  if (hint != kOpenInDesktop && FileExists(path)) FileUsed(path);
  switch (KindOfFile(FileNameOf(path), hint)) {
    case FileKind::Set:
      SayNoWindow(path + "\n\nThe Set window");
      return false;
    case FileKind::Collection:
      SayNoWindow(path + "\n\nThe Collection window");
      return false;
    case FileKind::Library:
      SayNoWindow(path + "\n\nThe Library window");
      return false;
    case FileKind::Studio:
      return OpenStudioFile(path);
    case FileKind::Desktop:
      return LoadWorkspace(path);
    case FileKind::SysEx:
      return studioWindow_ && hint != kOpenInDesktop ? OpenForeign(path) : OpenRawSysEx(path);
    case FileKind::Remote:
      SayNoWindow(path + "\n\nThe remote window");
      return false;
    case FileKind::ImportedElsewhere:
      Status(tr("%1 is opened by the windows that import it.").arg(QFileInfo(FromUtf8(path)).fileName()));
      return false;
    case FileKind::MidiFile:
      return studioWindow_ && OpenForeign(path);
    case FileKind::OscEditor:
    case FileKind::PluginBank:
      prompts().Say("Tonalith", path + "\n\nThis kind of file is not supported.");
      return false;
    case FileKind::Module:
      return InstallPackageFile(path);
    case FileKind::ForeignLibrary:
      return ImportForeignLibrary(path);
    case FileKind::Data:
      break;
  }
  return OpenDataFile(path);
}

bool CMainFrame::ImportForeignLibrary(const std::string& path) {
  if (!studioWindow_) {
    prompts().Say("Tonalith",
                  "Please open the Studio Window using the menu option 'File | New | Studio'\nbefore opening this "
                  "file.");
  } else {
    SayNoWindow(path + "\n\nThe import of libraries of other programs");
  }
  return false;
}

// Without a studio nobody can tell what the bytes are: they are shown as they are.
bool CMainFrame::OpenRawSysEx(const std::string& path) {
  for (ZKWindow* child : Children()) {
    if (!qobject_cast<RawSysExWindow*>(child) || !SameFile(child->FilePath(), path)) continue;
    Activate(child);
    return true;
  }
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok() || bytes.empty()) {
    prompts().Say("File Error", read.ok() ? path + "\n\nThe file is empty." : read.text);
    return false;
  }
  AddChild(new RawSysExWindow(std::move(bytes), path, *this));
  return true;
}

bool CMainFrame::OpenDataFile(const std::string& path) {
  // A file that is open already is not opened twice: the windows would overwrite each other's changes.
  for (ZKWindow* child : Children()) {
    if (!qobject_cast<TZKBank*>(child) || !SameFile(child->FilePath(), path)) continue;
    Activate(child);
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

// What the studio's instruments know is opened piece by piece; else the file may be new data of the selected driver or
// of one whose size fits.
bool CMainFrame::OpenForeign(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok()) {
    prompts().Say("File Error", read.text);
    return false;
  }
  Recognition recognition;
  if (Recognizer(studio_).Recognize(bytes, &recognition).ok() && !recognition.pieces.empty()) {
    ShowRecognised(path, recognition);
    return true;
  }
  const bool midiFile = KindOfFile(FileNameOf(path)) == FileKind::MidiFile;
  NewData made = DrvAddNewDataFile(studio_, prompts(), &basics_.settings(),
                                   midiFile ? NewDataKind::MidiFile : NewDataKind::SysEx, SelectedDriver(), path,
                                   [this](const std::vector<std::string>& choices) { return ChooseDriver(choices); });
  if (made.state == NewData::State::NoDriver) {
    if (!midiFile) return OpenRawSysEx(path);
    prompts().Say("File Error", path + "\n\nNone of the studio's instruments knows this data.");
  }
  if (made.state != NewData::State::Made) return false;
  TZKBank* window = OpenBank(std::move(made.dataFile), {});
  if (made.sendNow) StartTransmit(window);
  return true;
}

ZKDrvList* CMainFrame::SelectedDriver() const {
  ZKDrvList* node = studioWindow_ ? studioWindow_->tree()->CurrentNode() : nullptr;
  return node && !node->IsInstrument() ? node : nullptr;
}

int CMainFrame::ChooseDriver(const std::vector<std::string>& choices) {
  return prompts().Choose({"New Data", "The file fits several kinds of data:", choices});
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
  const QString name = QFileInfo(FromUtf8(path)).fileName();
  const std::size_t count = recognition.pieces.size();
  QString text = count == 1 ? tr("%1: one piece of data").arg(name) : tr("%1: %2 pieces of data").arg(name).arg(count);
  if (opened < recognition.pieces.size()) text += tr(", the first %1 were opened").arg(opened);
  if (bad == 1 && count == 1) {
    text += tr("; its checksum is wrong");
  } else if (bad) {
    text += tr("; the checksum of %1 is wrong").arg(bad);
  }
  Status(text);
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
