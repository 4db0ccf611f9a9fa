#include "studio/verify_rule.h"

#include <algorithm>
#include <vector>

#include "studio/coded_words.h"
#include "studio/recognize_rules.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kVerifiedEnd = 0xF7;

// "AT EACH"
bool ParseByte(std::string_view text, VerifyRule::Byte* out) {
  std::vector<std::uint32_t> numbers;
  if (!RuleNumbers(text, &numbers) || numbers.size() != 2 || numbers[1] == 0) return false;
  *out = {numbers[0], numbers[1]};
  return true;
}

std::int64_t ValueOf(const VerifyRule::Byte& byte, std::span<const std::uint8_t> image) {
  return byte.each == 0 || byte.at >= image.size() ? 0 : std::int64_t{byte.each} * image[byte.at];
}

}  // namespace

std::string ParseVerifyRule(std::string_view text, VerifyRule* out) {
  std::vector<std::uint32_t> numbers;
  if (!RuleNumbers(FirstPart(text), &numbers) || numbers.size() != 4)
    return "a checksum needs type, start, count, offset";
  VerifyRule verify;
  verify.type = numbers[0];
  verify.start = numbers[1];
  verify.count = numbers[2];
  verify.offset = numbers[3];
  const auto options = SplitOptions(text);
  for (std::size_t i = 1; i < options.size(); ++i) {
    const RuleOption& option = options[i];
    if (option.word == "or") {
      BytePattern byte;
      std::string error;
      if (!ParseBytePattern(option.rest, &byte, &error) || byte.size() != 1) return "\"or\" needs a byte";
      verify.always = byte.value.front();
    } else if (option.word == "more" || option.word == "behind") {
      if (!ParseByte(option.rest, option.word == "more" ? &verify.more : &verify.behind))
        return "\"" + option.word + "\" needs the place of a byte and what each of it stands for";
    } else if (option.word == "times" && option.rest == "any") {
      verify.times = 0;
    } else if (option.word == "times" || option.word == "step" || option.word == "size") {
      std::uint32_t& number = option.word == "times" ? verify.times : option.word == "step" ? verify.step : verify.size;
      if (!RuleNumber(option.rest, &number)) return "\"" + option.word + "\" needs a number";
      if (option.word == "times" && number == 0) return "\"times\" needs a number from 1 on";
    } else {
      return "unknown option \"" + option.word + "\"";
    }
  }
  if (verify.times == 0 && verify.step == 0) return "\"times any\" needs a step";
  if (std::string problem = CodedProblem("checksumType", verify.type); !problem.empty()) return problem;
  *out = verify;
  return {};
}

void VisitVerifyPlaces(const VerifyRule& rule, std::span<const std::uint8_t> image,
                       const std::function<bool(const VerifyPlace&)>& visit) {
  if (!rule.Varies()) {
    for (std::uint32_t i = 0; i < rule.times; ++i) {
      const std::int64_t shift = std::int64_t{rule.step} * i;
      if (!visit({i, rule.start + shift, rule.count, rule.offset + shift})) return;
    }
    return;
  }
  if (image.empty() || image.back() != kVerifiedEnd) return;
  const auto size = static_cast<std::int64_t>(image.size());
  std::int64_t more = ValueOf(rule.more, image);
  if (rule.size) {
    if (size < std::int64_t{rule.size}) return;
    more += size - std::int64_t{rule.size};
  }
  VerifyPlace place;
  place.start = rule.start + ValueOf(rule.behind, image);
  place.count = rule.count + more;
  // A sum behind what it counts goes along with its end.
  place.offset = rule.offset + ValueOf(rule.behind, image) + (rule.offset >= rule.start ? more : 0);
  for (; rule.times == 0 || place.turn < rule.times; ++place.turn) {
    if (std::max(place.start + place.count, place.offset + 1) >= size || !visit(place)) return;
    place.start += rule.step;
    place.offset += rule.step;
  }
}

}  // namespace tonalith
