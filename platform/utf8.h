#pragma once

#include <optional>
#include <string_view>

namespace tonalith {

// Takes one character off the front of `text`, which is not empty.  Where no valid UTF-8 stands there, one byte goes
// and there is no character.
std::optional<char32_t> TakeUtf8(std::string_view& text);

}  // namespace tonalith
