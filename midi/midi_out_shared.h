// What an output port shares with the reports of its backend.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>

#include "midi/midi_output.h"
#include "platform/log.h"

namespace tonalith {

inline constexpr std::int64_t kOutSliceUs = 50'000;  // longest wait without a look at stop and close

// What the backend's reports touch: they may come when the port is long gone.
struct MidiOutPort::Shared {
  Shared(Clock& clock, std::string portName) : changed(clock), name(std::move(portName)) {}

  // With the mutex held.
  void Failed(const Result& result, std::size_t length) {
    ++failed;
    lastFailure = result.text;
    if (result.code == kMidiNoDevice) gone.store(true);
    MonitorMsg("MIDI OUT %s: %zu bytes could not be sent. %s", name.c_str(), length, result.text.c_str());
  }

  std::mutex mutex;
  WaitPoint changed;
  const std::string name;
  std::atomic<bool> gone{false};
  int underWay = 0;  // pieces the backend has and has not reported
  std::size_t bytesUnderWay = 0;
  bool interrupted = false;  // what fails now was given up on purpose
  std::uint64_t failed = 0;
  std::uint64_t leftBytes = 0;
  std::uint64_t postedBytesLeft = 0;
  std::string lastFailure;
};

// A long message under way, in any number of pieces.  Guarded by the mutex above.
struct MidiOutPort::LongSend {
  int pieces = 0;          // not reported yet
  bool sealed = false;     // no more pieces follow
  bool unwatched = false;  // its failure is counted by the report
  std::size_t length = 0;  // of the whole
  Result result;           // the first failure

  bool Done() const { return !result || (sealed && pieces == 0); }
};

}  // namespace tonalith
