#pragma once

#include <string>

#include "data/data_records.h"
#include "services/careful_send.h"

namespace tonalith {

class WindowContext;

// Where the user wants to be asked whether what the instrument of this data holds shall be kept before a send, asks;
// the answer stands in `wishes`.  False: nothing shall be sent.
bool AskToKeep(WindowContext& context, const DataFile& data, const std::string& title, CarefulSend* wishes);

}  // namespace tonalith
