#pragma once

#include <cstdint>
#include <string>

#include "platform/clock.h"
#include "platform/result.h"

namespace tonalith {

// Result::code of a lock that somebody else holds; none of the codes of files.
inline constexpr int kLockHeld = 50;

// A lock that the processes of one account take in turns: a file of mode 0600 in a folder of that account alone (see
// MakeOwnFolder), so that nobody else can hold it.  It is free again when its holder ends, however that happens.  The
// file stays.  Two objects of one process exclude each other as well.
class LockFile {
 public:
  LockFile() = default;
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;
  ~LockFile() { Release(); }

  // The name of the lock for a file or folder: `kind`, and a number made from the path.
  static std::string NameFor(const std::string& kind, const std::string& path);

  // Takes FOLDER/NAME; waits at most `waitMs` (0: not at all) for who holds it: kLockHeld then.  What the lock is for
  // must not be done after a failure.
  Result Take(const std::string& folder, const std::string& name, std::int64_t waitMs, Clock& clock = SystemClock());
  void Release();
  bool Held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace tonalith
