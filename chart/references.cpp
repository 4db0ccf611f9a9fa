#include "chart/references.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kForm[] = "INST i (1..8): bank at 36+16(i-1) in 0..6, voice at 37+16(i-1) in 0..47 -> Voice Bank";
constexpr char kPartForm[] = "voice at 37 in 0..47";
constexpr std::int64_t kMostNumber = 1 << 24;
constexpr std::int64_t kMostRepeats = 4096;
constexpr int kDeepest = 16;  // brackets in brackets

// Whole numbers and one variable, with + - * / % and brackets; 16(i-1) is a product.
class Sum {
 public:
  Sum(std::string_view text, char variable, std::int64_t value) : text_(text), variable_(variable), value_(value) {}

  std::optional<std::int64_t> Value() {
    const std::int64_t value = Terms(0);
    return ok_ && text_.empty() ? std::optional(value) : std::nullopt;
  }

 private:
  bool Take(char c) {
    if (text_.empty() || text_.front() != c) return false;
    text_.remove_prefix(1);
    return true;
  }
  std::int64_t Bounded(std::int64_t value) {
    ok_ = ok_ && value >= -kMostNumber && value <= kMostNumber;
    return ok_ ? value : 0;
  }

  std::int64_t Terms(int depth) {
    std::int64_t sum = Product(depth);
    while (ok_) {
      if (Take('+'))
        sum = Bounded(sum + Product(depth));
      else if (Take('-'))
        sum = Bounded(sum - Product(depth));
      else
        break;
    }
    return sum;
  }

  std::int64_t Product(int depth) {
    std::int64_t product = Atom(depth);
    while (ok_ && !text_.empty()) {
      const bool divide = Take('/'), rest = !divide && Take('%');
      if (!divide && !rest && !Take('*') && text_.front() != '(' && text_.front() != variable_) break;
      const std::int64_t next = Atom(depth);
      ok_ = ok_ && (!(divide || rest) || next > 0);
      if (ok_) product = Bounded(divide ? product / next : rest ? product % next : product * next);
    }
    return product;
  }

  std::int64_t Atom(int depth) {
    if (depth < kDeepest && Take('(')) {
      const std::int64_t inside = Terms(depth + 1);
      ok_ = ok_ && Take(')');
      return inside;
    }
    if (variable_ && Take(variable_)) return value_;
    std::size_t digits = 0;
    std::int64_t number = 0;
    for (; !text_.empty() && text_.front() >= '0' && text_.front() <= '9' && ok_; ++digits) {
      number = Bounded(number * 10 + (text_.front() - '0'));
      text_.remove_prefix(1);
    }
    ok_ = ok_ && digits > 0;
    return number;
  }

  std::string_view text_;
  char variable_;
  std::int64_t value_;
  bool ok_ = true;
};

// `NAME i (1..8)`
struct Counted {
  std::string name;
  char variable = 0;
  std::int64_t first = 1, last = 1;
};

Counted ReadCounted(std::string_view text) {
  Counted counted;
  counted.name = text;
  const std::size_t open = text.rfind('(');
  if (open == std::string_view::npos || open < 2 || !text.ends_with(')')) return counted;
  const std::string_view head = TrimmedView(text.substr(0, open));
  const std::string_view range = text.substr(open + 1, text.size() - open - 2);
  const std::size_t dots = range.find("..");
  if (dots == std::string_view::npos || head.size() < 3 || head[head.size() - 2] != ' ') return counted;
  const auto first = ParseInteger(range.substr(0, dots)), last = ParseInteger(range.substr(dots + 2));
  const char variable = head.back();
  if (!first || !last || *first > *last || *last - *first >= kMostRepeats || variable < 'a' || variable > 'z')
    return counted;
  return {std::string(TrimmedView(head.substr(0, head.size() - 1))), variable, *first, *last};
}

// `WORD at PLACE in VALUES`
struct Part {
  ChartCell at, place, values;
  std::string word;
};

class ReferenceReader {
 public:
  ReferenceReader(const ParameterData& data, const ReferenceTargets& targets, ChartProblems* problems)
      : data_(data), targets_(targets), problems_(*problems) {
    matrix_.sevenBit = data.sevenBit;
    matrix_.pieces = data.pieces;
  }

  ReferenceMatrix Read(const ChartSection& section) {
    for (const ChartEntry& entry : section.entries)
      problems_.Add(entry.keyAt, entry.key, "no key of references", kForm);
    for (const ChartRow& row : section.rows) {
      if (row.cells.size() == 1 && row.entries.empty())
        Row(row.cells.front());
      else
        problems_.Add(row.cells.front().at, row.cells.front().text, "the reference does not read", kForm);
    }
    return std::move(matrix_);
  }

 private:
  void Row(const ChartCell& line) {
    constexpr std::string_view kArrow = " -> ";
    const std::size_t arrow = line.text.find(kArrow);
    if (arrow == std::string::npos) {
      problems_.Add(line.at, line.text, "the reference names no bank", kForm);
      return;
    }
    const std::size_t behind = arrow + kArrow.size();
    const ChartCell target = line.Part(behind, line.text.size() - behind);
    const std::vector<ReferenceMatrix::Target> targets = targets_(TrimmedView(target.text));
    if (targets.empty()) {
      problems_.AddUnknown(target.at, TrimmedView(target.text), "there are no data of that name",
                           "the name of a bank of this chart");
      return;
    }
    std::size_t from = 0;
    Counted counted;
    if (const std::size_t colon = line.text.find(": "); colon < arrow) {
      counted = ReadCounted(TrimmedView(line.text.substr(0, colon)));
      from = colon + 2;
    }
    std::vector<Part> parts;
    for (const ChartCell& cell : SplitChartCell(line.Part(from, arrow - from), ',')) {
      auto part = ReadPart(cell);
      if (!part) return;
      parts.push_back(std::move(*part));
    }
    if (parts.empty()) {
      problems_.Add(line.at, line.text, "the reference has no parts", kForm);
      return;
    }
    if (counted.name.empty()) counted.name = parts.back().word;
    for (std::int64_t i = counted.first; i <= counted.last; ++i)
      if (!Add(counted, i, parts, targets)) return;
  }

  std::optional<Part> ReadPart(const ChartCell& cell) {
    constexpr std::string_view kAt = " at ", kIn = " in ";
    const std::size_t at = cell.text.find(kAt), in = cell.text.rfind(kIn);
    if (at == std::string::npos || in == std::string::npos || in < at) {
      problems_.Add(cell.at, cell.text, "the part of the reference does not read", kPartForm);
      return std::nullopt;
    }
    Part part;
    part.at = cell;
    part.word = TrimmedView(std::string_view(cell.text).substr(0, at));
    part.place = cell.Part(at + kAt.size(), in - at - kAt.size());
    part.values = cell.Part(in + kIn.size(), cell.text.size() - in - kIn.size());
    return part;
  }

  bool Add(const Counted& counted, std::int64_t index, const std::vector<Part>& parts,
           const std::vector<ReferenceMatrix::Target>& targets) {
    ReferenceMatrix::Row row;
    row.name = counted.name + (counted.variable ? " " + std::to_string(index) : "");
    row.targets = targets;
    for (const Part& part : parts) {
      FieldPlace place;
      FieldRange range;
      if (!Place(part, counted.variable, index, &place, &range)) return false;
      const std::int64_t values = range.max - range.min + 1;
      if (&part == &parts.back()) {
        row.child = std::move(place);
        row.childRange = range;
      } else if (part.word == "bank" && values > 1 && targets.size() > 1) {
        if (values != static_cast<std::int64_t>(targets.size())) {
          problems_.Add(part.values.at, part.values.text,
                        "there are " + std::to_string(targets.size()) + " banks of that name", "a value for each");
          return false;
        }
        row.bank = std::move(place);
        row.bankRange = range;
      } else {
        row.conditions.push_back({std::move(place), range});
      }
    }
    matrix_.rows.push_back(std::move(row));
    return true;
  }

  bool Place(const Part& part, char variable, std::int64_t index, FieldPlace* place, FieldRange* range) {
    const std::string_view text = TrimmedView(part.place.text);
    const std::size_t blank = std::min(text.find(' '), text.size());
    const auto byte = Sum(text.substr(0, blank), variable, index).Value();
    if (!byte || *byte < 0) {
      problems_.Add(part.place.at, text, "the place does not read", kPartForm);
      return false;
    }
    auto fault = ParseFieldPlace(std::to_string(*byte) + std::string(text.substr(blank)), data_.sevenBit,
                                 {0, 0, &data_.pieces}, place);
    if (!fault && data_.patchBytes && place->end() > data_.patchBytes)
      fault = NotationFault{0, "the place lies behind the end of the patch",
                            "bytes 0 to " + std::to_string(data_.patchBytes - 1)};
    if (fault) {
      problems_.Add(part.place.at, text, fault->text, fault->right);
      return false;
    }
    std::string values(TrimmedView(part.values.text));
    if (values.find("..") == std::string::npos) values += ".." + values;
    fault = ParseFieldRange(values, place, range);
    if (fault) problems_.Add(part.values.at, part.values.text, fault->text, fault->right);
    return !fault;
  }

  ParameterData data_;
  const ReferenceTargets& targets_;
  ChartProblems& problems_;
  ReferenceMatrix matrix_;
};

}  // namespace

ReferenceMatrix ReadReferenceRows(const ChartSection& section, const ParameterData& data,
                                  const ReferenceTargets& targets, ChartProblems* problems) {
  return ReferenceReader(data, targets, problems).Read(section);
}

}  // namespace tonalith
