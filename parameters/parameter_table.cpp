#include "parameters/parameter_table.h"

#include <algorithm>
#include <unordered_map>

#include "parameters/tabbed_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kMostReferences = 32;      // displays taken from displays
constexpr std::uint32_t kMostBits = 16;  // of a logical byte
constexpr std::size_t kMostRows = 65536;
constexpr std::size_t kMostTexts = 1u << 20;
constexpr char kKind[] = "parameters";
constexpr std::size_t kRowCells = 9;    // one more with a condition
constexpr std::size_t kMostOnBit = 64;  // parameters that exclude one another

}  // namespace

const Parameter* ParameterTable::Find(std::string_view name) const {
  const auto found =
      std::find_if(parameters.begin(), parameters.end(), [&](const Parameter& p) { return p.name == name; });
  return found == parameters.end() ? nullptr : &*found;
}

const ParameterCondition* ParameterTable::ConditionOf(const Parameter& parameter) const {
  return parameter.condition < 0 ? nullptr : &conditions[static_cast<std::size_t>(parameter.condition)];
}

bool ParameterTable::IsIn(const Parameter& parameter, const ConstPatchBytes& patch) const {
  const ParameterCondition* condition = ConditionOf(parameter);
  return !condition || (condition->Holds(patch) && parameter.place.end() <= patch.size());
}

void ParameterTableBuilder::Fault(std::size_t index, ParameterFault::Cell cell, NotationFault fault) {
  faults_.push_back({rowOf_[index], cell, std::move(fault)});
  failed_[index] = true;
}

void ParameterTableBuilder::AddList(const std::string& name, std::string_view texts) {
  std::erase_if(table_.lists, [&](const DisplayList& list) { return list.name == name; });
  table_.lists.push_back(ParseDisplayList(name, texts));
  texts_ += table_.lists.back().texts->size();
}

int ParameterTableBuilder::AddChange(const std::string& message) {
  const auto [at, isNew] = changeOf_.try_emplace(message, static_cast<int>(table_.changes.size()));
  if (isNew) table_.changes.push_back(message);
  return at->second;
}

void ParameterTableBuilder::Add(const ParameterRow& row, const FieldBase& base) {
  using Cell = ParameterFault::Cell;
  Parameter parameter;
  parameter.name = row.name;
  parameter.section = row.section;
  parameter.shown = row.shown;
  parameter.number = row.number;
  parameter.change = row.change;
  const std::size_t index = table_.parameters.size();
  rowOf_.push_back(rows_++);
  failed_.push_back(false);
  FieldBase within = base;
  within.pieces = &table_.pieces;
  auto fault = ParseFieldPlace(row.place, table_.sevenBit, within, &parameter.place);
  if (fault) {
    Fault(index, Cell::kPlace, *fault);
  } else {
    fault = ParseFieldRange(row.range, &parameter.place, &parameter.range);
    if (fault) Fault(index, Cell::kRange, *fault);
  }
  parameter.defaultValue = std::clamp(row.defaultValue.value_or(0), parameter.range.min, parameter.range.max);
  if (row.name.empty()) {
    Fault(index, Cell::kName, {0, "the parameter has no name", "OSC 1 octave"});
  } else if (const auto [at, isNew] = byName_.try_emplace(row.name, index); !isNew) {
    Fault(index, Cell::kName, {0, "there is a parameter of that name already", "every name once"});
  }
  table_.parameters.push_back(std::move(parameter));
  if (!row.when.empty()) table_.parameters[index].condition = AddCondition(index, row.when, within);
}

int ParameterTableBuilder::AddCondition(std::size_t index, const std::string& when, const FieldBase& base) {
  ParameterCondition condition;
  if (const auto fault = ParseParameterCondition(when, table_.sevenBit, base, &condition)) {
    Fault(index, ParameterFault::Cell::kWhen, *fault);
    return -1;
  }
  const auto [at, isNew] = conditionOf_.try_emplace(condition.Text(), static_cast<int>(table_.conditions.size()));
  if (isNew) table_.conditions.push_back(std::move(condition));
  return at->second;
}

// Gives the tests with a name the place of that parameter.
void ParameterTableBuilder::ResolveConditions() {
  std::vector<std::optional<NotationFault>> faults(table_.conditions.size());
  for (std::size_t c = 0; c < table_.conditions.size(); ++c) {
    for (ParameterCondition::Test& test : table_.conditions[c].tests) {
      if (test.name.empty()) continue;
      const auto found = byName_.find(test.name);
      if (found == byName_.end()) {
        faults[c] = {0, "there is no parameter of that name", {}, test.name};
        continue;
      }
      const Parameter& parameter = table_.parameters[found->second];
      test.place = parameter.place;
      if (test.range.max < parameter.range.min || test.range.min > parameter.range.max)
        faults[c] = {0, "\"" + test.name + "\" never has these values",
                     "in " + FieldRangeText(parameter.place, parameter.range)};
    }
  }
  for (std::size_t i = 0; i < table_.parameters.size(); ++i) {
    const Parameter& parameter = table_.parameters[i];
    if (parameter.condition < 0 || failed_[i]) continue;
    const auto c = static_cast<std::size_t>(parameter.condition);
    if (faults[c]) Fault(i, ParameterFault::Cell::kWhen, *faults[c]);
    for (const ParameterCondition::Test& test : table_.conditions[c].tests)
      if (!faults[c] && test.name == parameter.name)
        Fault(i, ParameterFault::Cell::kWhen, {0, "the condition asks for the parameter itself", "another parameter"});
  }
}

bool ParameterTableBuilder::Exclude(std::size_t a, std::size_t b) const {
  const ParameterCondition* one = table_.ConditionOf(table_.parameters[a]);
  const ParameterCondition* other = table_.ConditionOf(table_.parameters[b]);
  return one && other && one->Excludes(*other);
}

void ParameterTableBuilder::Display(std::size_t index, int depth) {
  Parameter& parameter = table_.parameters[index];
  if (parameter.display || failed_[index]) return;
  bool circle = false;
  DisplayNames names;
  names.list = [&](std::string_view name) -> const DisplayList* {
    for (const DisplayList& list : table_.lists)
      if (list.name == name) return &list;
    return nullptr;
  };
  names.display = [&](std::string_view name) -> std::shared_ptr<const ParameterDisplay> {
    const auto found = byName_.find(name);
    if (found == byName_.end()) return nullptr;
    circle = depth >= kMostReferences;
    if (!circle) Display(found->second, depth + 1);
    return table_.parameters[found->second].display;
  };
  ParameterDisplay display;
  auto fault = ParseParameterDisplay(parameter.shown, parameter.range, parameter.place.isFloat, names, &display);
  if (failed_[index]) return;
  texts_ += display.weight();
  if (!fault && texts_ > kMostTexts) fault = {0, "the displays of the table have too many texts", {}};
  if (fault && circle) fault->text = "the display refers to itself";
  if (fault)
    Fault(index, ParameterFault::Cell::kShown, *fault);
  else
    parameter.display = std::make_shared<const ParameterDisplay>(std::move(display));
}

void ParameterTableBuilder::FindOverlaps(std::uint32_t patchBytes) {
  std::unordered_map<std::uint32_t, std::vector<std::size_t>> owners;  // by bit of the patch
  for (std::size_t i = 0; i < table_.parameters.size(); ++i) {
    const FieldPlace& place = table_.parameters[i].place;
    if (failed_[i]) continue;
    if (patchBytes && place.end() > patchBytes) {
      Fault(i, ParameterFault::Cell::kPlace,
            {0, "the place lies behind the end of the patch", "bytes 0 to " + std::to_string(patchBytes - 1)});
      continue;
    }
    std::optional<std::size_t> other;
    for (const FieldBits& part : place.bits) {
      for (std::uint32_t bit = part.bit; bit < std::uint32_t{part.bit} + part.width; ++bit) {
        std::vector<std::size_t>& there = owners[part.byte * kMostBits + bit];
        for (const std::size_t owner : there)
          if (there.size() >= kMostOnBit || !Exclude(owner, i)) other = owner;
        if (!other) there.push_back(i);
      }
    }
    if (!other) continue;
    Fault(i, ParameterFault::Cell::kPlace,
          {0, "the place overlaps that of \"" + table_.parameters[*other].name + "\"", {}});
    faults_.back().other = rowOf_[*other];
  }
}

ParameterTable ParameterTableBuilder::Take(std::uint32_t patchBytes, std::vector<ParameterFault>* faults) {
  for (std::size_t i = 0; i < table_.parameters.size(); ++i) Display(i, 0);
  ResolveConditions();
  FindOverlaps(patchBytes);
  ParameterTable table = std::move(table_);
  std::vector<Parameter> good;
  for (std::size_t i = 0; i < table.parameters.size(); ++i)
    if (!failed_[i]) good.push_back(std::move(table.parameters[i]));
  table.parameters = std::move(good);
  std::stable_sort(faults_.begin(), faults_.end(), [](const auto& a, const auto& b) { return a.row < b.row; });
  *faults = std::move(faults_);
  *this = ParameterTableBuilder(table.sevenBit);
  return table;
}

std::string ParameterTableName(int driverId) {
  return "Parameters.ID" + std::to_string(driverId) + ".tsv";
}

std::string ParameterTableText(const ParameterTable& table) {
  std::string text = TabbedHead(kKind) + TabbedLine({"bits", table.sevenBit ? "7" : "8"});
  text += PatchPiecesText(table.pieces);
  for (const DisplayList& list : table.lists) text += TabbedLine({"list", list.name, list.source});
  for (const std::string& change : table.changes) text += TabbedLine({"change", change});
  for (const Parameter& p : table.parameters) {
    std::vector<std::string> cells = {"parameter",
                                      p.place.text,
                                      p.name,
                                      FieldRangeText(p.place, p.range),
                                      p.shown,
                                      p.number,
                                      p.section,
                                      p.change < 0 ? "" : std::to_string(p.change + 1),
                                      std::to_string(p.defaultValue)};
    if (const ParameterCondition* condition = table.ConditionOf(p)) cells.push_back(condition->Text());
    text += TabbedLine(cells);
  }
  return text;
}

Result ReadParameterTable(std::string_view text, ParameterTable* out) {
  ParameterTableBuilder builder(text.find("\nbits\t7\n") != std::string_view::npos);
  std::vector<std::string> names;
  int changes = 0;
  std::vector<PatchPiece> pieces;
  const auto take = [&](const std::vector<std::string>& cells) -> std::string {
    if (cells[0] == "bits") return {};
    if (cells[0] == "piece" && cells.size() == kPieceCells) {
      if (!ReadPatchPiece(cells, &pieces)) return "the piece does not read.";
      builder.AddPiece(pieces.back());
      return {};
    }
    if (cells[0] == "list" && cells.size() == 3) {
      builder.AddList(cells[1], cells[2]);
    } else if (cells[0] == "change" && cells.size() == 2) {
      changes = std::max(changes, builder.AddChange(cells[1]) + 1);
    } else if (cells[0] == "parameter" && (cells.size() == kRowCells || cells.size() == kRowCells + 1)) {
      const std::int64_t change = ParseInteger(cells[7]).value_or(0);
      if (change < 0 || change > changes) return "there is no such change message.";
      if (names.size() >= kMostRows) return "there are too many parameters.";
      builder.Add({cells[1], cells[2], cells[3], cells[4], cells[5], cells[6], static_cast<int>(change) - 1,
                   ParseInteger(cells[8]), cells.size() > kRowCells ? cells[kRowCells] : std::string()});
      names.push_back(cells[2]);
    } else {
      return "neither a parameter nor a list.";
    }
    return {};
  };
  if (Result read = ReadTabbedLines(text, kKind, take); !read.ok()) return read;
  std::vector<ParameterFault> faults;
  ParameterTable table = builder.Take(0, &faults);
  if (!faults.empty())
    return Result::Failure("parameter \"" + names[faults.front().row] + "\": " + faults.front().fault.text + ".");
  *out = std::move(table);
  return Result::Success();
}

std::string ParameterTableSheet(const ParameterTable& table, const std::string& data) {
  std::string text;
  for (const Parameter& p : table.parameters) {
    const ParameterCondition* condition = table.ConditionOf(p);
    text += TabbedLine({data, p.place.text, p.name, FieldRangeText(p.place, p.range), p.shown, p.number, p.section,
                        condition ? condition->Text() : ""});
  }
  return text;
}

}  // namespace tonalith
