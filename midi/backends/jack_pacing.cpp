#include "midi/backends/jack_pacing.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr std::size_t kJackSpan = 1024;          // bytes of one event: every server takes them
constexpr std::size_t kJackPeriodBudget = 4096;  // bytes a port and period
constexpr std::size_t kJackOutputRing = 32 * 1024;
constexpr std::uint64_t kSettlePeriods = 2;
constexpr std::size_t kShortMessage = 3;

// Bytes of the next event.  Filling a buffer to its last byte is more than some servers can take.
std::size_t EventSize(std::size_t rest, bool whole, std::size_t budget, std::size_t room) {
  const std::size_t most = std::min({kJackSpan, budget, std::max(room / 2, std::min(room, kShortMessage))});
  return whole && most < rest ? 0 : std::min(rest, most);
}

}  // namespace

JackPacing::JackPacing() : ring_(kJackOutputRing) {}

void JackPacing::Queue(std::span<const std::uint8_t> piece, MidiSent sent) {
  std::lock_guard guard(mutex_);
  Piece& queued = pieces_.emplace_back();
  queued.bytes.assign(piece.begin(), piece.end());
  queued.sent = std::move(sent);
}

bool JackPacing::BeginFrame() {
  if (frame_ > 0) return true;
  std::uint16_t length = 0;
  if (jack_ringbuffer_peek(ring_.ring, reinterpret_cast<char*>(&length), sizeof length) < sizeof length) return false;
  if (jack_ringbuffer_read_space(ring_.ring) < sizeof length + length) return false;
  jack_ringbuffer_read_advance(ring_.ring, sizeof length);
  frame_ = rest_ = length;
  return true;
}

bool JackPacing::SendPeriod(JackEventBuffer& buffer) {
  // Half of a buffer, so that another program that sends to the same port finds room in it too.
  std::size_t budget = std::min(kJackPeriodBudget, std::max(buffer.Room() / 2, kShortMessage));
  const std::uint64_t dropUntil = dropUntil_.load(std::memory_order_acquire);
  bool progress = false;
  while (BeginFrame()) {
    if (framesSent_.load(std::memory_order_relaxed) < dropUntil) {
      jack_ringbuffer_read_advance(ring_.ring, rest_);
      rest_ = 0;
    } else {
      const std::size_t size = EventSize(rest_, frame_ <= kShortMessage, budget, buffer.Room());
      std::uint8_t* data = size ? buffer.Reserve(size) : nullptr;
      if (!data) break;
      jack_ringbuffer_read(ring_.ring, reinterpret_cast<char*>(data), size);
      budget -= size;
      rest_ -= size;
    }
    progress = true;
    if (rest_ > 0) break;
    frame_ = 0;
    framesSent_.fetch_add(1, std::memory_order_release);
  }
  if (progress) settling_ = static_cast<int>(kSettlePeriods) + 1;
  if (settling_ == 0) return false;
  --settling_;
  return true;
}

void JackPacing::DropAll(const Result& why, Reports& reports) {
  for (Piece& piece : pieces_) reports.emplace_back(std::move(piece.sent), why);
  pieces_.clear();
  dropUntil_.store(framesFed_, std::memory_order_release);
}

void JackPacing::TakeFinished(std::uint64_t period, Reports& reports) {
  const std::uint64_t sent = framesSent_.load(std::memory_order_acquire);
  for (Piece& piece : pieces_) {
    if (!piece.doneAt || sent < piece.doneAt) break;
    if (!std::exchange(piece.left, true)) piece.leftAt = period;
  }
  while (!pieces_.empty() && pieces_.front().left && period >= pieces_.front().leftAt + kSettlePeriods) {
    reports.emplace_back(std::move(pieces_.front().sent), Result::Success());
    pieces_.pop_front();
  }
}

void JackPacing::FillRing() {
  for (Piece& piece : pieces_) {
    while (piece.fed < piece.bytes.size()) {
      const auto length = static_cast<std::uint16_t>(std::min(kJackSpan, piece.bytes.size() - piece.fed));
      if (jack_ringbuffer_write_space(ring_.ring) < sizeof length + length) return;
      // Length and bytes become visible together: the reader looks for both.
      jack_ringbuffer_write(ring_.ring, reinterpret_cast<const char*>(&length), sizeof length);
      jack_ringbuffer_write(ring_.ring, reinterpret_cast<const char*>(piece.bytes.data() + piece.fed), length);
      piece.fed += length;
      ++framesFed_;
    }
    if (!piece.doneAt) piece.doneAt = framesFed_;
  }
}

void JackPacing::Feed(JackLink link, std::uint64_t period) {
  Reports reports;
  {
    std::lock_guard guard(mutex_);
    const bool cut = cut_.exchange(false);
    if (link == JackLink::kGone) {
      DropAll(Result::Failure("The MIDI port is gone.", kMidiNoDevice), reports);
    } else if (link == JackLink::kSilent) {
      DropAll(Result::Failure("The JACK server does not go on.", kMidiNoDevice), reports);
    } else if (link == JackLink::kCut || cut) {
      DropAll(Result::Failure("The MIDI port is not connected.", kMidiFailed), reports);
    } else if (link == JackLink::kConnected) {
      TakeFinished(period, reports);
      FillRing();
    }
  }
  for (auto& [sent, result] : reports) {
    if (sent) sent(result);
  }
}

void JackPacing::GiveUp() {
  Reports reports;
  {
    std::lock_guard guard(mutex_);
    DropAll(Result::Failure("Sending was stopped.", kMidiFailed), reports);
  }
  for (auto& [sent, result] : reports) {
    if (sent) sent(result);
  }
}

bool JackPacing::Idle() {
  std::lock_guard guard(mutex_);
  return pieces_.empty();
}

}  // namespace tonalith
