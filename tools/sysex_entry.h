#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// A SysEx message that is typed as numbers.

inline constexpr std::size_t kMostSysExText = 2'500'000;  // characters

enum class SysExNumbers {
  CNotation = 0,  // decimal, 0x in front of hex, 0 in front of octal
  Hexadecimal = 1,
};

// Every run of letters and digits is a number, of which the low 8 bits are a byte; what is no number counts as far as
// it is one, else as 0.  Everything else separates.
std::vector<std::uint8_t> ParseSysExText(std::string_view text, SysExNumbers numbers);

// What a user should know about the bytes before they are sent, a sentence; empty: one whole SysEx message.
std::string SysExWarning(const std::vector<std::uint8_t>& bytes);

// A data file of the bytes, complete and named "Raw SysEx"; the bytes go through a file with a name of its own in
// `folder`, which is gone again afterwards.  Failure: the file could not be written or read.
Result MakeRawSysEx(const std::vector<std::uint8_t>& bytes, const std::string& folder, DataFilePtr* data);

}  // namespace tonalith
