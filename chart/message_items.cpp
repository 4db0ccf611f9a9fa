#include <algorithm>

#include "chart/message.h"

namespace tonalith {

std::vector<ChartItem> ChartMessage::Head() const {
  const auto end = std::find_if(items.begin(), items.end(), [](const ChartItem& item) {
    return item.kind != ChartItemKind::kByte && item.kind != ChartItemKind::kCount;
  });
  return {items.begin(), end};
}

const ChartItem* ChartMessage::First(ChartItemKind kind) const {
  const auto found = std::find_if(items.begin(), items.end(), [&](const ChartItem& item) { return item.kind == kind; });
  return found == items.end() ? nullptr : &*found;
}

std::size_t ChartMessage::Count(ChartItemKind kind) const {
  return static_cast<std::size_t>(
      std::count_if(items.begin(), items.end(), [&](const ChartItem& item) { return item.kind == kind; }));
}

int ChartMessage::PlaceOf(char variable) const {
  for (const ChartItem& item : items)
    if (item.kind == ChartItemKind::kByte && item.byte.variable == variable && item.byte.part != ChartPart::kHigh)
      return static_cast<int>(item.offset);
  return -1;
}

bool ChartMessage::IsPlain(char variable) const {
  for (const ChartItem& item : items)
    if (item.kind == ChartItemKind::kByte && item.byte.variable == variable)
      return item.byte.part == ChartPart::kAll && item.byte.base == 0 && item.byte.use != ChartUse::kHighDigit;
  return true;
}

int ChartMessage::HighPlaceOf(char variable) const {
  for (const ChartItem& item : items)
    if (item.kind == ChartItemKind::kByte && item.byte.variable == variable && item.byte.part == ChartPart::kHigh)
      return static_cast<int>(item.offset);
  return -1;
}

const ChartItem* ChartMessage::Free() const {
  const auto found = std::find_if(items.begin(), items.end(), [](const ChartItem& item) { return item.leastTimes; });
  return found == items.end() ? nullptr : &*found;
}

std::uint32_t ChartMessage::LessWith(std::uint32_t turns) const {
  const ChartItem* free = Free();
  return free && turns < free->times ? (free->times - turns) * free->stride : 0;
}

std::uint32_t ChartMessage::LeastSize() const {
  const ChartItem* free = Free();
  return free ? size - LessWith(free->leastTimes) : size;
}

std::span<const ChartItemForm> ChartItemForms() {
  static constexpr ChartItemForm kForms[] = {
      {"F0", "a byte, two hex digits, capitals", "F0 42 F7"},
      {"3n",
       "a digit is a variable: the letter of the device number, `p` the number of the patch, the letter of the "
       "section, `t` the turn of what stands there several times",
       "F0 42 3n F7"},
      {"pp", "a whole byte is a variable", "F0 42 pp F7"},
      {"pp low pp high", "a number of 14 bits: its lower seven bits, and those above; also the other way round",
       "F0 32 pp low pp high F7"},
      {"28+p", "hex byte plus variable; `b-1` variable less a number", "F0 43 28+p F7"},
      {"??", "anything; 0 when it is sent; `4?` with one digit open", "F0 42 ?? 4? F7"},
      {"[01 1B]", "new data has it so; anything is taken when read, and sent as it came", "F0 43 [01 1B] (155) F7"},
      {"\"LM  8976AE\"", "characters as bytes", "F0 43 \"LM  8976AE\" F7"},
      {"(26)", "so many bytes of data", "F0 42 (26) F7"},
      {"(134 nibbles low first)", "so many bytes when unpacked, by a packing of the words below",
       "F0 10 (134 nibbles low first) F7"},
      {"(any from 8 step 2)",
       "data of any size: the message has 8 bytes from F0 to F7 at least, and more in steps of 2; "
       "both may be left out",
       "F0 0F (any from 8 step 2) F7"},
      {"(counted 6 1522 + 4)",
       "data of any size: the two bytes at 6, the lower seven bits first, say how often 4 bytes "
       "follow 1522",
       "F0 42 (counted 6 1522 + 4) F7"},
      {"sum",
       "the checksum of the kind that the chart says, over what lies behind the last `<`, without one over the data "
       "since the last sum; `sum:exclusive-or` of another kind; `sum or 7F` is right with that value, too",
       "F0 43 (155) sum F7"},
      {"sum ahead",
       "the checksum stands in front of what it is over: all up to the next sum, the end of the group or F7",
       "F0 43 {sum ahead (64)}*4 F7"},
      {"<", "from here it is summed", "F0 41 < 00 00 (64) sum F7"},
      {"count",
       "two bytes of seven bits, the higher first: how many bytes follow up to the next sum or F7; `count low` the "
       "lower first",
       "F0 43 count (155) sum F7"},
      {"NAME", "the message or block of this name", "F0 43 sample F7"},
      {"{...}*48", "what stands there 48 times; also `NAME*48` and `(128)*32`", "F0 43 {count (64) sum}*48 F7"},
      {"{...}*1..48",
       "the patches of a bank that has as many as there are, once at least and 48 times at most; the bank is said "
       "to have the most, `48 x Voice`",
       "F0 43 {(64) sum}*1..48 F7"},
      {"turns", "a byte that says how often that group stands there", "F0 43 turns {(64) sum}*1..48 F7"},
      {"(120 ms)", "a pause inside the message when it is sent", "F0 43 {(64) (120 ms)}*4 F7"},
  };
  return kForms;
}

}  // namespace tonalith
