#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "chart/chart_text.h"

namespace tonalith {

// A message as charts write it (docs/chart.md), with its sizes and places.

// Where a variable stands in a byte.
enum class ChartUse { kNone, kLowDigit, kHighDigit, kWhole };

// A number of 14 bits stands in two bytes.
enum class ChartPart { kAll, kLow, kHigh };

// One byte: `base`, plus the variable where it stands.
struct ChartByte {
  int base = 0;
  std::uint8_t mask = 0xFF;  // bits that are the same in every message of this kind
  char variable = 0;
  ChartUse use = ChartUse::kNone;
  ChartPart part = ChartPart::kAll;

  // The byte for a value of its variable.
  int With(int value) const {
    if (part != ChartPart::kAll) value = part == ChartPart::kLow ? value & 0x7F : value >> 7;
    return base + (use == ChartUse::kHighDigit ? 16 * value : use == ChartUse::kNone ? 0 : value);
  }
};

enum class ChartItemKind { kByte, kData, kSum, kSumFrom, kCount, kPause };

struct ChartItem {
  ChartItemKind kind = ChartItemKind::kByte;
  ChartPlace at;
  ChartByte byte;
  // Data: bytes when unpacked; 0: any number, at least `least` bytes from F0 to F7 and more only in groups of `step`,
  // or as `counted` says (place, fixed bytes, bytes each).
  std::uint32_t bytes = 0;
  int packing = 0;
  std::uint32_t least = 0, step = 1;
  std::vector<std::uint32_t> counted;
  int sum = 0;            // kind of checksum
  int orByte = -1;        // that is right in its place as well; -1: none
  bool ahead = false;     // the sum stands in front of what it counts
  bool lowFirst = false;  // of a count
  int pauseMs = 0;
  // --- Places, within the message
  std::uint32_t offset = 0, size = 0;  // size 0: any
  std::uint32_t sumFrom = 0;           // what a checksum or a count is about, up to `sumFrom + sumSize`
  std::uint32_t sumSize = 0;
  bool sumsAny = false, sumBehindAny = false;     // data of any size lies in there, or in front of that
  std::uint32_t times = 1, stride = 0;            // of the group that it stands in
  std::uint32_t leastTimes = 0;                   // so often at least, and `times` at most; 0: `times`
  bool turns = false;                             // a byte that says how often that group stands there
  std::uint32_t outerTimes = 1, outerStride = 0;  // of the group around that
  std::uint32_t groupEnd = 0;                     // behind the first turn of the group; 0: it stands in none
};

struct ChartMessage {
  ChartPlace at;
  std::vector<ChartItem> items;  // without repetitions: `times` and `stride` say where they stand
  std::uint32_t size = 0;        // from F0 to F7; 0: any
  bool wrong = false;            // a mistake in it was named: what follows from that is none of its own

  bool empty() const { return items.empty(); }
  // The bytes in front of the first item that is none.
  std::vector<ChartItem> Head() const;
  const ChartItem* First(ChartItemKind kind) const;
  std::size_t Count(ChartItemKind kind) const;
  // Place of the first byte with this variable, -1 without one.
  int PlaceOf(char variable) const;
  // The first byte with this variable is its value, all of it and nothing else; also without one.
  bool IsPlain(char variable) const;
  // That of the upper bits of a number of 14 bits, -1 without them.
  int HighPlaceOf(char variable) const;
  // The first item of the group that stands there as often as comes, null without one.  Sizes and places are those of
  // the message in which it stands most often.
  const ChartItem* Free() const;
  // Bytes that such a message has less when the group stands there only `turns` times; 0 for every other one.
  std::uint32_t LessWith(std::uint32_t turns) const;
  // Its smallest size.
  std::uint32_t LeastSize() const;
};

// What messages may refer to.
struct ChartNames {
  std::map<std::string, ChartCell> definitions;  // blocks and messages
  std::string variables;                         // the letters that are known
  int sum = -1;                                  // what `sum` means; -1: not said
  mutable std::set<std::string> used;            // definitions that a message referred to
};

// Reads a message; mistakes are named and left out.
ChartMessage ReadChartMessage(const ChartCell& text, const ChartNames& names, ChartProblems* problems);

// Bytes on the wire of data of so many bytes, with a packing of the words table; 0 when that cannot be said.
std::uint32_t PackedSize(int packing, std::uint32_t bytes);
// True for packings that run through all patches of a bank.
bool IsThroughPacking(int packing);

// What may stand in a message.
struct ChartItemForm {
  const char* item;
  const char* meaning;
  const char* example;  // a message with it
};
std::span<const ChartItemForm> ChartItemForms();

// True when the text begins as a message does: with a byte, or with the name of one.
bool LooksLikeMessage(std::string_view text);

}  // namespace tonalith
