#include "bank/file_marks.h"

#include <algorithm>

#include "data/container.h"
#include "platform/byte_window.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kRestChunk = ChunkId("RDEF");  // the maps of what was not received, and not sent
constexpr std::uint32_t kChangedChunk = ChunkId("CDEF");
constexpr std::size_t kChunkHead = 8;

std::size_t MapSize(int patches) {
  return (static_cast<std::size_t>(patches) + 15) / 16 * 2;
}

// Bit i: patch i.
Bytes MapOf(const Bytes& patches, int count) {
  Bytes map(MapSize(count));
  for (std::size_t i = 0; i < patches.size() && i < static_cast<std::size_t>(count); ++i)
    if (patches[i]) SetMapBit(map.data(), static_cast<std::uint32_t>(map.size()), static_cast<std::uint32_t>(i), true);
  return map;
}

Bytes PatchesOf(std::span<const std::uint8_t> map, int count) {
  Bytes patches;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    if ((map[i / 8] & (1U << (i % 8))) == 0) continue;
    patches.resize(static_cast<std::size_t>(count));
    patches[i] = 1;
  }
  return patches;
}

// Takes a chunk off the end of a file; empty: it does not end with such a chunk.
std::span<const std::uint8_t> TakeLast(std::span<const std::uint8_t>* file, std::uint32_t id, std::size_t size) {
  if (file->size() < size + 2 * kChunkHead) return {};
  const std::uint8_t* head = file->data() + file->size() - size - kChunkHead;
  if (LoadBe32(head) != id || LoadBe32(head + 4) != size) return {};
  const auto data = file->last(size);
  *file = file->first(file->size() - size - kChunkHead);
  return data;
}

}  // namespace

void AddFileMarks(Bytes* file, const FileMarks& marks, int patches) {
  if (file->size() < kChunkHead) return;
  if (!marks.rest.none()) {
    Bytes maps = MapOf(marks.rest.notReceived, patches);
    const Bytes notSent = MapOf(marks.rest.notSent, patches);
    maps.insert(maps.end(), notSent.begin(), notSent.end());
    WriteFormSection(file, kRestChunk, maps.data(), maps.size());
  }
  if (!marks.changed.empty()) {
    const Bytes map = MapOf(marks.changed, patches);
    WriteFormSection(file, kChangedChunk, map.data(), map.size());
  }
  StoreBe32(file->data() + 4, static_cast<std::uint32_t>(file->size() - kChunkHead));
}

FileMarks FileMarksIn(std::span<const std::uint8_t> file, int patches) {
  FileMarks marks;
  if (patches <= 0) return marks;
  const std::size_t size = MapSize(patches);
  if (const auto map = TakeLast(&file, kChangedChunk, size); !map.empty()) marks.changed = PatchesOf(map, patches);
  if (const auto maps = TakeLast(&file, kRestChunk, 2 * size); !maps.empty()) {
    marks.rest.notReceived = PatchesOf(maps.first(size), patches);
    marks.rest.notSent = PatchesOf(maps.last(size), patches);
  }
  return marks;
}

}  // namespace tonalith
