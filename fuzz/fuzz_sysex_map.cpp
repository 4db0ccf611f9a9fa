#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/byte_window.h"
#include "studio/sysex_map.h"

using namespace tonalith;

// Two bytes: length of a map file; the map; a message for it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::span<const std::uint8_t> all(data + 2, size - 2);
  const std::size_t length = std::min<std::size_t>(LoadBe16(data), all.size());
  BufferDescriptor map;
  if (!BufferDescriptor::FromBytes(all.first(length), &map).ok()) return 0;
  BufferDescriptor again;
  if (!BufferDescriptor::FromBytes(map.ToBytes(), &again).ok() || again.descriptors != map.descriptors)
    __builtin_trap();

  constexpr std::uint32_t kImage = 300;
  Synth synth{};
  synth.driverId = 1;
  synth.fileSize = kImage;
  synth.voiceSize = 10;
  synth.patchByPatch = size & 1;
  const DataFilePtr image(AllocDataFile());
  const DFXtra xtra{};
  if (!AllocChunk(&image->synth, &image->synthSize, kSynthSize, &synth) ||
      !AllocChunk(&image->xtra, &image->xtraSize, kXtraSize, &xtra) ||
      !AllocChunk(&image->body, &image->bodySize, kImage) || !AllocChunk(&image->emptyMap, &image->emptyMapSize, 4))
    return 0;
  const auto message = all.subspan(length);
  SysXBase base{7, 1};
  const std::size_t index = map.Validate(*image, message, base);
  // Copy does not rely on a match.
  for (std::size_t i = 0; i < map.descriptors.size() && i < 8; ++i)
    if (map.Copy(i, image.get(), message, base) > kImage) __builtin_trap();
  return index == BufferDescriptor::kNoMatch || index < map.descriptors.size() ? 0 : 1;
}
