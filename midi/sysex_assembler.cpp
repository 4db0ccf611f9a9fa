#include "midi/sysex_assembler.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr std::uint8_t kKurzweilId = 0x07;

bool IsRealTime(std::uint8_t byte) {
  return byte >= 0xF8;
}

// Whole short messages, one after the other, real-time bytes between them allowed.
bool IsShortRun(std::span<const std::uint8_t> piece) {
  int need = 0;
  for (const std::uint8_t byte : piece) {
    if (IsRealTime(byte)) continue;
    if (byte < 0x80) {
      if (--need < 0) return false;
      continue;
    }
    const int length = ShortMessageLength(byte);
    if (need != 0 || length == 0) return false;
    need = length - 1;
  }
  return need == 0;
}

}  // namespace

int ShortMessageLength(std::uint8_t status) {
  if (status < 0x80 || status == 0xF0 || status == 0xF7) return 0;
  if (status < 0xF0) return (status & 0xE0) == 0xC0 ? 2 : 3;
  if (status == 0xF2) return 3;
  return status == 0xF1 || status == 0xF3 ? 2 : 1;
}

void SysExAssembler::Reset() {
  state_ = State::Idle;
  length_ = 0;
  shortHave_ = 0;
}

void SysExAssembler::Lost(Listener& listener) {
  const bool broken = state_ == State::SysEx;
  state_ = State::Dropping;
  shortHave_ = 0;
  if (broken) listener.SysExEnd(false);
}

void SysExAssembler::Feed(std::span<const std::uint8_t> piece, Listener& listener) {
  if (piece.empty()) return;
  if (state_ == State::SysEx && piece[0] >= 0x80 && piece[0] < 0xF8 && IsShortRun(piece)) {
    state_ = State::Idle;
    listener.SysExEnd(false);
  }
  cut_ = false;
  for (std::size_t at = 0; at < piece.size() && !cut_;) {
    const auto rest = piece.subspan(at);
    if (IsRealTime(rest[0])) {
      listener.Short(rest.first(1));
      ++at;
    } else if (state_ == State::SysEx) {
      at += FeedSysEx(rest, listener);
    } else if (rest[0] >= 0x80 && rest[0] != 0xF7) {
      FeedStatus(rest[0], listener);
      ++at;
    } else {
      at += FeedData(rest, listener);
    }
  }
}

void SysExAssembler::BeginSysEx(Listener& listener) {
  static constexpr std::uint8_t kStart[1] = {0xF0};
  state_ = State::SysEx;
  length_ = 1;
  doubleStartEnds_ = false;
  listener.SysExBegin();
  listener.SysExBytes(kStart);
}

// Consumes a run of bytes inside a SysEx, at least one.
std::size_t SysExAssembler::FeedSysEx(std::span<const std::uint8_t> rest, Listener& listener) {
  static constexpr std::uint8_t kEnd[1] = {0xF7};
  if (rest[0] == 0xF0) {
    if (doubleStartEnds_ && length_ >= 2) {
      listener.SysExBytes(kEnd);
      listener.SysExEnd(true);
      state_ = State::Dropping;
      cut_ = true;
      return 1;
    }
    listener.SysExEnd(false);
    BeginSysEx(listener);
    return 1;
  }
  const auto stop = std::find_if(rest.begin(), rest.end(), [](std::uint8_t b) { return b >= 0xF7 || b == 0xF0; });
  const bool ends = stop != rest.end() && *stop == 0xF7;
  const std::size_t count = static_cast<std::size_t>(stop - rest.begin()) + (ends ? 1 : 0);
  if (length_ == 1) doubleStartEnds_ = rest[0] == kKurzweilId;
  length_ += count;
  listener.SysExBytes(rest.first(count));
  if (ends) {
    state_ = State::Idle;
    listener.SysExEnd(true);
  }
  return count;
}

void SysExAssembler::FeedStatus(std::uint8_t byte, Listener& listener) {
  if (byte == 0xF0) {
    BeginSysEx(listener);
    return;
  }
  shortMessage_[0] = byte;
  shortHave_ = 1;
  shortNeed_ = ShortMessageLength(byte);
  state_ = State::Short;
  if (shortNeed_ > 1) return;
  state_ = State::Idle;
  listener.Short({shortMessage_, 1});
}

// Data bytes (or F7) outside a SysEx: the rest of a short message, or strays.  Consumes at least one byte.
std::size_t SysExAssembler::FeedData(std::span<const std::uint8_t> rest, Listener& listener) {
  if (state_ == State::Short && rest[0] < 0x80) {
    shortMessage_[shortHave_++] = rest[0];
    if (shortHave_ == shortNeed_) {
      state_ = State::Idle;
      listener.Short({shortMessage_, static_cast<std::size_t>(shortNeed_)});
    }
    return 1;
  }
  const auto stop = std::find_if(rest.begin(), rest.end(), [](std::uint8_t b) { return b >= 0x80 && b != 0xF7; });
  const std::size_t count = static_cast<std::size_t>(stop - rest.begin());
  if (state_ == State::Dropping) {
    const auto end = std::find(rest.begin(), stop, std::uint8_t{0xF7});
    if (end == stop) return count;
    state_ = State::Idle;
    return static_cast<std::size_t>(end - rest.begin()) + 1;
  }
  state_ = State::Idle;
  listener.Stray(rest.first(count));
  return count;
}

}  // namespace tonalith
