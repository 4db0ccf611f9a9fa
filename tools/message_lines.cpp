#include "tools/message_lines.h"

#include <algorithm>

#include "data/hex_text.h"
#include "tools/monitor_lines.h"
#include "tools/sysex_words.h"

namespace tonalith {

namespace {

constexpr std::size_t kDataShown = 16;

bool IsRealTime(std::uint8_t byte) {
  return byte >= 0xF8;
}

// Length of a message that is no SysEx, with its status.
std::size_t ShortLength(std::uint8_t status) {
  switch (status & 0xF0) {
    case 0xC0:
    case 0xD0:
      return 2;
    case 0xF0:
      return status == 0xF2 ? 3 : status == 0xF1 || status == 0xF3 ? 2 : 1;
    default:
      return 3;
  }
}

}  // namespace

bool MessageLines::FindEnd(std::size_t until, std::size_t* end) {
  const std::uint8_t status = bytes_[at_];
  const bool sysEx = status == 0xF0;
  const std::size_t limit = sysEx || status < 0x80 ? bytes_.size() : std::min(bytes_.size(), at_ + ShortLength(status));
  scanned_ = std::max(scanned_, at_ + 1);
  const std::size_t stop = std::min(limit, std::max(until, at_ + 1));
  while (scanned_ < stop && (bytes_[scanned_] < 0x80 || (sysEx && IsRealTime(bytes_[scanned_])))) ++scanned_;
  if (scanned_ == stop && stop < limit) return false;
  *end = scanned_;
  if (sysEx && *end < bytes_.size() && bytes_[*end] == 0xF7) ++*end;
  return true;
}

bool MessageLines::Step(std::size_t bytes) {
  const std::size_t until = std::max(at_, scanned_) + bytes;
  while (at_ < bytes_.size() && lines_.size() < kMost) {
    std::size_t end = 0;
    if (at_ >= until || !FindEnd(until, &end)) return false;
    lines_.push_back({static_cast<std::uint32_t>(at_), static_cast<std::uint32_t>(end - at_)});
    at_ = end;
  }
  unlisted_ = bytes_.size() - at_;
  return true;
}

std::string MessageLines::Text(std::size_t line) const {
  if (line >= lines_.size()) return {};
  const auto message = bytes_.subspan(lines_[line].offset, lines_[line].length);
  const std::uint8_t status = message.front();
  if (status == 0xF0) return MonitorText(message, UniversalSysExWords(message));
  const bool whole = status >= 0x80 && message.size() == ShortLength(status);
  if (whole) return MonitorText(message);
  std::string text = HexText(message.first(std::min(message.size(), kDataShown)));
  if (message.size() > kDataShown) text += " ...";
  text += status < 0x80 ? " Data bytes: " : " Incomplete message: ";
  return text + std::to_string(message.size());
}

}  // namespace tonalith
