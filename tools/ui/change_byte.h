#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "tools/data_listing.h"

namespace tonalith {

class Document;
class Prompts;

// "16 (0x0010)".
std::string PlaceText(std::size_t position);

// Asks for the value of a listed byte and writes it into the document, as one entry of its history.  `document` gives
// null, and `listing` another listing, when the data went while the question was open.  What there is to say in the
// status line, UTF-8; empty: nothing was changed.
std::string AskForByte(const std::function<Document*()>& document, const std::function<DataListing()>& listing,
                       std::size_t position, Prompts& prompts);

}  // namespace tonalith
