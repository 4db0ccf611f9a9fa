#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// Writes files as a whole on a thread of its own, so that who hands them over never waits for the disk.  The thread
// starts with the first file; the destructor writes what still waits.  Called on one thread.
class RecoveryWriter {
 public:
  // Two parts of one file; nothing is copied to put them together.
  struct Content {
    std::vector<std::uint8_t> head;
    std::vector<std::uint8_t> body;
  };

  RecoveryWriter() = default;
  RecoveryWriter(const RecoveryWriter&) = delete;
  RecoveryWriter& operator=(const RecoveryWriter&) = delete;
  ~RecoveryWriter();

  // Soon; takes the place of what still waits to be written to the same file.
  void Write(const std::string& file, Content content);
  // Here and at once, in place of what waits.
  Result WriteNow(const std::string& file, const Content& content);
  // Removes the file, and gives up what waits to be written to it.
  void Remove(const std::string& file);

  // What became of the last write of this file that has ended; success while there was none.
  Result LastWrite(const std::string& file) const;
  // The same when nothing waits for this file any more.
  Result Finish(const std::string& file);
  // Returns when nothing waits at all.
  void FinishAll();

 private:
  struct Work {
    std::optional<Content> waiting;
    bool writing = false;
    bool removed = false;  // while it was written
    Result last;
  };
  void Run();
  void WriteOne(std::map<std::string, Work>::iterator at, std::unique_lock<std::mutex>& lock);
  static bool IsOver(const Work& work) { return !work.waiting && !work.writing; }

  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::condition_variable written_;
  std::map<std::string, Work> files_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace tonalith
