#include "platform/log.h"

#include <cstdlib>

#include "platform/terminal_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kKeptLines = 1000;

bool DebugToStandardError() {
  static const bool wanted = std::getenv("TONALITH_DEBUG") != nullptr;
  return wanted;
}

}  // namespace

Log& Log::Instance() {
  // Never destroyed: threads that end late may still write.
  static Log* log = new Log;
  return *log;
}

int Log::AddSink(Sink sink) {
  std::lock_guard guard(mutex_);
  sinks_.emplace_back(nextId_, std::move(sink));
  return nextId_++;
}

void Log::RemoveSink(int id) {
  std::lock_guard guard(mutex_);
  std::erase_if(sinks_, [id](const auto& entry) { return entry.first == id; });
}

void Log::Write(LogChannel channel, std::string_view text) {
  const std::string line = PlainSentence(text);
  std::vector<Sink> sinks;
  {
    std::lock_guard guard(mutex_);
    auto& kept = lines_[channel == LogChannel::Debug ? 0 : 1];
    // Dropped in blocks, so that a busy log does not move a thousand lines for each new one.
    if (kept.size() >= 2 * kKeptLines) kept.erase(kept.begin(), kept.end() - static_cast<std::ptrdiff_t>(kKeptLines));
    kept.emplace_back(line);
    for (const auto& entry : sinks_) sinks.push_back(entry.second);
    if (DebugToStandardError()) WriteErrorLine(line);
  }
  for (const Sink& sink : sinks) sink(channel, line);
}

std::vector<std::string> Log::Lines(LogChannel channel) const {
  std::lock_guard guard(mutex_);
  const auto& kept = lines_[channel == LogChannel::Debug ? 0 : 1];
  const std::size_t skip = kept.size() > kKeptLines ? kept.size() - kKeptLines : 0;
  return {kept.begin() + static_cast<std::ptrdiff_t>(skip), kept.end()};
}

void DebugLog(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log::Instance().Write(LogChannel::Debug, PrintfV(format, arguments));
  va_end(arguments);
}

void MonitorMsg(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log::Instance().Write(LogChannel::Monitor, PrintfV(format, arguments));
  va_end(arguments);
}

}  // namespace tonalith
