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
