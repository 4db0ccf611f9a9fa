#include "chart/simulator_changes.h"

#include <algorithm>
#include <map>
#include <optional>

#include "chart/parameters.h"
#include "chart/patch_pieces.h"
#include "chart/type_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kMostInByte = 0x7F;

// The parameters of a data type, whatever is wrong with them.
ParameterTable TableOf(const ChartInstrument& chart, const ChartType& type) {
  ChartProblems ignored((std::string()));
  std::vector<ChartEntry> lists;
  ParameterTable table;
  for (const ChartSection& section : chart.text->sections) {
    for (const ChartEntry& entry : section.entries)
      if (entry.key.starts_with("list ")) lists.push_back(entry);
    if (section.kind == "parameters" && (section.name == type.section->name || section.name == type.name))
      table = ReadParameters(section, {0, LayoutOf(type, &ignored).packing == 0, PatchPiecesOf(type)}, lists, &ignored);
  }
  return table;
}

// Reads one message of a change: what is said in every one of its messages, and
// which number stands for a parameter.
class ChangePattern {
 public:
  ChangePattern(const std::string& change, char device) : device_(device) {
    for (const std::string& word : SplitText(change, ' '))
      if (!word.empty()) words_.push_back(word);
  }

  bool Read() {
    while (right_ && at_ < words_.size()) Word(words_[at_++]);
    return right_ && carries_ && match.starts_with("F0 ") && match.ends_with(" F7");
  }

  // What the message has for the parameter; nothing when it cannot be told.
  std::optional<std::int64_t> NumberOf(const Parameter& parameter) const {
    if (!counts_) return 0;
    const FieldBits& first = parameter.place.bits.back();
    const auto number = offset_ ? std::optional<std::int64_t>(first.byte) : ParseInteger(parameter.number);
    if (!number) return std::nullopt;
    const std::int64_t sent = *number - from_ + base_;
    return sent >= 0 && (high_ ? sent >> 7 : sent) <= kMostInByte ? std::optional(sent) : std::nullopt;
  }
  bool wholeByte() const { return wholeByte_; }

  std::string match;

 private:
  void Put(const std::string& text) { match += (match.empty() ? "" : " ") + text; }
  bool IsHalf(std::size_t at) const { return at < words_.size() && (words_[at] == "high" || words_[at] == "low"); }
  bool Next(std::string_view word) const { return at_ < words_.size() && words_[at_] == word; }

  void Word(std::string word) {
    const bool based = word.size() > 3 && word[2] == '+';
    const std::string front = word.substr(0, 2);
    const bool hex = word.size() >= 2 && front.find_first_not_of("0123456789ABCDEF") == std::string::npos;
    if (based && !hex) return Wrong();
    if (hex && word.size() == 2) return Put(word);
    std::int64_t base = 0;
    if (based) {
      base = std::stoi(front, nullptr, 16);
      word = word.substr(3);
      if (const auto more = ParseInteger(word)) return Put(HexPair(static_cast<int>((base + *more) & kMostInByte)));
    }
    if (word.starts_with("offset") || word == "number") return Counted(word, base);
    if (based) return Wrong();
    if (word == "sum") return Put("?");
    if (word == "<") return;
    if (word == "value" || word == "byte" || word == "low") return Carried(word);
    if (device_ && word.size() == 2 && word[1] == device_)
      return Put(word[0] == device_ ? "nn" : word.substr(0, 1) + "n");
    Wrong();
  }

  void Counted(const std::string& word, std::int64_t base) {
    constexpr std::string_view kFrom = "offset-";
    offset_ = word != "number";
    // Both behind it are the halves of the byte.
    const bool halves = IsHalf(at_) && IsHalf(at_ + 1);
    const bool high = !halves && Next("high"), low = !halves && Next("low");
    if (high || low) ++at_;
    if (word.starts_with(kFrom)) from_ = ParseInteger(word.substr(kFrom.size())).value_or(0);
    if (base && (high || low)) return Wrong();
    base_ += base;
    high_ = high_ || high;
    counts_ = true;
    Put(high ? "{high:00-7F}" : "{parameter:00-7F}");
  }

  void Carried(const std::string& word) {
    const bool halves = word == "low" && Next("high");
    if ((word == "low" && !halves) || (word != "low" && (Next("high") || Next("low"))) || carries_) return Wrong();
    if (halves) ++at_;
    carries_ = true;
    wholeByte_ = word != "value";
    Put(halves ? "{value_low:00-0F} {value_high:00-0F}" : "{value:00-7F}");
  }

  void Wrong() { right_ = false; }

  char device_;
  std::vector<std::string> words_;
  std::size_t at_ = 0;
  std::int64_t base_ = 0, from_ = 0;
  bool right_ = true, counts_ = false, offset_ = false, high_ = false, carries_ = false, wholeByte_ = false;
};

// The value is the byte as it lies in the patch.
bool IsByte(const Parameter& parameter, bool wholeByte, const std::map<std::uint32_t, int>& users) {
  const FieldPlace& place = parameter.place;
  if (place.bits.size() != 1 || place.bits[0].piece.bytes || parameter.condition >= 0) return false;
  const FieldBits& bits = place.bits[0];
  return wholeByte || (bits.bit == 0 && !place.isSigned && place.bias == 0 && users.at(bits.byte) == 1);
}

}  // namespace

std::vector<SimulatorChange> SimulatorChangesOf(const ChartInstrument& chart, const ChartType& type,
                                                const std::string& area) {
  const ParameterTable table = TableOf(chart, type);
  std::map<std::uint32_t, int> users;  // of a byte
  for (const Parameter& parameter : table.parameters)
    for (const FieldBits& bits : parameter.place.bits) ++users[bits.byte];
  std::vector<SimulatorChange> changes;
  for (std::size_t c = 0; c < table.changes.size(); ++c) {
    ChangePattern pattern(table.changes[c], chart.device.letter);
    if (!pattern.Read()) continue;
    std::map<std::int64_t, std::uint32_t> places;
    bool clear = true;
    for (const Parameter& parameter : table.parameters) {
      if (parameter.change != static_cast<int>(c) || !IsByte(parameter, pattern.wholeByte(), users)) continue;
      const auto number = pattern.NumberOf(parameter);
      if (!number) continue;
      const std::uint32_t byte = parameter.place.bits[0].byte;
      clear = clear && places.try_emplace(*number, byte).first->second == byte;
    }
    if (places.empty() || !clear) continue;
    std::string offsets;
    for (const auto& [number, byte] : places)
      offsets += " " + Printf("%02X", static_cast<unsigned>(number)) + ":" + std::to_string(byte);
    changes.push_back({pattern.match, "parameter = " + area + "\nanswer = none\noffsets =" + offsets + "\n"});
  }
  return changes;
}

}  // namespace tonalith
