#include "chart/parameter_repeat.h"

#include <algorithm>

#include "chart/chart_spelling.h"
#include "parameters/parameter_display.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostValues = 4096;
constexpr int kHex = 16;
constexpr int kCarry = 0x80;
constexpr int kByte = 0x100;

std::optional<int> HexByte(std::string_view text) {
  if (text.empty() || text.size() > 2) return std::nullopt;
  int value = 0;
  for (const char c : text) {
    const char upper = AsciiUpper(c);
    if (upper >= '0' && upper <= '9')
      value = value * kHex + (upper - '0');
    else if (upper >= 'A' && upper <= 'F')
      value = value * kHex + (upper - 'A' + 10);
    else
      return std::nullopt;
  }
  return value;
}

std::optional<std::vector<int>> HexBytes(std::string_view text) {
  std::vector<int> bytes;
  for (const std::string& word : SplitText(text, ' ')) {
    const auto byte = HexByte(word);
    if (!byte) return std::nullopt;
    bytes.push_back(*byte);
  }
  return bytes;
}

// Takes a repeat's words one after the other.
class RepeatReader {
 public:
  RepeatReader(const std::vector<ChartCell>& words, bool hex) : words_(words), hex_(hex) {}

  bool Read(ParameterRepeat* repeat) {
    for (++at_; !Done() && Word() != "in"; ++at_)
      repeat->word += (repeat->word.empty() ? "" : " ") + UnquotedItem(Word());
    if (Done() || repeat->word.empty()) return false;
    const std::vector<std::string> keywords{"from", "step", "numbers"};
    for (++at_; !Done() && std::find(keywords.begin(), keywords.end(), Word()) == keywords.end(); ++at_) {
      if (Word().size() > 2 && IsNearlyOneOf(Word(), keywords)) return false;
      if (!Value(repeat)) return false;
    }
    if (repeat->values.empty() || repeat->values.size() > kMostValues) return false;
    while (!Done()) {
      const std::string word = Word();
      ++at_;
      if (word == "from") {
        if (!Base(repeat)) return false;
      } else if (word == "step") {
        if (!Number(&repeat->step)) return false;
      } else if (word == "numbers") {
        if (!NumbersStep(repeat)) return false;
      } else {
        return false;
      }
    }
    return true;
  }

 private:
  bool Done() const { return at_ >= words_.size(); }
  const std::string& Word() const { return words_[at_].text; }

  // One value or `1..8`.
  bool Value(ParameterRepeat* repeat) const {
    const std::size_t dots = Word().find("..");
    const auto first = ParseInteger(Word().substr(0, dots));
    const auto last = dots == std::string::npos ? std::nullopt : ParseInteger(Word().substr(dots + 2));
    if (!first || !last || *first > *last || *last - *first >= static_cast<std::int64_t>(kMostValues)) {
      repeat->values.push_back(UnquotedItem(Word()));
      return dots == std::string::npos;
    }
    for (std::int64_t value = *first; value <= *last; ++value) repeat->values.push_back(std::to_string(value));
    return true;
  }

  bool Number(std::int64_t* out) {
    const auto number = Done() ? std::nullopt : ParseInteger(Word());
    if (!number) return false;
    *out = *number;
    ++at_;
    return true;
  }

  bool Base(ParameterRepeat* repeat) {
    if (Done()) return false;
    repeat->inside = Word().starts_with('+');
    const auto number = ParseInteger(std::string_view(Word()).substr(repeat->inside ? 1 : 0));
    if (!number) return false;
    repeat->from = *number;
    ++at_;
    return true;
  }

  bool NumbersStep(ParameterRepeat* repeat) {
    if (Done() || Word() != "step") return false;
    ++at_;
    std::int64_t number = 0;
    if (!hex_) {
      if (!Number(&number)) return false;
      repeat->numbersStep = {static_cast<int>(number)};
      return true;
    }
    for (; !Done(); ++at_) {
      const auto byte = HexByte(Word());
      if (!byte) break;
      repeat->numbersStep.push_back(*byte);
    }
    return !repeat->numbersStep.empty();
  }

  const std::vector<ChartCell>& words_;
  bool hex_;
  std::size_t at_ = 0;
};

}  // namespace

std::string ParameterRepeat::Prefix(std::size_t index) const {
  const bool small = std::any_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  return word + (small ? " " : "") + values[index];
}

std::optional<std::size_t> PlaceOfPart(std::string_view change) {
  const std::string padded = std::string(change) + " ";
  for (std::size_t at = padded.find(kPartWord); at != std::string::npos; at = padded.find(kPartWord, at + 1)) {
    const bool begins = at == 0 || padded[at - 1] == ' ' || padded[at - 1] == '+';
    if (begins && padded[at + kPartWord.size()] == ' ') return at;
  }
  return std::nullopt;
}

std::string ChangeInPart(const std::string& change, std::size_t part, std::int64_t from) {
  constexpr std::string_view kOffset = "offset";
  if (!PlaceOfPart(change)) return change;
  std::string text;
  for (std::string word : SplitText(change, ' ')) {
    if (word == kPartWord)
      word = Printf("%02X", static_cast<unsigned>(part));
    else if (word.ends_with("+" + std::string(kPartWord)))
      word = word.substr(0, word.size() - kPartWord.size()) + std::to_string(part);
    else if (from && (word == kOffset || word.ends_with("+" + std::string(kOffset))))
      word += "-" + std::to_string(from);
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

std::vector<ChartCell> ChartWords(const ChartCell& cell) {
  std::vector<ChartCell> words;
  for (std::size_t i = 0; i < cell.text.size();) {
    if (cell.text[i] == ' ' || cell.text[i] == '\t') {
      ++i;
      continue;
    }
    const bool quoted = cell.text[i] == '"';
    std::size_t end = cell.text.find_first_of(quoted ? "\"" : " \t", i + 1);
    end = end == std::string::npos ? cell.text.size() : end + (quoted ? 1 : 0);
    words.push_back(cell.Part(i, end - i));
    i = end;
  }
  return words;
}

std::optional<ParameterRepeat> ReadParameterRepeat(const ChartCell& line, bool hex) {
  const std::vector<ChartCell> words = ChartWords(line);
  ParameterRepeat repeat;
  if (!RepeatReader(words, hex).Read(&repeat)) return std::nullopt;
  return repeat;
}

std::string SteppedNumber(const std::string& number, const std::vector<int>& step, std::size_t steps, bool hex) {
  const std::string plain = number.starts_with('+') ? number.substr(1) : number;
  if (step.empty() || steps == 0) return plain;
  if (!hex) {
    const auto first = ParseInteger(plain);
    return first ? std::to_string(*first + step[0] * static_cast<std::int64_t>(steps)) : plain;
  }
  auto bytes = HexBytes(plain);
  if (!bytes) return plain;
  const int limit = std::any_of(bytes->begin(), bytes->end(), [](int byte) { return byte >= kCarry; }) ? kByte : kCarry;
  for (std::size_t i = 0; i < steps; ++i) {
    int carry = 0;
    for (std::size_t back = 1; back <= bytes->size(); ++back) {
      int& byte = (*bytes)[bytes->size() - back];
      byte += carry + (back <= step.size() ? step[step.size() - back] : 0);
      carry = byte / limit;
      byte %= limit;
    }
  }
  std::string out;
  for (const int byte : *bytes) out += (out.empty() ? "" : " ") + Printf("%02X", static_cast<unsigned>(byte));
  return out;
}

}  // namespace tonalith
