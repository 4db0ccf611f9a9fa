#include "script/transfer_engine_events.h"

#include <algorithm>

namespace tonalith {

bool EventList::Append(Event* event, int port, EventKind kind) {
  if (!event) return false;
  event->kind = kind;
  event->port = port;
  event->time = time_;
  if (last_) {
    last_->next = event;
  } else {
    first_.reset(event);
  }
  last_ = event;
  return true;
}

bool EventList::AppendMessage(int port, std::span<const std::uint8_t> message) {
  if (message.empty()) return true;
  if (message.size() <= 3 && message[0] >= 0x80 && message[0] < 0xF0) {
    Event* event = AllocEvent(0);
    if (!Append(event, port, EventKind::kShortMessage)) return false;
    for (std::size_t i = 0; i < message.size(); ++i) event->value |= message[i] << (8 * i);
    return true;
  }
  Event* event = AllocEvent(static_cast<int>(message.size()));
  if (!Append(event, port, EventKind::kLongMessage)) return false;
  std::copy(message.begin(), message.end(), EventData(event));
  return true;
}

bool EventList::AppendDelay(int port, std::uint32_t ms) {
  Event* event = AllocEvent(0);
  if (!Append(event, port, EventKind::kDelay)) return false;
  event->value = static_cast<std::int32_t>(ms);
  time_ += ms;
  return true;
}

Event* EventList::Release() {
  last_ = nullptr;
  time_ = 0;
  return first_.release();
}

std::vector<std::uint8_t> EventMessage(const Event& event) {
  if (event.kind == EventKind::kLongMessage) {
    const std::uint8_t* data = EventData(&event);
    return data ? std::vector<std::uint8_t>(data, data + EventDataSize(&event)) : std::vector<std::uint8_t>();
  }
  if (event.kind != EventKind::kShortMessage) return {};
  const auto status = static_cast<std::uint8_t>(event.value);
  std::vector<std::uint8_t> message{status, static_cast<std::uint8_t>(event.value >> 8)};
  if ((status & 0xE0) != 0xC0) message.push_back(static_cast<std::uint8_t>(event.value >> 16));
  return message;
}

}  // namespace tonalith
