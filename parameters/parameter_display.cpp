#include "parameters/parameter_display.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kSemitones = 12;
constexpr const char* kNotes[kSemitones] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};

}  // namespace

std::string NoteText(std::int64_t note) {
  const std::int64_t octave = note >= 0 ? note / kSemitones : -((-note + kSemitones - 1) / kSemitones);
  return kNotes[note - octave * kSemitones] + std::to_string(octave - 1);
}

std::optional<std::int64_t> NoteOfText(std::string_view text) {
  for (int i = kSemitones - 1; i >= 0; --i) {
    const std::string_view name = kNotes[i];
    if (!AsciiStartsWithNoCase(text, name)) continue;
    const auto octave = ParseInteger(text.substr(name.size()));
    if (octave && *octave >= -100 && *octave <= 100) return (*octave + 1) * kSemitones + i;
  }
  return std::nullopt;
}

const std::string* ParameterDisplay::Special(std::int64_t value) const {
  for (const DisplayList::Values& special : special_)
    if (value >= special.first && value <= special.last) return &special.text;
  return nullptr;
}

std::int64_t ParameterDisplay::OrdinaryBefore(std::int64_t value) const {
  std::int64_t count = value - range_.min;
  for (const DisplayList::Values& special : special_)
    count -= std::clamp(value - special.first, std::int64_t{0}, special.last - special.first + 1);
  return count;
}

std::int64_t ParameterDisplay::NextOrdinary(std::int64_t value) const {
  for (const DisplayList::Values& special : special_)
    if (value >= special.first && value <= special.last) value = special.last + 1;
  return value;
}

std::string ParameterDisplay::NumberText(std::int64_t value) const {
  const std::int64_t shown = value * multiply_ + add_;
  std::string text = divide_ == 1 ? std::to_string(shown)
                                  : FormatFixed(static_cast<double>(shown) / static_cast<double>(divide_), decimals_);
  if (sign_ && shown > 0) text.insert(0, "+");
  if (!unit_.empty()) text += (unit_ == "%" ? "" : " ") + unit_;
  return text;
}

std::string ParameterDisplay::TextOf(std::int64_t value) const {
  if (value < range_.min || value > range_.max) return std::to_string(value);
  if (const std::string* text = Special(value)) return *text;
  if (form_ == Form::kList) {
    const std::int64_t index = OrdinaryBefore(value);
    if (list_ && index >= 0 && index < static_cast<std::int64_t>(list_->size()))
      return (*list_)[static_cast<std::size_t>(index)];
    return std::to_string(value);
  }
  if (form_ == Form::kNotes) return NoteText(value + noteOfZero_);
  if (form_ == Form::kFloat)
    return FormatReal(std::bit_cast<float>(static_cast<std::int32_t>(value))) + (unit_.empty() ? "" : " " + unit_);
  return NumberText(value);
}

std::optional<std::int64_t> ParameterDisplay::ValueOf(std::string_view text) const {
  text = TrimmedView(text);
  for (const DisplayList::Values& special : special_)
    if (AsciiEqualNoCase(special.text, text)) return special.first;
  if (!unit_.empty() && AsciiEndsWithNoCase(text, unit_))
    text = TrimmedView(text.substr(0, text.size() - unit_.size()));
  if (form_ == Form::kFloat) {
    const auto real = ParseReal(text);
    if (!real || std::abs(*real) > static_cast<double>(std::numeric_limits<float>::max())) return std::nullopt;
    return std::bit_cast<std::int32_t>(static_cast<float>(*real));
  }
  if (form_ == Form::kNumber) {
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto typed = ParseReal(text);
    if (!typed || !std::isfinite(*typed)) return std::nullopt;
    const double value =
        (*typed * static_cast<double>(divide_) - static_cast<double>(add_)) / static_cast<double>(multiply_);
    const double slack = 0.5;
    if (value < static_cast<double>(range_.min) - slack || value > static_cast<double>(range_.max) + slack)
      return std::nullopt;
    return std::clamp(static_cast<std::int64_t>(std::llround(value)), range_.min, range_.max);
  }
  if (form_ == Form::kNotes) {
    if (const auto note = NoteOfText(text)) {
      const std::int64_t value = *note - noteOfZero_;
      return value >= range_.min && value <= range_.max ? std::optional(value) : std::nullopt;
    }
  }
  if (form_ == Form::kList) {
    std::int64_t value = range_.min - 1;
    for (const std::string& entry : *list_) {
      value = NextOrdinary(value + 1);
      if (AsciiEqualNoCase(entry, text)) return value;
    }
  }
  const auto number = ParseInteger(text);
  return number && *number >= range_.min && *number <= range_.max ? number : std::nullopt;
}

std::vector<std::string> ParameterDisplay::Texts() const {
  constexpr std::int64_t kMost = 65536;
  std::vector<std::string> texts;
  if (range_.max - range_.min >= kMost) return texts;
  if (form_ != Form::kList && OrdinaryBefore(range_.max + 1) > 0) return texts;
  for (std::int64_t value = range_.min; value <= range_.max; ++value) texts.push_back(TextOf(value));
  return texts;
}

bool ParameterDisplay::IsPlainNumber(std::int64_t* multiplier, std::int64_t* offset) const {
  if (form_ != Form::kNumber || !special_.empty() || divide_ != 1) return false;
  *multiplier = multiply_;
  *offset = add_;
  return true;
}

bool ParameterDisplay::IsNotes(std::int64_t* first) const {
  *first = noteOfZero_;
  return form_ == Form::kNotes && special_.empty();
}

}  // namespace tonalith
