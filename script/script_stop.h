#pragma once

#include <cstdint>
#include <string>

namespace tonalith {

// Why a run of scripts was ended before its own end.
enum class ScriptStop : std::uint8_t {
  None,
  Cancelled,    // from outside: a button, the end of the program, an interrupt; whoever cancelled says so
  Computing,    // it computed too long between two waits
  Work,         // the work it was granted is used up
  LoopDepth,    // loops inside loops
  MacroDepth,   // macros that call macros
  WorkBuffer,   // it asked for a larger work buffer than there is
  LonelyBreak,  // "BREAK" outside a loop
};

// What stands behind "The script was ", without a full stop: "stopped after 5 s of computing".
// `limitMs` is the limit of computing.  Empty for None and Cancelled.
std::string ScriptStopText(ScriptStop stop, std::int64_t limitMs);

}  // namespace tonalith
