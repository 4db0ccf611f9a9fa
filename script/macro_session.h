#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>

#include "script/script_services.h"
#include "script/script_stop.h"
#include "script/transfer_context.h"

namespace tonalith {

inline constexpr std::size_t kScratchBytes = 512;

// Computing time of a script.  It counts from the first look on, and anew after every wait.
class ScriptTime {
 public:
  // Nothing was computed yet.
  void Restart() { begun_ = false; }
  // Whether more than `limitMs` were computed since.  The time that passes counts first, which costs little to ask for;
  // a script is only held to what its thread computed, though, so that a busy machine ends nobody.
  bool Exceeds(std::int64_t limitMs);

 private:
  bool begun_ = false;
  std::int64_t lookAtUs_ = 0;
  std::int64_t computedUs_ = 0;  // of the thread, at the beginning
};

// What a run of scripts shares: limits, the scratch buffer of "RB", and the reason to stop.  Made by the entry points
// of the interpreter.
//
// A script may compute for some seconds between two waits.  Everything it does is counted as work: one for a loop pass,
// a call or a statement with a handler, one for every byte a statement goes over.  After so much work the session looks
// whether the time is over or somebody ended the run, which is a few milliseconds apart at most.
class MacroSession {
 public:
  MacroSession(ScriptServices& scriptServices, TransferContext& transferContext);
  MacroSession(const MacroSession&) = delete;
  MacroSession& operator=(const MacroSession&) = delete;
  // Drops a staged request that no receive took, ends collecting of messages and clears a cancel pattern that scripts
  // of this session left behind.
  ~MacroSession();

  // Looks at the limits and at whoever may end the run; nonzero: everything ends with this code.
  int Poll();
  // Counts one loop pass or call; looks around from time to time.
  int Pass() { return --untilPoll < 0 ? Poll() : 0; }
  // Counts the bytes a statement goes over, before it does.
  [[nodiscard]] int Work(std::int64_t bytes);
  // Counts bytes piece by piece and gives each piece to `take`, which returns false to go no further.
  template <typename Byte, typename Take>
  [[nodiscard]] int WorkThrough(std::span<Byte> bytes, Take take) {
    while (!bytes.empty()) {
      const std::span<Byte> piece = bytes.first(std::min(bytes.size(), kPieceBytes));
      if (const int ended = Work(static_cast<std::int64_t>(piece.size()))) return ended;
      if (!take(piece)) break;
      bytes = bytes.subspan(piece.size());
    }
    return stop;
  }
  // Makes the next loop pass look around.
  void LookSoon() {
    passes_ += granted_ - untilPoll;
    granted_ = untilPoll = 0;
  }
  // Code of so many bytes runs: a pass through long code is more work than one through short code.
  void NoteCode(std::size_t bytes);
  // A line for whoever looks at the transfer; at most some hundreds a run are shown.
  void Show(const std::string& text);
  // Ends everything with `code`.
  int Stop(ScriptStop reason, int code) {
    stopped = reason;
    return stop = code;
  }
  // Cancelled from outside, by a button that was not the script's own, or the program ends.
  bool Ended() const {
    return context.cancel.Cancelled() || services.Quitting() ||
           (!buttonPressed && context.state.load() >= TransferState::Cancel);
  }
  // What was worked so far.
  std::int64_t work() const { return passes_ + granted_ - untilPoll + bytes_; }

  ScriptServices& services;
  TransferContext& context;
  std::int64_t limitMs;  // of computing between two waits
  // Of the whole run, whatever time it takes; for what must end at the same place every time.
  std::int64_t workLimit = std::numeric_limits<std::int64_t>::max();
  std::int32_t untilPoll = 0;
  int macroDepth = 0;
  int stop = 0;  // nonzero: everything ends with this code
  ScriptStop stopped = ScriptStop::None;
  bool buttonPressed = false;      // a script pressed a button of the receive window itself
  bool workBufferRefused = false;  // the last "GA" asked for too much
  int cancelPatternPort = -1;      // input port with a cancel pattern of this session
  int collectingPort = -1;         // output port that this session switched to collecting
  unsigned foreignCalls = 0;       // statements after which the macro table may be another one
  std::array<std::uint8_t, kScratchBytes> scratch{};

 private:
  friend class ScriptWait;
  static constexpr std::size_t kPieceBytes = 1 << 16;

  ScriptTime time_;
  std::int32_t passesBetweenPolls_;
  std::int32_t granted_ = 0;  // what untilPoll began with
  std::int64_t passes_ = 0;   // before that
  std::int64_t bytes_ = 0;
  std::int64_t bytesSincePoll_ = 0;
  int shown_ = 0;
};

// Stands around what may wait: when it did, the script has its computing time anew.
class ScriptWait {
 public:
  explicit ScriptWait(MacroSession& session) : session_(session), beganUs_(session.services.clock().NowUs()) {}
  ScriptWait(const ScriptWait&) = delete;
  ScriptWait& operator=(const ScriptWait&) = delete;
  ~ScriptWait();

 private:
  MacroSession& session_;
  std::int64_t beganUs_;
};

}  // namespace tonalith
