#include "parameters/tabbed_lines.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostText = 8u << 20;
constexpr char kVersion[] = "1";

}  // namespace

std::string TabbedLine(const std::vector<std::string>& cells) {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) line += '\t';
    for (const char c : cells[i]) line += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return line + "\n";
}

std::string TabbedHead(std::string_view kind) {
  return TabbedLine({"Tonalith " + std::string(kind), kVersion});
}

Result ReadTabbedLines(std::string_view text, std::string_view kind,
                       const std::function<std::string(const std::vector<std::string>& cells)>& take) {
  if (text.size() > kMostText) return Result::Failure("the file of " + std::string(kind) + " is too long.");
  std::size_t number = 0;
  while (!text.empty() || number == 0) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    ++number;
    std::string wrong;
    if (number == 1)
      wrong = std::string(line) + "\n" == TabbedHead(kind) ? "" : "this is no file of " + std::string(kind) + ".";
    else if (!line.empty())
      wrong = take(SplitText(line, '\t'));
    if (!wrong.empty()) return Result::Failure("line " + std::to_string(number) + ": " + wrong);
  }
  return Result::Success();
}

}  // namespace tonalith
