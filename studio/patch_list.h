#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

class TypeTable;

// Lists of the patches of data: slot, number, name.

// Where patches lie while they are listed.
struct PatchSource {
  const Synth& synth;
  const VoiceLayout& layout;
  std::span<const std::uint8_t> image;  // from its start
  const DataFile* record = nullptr;     // null: the image stands in a file, and nothing is behind it
};

// A patch while it is listed; the texts and the source last until the visitor returns.
struct PatchView {
  int slot = 0;
  std::string_view number;  // as the instrument shows it
  std::string_view name;    // Latin-1
  bool damaged = false;     // kept although it came damaged
  const PatchSource* source = nullptr;
};
using PatchVisitor = std::function<void(const PatchView& patch)>;

// Voices of a bank that hold nothing.
bool VoiceIsEmpty(const DataFile& data, std::uint32_t voice);

// The numbers that patches of one type have on the panel, each made once.
class PatchNumbers {
 public:
  // Of a slot of a bank.
  const std::string& OfSlot(const Synth& synth, int slot);
  // Of a single patch: numbered as in the bank that its type names, else as itself.
  const std::string& OfSingle(const TypeTable& table, const Synth& synth, std::uint16_t patchNumber);

 private:
  std::vector<std::string> slots_;                          // by slot
  std::unordered_map<std::uint16_t, std::string> singles_;  // by patch number
};

// Visits the patches of a record that hold something (a single patch: slot 0).  `numbers` is that of its type.
void ListPatches(const DataFile& data, const TypeTable& table, PatchNumbers* numbers, const PatchVisitor& visit);
// The same for an image whose names lie in it, when every voice holds something.
void ListPatchesOfImage(const Synth& synth, const VoiceLayout& layout, std::span<const std::uint8_t> image,
                        std::uint16_t patchNumber, const TypeTable& table, PatchNumbers* numbers,
                        const PatchVisitor& visit);

}  // namespace tonalith
