#include "platform/atomic_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <new>

#include "platform/file_bytes.h"
#include "platform/path_resolver.h"
#include "platform/save_target.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kBlock = 1 << 16;

std::string TemporaryName(const std::string& target) {
  static std::atomic<unsigned> counter{0};
  std::string name(CutUtf8(FileNameOf(target), 200));
  return JoinPath(FolderOf(target),
                  Printf(".%s.%ld-%u.part", name.c_str(), static_cast<long>(getpid()), counter.fetch_add(1) + 1));
}

// The process that a name of TemporaryName belongs to; 0: another name.
long TemporaryOwner(std::string_view name) {
  constexpr std::string_view kEnd = ".part";
  if (name.size() <= kEnd.size() || name[0] != '.' || !name.ends_with(kEnd)) return 0;
  name.remove_suffix(kEnd.size());
  const std::size_t dot = name.rfind('.');
  if (dot == 0 || dot == std::string_view::npos) return 0;
  const auto numbers = SplitText(name.substr(dot + 1), '-');
  if (numbers.size() != 2) return 0;
  for (const std::string& number : numbers)
    if (number.empty() || number.size() > 10 || number.find_first_not_of("0123456789") != std::string::npos) return 0;
  return std::stol(numbers[0]);
}

// A temporary file in use is locked, and its process is there.
void RemoveLeftovers(const std::string& folder) {
  DIR* list = ::opendir(folder.c_str());
  if (!list) return;
  while (const dirent* entry = ::readdir(list)) {
    const long owner = TemporaryOwner(entry->d_name);
    if (owner <= 0 || ::kill(static_cast<pid_t>(owner), 0) == 0 || errno != ESRCH) continue;
    const int fd = ::openat(::dirfd(list), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat info {};
    const bool isOurs = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == ::geteuid();
    if (isOurs && ::flock(fd, LOCK_EX | LOCK_NB) == 0) ::unlinkat(::dirfd(list), entry->d_name, 0);
    ::close(fd);
  }
  ::closedir(list);
}

bool WriteFully(int fd, const std::uint8_t* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, data, std::min<std::size_t>(size, std::size_t{1} << 30));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

// Makes a rename in the folder durable; file systems that cannot do that for folders are left alone.
void SyncFolder(const std::string& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

// Opens without waiting for the other side of a pipe; reading and writing then wait as usual.
int OpenWithoutWaiting(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd >= 0) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  return fd;
}

// Why something that is no ordinary file is not read; null: it is one.  Pipes and devices may wait for ever or never
// end.
const char* WhyNotRead(const struct stat& info) {
  if (S_ISREG(info.st_mode)) return nullptr;
  if (S_ISDIR(info.st_mode)) return "it is a folder";
  if (S_ISFIFO(info.st_mode)) return "it is a pipe, not a file";
  if (S_ISSOCK(info.st_mode)) return "it is a socket, not a file";
  return "it is a device, not a file";
}

Result NotAFile(const std::string& path, const char* why) {
  return Result::Failure(Printf("Cannot open %s: %s.", path.c_str(), why), kFileNotRegular);
}

Result NoMemoryFor(const std::string& source) {
  return Result::Failure("There is not enough memory to read " + source + ".", kFileNoMemory);
}

Result TooLarge(const std::string& source, std::size_t limit) {
  return Result::Failure(Printf("%s is too large (more than %zu bytes).", source.c_str(), limit), kFileTooLarge);
}

// Appends all that `read` gives (bytes put at a place of a size; 0: the end, negative: an error in errno).  `expected`
// is how much there seems to be: one byte more shows the end without growing.
template <typename Container, typename Read>
Result Drain(const std::string& source, Container& out, std::size_t expected, std::size_t limit, const Read& read) {
  std::size_t used = 0;
  out.resize(expected > 0 ? expected + 1 : kBlock);
  for (;;) {
    const ssize_t count = read(out.data() + used, out.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return FileFailure("read", source, errno);
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used > limit) return TooLarge(source, limit);
    if (used == out.size()) out.resize(std::min(used * 2, limit + 1));
  }
  out.resize(used);
  return Result::Success();
}

template <typename Container, typename Read>
Result DrainOrClear(const std::string& source, Container& out, std::size_t expected, std::size_t limit,
                    const Read& read) {
  Result result;
  try {
    result = Drain(source, out, expected, limit, read);
  } catch (const std::bad_alloc&) {
    result = NoMemoryFor(source);
  }
  if (!result) Container().swap(out);
  return result;
}

enum class Extent { kWhole, kHead };

// A whole file of at most `limit` bytes, or that many of its first.
template <typename Container>
Result ReadInto(const std::string& path, Container& out, std::size_t limit, Extent extent = Extent::kWhole) {
  out.clear();
  struct stat info {};
  // Looked at first: opening alone already does something to some devices.
  if (::stat(path.c_str(), &info) != 0) return FileFailure("open", path, errno);
  if (const char* why = WhyNotRead(info)) return NotAFile(path, why);
  const int fd = OpenWithoutWaiting(path, O_RDONLY);
  if (fd < 0) return FileFailure("open", path, errno);
  Result result;
  if (::fstat(fd, &info) != 0) {
    result = FileFailure("open", path, errno);
  } else if (const char* why = WhyNotRead(info)) {
    result = NotAFile(path, why);
  } else if (extent == Extent::kHead) {
    out.resize(limit);
    ssize_t count = 0;
    do count = ::read(fd, out.data(), out.size());
    while (count < 0 && errno == EINTR);
    if (count < 0) result = FileFailure("read", path, errno);
    out.resize(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
  } else if (info.st_size > static_cast<off_t>(limit)) {
    result = TooLarge(path, limit);
  } else {
    result = DrainOrClear(path, out, static_cast<std::size_t>(info.st_size), limit,
                          [fd](void* to, std::size_t size) { return ::read(fd, to, size); });
  }
  ::close(fd);
  return result;
}

template <typename Container>
Result ReadStreamInto(std::istream& in, const std::string& source, Container& out, std::size_t limit) {
  return DrainOrClear(source, out, 0, limit, [&in](void* to, std::size_t size) {
    in.read(static_cast<char*>(to), static_cast<std::streamsize>(size));
    return static_cast<ssize_t>(in.gcount());
  });
}

}  // namespace

Result FileFailure(const char* what, const std::string& path, int error) {
  int code = kFileFailed;
  const char* reason = nullptr;
  char buffer[128];
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      code = kFileMissing;
      reason = "there is no such file or folder";
      break;
    case EACCES:
    case EPERM:
    case EROFS:
      code = kFileDenied;
      reason = "you do not have the permission";
      break;
    case ENOSPC:
    case EDQUOT:
      reason = "the disk is full";
      break;
    case EISDIR:
      reason = "it is a folder";
      break;
    case ENAMETOOLONG:
      reason = "the name is too long";
      break;
    default:
      reason = strerror_r(error, buffer, sizeof buffer);
  }
  return Result::Failure(Printf("Cannot %s %s: %s.", what, path.c_str(), reason), code);
}

AtomicFile::~AtomicFile() {
  Discard();
}

Result AtomicFile::Fail(const char* what, int error) {
  failed_ = FileFailure(what, asked_, error);
  Discard();
  return failed_;
}

void AtomicFile::Discard() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
  buffer_.clear();
}

Result AtomicFile::Open(const std::string& path, unsigned mode) {
  Discard();
  failed_ = {};
  written_ = 0;
  asked_ = path;
  direct_ = false;
  const SaveTarget found = FindSaveTarget(path);
  if (!found.strangers.empty()) {
    failed_ =
        Result::Failure("Cannot write " + path + ": " + found.strangers + " belongs to another account.", kFileDenied);
    return failed_;
  }
  if (found.error != 0) return Fail("write", found.error);
  target_ = found.path;
  struct stat old {};
  const bool exists = ::stat(target_.c_str(), &old) == 0;
  if (exists && S_ISDIR(old.st_mode)) return Fail("write", EISDIR);
  if (exists && ::access(target_.c_str(), W_OK) != 0) return Fail("write", errno);
  if (exists && !S_ISREG(old.st_mode)) {
    fd_ = OpenWithoutWaiting(target_, O_WRONLY);
    direct_ = true;
    return fd_ < 0 ? Fail("write", errno) : Result::Success();
  }
  // A file without a name vanishes by itself when the program dies while writing.
  if (::access("/proc/self/fd", X_OK) == 0) {
    fd_ = ::open(FolderOf(target_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
  }
  if (fd_ < 0) {
    temporary_ = TemporaryName(target_);
    fd_ = ::open(temporary_.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, mode);
    if (fd_ < 0) {
      const int error = errno;
      temporary_.clear();
      return Fail("write", error);
    }
  }
  if (exists) {
    // The owner can be kept by the superuser only, the group by its members.
    if (::fchown(fd_, old.st_uid, old.st_gid) != 0 && ::fchown(fd_, static_cast<uid_t>(-1), old.st_gid) != 0) errno = 0;
    // Not every file system has modes.
    if (::fchmod(fd_, old.st_mode & 07777) != 0) errno = 0;
  }
  ::flock(fd_, LOCK_EX | LOCK_NB);
  buffer_.reserve(kBlock);
  return Result::Success();
}

Result AtomicFile::Write(std::span<const std::uint8_t> bytes) {
  if (!failed_) return failed_;
  if (fd_ < 0) return Result::Failure("The file is not open.");
  if (bytes.size() > kMaxWholeFile - written_) {
    failed_ = Result::Failure(Printf("Cannot write %s: it would have more than %zu MiB, and no larger file is read.",
                                     asked_.c_str(), kMaxWholeFile >> 20),
                              kFileTooLarge);
    Discard();
    return failed_;
  }
  written_ += bytes.size();
  if (buffer_.size() + bytes.size() < kBlock) {
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    return Result::Success();
  }
  if (!WriteFully(fd_, buffer_.data(), buffer_.size())) return Fail("write", errno);
  buffer_.clear();
  if (!WriteFully(fd_, bytes.data(), bytes.size())) return Fail("write", errno);
  return Result::Success();
}

Result AtomicFile::Write(std::string_view bytes) {
  return Write(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

Result AtomicFile::NameTemporary() {
  if (!temporary_.empty()) return Result::Success();
  const std::string self = Printf("/proc/self/fd/%d", fd_);
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string name = TemporaryName(target_);
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      temporary_ = name;
      return Result::Success();
    }
    if (errno != EEXIST) break;
  }
  return CopyToNamed();
}

// For file systems that make files without a name but cannot give them one.
Result AtomicFile::CopyToNamed() {
  const std::string name = TemporaryName(target_);
  struct stat info {};
  if (::fstat(fd_, &info) != 0) return Fail("write", errno);
  const int named = ::open(name.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY | O_CLOEXEC, info.st_mode & 07777);
  if (named < 0) return Fail("write", errno);
  temporary_ = name;
  std::vector<std::uint8_t> block(kBlock);
  ::flock(named, LOCK_EX | LOCK_NB);
  bool good = true;
  if (::fchmod(named, info.st_mode & 07777) != 0) errno = 0;
  for (off_t at = 0; good && at < info.st_size;) {
    const ssize_t count = ::pread(fd_, block.data(), block.size(), at);
    good = count > 0 && WriteFully(named, block.data(), static_cast<std::size_t>(count));
    at += count;
  }
  good = good && ::fsync(named) == 0;
  const int error = errno;
  ::close(fd_);
  fd_ = named;
  return good ? Result::Success() : Fail("write", error);
}

Result AtomicFile::Commit() {
  if (!failed_) return failed_;
  if (fd_ < 0) return Result::Failure("The file is not open.");
  if (!WriteFully(fd_, buffer_.data(), buffer_.size())) return Fail("write", errno);
  buffer_.clear();
  if (direct_) {
    const int fd = fd_;
    fd_ = -1;
    return ::close(fd) == 0 ? Result::Success() : Fail("write", errno);
  }
  if (::fsync(fd_) != 0) return Fail("write", errno);
  if (const Result named = NameTemporary(); !named) return named;
  const int fd = fd_;
  fd_ = -1;
  if (::close(fd) != 0) return Fail("write", errno);
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) return Fail("replace", errno);
  temporary_.clear();
  RemoveLeftovers(FolderOf(target_));
  SyncFolder(FolderOf(target_));
  return Result::Success();
}

Result WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes) {
  AtomicFile file;
  if (const Result result = file.Open(path); !result) return result;
  if (const Result result = file.Write(bytes); !result) return result;
  return file.Commit();
}

Result WriteFileAtomically(const std::string& path, std::string_view bytes) {
  return WriteFileAtomically(path, std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

Result CopyFileAtomically(const std::string& from, const std::string& to) {
  std::vector<std::uint8_t> bytes;
  if (const Result result = ReadWholeFile(from, bytes); !result) return result;
  return WriteFileAtomically(to, bytes);
}

Result ReadWholeFile(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit) {
  return ReadInto(path, out, limit);
}

Result ReadWholeFile(const std::string& path, std::string& out, std::size_t limit) {
  return ReadInto(path, out, limit);
}

Result ReadFileHead(const std::string& path, std::vector<std::uint8_t>& out, std::size_t count) {
  return ReadInto(path, out, count, Extent::kHead);
}

Result ReadWholeStream(std::istream& in, const std::string& source, std::vector<std::uint8_t>& out, std::size_t limit) {
  return ReadStreamInto(in, source, out, limit);
}

Result ReadWholeStream(std::istream& in, const std::string& source, std::string& out, std::size_t limit) {
  return ReadStreamInto(in, source, out, limit);
}

Result ReadWholeFile(const std::string& path, FileBytes& out, std::size_t limit) {
  return ReadInto(path, out, limit);
}

Result ReadWholeStream(std::istream& in, const std::string& source, FileBytes& out, std::size_t limit) {
  return ReadStreamInto(in, source, out, limit);
}

bool FileExists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool FolderExists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

Result MakeFolders(const std::string& path) {
  if (path.empty()) return FileFailure("create the folder", path, ENOENT);
  for (std::size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
    const std::string part = path.substr(0, at);
    if (::mkdir(part.c_str(), 0777) != 0 && !FolderExists(part)) {
      return FileFailure("create the folder", part, errno == EEXIST ? ENOTDIR : errno);
    }
    if (at == std::string::npos) return Result::Success();
  }
}

Result SetAsideBroken(const std::string& path, std::string* name) {
  static constexpr char kEnding[] = ".broken";
  std::string aside = path + kEnding;
  struct stat info {};
  for (int i = 2; ::lstat(aside.c_str(), &info) == 0 && i < 1000; ++i) aside = path + kEnding + std::to_string(i);
  if (::rename(path.c_str(), aside.c_str()) != 0) return FileFailure("rename", path, errno);
  if (name) *name = aside;
  return Result::Success();
}

Result KeepBeside(const std::string& path, std::string* name) {
  for (int i = 1; i < 1000; ++i) {
    const std::string beside = path + "~" + (i > 1 ? std::to_string(i) : std::string());
    struct stat info {};
    if (::lstat(beside.c_str(), &info) == 0) continue;
    if (::linkat(AT_FDCWD, path.c_str(), AT_FDCWD, beside.c_str(), AT_SYMLINK_FOLLOW) != 0) {
      if (errno == EEXIST) continue;
      if (const Result copied = CopyFileAtomically(path, beside); !copied) return copied;
    }
    if (name) *name = beside;
    return Result::Success();
  }
  return Result::Failure("There are too many kept files beside " + path + ".");
}

}  // namespace tonalith
