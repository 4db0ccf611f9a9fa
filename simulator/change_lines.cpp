#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/protocol_reader.h"
#include "simulator/text_tools.h"
#include "simulator/wire_codecs.h"

namespace tonalith {

namespace {

constexpr int kLongestMessage = 64;
constexpr int kByteBits = 8, kMostBits = 56;

// {vSHIFT} and {vSHIFT@LEFT}
bool IsValue(const std::string& name) {
  const std::size_t at = name.find('@');
  const auto shift = ReadSimNumber(name.substr(1, at == std::string::npos ? at : at - 1));
  const auto left = at == std::string::npos ? std::optional(0) : ReadSimNumber(name.substr(at + 1));
  return shift && *shift >= 0 && *shift < kMostBits && left && *left >= 0 && *left < kByteBits;
}

}  // namespace

bool ProtocolReader::ChangeLine(ChangeInfo& change) {
  if (key_ == "area") {
    if (!change.fields.empty()) Fail("the area goes in front of its fields");
    return Area(value_, change.area);
  }
  if (key_ == "match") return ChangeMatch(change);
  if (key_ == "field") return ChangeField(change);
  if (key_ != "checksum") return false;
  const auto words = BlankSeparatedWords(value_);
  const auto kind = words.size() == 2 ? WholeSumOf(words[0]) : std::nullopt;
  const auto from = kind ? ReadSimNumber(words[1]) : std::nullopt;
  if (!from || *from < 0 || *from >= kLongestMessage) {
    Fail("expected a checksum of the whole message and the byte it counts from");
    return true;
  }
  change.sum = *kind;
  change.sumStart = *from;
  return true;
}

// "PATTERN + PATTERN"
bool ProtocolReader::ChangeMatch(ChangeInfo& change) {
  change.match.clear();
  for (const std::string_view text : SeparatedPieces(value_, '+')) {
    std::string problem;
    const auto pattern = ParsePattern(text, &problem);
    if (!pattern) {
      Fail(problem);
      return true;
    }
    for (const PatternToken& token : *pattern)
      if (token.name.starts_with('v') && !IsValue(token.name)) Fail("{" + token.name + "} is no part of a value");
    change.match.push_back(*pattern);
  }
  return true;
}

// "BYTE.BIT.WIDTH ...", `signed` in front
std::optional<ChangeInfo::Place> ProtocolReader::ChangePlace(std::string_view text) {
  const int size = out_.areas.empty() ? 0 : out_.areas[static_cast<std::size_t>(out_.changes.back().area)].itemBytes;
  ChangeInfo::Place place;
  int all = 0;
  for (const std::string_view word : BlankSeparatedWords(text)) {
    if (word == "signed" && place.bits.empty()) {
      place.isSigned = true;
      continue;
    }
    const auto parts = SeparatedPieces(word, '.');
    std::array<int, 3> numbers{};
    bool right = parts.size() == numbers.size();
    for (std::size_t i = 0; right && i < numbers.size(); ++i) {
      const auto number = ReadSimNumber(parts[i]);
      right = number && *number >= 0;
      if (right) numbers[i] = *number;
    }
    right =
        right && numbers[0] < size && numbers[2] > 0 && numbers[1] < kByteBits && numbers[2] <= kByteBits - numbers[1];
    if (!right || (all += numbers[2]) > kMostBits) {
      Fail("\"" + std::string(word) + "\" is no place in the area", "BYTE.BIT.WIDTH, the lowest bits first.");
      return std::nullopt;
    }
    place.bits.push_back({numbers[0], numbers[1], numbers[2]});
  }
  if (!place.bits.empty()) return place;
  Fail("a place is missing", "BYTE.BIT.WIDTH, the lowest bits first.");
  return std::nullopt;
}

// "KEY / PLACE / OPTION ...": the bytes of the key in hexadecimal, "-" for none.
bool ProtocolReader::ChangeField(ChangeInfo& change) {
  const auto pieces = SeparatedPieces(value_, '/');
  std::vector<std::uint8_t> key;
  bool right = pieces.size() >= 2;
  if (right && pieces[0] != "-")
    for (const std::string_view word : BlankSeparatedWords(pieces[0])) {
      const auto byte = ReadSimNumber("0x" + std::string(word));
      right = right && word.size() == 2 && byte && *byte >= 0;
      key.push_back(static_cast<std::uint8_t>(byte.value_or(0)));
    }
  if (!right) {
    Fail("expected the bytes of a key / a place");
    return true;
  }
  const auto place = ChangePlace(pieces[1]);
  if (!place) return true;
  ChangeInfo::Field field;
  field.place = *place;
  for (std::size_t i = 2; i < pieces.size(); ++i)
    if (!ChangeOption(pieces[i], &field)) return true;
  change.fields[key].push_back(std::move(field));
  return true;
}

// False, and it is said why, for one that is not known.
bool ProtocolReader::ChangeOption(std::string_view text, ChangeInfo::Field* field) {
  const auto words = BlankSeparatedWords(text);
  std::vector<int> numbers;
  for (std::size_t i = 1; i < words.size(); ++i)
    if (const auto number = ReadSimNumber(words[i])) numbers.push_back(*number);
  const bool plain = !words.empty() && numbers.size() + 1 == words.size();
  if (plain && words[0] == "less" && numbers.size() == 1) return field->less = numbers[0], true;
  if (plain && words[0] == "scaled" && numbers.size() == 2 && numbers[0] > 0) {
    field->count = numbers[0];
    field->first = numbers[1];
    return true;
  }
  constexpr std::string_view kWhen = "when ", kIn = " in ", kTo = "..";
  const std::size_t in = text.find(kIn), to = text.find(kTo, in == std::string_view::npos ? text.size() : in);
  if (text.starts_with(kWhen) && to != std::string_view::npos) {
    const auto low = ReadSimNumber(text.substr(in + kIn.size(), to - in - kIn.size()));
    const auto high = ReadSimNumber(text.substr(to + kTo.size()));
    const auto place = ChangePlace(text.substr(kWhen.size(), in - kWhen.size()));
    if (!place) return false;
    if (low && high) {
      field->when.push_back({*place, *low, *high});
      return true;
    }
  }
  Fail("\"" + std::string(text) + "\" is nothing a field can have",
       "less NUMBER, scaled COUNT FIRST, or when PLACE in LOW..HIGH.");
  return false;
}

}  // namespace tonalith
