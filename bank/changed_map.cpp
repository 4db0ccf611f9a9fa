#include "bank/changed_map.h"

#include "data/container.h"
#include "platform/byte_window.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kChangedChunk = ChunkId("CDEF");
constexpr std::size_t kChunkHead = 8;

}  // namespace

std::size_t ChangedMapSize(int patches) {
  return (static_cast<std::size_t>(patches) + 15) / 16 * 2;
}

void AddChangedMap(std::vector<std::uint8_t>* file, const std::vector<std::uint8_t>& map) {
  if (map.empty() || file->size() < kChunkHead) return;
  WriteFormSection(file, kChangedChunk, map.data(), map.size());
  StoreBe32(file->data() + 4, static_cast<std::uint32_t>(file->size() - kChunkHead));
}

std::span<const std::uint8_t> ChangedMapIn(std::span<const std::uint8_t> file, int patches) {
  const std::size_t size = ChangedMapSize(patches);
  if (file.size() < size + 2 * kChunkHead) return {};
  const std::uint8_t* head = file.data() + file.size() - size - kChunkHead;
  if (LoadBe32(head) != kChangedChunk || LoadBe32(head + 4) != size) return {};
  return file.last(size);
}

}  // namespace tonalith
