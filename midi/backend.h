#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

enum class MidiDirection { Input, Output };

// A MIDI port of the machine as a backend sees it.
struct MidiDeviceInfo {
  std::string id;  // stable for one run: what Open* takes
  std::string
      name;  // what users see and profiles keep: client and port name without numbers, twins told apart (" (2)")
  bool own = false;      // one of our own ports, or of another copy of the program
  bool through = false;  // a port that sends everything back ("Midi Through"); never opened by "open all"
  // A port that stands for one of another MIDI system: the name it has there ("client:port"; only "client:" where more
  // is not told).  Empty: none.
  std::string bridged{};
};

// Receives what comes in on one open input.  Called on the backend's input thread (one thread a backend): must not
// block; called without any lock of the backend held. `bytes` is a piece of the raw stream in order: a short message,
// or any part of a SysEx (possibly with real-time bytes in between); status bytes are never run together by running
// status.  An empty piece says that something was lost at this place of the stream.
using MidiInputSink = std::function<void(std::span<const std::uint8_t> bytes, std::int64_t timeUs)>;

// Fate of what was queued: code 0 when its last byte has left a port that was connected, otherwise why not.  Called
// without any lock of the backend held.
using MidiSent = std::function<void(const Result& result)>;

// Codes of failed operations.
inline constexpr int kMidiNoDevice = 2;   // the port is not there (any more)
inline constexpr int kMidiBusy = 4;       // in use by another program
inline constexpr int kMidiAllocated = 5;  // opened before
inline constexpr int kMidiNotReady = 67;  // cannot take data just now: try again later
inline constexpr int kMidiFailed = 1;

// An open output of a backend.  Any one thread at a time.
class MidiOutputHandle {
 public:
  // Closing: what was queued and not given up leaves first, as far as that takes less than a second.
  virtual ~MidiOutputHandle() = default;
  // A complete message of 1 to 3 bytes; `sent` (may be empty) as for long ones.
  virtual Result SendShort(std::span<const std::uint8_t> message, MidiSent sent) = 0;
  // Queues a piece of a SysEx stream of any length; the bytes are copied or taken before the call returns.  `sent` is
  // called exactly once, from any thread, when the last byte was handed over (or the piece was given up).  The backend
  // never drops bytes silently; what it cannot take at all it refuses with kMidiNotReady.
  virtual Result SendLong(std::span<const std::uint8_t> piece, MidiSent sent) = 0;
  // Gives up what is queued (its `sent` callbacks run with a failure).
  virtual void Reset() = 0;
  // Highest rate in bytes a second that the backend itself may use; 0 = no limit.  Output ports hand long messages over
  // in spans at their own pace, so a backend that cannot limit its rate may ignore this.
  virtual void SetMaxRate(std::uint32_t bytesPerSecond) = 0;
  // False once the port behind the handle went away; it stays so even when the port comes back.
  virtual bool Alive() const { return true; }
  // How often the port was connected again after somebody had disconnected it.
  virtual std::uint64_t Reconnects() const { return 0; }
};

class MidiInputHandle {
 public:
  virtual ~MidiInputHandle() = default;        // closing: after the destructor returned the sink is not called again
  virtual bool Alive() const { return true; }  // as for outputs
  virtual std::uint64_t Reconnects() const { return 0; }
};

// One way to reach MIDI ports: alsa_seq, jack, or the in-process virtual cables.
class MidiBackend {
 public:
  virtual ~MidiBackend() = default;
  virtual std::string Name() const = 0;  // "alsa", "jack", "virtual"
  // False with a sentence when this machine has no such MIDI system; may be tried again later.
  virtual Result Start() = 0;
  // False once the MIDI system went away since Start: Start is to be tried again.
  virtual bool Running() const { return true; }
  // How often the MIDI system was late since Start, where it says so.
  virtual std::uint64_t Xruns() const { return 0; }
  // After Stop returned no callback runs any more.  Open handles become dead: sends fail with kMidiNoDevice.
  virtual void Stop() = 0;
  virtual std::vector<MidiDeviceInfo> Devices(MidiDirection direction) = 0;
  virtual Result OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) = 0;
  virtual Result OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) = 0;
  // Other programs that are connected to the output `id` and may send to it, by name, in order.  Empty also where that
  // is not known.
  virtual std::vector<std::string> OtherWriters(const std::string& id) = 0;
  // Called (any thread, must not block) whenever ports come or go.
  virtual void SetChangeNotice(std::function<void()> changed) = 0;
};

}  // namespace tonalith
