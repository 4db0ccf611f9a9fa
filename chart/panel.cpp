#include "chart/panel.h"

#include <algorithm>
#include <map>
#include <optional>

#include "chart/parameter_repeat.h"
#include "parameters/parameter_display.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kForm[] = "row = OSC 1, OSC 2 | VCF EG: envelope(attack decay sustain release), VCA EG: same";
constexpr char kOther[] = "Other";

const std::map<std::string, PanelStyle, std::less<>>& Styles() {
  static const std::map<std::string, PanelStyle, std::less<>> styles = {
      {"knobs", PanelStyle::kKnobs},       {"envelope", PanelStyle::kEnvelope}, {"faders", PanelStyle::kFaders},
      {"switches", PanelStyle::kSwitches}, {"operator", PanelStyle::kOperator}, {"matrix", PanelStyle::kMatrix}};
  return styles;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool Holds(const std::string& box, const std::string& name) {
  if (!name.starts_with(box)) return false;
  if (name.size() == box.size()) return true;
  const char next = name[box.size()];
  return next == ' ' || (IsDigit(next) && !IsDigit(box.back()));
}

class PanelReader {
 public:
  PanelReader(ParameterTable* table, const ChartSection* rows, ChartProblems* problems)
      : table_(*table), rows_(rows), problems_(*problems) {}

  PanelPlan Read(const ChartSection& section) {
    for (const ChartEntry& entry : section.entries) {
      if (entry.key == "row")
        Row(entry.cell);
      else
        problems_.Add(entry.keyAt, entry.key, "no key of a panel", kForm);
    }
    for (const ChartRow& row : section.rows)
      problems_.Add(row.cells.front().at, row.cells.front().text, "no row of a panel", kForm);
    Share();
    return std::move(plan_);
  }

 private:
  void Row(const ChartCell& cell) {
    auto& row = plan_.rows.emplace_back();
    bool gap = false;
    for (const ChartCell& group : SplitChartCell(cell, '|')) {
      for (const ChartCell& box : SplitChartCell(group, ',')) {
        if (!box.text.empty()) Box(box, gap, &row);
        gap = false;
      }
      gap = true;
    }
  }

  void Box(const ChartCell& cell, bool gap, std::vector<PanelBox>* row) {
    PanelBox box;
    box.gapBefore = gap;
    const std::size_t colon = cell.text.find(": ");
    box.title = TrimmedView(cell.text.substr(0, colon));
    if (colon != std::string::npos) Style(cell.Part(colon + 2, cell.text.size() - colon - 2), &box);
    before_ = box;
    if (!places_.emplace(box.title, cell).second)
      problems_.Add(cell.at, box.title, "the box stands on the panel already", "every box once");
    else
      row->push_back(std::move(box));
  }

  void Style(const ChartCell& cell, PanelBox* box) {
    const std::string_view text = TrimmedView(cell.text);
    if (text == "same") {
      if (!before_) problems_.Add(cell.at, text, "there is no box before", kForm);
      if (before_) {
        box->style = before_->style;
        box->words = before_->words;
      }
      box->same = true;
      return;
    }
    const std::size_t open = text.find('(');
    const auto style = Styles().find(TrimmedView(text.substr(0, open)));
    if (style == Styles().end()) {
      std::vector<std::string> names = {"same"};
      for (const auto& [name, value] : Styles()) names.push_back(name);
      problems_.Add(cell.at, text, "no style of a box", NearestWords(text.substr(0, open), names, names.size()));
      return;
    }
    box->style = style->second;
    if (open != std::string_view::npos) {
      const std::size_t close = std::min(text.rfind(')'), text.size());
      const std::size_t begin = static_cast<std::size_t>(text.data() - cell.text.data()) + open + 1;
      for (const ChartCell& word : ChartWords(cell.Part(begin, close > open ? close - open - 1 : 0)))
        box->words.push_back(UnquotedItem(word.text));
    }
  }

  // Gives every parameter to its box.
  void Share() {
    std::vector<PanelBox*> boxes;
    for (auto& row : plan_.rows)
      for (PanelBox& box : row) boxes.push_back(&box);
    PanelBox other;
    other.title = kOther;
    for (std::size_t i = 0; i < table_.parameters.size(); ++i) {
      PanelBox* longest = nullptr;
      for (PanelBox* box : boxes)
        if (Holds(box->title, table_.parameters[i].name) && (!longest || box->title.size() > longest->title.size()))
          longest = box;
      PanelBox& into = longest ? *longest : other;
      into.parameters.push_back(i);
      table_.parameters[i].section = into.title;
    }
    for (PanelBox* box : boxes) Check(*box);
    if (!other.parameters.empty()) plan_.rows.push_back({std::move(other)});
  }

  void Check(const PanelBox& box) {
    const ChartCell& cell = places_.at(box.title);
    if (box.parameters.empty())
      return Missing(cell.at, box.title, "", "no parameter's name begins with these words", NearestSections(box.title));
    for (const std::string& word : box.words) {
      if (box.same) break;  // it may have fewer of them
      const bool found = std::any_of(box.parameters.begin(), box.parameters.end(), [&](std::size_t i) {
        const std::string name = NameInBox(table_.parameters[i].name, box.title);
        // Of a matrix the word stands behind the number.
        return name == word || (box.style != PanelStyle::kKnobs && name.ends_with(" " + word));
      });
      if (!found)
        Missing(cell.at, box.title, word, "the box \"" + box.title + "\" has no parameter of that name", Names(box));
    }
  }

  std::string NearestSections(const std::string& title) const {
    std::vector<std::string> names;
    for (const Parameter& parameter : table_.parameters) names.push_back(parameter.name);
    return NearestWords(title, names, 3);
  }

  // The mistake may be in the panel or in the row whose name is nearly that.
  void Missing(ChartPlace at, const std::string& box, const std::string& word, const std::string& text,
               const std::string& right) {
    const std::string whole = box + (word.empty() ? "" : " " + word);
    problems_.Add(at, word.empty() ? box : word, text, right);
    for (const ChartRow& row : rows_ ? rows_->rows : std::vector<ChartRow>()) {
      if (row.cells.size() < 2) continue;
      const ChartCell& name = row.cells[1];
      const std::string begin = word.empty() ? name.text.substr(0, box.size()) : name.text;
      const bool known =
          std::any_of(places_.begin(), places_.end(), [&](const auto& place) { return Holds(place.first, name.text); });
      const bool nearly = IsNearlyOneOf(begin, {whole}) || (!word.empty() && IsNearlyOneOf(begin, {word}));
      if (!nearly || begin == whole || begin == word || (word.empty() && known)) continue;
      return problems_.Add(name.at, name.text, "the panel names \"" + whole + "\", and no row is called so", whole);
    }
  }

  std::string Names(const PanelBox& box) const {
    std::string names;
    for (const std::size_t i : box.parameters)
      names += (names.empty() ? "" : ", ") + NameInBox(table_.parameters[i].name, box.title);
    return names;
  }

  ParameterTable& table_;
  const ChartSection* rows_;
  ChartProblems& problems_;
  PanelPlan plan_;
  std::map<std::string, ChartCell> places_;
  std::optional<PanelBox> before_;
};

}  // namespace

PanelPlan ReadPanel(const ChartSection& section, ParameterTable* table, ChartProblems* problems,
                    const ChartSection* rows) {
  return PanelReader(table, rows, problems).Read(section);
}

std::string NameInBox(const std::string& name, const std::string& box) {
  if (!name.starts_with(box) || name.size() <= box.size()) return name;
  return std::string(TrimmedView(std::string_view(name).substr(box.size())));
}

}  // namespace tonalith
