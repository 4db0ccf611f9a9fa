#include "chart/chart_text.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "chart/chart_declarations.h"
#include "chart/chart_spelling.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxChart = 1u << 20;
constexpr std::size_t kMaxProblems = 1000;
constexpr std::size_t kMaxRead = 60;   // bytes of what was read that a mistake shows
constexpr std::size_t kContinued = 8;  // blanks in front of a line that goes on
constexpr std::size_t kMaxKey = 60;

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

bool IsWordStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsWordCharacter(char c) {
  return IsWordStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == '{' || c == '}';
}

int Characters(std::string_view text) {
  return static_cast<int>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

// Two blanks or a tab stand there.
bool IsGap(std::string_view text, std::size_t at) {
  return at < text.size() && (text[at] == '\t' || (text[at] == ' ' && at + 1 < text.size() && IsBlank(text[at + 1])));
}

// Behind the quoted text that begins at `at`; the end of the text when it is not closed.
std::size_t BehindQuotes(std::string_view text, std::size_t at) {
  const std::size_t end = text.find('"', at + 1);
  return end == std::string_view::npos ? text.size() : end + 1;
}

// The length of a key that begins at `at` and is followed by '='; 0 when there is none.
std::size_t KeyLength(std::string_view text, std::size_t at) {
  if (at >= text.size() || !IsWordStart(text[at])) return 0;
  std::size_t end = at;
  while (end < text.size() && end - at < kMaxKey) {
    while (end < text.size() && IsWordCharacter(text[end])) ++end;
    const std::size_t word = end;
    while (end < text.size() && IsBlank(text[end])) ++end;
    if (end < text.size() && text[end] == '=') return word - at;
    if (end == word || IsGap(text, word)) return 0;
    if (end >= text.size() || !IsWordCharacter(text[end])) return 0;
  }
  return 0;
}

// An '=' stands there behind other characters, outside quotes and brackets.
bool HasEquals(std::string_view text) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') i = BehindQuotes(text, i) - 1;
    if (text[i] == '(' || text[i] == '{') ++depth;
    if ((text[i] == ')' || text[i] == '}') && depth > 0) --depth;
    if (text[i] == '=' && depth == 0 && i > 0) return true;
  }
  return false;
}

bool IsFlag(std::string_view text) {
  const auto& flags = ChartFlags();
  return std::find(flags.begin(), flags.end(), text) != flags.end();
}

// Where the parts between two or more blanks begin and end.
std::vector<std::pair<std::size_t, std::size_t>> GapParts(std::string_view text) {
  std::vector<std::pair<std::size_t, std::size_t>> parts;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= text.size();) {
    if (i < text.size() && text[i] == '"') {
      i = BehindQuotes(text, i);
    } else if (i == text.size() || IsGap(text, i)) {
      if (i > begin) parts.emplace_back(begin, i);
      while (i < text.size() && IsBlank(text[i])) ++i;
      begin = i;
      if (i == text.size()) break;
    } else {
      ++i;
    }
  }
  return parts;
}

ChartCell Trimmed(const ChartCell& cell) {
  const std::size_t begin = std::min(cell.text.find_first_not_of(" \t"), cell.text.size());
  std::size_t end = cell.text.size();
  while (end > begin && IsBlank(cell.text[end - 1])) --end;
  return cell.Part(begin, end - begin);
}

// `64 x Program`
bool IsHolding(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  return at > 0 && text.substr(at).starts_with(" x ");
}

bool IsTable(const std::string& kind) {
  return kind == "parameters" || kind == "panel" || kind == "references";
}

// Takes the lines of a chart and puts what they say into sections.
class ChartReader {
 public:
  ChartReader(ChartText* chart, ChartProblems* problems) : chart_(*chart), problems_(*problems) {}

  void Read(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    if (text.size() > kMaxChart) {
      problems_.Add({1, 1}, {}, "the chart is too long", "at most 1 MiB");
      return;
    }
    int number = 0;
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      std::string_view line = text.substr(0, end);
      if (line.ends_with('\r')) line.remove_suffix(1);
      Line(line, ++number);
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    Flush();
    if (chart_.sections.empty() && !problems_.any())
      problems_.Add({1, 1}, {}, "the chart is empty", "the first line reads [MAKER MODEL]");
  }

 private:
  // Where the comment of a line begins; unclosed quotes are named.
  std::size_t Content(std::string_view line, int number) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '"') {
        const std::size_t behind = BehindQuotes(line, i);
        if (behind == line.size() && (behind == i + 1 || line.back() != '"')) {
          problems_.Add({number, Characters(line.substr(0, i)) + 1}, line.substr(i), "the quotes are not closed",
                        "a text stands between two \" in one line");
          return line.size();
        }
        i = behind - 1;
      } else if (line[i] == '#') {
        const bool alone = i + 1 == line.size() || IsBlank(line[i + 1]);
        if (i == 0 || (alone && i >= 2 && IsBlank(line[i - 1]) && IsGap(line, i - 2)) ||
            (i > 0 && TrimmedView(line.substr(0, i)).empty()))
          return i;
      }
    }
    return line.size();
  }

  bool CheckCharacters(std::string_view line, int number) {
    const auto wrong = std::find_if(line.begin(), line.end(),
                                    [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t'; });
    const bool coding = IsValidUtf8(line);
    if (wrong == line.end() && coding) return true;
    const int column = coding ? Characters({line.begin(), wrong}) + 1 : 1;
    problems_.Add({number, column}, {}, coding ? "a control character" : "the line is not UTF-8",
                  "a chart is UTF-8 text");
    return false;
  }

  void Line(std::string_view raw, int number) {
    const bool section = SectionLine(raw);
    if (!section && InScript()) {
      Flush();
      chart_.sections.back().script += std::string(raw) + "\n";
      return;
    }
    if (!CheckCharacters(raw, number)) return;
    std::string_view line = raw.substr(0, Content(raw, number));
    while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
    const bool goesOn = line.ends_with('\\');
    if (goesOn) line.remove_suffix(1);
    const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
    if (begin == line.size()) {
      if (!goesOn) goesOn_ = false;
      return;
    }
    const bool continued = goesOn_ || begin >= kContinued || line.front() == '\t';
    if (!continued || section) Flush();
    if (continued && line_.text.empty() && !section && chart_.sections.empty())
      problems_.Add({number, 1}, line, "the line goes on, but nothing stands before it",
                    "the first line reads [MAKER MODEL]");
    if (!line_.text.empty()) line_.text += "  ";
    const ChartPlace at{number, Characters(line.substr(0, begin)) + 1};
    if (line_.text.empty()) line_.at = at;
    line_.pieces.push_back({line_.text.size(), at});
    line_.text += line.substr(begin);
    goesOn_ = goesOn;
  }

  bool InScript() const {
    return line_.text.starts_with("[script ") ||
           (line_.text.empty() && !chart_.sections.empty() && chart_.sections.back().kind == "script");
  }

  // In a script only what names a kind begins a section.
  bool SectionLine(std::string_view raw) const {
    if (!raw.starts_with('[')) return false;
    if (!InScript()) return true;
    const std::string_view inside = raw.substr(1);
    return std::any_of(ChartSectionKinds().begin(), ChartSectionKinds().end(), [&](const std::string& kind) {
      return inside.starts_with(kind + " ") && inside.find(']') != std::string_view::npos;
    });
  }

  void Flush() {
    ChartCell line = std::exchange(line_, {});
    if (line.text.empty()) return;
    if (line.text.front() == '[' && line.at.column == 1) {
      Section(line);
    } else if (chart_.sections.empty()) {
      problems_.Add(line.at, line.text, "the line stands before the first section",
                    "the first line reads [MAKER MODEL]");
      chart_.sections.push_back({"instrument", {}, {}, {}, {}, {}, line.at, line.at});
      Contents(line);
    } else {
      Contents(line);
    }
  }

  void Section(const ChartCell& line) {
    std::size_t close = 1;
    while (close < line.text.size() && line.text[close] != ']')
      close = line.text[close] == '"' ? BehindQuotes(line.text, close) : close + 1;
    if (close >= line.text.size()) {
      problems_.Add(line.at, line.text, "the bracket of the section is not closed", "[KIND NAME]");
      close = 1;
      while (close < line.text.size() && !IsGap(line.text, close)) ++close;
    }
    const ChartCell head = Trimmed(line.Part(1, close - 1));
    ChartSection section;
    section.at = line.at;
    Head(head, &section);
    // Everything said is about it, even when something is wrong with its head.
    chart_.sections.push_back(std::move(section));
    const std::size_t behind = std::min(close + 1, line.text.size());
    const ChartCell rest = Trimmed(line.Part(behind, line.text.size() - behind));
    if (!rest.text.empty()) Contents(rest);
  }

  void Head(const ChartCell& head, ChartSection* section) {
    const std::string_view text = head.text;
    const std::string kind(text.substr(0, text.find(' ')));
    const auto& kinds = ChartSectionKinds();
    const bool known = std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
    section->nameAt = head.at;
    if (chart_.sections.empty()) {
      section->kind = "instrument";
      section->name = text;
      if (known || text.empty())
        problems_.Add(head.at, text, "the first section names the instrument", "[MAKER MODEL]");
      return;
    }
    if (!known) {
      problems_.Add(head.at, text, "no kind of section", NearestWords(kind, kinds, kinds.size()));
      section->kind = "unknown";
      section->name = text;
      return;
    }
    section->kind = kind;
    ChartCell name = Trimmed(head.Part(kind.size(), text.size() - kind.size()));
    Variable(&name, section);
    section->name = name.text;
    section->nameAt = name.at;
    if (name.text.empty()) problems_.Add(head.at, text, "the section needs a name", "[" + kind + " NAME]");
  }

  // `Bank b = A..D`: the last word before '='.
  void Variable(ChartCell* name, ChartSection* section) {
    const std::string_view text = name->text;
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) return;
    std::size_t end = equals;
    while (end > 0 && IsBlank(text[end - 1])) --end;
    std::size_t begin = end;
    while (begin > 0 && !IsBlank(text[begin - 1])) --begin;
    ChartEntry entry;
    entry.key = std::string(text.substr(begin, end - begin));
    entry.keyAt = name->At(begin);
    SetValue(Trimmed(name->Part(equals + 1, text.size() - equals - 1)), &entry);
    if (entry.key.size() != 1 || entry.key[0] < 'a' || entry.key[0] > 'z')
      problems_.Add(entry.keyAt, entry.key, "a variable is one small letter", "[data NAME b = A..D]");
    section->variable = std::move(entry);
    *name = Trimmed(name->Part(0, begin));
  }

  void Contents(const ChartCell& line) {
    ChartSection& section = chart_.sections.back();
    const bool table = IsTable(section.kind);
    if (table && KeyLength(line.text, 0) == 0 && line.text.find('|') != std::string::npos)
      section.rows.push_back(Row(line));
    else
      Entries(line, table, &section);
  }

  ChartRow Row(const ChartCell& line) {
    ChartRow row;
    // What follows two blanks and reads `key =` belongs to the row.
    std::size_t end = line.text.size();
    for (std::size_t i = 0; i < line.text.size(); ++i) {
      if (line.text[i] == '"') {
        i = BehindQuotes(line.text, i) - 1;
      } else if (IsGap(line.text, i)) {
        std::size_t word = i;
        while (word < line.text.size() && IsBlank(line.text[word])) ++word;
        const bool cellBegins = i > 0 && line.text[i - 1] == '|';
        if (!cellBegins && KeyLength(line.text, word)) {
          end = i;
          break;
        }
        i = word - 1;
      }
    }
    row.cells = SplitChartCell(line.Part(0, end), '|');
    ChartSection behind;
    if (end < line.text.size()) Entries(Trimmed(line.Part(end, line.text.size() - end)), false, &behind);
    row.entries = std::move(behind.entries);
    return row;
  }

  // Entries and words that stand alone, with two blanks between.
  void Entries(const ChartCell& line, bool table, ChartSection* section) {
    ChartEntry entry;  // whose value is being read
    std::size_t valueFrom = 0;
    const auto close = [&](std::size_t end) {
      if (entry.key.empty()) return;
      SetValue(Trimmed(line.Part(valueFrom, end - valueFrom)), &entry);
      section->entries.push_back(std::exchange(entry, {}));
    };
    for (const auto& [from, to] : GapParts(line.text)) {
      const ChartCell part = line.Part(from, to - from);
      const std::size_t key = KeyLength(line.text, from);
      const bool holds = IsHolding(part.text);
      if (key) {
        close(from);
        entry.key = line.text.substr(from, key);
        entry.keyAt = part.at;
        valueFrom = line.text.find('=', from + key) + 1;
      } else if (!table && (holds || IsFlag(part.text))) {
        close(from);
        ChartEntry word;
        word.flag = !holds;
        word.key = holds ? "holds" : part.text;
        word.keyAt = part.at;
        if (holds) SetValue(part, &word);
        section->entries.push_back(std::move(word));
      } else if (entry.key.empty() && table) {
        section->rows.push_back({{part}, {}});
      } else if (entry.key.empty() || (!table && !entry.key.starts_with("list ") && HasEquals(part.text))) {
        const bool counts = part.text.find(" x ") != std::string::npos;
        problems_.Add(
            part.at, part.text, "neither an entry nor a word that stands alone",
            counts
                ? "64 x Patch: a bank always has as many patches; data that comes with more or fewer is kept "
                  "whole, without \"64 x\""
                : "key = value, with two blanks between entries; alone stand " + NearestWords(part.text, ChartFlags()));
      }
    }
    close(line.text.size());
  }

  static void SetValue(const ChartCell& cell, ChartEntry* entry) {
    entry->value = cell.text;
    entry->valueAt = cell.at;
    entry->cell = cell;
  }

  ChartText& chart_;
  ChartProblems& problems_;
  ChartCell line_;
  bool goesOn_ = false;
};

}  // namespace

ChartPlace ChartCell::At(std::size_t offset) const {
  ChartPlace place = at;
  std::size_t from = 0;
  for (const Piece& piece : pieces) {
    if (piece.from > offset) break;
    place = piece.at;
    from = piece.from;
  }
  place.column += Characters(std::string_view(text).substr(std::min(from, text.size()), offset - from));
  return place;
}

ChartCell ChartCell::Part(std::size_t offset, std::size_t size) const {
  offset = std::min(offset, text.size());
  ChartCell part;
  part.text = text.substr(offset, size);
  part.at = At(offset);
  part.pieces.push_back({0, part.at});
  for (const Piece& piece : pieces)
    if (piece.from > offset && piece.from < offset + part.text.size())
      part.pieces.push_back({piece.from - offset, piece.at});
  return part;
}

std::string ChartProblem::Text() const {
  return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": error: " + Sentence();
}

std::string ChartProblem::Sentence() const {
  std::string sentence = text;
  if (!read.empty()) sentence += " (\"" + read + "\")";
  if (!right.empty()) sentence += "; right: " + right;
  return sentence;
}

void ChartProblems::Add(ChartPlace at, std::string_view read, std::string text, std::string right) {
  if (problems_.size() >= kMaxProblems) return;
  // What a chart does not have at all is missing at its beginning.
  if (at.line < 1 || at.column < 1) at = {std::max(at.line, 1), 1};
  for (const ChartProblem& known : problems_)
    if (known.line == at.line && known.column == at.column && known.text == text) return;
  std::string shown(CutUtf8(read, kMaxRead));
  if (shown.size() < read.size()) shown += " ...";
  problems_.push_back({file_, at.line, at.column, std::move(shown), std::move(text), std::move(right)});
}

void ChartProblems::AddUnknown(ChartPlace at, std::string_view name, std::string text, std::string right) {
  constexpr std::size_t kMostNamed = 3;
  const int line = std::max(at.line, 1);
  Add(at, name, std::move(text), std::move(right));
  std::vector<std::pair<std::size_t, const ChartDeclaration*>> meant;
  for (const ChartDeclaration& one : declarations_)
    if (const std::size_t distance = TypingDistance(name, one.name); distance > 0 && distance != kNotMeant)
      meant.emplace_back(distance, &one);
  std::stable_sort(meant.begin(), meant.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < std::min(meant.size(), kMostNamed); ++i)
    Add(meant[i].second->at, meant[i].second->name,
        "line " + std::to_string(line) + " names \"" + std::string(CutUtf8(name, kMaxRead)) + "\": is this meant?");
}

Result ChartProblems::First() const {
  return problems_.empty() ? Result::Success() : Result::Failure(problems_.front().Text());
}

const std::vector<std::string>& ChartSectionKinds() {
  static const std::vector<std::string> kKinds{"data",  "variant",    "exchange", "parameters",
                                               "panel", "references", "script"};
  return kKinds;
}

const std::vector<std::string>& ChartFlags() {
  static const std::vector<std::string> kFlags{"readonly", "patch by patch", "complete", "handshake", "multitimbral"};
  return kFlags;
}

ChartText ReadChartText(std::string_view text, ChartProblems* problems) {
  ChartText chart;
  chart.file = problems->file();
  ChartReader(&chart, problems).Read(text);
  problems->Declare(ChartDeclarationsOf(chart));
  return chart;
}

std::vector<ChartCell> SplitChartCell(const ChartCell& cell, char separator) {
  std::vector<ChartCell> parts;
  const std::string_view text = cell.text;
  std::size_t begin = 0, i = 0;
  int depth = 0;
  for (;; ++i) {
    if (i < text.size() && text[i] == '"') {
      i = BehindQuotes(text, i) - 1;
      continue;
    }
    if (i < text.size() && (text[i] == '(' || text[i] == '{')) ++depth;
    if (i < text.size() && (text[i] == ')' || text[i] == '}') && depth > 0) --depth;
    if (i < text.size() && (text[i] != separator || depth > 0)) continue;
    parts.push_back(Trimmed(cell.Part(begin, i - begin)));
    if (i >= text.size()) return parts;
    begin = i + 1;
  }
}

std::vector<ChartCell> SplitAtGaps(const ChartCell& cell) {
  std::vector<ChartCell> parts;
  for (const auto& [from, to] : GapParts(cell.text)) parts.push_back(cell.Part(from, to - from));
  return parts;
}

}  // namespace tonalith
