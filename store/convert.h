#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "data/data_records.h"

namespace tonalith {

// One patch of a bank in the layout of the edit buffer of its instrument, and back.
//
// Which conversion two data types have is decided by their driver ids (store/convert_rows.h), by what the module of the
// instrument brings (a file of parameters/patch_conversion.h or of store/convert_map.h), and for Yamaha by the sizes of
// the two patches.  Every conversion works on a copy of its target: where it fails, whatever the records claim, the
// target is as it was.  Slots count from 0.  Names beside the image, texts and keywords are the caller's
// (store/patch_exchange.h moves them).

struct ConvertOptions {
  std::filesystem::path moduleFolder;  // where the files of conversions lie; empty: there are none
};

// What is to be said of a conversion that was done.
struct ConvertNotes {
  std::size_t nearest = 0;  // values that became the nearest that the target can hold
  std::string text;         // a sentence, or nothing
};

// Instrument and type, UTF-8, as sentences name them.
std::string TypeNameOf(const Synth& synth);

// The smaller image size of the two.
std::int32_t IMin(const Synth* a, const Synth* b);

// Patches of both are the same byte by byte: same size and packing, not polymorphic, and of one kind: the bank names
// the type of the patch (childId, linkId), or the type keys are equal and not empty, or neither has one and both are of
// one data type.
bool IsSameForm(const Synth& bank, const Synth& edit);

// 1: there is a conversion of the two and it was done, into `edit` (allocated for its data type; an edit buffer of no
// type yet, id 0, gets the type that belongs to the bank) or into the slot of `bank`.  0: it is not, and nothing was
// changed; where the two have no conversion the monitor log says so.
int BankToEditConvert(DataFile* bank, DataFile* edit, int slot, const ConvertOptions& options = {},
                      ConvertNotes* notes = nullptr);
int BankFromEditConvert(DataFile* edit, DataFile* bank, int slot, const ConvertOptions& options = {},
                        ConvertNotes* notes = nullptr);

// The Yamaha family, by the sizes of the two patches: 128 and 155 bytes are the six-operator voice, 128 and 93, 116,
// 121 or 124 the four-operator voice alone or with its additional parts.  Messages that say another format are refused.
int BankYamahaBankToEd(DataFile* bank, DataFile* edit, short slot);
int BankYamahaBankFromEd(DataFile* edit, DataFile* bank, short slot);

// Copies the bytes where both mean the same, else converts; then `bank` holds something in the slot (BankFromEdit), or
// `edit` does (BankToEdit).  0: it cannot be done, `reason` (may be null) has the sentence, the monitor log too, and
// nothing was changed.
int BankFromEdit(DataFile* edit, DataFile* bank, int slot, const ConvertOptions& options = {},
                 std::string* reason = nullptr, ConvertNotes* notes = nullptr);
int BankToEdit(DataFile* bank, DataFile* edit, int slot, const ConvertOptions& options = {},
               std::string* reason = nullptr, ConvertNotes* notes = nullptr);

// A sentence why patches of the two types are not exchanged, naming both; empty: they are.  Looks at the descriptors
// and the files of the module only: it is for deciding whether a drop is taken.
std::string ConvertRefusal(const Synth& bank, const Synth& edit, const ConvertOptions& options = {});

}  // namespace tonalith
