#pragma once

#include <cstdint>
#include <vector>

namespace tonalith {

using MidiPattern = std::vector<std::uint8_t>;  // at most kMaxMidiPattern bytes; 0xFF matches any byte

inline constexpr std::size_t kMaxMidiPattern = 100;
inline constexpr std::size_t kMaxDeclinePatterns = 2;

// What "all-port receiving" switches: SysEx only and complete at F7; everything including channel messages and complete
// only when the buffer is full; like SysEx only but not ending at F7.
enum class AcceptAny : int { SysExOnly = 0, Everything = 1, PastEnd = 2 };

// How one receive takes its bytes.
struct ReceiveOptions {
  std::int64_t skip = 0;  // leading bytes of the stream to drop
  AcceptAny acceptAny = AcceptAny::SysExOnly;
  bool hasAccept = false;
  MidiPattern accept{};                // a SysEx must start with it
  std::vector<MidiPattern> decline{};  // a SysEx starting with one of them is ignored
  MidiPattern end{};                   // a SysEx starting with it completes the receive; empty: none
  std::vector<std::uint32_t> sizes{};  // the receive is complete when a message ends at one of these byte counts
  std::int64_t timeoutMs = -1;  // -1: by length (max(length * 11 / 3125 + 30, length / 2 + 300)); 0: no time limit
};

}  // namespace tonalith
