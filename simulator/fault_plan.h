#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// What goes wrong on demand between a simulated instrument and the program.
enum class FaultKind : std::uint8_t {
  kLostByte,         // "lost-byte": one byte of the message is missing
  kCorruptByte,      // "corrupt-byte": one byte has another value
  kLateReply,        // "late-reply": `delay` ms later than it should
  kNoReply,          // "no-reply"
  kDoubleReply,      // "double-reply": the message comes twice
  kTruncatedReply,   // "truncated-reply": ends before byte `at`, without F7
  kRealTimeInside,   // "realtime-inside": `value` (F8) before byte `at`
  kForeignFirst,     // "foreign-first": a message of somebody else comes first
  kWrongDevice,      // "wrong-device": the device number in the message is another one
  kBusyOnce,         // "busy-once": the request is not served (refused when the instrument has a word for it)
  kRefuseOnce,       // "refuse-once": data is answered with the instrument's error message and not taken
  kPortVanishes,     // "port-vanishes": the cable is pulled after `at` bytes, counted in both directions
  kShortReply,       // "short-reply": ends with F7 after `at` bytes (8 when not given)
  kOtherModel,       // "other-model": the family code of an identity reply is another one
  kForeignIdentity,  // "foreign-identity": an identity reply of somebody else comes first
  kEverybodyId,      // "everybody-id": an identity reply carries 7F in place of the device number
};

struct Fault {
  FaultKind kind = FaultKind::kNoReply;
  int reply = 1;   // the message it happens to, counted from 1; 0: every one.  With `input` messages received count.
  int times = 1;   // as many messages in a row from there
  int at = -1;     // byte position; -1: the middle of the message (towards the instrument: byte 10)
  int value = -1;  // byte put in or put there; -1: chosen by the fault
  int delayMs = 1000;  // of a late reply
  bool input = false;  // happens on the way to the instrument (lost-byte, corrupt-byte, truncated-reply, no-reply)
};

// A row of faults.  Text form, for the command line: "NAME[:key=value,...][;NAME...]" with the keys reply, times, at,
// value, delay (ms) and direction (in or out), numbers decimal or 0x hexadecimal.
// Example: "lost-byte:reply=2,at=100;late-reply:delay=3000".
class FaultPlan {
 public:
  FaultPlan() = default;
  explicit FaultPlan(std::vector<Fault> faults) : faults_(std::move(faults)) {}

  static std::optional<FaultPlan> Parse(std::string_view text, std::string* problem);
  static std::optional<FaultKind> KindOf(std::string_view name);
  static std::string_view NameOf(FaultKind kind);
  static std::vector<std::string_view> Names();

  void Add(const Fault& fault) { faults_.push_back(fault); }
  bool Empty() const { return faults_.empty(); }
  const std::vector<Fault>& faults() const { return faults_; }

 private:
  std::vector<Fault> faults_;
};

}  // namespace tonalith
