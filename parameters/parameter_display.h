#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "parameters/field_place.h"
#include "parameters/notation_fault.h"

namespace tonalith {

// Texts that several displays share, and those that belong to certain values.
struct DisplayList {
  struct Values {
    std::int64_t first = 0, last = 0;
    std::string text;
  };
  std::string name;
  std::string source;  // the notation: A, B, 5 = C
  std::shared_ptr<const std::vector<std::string>> texts;
  std::vector<Values> values;
};
DisplayList ParseDisplayList(std::string_view name, std::string_view items);

// How the values of a parameter read on the instrument's display.  The notation is a list of items with commas between;
// a text with a comma in it stands in quotes.
//
//   16', 8', 4'              a text for each value of the range; `-7..+7`, `A..H` or `I01..I32` stand for all in
//                            between
//   0 = off, 5..9 = hold     these values have texts of their own, in front of any of the others
//   from 1                   counts from 1: the first value without a text of its own
//   127 - value, value * 5 ms, value / 2, (value - 64) * 3 %
//   semitones                a unit alone: the number with its unit
//   notes, notes from C-2    names of notes, value 0 being C-1 or the note said
//   list WAVES               the texts of a list, which may name values: `list PAN = 0 = left, 64 = centre`
//   as OSC 1 waveform        as another parameter; also "text of OSC 1 waveform"
//   (nothing)                the number
// Numbers of ranges that reach below 0 carry a sign.
class ParameterDisplay {
 public:
  // The text of a value; outside the range its number.
  std::string TextOf(std::int64_t value) const;
  // The value whose text this is (case does not matter), or whose number comes next to the one typed.
  std::optional<std::int64_t> ValueOf(std::string_view text) const;

  // The texts of all values when they are texts and not numbers (at most 65536), else empty.
  std::vector<std::string> Texts() const;
  // True when the numbers shown are the value times `multiplier` plus `offset`, whole and without any other text.
  bool IsPlainNumber(std::int64_t* multiplier, std::int64_t* offset) const;
  bool IsNotes(std::int64_t* first) const;
  const std::string& unit() const { return unit_; }
  // How many texts it keeps for itself.
  std::size_t weight() const { return special_.size() + (list_ && list_.use_count() == 1 ? list_->size() : 0); }

 private:
  friend class DisplayReader;
  enum class Form { kNumber, kList, kNotes, kFloat };

  std::string NumberText(std::int64_t value) const;
  const std::string* Special(std::int64_t value) const;
  // Place of a value among those without a text of their own.
  std::int64_t OrdinaryBefore(std::int64_t value) const;

  // The first value from this one on without a text of its own; may lie behind the range.
  std::int64_t NextOrdinary(std::int64_t value) const;

  FieldRange range_;
  Form form_ = Form::kNumber;
  std::vector<DisplayList::Values> special_;  // by value; no two meet
  std::shared_ptr<const std::vector<std::string>> list_;
  // shown = (value * multiply_ + add_) / divide_
  std::int64_t multiply_ = 1, add_ = 0, divide_ = 1;
  int decimals_ = 0;
  bool sign_ = false;
  std::int64_t noteOfZero_ = 0;  // C-1 is 0
  std::string unit_;
};

// What a display may refer to.
struct DisplayNames {
  // Null when there is none of that name.
  std::function<const DisplayList*(std::string_view name)> list;
  // The display of another parameter; null when there is none of that name.
  std::function<std::shared_ptr<const ParameterDisplay>(std::string_view name)> display;
};

std::optional<NotationFault> ParseParameterDisplay(std::string_view text, const FieldRange& range, bool isFloat,
                                                   const DisplayNames& names, ParameterDisplay* out);

// The name of the parameter that a display is taken from ("as NAME", "text of NAME"); empty when it is none of these.
std::string_view DisplayIsAs(std::string_view text);

// The parts of a text between commas that stand outside quotes, without blanks around them; with the byte each begins
// at.
std::vector<std::pair<std::size_t, std::string_view>> SplitDisplayItems(std::string_view text);
// A text without its quotes.
std::string UnquotedItem(std::string_view item);
// A text with quotes when it needs them in a list.
std::string QuotedItem(std::string_view item);

// "C3", "F#-1": value 0 is C-1, 60 C4.
std::string NoteText(std::int64_t note);
std::optional<std::int64_t> NoteOfText(std::string_view text);

}  // namespace tonalith
