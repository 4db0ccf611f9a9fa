#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/result.h"

namespace tonalith {

// The registry-style store: string values under key paths like "SOFTWARE\\Corvane\\Tonalith\\13.0", kept in one INI
// file whose sections are the key paths.  Names without regard to case.  Any thread; several processes may share a file
// (writes are made one at a time on the newest contents).  Reading never waits.  A process that does not give the store
// back is waited for once, kKeyStoreWaitMs at most; until a write has succeeded again, others fail at once.
inline constexpr std::int64_t kKeyStoreWaitMs = 2000;

class KeyStore {
 public:
  // `lockFolder`: the user's runtime folder, where processes take their turns.
  KeyStore(std::string file, std::string lockFolder, Clock& clock = SystemClock())
      : file_(std::move(file)), lockFolder_(std::move(lockFolder)), clock_(clock) {}

  std::optional<std::string> Read(std::string_view keyPath, std::string_view name) const;
  // What has the value already is not written again.
  Result Write(std::string_view keyPath, std::string_view name, std::string_view value);
  // Success also when there was no such value.
  Result Remove(std::string_view keyPath, std::string_view name);
  const std::string& file() const { return file_; }

 private:
  template <typename Change>
  Result Update(Change change);

  std::string file_;
  std::string lockFolder_;
  Clock& clock_;
  std::mutex mutex_;  // for writes
  std::int64_t waitMs_ = kKeyStoreWaitMs;
};

}  // namespace tonalith
