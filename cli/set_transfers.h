#pragma once

#include <string>
#include <vector>

#include "cli/arguments.h"
#include "platform/result.h"

namespace tonalith {

class Session;

// "--virtual" without a DUMP behind it stands for the contents that a simulated instrument has of its own.
std::vector<std::string> WithVirtualDump(std::vector<std::string> args);

// The components come into the Set's file, and what came stays; or they are sent.
Result GetSet(Session& session, const CliArguments& arguments);
Result SendSet(Session& session, const CliArguments& arguments);

}  // namespace tonalith
