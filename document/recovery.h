#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "document/file_kinds.h"
#include "document/recovery_writer.h"
#include "platform/file_stamp.h"
#include "platform/result.h"

namespace tonalith {

// What an autosave file says about its document.
struct RecoverableFile {
  std::string file;  // the autosave file
  FileKind kind = FileKind::Data;
  std::string path;   // of the document; empty: it was never saved
  std::string title;  // UTF-8
  std::time_t time = 0;
  FileStamp stamp;  // of the document's file when it was read or saved
};

// The folder of autosave files.  Each running program has a session in it that ends with the program, however that
// ends: what its session left is recoverable then.  One object a program; outlives the documents that are kept in it;
// used on the user-interface thread.
class RecoveryFolder {
 public:
  // Nothing is made before the first Keep.
  explicit RecoveryFolder(std::string folder);
  ~RecoveryFolder();
  RecoveryFolder(const RecoveryFolder&) = delete;
  RecoveryFolder& operator=(const RecoveryFolder&) = delete;

  const std::string& folder() const { return folder_; }

  // Writes the content of a document as a whole.  `about.file` empty: a new name is given to it.
  Result Keep(RecoverableFile* about, std::vector<std::uint8_t> content);
  // The same on another thread: what failed before it was begun is returned, the rest LastWrite tells.  Of contents
  // that come faster than they are written only the last is.
  Result KeepBeside(RecoverableFile* about, std::vector<std::uint8_t> content);
  // What became of the last write of this file that has ended (success: none has).
  Result LastWrite(const std::string& file) const { return writer_.LastWrite(file); }
  // The same when all that waits for this file is written.
  Result Finish(const std::string& file) { return writer_.Finish(file); }
  void FinishAll() { writer_.FinishAll(); }
  void Remove(const std::string& file) { writer_.Remove(file); }

  // What programs that run no longer have left, oldest first.  Files that cannot be read are renamed to ".broken".
  std::vector<RecoverableFile> Leftovers();
  static Result Read(const std::string& file, RecoverableFile* about, std::vector<std::uint8_t>* content);

 private:
  Result Start();
  // The first part of the file, with its name and time in `about`.
  Result Describe(RecoverableFile* about, std::size_t length, std::vector<std::uint8_t>* head);
  bool IsLeftover(const std::string& name) const;

  std::string folder_;
  std::string session_;
  int lock_ = -1;
  int made_ = 0;
  RecoveryWriter writer_;
};

}  // namespace tonalith
