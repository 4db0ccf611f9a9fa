#include "chart/parameter_import.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "chart/parameter_fold.h"
#include "parameters/field_place.h"
#include "parameters/parameter_display.h"
#include "parameters/parameter_table.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostRows = 65536;
constexpr std::int64_t kLastBit = 7;

// The columns of a sheet by their name.
class Sheet {
 public:
  explicit Sheet(const std::vector<std::string>& head) {
    for (std::size_t i = 0; i < head.size(); ++i) columns_.emplace(AsciiLower(TrimmedView(head[i])), i);
  }
  bool Has(const std::string& name) const { return columns_.count(name) > 0; }
  void Row(std::vector<std::string> cells) { cells_ = std::move(cells); }
  // The cell of the first of the columns that there is; "" without any.
  std::string Cell(std::initializer_list<const char*> names) const {
    for (const char* name : names) {
      const auto column = columns_.find(name);
      if (column == columns_.end()) continue;
      return column->second < cells_.size() ? std::string(TrimmedView(cells_[column->second])) : std::string();
    }
    return {};
  }

 private:
  std::map<std::string, std::size_t> columns_;
  std::vector<std::string> cells_;
};

// The form of a place of a kind; nothing for a kind that is not known.
std::optional<std::string> FormOf(const std::string& kind, std::int64_t bit, std::int64_t width) {
  static const std::map<std::string, const char*> kForms = {{"", ""},
                                                            {"byte", ""},
                                                            {"n", "nibbles high first"},
                                                            {"n4", "4 nibbles high first"},
                                                            {"w", "word"},
                                                            {"wl", "word low first"},
                                                            {"wo", "word low first"},
                                                            {"w1", "word half"},
                                                            {"le", "16 bits low first"},
                                                            {"be", "16 bits"},
                                                            {"f32", "float"}};
  if (kind == "bits") {
    if (bit == 0 && width == kLastBit + 1) return "";
    return std::to_string(bit) + (width > 1 ? "-" + std::to_string(bit + width - 1) : "");
  }
  const auto form = kForms.find(kind);
  return form == kForms.end() ? std::nullopt : std::optional<std::string>(form->second);
}

// `N form & M form` taken apart; false when it does not read.
bool ReadPieces(const std::string& place, std::vector<FoldRow::Piece>* pieces) {
  FieldPlace checked;
  if (ParseFieldPlace(place, false, {}, &checked)) return false;
  for (const std::string& piece : SplitText(checked.text, '&')) {
    const std::string_view text = TrimmedView(piece);
    const std::size_t blank = std::min(text.find(' '), text.size());
    pieces->push_back({ParseInteger(text.substr(0, blank)).value_or(0), std::string(TrimmedView(text.substr(blank)))});
  }
  return true;
}

// What tables call the display, in the notation of charts; nothing when the notation does not know it.
std::optional<std::string> ShownOf(const std::string& labels, const FieldPlace& place, const FieldRange& range) {
  static const std::map<std::string, const char*> kSame = {
      {"midi note", "notes"}, {"note", "notes"}, {"st", "semitones"}, {"per cent", "%"}};
  std::string text = labels;
  if (const auto same = kSame.find(AsciiLower(labels)); same != kSame.end()) text = same->second;
  DisplayNames any;
  any.display = [](std::string_view) { return std::make_shared<const ParameterDisplay>(); };
  if (!DisplayIsAs(text).empty()) return text;
  ParameterDisplay display;
  if (!ParseParameterDisplay(text, range, place.isFloat, any, &display)) {
    // A range of numbers is shorter said as a sum.
    const std::size_t dots = text.find("..");
    if (dots == std::string::npos || text.find(',') != std::string::npos || text.find('=') != std::string::npos)
      return text;
    const auto first = ParseInteger(text.substr(0, dots));
    if (!first) return text;
    if (*first == range.min) return std::string();
    return *first > 0 && range.min == 0 ? "from " + std::to_string(*first)
           : *first > range.min         ? "value + " + std::to_string(*first - range.min)
                                        : "value - " + std::to_string(range.min - *first);
  }
  return std::nullopt;
}

// Number cells that are hexadecimal bytes are counted as such, seven bits each; true when they are.
bool CountHex(std::vector<FoldRow>* rows) {
  constexpr std::int64_t kSeptetEnd = 0x80;
  bool hex = false;
  std::vector<std::optional<std::int64_t>> counts;
  for (const FoldRow& row : *rows) {
    auto& count = counts.emplace_back();
    if (row.number.empty()) continue;
    hex = hex || !row.count;
    count = 0;
    for (const std::string& byte : SplitText(row.number, ' ')) {
      const auto value = byte.size() == 2 ? ParseInteger("0x" + byte) : std::nullopt;
      if (!value || *value >= kSeptetEnd) return false;
      *count = *count * kSeptetEnd + *value;
    }
  }
  for (std::size_t i = 0; i < counts.size() && hex; ++i) (*rows)[i].count = counts[i];
  return hex;
}

std::string PlaceOf(const FoldRow& row) {
  std::string place;
  for (const FoldRow::Piece& piece : row.pieces)
    place += (place.empty() ? "" : " & ") + std::to_string(piece.byte) + (piece.form.empty() ? "" : " " + piece.form);
  return place;
}

// Displays that refer to nothing become comments; how many did.
std::size_t CheckDisplays(std::vector<FoldRow>* rows) {
  ParameterTableBuilder builder(false);
  for (const FoldRow& row : *rows) builder.Add({PlaceOf(row), row.name, row.range, row.shown});
  std::vector<ParameterFault> faults;
  builder.Take(0, &faults);
  std::size_t count = 0;
  for (const ParameterFault& fault : faults) {
    FoldRow& row = (*rows)[fault.row];
    if (fault.cell != ParameterFault::Cell::kShown || row.shown.empty()) continue;
    row.comment = std::exchange(row.shown, {});
    ++count;
  }
  return count;
}

class Importer {
 public:
  Result Read(std::string_view text, ParameterImport* out) {
    const std::vector<std::string> lines = SplitText(text, '\n');
    Sheet sheet(SplitText(ReplaceAll(lines[0], "\r", ""), '\t'));
    if (!sheet.Has("name") || (!sheet.Has("place") && !sheet.Has("offset")) ||
        (!sheet.Has("range") && (!sheet.Has("min") || !sheet.Has("max"))))
      return Result::Failure(
          "line 1: the columns are not known: name, place (or offset, bit, width, kind) and range (or min, max) are "
          "needed.");
    if (lines.size() > kMostRows) return Result::Failure("the table is too long.");
    for (std::size_t i = 1; i < lines.size(); ++i) {
      const std::string line = ReplaceAll(lines[i], "\r", "");
      if (TrimmedView(line).empty()) continue;
      sheet.Row(SplitText(line, '\t'));
      if (const std::string wrong = Row(sheet, out); !wrong.empty())
        return Result::Failure("line " + std::to_string(i + 1) + ": " + wrong);
    }
    for (auto& [data, rows] : sections_) {
      out->rows += (out->rows.empty() ? "[parameters " : "\n[parameters ") + (data.empty() ? "DATA" : data) + "]\n";
      out->asNumbers += CheckDisplays(&rows);
      const bool hex = CountHex(&rows);
      if (hex) out->rows += "numbers = hex\n";
      for (const std::string& line : FoldedRows(rows, hex)) out->rows += line + "\n";
    }
    return Result::Success();
  }

 private:
  std::string Row(const Sheet& sheet, ParameterImport* out) {
    FoldRow row;
    row.name = ReplaceAll(sheet.Cell({"name"}), "|", "/");
    const std::string labels = sheet.Cell({"shown", "labels"});
    const bool reserved = AsciiStartsWithNoCase(row.name, "reserved") || AsciiStartsWithNoCase(row.name, "unused") ||
                          AsciiStartsWithNoCase(row.name, "not used");
    if (reserved || AsciiStartsWithNoCase(labels, "ASCII")) {
      ++out->passedOver;
      return {};
    }
    std::string place = sheet.Cell({"place"});
    const std::string kind = sheet.Cell({"kind"});
    if (place.empty()) {
      const auto bit = ParseInteger(sheet.Cell({"bit"})), width = ParseInteger(sheet.Cell({"width"}));
      const auto form = FormOf(kind, bit.value_or(0), width.value_or(kLastBit + 1));
      if (!form) return "no kind of place (\"" + kind + "\").";
      place = sheet.Cell({"offset"}) + (form->empty() ? "" : " " + *form);
    }
    if (!ReadPieces(place, &row.pieces)) return "no place of a parameter (\"" + place + "\").";
    row.range = sheet.Cell({"range"});
    if (row.range.empty() && kind != "f32" && !sheet.Has("range"))
      row.range = sheet.Cell({"min"}) + ".." + sheet.Cell({"max"}) + (kind == "wo" ? " offset" : "");
    FieldPlace checked;
    FieldRange range;
    ParseFieldPlace(place, false, {}, &checked);
    if (row.range == "..") row.range = "0.." + std::to_string(checked.highest());
    if (row.name.empty()) return "the parameter has no name.";
    if (const auto fault = ParseFieldRange(row.range, &checked, &range))
      return fault->text + " (\"" + row.range + "\").";
    const auto shown = ShownOf(labels, checked, range);
    row.shown = shown.value_or("");
    if (!shown) {
      row.comment = ReplaceAll(labels, "\"", "''");
      ++out->asNumbers;
    }
    row.number = sheet.Cell({"number", "change_number"});
    row.count = ParseInteger(row.number);
    row.when = sheet.Cell({"when"});
    ParameterCondition condition;
    if (const auto fault = row.when.empty() ? std::nullopt : ParseParameterCondition(row.when, false, {}, &condition))
      return fault->text + " (\"" + row.when + "\").";
    const std::string data = sheet.Cell({"data", "block"});
    const auto section =
        std::find_if(sections_.begin(), sections_.end(), [&](const auto& s) { return s.first == data; });
    auto& rows =
        section == sections_.end() ? sections_.emplace_back(data, std::vector<FoldRow>()).second : section->second;
    rows.push_back(std::move(row));
    ++out->parameters;
    return {};
  }

  std::vector<std::pair<std::string, std::vector<FoldRow>>> sections_;
};

}  // namespace

Result ImportParameterSheet(std::string_view text, ParameterImport* out) {
  ParameterImport import;
  Result result = Importer().Read(text, &import);
  if (result.ok()) *out = std::move(import);
  return result;
}

}  // namespace tonalith
