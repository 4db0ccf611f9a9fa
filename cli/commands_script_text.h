#pragma once

#include <istream>
#include <string>
#include <vector>

#include "platform/terminal_text.h"

namespace tonalith {

// The commands on script text.  `args` are the words behind the command.  0 = success; 1 = failure with a sentence on
// `err`.

// compile [--lint] [--capacity N] FILE|-
// Prints the bytecode as upper-case pairs with blanks between.  After an error the compile report goes to `err`.  With
// --lint doubtful places are named on `err`; they do not change the result.
int RunCompile(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);

// list FILE|-
// Prints the listing of bytecode, which may be hex text (pairs of digits with or without blanks) or raw bytes.
int RunList(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);

// Help texts, one line a form.
extern const char* const kCompileHelp;
extern const char* const kListHelp;

}  // namespace tonalith
