#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "data/data_records.h"

namespace tonalith {

inline constexpr int kChecksumTypes = 20;
// Of this program's own: A5 and the sum in front of each part of additive sounds, which follow each other from `start`
// on.
inline constexpr int kAdditiveSoundsSum = 64;

// Patches an image for the instrument, in place: channel (not for Roland), patch number, checksum.  Offsets outside the
// image are skipped.
void FormatNewFile(const Synth* synth, std::span<std::uint8_t> image);

// Computes checksum `type` (0 to 19, 64; others do nothing) over `count` bytes, pairs or groups from `start` and stores
// it at `offset`.  Reading outside the image counts as 0, storing outside is dropped.  Returns the CRC-32 for type 19
// (which stores nothing), else 0.
std::uint32_t CSum(std::span<std::uint8_t> image, int unused, int type, std::int64_t start, std::int64_t count,
                   std::int64_t offset);

enum class ChecksumVerdict { kOk, kBad, kNone };
const char* ChecksumVerdictText(ChecksumVerdict verdict);  // "ok", "bad", "none"

// Recomputes a checksum and compares it with what the image holds, without changing it.  kNone: type without a stored
// checksum (19, unknown ones), a block of type 14 that is not of the kind that can be finished, or nothing to sum.
ChecksumVerdict VerifyChecksum(std::span<const std::uint8_t> image, int type, std::int64_t start, std::int64_t count,
                               std::int64_t offset);
// By the descriptor; kNone when it has no checksum.
ChecksumVerdict VerifyChecksum(const Synth& synth, std::span<const std::uint8_t> image);

// Reflected CRC-32 (0xEDB88320, start and end inverted); a length below 1 returns crc.
std::uint32_t rc_crc32(std::uint32_t crc, const void* data, std::int64_t length);

// Sum and exclusive-or of bytes, fast.
std::uint32_t ByteSum(std::span<const std::uint8_t> bytes);
std::uint8_t ByteXor(std::span<const std::uint8_t> bytes);

// (-sum) AND 0x7F; bytes of 0x80 and more count as 0.
std::uint8_t RolandCheckSum(const std::uint8_t* data, std::int64_t n);
// Value of n 7-bit bytes, most significant first.
std::uint32_t RolandCalc(int n, const std::uint8_t* data);
// Writes value as n 7-bit bytes, most significant first.
void RolandWrite(int n, std::uint8_t* out, std::uint32_t value);

inline constexpr std::size_t kSY22VoiceSize = 574;
// The checksums of one voice (574 bytes) and of four voices (2296 bytes), in place; what is missing counts as 0.
void FormatSY22Voice(std::span<std::uint8_t> voice);
void FormatSY22VoiceBank(std::span<std::uint8_t> block);
// Steps of the same sum into an 8-bit accumulator: n single bytes, n pairs (high << 7) + low, and the blocks of 21, 27
// and 47 bytes.  FormatSY22V runs all blocks of a voice (169 bytes).
void FS1(const std::uint8_t* data, std::uint8_t* acc, int n);
void FS2(const std::uint8_t* data, std::uint8_t* acc, int n);
void FormatSY22I(const std::uint8_t* data, std::uint8_t* acc);
void FormatSY22A(const std::uint8_t* data, std::uint8_t* acc);
void FormatSY22B(const std::uint8_t* data, std::uint8_t* acc);
void FormatSY22V(const std::uint8_t* data, std::uint8_t* acc);

}  // namespace tonalith
