// What --help says about the commands of the table.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "platform/terminal_text.h"

namespace tonalith {

// "--help", "-h".
bool IsHelpWord(const std::string& word);
// Takes a help word from the arguments of a command: "--help" anywhere, "-h" as the first or second; false: none is
// there.
bool TakeHelpWord(std::vector<std::string>* args);

// The words that may follow a command and say what it does ("check" of "module check"), as its forms have them.
std::vector<std::string> CliVerbs(const CliCommand& command);

// The list of commands.
void PrintCliOverview(const std::vector<CliCommand>& commands, TerminalText out);
// All about a command, or about the form that its first argument names.  The exit status: 1 and a sentence when the
// command has such words and this is none.
int PrintCliHelp(const CliCommand& command, const std::vector<std::string>& args, CliEnvironment& environment);

}  // namespace tonalith
