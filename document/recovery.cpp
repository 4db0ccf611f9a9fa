#include "document/recovery.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <span>
#include <utility>

#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::string_view kMagic = "TZAS0001";
constexpr std::string_view kEnding = ".autosave";
constexpr std::string_view kLockEnding = ".lock";
constexpr std::uint32_t kLongestText = 65536;
constexpr std::size_t kLargestFile = kMaxWholeFile + 4 * kLongestText;
constexpr unsigned kOwnerOnly = 0600;  // of the lock

void Put32(std::vector<std::uint8_t>* out, std::uint32_t value) {
  out->resize(out->size() + 4);
  StoreBe32(out->data() + out->size() - 4, value);
}

void Put64(std::vector<std::uint8_t>* out, std::uint64_t value) {
  Put32(out, static_cast<std::uint32_t>(value >> 32));
  Put32(out, static_cast<std::uint32_t>(value));
}

void PutText(std::vector<std::uint8_t>* out, std::string_view text) {
  text = text.substr(0, kLongestText);
  Put32(out, static_cast<std::uint32_t>(text.size()));
  out->insert(out->end(), text.begin(), text.end());
}

// Takes from the front; after the first thing that is not there everything is empty and `good` false.
struct Taker {
  std::span<const std::uint8_t> left;
  bool good = true;

  std::span<const std::uint8_t> Take(std::size_t n) {
    good = good && n <= left.size();
    if (!good) return {};
    const auto part = left.first(n);
    left = left.subspan(n);
    return part;
  }
  std::uint32_t Take32() {
    const auto part = Take(4);
    return good ? LoadBe32(part.data()) : 0;
  }
  std::uint64_t Take64() {
    const std::uint64_t high = Take32();
    return high << 32 | Take32();
  }
  std::string TakeText() {
    const std::uint32_t n = Take32();
    good = good && n <= kLongestText;
    const auto part = Take(good ? n : 0);
    return {part.begin(), part.end()};
  }
};

std::vector<std::string> NamesIn(const std::string& folder, std::string_view ending) {
  std::vector<std::string> names;
  DIR* dir = ::opendir(folder.c_str());
  if (!dir) return names;
  while (const dirent* entry = ::readdir(dir)) {
    std::string name = entry->d_name;
    if (name.size() > ending.size() && name.ends_with(ending)) names.push_back(std::move(name));
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

// "SESSION-NUMBER.autosave"
std::string SessionOf(const std::string& name) {
  return name.substr(0, name.rfind('-'));
}

// Whether a program holds the lock file of its session.  What cannot be looked at is left to whose it is.
bool IsHeld(const std::string& lockFile) {
  const int fd = ::open(lockFile.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
  if (fd < 0) return errno != ENOENT;
  const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
  ::close(fd);
  return held;
}

}  // namespace

RecoveryFolder::RecoveryFolder(std::string folder) : folder_(std::move(folder)) {}

RecoveryFolder::~RecoveryFolder() {
  writer_.FinishAll();
  if (lock_ < 0) return;
  ::unlink(JoinPath(folder_, session_ + std::string(kLockEnding)).c_str());
  ::close(lock_);
}

// The lock is taken before the file has its name: nobody ever sees it free while the program runs.
Result RecoveryFolder::Start() {
  if (lock_ >= 0) return Result::Success();
  if (Result made = MakeFolders(folder_); !made.ok()) return made;
  static int sessions = 0;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const long long micros = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
  session_ = Printf("%016llx-%ld-%d", micros, static_cast<long>(::getpid()), ++sessions);
  const std::string name = JoinPath(folder_, session_ + std::string(kLockEnding));
  const std::string temporary = name + ".new";
  const int fd = ::open(temporary.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_RDWR | O_CLOEXEC, kOwnerOnly);
  if (fd < 0) return FileFailure("write", temporary, errno);
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::rename(temporary.c_str(), name.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary.c_str());
    ::close(fd);
    return FileFailure("write", name, error);
  }
  lock_ = fd;
  return Result::Success();
}

Result RecoveryFolder::Describe(RecoverableFile* about, std::size_t length, std::vector<std::uint8_t>* head) {
  if (Result started = Start(); !started.ok()) return started;
  about->time = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  if (about->file.empty()) about->file = JoinPath(folder_, session_ + Printf("-%d", ++made_) + std::string(kEnding));
  head->assign(kMagic.begin(), kMagic.end());
  PutText(head, FileKindRowOf(about->kind).name);
  PutText(head, about->path);
  PutText(head, about->title);
  Put64(head, static_cast<std::uint64_t>(about->time));
  const FileStamp& stamp = about->stamp;
  Put32(head, (stamp.known ? 1U : 0U) | (stamp.exists ? 2U : 0U));
  for (const std::uint64_t value : {stamp.device, stamp.inode, stamp.size, static_cast<std::uint64_t>(stamp.modified)})
    Put64(head, value);
  Put64(head, length);
  return Result::Success();
}

Result RecoveryFolder::Keep(RecoverableFile* about, std::vector<std::uint8_t> content) {
  RecoverableFile described = *about;
  std::vector<std::uint8_t> head;
  if (Result result = Describe(&described, content.size(), &head); !result.ok()) return result;
  Result result = writer_.WriteNow(described.file, {std::move(head), std::move(content)});
  if (result.ok()) *about = std::move(described);
  return result;
}

Result RecoveryFolder::KeepBeside(RecoverableFile* about, std::vector<std::uint8_t> content) {
  std::vector<std::uint8_t> head;
  if (Result result = Describe(about, content.size(), &head); !result.ok()) return result;
  writer_.Write(about->file, {std::move(head), std::move(content)});
  return Result::Success();
}

Result RecoveryFolder::Read(const std::string& file, RecoverableFile* about, std::vector<std::uint8_t>* content) {
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadWholeFile(file, bytes, kLargestFile); !read.ok()) return read;
  const Result damaged = Result::Failure("The file " + file + " is no autosave file of this program.");
  Taker taker{bytes};
  const auto magic = taker.Take(kMagic.size());
  if (!taker.good || !std::equal(magic.begin(), magic.end(), kMagic.begin())) return damaged;
  RecoverableFile found;
  found.file = file;
  const std::string kind = taker.TakeText();
  found.path = taker.TakeText();
  found.title = taker.TakeText();
  found.time = static_cast<std::time_t>(taker.Take64());
  const std::uint32_t flags = taker.Take32();
  found.stamp.known = (flags & 1U) != 0;
  found.stamp.exists = (flags & 2U) != 0;
  found.stamp.device = taker.Take64();
  found.stamp.inode = taker.Take64();
  found.stamp.size = taker.Take64();
  found.stamp.modified = static_cast<std::int64_t>(taker.Take64());
  const std::uint64_t length = taker.Take64();
  const auto row = std::find_if(FileKinds().begin(), FileKinds().end(),
                                [&](const FileKindRow& candidate) { return candidate.name == kind; });
  if (!taker.good || length != taker.left.size() || row == FileKinds().end()) return damaged;
  found.kind = row->kind;
  if (content) content->assign(taker.left.begin(), taker.left.end());
  *about = std::move(found);
  return Result::Success();
}

bool RecoveryFolder::IsLeftover(const std::string& name) const {
  const std::string session = SessionOf(name);
  return session != session_ && !IsHeld(JoinPath(folder_, session + std::string(kLockEnding)));
}

std::vector<RecoverableFile> RecoveryFolder::Leftovers() {
  std::vector<RecoverableFile> found;
  std::set<std::string> sessions;
  for (const std::string& name : NamesIn(folder_, kEnding)) {
    sessions.insert(SessionOf(name));
    if (!IsLeftover(name)) continue;
    RecoverableFile about;
    const std::string file = JoinPath(folder_, name);
    if (const Result read = Read(file, &about, nullptr); read.ok()) {
      found.push_back(std::move(about));
    } else if (FileExists(file)) {
      SetAsideBroken(file);
    }
  }
  // Locks of sessions that ended without leaving anything.
  for (const std::string& name : NamesIn(folder_, kLockEnding)) {
    const std::string session = name.substr(0, name.size() - kLockEnding.size());
    const std::string file = JoinPath(folder_, name);
    if (!sessions.count(session) && !IsHeld(file)) ::unlink(file.c_str());
  }
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.time < b.time; });
  return found;
}

}  // namespace tonalith
