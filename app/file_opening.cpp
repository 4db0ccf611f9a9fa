#include "app/file_opening.h"

#include <QApplication>
#include <QFileInfo>
#include <QMainWindow>
#include <QMimeData>
#include <QTimer>
#include <QUrl>
#include <utility>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/document_windows.h"
#include "app/recent_files_menu.h"
#include "document/document.h"
#include "document/document_registry.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/short_memory.h"
#include "services/paths.h"
#include "services/program.h"
#include "ui/beside.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// What a file is that no window shows, and what can be done with it.
struct KindSentence {
  FileKind kind;
  const char* text;
};
constexpr KindSentence kNotShown[] = {
    {FileKind::Remote, "This is a file of remote triggers. There is no window for them."},
    {FileKind::OscEditor, "This kind of file is not supported."},
    {FileKind::PluginBank, "This kind of file is not supported."},
};

}  // namespace

FileOpening::FileOpening(const FrameContext& frame, const DocumentRegistry& registry, DocumentWindows& windows,
                         RecentFilesMenu& recent, bool line6)
    : frame_(frame), registry_(registry), windows_(windows), recent_(recent), line6_(line6) {
  recent_.SetOpener([this](const std::string& path) { OpenFile(path, 0); });
  frame_.menus.Register(CommandId::FileOpen, {[this] { OnFileOpen(); }});
  frame_.menus.Register(CommandId::FileClose,
                        {[this] { frame_.children.CloseActive(); }, [this] { return NoWindowSentence(frame_); }});
}

void FileOpening::OnFileOpen() {
  FilePrompt prompt;
  prompt.title = "Choose File to Open...";
  prompt.folder = recent_.LastFolder();
  if (prompt.folder.empty()) prompt.folder = frame_.program.paths().MainGetDataPath();
  prompt.patterns = FilePatterns(OpenFilter(line6_));
  if (const std::string path = frame_.prompts().File(prompt); !path.empty()) OpenFile(path, 0);
}

bool FileOpening::OpenFile(const std::string& path, int hint) {
  if (reading_) {
    waiting_.emplace_back(path, hint);
    return true;
  }
  bool opened = false;
  const bool enough = WithMemory([&] { opened = OpenByKind(path, hint); });
  if (!enough) frame_.prompts().Say("File Error", path + "\n\n" + kShortMemory);
  return opened;
}

bool FileOpening::ReadFile(const std::string& path, const std::function<void()>& read) {
  const bool large = QFileInfo(FromUtf8(path)).size() >= static_cast<qint64>(kWorthAThread);
  // A dialog that is open may be changing the studio.
  if (!large || reading_ || QApplication::activeModalWidget()) return WithMemory(read);
  frame_.Status(QCoreApplication::translate("FileOpening", "%1 is being read.").arg(ShownUtf8(FileNameOf(path))));
  QApplication::setOverrideCursor(Qt::WaitCursor);
  reading_ = true;
  const bool enough = WithMemory([&] { RunBeside(read); });
  reading_ = false;
  QApplication::restoreOverrideCursor();
  frame_.Status({});
  if (!waiting_.empty()) QTimer::singleShot(0, &frame_.window, [this] { OpenWaiting(); });
  return enough;
}

void FileOpening::OpenWaiting() {
  while (!waiting_.empty() && !reading_) {
    const auto [path, hint] = std::move(waiting_.front());
    waiting_.pop_front();
    OpenFile(path, hint);
  }
}

bool FileOpening::OpenByKind(const std::string& path, int hint) {
  if (hint != kOpenInDesktop && FileExists(path)) recent_.Used(path);
  const DocumentRegistry::Way way = registry_.WayOf(path, hint);
  if (way.open) return (*way.open)(path, hint);
  if (way.load && windows_.Shows(way.kind)) return OpenDocument(path) != nullptr;
  return SayNotOpened(path, hint);
}

bool FileOpening::IsDocument(const std::string& path) const {
  const DocumentRegistry::Way way = registry_.WayOf(path, kOpenInDesktop);
  return way.load && windows_.Shows(way.kind);
}

// A file that is open already is not opened twice: the windows would overwrite each other's changes.
DocumentWindow* FileOpening::OpenDocument(const std::string& path) {
  if (DocumentWindow* open = windows_.WindowOf(path)) {
    frame_.children.Activate(open);
    return open;
  }
  std::unique_ptr<Document> document;
  Result read;
  if (!ReadFile(path, [&] { read = registry_.Load(path, &document); }))
    read = Result::Failure(path + "\n\n" + kShortMemory);
  if (!read.ok() || !document) {
    frame_.prompts().Say("File Error", read.text);
    return nullptr;
  }
  const std::string notice = document->LoadNotice();
  DocumentWindow* window = windows_.Open(std::move(document));
  if (!notice.empty()) frame_.prompts().Say("File Error", notice);
  return window;
}

bool FileOpening::SayNotOpened(const std::string& path, int hint) {
  const FileKind kind = KindOfFile(FileNameOf(path), hint);
  for (const KindSentence& row : kNotShown) {
    if (row.kind == kind) frame_.prompts().Say("File Error", path + "\n\n" + row.text);
  }
  if (kind == FileKind::ImportedElsewhere) {
    frame_.Status(QCoreApplication::translate("FileOpening", "%1 is opened by the windows that import it.")
                      .arg(ShownLine(QFileInfo(FromUtf8(path)).fileName())));
  }
  return false;
}

void FileOpening::OpenDropped(const QMimeData& data) {
  for (const QUrl& url : data.urls()) {
    if (url.isLocalFile()) OpenFile(ToUtf8(url.toLocalFile()), 0);
  }
}

}  // namespace tonalith
