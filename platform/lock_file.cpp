#include "platform/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/atomic_file.h"
#include "platform/folders.h"
#include "platform/own_folder.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kShortestPauseMs = 1;
constexpr std::int64_t kLongestPauseMs = 20;

// A regular file of this account that is held; what else stands there is not waited for.
Result TakeOpened(int fd, const std::string& path, std::int64_t waitMs, Clock& clock) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return FileFailure("lock", path, errno);
  if (!S_ISREG(info.st_mode) || info.st_uid != ::geteuid())
    return Result::Failure("Cannot lock " + path + ": it is no file of this account.", kFileDenied);
  if ((info.st_mode & 07777) != 0600 && ::fchmod(fd, 0600) != 0) return FileFailure("lock", path, errno);
  const std::int64_t until = clock.NowUs() + waitMs * 1000;
  std::int64_t pause = kShortestPauseMs;
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) return FileFailure("lock", path, errno);
    const std::int64_t left = until - clock.NowUs();
    if (left <= 0)
      return Result::Failure("Another process holds " + path + ". Try again when it has ended.", kLockHeld);
    clock.SleepUs(std::min(left, pause * 1000));
    pause = std::min(pause * 2, kLongestPauseMs);
  }
  return Result::Success();
}

}  // namespace

std::string LockFile::NameFor(const std::string& kind, const std::string& path) {
  std::uint64_t hash = 14695981039346656037U;  // FNV-1a
  // The last name is taken as it is: the file may come later, or be replaced.
  const std::string whole = AbsolutePath(path), folder = FolderOf(whole);
  for (const char c : JoinPath(RealPath(folder).value_or(folder), FileNameOf(whole)))
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return Printf("%s-%016llx.lock", kind.c_str(), static_cast<unsigned long long>(hash));
}

Result LockFile::Take(const std::string& folder, const std::string& name, std::int64_t waitMs, Clock& clock) {
  Release();
  int in = -1;
  if (const Result own = MakeOwnFolder(folder, &in); !own) return own;
  const std::string path = JoinPath(folder, name);
  const int fd = ::openat(in, name.c_str(), O_CREAT | O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  const int error = errno;
  ::close(in);
  if (fd < 0) return FileFailure("lock", path, error);
  Result taken = TakeOpened(fd, path, waitMs, clock);
  if (taken) {
    fd_ = fd;
  } else {
    ::close(fd);
  }
  return taken;
}

void LockFile::Release() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

}  // namespace tonalith
