#include "chart/instrument.h"

#include <algorithm>
#include <optional>

#include "chart/chart_spelling.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

const ChartEntry* ChartType::Find(std::string_view key) const {
  for (const ChartEntry& entry : section->entries)
    if (!entry.flag && entry.key == key) return &entry;
  return nullptr;
}

bool ChartType::Has(std::string_view flag) const {
  return std::any_of(section->entries.begin(), section->entries.end(),
                     [&](const ChartEntry& entry) { return entry.flag && entry.key == flag; });
}

const ChartEntry* ChartInstrument::Find(std::string_view key) const {
  for (const ChartEntry& entry : head->entries)
    if (entry.key == key) return &entry;
  return nullptr;
}

const ChartEntry* ChartInstrument::Find(const ChartType& type, std::string_view key) const {
  const ChartEntry* own = type.Find(key);
  return own ? own : Find(key);
}

const ChartType* ChartInstrument::TypeNamed(std::string_view name) const {
  for (const ChartType& type : types)
    if (type.name == name) return &type;
  for (const ChartType& type : types)
    if (type.section->name == name) return &type;
  return nullptr;
}

const ChartType* ChartInstrument::HolderOf(const ChartType& type) const {
  for (const ChartType& holder : types)
    if (!holder.holds.empty() && holder.holds == type.section->name) return &holder;
  return nullptr;
}

std::string ChartPatchRange(const ChartType& type) {
  const ChartEntry* entry = type.Find("patches");
  if (!entry) return {};
  const auto ranges = SplitChartCell(entry->cell, ',');
  if (ranges.size() == 1) return ranges.front().text;
  ChartProblems known("");
  const auto values = ChartVariables(*type.section, &known);
  const auto own = std::find_if(values.begin(), values.end(),
                                [&](const ChartVariable& one) { return one.shown == type.variable.shown; });
  const auto place = static_cast<std::size_t>(own - values.begin());
  return values.size() == ranges.size() && place < ranges.size() ? ranges[place].text : std::string();
}

int ChartFirstPatch(const ChartType& type) {
  std::string first, last;
  if (!SplitChartRange(ChartPatchRange(type), &first, &last)) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(ParseInteger(first).value_or(0), 0, UINT16_MAX));
}

int ChartSumKind(const ChartEntry* entry, ChartProblems* problems) {
  if (!entry) return -1;
  const CodedTable& table = *FindCodedTable("checksumType");
  if (const CodedWord* word = FindCodedWord(table, entry->value)) return word->code;
  std::vector<std::string> words;
  for (const CodedWord& word : table.words) words.emplace_back(word.word);
  problems->Add(entry->valueAt, entry->value, "no kind of checksum", NearestWords(entry->value, words));
  return 0;
}

int ChartMilliseconds(const ChartCell& time, ChartProblems* problems) {
  std::string_view text = time.text;
  const bool seconds = text.ends_with(" s");
  if (seconds || text.ends_with(" ms")) text.remove_suffix(seconds ? 2 : 3);
  const auto number = ParseInteger(text);
  const std::int64_t scale = seconds ? 1000 : 1;
  if (number && *number >= 1 && *number <= kLongestChartMs / scale && text.size() < time.text.size())
    return static_cast<int>(*number * scale);
  problems->Add(time.at, time.text, "no time", "75 ms, 3 s");
  return 0;
}

std::string ChartShown(const std::string& text, const ChartVariable& variable) {
  return variable.letter ? ReplaceAll(text, "{" + std::string(1, variable.letter) + "}", variable.shown) : text;
}

bool SplitChartRange(std::string_view text, std::string* first, std::string* last) {
  const std::size_t dots = text.find("..");
  if (dots == std::string_view::npos || dots == 0 || dots + 2 >= text.size()) return false;
  *first = TrimmedView(text.substr(0, dots));
  *last = TrimmedView(text.substr(dots + 2));
  return !first->empty() && !last->empty();
}

std::vector<ChartVariable> ChartVariables(const ChartSection& section, ChartProblems* problems) {
  std::vector<ChartVariable> variables;
  if (!section.variable || section.variable->key.size() != 1) return variables;
  std::string_view text = section.variable->value;
  int from = 0;
  const std::size_t word = text.find(" from ");
  const auto number = word == std::string_view::npos ? std::nullopt : ParseInteger(text.substr(word + 6));
  if (number) from = static_cast<int>(std::clamp<std::int64_t>(*number, 0, UINT8_MAX));
  std::string first, last;
  const bool range = SplitChartRange(text.substr(0, word), &first, &last);
  const auto low = ParseInteger(first), high = ParseInteger(last);
  const bool letters =
      range && first.size() == 1 && last.size() == 1 && first[0] >= 'A' && last[0] <= 'Z' && first[0] <= last[0];
  const auto texts = SplitChartCell(section.variable->cell.Part(0, std::min(word, text.size())), ',');
  if (texts.size() > 1) {
    for (const ChartCell& one : texts)
      variables.push_back({section.variable->key[0], from + static_cast<int>(variables.size()), one.text});
  } else if (low && high && *low >= 0 && *low <= *high && *high - *low < kMostChartValues) {
    for (std::int64_t value = *low; value <= *high; ++value)
      variables.push_back(
          {section.variable->key[0], static_cast<int>(number ? from + value - *low : value), std::to_string(value)});
  } else if (letters && (number || word == std::string_view::npos)) {
    for (char letter = first[0]; letter <= last[0]; ++letter)
      variables.push_back({section.variable->key[0], from + letter - first[0], std::string(1, letter)});
  } else {
    problems->Add(section.variable->valueAt, section.variable->value, "the values of the letter are not known",
                  "A..D, A..H from 1, 0..9");
  }
  return variables;
}

bool IsChartReadonly(const ChartType& type, ChartProblems* problems) {
  if (type.Has("readonly") || (!type.put.empty() && type.put.front().kind == ChartStep::Kind::kNone)) return true;
  const ChartEntry* entry = type.Find("readonly");
  if (!entry) return false;
  std::string first, last;
  const bool range = SplitChartRange(entry->value, &first, &last);
  if (!range) first = last = entry->value;
  bool inside = false, seen = false, here = false;
  for (const ChartVariable& one : ChartVariables(*type.section, problems)) {
    if (one.shown == first) inside = seen = true;
    if (inside && one.value == type.variable.value) here = true;
    if (one.shown == last) inside = false;
  }
  if (!seen)
    problems->Add(entry->valueAt, entry->value, "none of the values of the section's letter", "readonly = E..H");
  return here;
}

}  // namespace tonalith
