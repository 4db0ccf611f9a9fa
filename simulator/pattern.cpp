#include <algorithm>
#include <cctype>

#include "simulator/description.h"
#include "simulator/text_tools.h"

namespace tonalith {
namespace {

bool MatchToken(const PatternToken& token, std::uint8_t byte, int device, int deviceBase, Captures* captures) {
  switch (token.kind) {
    case PatternToken::Kind::kByte:
      return byte == token.value;
    case PatternToken::Kind::kDeviceNibble:
      return (byte & 0xF0) == token.value && (device < 0 || (byte & 0x0F) == (device & 0x0F));
    case PatternToken::Kind::kDeviceByte:
      return byte < 0x80 && (device < 0 || byte == 0x7F || byte == device + deviceBase);
    case PatternToken::Kind::kAny:
      return byte < 0x80;
    case PatternToken::Kind::kVariable:
      if (byte < token.low || byte > token.high) return false;
      if (captures != nullptr) (*captures)[token.name] = byte - token.low;
      return true;
  }
  return false;
}

std::optional<PatternToken> ParsePatternToken(std::string_view text) {
  PatternToken token;
  if (text == "?") {
    token.kind = PatternToken::Kind::kAny;
    return token;
  }
  if (text == "nn") {
    token.kind = PatternToken::Kind::kDeviceByte;
    return token;
  }
  if (text.size() == 2 && text[1] == 'n' && SimHexDigit(text[0]) >= 0) {
    token.kind = PatternToken::Kind::kDeviceNibble;
    token.value = static_cast<std::uint8_t>(SimHexDigit(text[0]) << 4);
    return token;
  }
  if (text.size() == 2 && SimHexDigit(text[0]) >= 0 && SimHexDigit(text[1]) >= 0) {
    token.value = static_cast<std::uint8_t>(SimHexDigit(text[0]) << 4 | SimHexDigit(text[1]));
    return token;
  }
  if (text.size() < 3 || text.front() != '{' || text.back() != '}') return std::nullopt;
  text = text.substr(1, text.size() - 2);
  token.kind = PatternToken::Kind::kVariable;
  const std::size_t colon = text.find(':');
  token.name = std::string(text.substr(0, colon));
  if (token.name.empty()) return std::nullopt;
  if (colon == std::string_view::npos) return token;
  const std::string_view limits = text.substr(colon + 1);
  if (limits.size() != 5 || limits[2] != '-') return std::nullopt;
  for (const std::size_t at : {0U, 1U, 3U, 4U})
    if (SimHexDigit(limits[at]) < 0) return std::nullopt;
  token.low = static_cast<std::uint8_t>(SimHexDigit(limits[0]) << 4 | SimHexDigit(limits[1]));
  token.high = static_cast<std::uint8_t>(SimHexDigit(limits[3]) << 4 | SimHexDigit(limits[4]));
  if (token.low > token.high) return std::nullopt;
  return token;
}

}  // namespace

bool MatchPattern(const WirePattern& pattern, std::span<const std::uint8_t> bytes, int device, int deviceBase,
                  Captures* captures) {
  if (bytes.size() < pattern.size()) return false;
  Captures found;
  for (std::size_t i = 0; i < pattern.size(); ++i)
    if (!MatchToken(pattern[i], bytes[i], device, deviceBase, &found)) return false;
  if (captures != nullptr)
    for (const auto& [name, value] : found) (*captures)[name] = value;
  return true;
}

std::vector<std::uint8_t> EmitPattern(const WirePattern& pattern, int device, int deviceBase,
                                      const Captures& captures) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(pattern.size());
  for (const PatternToken& token : pattern) {
    std::uint8_t byte = token.value;
    if (token.kind == PatternToken::Kind::kDeviceNibble) byte = static_cast<std::uint8_t>(token.value | (device & 15));
    if (token.kind == PatternToken::Kind::kDeviceByte) byte = static_cast<std::uint8_t>((device + deviceBase) & 0x7F);
    if (token.kind == PatternToken::Kind::kAny) byte = 0;
    if (token.kind == PatternToken::Kind::kVariable) {
      const auto found = captures.find(token.name);
      const int value = (found == captures.end() ? 0 : found->second) + token.low;
      byte = static_cast<std::uint8_t>(std::clamp<int>(value, token.low, token.high));
    }
    bytes.push_back(byte);
  }
  return bytes;
}

std::optional<WirePattern> ParsePattern(std::string_view text, std::string* problem) {
  WirePattern pattern;
  std::size_t at = 0;
  while (at < text.size()) {
    if (std::isspace(static_cast<unsigned char>(text[at])) != 0) {
      ++at;
      continue;
    }
    if (text[at] == '"') {
      const std::size_t end = text.find('"', at + 1);
      if (end == std::string_view::npos) {
        *problem = "a quotation mark is missing";
        return std::nullopt;
      }
      for (const char c : text.substr(at + 1, end - at - 1)) {
        PatternToken token;
        token.value = static_cast<std::uint8_t>(c);
        pattern.push_back(token);
      }
      at = end + 1;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && std::isspace(static_cast<unsigned char>(text[end])) == 0) ++end;
    const auto token = ParsePatternToken(text.substr(at, end - at));
    if (!token) {
      *problem = "\"" + std::string(text.substr(at, end - at)) + "\" is no part of a byte pattern";
      return std::nullopt;
    }
    pattern.push_back(*token);
    at = end;
  }
  if (pattern.empty()) {
    *problem = "the byte pattern is empty";
    return std::nullopt;
  }
  return pattern;
}

}  // namespace tonalith
