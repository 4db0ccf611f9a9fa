#include "script/transfer_engine_lock.h"

#include <algorithm>
#include <utility>

namespace tonalith {

bool TransferLocks::Busy(const DataFile* dataFile) const {
  std::lock_guard guard(mutex_);
  return busy_.count(dataFile) != 0;
}

std::string TransferLocks::BusySentence(const DataFile* dataFile) const {
  std::lock_guard guard(mutex_);
  const auto at = busy_.find(dataFile);
  if (at == busy_.end()) return {};
  return "A MIDI transfer of " + at->second + " is running.  Please wait until it is done or cancel it.";
}

std::vector<const DataFile*> TransferLocks::All() const {
  std::lock_guard guard(mutex_);
  std::vector<const DataFile*> all;
  for (const auto& entry : busy_) all.push_back(entry.first);
  return all;
}

bool TransferLocks::Take(const DataFile* dataFile, const std::string& what) {
  std::lock_guard guard(mutex_);
  return dataFile && busy_.emplace(dataFile, what).second;
}

void TransferLocks::Free(const DataFile* dataFile) {
  std::lock_guard guard(mutex_);
  busy_.erase(dataFile);
}

TransferLock::TransferLock(TransferLocks& locks, const DataFile* dataFile, const std::string& what) {
  if (!locks.Take(dataFile, what)) return;
  locks_ = &locks;
  dataFile_ = dataFile;
}

TransferLock::TransferLock(TransferLock&& other) noexcept
    : locks_(std::exchange(other.locks_, nullptr)), dataFile_(other.dataFile_) {}

TransferLock& TransferLock::operator=(TransferLock&& other) noexcept {
  if (this == &other) return *this;
  Release();
  locks_ = std::exchange(other.locks_, nullptr);
  dataFile_ = other.dataFile_;
  return *this;
}

void TransferLock::Release() {
  if (locks_) locks_->Free(dataFile_);
  locks_ = nullptr;
}

bool PortsInUse::Contains(int port) const {
  std::lock_guard guard(mutex_);
  return std::find(ports_.begin(), ports_.end(), port) != ports_.end();
}

void PortsInUse::Add(int port) {
  std::lock_guard guard(mutex_);
  ports_.push_back(port);
}

bool PortsInUse::ContainedWithin(int port, std::int64_t us) const {
  std::lock_guard guard(mutex_);
  if (std::find(ports_.begin(), ports_.end(), port) != ports_.end()) return true;
  const auto left = leftUs_.find(port);
  return left != leftUs_.end() && clock_.NowUs() - left->second < us;
}

void PortsInUse::ClearPortReceiveState(int port) {
  std::lock_guard guard(mutex_);
  std::erase_if(ports_, [&](int used) {
    if (port != -1 && used != port) return false;
    leftUs_[used] = clock_.NowUs();
    return true;
  });
}

}  // namespace tonalith
