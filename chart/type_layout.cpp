#include <algorithm>

#include "chart/type_lines.h"

namespace tonalith {

namespace {

// Behind an item of data; of one in a group: behind the last turn of the group.
std::uint32_t EndOf(const ChartMessage& message, const ChartItem& item) {
  if (item.times == 1) return item.offset + item.size;
  std::uint32_t begin = item.offset;
  for (const ChartItem& other : message.items)
    if (other.times == item.times && other.stride == item.stride) begin = std::min(begin, other.offset);
  return begin + item.times * item.stride;
}

const ChartItem* LastData(const ChartMessage& message) {
  const ChartItem* last = nullptr;
  for (const ChartItem& item : message.items)
    if (item.kind == ChartItemKind::kData) last = &item;
  return last;
}

// Patches in blocks of several, with other bytes between them: `{(587)}*4 sum {count {(587)}*4 sum}*15`.
bool InBlocks(const ChartMessage& message, std::uint32_t slots, ChartLayout* layout) {
  const ChartItem* first = nullptr;
  std::uint32_t seen = 0, gap = 0;
  for (const ChartItem& item : message.items) {
    if (item.kind != ChartItemKind::kData || seen == slots) continue;
    const bool alike = !first || (item.times == first->times && item.stride == first->stride);
    if (!alike || item.times == 1) return false;
    const std::uint32_t before = first ? item.offset - first->offset : item.outerStride;
    for (const std::uint32_t one : {before, item.outerTimes > 1 ? item.outerStride : before}) {
      if (one && gap && one != gap) return false;
      if (one) gap = one;
    }
    if (!first) first = &item;
    seen += item.times * item.outerTimes;
  }
  if (!first || seen != slots || first->times == slots || !gap) return false;
  layout->data = first;
  layout->packing = first->packing;
  layout->headerSize = first->offset;
  layout->voiceSize = first->stride;
  layout->voiceBytes = first->bytes;
  layout->blockBytes = first->times * first->stride;
  layout->blockGap = gap - layout->blockBytes;
  return true;
}

// A bank of messages in a row: so many for each patch, of the same sizes.
void RowOfPatches(const ChartType& type, std::uint32_t slots, ChartLayout* layout, ChartProblems* problems) {
  const std::size_t each = type.dump.size() / slots;
  bool alike = each > 0 && type.dump.size() % slots == 0;
  for (std::size_t i = each; alike && i < type.dump.size(); ++i) alike = type.dump[i].size == type.dump[i - each].size;
  if (!alike)
    problems->Add(type.dump.front().at, {},
                  "the messages cannot be divided among " + std::to_string(slots) + " patches",
                  "NAME*" + std::to_string(slots));
  layout->voiceSize = layout->voiceBytes = layout->oneSize / slots;
}

// A bank that has as many patches as there are; false: it has not.
bool CheckFree(const ChartType& type, const ChartItem& free, ChartLayout* layout, ChartProblems* problems) {
  const ChartMessage& message = type.dump.front();
  layout->leastSize = message.LeastSize();
  if (type.patchwise || type.slots != static_cast<int>(free.times)) {
    problems->Add(free.at, {}, "as many patches as there are has a bank, which is said to have the most of them",
                  Num(free.times) + " x NAME");
    return false;
  }
  const std::uint32_t begin = free.groupEnd - free.stride;
  if (message.size - begin - free.times * free.stride >= free.stride)
    problems->Add(free.at, {}, "what stands behind the patches is as long as one of them");
  return true;
}

}  // namespace

ChartLayout LayoutOf(const ChartType& type, ChartProblems* problems) {
  ChartLayout layout;
  for (const ChartMessage& message : type.dump) {
    if (!message.size && type.dump.size() + static_cast<std::size_t>(type.patchwise) > 1)
      problems->Add(message.at, {}, "only data that is one message can have any size");
    layout.oneSize += message.size;
  }
  const auto slots = static_cast<std::uint32_t>(type.slots);
  layout.fileSize = layout.oneSize * (type.patchwise ? slots : 1);
  if (slots > 1 && !type.patchwise && !type.dump.empty() && !type.dump.front().size)
    problems->Add(
        type.dump.front().at, {}, "a bank of any size does not say where its patches lie",
        "{(40) sum}*1..64 for as many as there are; or no \"64 x\" in front of the name of its patch: then it is "
        "kept whole");
  if (type.dump.empty() || !type.dump.front().size) return layout;
  const ChartMessage& message = type.dump.front();
  const ChartItem* data = message.First(ChartItemKind::kData);
  for (const ChartItem& item : message.items)
    if (item.kind == ChartItemKind::kData && item.times == slots && slots > 1) {
      data = &item;
      break;
    }
  if (type.dump.size() > 1 || !data) {
    layout.voiceSize = layout.voiceBytes = layout.oneSize;
    if (slots > 1 && !type.patchwise) RowOfPatches(type, slots, &layout, problems);
    return layout;
  }
  if (slots > 1 && !type.patchwise && InBlocks(message, slots, &layout)) return layout;
  if (const ChartItem* free = message.Free(); free && !CheckFree(type, *free, &layout, problems)) return layout;
  layout.data = data;
  layout.packing = data->packing;
  const bool through = IsThroughPacking(data->packing);
  const ChartItem* last = LastData(message);
  if (type.patchwise) {
    layout.voiceSize = layout.oneSize;
    layout.voiceOffset = data->offset;
    layout.voiceBytes = last == data ? data->bytes : EndOf(message, *last) - data->offset;
  } else if (slots == 1) {
    layout.headerSize = data->offset;
    layout.voiceSize = through ? data->bytes : EndOf(message, *last) - data->offset;
    layout.voiceBytes = last == data && data->times == 1 ? data->bytes : layout.voiceSize;
  } else if (data->times == slots) {
    std::uint32_t group = data->offset;
    for (const ChartItem& item : message.items)
      if (item.times == slots && item.stride == data->stride) group = std::min(group, item.offset);
    layout.headerSize = group;
    layout.voiceSize = data->stride;
    layout.voiceOffset = data->offset - group;
    layout.voiceBytes = data->bytes;
  } else if (data->bytes % slots == 0) {
    layout.headerSize = data->offset;
    layout.voiceBytes = data->bytes / slots;
    layout.voiceSize = through ? layout.voiceBytes : data->size / slots;
  } else {
    problems->Add(message.at, {}, "the data cannot be divided among " + std::to_string(slots) + " patches",
                  "(SIZE)*" + std::to_string(slots));
  }
  return layout;
}

}  // namespace tonalith
