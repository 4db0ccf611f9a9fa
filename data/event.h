#pragma once

#include <cstdint>
#include <memory>

namespace tonalith {

// What one recorded event stands for.  Delays carry their length in `value`; messages carry either a packed short
// message in `value` or a data block.
enum class EventKind : std::int32_t {
  kNone = 0,
  kShortMessage = 1,  // value: status | data1 << 8 | data2 << 16
  kLongMessage = 2,   // data block: the bytes as they go to the wire
  kDelay = 26,        // value: milliseconds to wait before the next event
};

// One element of a rendered transmission: events are chained through `next` in the order they are performed.
struct Event {
  Event* next;
  EventKind kind;
  std::int32_t port;   // MIDI output port index the event belongs to
  std::uint32_t time;  // milliseconds since the start of the list
  std::int32_t value;
  // Null, or a block of dataSize + 4 bytes whose first 32-bit word (native order) is dataSize; owned by the event.
  std::uint8_t* data;
};

// A zeroed event; with dataSize > 0 also a zeroed data block.  Null when memory is short (then nothing is left over).
Event* AllocEvent(int dataSize);

// Frees the event, every event chained behind it, and their data blocks.  Null is allowed.
void FreeEventList(Event* first);

// Bytes and size of an event's data block; null and 0 when it has none.
std::uint8_t* EventData(Event* event);
const std::uint8_t* EventData(const Event* event);
std::uint32_t EventDataSize(const Event* event);

struct EventListDeleter {
  void operator()(Event* first) const { FreeEventList(first); }
};
using EventListPtr = std::unique_ptr<Event, EventListDeleter>;

}  // namespace tonalith
