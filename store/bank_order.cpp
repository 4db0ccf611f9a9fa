#include "store/bank_order.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <set>
#include <string_view>

#include "data/patch_names.h"
#include "platform/text.h"
#include "store/bank_slots.h"

namespace tonalith {

namespace {

constexpr int kMostSorts = 100;

void SortPass(const BankSlots& slots, const SortKey& key, std::vector<int>* from) {
  if (key.offset < 0) return;
  std::vector<std::uint8_t> values;
  std::array<std::set<std::size_t>, 256> places;  // of each value, behind what is sorted
  for (const int slot : *from) values.push_back(slots.Logical(slot, static_cast<std::uint32_t>(key.offset)) & key.mask);
  for (std::size_t i = 0; i < values.size(); ++i) places[values[i]].insert(i);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto smallest = std::ranges::find_if(places, [](const auto& of) { return !of.empty(); });
    const std::size_t j = *smallest->begin();
    smallest->erase(smallest->begin());
    if (j == i) continue;
    places[values[i]].erase(i);
    places[values[i]].insert(j);
    std::swap(values[i], values[j]);
    std::swap((*from)[i], (*from)[j]);
  }
}

}  // namespace

SlotOrder SameOrder(int first, int last) {
  SlotOrder order{first, std::vector<int>(static_cast<std::size_t>(last - first + 1))};
  std::iota(order.from.begin(), order.from.end(), first);
  return order;
}

SlotOrder GatheredOrder(int count, const std::vector<int>& which, int before) {
  SlotOrder order{0, {}};
  const std::set<int> moved(which.begin(), which.end());
  for (int slot = 0; slot <= count; ++slot) {
    if (slot == before) order.from.insert(order.from.end(), moved.begin(), moved.end());
    if (slot < count && !moved.count(slot)) order.from.push_back(slot);
  }
  return order;
}

SlotOrder RotatedOrder(int first, int last, std::int64_t steps) {
  SlotOrder order = SameOrder(first, last);
  const auto count = static_cast<std::int64_t>(order.from.size());
  const std::int64_t down = (steps % count + count) % count;
  std::rotate(order.from.begin(), order.from.end() - down, order.from.end());
  return order;
}

SlotOrder InvertedOrder(int first, int last) {
  SlotOrder order = SameOrder(first, last);
  std::ranges::reverse(order.from);
  return order;
}

SlotOrder MovedOrder(int first, int last, int before) {
  if (before < first) {
    SlotOrder order = SameOrder(before, last);
    std::rotate(order.from.begin(), order.from.begin() + (first - before), order.from.end());
    return order;
  }
  SlotOrder order = SameOrder(first, std::max(last, before - 1));
  if (before > last) std::rotate(order.from.begin(), order.from.begin() + (last - first + 1), order.from.end());
  return order;
}

SlotOrder NameOrder(int first, const std::vector<std::string>& names) {
  SlotOrder order = SameOrder(first, first + static_cast<int>(names.size()) - 1);
  std::vector<std::string> keys;
  for (const std::string& name : names) keys.push_back(AsciiLower(NameAlign(name)));
  const auto key = [&](int slot) -> const std::string& { return keys[static_cast<std::size_t>(slot - first)]; };
  std::ranges::stable_sort(order.from, [&](int a, int b) { return key(a) < key(b); });
  return order;
}

NumberSort ReadNumberSort(const IniFile& ini, int number) {
  const auto read = [&](const char* which) {
    const std::string key = Printf("Sort%d.%s", number, which);
    SortKey sortKey;
    sortKey.offset = ini.GetInt("Sort", key + "Ofs", -1);
    const int mask = ini.GetInt("Sort", key + "Mask", 0);
    if (mask != 0) sortKey.mask = static_cast<std::uint8_t>(mask);
    return sortKey;
  };
  return {read("1"), read("2")};
}

std::vector<std::string> ReadSortNames(const IniFile& ini) {
  std::vector<std::string> names;
  const int count = std::min(ini.GetInt("Sort", "Count", 0), kMostSorts);
  for (int i = 0; i < count; ++i) {
    const std::string name = ini.Find("Sort", Printf("Sort%dName", i)).value_or("");
    names.push_back(name.empty() ? Printf("Sort %d", i + 1) : name);
  }
  return names;
}

SlotOrder NumberOrder(const BankSlots& slots, int first, int last, const NumberSort& sort) {
  SlotOrder order = SameOrder(first, last);
  SortPass(slots, sort.second, &order.from);
  SortPass(slots, sort.first, &order.from);
  return order;
}

}  // namespace tonalith
