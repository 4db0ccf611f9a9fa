#pragma once

#include <cstdint>
#include <memory>

#include "midi/midi_input.h"
#include "platform/clock.h"
#include "platform/jobs.h"
#include "script/transfer_engine_lock.h"
#include "studio/manual_dumps.h"

namespace tonalith {

// Brings what instruments send on their own from the input threads to ManualDumps on the dispatcher's thread, and lets
// it see, while it waits, that time passes.
class ManualDumpFeed {
 public:
  static constexpr std::int64_t kLookMs = 100;
  static constexpr std::size_t kMostQueued = std::size_t{64} << 20;  // bytes that wait; what comes then is lost

  // `used`: the input ports of running receives.  Made and destroyed on the dispatcher's thread; everything given must
  // outlive it.
  ManualDumpFeed(MidiIn& in, PortsInUse& used, Clock& clock, Dispatcher& dispatcher, ManualDumps& dumps);
  ManualDumpFeed(const ManualDumpFeed&) = delete;
  ManualDumpFeed& operator=(const ManualDumpFeed&) = delete;
  ~ManualDumpFeed();

 private:
  struct Queue;

  void TakeQueue();
  void Tick();
  void LookAgain();

  MidiIn& in_;
  Clock& clock_;
  ManualDumps& dumps_;
  Receiver receiver_;
  std::shared_ptr<Queue> queue_;
  int monitor_ = 0;
  WorkerThread watch_;
};

}  // namespace tonalith
