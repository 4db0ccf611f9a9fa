#include "tools/message_lines.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

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

bool MessageLines::FindEnd(std::span<const std::uint8_t> bytes, std::size_t until, std::size_t* end) {
  const std::uint8_t status = bytes[at_];
  const bool sysEx = status == 0xF0;
  const std::size_t limit = sysEx || status < 0x80 ? bytes.size() : std::min(bytes.size(), at_ + ShortLength(status));
  scanned_ = std::max(scanned_, at_ + 1);
  const std::size_t stop = std::min(limit, std::max(until, at_ + 1));
  while (scanned_ < stop && (bytes[scanned_] < 0x80 || (sysEx && IsRealTime(bytes[scanned_])))) ++scanned_;
  if (scanned_ == stop && stop < limit) return false;
  *end = scanned_;
  if (sysEx && *end < bytes.size() && bytes[*end] == 0xF7) ++*end;
  return true;
}

bool MessageLines::Step(std::span<const std::uint8_t> bytes, std::size_t count) {
  const std::size_t until = std::max(at_, scanned_) + count;
  while (at_ < bytes.size() && lines_.size() < kMost) {
    std::size_t end = 0;
    if (at_ >= until || !FindEnd(bytes, until, &end)) return false;
    lines_.push_back({static_cast<std::uint32_t>(at_), static_cast<std::uint32_t>(end - at_)});
    at_ = end;
  }
  unlisted_ = bytes.size() - std::min(at_, bytes.size());
  return true;
}

std::size_t MessageLines::LineOf(std::size_t position) const {
  const auto after = std::upper_bound(lines_.begin(), lines_.end(), position,
                                      [](std::size_t at, const Line& line) { return at < line.offset; });
  if (after == lines_.begin() || position >= std::size_t{std::prev(after)->offset} + std::prev(after)->length)
    return lines_.size();
  return static_cast<std::size_t>(after - lines_.begin()) - 1;
}

std::string MessageLines::Text(std::span<const std::uint8_t> bytes, std::size_t line, SysExWords* words) const {
  if (line >= lines_.size() || lines_[line].offset + std::size_t{lines_[line].length} > bytes.size()) return {};
  const auto message = bytes.subspan(lines_[line].offset, lines_[line].length);
  const std::uint8_t status = message.front();
  if (status == 0xF0) return MonitorText(message, words ? words->Words(message) : UniversalSysExWords(message));
  const bool whole = status >= 0x80 && message.size() == ShortLength(status);
  if (whole) return MonitorText(message);
  std::string text = HexText(message.first(std::min(message.size(), kDataShown)));
  if (message.size() > kDataShown) text += " ...";
  text += status < 0x80 ? " Data bytes: " : " Incomplete message: ";
  return text + std::to_string(message.size());
}

std::string MessageLineText(const MessageLines& lines, std::span<const std::uint8_t> bytes, std::size_t line,
                            SysExWords* words) {
  if (line >= lines.lines().size()) return {};
  char place[16];
  const int length = std::snprintf(place, sizeof place, "%5.5X:  ", lines.lines()[line].offset);
  return std::string(place, static_cast<std::size_t>(length)) + lines.Text(bytes, line, words);
}

}  // namespace tonalith
