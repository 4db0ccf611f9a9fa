#include "data/hex_text.h"

namespace tonalith {

namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool IsSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',';
}

}  // namespace

std::string HexText(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 3);
  for (const std::uint8_t b : bytes) {
    if (!out.empty()) out += ' ';
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> ParseHex(std::string_view text, std::string* error) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  std::size_t i = 0;
  while (i < text.size()) {
    if (IsSeparator(text[i])) {
      ++i;
      continue;
    }
    const int high = HexValue(text[i]);
    const int low = i + 1 < text.size() ? HexValue(text[i + 1]) : -1;
    if (high < 0 || low < 0) {
      if (error) *error = "There is no pair of hex digits at character " + std::to_string(i + 1) + ".";
      return std::nullopt;
    }
    bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    i += 2;
  }
  return bytes;
}

std::optional<std::int64_t> ParseNumber(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  std::int64_t base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty() || text.size() > 15) return std::nullopt;
  std::int64_t value = 0;
  for (const char c : text) {
    const int digit = HexValue(c);
    if (digit < 0 || digit >= base) return std::nullopt;
    value = value * base + digit;
  }
  return negative ? -value : value;
}

}  // namespace tonalith
