#include "ui/document_window.h"

#include <QTimer>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "ui/beside.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kSayAfterMs = 300;
constexpr char kBusyQuestion[] = "This data is being transferred.\nCancel the transfer and close the window?";

// "ZK Data (*.DAT)" with the extension of the document.
std::string Pattern(const FileKindRow& row, const std::string& extension) {
  std::string label(row.filter.substr(0, row.filter.find(" (")));
  if (label.empty()) label = row.name;
  return label + " (*." + extension + ")";
}

}  // namespace

DocumentWindow::DocumentWindow(std::unique_ptr<Document> document, WindowContext& context, QWidget* parent)
    : ZKWindow(parent), document_(std::move(document)), context_(context) {
  listener_ = document_->AddListener([this](const DocumentChange& change) {
    UpdateTitle();
    DocumentChanged(change);
    emit StateChanged();
    emit InspectChanged();
  });
}

DocumentWindow::~DocumentWindow() {
  document_->RemoveListener(listener_);
}

QString DocumentWindow::TitleText() const {
  const std::string& origin = document_->OriginName();
  const QString file = !document_->path().empty() ? ShownUtf8(document_->FileName())
                       : !origin.empty()          ? ShownUtf8(origin)
                                                  : tr("not saved yet");
  return QStringLiteral("%1: %2").arg(ShownUtf8(document_->Title()), file);
}

QString DocumentWindow::ShownName() const {
  if (!document_->path().empty()) return ShownUtf8(WithoutExtension(document_->FileName()));
  const std::string& origin = document_->OriginName();
  return origin.empty() ? tr("New %1").arg(ShownUtf8(document_->Title())) : ShownUtf8(origin);
}

void DocumentWindow::UpdateTitle() {
  SetTitle(this, TitleText(), true);
  setWindowModified(document_->IsModified());
}

// ---- commands -------------------------------------------------------------------------------------------------------

bool DocumentWindow::CommandEnabled(CommandId command) const {
  switch (command) {
    case CommandId::FileSave:
    case CommandId::FileSaveAs:
      return !document_->IsBusy() && !document_->IsEmpty();
    case CommandId::EditUndo:
      return document_->CanUndo();
    case CommandId::EditRedo:
      return document_->CanRedo();
    default:
      return false;
  }
}

QString DocumentWindow::CommandRefusal(CommandId command) const {
  if (document_->IsBusy()) return ShownUtf8(document_->BusyReason());
  switch (command) {
    case CommandId::FileSave:
    case CommandId::FileSaveAs:
      return document_->IsEmpty() ? tr("There is nothing to save yet.") : QString();
    case CommandId::EditUndo:
      return tr("Nothing was changed that could be taken back.");
    case CommandId::EditRedo:
      return tr("Nothing was taken back.");
    default:
      return {};
  }
}

void DocumentWindow::RunCommand(CommandId command) {
  emit TakeEdits();
  if (!CommandEnabled(command)) return;
  switch (command) {
    case CommandId::FileSave:
      Save(false);
      break;
    case CommandId::FileSaveAs:
      Save(true);
      break;
    case CommandId::EditUndo:
      StepHistory(true);
      break;
    case CommandId::EditRedo:
      StepHistory(false);
      break;
    default:
      break;
  }
}

void DocumentWindow::StepHistory(bool back) {
  const QString name = ShownUtf8(back ? document_->UndoText() : document_->RedoText());
  const Result done = back ? document_->Undo() : document_->Redo();
  if (!done.ok()) return Say(ShownUtf8(done.text));
  Say((back ? tr("Undone: %1") : tr("Redone: %1")).arg(name));
}

// ---- moves ----------------------------------------------------------------------------------------------------------

std::string DocumentWindow::AcceptsMove(const MoveOffer& offer) const {
  (void)offer;
  if (std::string reason = document_->ReadOnlyReason(); !reason.empty()) return reason;
  return ToUtf8(tr("This window does not take data of other windows."));
}

MoveResult DocumentWindow::ReceiveMove(Move&& move) {
  return MoveResult::Refused(AcceptsMove(OfferOf(move)));
}

std::string DocumentWindow::MoveOutRefusal() const {
  return ToUtf8(tr("The active window has nothing that could be moved."));
}

Result DocumentWindow::MoveOut(Move*) {
  return Result::Failure(MoveOutRefusal());
}

// ---- saving ---------------------------------------------------------------------------------------------------------

std::string DocumentWindow::NewFileName() const {
  const std::string& origin = document_->OriginName();
  return FixInvalidFilenameCharacters(origin.empty() ? document_->Title() : WithoutExtension(origin)) + "." +
         document_->Extension();
}

std::string DocumentWindow::AskPath() {
  const std::string& path = document_->path();
  FilePrompt prompt;
  prompt.title = SaveTitle();
  prompt.save = true;
  if (path.empty()) {
    prompt.folder = context_.DataFolder();
    const std::string own = document_->FolderName();
    if (const std::string folder = JoinPath(prompt.folder, own); !own.empty() && MakeFolders(folder).ok())
      prompt.folder = folder;
    prompt.name = NewFileName();
  } else {
    prompt.folder = FolderOf(path);
    prompt.name = document_->FileName();
  }
  prompt.patterns = {Pattern(FileKindRowOf(document_->Kind()), document_->Extension()), "All Files (*)"};
  return context_.prompts().File(prompt);
}

bool DocumentWindow::Save(bool askName) {
  std::string path = document_->path();
  if (askName || path.empty()) path = AskPath();
  return !path.empty() && SaveTo(path, false);
}

bool DocumentWindow::SaveTo(const std::string& path, bool overChangedFile) {
  Document::SaveOptions options;
  options.overChangedFile = overChangedFile;
  options.beside = RunBeside;
  QTimer late;
  connect(&late, &QTimer::timeout, this, [this, &path] { Say(tr("Saving %1...").arg(ShownUtf8(path))); });
  late.setSingleShot(true);
  late.start(kSayAfterMs);
  const Result result = document_->Save(path, options);
  late.stop();
  if (result.code == kDocumentFileChanged) return SaveOverChanged(path);
  if (!result.ok()) {
    context_.prompts().Say(WindowName(), result.text);
    return false;
  }
  context_.FileUsed(path);
  Say(tr("Saved as %1").arg(ShownUtf8(path)));
  return true;
}

bool DocumentWindow::SaveOverChanged(const std::string& path) {
  MessagePrompt prompt;
  prompt.title = WindowName();
  prompt.text = path + "\n\nAnother program has changed this file since it was read. Saving here replaces its changes.";
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {"Overwrite", "Save As...", "Cancel"};
  switch (context_.prompts().Message(prompt)) {
    case PromptAnswer::Yes:
      return SaveTo(path, true);
    case PromptAnswer::No:
      return Save(true);
    default:
      return false;
  }
}

// ---- closing --------------------------------------------------------------------------------------------------------

bool DocumentWindow::VerifyBusy() {
  if (!document_->IsBusy()) return true;
  emit Asking();
  MessagePrompt prompt;
  prompt.title = WindowName();
  prompt.text = kBusyQuestion;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {"Cancel and Close", "Keep Open"};
  return context_.prompts().Message(prompt) == PromptAnswer::Yes;
}

bool DocumentWindow::VerifyModified() {
  if (!document_->IsModified()) return true;
  emit Asking();
  MessagePrompt prompt;
  prompt.title = WindowName();
  // Of several windows of one type, the file tells which is asked about.
  const std::string file = document_->FileName();
  const std::string what = file.empty() ? document_->Title() : file + " (" + document_->Title() + ")";
  prompt.text = "Save the changes to " + what + "?";
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.icon = PromptIcon::Question;
  prompt.labels = {"Save", "Discard", "Cancel"};
  switch (context_.prompts().Message(prompt)) {
    case PromptAnswer::Yes:
      if (document_->IsBusy()) GiveUpWork();
      return Save(false);
    case PromptAnswer::No:
      return true;
    default:
      return false;
  }
}

bool DocumentWindow::VerifyClose() {
  if (document_->IsSaving()) {
    Say(ShownUtf8(document_->BusyReason()));
    return false;
  }
  emit TakeEdits();
  return VerifyBusy() && VerifyModified();
}

}  // namespace tonalith
