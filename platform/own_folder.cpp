#include "platform/own_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"

namespace tonalith {

namespace {

constexpr mode_t kOwnerOnly = 0700;
constexpr mode_t kOthers = 0077;
constexpr int kMostNames = 9;

}  // namespace

Result MakeOwnFolder(const std::string& path, int* opened) {
  if (const Result above = MakeFolders(FolderOf(path)); !above) return above;
  if (::mkdir(path.c_str(), kOwnerOnly) != 0 && errno != EEXIST) return FileFailure("create the folder", path, errno);
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  struct stat info {};
  // Who owns a folder that cannot be opened is still worth telling.
  if ((fd >= 0 ? ::fstat(fd, &info) : ::lstat(path.c_str(), &info)) != 0) {
    const int error = errno;
    if (fd >= 0) ::close(fd);
    return FileFailure("use the folder", path, error);
  }
  Result result;
  if (!S_ISDIR(info.st_mode)) {
    result = Result::Failure("Cannot use the folder " + path + ": it is a link or a file.", kFileDenied);
  } else if (info.st_uid != ::geteuid()) {
    result = Result::Failure("Cannot use the folder " + path + ": it belongs to another account.", kFileDenied);
  } else if (fd < 0) {
    result = FileFailure("use the folder", path, EACCES);
  } else if ((info.st_mode & kOthers) != 0 && ::fchmod(fd, info.st_mode & kOwnerOnly) != 0) {
    result = FileFailure("close to other accounts", path, errno);
  }
  if (result && opened) {
    *opened = fd;
  } else if (fd >= 0) {
    ::close(fd);
  }
  return result;
}

std::string FirstOwnFolder(const std::string& base) {
  for (int i = 1; i <= kMostNames; ++i) {
    std::string path = i == 1 ? base : base + '-' + std::to_string(i);
    if (MakeOwnFolder(path)) return path;
  }
  std::string fresh = base + "-XXXXXX";
  return ::mkdtemp(fresh.data()) ? fresh : base + "-XXXXXX";
}

}  // namespace tonalith
