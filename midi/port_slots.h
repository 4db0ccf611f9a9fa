#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace tonalith {

// What the tables of open inputs and outputs do alike; the caller holds the lock of the table.

// Takes every port out.
template <typename Port, std::size_t kSlots>
std::vector<std::shared_ptr<Port>> TakeAllPorts(std::array<std::shared_ptr<Port>, kSlots>& slots) {
  std::vector<std::shared_ptr<Port>> ports;
  for (auto& slot : slots)
    if (slot) ports.push_back(std::move(slot));
  return ports;
}

// Takes one of the first `count` ports out (0 <= slot < count); those behind it move down by one and are told.
template <typename Port, std::size_t kSlots>
std::shared_ptr<Port> TakePort(std::array<std::shared_ptr<Port>, kSlots>& slots, int slot, int count) {
  const auto first = slots.begin() + slot;
  std::shared_ptr<Port> taken = std::move(*first);
  std::move(first + 1, slots.begin() + count, first);
  slots[static_cast<std::size_t>(count - 1)] = nullptr;
  for (int i = slot; i < count - 1; ++i)
    if (const auto& port = slots[static_cast<std::size_t>(i)]) port->SetSlot(i);
  return taken;
}

}  // namespace tonalith
