#pragma once

#include <string>

#include "data/data_records.h"
#include "services/careful_send.h"

namespace tonalith {

class WindowContext;

// The instrument takes this data: it is no memory that can only be read.
bool CanBeSent(const DataFile& data);

// Where the user wants to be asked whether what the instrument of this data holds shall be kept before a send, asks;
// the answer stands in `wishes`.  False: nothing shall be sent.
bool AskToKeep(WindowContext& context, const DataFile& data, const std::string& title, CarefulSend* wishes);

}  // namespace tonalith
