#include "document/document.h"

#include <atomic>
#include <new>
#include <utility>

#include "data/container.h"
#include "document/recovery.h"
#include "platform/path_resolver.h"

namespace tonalith {

namespace {

Result NoMemory() {
  return Result::Failure("There is not enough memory; the data stays as it is.", kDiskNoMemory);
}

// Large files are read into documents on threads.
std::uint64_t NextNumber() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

}  // namespace

Document::Document() : number_(NextNumber()) {}

Document::~Document() {
  RemoveAutosave();
}

std::string Document::Extension() const {
  const auto& extensions = FileKindRowOf(Kind()).extensions;
  return extensions.empty() ? "DAT" : std::string(extensions.front().text.substr(1));
}

std::string Document::FileName() const {
  return FileNameOf(path_);
}

void Document::SetPath(const std::string& path) {
  path_ = path;
  stamp_ = {};
  Tell(DocumentChange::Kind::State);
}

void Document::SetOriginName(const std::string& name) {
  originName_ = name;
  Tell(DocumentChange::Kind::State);
}

void Document::SetBusy(bool busy, const std::string& reason) {
  busy_ = busy;
  busyReason_ = reason;
  Tell(DocumentChange::Kind::State);
}

std::string Document::BusyReason() const {
  if (!IsBusy()) return {};
  if (saving_) return "This data is being saved.";
  if (!busyReason_.empty()) return busyReason_;
  return "This data is being transferred; please wait until the transfer has ended.";
}

void Document::MarkChanged() {
  history_.MarkUnsaved();
  ++changes_;
  Tell(DocumentChange::Kind::Everything);
}

// ---- undo and redo --------------------------------------------------------------------------------------------------

Result Document::StepHistory(bool back) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  const std::string name = back ? history_.UndoName() : history_.RedoName();
  if (back ? !history_.CanUndo() : !history_.CanRedo()) {
    return Result::Failure(back ? "There is nothing to undo." : "There is nothing to redo.", kDocumentNothingToDo);
  }
  if (!(back ? history_.Undo() : history_.Redo())) {
    return NoMemory();
  }
  status_ = (back ? "Undo " : "Redo ") + name;
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result Document::ChangeByte(std::size_t, std::uint8_t) {
  return Result::Failure(ByteRefusal());
}

Result Document::Undo() {
  return StepHistory(true);
}

Result Document::Redo() {
  return StepHistory(false);
}

Result Document::GoTo(std::size_t position) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  if (position > history_.Count()) return Result::Failure("There is nothing to redo.", kDocumentNothingToDo);
  Result result;
  while (result.ok() && history_.Position() > position) result = Undo();
  while (result.ok() && history_.Position() < position) result = Redo();
  return result;
}

// ---- files ----------------------------------------------------------------------------------------------------------

std::string Document::CannotRead(const std::string& /*path*/, const std::string& reason) const {
  return reason;
}

std::string Document::CannotWrite(const std::string& /*path*/, const std::string& reason) const {
  return reason;
}

Result Document::TakeContent(const std::function<Result()>& read) {
  const std::string former = std::exchange(loadNotice_, {});
  Result taken;
  try {
    taken = read();
  } catch (const std::bad_alloc&) {
    taken = NoMemory();
  }
  if (!taken.ok()) {
    loadNotice_ = former;
    return taken;
  }
  history_.Reset();
  return Result::Success();
}

Result Document::BytesToWrite(const std::string& path, std::vector<std::uint8_t>* bytes) {
  try {
    return WriteBytes(path, bytes);
  } catch (const std::bad_alloc&) {
    return NoMemory();
  }
}

Result Document::Load(const std::string& path) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  FileBytes bytes;
  FileStamp stamp;
  if (const Result read = LoadDiskFile(path, &bytes, &stamp); !read.ok()) {
    return Result::Failure(CannotRead(path, read.text), read.code);
  }
  return Load(path, std::move(bytes), stamp);
}

Result Document::Load(const std::string& path, FileBytes bytes, const FileStamp& stamp) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  if (Result taken = TakeContent([&] { return ReadOwnBytes(std::move(bytes), path); }); !taken.ok()) return taken;
  path_ = path;
  stamp_ = stamp;
  RemoveAutosave();
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

bool Document::FileChangedOnDisk() const {
  if (!stamp_.known) return false;
  const FileStamp now = StampOf(path_);
  return now.exists && now != stamp_;
}

Result Document::WriteFile(const std::string& path, const std::vector<std::uint8_t>& bytes, const SaveOptions& options,
                           FileStamp* stamp, std::string* kept) {
  Result saved;
  const auto write = [&] { saved = SaveDiskFile(path, bytes, stamp, kept); };
  // What listeners would show of this state comes and goes faster than it can be read.
  saving_ = options.beside != nullptr;
  try {
    saving_ ? options.beside(write) : write();
  } catch (const std::bad_alloc&) {
    saved = NoMemory();
  }
  saving_ = false;
  return saved;
}

Result Document::Save(const std::string& path, SaveOptions options) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  const std::string target = path.empty() ? path_ : path;
  if (target.empty()) return Result::Failure("This data has no file yet.", kDocumentNoPath);
  if (target == path_ && !options.overChangedFile && FileChangedOnDisk()) {
    return Result::Failure("The file " + target + " was changed by somebody else since it was read or saved here.",
                           kDocumentFileChanged);
  }
  std::vector<std::uint8_t> bytes;
  if (Result written = BytesToWrite(target, &bytes); !written.ok()) return written;
  FileStamp stamp;
  std::string kept;
  if (const Result saved = WriteFile(target, bytes, options, &stamp, &kept); !saved.ok()) {
    return Result::Failure(CannotWrite(target, saved.text), saved.code);
  }
  path_ = target;
  stamp_ = stamp;
  FileWritten(target);
  history_.MarkSaved();
  status_ = kept.empty() ? "Saved" : "Saved; the file that was shorter than it says is kept as " + kept;
  RemoveAutosave();
  Tell(DocumentChange::Kind::State);
  return Result::Success();
}

Result Document::SaveCopy(const std::string& path) {
  if (path == path_) return Save(path);
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  std::vector<std::uint8_t> bytes;
  if (Result written = BytesToWrite(path, &bytes); !written.ok()) return written;
  const Result saved = SaveDiskFile(path, bytes);
  return saved.ok() ? saved : Result::Failure(CannotWrite(path, saved.text), saved.code);
}

// ---- autosave and recovery ------------------------------------------------------------------------------------------

Result Document::Autosave(RecoveryFolder& folder, bool now) {
  // What is just being written may fail yet.
  if (busy_ || history_.IsOpen()) return Result::Success();
  if (!IsModified()) {
    RemoveAutosave();
    return Result::Success();
  }
  if (recovery_ != &folder) RemoveAutosave();
  Result former;
  if (!autosaveFile_.empty()) former = now ? folder.Finish(autosaveFile_) : folder.LastWrite(autosaveFile_);
  const bool kept = !autosaveFile_.empty() && former.ok();
  if (kept && autosavedState_ == history_.State() && autosavedChanges_ == changes_) return Result::Success();
  std::vector<std::uint8_t> bytes;
  if (Result written = BytesToWrite(path_, &bytes); !written.ok()) return written;
  RecoverableFile about{autosaveFile_, Kind(), path_, Title(), 0, stamp_};
  Result result = now ? folder.Keep(&about, std::move(bytes)) : folder.KeepBeside(&about, std::move(bytes));
  if (!result.ok()) return result;
  recovery_ = &folder;
  autosaveFile_ = about.file;
  autosavedState_ = history_.State();
  autosavedChanges_ = changes_;
  return now ? result : former;
}

void Document::RemoveAutosave() {
  if (recovery_ && !autosaveFile_.empty()) recovery_->Remove(autosaveFile_);
  autosaveFile_.clear();
  recovery_ = nullptr;
}

void Document::LeaveAutosave() {
  autosaveFile_.clear();
  recovery_ = nullptr;
}

Result Document::Recover(RecoveryFolder& folder, const RecoverableFile& file) {
  if (IsBusy()) return Result::Failure(BusyReason(), kDocumentBusy);
  RecoverableFile about;
  std::vector<std::uint8_t> content;
  if (Result read = RecoveryFolder::Read(file.file, &about, &content); !read.ok()) return read;
  if (about.kind != Kind()) return Result::Failure("The file " + file.file + " is of another kind.", kDiskNotOurs);
  if (Result taken = TakeContent([&] { return ReadBytes(content, about.path); }); !taken.ok()) return taken;
  history_.MarkUnsaved();
  path_ = about.path;
  stamp_ = about.stamp;
  status_ = "Recovered";
  // The only copy stays until there is another.
  if (Autosave(folder).ok()) folder.Remove(file.file);
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

}  // namespace tonalith
