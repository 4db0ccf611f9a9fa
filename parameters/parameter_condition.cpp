#include "parameters/parameter_condition.h"

#include <algorithm>

#include "parameters/parameter_display.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kForm[] = "voice mode in 0..2, or byte 59 in 3..6";
constexpr std::string_view kIn = " in ";
constexpr std::string_view kByte = "byte ";
constexpr std::string_view kDots = "..";

bool SameBits(const FieldPlace& a, const FieldPlace& b) {
  return std::equal(
      a.bits.begin(), a.bits.end(), b.bits.begin(), b.bits.end(),
      [](const FieldBits& x, const FieldBits& y) { return x.byte == y.byte && x.bit == y.bit && x.width == y.width; });
}

std::optional<std::int64_t> PlainNumber(std::string_view text) {
  constexpr std::int64_t kLimit = std::int64_t{1} << 32;
  const auto number = ParseInteger(text);
  return number && *number >= -kLimit && *number <= kLimit ? number : std::nullopt;
}

// `5`, `-3`, `2-1`
std::optional<std::int64_t> NumberOf(std::string_view text) {
  const std::size_t minus = text.rfind('-');
  if (minus == std::string_view::npos || minus == 0) return PlainNumber(text);
  const auto first = PlainNumber(text.substr(0, minus)), less = PlainNumber(text.substr(minus + 1));
  if (!first || !less) return std::nullopt;
  return *first - *less;
}

std::optional<FieldRange> RangeOf(std::string_view text) {
  const std::size_t dots = text.find(kDots);
  const auto first = NumberOf(text.substr(0, dots));
  const auto last = dots == std::string_view::npos ? first : NumberOf(text.substr(dots + kDots.size()));
  if (!first || !last || *first > *last) return std::nullopt;
  return FieldRange{*first, *last};
}

std::string TextOf(const FieldRange& range) {
  return std::to_string(range.min) + (range.min == range.max ? "" : std::string(kDots) + std::to_string(range.max));
}

}  // namespace

bool ParameterCondition::Test::operator==(const Test& other) const {
  return name == other.name && SameBits(place, other.place) && range.min == other.range.min &&
         range.max == other.range.max;
}

bool ParameterCondition::Holds(const ConstPatchBytes& patch) const {
  return std::all_of(tests.begin(), tests.end(), [&](const Test& test) {
    const std::int64_t value = test.place.Read(patch);
    return value >= test.range.min && value <= test.range.max;
  });
}

bool ParameterCondition::Excludes(const ParameterCondition& other) const {
  for (const Test& a : tests)
    for (const Test& b : other.tests)
      if (SameBits(a.place, b.place) && a.place.bias == b.place.bias && a.place.isSigned == b.place.isSigned &&
          (a.range.max < b.range.min || b.range.max < a.range.min))
        return true;
  return false;
}

std::string ParameterCondition::Text() const {
  std::string text;
  for (const Test& test : tests) {
    std::string what = test.name.empty() ? std::string(kByte) + test.place.text : QuotedItem(test.name);
    if (!test.name.empty() && what.starts_with(kByte)) what = "\"" + what + "\"";
    text += (text.empty() ? "" : ", ") + what + std::string(kIn) + TextOf(test.range);
  }
  return text;
}

std::string ParameterCondition::PlacesText() const {
  ParameterCondition places = *this;
  for (Test& test : places.tests) {
    test.name.clear();
    // What is stored: a place by itself has a sign where the range reaches below 0, and nothing that is taken off.
    test.range.min = std::max(test.range.min, test.place.lowest()) + test.place.bias;
    test.range.max = std::min(test.range.max, test.place.highest()) + test.place.bias;
  }
  return places.Text();
}

std::optional<NotationFault> ParseParameterCondition(std::string_view text, bool sevenBit, const FieldBase& base,
                                                     ParameterCondition* out) {
  for (const auto& [at, item] : SplitDisplayItems(text)) {
    const std::size_t in = item.rfind(kIn);
    const auto range = in == std::string_view::npos ? std::nullopt : RangeOf(TrimmedView(item.substr(in + kIn.size())));
    if (!range) return NotationFault{at, "the condition does not read", kForm};
    ParameterCondition::Test test;
    const std::string_view what = TrimmedView(item.substr(0, in));
    if (what.starts_with(kByte)) {
      if (auto fault = ParseFieldPlace(what.substr(kByte.size()), sevenBit, base, &test.place)) {
        fault->at += at + kByte.size();
        return fault;
      }
      // The sign comes from the range.
      if (auto fault = ParseFieldRange(std::to_string(range->min) + std::string(kDots) + std::to_string(range->max),
                                       &test.place, &test.range))
        return NotationFault{at + in + kIn.size(), fault->text, fault->right};
    } else {
      test.name = UnquotedItem(what);
      if (test.name.empty()) return NotationFault{at, "the condition does not read", kForm};
    }
    test.range = *range;
    out->tests.push_back(std::move(test));
  }
  if (out->tests.empty()) return NotationFault{0, "the condition does not read", kForm};
  return std::nullopt;
}

std::string ConditionWithNames(std::string_view text, const std::function<std::string(const std::string&)>& other) {
  std::string result;
  for (const auto& [at, item] : SplitDisplayItems(text)) {
    const std::size_t in = item.rfind(kIn);
    const std::string_view what = TrimmedView(item.substr(0, in));
    const bool named = in != std::string_view::npos && !what.starts_with(kByte);
    const std::string name = named ? other(UnquotedItem(what)) : std::string();
    result += result.empty() ? "" : ", ";
    result += name.empty() ? std::string(item) : QuotedItem(name) + std::string(item.substr(in));
  }
  return result;
}

}  // namespace tonalith
