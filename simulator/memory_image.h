#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/description.h"

namespace tonalith {

// The memory of one simulated instrument: the unpacked bytes of all areas.  Areas and items out of range are empty
// spans; nothing is ever written outside.
class MemoryImage {
 public:
  explicit MemoryImage(const InstrumentDescription& description);

  std::span<std::uint8_t> Item(int area, int item);
  std::span<const std::uint8_t> Item(int area, int item) const;
  std::span<const std::uint8_t> All() const { return bytes_; }
  // All bytes at once; false when the size is another.
  bool Restore(std::span<const std::uint8_t> image);

  // Items of different length: what of an item is there, and another contents for it (false: it is too long).
  std::span<const std::uint8_t> Contents(const InstrumentDescription& description, int area, int item) const;
  bool SetContents(const InstrumentDescription& description, int area, int item, std::span<const std::uint8_t> bytes);

  void FillFactory(const InstrumentDescription& description);
  void FillFactoryArea(const InstrumentDescription& description, int area);

  std::string Name(const InstrumentDescription& description, int area, int item) const;
  bool SetName(const InstrumentDescription& description, int area, int item, std::string_view name);

  // Between a bank and the edit buffers that belong to it; false when the area has none.
  bool LoadEdit(const InstrumentDescription& description, int bankArea, int item);
  bool StoreEdit(const InstrumentDescription& description, int bankArea, int item);

 private:
  struct Place {
    std::size_t start = 0;
    std::size_t itemBytes = 0;
    int items = 0;
  };
  std::vector<Place> places_;
  std::vector<std::uint8_t> bytes_;
};

// Distinct patch names of the program's own making, at most `length` characters.
std::string FactoryName(const AreaInfo& area, int item);

}  // namespace tonalith
