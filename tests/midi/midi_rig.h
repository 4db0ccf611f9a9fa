#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "data/data_text.h"
#include "midi/backends/virtual_backend.h"
#include "midi/port_system.h"
#include "platform/clock.h"

namespace tonalith {

using MidiBytes = std::vector<std::uint8_t>;

inline MidiBytes FromHex(const std::string& text) {
  return ParseHex(text).value();
}

// A SysEx of `length` bytes whose data depends on the position, so that nothing can be lost, doubled or swapped unseen.
inline MidiBytes LongSysEx(std::size_t length) {
  MidiBytes bytes(length);
  for (std::size_t i = 0; i < length; ++i)
    bytes[i] = static_cast<std::uint8_t>((i * 31 + (i >> 7) * 7 + (i >> 14)) & 0x7F);
  bytes.front() = 0xF0;
  bytes[1] = 0x43;
  bytes.back() = 0xF7;
  return bytes;
}

// What one end of a cable got, in pieces, with times.
class Ear {
 public:
  struct Piece {
    MidiBytes bytes;
    std::int64_t timeUs;
  };
  explicit Ear(Clock& clock) : changed_(clock) {}
  void operator()(std::span<const std::uint8_t> bytes, std::int64_t timeUs) {
    {
      std::lock_guard lock(mutex_);
      pieces_.push_back({{bytes.begin(), bytes.end()}, timeUs});
      all_.insert(all_.end(), bytes.begin(), bytes.end());
    }
    changed_.NotifyAll();
  }
  bool WaitFor(std::size_t count, std::int64_t timeoutMs = 60000) {
    std::unique_lock lock(mutex_);
    return changed_.WaitUntil(lock, changed_.clock().NowUs() + timeoutMs * 1000, [&] { return all_.size() >= count; });
  }
  MidiBytes All() const {
    std::lock_guard lock(mutex_);
    return all_;
  }
  std::vector<Piece> Pieces() const {
    std::lock_guard lock(mutex_);
    return pieces_;
  }
  void Clear() {
    std::lock_guard lock(mutex_);
    pieces_.clear();
    all_.clear();
  }

 private:
  mutable std::mutex mutex_;
  WaitPoint changed_;
  std::vector<Piece> pieces_;
  MidiBytes all_;
};

// The program side of everything with some cables plugged in; open-all.
struct MidiRig {
  explicit MidiRig(Clock& usedClock, std::vector<std::string> names = {"Synth"}, VirtualCableOptions options = {})
      : clock(usedClock), ear(usedClock), backend(std::make_shared<VirtualBackend>(usedClock)), system(usedClock) {
    for (const std::string& name : names) ends.push_back(backend->CreateEndpoint(name, options));
    if (!ends.empty()) ends[0]->SetReceiver([this](auto bytes, auto time) { ear(bytes, time); });
    system.AddBackend(backend);
    system.Start();
    system.MidiPortInOpenPorts();
    system.MidiPortOutOpenPorts();
  }
  ~MidiRig() { system.Stop(); }

  VirtualEndpoint& end(std::size_t i = 0) { return *ends[i]; }
  MidiOut& out() { return system.out(); }
  MidiIn& in() { return system.in(); }
  void Reply(const std::string& hex) { end().Send(FromHex(hex)); }

  Clock& clock;
  Ear ear;
  std::shared_ptr<VirtualBackend> backend;
  std::vector<std::shared_ptr<VirtualEndpoint>> ends;
  MidiPortSystem system;
};

// Test body in virtual time.
struct VirtualTime : ::testing::Test {
  VirtualClock clock;
  ClockThread here{clock};
};

}  // namespace tonalith
