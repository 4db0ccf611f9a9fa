#pragma once

#include <string>
#include <vector>

#include "cli/arguments.h"
#include "platform/result.h"

namespace tonalith {

class Session;
class ZKGrpDoc;

// A Set of a file, with what the user has to know of it on standard error.
Result OpenSet(Session& session, const std::string& path, ZKGrpDoc* set);
// "3" as a component of the Set.
Result ComponentOf(const ZKGrpDoc& set, const std::string& text, int* component);

// "--virtual" without a DUMP behind it stands for the contents that a simulated instrument has of its own.
std::vector<std::string> WithVirtualDump(std::vector<std::string> args);

// The components come into the Set's file, and what came stays; or they are sent.
Result GetSet(Session& session, const CliArguments& arguments);
Result SendSet(Session& session, const CliArguments& arguments);

}  // namespace tonalith
