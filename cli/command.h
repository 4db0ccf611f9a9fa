// What a command of the command line tool is.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "platform/cancel_token.h"
#include "platform/folders.h"
#include "platform/terminal_text.h"

namespace tonalith {

// What a command works with.  The streams must outlive it.
struct CliEnvironment {
  std::istream& in;
  TerminalText out;
  TerminalText err;
  Folders folders;              // of the user, or below --config-root
  bool canAsk = false;          // standard input is a terminal: questions may be asked there
  bool showsProgress = false;   // standard error is a terminal
  bool catchesSignals = false;  // an interrupt ends a transfer instead of the process
  CancelToken interrupt{};      // ends a transfer, as an interrupt does
};

enum class CliGroup { Instruments, Files, Modules, Scripts, Bytes };

// A line of the command table.
struct CliCommand {
  const char* name;
  CliGroup group;
  const char* summary;       // what it does, for the list of commands
  std::string (*forms)();    // how it is called, one line a form
  std::string (*details)();  // everything else that --help says: options, examples
  // `args`: the words behind the command.  0: it is done; 1: it is not, and a sentence on standard error says why.
  std::function<int(CliEnvironment& environment, const std::vector<std::string>& args)> run;
};

// One sentence on standard error, as one line, and the forms of the command where they help; the result is the exit
// status 1.
int CliFailure(TerminalText err, std::string_view command, std::string_view sentence, std::string_view forms = {});

// "2 errors, no warnings".
std::string CountedRemarks(std::size_t errors, std::size_t warnings);
// "1 trial", "no trials", "3 trials".
std::string Counted(std::size_t count, const std::string& what);

}  // namespace tonalith
