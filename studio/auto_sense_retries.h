// How often and how patiently AutoSense asks.  How often an identity is asked for stands in the module ("Repeats" of
// its section "Device Inquiry"), where it says so.
#pragma once

#include <cstdint>

namespace tonalith {

inline constexpr int kAutoSenseRepeats = 1;  // sweeps over all devices for an identity, where the module is silent
inline constexpr int kAutoSenseMostRepeats = 100;

// A request for data on one pair of ports and one channel.
inline constexpr int kAutoSenseTriesOfPair = 2;             // the second only when something came that was no data
inline constexpr std::int64_t kAutoSenseQuickAllMs = 7000;  // what the first, quick pass over all channels may take
inline constexpr std::int64_t kAutoSenseQuickLeastMs = 180, kAutoSenseQuickMostMs = 420;  // of one silent try in it
inline constexpr std::int64_t kAutoSensePatientMs = 3000;    // a silent try of the second, patient pass
inline constexpr std::int64_t kAutoSenseLongestMs = 30'000;  // a try in which data comes
// What comes late must not be taken for the next answer: silence this long is waited for, so many times at most.
inline constexpr std::int64_t kAutoSenseSettleMs = 250;
inline constexpr int kAutoSenseSettleRounds = 20;

}  // namespace tonalith
