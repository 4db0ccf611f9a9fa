#include "data/event.h"

#include <cstdlib>
#include <cstring>

namespace tonalith {

Event* AllocEvent(int dataSize) {
  auto* event = static_cast<Event*>(std::calloc(1, sizeof(Event)));
  if (!event || dataSize <= 0) return event;
  const auto size = static_cast<std::uint32_t>(dataSize);
  event->data = static_cast<std::uint8_t*>(std::calloc(1, std::size_t{size} + 4));
  if (!event->data) {
    std::free(event);
    return nullptr;
  }
  std::memcpy(event->data, &size, 4);
  return event;
}

void FreeEventList(Event* first) {
  while (first) {
    Event* next = first->next;
    std::free(first->data);
    std::free(first);
    first = next;
  }
}

std::uint8_t* EventData(Event* event) {
  return event && event->data ? event->data + 4 : nullptr;
}

const std::uint8_t* EventData(const Event* event) {
  return event && event->data ? event->data + 4 : nullptr;
}

std::uint32_t EventDataSize(const Event* event) {
  std::uint32_t size = 0;
  if (event && event->data) std::memcpy(&size, event->data, 4);
  return size;
}

}  // namespace tonalith
