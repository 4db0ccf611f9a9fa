#include "app/autosave.h"

#include <QDateTime>
#include <QPointer>
#include <algorithm>
#include <memory>

#include "app/child_windows.h"
#include "app/document_windows.h"
#include "document/document.h"
#include "document/document_registry.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "ui/beside.h"
#include "ui/document_window.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kFolder = "Recovery";
constexpr const char* kTitle = "Unsaved Changes";
// More than a small screen has lines for are asked about one group after the other.
constexpr std::ptrdiff_t kMostInQuestion = 8;

// Title, file and time of what was kept.
std::string Describe(const RecoverableFile& file) {
  const QDateTime time = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(file.time));
  std::string text = file.title + ", " + ToUtf8(time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))) + "\n    ";
  if (file.path.empty()) return text + "never saved to a file";
  text += file.path;
  const FileStamp now = StampOf(file.path);
  if (!now.exists) return text + "\n    This file is not there any more.";
  if (file.stamp.known && now != file.stamp) text += "\n    This file was changed since; it stays as it is.";
  return text;
}

}  // namespace

Autosave::Autosave(const FrameContext& frame, const DocumentRegistry& registry, DocumentWindows& windows)
    : frame_(frame),
      registry_(registry),
      windows_(windows),
      folder_(JoinPath(frame.program.paths().MainGetApplicationSupportPath(), kFolder)) {
  timer_.setInterval(kInterval);
  connect(&timer_, &QTimer::timeout, this, [this] { Look(kInterval); });
  connect(&frame_.children, &ChildWindows::Changed, this, &Autosave::Start);
}

void Autosave::ForEach(const std::function<void(DocumentWindow&)>& action) const {
  for (ZKWindow* child : frame_.children.All()) {
    if (auto* window = qobject_cast<DocumentWindow*>(child)) action(*window);
  }
}

void Autosave::ForEachModified(const std::function<void(DocumentWindow&)>& action) const {
  ForEach([&action](DocumentWindow& window) {
    if (window.document().IsModified()) action(window);
  });
}

// The timer runs only while there is something to keep.
void Autosave::Start() {
  if (timer_.isActive() || ending_) return;
  ForEachModified([this](DocumentWindow&) { timer_.start(); });
}

void Autosave::Look(std::chrono::milliseconds passed) {
  sinceSave_ += passed;
  // Saving lets the timer go on.
  if (saving_) return;
  Settings& settings = frame_.program.settings();
  if (settings.MainAutoSave(-1) != 0 && sinceSave_ >= std::chrono::minutes(settings.MainAutoSaveMinutes(-1))) {
    sinceSave_ = {};
    saving_ = true;
    SaveFiles();
    saving_ = false;
  }
  Keep();
  bool any = false;
  ForEachModified([&any](DocumentWindow&) { any = true; });
  if (any) return;
  timer_.stop();
  sinceSave_ = {};
}

void Autosave::Keep() {
  std::string problem;
  // Also what is safe again: what was kept of it goes.
  ForEach([&](DocumentWindow& window) {
    const Result kept = window.document().AutosaveBeside(folder_);
    if (!kept.ok()) problem = kept.text;
  });
  TellOnce(problem);
}

// The same problem is told once, not at every look.
void Autosave::TellOnce(const std::string& problem) {
  if (!problem.empty() && problem != told_) {
    MonitorMsg("Unsaved changes cannot be kept for recovery: %s", problem.c_str());
    frame_.Status(tr("Unsaved changes cannot be kept for recovery: %1").arg(ShownUtf8(problem)));
  }
  told_ = problem;
}

// Only what needs no question: files that somebody else has changed, and data without a file, are left to the user.
void Autosave::SaveFiles() {
  int saved = 0;
  std::string problem;
  // While one is written, others may go.
  std::vector<QPointer<DocumentWindow>> modified;
  ForEachModified([&](DocumentWindow& window) { modified.emplace_back(&window); });
  for (const QPointer<DocumentWindow>& window : modified) {
    if (!window) continue;
    Document& document = window->document();
    if (!document.IsModified() || document.path().empty() || document.IsBusy() || document.history().IsOpen()) continue;
    const Result result = document.Save({}, {false, RunBeside});
    if (result.ok()) ++saved;
    if (!result.ok()) problem = result.text;
  }
  if (!problem.empty()) {
    frame_.Status(tr("Not saved automatically: %1").arg(ShownUtf8(problem)));
  } else if (saved > 0) {
    frame_.Status(tr("Saved automatically; files: %1").arg(saved));
  }
}

// ---- recovery -------------------------------------------------------------------------------------------------------

void Autosave::Offer() {
  std::vector<RecoverableFile> found = folder_.Leftovers();
  // The newest of several with the same path keeps it.
  std::reverse(found.begin(), found.end());
  for (auto first = found.cbegin(); first != found.cend();) {
    const auto last = first + std::min(kMostInQuestion, found.cend() - first);
    MessagePrompt prompt;
    prompt.title = kTitle;
    prompt.text = "These changes were not saved when the program ended:\n";
    std::for_each(first, last, [&](const RecoverableFile& file) { prompt.text += "\n" + Describe(file) + "\n"; });
    prompt.text +=
        "\nRecover opens them; nothing is written before you save.\nDiscard deletes these changes for good.\nLater "
        "keeps "
        "them until the next start.";
    prompt.buttons = PromptButtons::YesNoCancel;
    prompt.icon = PromptIcon::Question;
    prompt.labels = {"Recover", "Discard", "Later"};
    const PromptAnswer answer = frame_.prompts().Message(prompt);
    if (answer == PromptAnswer::Yes) Recover({first, last});
    if (answer == PromptAnswer::No)
      std::for_each(first, last, [this](const RecoverableFile& file) { folder_.Remove(file.file); });
    first = last;
  }
}

void Autosave::Recover(const std::vector<RecoverableFile>& files) {
  std::string problems;
  for (const RecoverableFile& file : files) {
    const Result recovered = RecoverOne(file);
    if (!recovered.ok()) problems += file.title + "\n    " + recovered.text + "\n\n";
  }
  if (problems.empty()) return;
  frame_.prompts().Say(kTitle, problems + "What could not be recovered is offered again at the next start.");
}

Result Autosave::RecoverOne(const RecoverableFile& file) {
  std::unique_ptr<Document> document = registry_.Make(file.kind);
  if (!document || !windows_.Shows(file.kind)) return Result::Failure("There is no window for this kind of data.");
  if (Result recovered = document->Recover(folder_, file); !recovered.ok()) return recovered;
  // Two windows on one file would overwrite each other's changes.  A window with the file as it is makes room; beside
  // one with other changes this one has no file yet.
  if (DocumentWindow* open = windows_.WindowOf(file.path)) {
    if (open->document().IsModified() || open->document().IsBusy()) {
      document->SetPath({});
    } else {
      open->CloseVerified();
    }
  }
  windows_.Open(std::move(document));
  Start();
  return Result::Success();
}

// ---- the end --------------------------------------------------------------------------------------------------------

std::string Autosave::KeepNow() {
  ending_ = true;
  std::string sentence;
  ForEachModified([&](DocumentWindow& window) {
    const Result kept = window.document().Autosave(folder_);
    if (!kept.ok()) {
      sentence = kept.text;
    } else if (sentence.empty()) {
      sentence = "Unsaved changes are kept; the next start offers them.";
    }
  });
  return sentence;
}

void Autosave::LeaveForNextStart() {
  ending_ = true;
  timer_.stop();
  ForEachModified([this](DocumentWindow& window) {
    Document& document = window.document();
    if (document.IsBusy()) window.GiveUpWork();
    const Result kept = document.Autosave(folder_);
    document.LeaveAutosave();
    MonitorMsg("%s", kept.ok() ? ("Unsaved changes were kept: " + document.Title()).c_str() : kept.text.c_str());
  });
}

}  // namespace tonalith
