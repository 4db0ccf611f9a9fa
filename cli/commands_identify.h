#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/terminal_text.h"

namespace tonalith {

// identify FILE: a line for each piece of data found: offset, length, instrument, data type and "ok", "bad" or "none",
// tab separated.  FILE is raw SysEx, a data file or a Standard MIDI File, or "-" for `in`.
int RunIdentify(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
                const std::filesystem::path& instruments);
const char* IdentifyUsage();

// names FILE [--type NAME]: a line for each patch: slot from 0, number as displayed, name, tab separated.  Without
// --type the pieces of data types that have names are listed, or all pieces when none has.
int RunNames(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err,
             const std::filesystem::path& instruments);
const char* NamesUsage();

}  // namespace tonalith
