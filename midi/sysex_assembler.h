#pragma once

#include <cstdint>
#include <span>

namespace tonalith {

// Takes the raw pieces of one MIDI input in order and finds the messages in them.
// A piece is a short message or any part of a SysEx.  Real-time bytes are taken out of a SysEx and reported at once;
// an F0 ends an unfinished SysEx and begins the next, except for manufacturer 07, whose second F0 stands for the
// missing F7 and ends the piece.  Other status bytes stay where they are in the SysEx, unless the piece that begins
// with one consists of whole short messages: then the SysEx was broken off.
class SysExAssembler {
 public:
  class Listener {
   public:
    virtual ~Listener() = default;
    virtual void Short(std::span<const std::uint8_t> message) = 0;  // 1 to 3 bytes
    virtual void SysExBegin() = 0;
    virtual void SysExBytes(std::span<const std::uint8_t> bytes) = 0;  // from F0 on; the spans live only for the call
    virtual void SysExEnd(bool complete) = 0;                          // true: the last byte was F7
    virtual void Stray(std::span<const std::uint8_t> bytes) = 0;       // data bytes (or F7) outside any message
  };

  void Feed(std::span<const std::uint8_t> piece, Listener& listener);
  // Bytes were lost here: an open SysEx ends as broken off, and what may be its rest is dropped (up to its F7 or the
  // next status byte).
  void Lost(Listener& listener);
  // Forgets what is open without a report.
  void Reset();
  bool open() const { return state_ == State::SysEx; }
  // Bytes of a short message whose rest has not come yet.
  std::size_t pending() const { return state_ == State::Short ? static_cast<std::size_t>(shortHave_) : 0; }

 private:
  enum class State { Idle, SysEx, Short, Dropping };

  void BeginSysEx(Listener& listener);
  std::size_t FeedSysEx(std::span<const std::uint8_t> rest, Listener& listener);
  void FeedStatus(std::uint8_t byte, Listener& listener);
  std::size_t FeedData(std::span<const std::uint8_t> rest, Listener& listener);

  State state_ = State::Idle;
  std::uint64_t length_ = 0;      // of the open SysEx
  bool doubleStartEnds_ = false;  // its manufacturer is 07
  bool cut_ = false;              // the rest of this piece is void
  std::uint8_t shortMessage_[3] = {};
  int shortHave_ = 0;
  int shortNeed_ = 0;
};

// Length of a short message by its status byte; 0 for data bytes, F0 and F7.
int ShortMessageLength(std::uint8_t status);

}  // namespace tonalith
