#include "chart/message_bytes.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "data/checksums.h"

namespace tonalith {

namespace {

constexpr std::size_t kUsualAnySize = 32;
constexpr std::size_t kCountBytes = 2;  // of the count that begins counted data; what is counted is packed 7 in 8
constexpr int kNibbles[] = {1, 6};      // packings of half bytes
constexpr int kDigits[] = {3, 4};       // packings of characters from 30 on

// An item where it stands.
struct Placed {
  const ChartItem* item;
  std::size_t at = 0, size = 0;
  std::size_t shift = 0;  // of its turn in the group, from the first one
};

bool IsAny(const ChartItem& item) {
  return item.kind == ChartItemKind::kData && item.bytes == 0;
}

// What a message leaves open: the bytes of its data of any size, and how often the group stands there that stands there
// as often as comes.
struct Extent {
  std::size_t anySize = 0;
  std::uint32_t turns = std::numeric_limits<std::uint32_t>::max();

  // The items behind the group stand so much further in front.
  std::size_t LessBefore(const ChartMessage& message, const ChartItem& item) const {
    const ChartItem* free = message.Free();
    return free && !item.leastTimes && item.offset > free->offset ? message.LessWith(turns) : 0;
  }
  // So many bytes less are counted.
  std::uint32_t LessCounted(const ChartMessage& message, const ChartItem& item) const {
    const ChartItem* free = message.Free();
    const bool around =
        free && !item.leastTimes && item.sumFrom <= free->offset && item.sumFrom + item.sumSize > free->offset;
    return around ? message.LessWith(turns) : 0;
  }
};

// All items with their repetitions, in the order of the message.
std::vector<Placed> PlacedItems(const ChartMessage& message, const Extent& extent) {
  std::vector<Placed> placed;
  std::size_t behind = 0;
  for (const ChartItem& item : message.items) {
    if (item.kind == ChartItemKind::kPause || item.kind == ChartItemKind::kSumFrom) continue;
    const std::uint32_t times = item.leastTimes ? std::min(item.times, extent.turns) : item.times;
    const std::size_t less = extent.LessBefore(message, item);
    for (std::uint32_t outer = 0; outer < item.outerTimes; ++outer)
      for (std::uint32_t i = 0; i < times; ++i) {
        const std::size_t shift = std::size_t{outer} * item.outerStride + std::size_t{i} * item.stride;
        placed.push_back({&item, item.offset + shift + behind - less, IsAny(item) ? extent.anySize : item.size, shift});
      }
    if (IsAny(item)) behind += extent.anySize;
  }
  std::stable_sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) { return a.at < b.at; });
  return placed;
}

std::size_t SizeOf(const std::vector<Placed>& items) {
  return items.empty() ? 0 : items.back().at + items.back().size;
}

// Bytes of data in one turn of the group that stands there as often as comes.
std::size_t DataInTurn(const ChartMessage& message) {
  std::size_t bytes = 0;
  for (const ChartItem& item : message.items)
    if (item.leastTimes && item.kind == ChartItemKind::kData) bytes += item.size;
  return bytes;
}

// The value of the byte's letter; -1: the byte cannot be this one.
int ValueIn(const ChartByte& byte, std::uint8_t read) {
  const int rest = read - byte.base;
  if (byte.use == ChartUse::kWhole) return rest;
  if (byte.use == ChartUse::kLowDigit) return rest > 0x0F ? -1 : rest;
  return rest < 0 || (rest & 0x0F) ? -1 : rest / 16;
}

// The two halves of numbers of 14 bits, by letter; -1: not seen.
using Halves = std::map<char, std::array<int, 2>>;

bool TakeByte(const ChartByte& byte, std::uint8_t read, ChartValues* values, Halves* halves) {
  if (byte.use == ChartUse::kNone) return ((read ^ byte.base) & byte.mask) == 0;
  const int value = ValueIn(byte, read);
  if (value < 0) return false;
  if (byte.part == ChartPart::kAll) return values->try_emplace(byte.variable, value).first->second == value;
  int& half = halves->try_emplace(byte.variable, std::array{-1, -1}).first->second[byte.part == ChartPart::kHigh];
  return value <= 0x7F && (half < 0 || half == value) && (half = value) >= 0;
}

// The halves of a number that is known are its own; of others they are put together.
bool TakeHalves(const Halves& halves, ChartValues* values) {
  for (const auto& [letter, half] : halves) {
    const int number = std::max(half[1], 0) * 128 + std::max(half[0], 0);
    const int known = values->try_emplace(letter, number).first->second;
    if ((half[0] >= 0 && (known & 0x7F) != half[0]) || (half[1] >= 0 && known >> 7 != half[1])) return false;
  }
  return true;
}

// The two bytes of a count in a message.
std::array<std::uint8_t, 2> CountBytes(const ChartMessage& message, const ChartItem& item, const Extent& extent) {
  const std::size_t count = item.sumSize + (item.sumsAny ? extent.anySize : 0) - extent.LessCounted(message, item);
  const auto high = static_cast<std::uint8_t>(count >> 7 & 0x7F), low = static_cast<std::uint8_t>(count & 0x7F);
  return item.lowFirst ? std::array{low, high} : std::array{high, low};
}

// The extent of a message with so many bytes of data.
Extent ExtentOfData(const ChartMessage& message, std::size_t bytes) {
  Extent extent{bytes};
  const std::size_t each = DataInTurn(message);
  if (each) extent.turns = std::max(message.Free()->leastTimes, static_cast<std::uint32_t>(bytes / each));
  return extent;
}

// That of a message of so many bytes; none when it has not such a size.
std::optional<Extent> ExtentOfSize(const ChartMessage& message, std::size_t size) {
  Extent extent;
  const std::size_t fixed = SizeOf(PlacedItems(message, extent));
  if (const ChartItem* free = message.Free()) {
    if (size > fixed || (fixed - size) % free->stride != 0) return std::nullopt;
    const std::size_t less = (fixed - size) / free->stride;
    if (less > free->times - free->leastTimes) return std::nullopt;
    extent.turns = free->times - static_cast<std::uint32_t>(less);
    return extent;
  }
  const bool any = std::any_of(message.items.begin(), message.items.end(), IsAny);
  if (size < fixed || (!any && size != fixed)) return std::nullopt;
  extent.anySize = size - fixed;
  return extent;
}

}  // namespace

std::uint32_t ChartSumCount(const ChartItem& sum, std::uint32_t more) {
  constexpr int kOfNibbles[] = {2, 6, 12};
  const bool nibbles = std::find(std::begin(kOfNibbles), std::end(kOfNibbles), sum.sum) != std::end(kOfNibbles);
  return nibbles ? (sum.sumSize + more) / 2 : sum.sumSize + more;
}

std::vector<std::uint8_t> MessageBytes(const ChartMessage& message, const ChartValues& values,
                                       std::span<const std::uint8_t> data, std::size_t* used) {
  const std::size_t left = data.size() - std::min(data.size(), *used);
  const Extent extent = ExtentOfData(message, left);
  const auto items = PlacedItems(message, extent);
  std::vector<std::uint8_t> bytes(SizeOf(items));
  for (const Placed& one : items) {
    const ChartItem& item = *one.item;
    if (item.kind == ChartItemKind::kByte) {
      const auto value = values.find(item.byte.variable);
      bytes[one.at] = static_cast<std::uint8_t>(item.turns ? extent.turns
                                                           : item.byte.With(value == values.end() ? 0 : value->second));
    } else if (item.kind == ChartItemKind::kCount) {
      const auto count = CountBytes(message, item, extent);
      std::copy(count.begin(), count.end(), bytes.begin() + static_cast<std::ptrdiff_t>(one.at));
    } else if (item.kind == ChartItemKind::kData) {
      for (std::size_t i = 0; i < one.size; ++i, ++*used) bytes[one.at + i] = *used < data.size() ? data[*used] : 0;
    }
  }
  for (const Placed& one : items) {
    if (one.item->kind != ChartItemKind::kSum) continue;
    ChartItem sum = *one.item;
    const std::uint32_t less = extent.LessCounted(message, sum);
    sum.sumSize -= less;
    const std::size_t before = less ? 0 : extent.LessBefore(message, sum);
    CSum(bytes, 0, sum.sum, static_cast<std::int64_t>(sum.sumFrom + one.shift + (sum.sumBehindAny ? left : 0) - before),
         ChartSumCount(sum, sum.sumsAny ? static_cast<std::uint32_t>(left) : 0), static_cast<std::int64_t>(one.at));
  }
  return bytes;
}

bool MatchMessage(const ChartMessage& message, std::span<const std::uint8_t> bytes, ChartValues* values,
                  ChartData* data) {
  if (message.empty()) return false;
  const auto extent = ExtentOfSize(message, bytes.size());
  if (!extent) return false;
  ChartValues found = *values;
  ChartData taken;
  Halves halves;
  for (const Placed& one : PlacedItems(message, *extent)) {
    const ChartItem& item = *one.item;
    const auto here = bytes.subspan(one.at, one.size);
    if (item.turns && here[0] != extent->turns) return false;
    if (item.kind == ChartItemKind::kByte && !TakeByte(item.byte, here[0], &found, &halves)) return false;
    if (item.kind == ChartItemKind::kCount) {
      const auto count = CountBytes(message, item, *extent);
      if (!std::equal(count.begin(), count.end(), here.begin())) return false;
    }
    if (item.kind == ChartItemKind::kData) taken.insert(taken.end(), here.begin(), here.end());
  }
  if (!TakeHalves(halves, &found)) return false;
  *values = std::move(found);
  if (data) data->insert(data->end(), taken.begin(), taken.end());
  return true;
}

std::size_t DataSize(const ChartMessage& message, std::size_t anySize) {
  std::size_t size = 0;
  for (const Placed& one : PlacedItems(message, {anySize}))
    if (one.item->kind == ChartItemKind::kData) size += one.size;
  return size;
}

std::size_t SmallestAnySize(const ChartMessage& message) {
  const std::size_t fixed = SizeOf(PlacedItems(message, {}));
  for (const ChartItem& item : message.items) {
    if (!IsAny(item)) continue;
    if (!item.counted.empty()) return kCountBytes + item.counted[1] + (item.counted[1] + 6) / 7;
    const std::size_t whole = item.least ? item.least : kUsualAnySize;
    return whole > fixed ? whole - fixed : 1;
  }
  return 0;
}

std::size_t SmallestDataSize(const ChartMessage& message) {
  const ChartItem* free = message.Free();
  return free ? DataInTurn(message) * free->leastTimes : DataSize(message, SmallestAnySize(message));
}

ChartData SampleData(const ChartMessage& message, std::uint32_t seed) {
  ChartData data;
  std::uint32_t state = seed * 2654435761u + 12345u;
  Extent extent{SmallestAnySize(message)};
  // Not all patches that there may be, and not always as many.
  if (const ChartItem* free = message.Free())
    extent.turns = free->leastTimes + (seed + 1) % (free->times - free->leastTimes + 1);
  for (const Placed& one : PlacedItems(message, extent)) {
    const ChartItem& item = *one.item;
    if (item.kind != ChartItemKind::kData) continue;
    const bool nibbles = std::find(std::begin(kNibbles), std::end(kNibbles), item.packing) != std::end(kNibbles);
    // What other packings allow in every byte.
    const std::uint32_t values = item.packing == 0 && item.counted.empty() ? 0x80 : nibbles ? 0x10 : 2;
    const bool digits = std::find(std::begin(kDigits), std::end(kDigits), item.packing) != std::end(kDigits);
    const std::uint8_t least = digits ? '0' : 0;
    for (std::size_t i = 0; i < one.size; ++i) {
      state = state * 1664525u + 1013904223u;
      const bool counted =
          !item.counted.empty() && one.at + i >= item.counted[0] && one.at + i < item.counted[0] + kCountBytes;
      data.push_back(counted ? std::uint8_t{0} : static_cast<std::uint8_t>(least + (state >> 16) % values));
    }
  }
  return data;
}

}  // namespace tonalith
