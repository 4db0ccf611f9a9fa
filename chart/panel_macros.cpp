#include "chart/panel_macros.h"

#include <array>
#include <bit>
#include <optional>

#include "chart/message.h"
#include "data/data_records.h"
#include "parameters/patch_bytes.h"

namespace tonalith {

namespace {

std::string MacroNumber(std::int64_t number) {
  return std::to_string(number);
}

// Where one bit of a byte in a piece lies as it is sent, by what writing it changes.
std::optional<MacroBits> SentBit(const PatchPiece& piece, std::uint32_t byte, int bit) {
  constexpr int kHexDigits = 3, kDigitBits = 4;
  constexpr std::uint32_t kPeriod = 56;  // after so many bytes every packing repeats itself
  std::uint32_t index = byte - piece.first;
  if (piece.packing == kHexDigits)
    return MacroBits{piece.origin + 2 * index + (bit < kDigitBits ? 1 : 0), bit % kDigitBits, 1, true, true};
  const std::uint32_t periods = index / kPeriod ? index / kPeriod - 1 : 0;
  index -= periods * kPeriod;
  const std::uint32_t origin = piece.origin + periods * PackedSize(piece.packing, kPeriod);
  const PatchPiece alone{0, 2 * kPeriod, 0, piece.packing};
  Synth synth{};
  synth.voiceBytes = 1;
  synth.numVoices = 1;
  std::array<std::uint8_t, 8 * kPeriod> clear{}, set{};
  PatchBytes(clear, synth).Set(index, alone, 0);
  PatchBytes(set, synth).Set(index, alone, std::int64_t{1} << bit);
  std::optional<MacroBits> found;
  for (std::uint32_t i = 0; i < clear.size(); ++i) {
    const auto changed = static_cast<unsigned>(clear[i] ^ set[i]);
    if (!changed) continue;
    if (found || !std::has_single_bit(changed)) return std::nullopt;
    found = MacroBits{origin + i, std::countr_zero(changed), 1, true};
  }
  return found;
}

}  // namespace

std::vector<MacroBits> MacroBitsOf(const std::vector<FieldBits>& bits) {
  std::vector<MacroBits> out;
  for (const FieldBits& part : bits) {
    if (!part.piece.bytes) {
      out.push_back({part.byte, part.bit, part.width});
      continue;
    }
    for (int bit = part.bit; bit < part.bit + part.width; ++bit) {
      const auto sent = SentBit(part.piece, part.byte, bit);
      if (!sent) return {};
      const bool goesOn = !out.empty() && out.back().raw && out.back().byte == sent->byte &&
                          out.back().bit + out.back().width == sent->bit;
      if (goesOn)
        ++out.back().width;
      else
        out.push_back(*sent);
    }
  }
  return out;
}

std::string ReadByteText(const MacroBits& bits) {
  if (!bits.raw) return "FR Y " + MacroNumber(bits.byte) + "\n";
  const std::string read = "FG Y " + MacroNumber(bits.byte) + "\n";
  return bits.digit ? read + "MZ @ Y\nMZ > 6\nMZ * 9\nMY & 15\nMY + Z\n" : read;
}

std::string WriteByteText(const MacroBits& bits) {
  if (!bits.raw) return "FS Y " + MacroNumber(bits.byte) + "\n";
  const std::string digit = "MZ @ Y\nMZ + 6\nMZ > 4\nMZ * 7\nMY + Z\nMY + 48\n";
  return (bits.digit ? digit : "") + "F Y " + MacroNumber(bits.byte) + "\n";
}

std::string ReadBitsText(const std::vector<FieldBits>& bits) {
  std::string text = "MW = 0\n";
  int at = 0;
  for (const MacroBits& part : MacroBitsOf(bits)) {
    text += ReadByteText(part) + "MY > " + MacroNumber(part.bit) + "\nMY & " + MacroNumber((1 << part.width) - 1) +
            "\nMY < " + MacroNumber(at) + "\nMW | Y\n";
    at += part.width;
  }
  return text;
}

}  // namespace tonalith
