#pragma once

#include <cstddef>
#include <vector>

#include "simulator/description.h"
#include "simulator/memory_image.h"

namespace tonalith {

// What a module with several parts does when its set-up or a program change chooses voices.  All of them do nothing for
// an instrument without parts.

// Copies the voices that the set-up names into the buffers of all parts; names that lead nowhere leave the buffer as it
// is.
void FillPartBuffers(const InstrumentDescription& description, MemoryImage& memory);
// The same after one byte of an area was changed, for the part whose voice that byte names.
void FollowSetupByte(const InstrumentDescription& description, MemoryImage& memory, int area, std::size_t offset);
// The parts that listen to a channel.
std::vector<int> PartsOnChannel(const InstrumentDescription& description, const MemoryImage& memory, int channel);
// A program change: the parts that listen to the channel take another voice of their bank.
void SelectOnParts(const InstrumentDescription& description, MemoryImage& memory, int channel, int program);

}  // namespace tonalith
