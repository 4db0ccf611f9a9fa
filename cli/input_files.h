// What commands read: a file, or standard input for "-".
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "platform/atomic_file.h"
#include "platform/file_bytes.h"
#include "platform/result.h"
#include "platform/terminal_text.h"

namespace tonalith {

// At most `limit` bytes (code kFileTooLarge beyond).
Result ReadInput(const std::string& operand, std::istream& in, std::vector<std::uint8_t>* bytes,
                 std::size_t limit = kMaxWholeFile);
Result ReadInput(const std::string& operand, std::istream& in, FileBytes* bytes, std::size_t limit = kMaxWholeFile);
Result ReadInput(const std::string& operand, std::istream& in, std::string* text, std::size_t limit = kMaxWholeFile);

// Why a file that is shorter than it says stays where it is: half of a dump must not reach an instrument.
inline constexpr char kShortIsNotSent[] =
    "A file that is not whole is not sent.  \"import\" makes a whole one of what is left, to be looked at first.";

// Notes on `err` that a data file is shorter than it says; true then.
bool NoteShortFile(const std::string& operand, std::span<const std::uint8_t> bytes, TerminalText err);

}  // namespace tonalith
