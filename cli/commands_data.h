#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "platform/terminal_text.h"

namespace tonalith {

// The commands on images, checksums, numbers, names and data files.  `args` are the words behind the command.  Results
// go to `out`; 0 = true success, 1 = failure with a sentence on `err`.
int RunPack(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);
int RunCsum(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);
int RunNumber(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);
int RunName(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);
int RunDf(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);

// Help texts of the same commands, one line a form.
extern const char* const kPackHelp;
extern const char* const kCsumHelp;
extern const char* const kNumberHelp;
extern const char* const kNameHelp;
extern const char* const kDfHelp;

// Bytes of a command line operand: hex pairs, "-" (hex from `in`, or raw bytes when it is no text) or "@FILE" (the
// file's bytes).
bool ReadBytesOperand(const std::string& operand, std::istream& in, std::vector<std::uint8_t>* bytes,
                      std::string* error);

}  // namespace tonalith
