#pragma once

#include <cstdint>
#include <vector>

namespace peer {

// F0, pseudo-random data bytes that differ everywhere, F7.
inline std::vector<std::uint8_t> Pattern(std::size_t size, unsigned seed) {
  std::vector<std::uint8_t> bytes(size);
  std::uint32_t state = seed * 2654435761U + 12345U;
  for (auto& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<std::uint8_t>(state >> 25);
  }
  if (size > 1) {
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
  }
  return bytes;
}

inline std::uint32_t CrcStep(std::uint32_t crc, std::uint8_t byte) {
  crc = ~crc ^ byte;
  for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1U) ? 0xEDB88320U : 0U);
  return ~crc;
}

inline std::uint32_t Crc(const std::vector<std::uint8_t>& bytes) {
  std::uint32_t crc = 0;
  for (const auto byte : bytes) crc = CrcStep(crc, byte);
  return crc;
}

}  // namespace peer
