#include "chart/parameter_fold.h"

#include <algorithm>
#include <map>

#include "chart/parameter_repeat.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kDeepest = 2;  // repeats in repeats
constexpr std::int64_t kSeptetValues = 0x80;
constexpr std::size_t kWidestShown = 40;

// `OP4 level`: what stands before a number in a name, the number, and what is behind it.
struct NumberedName {
  std::string word, value, rest;
};

std::optional<NumberedName> Numbered(const std::string& name) {
  const std::size_t digit = name.find_first_of("0123456789");
  if (digit == 0 || digit == std::string::npos) return std::nullopt;
  std::size_t end = name.find_first_not_of("0123456789", digit);
  if (end == std::string::npos || name[end] != ' ') return std::nullopt;
  NumberedName numbered{name.substr(0, digit), name.substr(digit, end - digit), name.substr(end + 1)};
  if (numbered.word.back() == ' ') numbered.word.pop_back();
  // The name must be what the repeat makes of it.
  ParameterRepeat repeat;
  repeat.word = numbered.word;
  repeat.values = {numbered.value};
  if (repeat.Prefix(0) + " " + numbered.rest != name || numbered.rest.empty()) return std::nullopt;
  return numbered;
}

// A repeat among rows: the first set of rows stands for all.
struct Fold {
  std::string word;
  std::vector<std::string> values;
  std::int64_t base = 0, step = 0;
  std::optional<std::int64_t> numbersStep;
  std::vector<FoldRow> rows;         // of the first set, with short names, places from the base
  std::vector<std::size_t> members;  // indexes of all rows it stands for
};

bool SameForm(const FoldRow& a, const FoldRow& b) {
  if (a.pieces.size() != b.pieces.size() || a.range != b.range || a.shown != b.shown || a.comment != b.comment ||
      a.when != b.when || a.count.has_value() != b.count.has_value())
    return false;
  for (std::size_t i = 0; i < a.pieces.size(); ++i)
    if (a.pieces[i].form != b.pieces[i].form) return false;
  return true;
}

// Whether set `b` is set `a` a constant step later.
bool Steps(const std::vector<FoldRow>& a, const std::vector<FoldRow>& b, std::int64_t* step,
           std::optional<std::int64_t>* numbers) {
  if (a.size() != b.size()) return false;
  *step = b[0].pieces[0].byte - a[0].pieces[0].byte;
  numbers->reset();
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].name != b[i].name || !SameForm(a[i], b[i])) return false;
    for (std::size_t p = 0; p < a[i].pieces.size(); ++p)
      if (b[i].pieces[p].byte - a[i].pieces[p].byte != *step) return false;
    if (!a[i].count) {
      if (a[i].number != b[i].number) return false;
      continue;
    }
    const std::int64_t count = *b[i].count - *a[i].count;
    if (numbers->value_or(count) != count || count < 0) return false;
    *numbers = count;
  }
  return true;
}

// The longest run of sets with the word of row `at` that repeat.
std::optional<Fold> FoldAt(const std::vector<FoldRow>& rows, std::size_t at, const std::vector<bool>& used) {
  const auto first = Numbered(rows[at].name);
  if (!first) return std::nullopt;
  std::vector<std::string> values;
  std::map<std::string, std::vector<FoldRow>> sets;
  std::map<std::string, std::vector<std::size_t>> members;
  for (std::size_t i = at; i < rows.size(); ++i) {
    const auto numbered = used[i] ? std::nullopt : Numbered(rows[i].name);
    if (!numbered || numbered->word != first->word) continue;
    auto& set = sets[numbered->value];
    if (set.empty()) values.push_back(numbered->value);
    set.push_back(rows[i]);
    set.back().name = numbered->rest;
    members[numbered->value].push_back(i);
  }
  Fold fold;
  fold.word = first->word;
  for (const std::string& value : values) {
    std::int64_t step = 0;
    std::optional<std::int64_t> numbers;
    if (!fold.values.empty()) {
      if (!Steps(sets[fold.values.back()], sets[value], &step, &numbers)) break;
      if (fold.values.size() > 1 && (step != fold.step || numbers != fold.numbersStep)) break;
      fold.step = step;
      fold.numbersStep = numbers;
    }
    fold.values.push_back(value);
    fold.members.insert(fold.members.end(), members[value].begin(), members[value].end());
  }
  if (fold.values.size() < 2) return std::nullopt;
  fold.rows = sets[fold.values.front()];
  fold.base = fold.rows[0].pieces[0].byte;
  for (const FoldRow& row : fold.rows)
    for (const FoldRow::Piece& piece : row.pieces) fold.base = std::min(fold.base, piece.byte);
  for (FoldRow& row : fold.rows)
    for (FoldRow::Piece& piece : row.pieces) piece.byte -= fold.base;
  return fold;
}

std::string Values(const std::vector<std::string>& values) {
  const auto number = [&](std::size_t i) { return std::stoll(values[i]); };
  bool counts = values.size() > 2 && values[0].size() < 10;
  for (std::size_t i = 1; i < values.size() && counts; ++i)
    counts = values[i].size() < 10 && values[i] == std::to_string(number(i - 1) + 1);
  if (counts) return values.front() + ".." + values.back();
  std::string text;
  for (const std::string& value : values) text += (text.empty() ? "" : " ") + value;
  return text;
}

std::string Place(const FoldRow& row, bool relative) {
  std::string text;
  for (const FoldRow::Piece& piece : row.pieces)
    text += (text.empty() ? "" : " & ") + std::string(relative ? "+" : "") + std::to_string(piece.byte) +
            (piece.form.empty() ? "" : " " + piece.form);
  return text;
}

std::size_t Wide(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Step(std::int64_t step, bool hex) {
  if (!hex) return std::to_string(step);
  return step < kSeptetValues ? Printf("%02X", static_cast<unsigned>(step))
                              : Printf("%02X %02X", static_cast<unsigned>(step / kSeptetValues % kSeptetValues),
                                       static_cast<unsigned>(step % kSeptetValues));
}

struct Printed {
  bool plain = true;  // a row with cells, else a line as it is
  std::vector<std::string> cells;
  std::string comment, when;
};

void Print(const std::vector<FoldRow>& rows, bool relative, bool hex, std::size_t depth, std::vector<Printed>* out) {
  std::vector<bool> used(rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (used[i]) continue;
    const auto fold = depth < kDeepest ? FoldAt(rows, i, used) : std::nullopt;
    if (!fold) {
      const FoldRow& row = rows[i];
      out->push_back({true, {Place(row, relative), row.name, row.range, row.shown, row.number}, row.comment, row.when});
      continue;
    }
    for (const std::size_t member : fold->members) used[member] = true;
    std::string head = "repeat " + fold->word + " in " + Values(fold->values) + " from " + (relative ? "+" : "") +
                       std::to_string(fold->base) + " step " + std::to_string(fold->step);
    if (fold->numbersStep.value_or(0) != 0) head += " numbers step " + Step(*fold->numbersStep, hex);
    out->push_back({false, {head}, {}, {}});
    Print(fold->rows, true, hex, depth + 1, out);
    out->push_back({false, {"end"}, {}, {}});
  }
}

}  // namespace

std::vector<std::string> FoldedRows(const std::vector<FoldRow>& rows, bool hex) {
  std::vector<Printed> printed;
  Print(rows, false, hex, 0, &printed);
  std::vector<std::size_t> widths(5);
  for (const Printed& line : printed)
    for (std::size_t i = 0; line.plain && i < line.cells.size(); ++i)
      widths[i] = std::max(widths[i], i == 3 ? std::min(Wide(line.cells[i]), kWidestShown) : Wide(line.cells[i]));
  std::vector<std::string> lines;
  for (const Printed& line : printed) {
    std::string text = line.cells[0];
    std::size_t last = line.plain ? line.cells.size() : 1;
    while (last > 1 && line.cells[last - 1].empty()) --last;
    for (std::size_t i = 1; i < last; ++i) {
      const std::size_t width = Wide(line.cells[i - 1]);
      if (width < widths[i - 1]) text.append(widths[i - 1] - width, ' ');
      text += " | " + line.cells[i];
    }
    if (!line.when.empty()) text += "  when = " + line.when;
    if (!line.comment.empty()) text += "   # " + line.comment;
    lines.push_back(std::move(text));
  }
  return lines;
}

}  // namespace tonalith
