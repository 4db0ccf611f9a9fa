#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// Readers and writers of whole files stop here.
inline constexpr std::size_t kMaxWholeFile = std::size_t{256} << 20;

// Codes of failed file operations (Result::code).
inline constexpr int kFileMissing = 2;     // file or folder is not there
inline constexpr int kFileDenied = 3;      // no permission, read-only
inline constexpr int kFileTooLarge = 4;    // above the limit given
inline constexpr int kFileNotRegular = 5;  // a folder, pipe, socket or device where a file is wanted
inline constexpr int kFileNoMemory = 6;
inline constexpr int kFileFailed = 1;  // anything else: disk full, device error ...

// A file that is replaced as a whole or not at all.  Written bytes go to a temporary file in the same folder; Commit
// makes it durable and puts it in the place of the old file, whose mode, owner (where allowed) and symbolic links are
// kept.  Until Commit has succeeded, and after a crash at any moment, the old file is complete and in place.  Without
// Commit nothing is changed.  Commit also removes temporary files that killed programs left in the folder.  Existing
// devices and pipes are written directly.
class AtomicFile {
 public:
  AtomicFile() = default;
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile();

  // The folder must exist.  Fails for a folder, for an existing file the user may not write, and for what another
  // account laid out in a folder that everyone may write into (FindSaveTarget).  `mode` is that of a new file, less the
  // user's mask.
  Result Open(const std::string& path, unsigned mode = 0666);
  // At most kMaxWholeFile bytes in all.  After a failure every later call fails with the same text.
  Result Write(std::span<const std::uint8_t> bytes);
  Result Write(std::string_view bytes);
  Result Commit();
  void Discard();
  bool IsOpen() const { return fd_ >= 0; }

 private:
  Result Fail(const char* what, int error);
  Result NameTemporary();
  Result CopyToNamed();

  std::string target_;     // what is replaced: the path with symbolic links followed
  std::string temporary_;  // empty while the temporary file has no name
  std::string asked_;      // the path as given, for messages
  int fd_ = -1;
  bool direct_ = false;
  std::size_t written_ = 0;
  Result failed_;
  std::vector<std::uint8_t> buffer_;
};

// Whole files in one call.
Result WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes);
Result WriteFileAtomically(const std::string& path, std::string_view bytes);
Result CopyFileAtomically(const std::string& from, const std::string& to);
// The one way in which whole files come into memory: ordinary files only, whatever links lead there.  Never waits,
// never allocates more than the file holds; `out` is left empty on failure, also when there is no memory for it.
Result ReadWholeFile(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit = kMaxWholeFile);
Result ReadWholeFile(const std::string& path, std::string& out, std::size_t limit = kMaxWholeFile);
// The same of a stream up to its end (standard input); `source` names it in sentences.
Result ReadWholeStream(std::istream& in, const std::string& source, std::vector<std::uint8_t>& out,
                       std::size_t limit = kMaxWholeFile);
Result ReadWholeStream(std::istream& in, const std::string& source, std::string& out,
                       std::size_t limit = kMaxWholeFile);

// The first bytes of an ordinary file, at most `count`.
Result ReadFileHead(const std::string& path, std::vector<std::uint8_t>& out, std::size_t count);

bool FileExists(const std::string& path);    // anything but a folder
bool FolderExists(const std::string& path);  // also through a symbolic link
// Creates the folder and all above it; success when it is there already.
Result MakeFolders(const std::string& path);
// Renames a file that could not be read to NAME.broken (.broken2 ... when that exists).  `name` (may be null) receives
// the new path.
Result SetAsideBroken(const std::string& path, std::string* name = nullptr);

// Gives a file that is about to be replaced a second name, PATH~ (PATH~2 ... when that exists; nothing is overwritten),
// under which it stays; a copy where the file system has no second names.  `name` (may be null) receives it.
Result KeepBeside(const std::string& path, std::string* name = nullptr);

// A sentence for an errno value: "Cannot WHAT PATH: REASON."
Result FileFailure(const char* what, const std::string& path, int error);

}  // namespace tonalith
