#include "tools/monitor_registry.h"

#include <algorithm>

namespace tonalith {

std::size_t MonitorTap::TakeLost() {
  const std::lock_guard lock(*lock_);
  return std::exchange(lost_, 0);
}

bool MonitorTap::Empty() const {
  const std::lock_guard lock(*lock_);
  return input_.empty() && output_.empty();
}

MonitorRegistry::MonitorRegistry(MidiIn& in, MidiOut& out, Clock& clock) : in_(in), out_(out), clock_(clock) {
  inId_ =
      in_.AddMidiInMonitor([this](int port, std::span<const std::uint8_t> message) { MidiInMonitor(port, message); });
  outId_ =
      out_.AddMonitor([this](int port, std::span<const std::uint8_t> message) { ZKMonMidiOutMonitor(port, message); });
}

MonitorRegistry::~MonitorRegistry() {
  in_.RemoveMidiInMonitor(inId_);
  out_.RemoveMonitor(outId_);
}

MonitorTap* MonitorRegistry::OpenTap() {
  const std::lock_guard lock(mutex_);
  taps_.push_back(std::make_unique<MonitorTap>());
  taps_.back()->lock_ = &mutex_;
  return taps_.back().get();
}

void MonitorRegistry::CloseTap(MonitorTap* tap) {
  const std::lock_guard lock(mutex_);
  std::erase_if(taps_, [tap](const auto& each) { return each.get() == tap; });
}

MonitorQueue MonitorRegistry::Take(MonitorTap* tap, bool input, std::size_t most) {
  const std::lock_guard lock(mutex_);
  MonitorQueue& queue = QueueOf(tap, input);
  const auto count = static_cast<std::ptrdiff_t>(std::min(most, queue.size()));
  MonitorQueue taken(std::make_move_iterator(queue.begin()), std::make_move_iterator(queue.begin() + count));
  queue.erase(queue.begin(), queue.begin() + count);
  for (const MonitorRecord& record : taken) tap->queued_ -= record.bytes.size();
  return taken;
}

void MonitorRegistry::PutBack(MonitorTap* tap, bool input, MonitorQueue records) {
  const std::lock_guard lock(mutex_);
  MonitorQueue& queue = QueueOf(tap, input);
  for (const MonitorRecord& record : records) tap->queued_ += record.bytes.size();
  queue.insert(queue.begin(), std::make_move_iterator(records.begin()), std::make_move_iterator(records.end()));
}

void MonitorRegistry::ClearQueue(MonitorTap* tap, bool input) {
  Take(tap, input, SIZE_MAX / 2);
}

void MonitorRegistry::Append(bool input, int port, std::span<const std::uint8_t> message) {
  if (message.empty()) return;
  const std::uint32_t now = clock_.TickMs();
  const std::lock_guard lock(mutex_);
  for (const auto& tap : taps_) {
    if (tap->queued_ + message.size() > kMonitorQueueBytes) {
      ++tap->lost_;
      continue;
    }
    tap->queued_ += message.size();
    QueueOf(tap.get(), input)
        .push_back({static_cast<std::uint32_t>(message.size()),
                    static_cast<std::uint8_t>(port),
                    now,
                    {message.begin(), message.end()}});
  }
}

std::unique_ptr<MonitorRegistry> ZKMonInitialize(MidiIn& in, MidiOut& out, Clock& clock) {
  return std::make_unique<MonitorRegistry>(in, out, clock);
}

}  // namespace tonalith
