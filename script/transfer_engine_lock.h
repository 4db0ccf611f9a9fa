#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/clock.h"

namespace tonalith {

// Which DataFiles are in transfer.  Editing, saving, closing and undo ask here first.  Any thread.
class TransferLocks {
 public:
  bool Busy(const DataFile* dataFile) const;
  // A sentence for the user; empty when the DataFile is free.
  std::string BusySentence(const DataFile* dataFile) const;
  std::vector<const DataFile*> All() const;

 private:
  friend class TransferLock;
  bool Take(const DataFile* dataFile, const std::string& what);
  void Free(const DataFile* dataFile);

  mutable std::mutex mutex_;
  std::map<const DataFile*, std::string> busy_;
};

// Keeps one DataFile busy for the life of this object.
class TransferLock {
 public:
  TransferLock() = default;
  // `what`: maker and kind of the data, for the sentence.  Not taken when the DataFile is busy already.
  TransferLock(TransferLocks& locks, const DataFile* dataFile, const std::string& what);
  TransferLock(TransferLock&& other) noexcept;
  TransferLock& operator=(TransferLock&& other) noexcept;
  ~TransferLock() { Release(); }

  bool Taken() const { return locks_ != nullptr; }
  void Release();

 private:
  TransferLocks* locks_ = nullptr;
  const DataFile* dataFile_ = nullptr;
};

// MIDI input ports that receives occupy.  Any thread.
class PortsInUse {
 public:
  // The clock must outlive the object.
  explicit PortsInUse(Clock& clock) : clock_(clock) {}
  bool Contains(int port) const;
  // Also true when a receive gave the port up less than `us` microseconds ago: what it asked for may still come in, and
  // a receive is done as soon as it has the last byte, before others hear of the message.
  bool ContainedWithin(int port, std::int64_t us) const;
  void Add(int port);
  // Removes every occurrence of `port`; -1 clears the list.
  void ClearPortReceiveState(int port);

 private:
  Clock& clock_;
  mutable std::mutex mutex_;
  std::vector<int> ports_;
  std::map<int, std::int64_t> leftUs_;  // when a port was given up last
};

}  // namespace tonalith
