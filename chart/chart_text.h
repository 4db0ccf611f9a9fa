#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// The text of a chart: an instrument in the notation of a MIDI chart (docs/chart.md), taken apart into sections,
// entries and rows.  What the words mean is not known here; every piece knows its place.

// Lines and columns count from 1, columns in characters.
struct ChartPlace {
  int line = 0;
  int column = 0;
};

// A text of the chart that may go on over several lines (they are joined by two blanks).
struct ChartCell {
  // From this byte of the text on the characters stand behind each other from this place.
  struct Piece {
    std::size_t from = 0;
    ChartPlace at;
  };
  std::string text;
  ChartPlace at;
  std::vector<Piece> pieces;

  // Where a byte of the text stands.
  ChartPlace At(std::size_t offset) const;
  // A part of the text.
  ChartCell Part(std::size_t offset, std::size_t size) const;
};

// `key = value`; a flag ("readonly") has no value, `64 x Program` is the key "holds".
struct ChartEntry {
  std::string key, value;
  ChartPlace keyAt, valueAt;
  ChartCell cell;  // the value with all its places
  bool flag = false;
};

// A line of a table: cells between " | ".  A line without any is one cell.  Entries may stand behind the last cell.
struct ChartRow {
  std::vector<ChartCell> cells;
  std::vector<ChartEntry> entries;
};

struct ChartSection {
  std::string kind;                    // "instrument" for the first one, else a word of ChartSectionKinds
  std::string name;                    // behind the kind
  std::optional<ChartEntry> variable;  // `b = A..D` behind the name
  std::vector<ChartEntry> entries;
  std::vector<ChartRow> rows;  // of parameters, panel, references
  std::string script;          // of a script: its lines as they stand
  ChartPlace at, nameAt;
};

struct ChartText {
  std::string file;
  std::vector<ChartSection> sections;
};

// A mistake of the author's.
struct ChartProblem {
  std::string file;
  int line = 0, column = 0;
  std::string read;   // what stands there; may be empty
  std::string text;   // what is wrong with it
  std::string right;  // what would be right; may be empty

  // FILE:LINE:COLUMN: error: what is wrong ("what was read"); right: what would be right
  std::string Text() const;
  // The same behind "error: ".
  std::string Sentence() const;
};

// A name that a chart gives to something: a section, a message, a list, a parameter, the first set of a repeat.
struct ChartDeclaration {
  std::string name;
  ChartPlace at;
};

// Collects mistakes, each once and not more than a person reads.
class ChartProblems {
 public:
  explicit ChartProblems(std::string file) : file_(std::move(file)) {}
  void Add(ChartPlace at, std::string_view read, std::string text, std::string right = {});
  // What the chart gives names to; AddUnknown looks there.
  void Declare(std::vector<ChartDeclaration> declarations) { declarations_ = std::move(declarations); }
  // A name that nothing has.  The mistake may as well be in the declaration: those that are spelled nearly so are named
  // as well, where they stand.
  void AddUnknown(ChartPlace at, std::string_view name, std::string text, std::string right = {});
  const std::string& file() const { return file_; }
  const std::vector<ChartProblem>& all() const { return problems_; }
  bool any() const { return !problems_.empty(); }
  // The first one as a failure.
  Result First() const;

 private:
  std::string file_;
  std::vector<ChartProblem> problems_;
  std::vector<ChartDeclaration> declarations_;
};

// The kinds of sections behind the first one.
const std::vector<std::string>& ChartSectionKinds();
// Words that stand alone where an entry could stand.
const std::vector<std::string>& ChartFlags();

// Takes a chart apart.  Goes on behind every mistake.
ChartText ReadChartText(std::string_view text, ChartProblems* problems);

// The parts of a text between separators that stand outside quotes and brackets, without the blanks around them.
std::vector<ChartCell> SplitChartCell(const ChartCell& cell, char separator);
// The same between two or more blanks.
std::vector<ChartCell> SplitAtGaps(const ChartCell& cell);

}  // namespace tonalith
