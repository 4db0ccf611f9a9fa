#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "data/event.h"

namespace tonalith {

// Events in the making: what a transfer appends to while its messages and delays are recorded instead of performed.
class EventList {
 public:
  // One event a message; short channel messages are packed into `value`.  False when memory is short.
  bool AppendMessage(int port, std::span<const std::uint8_t> message);
  bool AppendDelay(int port, std::uint32_t ms);

  bool Empty() const { return !first_; }
  // Sum of all delays so far, milliseconds.
  std::uint32_t Duration() const { return time_; }
  // Hands the chain over; the list is then empty.
  Event* Release();
  const Event* First() const { return first_.get(); }

 private:
  bool Append(Event* event, int port, EventKind kind);

  EventListPtr first_;
  Event* last_ = nullptr;
  std::uint32_t time_ = 0;
};

// The bytes of one recorded message; empty for delays.
std::vector<std::uint8_t> EventMessage(const Event& event);

}  // namespace tonalith
