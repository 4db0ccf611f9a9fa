#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/ini_file.h"
#include "platform/result.h"

namespace tonalith {

class BankSlots;

// The patch that a place of a bank begins with.
struct InitialPatch {
  std::vector<std::uint8_t> raw;      // as it stands in an image, or
  std::vector<std::uint8_t> logical;  // its first logical bytes, the others 0
};

// The INI of a data type in the folder of its module; empty when there is none.
IniFile DataTypeIni(const std::filesystem::path& moduleFolder, const Synth& synth);

// Of the first that there is, in the folder of the module: "InitForID<id>.<type key>.bin", "InitForID<id>.bin" (those
// with as many bytes as `slots` has for a patch), section "Bank Init <id> <type key>" of the data type's INI, its
// section "Bank Init".
std::optional<InitialPatch> FindInitialPatch(const std::filesystem::path& moduleFolder, const Synth& synth,
                                             const BankSlots& slots);

// Makes the first patch of a bank the initial one: the first of those files, or with `ini` the section with the type
// key.  `file`: which file was written.
Result WriteInitialPatch(const std::filesystem::path& moduleFolder, const Synth& synth, const BankSlots& slots,
                         bool ini, std::string* file);

}  // namespace tonalith
