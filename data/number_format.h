// How the number of a patch is shown: "A11", "1-64", "I05".  A new format is a row of the table in number_format.cpp.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// 0 to 27 are those of the file format; these are our own.  A number in no table means plain numbers from 1.
inline constexpr int kNumberFormatMemories = 64;     // IA-1 to ID-8, iA-1 ..., EA-1 ..., eA-1 ...
inline constexpr int kNumberFormatGroups = 65;       // A11 to A88, B11 ...
inline constexpr int kNumberFormatLetters = 66;      // A0 to A127, B0 ...
inline constexpr int kNumberFormatUserFactory = 67;  // U1 P1 to U4 P128, F1 P1 ...
inline constexpr int kNumberFormatBanks = 68;        // 1-1 to 1-128, 2-1 ...
inline constexpr int kNumberFormatSixteens = 69;     // B-1 ...
inline constexpr int kNumberFormatInternal = 70;     // I00 to I99
inline constexpr int kNumberFormatPerformance = 71;  // PF1, PF2 ...
inline constexpr int kNumberFormatThreeDigits = 72;  // 000 to 999
inline constexpr int kNumberFormatEights = 73;       // A1 to A8, B1 ...
inline constexpr int kNumberFormatFromZero = 74;     // 0, 1 ...
inline constexpr int kNumberFormatBanksOfZero = 75;  // 0-000 to 0-127, 1-000 ...
inline constexpr int kNumberFormatHundreds = 76;     // B-00 ...
inline constexpr int kLastNumberFormat = 76;
// What a data type without a number format gets.
inline constexpr int kNumberFormatPlain = 28;

// Every number of the table, in order, to choose from; and what a choice is called, null for a number in no table.
std::vector<int> NumberFormats();
const char* NumberFormatName(int number);

// Size of an `out` buffer that takes any name or number text.
inline constexpr std::size_t kNameBuffer = 264;

// The patch number as the instrument's panel shows it, for slot `patch` (from 0); out takes kNameBuffer bytes.
void MakeNumberStr(const Synth* synth, char* out, int patch);
std::string MakeNumberStr(const Synth& synth, int patch);

}  // namespace tonalith
