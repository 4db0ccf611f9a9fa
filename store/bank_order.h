#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/ini_file.h"

namespace tonalith {

class BankSlots;

// Another order of a run of slots: slot first + i gets what slot from[i] holds.
struct SlotOrder {
  int first = 0;
  std::vector<int> from;
};

// Every slot as it is, to be changed.
SlotOrder SameOrder(int first, int last);
// Of `count` slots: these, each once and from the first, stand together before slot `before` (`count`: at the end).
SlotOrder GatheredOrder(int count, const std::vector<int>& which, int before);
// Slots `first` to `last`, which there are.  Positive steps: every patch goes down the list and the last ones come
// first; negative: the other way round.
SlotOrder RotatedOrder(int first, int last, std::int64_t steps);
SlotOrder InvertedOrder(int first, int last);
// The run first to last stands before slot `before` (the number of slots: at the end); what it passes closes up.
SlotOrder MovedOrder(int first, int last, int before);
// By name without leading blanks, without regard to ASCII case; equal names keep their order.  names[i] is that of slot
// first + i.
SlotOrder NameOrder(int first, const std::vector<std::string>& names);

// What banks of a data type are sorted by: logical bytes of a patch under a mask.
struct SortKey {
  std::int64_t offset = -1;  // below 0: unused
  std::uint8_t mask = 0xFF;
};
struct NumberSort {
  SortKey first, second;
  bool IsUsed() const { return first.offset >= 0 || second.offset >= 0; }
};
// Section "Sort" of the data type's INI, the sort of this number from 0.
NumberSort ReadNumberSort(const IniFile& ini, int number);
// What the sorts of that section are called ("Count" of them, "Sort0Name" ...), UTF-8.
std::vector<std::string> ReadSortNames(const IniFile& ini);
// Two passes, the second key first; each puts the smallest of what is left in front, the first one of equals, and what
// stood there into its place.  So patches that are equal by the first key need not stay in the order of the second.
SlotOrder NumberOrder(const BankSlots& slots, int first, int last, const NumberSort& sort);

}  // namespace tonalith
