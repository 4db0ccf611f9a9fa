#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tonalith {

// The maker of a SysEx identification (one byte, or 00 and two more); empty when it is not one of those known here.
std::string_view MakerName(std::span<const std::uint8_t> id);

}  // namespace tonalith
