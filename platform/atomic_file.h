#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace tonalith {

inline constexpr std::size_t kMaxWholeFile = std::size_t{256} << 20;

// Codes of failed file operations (Result::code).
inline constexpr int kFileMissing = 2;   // file or folder is not there
inline constexpr int kFileDenied = 3;    // no permission, read-only
inline constexpr int kFileTooLarge = 4;  // above the limit given
inline constexpr int kFileFailed = 1;    // anything else: disk full, device error, a folder in the way ...

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
  // After a failure every later call fails with the same text.
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
  Result failed_;
  std::vector<std::uint8_t> buffer_;
};

// Whole files in one call.
Result WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes);
Result WriteFileAtomically(const std::string& path, std::string_view bytes);
Result CopyFileAtomically(const std::string& from, const std::string& to);
// Never allocates more than the file holds; `out` is left empty on failure.
Result ReadWholeFile(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit = kMaxWholeFile);
Result ReadWholeFile(const std::string& path, std::string& out, std::size_t limit = kMaxWholeFile);

bool FileExists(const std::string& path);    // anything but a folder
bool FolderExists(const std::string& path);  // also through a symbolic link
// Creates the folder and all above it; success when it is there already.
Result MakeFolders(const std::string& path);
// Renames a file that could not be read to NAME.broken (.broken2 ... when that exists).  `name` (may be null) receives
// the new path.
Result SetAsideBroken(const std::string& path, std::string* name = nullptr);

// A sentence for an errno value: "Cannot WHAT PATH: REASON."
Result FileFailure(const char* what, const std::string& path, int error);

}  // namespace tonalith
