#include "chart/panel.h"

#include <algorithm>
#include <map>
#include <optional>

#include "chart/chart_declarations.h"
#include "chart/chart_spelling.h"
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
      : table_(*table), problems_(*problems) {
    if (rows) rows_ = ChartDeclarationsOf({{}, {*rows}});
  }

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
      return Missing(cell.at, box, "", "no parameter's name begins with these words", NearestSections(box.title));
    for (const std::string& word : box.words) {
      if (box.same) break;  // it may have fewer of them
      const bool found = std::any_of(box.parameters.begin(), box.parameters.end(), [&](std::size_t i) {
        const std::string name = NameInBox(table_.parameters[i].name, box.title);
        // Of a matrix the word stands behind the number.
        return name == word || (box.style != PanelStyle::kKnobs && name.ends_with(" " + word));
      });
      if (!found)
        Missing(cell.at, box, word, "the box \"" + box.title + "\" has no parameter of that name", Names(box));
    }
  }

  std::string NearestSections(const std::string& title) const {
    std::vector<std::string> names;
    for (const Parameter& parameter : table_.parameters) names.push_back(parameter.name);
    return NearestWords(title, names, 3);
  }

  // The mistake may be in the panel or in a row or a repeat that makes nearly that name.
  void Missing(ChartPlace at, const PanelBox& box, const std::string& word, const std::string& text,
               const std::string& right) {
    const std::string whole = box.title + (word.empty() ? "" : " " + word);
    problems_.Add(at, word.empty() ? box.title : word, text, right);
    std::vector<std::pair<std::size_t, const ChartDeclaration*>> meant;
    for (const ChartDeclaration& row : rows_) {
      const bool taken = !word.empty() && IsTaken(row.name, box, word);
      const std::size_t distance = taken ? kNotMeant : Distance(whole, word.empty(), row.name);
      if (distance != kNotMeant) meant.emplace_back(distance, &row);
    }
    std::stable_sort(meant.begin(), meant.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    constexpr std::size_t kMostNamed = 3;
    for (std::size_t i = 0; i < std::min(meant.size(), kMostNamed); ++i)
      problems_.Add(meant[i].second->at, meant[i].second->name,
                    "the panel names \"" + whole + "\", and no row is called so", whole);
  }

  // The row belongs to another box, or to another word of this one.
  bool IsTaken(const std::string& row, const PanelBox& box, const std::string& word) const {
    return std::any_of(places_.begin(), places_.end(),
                       [&](const auto& place) { return place.first != box.title && Holds(place.first, row); }) ||
           std::any_of(box.words.begin(), box.words.end(), [&](const std::string& other) {
             return other != word && (row == other || row.ends_with(" " + other));
           });
  }

  // How far a row's name is from what the panel names; in a repeat its first or its last words are of the repeat.
  // `begins`: only the beginning of the name counts.
  static std::size_t Distance(const std::string& whole, bool begins, const std::string& row) {
    if (begins && row.starts_with(whole)) return Holds(whole, row) ? kNotMeant : 1;
    std::size_t best = kNotMeant;
    const auto compare = [&](const std::string& part) {
      std::size_t words = static_cast<std::size_t>(std::count(part.begin(), part.end(), ' ')) + 1, end = 0;
      for (; begins && words > 0 && end < row.size(); --words) end = std::min(row.find(' ', end + 1), row.size());
      const std::size_t distance = TypingDistance(part, begins ? row.substr(0, end) : row);
      if (distance > 0) best = std::min(best, distance);
    };
    compare(whole);
    for (std::size_t blank = whole.find(' '); blank != std::string::npos; blank = whole.find(' ', blank + 1)) {
      compare(whole.substr(blank + 1));
      if (begins) compare(whole.substr(0, blank));
    }
    return best;
  }

  std::string Names(const PanelBox& box) const {
    std::string names;
    for (const std::size_t i : box.parameters)
      names += (names.empty() ? "" : ", ") + NameInBox(table_.parameters[i].name, box.title);
    return names;
  }

  ParameterTable& table_;
  std::vector<ChartDeclaration> rows_;
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
