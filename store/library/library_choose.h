#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/result.h"
#include "store/library/library_search.h"

namespace tonalith {

// A number or a text (UTF-8) of a command.
using LibraryArgument = std::variant<std::int64_t, std::string>;

// The arguments of the automation command "Choose" as criteria: "Duplicates", "SimilarSounds" with a percentage, "Keys"
// with keywords and operators, "Tags" with a text, "SoundsWithName" with a text, "ByteEqual" with an offset and a value
// or an offset alone, and the options.
Result ReadChoose(const std::vector<LibraryArgument>& arguments, LibraryCriteria* criteria);

}  // namespace tonalith
