#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// "Bass And (Warm Or 'Slow Attack')": which keywords a patch has to have.  Words are bare or in quotes of either kind;
// the operators And, Or, AndNot and XOr, in any case, are taken from left to right, parentheses first.  An empty text
// fits everything.
class KeyExpression {
 public:
  // UTF-8.  Fails with a sentence about the place that cannot be understood.
  static Result Parse(const std::string& text, KeyExpression* expression);

  // Whether keywords (Latin-1) fit; case does not count, and a word is compared as far as a keyword slot holds it.
  bool EvaluateKeys(std::span<const std::string> keywords) const;

 private:
  enum class Step : std::uint8_t { Word, And, Or, AndNot, XOr };
  struct Item {
    Step step = Step::Word;
    std::string word{};
  };
  class Parser;
  std::vector<Item> items_;  // operators behind their two operands
};

}  // namespace tonalith
