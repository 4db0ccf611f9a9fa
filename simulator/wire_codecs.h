#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/description.h"

namespace tonalith {

// The codings of the simulated instruments.  They are written from what the instruments do and share nothing with the
// program's own packing and checksum code, so that each checks the other.

// By the names that descriptions use.
std::optional<BodyPacking> BodyPackingOf(std::string_view name, std::string* known = nullptr);
std::optional<NameCode> NameCodeOf(std::string_view name, std::string* known = nullptr);

std::size_t PackedSize(BodyPacking packing, std::size_t bytes);
// How many bytes so many packed ones are; nullopt when no number of bytes packs to that.
std::optional<std::size_t> UnpackedSize(BodyPacking packing, std::size_t packed);
std::vector<std::uint8_t> PackBody(BodyPacking packing, std::span<const std::uint8_t> bytes);
// `bytes`: how many unpacked bytes there must be; nullopt when the size does not fit.
std::optional<std::vector<std::uint8_t>> UnpackBody(BodyPacking packing, std::span<const std::uint8_t> packed,
                                                    std::size_t bytes);

std::uint8_t NegativeSum(std::span<const std::uint8_t> bytes);  // sum plus checksum is 0 modulo 128
std::uint8_t KawaiSum(std::span<const std::uint8_t> bytes);     // (sum + A5h) AND 7Fh
std::uint8_t PlainSum(std::span<const std::uint8_t> bytes);     // sum AND 7Fh
// Sums over everything from one place of a message on, by the names that descriptions use.
std::optional<SumKind> WholeSumOf(std::string_view name);
bool IsWholeSum(SumKind kind);
std::uint8_t WholeSumByte(SumKind kind, std::span<const std::uint8_t> bytes);

// A voice of the SY22 ends with an 8-bit sum of its own: the negated sum of its single bytes and of its pairs, which
// count high * 128 + low.
inline constexpr std::size_t kSy22Bytes = 574;
std::uint8_t Sy22Sum(std::span<const std::uint8_t> voice);
// Brings the sum inside an item up to date, and tells whether it is right (always without such a sum).
void StoreOwnSum(OwnSum kind, std::span<std::uint8_t> item);
bool OwnSumIsRight(OwnSum kind, std::span<const std::uint8_t> item);

// A name as the panel shows it, trailing blanks removed, and back (exactly `length` bytes).
std::string DecodeName(NameCode code, std::span<const std::uint8_t> bytes);
std::vector<std::uint8_t> EncodeName(NameCode code, std::string_view name, std::size_t length);

// "I-{b1}{k1}" and the like: n counts items, b banks of `per` items, k items within the bank, g groups of `per` banks,
// r banks within the group; 0 or 1 is the first number, A counts in letters; ":2" pads with zeros.
std::string FormatPanelNumber(std::string_view format, int item, int per);

// All complete SysEx messages of a raw dump or a Standard MIDI File, real time bytes removed.
std::vector<std::vector<std::uint8_t>> ScanSysEx(std::span<const std::uint8_t> data);

}  // namespace tonalith
