#pragma once

#include <istream>
#include <string>
#include <vector>

#include "platform/terminal_text.h"

namespace tonalith {

// run FILE|- [--image HEX|@FILE] [--descriptor FIELD=VALUE]... [--channel C] [--midi-channel C] [--patch P] [--x N]
//     [--reply HEX]... [--conversation FILE] [--macro FILE]... [--show-image]
// Compiles a script (or takes bytecode, as hex pairs ending in FF or as raw bytes) and runs it in virtual time on a
// scripted wire.  Prints "OUT hex" for each message sent and "IN hex" for each reply, then "RESULT n",
// "W n X n Y n Z n" and "V10 n".  Each receive gets the next reply; none left means that nothing arrives.
// The image defaults to zeros: as many as fileSize says, 65536 when the descriptor does not say either.
// 0: the script ran (whatever its result) and the conversation, if there is one, was kept to; 1 with a sentence on
// `err` otherwise.
int RunRun(const std::vector<std::string>& args, std::istream& in, TerminalText out, TerminalText err);

extern const char* const kRunHelp;

}  // namespace tonalith
