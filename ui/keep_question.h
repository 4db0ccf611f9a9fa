#pragma once

#include <string>

#include "data/data_records.h"
#include "services/careful_send.h"

namespace tonalith {

class WindowContext;

// Where the user wants to be asked whether what the instrument of this data holds shall be kept before a send, asks;
// the answer stands in `wishes`.  False: nothing shall be sent.
bool AskToKeep(WindowContext& context, const DataFile& data, const std::string& title, CarefulSend* wishes);

// Asks before a Get takes the place of patches that the instrument does not have: how many; none: true at once.
// Undo would bring them back, but nobody who works on a bank expects a Get to be what is undone.
bool AskToReplace(WindowContext& context, int unsent, const std::string& title);

}  // namespace tonalith
