#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Doubtful places of a script source.  The compiler accepts them without a word, but what they compile to is rarely
// what was meant: unknown words that are read letter by letter, operands that are not there, data bytes taken from the
// text behind the list, numbers that turn into variables, blocks that stay open, requests that are never
// sent.
struct LintWarning {
  int line = 0;       // from 1
  int character = 0;  // from 1
  std::string text;

  friend bool operator==(const LintWarning&, const LintWarning&) = default;
};

// In the order of the source.  The faults that keep a source from compiling are among them: after each the lint goes on
// with the next statement.
std::vector<LintWarning> Lint(std::string_view source);

// "12:3: text"
std::string FormatLintWarning(const LintWarning& warning);

}  // namespace tonalith
