#include "document/recovery_writer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/atomic_file.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr unsigned kOwnersOwn = 0600;

Result WriteContent(const std::string& file, const RecoveryWriter::Content& content) {
  try {
    AtomicFile out;
    Result result = out.Open(file, kOwnersOwn);
    if (result.ok()) result = out.Write(content.head);
    if (result.ok()) result = out.Write(content.body);
    return result.ok() ? out.Commit() : result;
  } catch (const std::bad_alloc&) {
    return Result::Failure("There is not enough memory to write " + file + ".", kFileNoMemory);
  }
}

void RemoveFile(const std::string& file) {
  if (::unlink(file.c_str()) != 0 && errno != ENOENT) {
    DebugLog("%s", FileFailure("remove", file, errno).text.c_str());
  }
}

}  // namespace

RecoveryWriter::~RecoveryWriter() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  arrived_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void RecoveryWriter::Write(const std::string& file, Content content) {
  const std::lock_guard lock(mutex_);
  files_[file].waiting = std::move(content);
  if (!thread_.joinable()) thread_ = std::thread([this] { Run(); });
  arrived_.notify_all();
}

Result RecoveryWriter::WriteNow(const std::string& file, const Content& content) {
  std::unique_lock lock(mutex_);
  Work& work = files_[file];
  work.waiting.reset();
  work.removed = false;
  written_.wait(lock, [&work] { return IsOver(work); });
  work.last = WriteContent(file, content);
  return work.last;
}

void RecoveryWriter::Remove(const std::string& file) {
  const std::lock_guard lock(mutex_);
  const auto at = files_.find(file);
  if (at != files_.end() && at->second.writing) {
    at->second.waiting.reset();
    at->second.removed = true;
    return;
  }
  if (at != files_.end()) files_.erase(at);
  RemoveFile(file);
}

Result RecoveryWriter::LastWrite(const std::string& file) const {
  const std::lock_guard lock(mutex_);
  const auto at = files_.find(file);
  return at == files_.end() ? Result::Success() : at->second.last;
}

Result RecoveryWriter::Finish(const std::string& file) {
  std::unique_lock lock(mutex_);
  // Looked for again each time: a file that was removed while it was written is forgotten then.
  const auto over = [&] {
    const auto at = files_.find(file);
    return at == files_.end() || IsOver(at->second);
  };
  written_.wait(lock, over);
  const auto at = files_.find(file);
  return at == files_.end() ? Result::Success() : at->second.last;
}

void RecoveryWriter::FinishAll() {
  std::unique_lock lock(mutex_);
  written_.wait(lock, [this] {
    return std::all_of(files_.begin(), files_.end(), [](const auto& entry) { return IsOver(entry.second); });
  });
}

// ---- the thread -----------------------------------------------------------------------------------------------------

void RecoveryWriter::Run() {
  std::unique_lock lock(mutex_);
  const auto next = [this] {
    return std::find_if(files_.begin(), files_.end(), [](const auto& entry) { return entry.second.waiting; });
  };
  while (true) {
    arrived_.wait(lock, [&] { return ending_ || next() != files_.end(); });
    const auto at = next();
    if (at == files_.end()) return;
    WriteOne(at, lock);
  }
}

void RecoveryWriter::WriteOne(std::map<std::string, Work>::iterator at, std::unique_lock<std::mutex>& lock) {
  Work& work = at->second;
  work.writing = true;
  const Content content = *std::exchange(work.waiting, std::nullopt);
  lock.unlock();
  Result result = WriteContent(at->first, content);
  lock.lock();
  work.writing = false;
  work.last = std::move(result);
  // Unless it is to be written again.
  if (std::exchange(work.removed, false) && !work.waiting) {
    RemoveFile(at->first);
    files_.erase(at);
  }
  written_.notify_all();
}

}  // namespace tonalith
