#include "chart/change_check.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace tonalith {

namespace {

constexpr std::size_t kNameCell = 1;
constexpr char kChange[] = "change";
constexpr char kChangeWords[] =
    "hex bytes, the device, p, number, offset, part, value, value high, value low, byte, bytes, low, high, shown low, "
    "shown high, < and sum; controller number, controller number scaled; NRPN number";

// What says how the parameter of a row is changed: the row itself, or the last entry in front of it.
const ChartEntry* ChangeOfRow(const ChartSection& section, const ChartCell* cell) {
  const ChartEntry* found = nullptr;
  for (const ChartRow& row : section.rows)
    for (const ChartEntry& entry : row.entries)
      if (entry.key == kChange && cell && row.cells.size() > kNameCell && &row.cells[kNameCell] == cell) return &entry;
  for (const ChartEntry& entry : section.entries)
    if (entry.key == kChange && entry.value != "none" && (!cell || entry.keyAt.line <= cell->at.line)) found = &entry;
  return found;
}

class ChangeCheck {
 public:
  ChangeCheck(const ChartSection& section, const ParameterTable& table, const PanelData& data, ChartProblems* problems)
      : section_(section), table_(table), data_(data), problems_(*problems) {}

  void Check() {
    for (const Parameter& parameter : table_.parameters) {
      if (parameter.change < 0) continue;
      const ChangeShape shape =
          ShapeOfChange(parameter, table_.changes[static_cast<std::size_t>(parameter.change)], data_);
      // What has no number of its own is not changed by messages that say one.
      if (shape.message.empty() && parameter.number.empty() && shape.obstacle.find("number") != std::string::npos)
        continue;
      if (shape.message.empty())
        Unsayable(parameter, shape.obstacle);
      else if (!told_)
        TellApart(parameter, shape);
    }
  }

 private:
  void Unsayable(const Parameter& parameter, const std::string& word) {
    const ChartCell* row = RowOfParameter(section_, parameter.name);
    const ChartEntry* change = ChangeOfRow(section_, row);
    if (!change || !said_.insert(change).second) return;
    const std::size_t at = change->value.find(word);
    problems_.Add(at == std::string::npos ? change->valueAt : change->cell.At(at), word,
                  "the message cannot be sent for \"" + parameter.name + "\"", kChangeWords);
    // It may be the number of the row, or its range.
    if (row)
      problems_.Add(row->at, row->text,
                    "the message of line " + std::to_string(change->keyAt.line) + " cannot be sent for this parameter");
  }

  void TellApart(const Parameter& parameter, const ChangeShape& shape) {
    const auto [begin, end] = known_.equal_range(shape.message);
    const auto other = std::find_if(begin, end, [&](const auto& one) {
      const ParameterCondition* when = table_.ConditionOf(parameter);
      const ParameterCondition* otherwise = table_.ConditionOf(*one.second.first);
      return shape.Confuses(one.second.second) && !(when && otherwise && when->Excludes(*otherwise));
    });
    if (other == end) {
      known_.emplace(shape.message, std::pair(&parameter, shape));
      return;
    }
    told_ = true;  // the first tells it all
    const std::string& former = other->second.first->name;
    const ChartCell* row = RowOfParameter(section_, parameter.name);
    const ChartCell* before = RowOfParameter(section_, former);
    if (!row) return;
    problems_.Add(row->at, row->text,
                  "\"" + parameter.name + "\" is changed with the same message as \"" + former + "\"",
                  "number, offset or part in the message tell them apart");
    if (before && before != row)
      problems_.Add(
          before->at, before->text,
          "this is the other one: line " + std::to_string(row->at.line) + " is changed with the same message");
  }

  const ChartSection& section_;
  const ParameterTable& table_;
  const PanelData& data_;
  ChartProblems& problems_;
  std::multimap<std::string, std::pair<const Parameter*, ChangeShape>> known_;
  std::set<const ChartEntry*> said_;
  bool told_ = false;
};

}  // namespace

const ChartCell* RowOfParameter(const ChartSection& section, const std::string& name) {
  const ChartCell* row = nullptr;
  for (const ChartRow& one : section.rows)
    if (one.cells.size() > kNameCell && name.ends_with(one.cells[kNameCell].text) &&
        (!row || one.cells[kNameCell].text.size() > row->text.size()))
      row = &one.cells[kNameCell];
  return row;
}

void CheckChanges(const ChartSection& section, const ParameterTable& table, const PanelData& data,
                  ChartProblems* problems) {
  ChangeCheck(section, table, data, problems).Check();
}

}  // namespace tonalith
