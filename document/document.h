#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "document/file_kinds.h"
#include "document/history.h"
#include "document/listeners.h"
#include "platform/file_bytes.h"
#include "platform/file_stamp.h"
#include "platform/result.h"
#include "services/desktop_file.h"

namespace tonalith {

class RecoveryFolder;
struct RecoverableFile;

// Codes of Result beside those of DiskCode.
inline constexpr int kDocumentBusy = 1001;         // a transfer works on it
inline constexpr int kDocumentFileChanged = 1002;  // the file is not the one that was read: save over it, or elsewhere
inline constexpr int kDocumentNoPath = 1003;       // it has no file yet
inline constexpr int kDocumentNothingToDo = 1004;  // nothing to undo or redo

// What listeners are told.
struct DocumentChange {
  enum class Kind {
    Everything,  // any of the content, its size too
    Item,        // one patch, entry or member: `item`
    State,       // title, path, modified, busy, undo, status: no content
  };
  Kind kind = Kind::Everything;
  int item = -1;
};

// What every document shares.  Works without a window; used on the user-interface thread only, but one that nobody else
// knows yet may be made and loaded on another.
class Document {
 public:
  using Listener = std::function<void(const DocumentChange&)>;

  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  // Removes the autosave file, unless it was left: a document that goes in order needs no recovery.
  virtual ~Document();

  // --- What it is

  // Another one for every document of this run of the program, never 0; what is known of a document while it may close.
  std::uint64_t Number() const { return number_; }
  // UTF-8, for windows and questions ("Yamaha DX7 Voice Bank"); not the file's name.
  virtual std::string Title() const = 0;
  virtual FileKind Kind() const = 0;
  // Code of the window that shows it.
  virtual WindowType Window() const = 0;
  // True when there is nothing yet that could be saved.
  virtual bool IsEmpty() const { return false; }
  // For a new file: folder below the data folder (UTF-8, one name, empty: the data folder itself) and extension without
  // dot.  The extension is the kind's first unless a document knows better.
  virtual std::string FolderName() const { return {}; }
  virtual std::string Extension() const;

  // The file it was read from or saved to (UTF-8); empty: none yet.
  const std::string& path() const { return path_; }
  std::string FileName() const;
  // For content that came from a file by other ways; what the file holds is then not known.
  void SetPath(const std::string& path);
  // The name, without folder, of a file of another kind that the content was taken out of (UTF-8); empty: of none.  It
  // names windows and suggests a name for saving; the file itself is never written.
  const std::string& OriginName() const { return originName_; }
  void SetOriginName(const std::string& name);

  // --- State

  // Whether the content differs from what the file holds.
  bool IsModified() const { return history_.IsModified(); }
  bool IsBusy() const { return busy_ || saving_; }
  // While busy, editing, undo and saving are refused with the reason (empty: a transfer).
  void SetBusy(bool busy, const std::string& reason = {});
  // Empty when not busy.
  std::string BusyReason() const;
  // The file is being written somewhere else (SaveOptions): the document counts as busy, and must not go.
  bool IsSaving() const { return saving_; }
  // Why the content cannot be edited; empty when it can.
  virtual std::string ReadOnlyReason() const { return BusyReason(); }
  // The last operation ("Rename", "Saved"), for a status line.
  const std::string& StatusText() const { return status_; }

  // One byte of the image, at a position from 0, as one entry of the history; why that cannot be done now, empty: it
  // can. Kinds that have an image override both.
  virtual Result ChangeByte(std::size_t position, std::uint8_t value);
  virtual std::string ByteRefusal() const { return "The bytes of this data are not changed one by one."; }

  // --- Undo and redo

  History& history() { return history_; }
  const History& history() const { return history_; }
  bool CanUndo() const { return !IsBusy() && history_.CanUndo(); }
  bool CanRedo() const { return !IsBusy() && history_.CanRedo(); }
  std::string UndoText() const { return history_.UndoName(); }
  std::string RedoText() const { return history_.RedoName(); }
  Result Undo();
  Result Redo();
  // Undoes or redoes up to a position of the history.
  Result GoTo(std::size_t position);

  // --- Files: one way for all kinds.  Codes are those of DiskCode and the ones above.

  // Replaces the content and forgets the history.  On failure the document is as it was.
  Result Load(const std::string& path);
  // The same with what LoadDiskFile has read of it.
  Result Load(const std::string& path, FileBytes bytes, const FileStamp& stamp);
  // What the user has to know about the file that was read: a sentence, or empty.
  const std::string& LoadNotice() const { return loadNotice_; }

  struct SaveOptions {
    bool overChangedFile = false;  // also when the file is not the one that was read
    // Runs the slow part, which touches nothing of the document, on another thread and returns when it is done; what
    // goes on here meanwhile finds the document busy.  Empty: it is written here.
    std::function<void(const std::function<void()>& write)> beside;
  };
  // Writes the file as a whole (an empty path: its own); only when that has succeeded the document changes: path, what
  // the record says about its file, the mark of the saved state.  The former file stays when anything fails; one that
  // ends early is kept beside the new one (StatusText says its name).
  Result Save(const std::string& path, SaveOptions options);
  Result Save(const std::string& path = {}) { return Save(path, SaveOptions{}); }
  // Writes another file; the document keeps its own path and stays as modified as it was.  Its own path: as Save.
  Result SaveCopy(const std::string& path);
  // Somebody else has replaced or changed the file since it was read or saved.  A file that is gone counts as the same:
  // there is nothing that saving would destroy.
  bool FileChangedOnDisk() const;

  // --- Autosave and recovery

  // Keeps what is not in the file in a file of the folder, or removes that when nothing is modified.  Cheap when
  // nothing has changed since the last call.  A busy document is left for later (success).
  Result Autosave(RecoveryFolder& folder) { return Autosave(folder, true); }
  // The same, but what is to be written is written on another thread.  The result is that of the former time; what
  // could not be written then is written again.
  Result AutosaveBeside(RecoveryFolder& folder) { return Autosave(folder, false); }
  void RemoveAutosave();
  // What was kept stays when the document goes, for the next start.
  void LeaveAutosave();
  // Takes the content of a file that a killed program left, with its path; it counts as modified.  The file is removed
  // once the content is kept again.
  Result Recover(RecoveryFolder& folder, const RecoverableFile& file);

  int AddListener(Listener listener) { return listeners_.Add(std::move(listener)); }
  void RemoveListener(int id) { listeners_.Remove(id); }

 protected:
  Document();

  // --- What a kind of document supplies

  // The bytes of a file.  `path` is where they are going; a record that names its own file names that one.  The
  // document must not change: the write may fail yet.
  virtual Result WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) = 0;
  // Takes over the content.  On failure nothing has changed.  `path` is the file's, for sentences.  May call
  // SetLoadNotice.
  virtual Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) = 0;
  // The same for a kind that keeps the bytes as they are, without a copy.
  virtual Result ReadOwnBytes(FileBytes&& bytes, const std::string& path) { return ReadBytes(bytes, path); }
  // The file `path` holds the content now.
  virtual void FileWritten(const std::string& /*path*/) {}
  // The sentence for a file that could not be read or written, from the sentence that says why.
  virtual std::string CannotRead(const std::string& path, const std::string& reason) const;
  virtual std::string CannotWrite(const std::string& path, const std::string& reason) const;

  // Content was changed by other means than the history.
  void MarkChanged();
  void SetStatus(const std::string& text) { status_ = text; }
  void SetLoadNotice(const std::string& sentence) { loadNotice_ = sentence; }
  void Tell(DocumentChange::Kind kind, int item = -1) { listeners_.Tell({kind, item}); }

 private:
  Result StepHistory(bool back);
  Result Autosave(RecoveryFolder& folder, bool now);
  // Writes the bytes as the options say.
  Result WriteFile(const std::string& path, const std::vector<std::uint8_t>& bytes, const SaveOptions& options,
                   FileStamp* stamp, std::string* kept);
  // WriteBytes, for which the memory may be short.
  Result BytesToWrite(const std::string& path, std::vector<std::uint8_t>* bytes);
  Result TakeContent(const std::function<Result()>& read);

  const std::uint64_t number_;
  History history_;
  Listeners<const DocumentChange&> listeners_;
  std::string path_;
  std::string originName_;
  FileStamp stamp_;
  std::string status_;
  std::string loadNotice_;
  std::string busyReason_;
  bool busy_ = false;
  bool saving_ = false;
  RecoveryFolder* recovery_ = nullptr;
  std::string autosaveFile_;
  std::uint64_t autosavedState_ = 0;
  std::uint64_t changes_ = 0;  // by other means than the history
  std::uint64_t autosavedChanges_ = 0;
};

}  // namespace tonalith
