#pragma once

#include <cstdarg>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Two channels: the debug output for developers, and the monitor log that the user can open.
enum class LogChannel { Debug, Monitor };

// What is written becomes one plain line (PlainSentence).  Lines go to every sink, on the calling thread; sinks must be
// quick and may be called from any thread.  Both also go to standard error when the environment variable TONALITH_DEBUG
// is set.  The last 1000 lines of each channel are kept for windows that open later.
class Log {
 public:
  using Sink = std::function<void(LogChannel, std::string_view line)>;

  static Log& Instance();

  int AddSink(Sink sink);
  void RemoveSink(int id);
  void Write(LogChannel channel, std::string_view text);
  std::vector<std::string> Lines(LogChannel channel) const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::pair<int, Sink>> sinks_;
  std::vector<std::string> lines_[2];
  int nextId_ = 1;
};

void DebugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void MonitorMsg(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace tonalith
