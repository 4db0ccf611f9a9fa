#include "midi/backends/jack_pacing.h"

#include <jack/midiport.h>

#include <algorithm>

namespace tonalith {

namespace {

constexpr std::size_t kJackSpan = 1024;          // bytes of one event: every server takes them
constexpr std::size_t kJackPeriodBudget = 4096;  // bytes a port and period
constexpr std::size_t kJackOutputRing = 32 * 1024;

}  // namespace

JackPacing::JackPacing() : ring_(kJackOutputRing) {}

void JackPacing::Queue(std::span<const std::uint8_t> piece, MidiSent sent) {
  std::lock_guard guard(mutex_);
  pieces_.push_back({{piece.begin(), piece.end()}, 0, std::move(sent), 0});
}

bool JackPacing::SendPeriod(void* buffer) {
  std::size_t budget = std::min<std::size_t>(kJackPeriodBudget, jack_midi_max_event_size(buffer) / 2);
  const std::uint64_t dropUntil = dropUntil_.load(std::memory_order_acquire);
  bool progress = false;
  while (true) {
    std::uint16_t length = 0;
    if (jack_ringbuffer_peek(ring_.ring, reinterpret_cast<char*>(&length), sizeof length) < sizeof length) break;
    if (jack_ringbuffer_read_space(ring_.ring) < sizeof length + length) break;
    const bool drop = framesSent_.load(std::memory_order_relaxed) < dropUntil;
    if (!drop && length > budget) break;
    if (!drop) {
      jack_midi_data_t* data = jack_midi_event_reserve(buffer, 0, length);
      if (!data) break;
      jack_ringbuffer_read_advance(ring_.ring, sizeof length);
      jack_ringbuffer_read(ring_.ring, reinterpret_cast<char*>(data), length);
      budget -= length;
    } else {
      jack_ringbuffer_read_advance(ring_.ring, sizeof length + length);
    }
    framesSent_.fetch_add(1, std::memory_order_release);
    progress = true;
  }
  return progress;
}

void JackPacing::Feed(bool gone) {
  std::vector<std::pair<MidiSent, Result>> finished;
  {
    std::lock_guard guard(mutex_);
    while (!pieces_.empty()) {
      auto& piece = pieces_.front();
      if (gone) {
        finished.emplace_back(std::move(piece.sent), Result::Failure("The MIDI port is gone.", kMidiNoDevice));
      } else if (piece.doneAt && framesSent_.load(std::memory_order_acquire) >= piece.doneAt) {
        finished.emplace_back(std::move(piece.sent), Result::Success());
      } else {
        break;
      }
      pieces_.pop_front();
    }
    for (auto& piece : pieces_) {
      while (piece.fed < piece.bytes.size()) {
        const auto length = static_cast<std::uint16_t>(std::min(kJackSpan, piece.bytes.size() - piece.fed));
        if (jack_ringbuffer_write_space(ring_.ring) < sizeof length + length) break;
        // Length and bytes become visible together: the reader looks for both.
        jack_ringbuffer_write(ring_.ring, reinterpret_cast<const char*>(&length), sizeof length);
        jack_ringbuffer_write(ring_.ring, reinterpret_cast<const char*>(piece.bytes.data() + piece.fed), length);
        piece.fed += length;
        ++framesFed_;
      }
      if (piece.fed < piece.bytes.size()) break;
      if (!piece.doneAt) piece.doneAt = framesFed_;
    }
  }
  for (auto& [sent, result] : finished) {
    if (sent) sent(result);
  }
}

void JackPacing::GiveUp() {
  std::deque<Piece> pieces;
  {
    std::lock_guard guard(mutex_);
    pieces.swap(pieces_);
    dropUntil_.store(framesFed_, std::memory_order_release);
  }
  for (auto& piece : pieces) {
    if (piece.sent) piece.sent(Result::Failure("Sending was stopped.", kMidiFailed));
  }
}

}  // namespace tonalith
