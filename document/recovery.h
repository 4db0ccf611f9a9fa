#pragma once

#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <vector>

#include "document/file_kinds.h"
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
  Result Keep(RecoverableFile* about, std::span<const std::uint8_t> content);
  void Remove(const std::string& file);

  // What programs that run no longer have left, oldest first.  Files that cannot be read are renamed to ".broken".
  std::vector<RecoverableFile> Leftovers();
  static Result Read(const std::string& file, RecoverableFile* about, std::vector<std::uint8_t>* content);

 private:
  Result Start();
  bool IsLeftover(const std::string& name) const;

  std::string folder_;
  std::string session_;
  int lock_ = -1;
  int made_ = 0;
};

}  // namespace tonalith
