#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "data/patch_texts.h"
#include "data/slot_bytes.h"

namespace tonalith {

// Everything that belongs to one slot of a bank; travels as a whole.
struct SlotContent {
  std::vector<std::uint8_t> bytes;  // as SlotBytes gives them
  std::array<char, kVoiceNameSize> name{};
  std::array<std::vector<std::uint8_t>, kPatchTextKinds> texts;  // empty: nothing but zeros
  std::vector<std::uint8_t> keywords;                            // likewise
  bool undefined = false;
  bool keptBack = false;  // not to be transmitted
};

// Copies the content of slot `from` to slot `to`.
struct SlotPair {
  int from = 0;
  int to = 0;
};

// The slots of a bank.  Nothing else reads or writes a slot: bytes, separate name, texts, keywords and bits go
// together. Works on a record that it does not own; where a text or keyword has to go to a place the record has no room
// for yet, room for all slots is made.  Undo is the caller's.
class BankSlots {
 public:
  explicit BankSlots(DataFile& dataFile) : dataFile_(dataFile), bytes_(dataFile) {}

  // A sentence why the slots cannot be worked with; empty: they can.  Nothing else may be called then.
  std::string Refusal() const;
  int Count() const { return static_cast<int>(bytes_.Count()); }
  bool Has(int slot) const { return slot >= 0 && slot < Count(); }

  // Patches of both mean the same byte by byte.
  bool SameForm(const BankSlots& other) const { return bytes_.SameForm(other.bytes_); }

  SlotContent Take(int slot) const;
  // With the mark that keeps a patch back when it moves as part of an exchange.  False: memory is short.
  bool Put(int slot, const SlotContent& content, bool withMark);

  // Slot first + i gets what slot order[i] holds.  `order` holds the slots from first on, each once.
  bool Permute(int first, std::span<const int> order);
  // All sources are read first, so they may overlap the destinations.  False: memory is short, or the patches of
  // `source` have another form.
  bool Copy(const BankSlots& source, std::span<const SlotPair> pairs);
  // The bytes alone, of a record of the same form in which they are not all 0.  False: it is not such a record.
  bool CopyBytes(const DataFile& source, std::span<const SlotPair> pairs);
  // No bytes but those a packing adds, no name, texts and keywords.
  void Clear(int slot);

  // Latin-1.  False: this data has no names.
  bool SetName(int slot, std::string_view name);
  bool IsUndefined(int slot) const;
  void SetUndefined(int slot, bool undefined);
  // A logical byte of the patch; outside: 0.
  std::uint8_t Logical(int slot, std::uint32_t index) const;
  // The first logical bytes of the patch; the others become 0.
  void SetLogical(int slot, std::span<const std::uint8_t> values);
  std::uint64_t RawSize() const { return bytes_.RawBytes(); }
  std::vector<std::uint8_t> Raw(int slot) const;
  // The raw bytes of the patch, when there are as many; false otherwise.
  bool SetRaw(int slot, std::span<const std::uint8_t> raw);

 private:
  char* NameOf(int slot) const;

  DataFile& dataFile_;
  SlotBytes bytes_;
};

}  // namespace tonalith
