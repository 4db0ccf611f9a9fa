#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tonalith {

// The SHA-256 of bytes as 64 lower-case hexadecimal digits.
std::string Sha256Hex(std::span<const std::uint8_t> bytes);

}  // namespace tonalith
