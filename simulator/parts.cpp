#include "simulator/parts.h"

#include <algorithm>

namespace tonalith {
namespace {

std::size_t PartPlace(const PartsInfo& parts, int part) {
  return static_cast<std::size_t>(parts.first + parts.stride * part);
}

int PartCount(const InstrumentDescription& description) {
  return description.areas[static_cast<std::size_t>(description.parts->bufferArea)].items;
}

void FillPartBuffer(const InstrumentDescription& description, MemoryImage& memory, int part) {
  const PartsInfo& parts = *description.parts;
  const auto setup = memory.Item(parts.setupArea, 0).subspan(PartPlace(parts, part));
  const int number = setup[static_cast<std::size_t>(parts.number)];
  if (number >= parts.bankSize) return;
  const auto voice =
      memory.Item(parts.voiceArea, setup[static_cast<std::size_t>(parts.bank)] * parts.bankSize + number);
  std::copy(voice.begin(), voice.end(), memory.Item(parts.bufferArea, part).begin());
}

}  // namespace

void FillPartBuffers(const InstrumentDescription& description, MemoryImage& memory) {
  if (!description.parts) return;
  for (int part = 0; part < PartCount(description); ++part) FillPartBuffer(description, memory, part);
}

void FollowSetupByte(const InstrumentDescription& description, MemoryImage& memory, int area, std::size_t offset) {
  if (!description.parts || area != description.parts->setupArea) return;
  const PartsInfo& parts = *description.parts;
  for (int part = 0; part < PartCount(description); ++part)
    for (const int named : {parts.bank, parts.number})
      if (offset == PartPlace(parts, part) + static_cast<std::size_t>(named)) FillPartBuffer(description, memory, part);
}

std::vector<int> PartsOnChannel(const InstrumentDescription& description, const MemoryImage& memory, int channel) {
  std::vector<int> found;
  if (!description.parts) return found;
  const PartsInfo& parts = *description.parts;
  const auto setup = memory.Item(parts.setupArea, 0);
  for (int part = 0; part < PartCount(description); ++part)
    if (setup[PartPlace(parts, part) + static_cast<std::size_t>(parts.channel)] == channel) found.push_back(part);
  return found;
}

void SelectOnParts(const InstrumentDescription& description, MemoryImage& memory, int channel, int program) {
  if (!description.parts || program >= description.parts->bankSize) return;
  const PartsInfo& parts = *description.parts;
  for (const int part : PartsOnChannel(description, memory, channel)) {
    const std::size_t place = PartPlace(parts, part) + static_cast<std::size_t>(parts.number);
    memory.Item(parts.setupArea, 0)[place] = static_cast<std::uint8_t>(program);
    FillPartBuffer(description, memory, part);
  }
}

}  // namespace tonalith
