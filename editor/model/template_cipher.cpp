#include "editor/model/template_cipher.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace tonalith {

namespace {

constexpr int kTables = 16;
constexpr std::size_t kGroup = 16;
constexpr std::size_t kValues = 256;

using Table = std::array<std::uint8_t, kValues>;
struct Tables {
  std::array<Table, kTables> to, from;
};

// The tables are part of the file format: the same in every program.
Tables MakeTables() {
  Tables tables;
  for (std::size_t number = 0; number < kTables; ++number) {
    Table& table = tables.to[number];
    for (std::size_t i = 0; i < kValues; ++i) table[i] = static_cast<std::uint8_t>(i);
    auto state = static_cast<std::uint32_t>(number);
    for (std::size_t i = kValues - 1; i > 0; --i) {
      state = state * 1664525u + 1013904223u;
      std::swap(table[i], table[(state >> 16) % (i + 1)]);
    }
    for (std::size_t i = 0; i < kValues; ++i) tables.from[number][table[i]] = static_cast<std::uint8_t>(i);
  }
  return tables;
}

const Tables& AllTables() {
  static const Tables tables = MakeTables();
  return tables;
}

void Substitute(std::span<std::uint8_t> bytes, int selector, int tables, const std::array<Table, kTables>& by) {
  if (selector == 0) return;
  const auto count = static_cast<std::size_t>(std::clamp(tables, 1, kTables));
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = by[(static_cast<std::size_t>(selector) + i % kGroup) % count][bytes[i]];
}

}  // namespace

void EncipherTemplate(std::span<std::uint8_t> bytes, int selector, int tables) {
  Substitute(bytes, selector, tables, AllTables().to);
}

void DecipherTemplate(std::span<std::uint8_t> bytes, int selector, int tables) {
  Substitute(bytes, selector, tables, AllTables().from);
}

}  // namespace tonalith
