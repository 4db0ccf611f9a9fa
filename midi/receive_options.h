#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tonalith {

using MidiPattern = std::vector<std::uint8_t>;  // at most kMaxMidiPattern bytes; 0xFF matches any byte

inline constexpr std::size_t kMaxMidiPattern = 100;
inline constexpr std::size_t kMaxDeclinePatterns = 2;

// What "all-port receiving" switches: SysEx only and complete at F7; everything including channel messages and complete
// only when the buffer is full; like SysEx only but not ending at F7.
enum class AcceptAny : int { SysExOnly = 0, Everything = 1, PastEnd = 2 };

// How one message of an answer looks.
struct AnswerMessage {
  std::vector<std::uint8_t> value{};  // how it begins, as far as `mask` says
  std::vector<std::uint8_t> mask{};   // as long as `value`
  std::uint32_t length = 0;           // from F0 to F7; 0: any
  std::uint32_t least = 0;            // that any length has
  std::uint32_t step = 1;             // what there is beyond comes in groups of so many
  // Any length that is counted: the two seven-bit bytes at countAt, the lower one first, say how many times countEach
  // bytes follow countFixed ones; they are packed seven in eight behind the count.  0: it is not counted.
  std::uint32_t countAt = 0, countFixed = 0, countEach = 0;
  // Or: byte turnsAt says how many of those groups there are, those of the least size, leastTurns, counted.  0: none
  // does.
  std::uint32_t turnsAt = 0, leastTurns = 0;
  std::uint32_t most = 0;  // bytes that any length has at most; 0: so many as come
  // The two seven-bit bytes at sizedAt say how many bytes there are of what is counted: sizedLeast in the least length,
  // and one more for each byte beyond.  0: none do.
  std::uint32_t sizedAt = 0, sizedLeast = 0;
  bool sizedLowFirst = false;
};
using AnswerStep = std::vector<AnswerMessage>;  // the next message is one of these

inline AnswerStep BeginsWith(std::span<const std::uint8_t> bytes) {
  return {AnswerMessage{{bytes.begin(), bytes.end()}, std::vector<std::uint8_t>(bytes.size(), 0xFF)}};
}

// A SysEx that was passed over because it is no answer.
struct RefusedMessage {
  bool any = false;                     // there was one; the last one counts
  std::int64_t length = 0;              // bytes that came
  int maker = -1;                       // its second byte; -1: it has none
  bool ended = false;                   // with F7
  bool damaged = false;                 // something that came was lost on the way in
  std::vector<std::uint8_t> head = {};  // its first bytes, those that patterns of answers need
};

// How one receive takes its bytes.
struct ReceiveOptions {
  std::int64_t skip = 0;  // leading bytes of the stream to drop
  AcceptAny acceptAny = AcceptAny::SysExOnly;
  bool hasAccept = false;
  MidiPattern accept{};                // a SysEx must start with it
  std::vector<MidiPattern> decline{};  // a SysEx starting with one of them is ignored
  MidiPattern end{};                   // a SysEx starting with it completes the receive; empty: none
  std::vector<std::uint32_t> sizes{};  // the receive is complete when a message ends at one of these byte counts
  // The messages of the answer, in their order; empty: any message answers.  Others are passed over, whole or cut, and
  // the receive is complete behind the last.
  std::vector<AnswerStep> answer{};
  bool answerRepeats = false;        // the first step holds for any number of messages, of any length
  std::vector<std::uint8_t> echo{};  // the request itself, which comes back through a loop; empty: it is not known
  std::int64_t timeoutMs = -1;       // -1: by length (max(length * 11 / 3125 + 30, length / 2 + 300)); 0: no time limit
  std::int64_t silenceMs = 0;        // without a time limit: how long to wait once data flows; 0: no limit
  std::int64_t betterMs = 0;         // without a time limit: how long a request waits after a message that is no answer
};

}  // namespace tonalith
