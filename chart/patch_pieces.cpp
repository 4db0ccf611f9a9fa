#include "chart/patch_pieces.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "chart/message.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostPatchPieces = 65536;

// One turn of an item of data.
struct Turn {
  std::uint32_t offset, size;
  std::uint32_t bytes;
  int packing;
};

// All turns of the data of one patch, in the order in which they are sent.
std::vector<Turn> TurnsOf(const ChartMessage& message, const ChartItem& data, std::uint32_t patches) {
  std::vector<Turn> turns;
  for (const ChartItem& item : message.items) {
    if (item.kind != ChartItemKind::kData) continue;
    std::uint32_t times = item.times, outer = item.outerTimes;
    if (patches > 1) {
      const bool group = times == patches && item.stride == data.stride;
      if (!group && (outer != patches || item.outerStride != data.stride)) continue;
      (group ? times : outer) = 1;
    }
    for (std::uint32_t i = 0; i < outer; ++i)
      for (std::uint32_t k = 0; k < times && turns.size() <= kMostPatchPieces; ++k)
        turns.push_back({item.offset + i * item.outerStride + k * item.stride, item.size, item.bytes, item.packing});
  }
  std::stable_sort(turns.begin(), turns.end(), [](const Turn& a, const Turn& b) { return a.offset < b.offset; });
  return turns;
}

// The second goes on where the first ends, byte by byte and in one packing.
bool GoesOn(const Turn& before, const Turn& turn) {
  return before.packing == turn.packing && before.offset + before.size == turn.offset &&
         PackedSize(turn.packing, before.bytes + turn.bytes) == before.size + turn.size;
}

}  // namespace

std::vector<PatchPiece> PatchPiecesOf(const ChartType& type) {
  if (type.dump.size() != 1 || !type.dump.front().size) return {};
  const ChartMessage& message = type.dump.front();
  const auto patches = type.slots > 1 && !type.patchwise ? static_cast<std::uint32_t>(type.slots) : 1;
  const auto data = std::find_if(message.items.begin(), message.items.end(), [&](const ChartItem& item) {
    return item.kind == ChartItemKind::kData && (patches == 1 || item.times == patches);
  });
  if (data == message.items.end()) return {};
  const std::vector<Turn> turns = TurnsOf(message, *data, patches);
  const bool plain = std::all_of(turns.begin(), turns.end(), [](const Turn& turn) { return turn.packing == 0; });
  // Among plain data alone what stands between counts as well: those places are bytes of the message.
  if (plain || turns.empty() || turns.size() > kMostPatchPieces) return {};
  std::vector<PatchPiece> pieces = {{0, turns[0].bytes, 0, turns[0].packing}};
  for (std::size_t i = 1; i < turns.size(); ++i) {
    PatchPiece& last = pieces.back();
    if (GoesOn(turns[i - 1], turns[i]))
      last.bytes += turns[i].bytes;
    else
      pieces.push_back({last.first + last.bytes, turns[i].bytes, turns[i].offset - turns[0].offset, turns[i].packing});
  }
  pieces.erase(pieces.begin());  // that is packed as the data type says
  return pieces;
}

}  // namespace tonalith
