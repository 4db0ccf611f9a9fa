#include "chart/parameters.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "chart/parameter_repeat.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kRowForm[] = "PLACE | NAME | MIN..MAX | SHOWN | NUMBER";
constexpr char kRepeatForm[] = "repeat OP in 4 3 2 1 from 16 step 8";
constexpr std::size_t kMostCells = 5;
constexpr std::size_t kMostRows = 65536;
constexpr std::string_view kList = "list ";
constexpr std::string_view kWhen = "when", kAlways = "always";

// An entry or a row, in the order in which they stand in the chart.
struct Line {
  ChartPlace at;
  const ChartEntry* entry = nullptr;
  const ChartRow* row = nullptr;
};

std::vector<Line> LinesOf(const ChartSection& section) {
  std::vector<Line> lines;
  for (const ChartEntry& entry : section.entries) lines.push_back({entry.keyAt, &entry, nullptr});
  for (const ChartRow& row : section.rows) lines.push_back({row.cells.front().at, nullptr, &row});
  std::stable_sort(lines.begin(), lines.end(), [](const Line& a, const Line& b) {
    return a.at.line != b.at.line ? a.at.line < b.at.line : a.at.column < b.at.column;
  });
  return lines;
}

// The rows of a repeat, or of the whole section, with the repeats among them.
struct Block {
  const ChartCell* cell = nullptr;  // the line of the repeat
  struct Item {
    const ChartRow* row = nullptr;  // else a block
    std::int64_t offset = 0;        // goes onto the place
    const ChartEntry* change = nullptr;
    const ChartEntry* when = nullptr;  // it is there only then
    std::unique_ptr<Block> block;
  };
  ParameterRepeat repeat;
  std::vector<Item> items;
};

// A repeat that is being written out.
struct Round {
  const Block* block;
  std::size_t index;
};

class ParameterReader {
 public:
  ParameterReader(const ParameterData& data, ChartProblems* problems)
      : data_(data), builder_(data.sevenBit), problems_(*problems) {}

  ParameterTable Read(const ChartSection& section, const std::vector<ChartEntry>& lists) {
    for (const PatchPiece& piece : data_.pieces) builder_.AddPiece(piece);
    for (const ChartEntry& list : lists) List(list);
    open_ = {&top_};
    for (const Line& line : LinesOf(section)) {
      if (line.entry)
        Entry(*line.entry);
      else
        Row(*line.row);
    }
    std::vector<Round> rounds;
    WriteOut(top_, &rounds);
    std::vector<ParameterFault> faults;
    ParameterTable table = builder_.Take(data_.patchBytes, &faults);
    for (const ParameterFault& fault : faults) Say(fault);
    return table;
  }

 private:
  bool List(const ChartEntry& entry) {
    if (!entry.key.starts_with(kList)) return false;
    builder_.AddList(entry.key.substr(kList.size()), entry.value);
    lists_[entry.key] = &entry;
    return true;
  }

  void Entry(const ChartEntry& entry) {
    if (List(entry)) return;
    if (entry.key == "change") {
      change_ = entry.value == "none" ? nullptr : &entry;
    } else if (entry.key == "numbers") {
      if (entry.value != "hex" && entry.value != "decimal")
        problems_.Add(entry.valueAt, entry.value, "no form of numbers", "hex, decimal");
      hex_ = entry.value == "hex";
    } else if (entry.key == kWhen) {
      when_ = entry.value == kAlways ? nullptr : &entry;
    } else if (entry.key == "part of") {
      // Of a patch that has more; field_files.cpp looks at it.
    } else {
      problems_.Add(entry.keyAt, entry.key, "no key of parameters",
                    "change, when, numbers, part of, list NAME, offset from, repeat, end");
    }
  }

  void Row(const ChartRow& row) {
    const ChartCell& first = row.cells.front();
    if (row.cells.size() == 1 && row.entries.empty() && Word(first)) return;
    if (row.cells.size() < 2 || row.cells.size() > kMostCells) {
      problems_.Add(first.at, first.text,
                    row.cells.size() < 2 ? "neither a row nor an entry" : "the row has more than five cells", kRowForm);
      return;
    }
    Block::Item item;
    item.row = &row;
    item.change = change_;
    item.when = when_;
    for (const ChartEntry& entry : row.entries) {
      if (entry.key == "change")
        item.change = entry.value == "none" ? nullptr : &entry;
      else if (entry.key == kWhen)
        item.when = entry.value == kAlways ? nullptr : &entry;
      else
        problems_.Add(entry.keyAt, entry.key, "no key of a parameter", "change = MESSAGE, when = voice mode in 0..2");
    }
    item.offset = offset_;
    open_.back()->items.push_back(std::move(item));
  }

  // A line of one cell: offset, repeat, end.
  bool Word(const ChartCell& cell) {
    const std::vector<ChartCell> words = ChartWords(cell);
    if (words.empty()) return false;
    if (words[0].text == "end" && words.size() == 1) {
      if (open_.size() == 1)
        problems_.Add(cell.at, cell.text, "there is no repeat that could end", kRepeatForm);
      else
        Close(open_.size() - 1);
      return true;
    }
    if (words[0].text == "offset") {
      const auto from = words.size() == 3 && words[1].text == "from" ? ParseInteger(words[2].text) : std::nullopt;
      if (!from) problems_.Add(cell.at, cell.text, "the offset does not read", "offset from 5");
      offset_ = from.value_or(offset_);
      return true;
    }
    if (words[0].text != "repeat") return false;
    auto repeat = ReadParameterRepeat(cell, hex_);
    if (!repeat) {
      problems_.Add(cell.at, cell.text, "the repeat does not read", kRepeatForm);
      repeat.emplace();  // its rows are known as rows of a repeat
      repeat->values = {"1"};
    }
    if (repeat->inside && open_.size() == 1)
      problems_.Add(cell.at, cell.text, "the base counts from a repeat, but there is none", kRepeatForm);
    if (!repeat->inside) Close(1);
    Block::Item item;
    item.block = std::make_unique<Block>();
    item.block->repeat = std::move(*repeat);
    item.block->cell = &cell;
    Block* block = item.block.get();
    open_.back()->items.push_back(std::move(item));
    open_.push_back(block);
    saidBefore_.push_back({change_, when_});
    return true;
  }

  // Ends repeats until so many blocks are open; a message and a condition that were said in a repeat hold to its end.
  void Close(std::size_t size) {
    for (; open_.size() > size; open_.pop_back()) {
      change_ = saidBefore_.back().change;
      when_ = saidBefore_.back().when;
      saidBefore_.pop_back();
    }
  }

  void WriteOut(const Block& block, std::vector<Round>* rounds) {
    for (const Block::Item& item : block.items) {
      if (!item.block) {
        Add(item, *rounds);
        continue;
      }
      for (std::size_t i = 0; i < item.block->repeat.values.size() && added_.size() < kMostRows; ++i) {
        rounds->push_back({item.block.get(), i});
        WriteOut(*item.block, rounds);
        rounds->pop_back();
      }
    }
  }

  void Add(const Block::Item& item, const std::vector<Round>& rounds) {
    const auto& cells = item.row->cells;
    const auto cell = [&](std::size_t i) { return i < cells.size() ? cells[i].text : std::string(); };
    if (added_.size() >= kMostRows) {
      if (!tooMany_) problems_.Add(cells[0].at, {}, "there are more parameters than 65536", {});
      tooMany_ = true;
      return;
    }
    const bool once = std::all_of(rounds.begin(), rounds.end(), [](const Round& round) { return round.index == 0; });
    if (const std::size_t blanks = cell(1).find("  "); once && blanks != std::string::npos)
      problems_.Add(cells[1].At(blanks), cell(1), "two blanks in a name", cell(1).substr(0, blanks));
    ParameterRow row{cell(0), cell(1), cell(2), cell(3), cell(4), {}, -1, std::nullopt, {}};
    if (item.when) row.when = item.when->value;
    std::string change = item.change ? item.change->value : std::string();
    FieldBase base{item.offset, 0};
    std::string prefix;
    for (const Round& round : rounds) {
      const ParameterRepeat& repeat = round.block->repeat;
      const auto index = static_cast<std::int64_t>(round.index);
      base.plus += repeat.from + repeat.step * index;
      const std::string braces = "{" + repeat.word + "}";
      if (row.name.find(braces) == std::string::npos) prefix += repeat.Prefix(round.index) + " ";
      for (std::string* text : {&row.name, &row.shown, &row.number, &row.when, &change})
        *text = ReplaceAll(*text, braces, repeat.values[round.index]);
      row.number = SteppedNumber(row.number, repeat.numbersStep, round.index, hex_);
    }
    if (rounds.empty() && row.place.starts_with('+')) {
      problems_.Add(cells[0].at, row.place, "the place counts from a repeat, but there is none", kRepeatForm);
      return;
    }
    if (!row.name.empty()) row.name.insert(0, prefix);
    if (const std::string name(DisplayIsAs(row.shown)); !name.empty())
      if (const std::string nearer = Nearer(name, rounds); !nearer.empty()) row.shown = "as " + nearer;
    if (item.when)
      row.when = ConditionWithNames(row.when, [&](const std::string& name) { return Nearer(name, rounds); });
    change = ChangeOfPart(change, rounds, base);
    if (hex_ && change.starts_with("F0 ")) change = HexNumbers(change);
    if (rounds.empty() && item.change) OutsideOfParts(*item.change, row.name);
    if (!change.empty()) row.change = builder_.AddChange(change);
    builder_.Add(row, base);
    added_.push_back(
        {item.row, std::string(TrimmedView(prefix)), rounds.empty() ? nullptr : rounds.back().block, item.when});
  }

  // `part` is which set of the innermost repeat is meant; `offset` then counts
  // from where that set begins.
  static std::string ChangeOfPart(const std::string& change, const std::vector<Round>& rounds, const FieldBase& base) {
    if (rounds.empty()) return change;
    return ChangeInPart(change, rounds.back().index, base.all + base.plus);
  }

  // Two digits of a hexadecimal number cell could be decimal ones: the message says what they are.
  static std::string HexNumbers(const std::string& change) {
    std::string text;
    for (const std::string& word : SplitText(change, ' '))
      text += (text.empty() ? "" : " ") + word + (word == "number" || word.ends_with("+number") ? "-hex" : "");
    return text;
  }

  void OutsideOfParts(const ChartEntry& change, const std::string& name) {
    if (const auto at = PlaceOfPart(change.value); at && partless_.insert(&change).second)
      problems_.Add(change.cell.At(*at), kPartWord, "\"" + name + "\" stands in no repeat: it has no part",
                    kRepeatForm);
  }

  // A name that a row in a repeat refers to means the row of the same
  // repetition when there is one; else nothing.
  static std::string Nearer(const std::string& name, const std::vector<Round>& rounds) {
    for (std::size_t depth = rounds.size(); depth > 0; --depth) {
      const auto& items = rounds[depth - 1].block->items;
      const bool here = std::any_of(items.begin(), items.end(), [&](const Block::Item& item) {
        return item.row && item.row->cells.size() > 1 && item.row->cells[1].text == name;
      });
      if (!here) continue;
      std::string prefix;
      for (std::size_t i = 0; i < depth; ++i) prefix += rounds[i].block->repeat.Prefix(rounds[i].index) + " ";
      return prefix + name;
    }
    return {};
  }

  // Where a row of the table came from.
  struct Added {
    const ChartRow* row;
    std::string repeated;  // "OP4" or nothing
    const Block* repeat;   // the innermost one; null outside
    const ChartEntry* when;
  };

  void Say(const ParameterFault& fault) {
    const Added& added = added_[fault.row];
    const auto index = static_cast<std::size_t>(fault.cell);
    if (!said_.insert({added.row, index}).second) return;  // of a row that repeats the first time tells it all
    const auto& cells = added.row->cells;
    const bool there = index < cells.size();
    const ChartCell& cell = there ? cells[index] : cells.back();
    std::string text = fault.fault.text;
    if (!added.repeated.empty()) text += " (" + added.repeated + ")";
    if (fault.cell == ParameterFault::Cell::kWhen) return Say(fault.fault, *added.when, text);
    const ChartPlace at = there ? cell.At(std::min(fault.fault.at, cell.text.size())) : cell.at;
    if (!fault.fault.unknown.empty()) return problems_.AddUnknown(at, fault.fault.unknown, text, fault.fault.right);
    problems_.Add(at, there ? cell.text : "", text, fault.fault.right);
    OtherEnds(fault, added, text);
  }

  // A condition that several rows have is wrong once.
  void Say(const NotationFault& fault, const ChartEntry& when, const std::string& text) {
    if (!saidWhens_.insert(&when).second) return;
    const ChartPlace at = when.cell.At(std::min(fault.at, when.cell.text.size()));
    if (!fault.unknown.empty()) return problems_.AddUnknown(at, fault.unknown, text, fault.right);
    problems_.Add(at, when.value, text, fault.right);
  }

  // The mistake may be in what the row does not go with: another row, the repeat it stands in, the list it names.
  void OtherEnds(const ParameterFault& fault, const Added& added, const std::string& text) {
    const ChartPlace here = added.row->cells.front().at;
    const std::string line = "line " + std::to_string(here.line);
    if (fault.other) {
      const ChartCell& place = added_[*fault.other].row->cells.front();
      problems_.Add(place.at, place.text, "this is the other one: the place of " + line + " overlaps it");
    }
    if (fault.cell == ParameterFault::Cell::kPlace && added.repeat && added.repeat->cell)
      problems_.Add(added.repeat->cell->at, added.repeat->cell->text, "the place of " + line + " counts from here");
    if (fault.fault.text.find("the list has ") == std::string::npos) return;
    const std::string& shown =
        added.row->cells[std::min<std::size_t>(static_cast<std::size_t>(fault.cell), added.row->cells.size() - 1)].text;
    for (const auto& [key, list] : lists_)
      if (shown.ends_with(key)) Counted(*list, text, fault.fault.right);
  }

  // A list that has not as many texts as there are values, line by line.
  void Counted(const ChartEntry& list, const std::string& text, const std::string& right) {
    problems_.Add(list.valueAt, list.key, text, right);
    std::map<int, std::pair<ChartCell, std::size_t>> lines;  // the first text and how many
    for (const ChartCell& one : SplitChartCell(list.cell, ','))
      if (!one.text.empty()) ++lines.try_emplace(one.at.line, one, 0).first->second.second;
    std::size_t before = 0;
    for (const auto& [line, texts] : lines) {
      const auto& [first, count] = texts;
      if (lines.size() > 1)
        problems_.Add(first.at, first.text,
                      "in this line stand the texts " + std::to_string(before + 1) + " to " +
                          std::to_string(before + count) + " of \"" + list.key + "\"");
      before += count;
    }
  }

  std::map<std::string, const ChartEntry*> lists_;  // by key

  ParameterData data_;
  ParameterTableBuilder builder_;
  ChartProblems& problems_;
  std::vector<Added> added_;
  std::set<std::pair<const ChartRow*, std::size_t>> said_;  // rows and cells
  std::set<const ChartEntry*> saidWhens_;
  Block top_;
  std::vector<Block*> open_;  // the section and the repeats that have not ended
  struct SaidBefore {
    const ChartEntry* change;
    const ChartEntry* when;
  };
  std::vector<SaidBefore> saidBefore_;  // each of these repeats
  std::int64_t offset_ = 0;
  const ChartEntry* change_ = nullptr;
  const ChartEntry* when_ = nullptr;
  std::set<const ChartEntry*> partless_;  // messages whose `part` means nothing
  bool hex_ = false;
  bool tooMany_ = false;
};

}  // namespace

ParameterTable ReadParameters(const ChartSection& section, const ParameterData& data,
                              const std::vector<ChartEntry>& lists, ChartProblems* problems) {
  return ParameterReader(data, problems).Read(section, lists);
}

}  // namespace tonalith
