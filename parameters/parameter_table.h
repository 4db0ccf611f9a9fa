#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "parameters/field_place.h"
#include "parameters/parameter_condition.h"
#include "parameters/parameter_display.h"
#include "platform/result.h"

namespace tonalith {

// One parameter of a data type.
struct Parameter {
  std::string name;     // "OSC 1 octave", UTF-8
  std::string section;  // box of the panel it belongs to; may be empty
  FieldPlace place;
  FieldRange range;
  std::int64_t defaultValue = 0;
  std::string shown;  // the notation of the display
  std::shared_ptr<const ParameterDisplay> display;
  std::string number;  // as the instrument's pages count it; may be empty
  int change = -1;     // message of ParameterTable::changes that changes it; -1: none
  int condition = -1;  // of ParameterTable::conditions: when it is there; -1: always

  std::string TextOf(std::int64_t value) const { return display->TextOf(value); }
};

// All parameters of a data type, in the order of its chart.
struct ParameterTable {
  bool sevenBit = false;           // the bytes of the patch have bits 0 to 6 only
  std::vector<PatchPiece> pieces;  // what is packed otherwise, in the order of its bytes
  std::vector<Parameter> parameters;
  std::vector<DisplayList> lists;
  std::vector<std::string> changes;  // messages in the notation of charts
  std::vector<ParameterCondition> conditions;

  // Null when there is none of that name.
  const Parameter* Find(std::string_view name) const;
  // Null for one that is always there.
  const ParameterCondition* ConditionOf(const Parameter& parameter) const;
  // The patch has the parameter: its condition holds, and its place lies inside.  Else what stands there is something
  // else, or nothing.
  bool IsIn(const Parameter& parameter, const ConstPatchBytes& patch) const;
};

// What a row says, as text.
struct ParameterRow {
  std::string place, name, range;
  std::string shown{}, number{}, section{};
  int change = -1;
  std::optional<std::int64_t> defaultValue{};  // else the value of the range next to 0
  std::string when{};                          // the notation of a condition; empty: always
};

// Where a row is wrong.
struct ParameterFault {
  enum class Cell { kPlace, kName, kRange, kShown, kNumber, kWhen };
  std::size_t row = 0;  // in the order they were added
  Cell cell = Cell::kPlace;
  NotationFault fault;
  std::optional<std::size_t> other = {};  // the row that it does not go with
};

// Makes a table of rows.  Rows that are wrong are left out.
class ParameterTableBuilder {
 public:
  explicit ParameterTableBuilder(bool sevenBit) { table_.sevenBit = sevenBit; }

  // Pieces go before the rows that lie in them, in order.
  void AddPiece(const PatchPiece& piece) { table_.pieces.push_back(piece); }

  // "A, B, C"; a list of the same name before is replaced.
  void AddList(const std::string& name, std::string_view texts);
  // The number of a message in the table.
  int AddChange(const std::string& message);
  void Add(const ParameterRow& row, const FieldBase& base = {});
  // Ends the table.  Of a patch of so many bytes; 0: not known.
  ParameterTable Take(std::uint32_t patchBytes, std::vector<ParameterFault>* faults);

 private:
  void Display(std::size_t index, int depth);
  int AddCondition(std::size_t index, const std::string& when, const FieldBase& base);
  void ResolveConditions();
  bool Exclude(std::size_t a, std::size_t b) const;
  void FindOverlaps(std::uint32_t patchBytes);
  void Fault(std::size_t index, ParameterFault::Cell cell, NotationFault fault);

  ParameterTable table_;
  std::map<std::string, std::size_t, std::less<>> byName_;
  std::map<std::string, int> changeOf_;
  std::map<std::string, int> conditionOf_;
  std::vector<std::size_t> rowOf_;  // row of a parameter
  std::vector<bool> failed_;
  std::vector<ParameterFault> faults_;
  std::size_t rows_ = 0;
  std::size_t texts_ = 0;  // of all displays
};

// --- as a file of a package
// --------------------------------------------------------------------------------------------- Tab separated lines.
// The first is "Tonalith parameters" and the version 1, then
//   bits    7 or 8 (of a byte of the patch)
//   piece   number of its first byte, how many, where they begin in the image, PACKING as a number of the words table
//   list    NAME, TEXTS
//   change  MESSAGE
//   parameter  PLACE, NAME, RANGE, SHOWN, NUMBER, SECTION, number of the change message from 1 or nothing, DEFAULT, and
//              the CONDITION of one that is not always there

std::string ParameterTableText(const ParameterTable& table);
// Failures name the line or the parameter.
Result ReadParameterTable(std::string_view text, ParameterTable* out);
// Name of the file of a data type.
std::string ParameterTableName(int driverId);

// The table for people and spreadsheets: a line a parameter with data, place, name, range, shown, number, section and
// condition, tabs between.
std::string ParameterTableSheet(const ParameterTable& table, const std::string& data);

}  // namespace tonalith
