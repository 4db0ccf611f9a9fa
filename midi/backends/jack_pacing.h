// How messages are cut into events of a JACK port, how many bytes go out in a period, and what became of them.
#pragma once

#include <jack/ringbuffer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <utility>
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

// The buffer of an output port in one period.
class JackEventBuffer {
 public:
  virtual ~JackEventBuffer() = default;
  virtual std::size_t Room() = 0;                       // of the largest event that still fits
  virtual std::uint8_t* Reserve(std::size_t size) = 0;  // null: it does not fit
};

// Where what an output sends would go.
enum class JackLink {
  kNotYet,  // the connection was asked for and does not show yet
  kConnected,
  kCut,     // somebody took the connection away; the other port is there
  kGone,    // the other port, or the server, is not there any more
  kSilent,  // the server does not go on
};

// What waits to leave an output port.  Pieces are queued and fed into a ring by ordinary threads; the process callback
// takes from the ring what a period may carry and never waits.
class JackPacing {
 public:
  JackPacing();

  // `sent` (may be empty) is called by Feed: with success two periods after the last byte was put into a buffer, when
  // the port was connected all the time, else with the reason.
  void Queue(std::span<const std::uint8_t> piece, MidiSent sent);
  // Moves queued pieces into the ring and reports those whose fate is known.  `period`: how many have begun.
  void Feed(JackLink link, std::uint64_t period);
  // The connection was taken away, even if it is back by now.  Any thread.
  void Cut() { cut_.store(true); }
  // Everything queued fails; what is in the ring already is not sent.
  void GiveUp();
  bool Idle();
  // In the process callback: puts events into the cleared buffer of the port.  True when Feed has something to do.
  bool SendPeriod(JackEventBuffer& buffer);

 private:
  struct Piece {
    std::vector<std::uint8_t> bytes;
    std::size_t fed = 0;
    MidiSent sent;
    std::uint64_t doneAt = 0;  // value of framesSent_ when the last byte has left; 0 until fed whole
    bool left = false;
    std::uint64_t leftAt = 0;  // period in which that was seen
  };
  using Reports = std::vector<std::pair<MidiSent, Result>>;

  // With the mutex held.
  void DropAll(const Result& why, Reports& reports);
  void TakeFinished(std::uint64_t period, Reports& reports);
  void FillRing();
  // In the process callback: false when nothing waits.
  bool BeginFrame();

  JackRing ring_;  // frames: u16 length, bytes
  std::atomic<std::uint64_t> framesSent_{0};
  std::atomic<std::uint64_t> dropUntil_{0};  // frames up to this count are given up instead of sent
  std::atomic<bool> cut_{false};
  std::mutex mutex_;  // of what follows: the feeding side
  std::deque<Piece> pieces_;
  std::uint64_t framesFed_ = 0;
  // The process callback's.
  std::size_t frame_ = 0;  // length of the frame that is being sent; 0: none
  std::size_t rest_ = 0;   // of it
  int settling_ = 0;
};

}  // namespace tonalith
