#pragma once

#include "platform/result.h"

namespace tonalith {

class CliArguments;
class Session;

// library add FILE SOURCE...
Result AddToLibrary(Session& session, const CliArguments& arguments);

}  // namespace tonalith
