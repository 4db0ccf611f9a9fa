#include "cli/simulated_state.h"

#include <algorithm>
#include <string>

namespace tonalith {

namespace {

// The message that puts bytes into an item of an area; empty: there is none.
std::string MessageForArea(const InstrumentDescription& description, int area) {
  if (description.roland || description.casio) return description.areas[static_cast<std::size_t>(area)].key;
  for (const MessageInfo& message : description.messages)
    if (message.receives && std::any_of(message.parts.begin(), message.parts.end(),
                                        [&](const MessagePart& part) { return part.area == area; }))
      return message.key;
  return {};
}

}  // namespace

SimulatedState::SimulatedState(const SimulatedInstrument& instrument) : apartBefore_(NotInDump(instrument)) {
  for (const AreaInfo& area : instrument.description().areas) {
    auto& items = before_.emplace_back();
    for (int i = 0; i < area.items; ++i) items.push_back(instrument.Item(area.key, i));
  }
}

// The items that another instrument loaded with this one's dump would have otherwise.
std::set<SimulatedState::Place> SimulatedState::NotInDump(const SimulatedInstrument& instrument) {
  std::set<Place> places;
  std::string problem;
  const auto other = SimulatedInstrument::Create(instrument.description().key, &problem);
  if (!other) return places;
  other->SetDevice(instrument.device());
  other->LoadDump(instrument.Dump());
  const auto& areas = instrument.description().areas;
  for (std::size_t a = 0; a < areas.size(); ++a)
    for (int i = 0; i < areas[a].items; ++i)
      if (other->Item(areas[a].key, i) != instrument.Item(areas[a].key, i)) places.emplace(static_cast<int>(a), i);
  return places;
}

std::vector<std::uint8_t> SimulatedState::Dump(const SimulatedInstrument& instrument) const {
  std::vector<std::uint8_t> dump = instrument.Dump();
  const auto& areas = instrument.description().areas;
  std::set<std::pair<std::string, int>> added;
  for (const auto& [area, item] : NotInDump(instrument)) {
    const auto a = static_cast<std::size_t>(area);
    const bool changed = instrument.Item(areas[a].key, item) != before_[a][static_cast<std::size_t>(item)];
    if (!changed && !apartBefore_.count({area, item})) continue;
    const std::string message = MessageForArea(instrument.description(), area);
    if (message.empty() || !added.emplace(message, item).second) continue;
    const auto bytes = instrument.FileOf(message, item);
    dump.insert(dump.end(), bytes.begin(), bytes.end());
  }
  return dump;
}

}  // namespace tonalith
