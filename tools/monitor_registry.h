#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "midi/midi_input.h"
#include "midi/midi_output.h"

namespace tonalith {

// A message on its way from a MIDI thread to a monitor.
struct MonitorRecord {
  std::uint32_t length = 0;
  std::uint8_t port = 0;
  std::uint32_t time = 0;  // milliseconds of the clock
  std::vector<std::uint8_t> bytes;
};

using MonitorQueue = std::deque<MonitorRecord>;

inline constexpr std::size_t kMonitorQueueBytes = 64u << 20;  // beyond it messages are only counted

// The two queues of one open monitor.  Filled on the MIDI threads, emptied on the window's thread; everything under the
// registry's lock.
class MonitorTap {
 public:
  // Messages that found no room since the last call.
  std::size_t TakeLost();
  bool Empty() const;

 private:
  friend class MonitorRegistry;
  mutable std::mutex* lock_ = nullptr;
  MonitorQueue input_;
  MonitorQueue output_;
  std::size_t queued_ = 0;
  std::size_t lost_ = 0;
};

// The open monitors.  Registers the two capture callbacks; a message is copied into the queues of every open monitor
// and nothing else is done on the MIDI threads.
class MonitorRegistry {
 public:
  MonitorRegistry(MidiIn& in, MidiOut& out, Clock& clock);
  ~MonitorRegistry();
  MonitorRegistry(const MonitorRegistry&) = delete;
  MonitorRegistry& operator=(const MonitorRegistry&) = delete;

  MidiIn& in() { return in_; }
  MidiOut& out() { return out_; }
  Clock& clock() { return clock_; }

  // The registry keeps the tap until CloseTap, which also frees what is queued.  A callback that is running when a tap
  // is closed does not reach it any more.
  MonitorTap* OpenTap();
  void CloseTap(MonitorTap* tap);
  // Takes up to `most` records from the front of a queue.
  MonitorQueue Take(MonitorTap* tap, bool input, std::size_t most);
  // Puts records back in front (those a pass had no time for).
  void PutBack(MonitorTap* tap, bool input, MonitorQueue records);
  // Frees the records of a queue.
  void ClearQueue(MonitorTap* tap, bool input);

  // The capture callbacks.
  void MidiInMonitor(int port, std::span<const std::uint8_t> message) { Append(true, port, message); }
  void ZKMonMidiOutMonitor(int port, std::span<const std::uint8_t> message) { Append(false, port, message); }

 private:
  void Append(bool input, int port, std::span<const std::uint8_t> message);
  static MonitorQueue& QueueOf(MonitorTap* tap, bool input) { return input ? tap->input_ : tap->output_; }

  MidiIn& in_;
  MidiOut& out_;
  Clock& clock_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<MonitorTap>> taps_;
  int inId_ = 0;
  int outId_ = 0;
};

// Sets the monitors up at start.
std::unique_ptr<MonitorRegistry> ZKMonInitialize(MidiIn& in, MidiOut& out, Clock& clock);

}  // namespace tonalith
