#include "simulator/description_lines.h"

#include "simulator/text_tools.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostMistakes = 200;

std::string_view WithoutComment(std::string_view line) {
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == '#' && !quoted) return line.substr(0, i);
  }
  return line;
}

std::string Listed(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

}  // namespace

void DescriptionLines::ReadLines() {
  std::size_t at = 0;
  while (at < text_.size() && mistakes_.size() < kMostMistakes) {
    std::size_t end = text_.find('\n', at);
    if (end == std::string_view::npos) end = text_.size();
    ++line_;
    whole_ = text_.substr(at, end - at);
    ReadLine(StripBlanks(WithoutComment(whole_)));
    at = end + 1;
  }
}

void DescriptionLines::ReadLine(std::string_view line) {
  if (line.empty()) return;
  begin_ = line.data();
  key_ = "";
  if (line.front() == '[') {
    isKnown_ = line.back() == ']';
    if (!isKnown_) return Fail("the block heading does not end with ]", "A heading reads [KIND] or [KIND NAME].");
    const std::string_view heading = line.substr(1, line.size() - 2);
    const std::size_t blank = heading.find(' ');
    block_ = heading.substr(0, blank);
    isKnown_ = OpenBlock(std::string(blank == std::string_view::npos ? "" : StripBlanks(heading.substr(blank))));
    return isKnown_ ? void() : UnknownBlock();
  }
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return Fail("expected key = value");
  if (block_.text().empty() && !isKnown_) return Fail("the line stands before the first block");
  if (!isKnown_) return;
  key_ = StripBlanks(line.substr(0, equals));
  value_ = StripBlanks(line.substr(equals + 1));
  if (!value_.empty()) begin_ = value_.data();
  if (Entry()) return;
  begin_ = line.data();
  UnknownKey();
}

void DescriptionLines::UnknownKey() {
  const std::string key = key_.text();
  key_.Record(true);
  Entry();
  key_.Record(false);
  key_ = "";
  Fail("\"" + key + "\" is not known here", "[" + block_.text() + "] takes: " + Listed(key_.TakeKnown()) + ".");
}

void DescriptionLines::UnknownBlock() {
  const std::string block = block_.text();
  block_.Record(true);
  Entry();
  block_.Record(false);
  Fail("there is no block \"" + block + "\"", "There are the blocks: " + Listed(block_.TakeKnown()) + ".");
}

void DescriptionLines::Fail(const std::string& what, const std::string& hint) {
  if (!mistakes_.empty() && mistakes_.back().line == line_) return;
  const auto column = static_cast<int>(begin_ - whole_.data()) + 1;
  const std::string read = key_.text().empty() ? "" : key_.text() + " = " + std::string(value_) + ": ";
  mistakes_.push_back({line_, column, read + what, hint});
}

bool DescriptionLines::Number(int& target, int low, int high) {
  const auto number = ReadSimNumber(value_);
  const bool good = number && *number >= low && *number <= high;
  if (!good)
    Fail("\"" + std::string(value_) + "\" is no number from " + std::to_string(low) + " to " + std::to_string(high));
  // The largest one keeps what depends on it from being wrong as well.
  target = good ? *number : high;
  return true;
}

bool DescriptionLines::Text(std::string& target) {
  target = std::string(value_);
  return true;
}

bool DescriptionLines::YesNo(bool& target) {
  if (value_ != "yes" && value_ != "no") Fail("expected yes or no");
  target = value_ == "yes";
  return true;
}

bool DescriptionLines::Pattern(WirePattern& target) {
  std::string what;
  auto pattern = ParsePattern(value_, &what);
  if (pattern)
    target = std::move(*pattern);
  else
    Fail(what,
         "A part is a byte like F0, 3n or nn for the device number, {item:20-2F} for a byte between limits, ?, or "
         "\"characters\".");
  return true;
}

std::string MistakeSentence(const std::string& source, const std::vector<DescriptionMistake>& mistakes) {
  const DescriptionMistake& first = mistakes.front();
  std::string text = source + ", line " + std::to_string(first.line) + ": " + first.text + ".";
  if (mistakes.size() > 1) text += "  There are " + std::to_string(mistakes.size()) + " mistakes in all.";
  return text;
}

}  // namespace tonalith
