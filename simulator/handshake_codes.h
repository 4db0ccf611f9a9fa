#pragma once

#include <cstdint>

namespace tonalith {

// Commands that the two sides of a transfer with handshake say to each other; several makers use the same ones.
inline constexpr std::uint8_t kWantToSend = 0x40;
inline constexpr std::uint8_t kAcknowledge = 0x43;
inline constexpr std::uint8_t kErrorSignal = 0x4E;
inline constexpr std::uint8_t kRejection = 0x4F;
// A transfer in which nobody has spoken for so long is over (microseconds).
inline constexpr std::int64_t kTalkTimeoutUs = 10'000'000;

}  // namespace tonalith
