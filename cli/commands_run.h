#pragma once

#include <string>
#include <vector>

#include "cli/command.h"

namespace tonalith {

// run FILE|- [OPTIONS]: see kRunHelp and RunDetails.
// Compiles a script (or takes bytecode, as hex pairs ending in FF or as raw bytes) and runs it in virtual time on a
// scripted wire.  Prints "OUT hex" for each message sent and "IN hex" for each reply, then, after each run, "RESULT n",
// "W n X n Y n Z n" and "V10 n".  Each receive gets the next reply; none left means that nothing arrives.
// The image defaults to zeros: as many as fileSize says, 65536 when the descriptor does not say either.
// 0: every run had a result of 0 or more, and the conversation, if there is one, was kept to; 1 with a sentence on
// standard error otherwise.
int RunRun(CliEnvironment& environment, const std::vector<std::string>& args);

std::string RunDetails();

}  // namespace tonalith
