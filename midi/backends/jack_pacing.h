// How long messages are cut into events of a JACK port, and how many bytes go out in a period.
#pragma once

#include <jack/ringbuffer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <vector>

#include "midi/backend.h"

namespace tonalith {

struct JackRing {
  explicit JackRing(std::size_t size) : ring(jack_ringbuffer_create(size)) {}
  ~JackRing() { jack_ringbuffer_free(ring); }
  JackRing(const JackRing&) = delete;
  JackRing& operator=(const JackRing&) = delete;
  jack_ringbuffer_t* ring;
};

// What waits to leave an output port.  Pieces are queued and fed into a ring by ordinary threads; the process callback
// takes from the ring what a period may carry and never waits.
class JackPacing {
 public:
  JackPacing();

  // `sent` (may be empty) is called by Feed once the last byte has left, or with the reason why it will not.
  void Queue(std::span<const std::uint8_t> piece, MidiSent sent);
  // Moves queued pieces into the ring and reports those that are done.  `gone`: the port is, all fail.
  void Feed(bool gone);
  // Everything queued fails; what is in the ring already is not sent.
  void GiveUp();
  // In the process callback: puts events into the cleared buffer of the port.  True when something left the ring.
  bool SendPeriod(void* buffer);

 private:
  struct Piece {
    std::vector<std::uint8_t> bytes;
    std::size_t fed = 0;
    MidiSent sent;
    std::uint64_t doneAt = 0;  // value of framesSent_ when the last byte has left; 0 until fed whole
  };

  JackRing ring_;  // frames: u16 length, bytes
  std::atomic<std::uint64_t> framesSent_{0};
  std::atomic<std::uint64_t> dropUntil_{0};  // frames up to this count are given up instead of sent
  std::mutex mutex_;                         // of what follows: the feeding side
  std::deque<Piece> pieces_;
  std::uint64_t framesFed_ = 0;
};

}  // namespace tonalith
