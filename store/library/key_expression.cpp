#include "store/library/key_expression.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "data/data_records.h"
#include "platform/text.h"

namespace tonalith {

class KeyExpression::Parser {
 public:
  Parser(const std::string& text, std::vector<Item>* items) : items_(*items) { Split(text); }

  Result Run() {
    if (!problem_.empty()) return Result::Failure(problem_);
    if (tokens_.empty()) return Result::Success();
    if (!Expression(0)) return Result::Failure(problem_);
    if (at_ < tokens_.size()) return Result::Failure("There is a \")\" too many in the keywords.");
    return Result::Success();
  }

 private:
  static constexpr int kDeepest = 100;

  struct Token {
    std::string text;
    bool quoted = false;
  };

  void Split(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
      const char c = text[at];
      if (c == ' ' || c == '\t' || c == '\n') {
        ++at;
      } else if (c == '(' || c == ')') {
        tokens_.push_back({std::string(1, c)});
        ++at;
      } else if (c == '"' || c == '\'') {
        const std::size_t end = text.find(c, at + 1);
        if (end == std::string::npos) {
          problem_ = "A quotation mark is missing in the keywords.";
          return;
        }
        tokens_.push_back({text.substr(at + 1, end - at - 1), true});
        at = end + 1;
      } else {
        const std::size_t end = std::min(text.find_first_of(" \t\n()\"'", at), text.size());
        tokens_.push_back({text.substr(at, end - at)});
        at = end;
      }
    }
  }

  static std::optional<Step> OperatorOf(const Token& token) {
    constexpr std::pair<const char*, Step> kOperators[] = {
        {"and", Step::And}, {"or", Step::Or}, {"andnot", Step::AndNot}, {"xor", Step::XOr}};
    for (const auto& [name, step] : kOperators)
      if (!token.quoted && AsciiEqualNoCase(token.text, name)) return step;
    return std::nullopt;
  }

  bool IsMark(char mark) const {
    return at_ < tokens_.size() && !tokens_[at_].quoted && tokens_[at_].text == std::string(1, mark);
  }

  bool Fail(std::string problem) {
    problem_ = std::move(problem);
    return false;
  }

  bool Term(int depth) {
    if (depth > kDeepest) return Fail("There are too many parentheses in the keywords.");
    if (IsMark('(')) {
      ++at_;
      if (!Expression(depth + 1)) return false;
      if (!IsMark(')')) return Fail("A \")\" is missing in the keywords.");
      ++at_;
      return true;
    }
    if (at_ == tokens_.size() || IsMark(')') || OperatorOf(tokens_[at_]))
      return Fail(at_ == tokens_.size() ? std::string("A keyword is missing at the end.")
                                        : "A keyword is missing before \"" + tokens_[at_].text + "\".");
    items_.push_back({Step::Word, Utf8ToLatin1(tokens_[at_++].text).substr(0, kKeywordSize - 1)});
    return true;
  }

  bool Expression(int depth) {
    if (!Term(depth)) return false;
    while (at_ < tokens_.size() && !IsMark(')')) {
      const auto step = OperatorOf(tokens_[at_]);
      if (!step) return Fail("And, Or, AndNot or XOr is missing before \"" + tokens_[at_].text + "\".");
      ++at_;
      if (!Term(depth)) return false;
      items_.push_back({*step});
    }
    return true;
  }

  std::vector<Item>& items_;
  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  std::string problem_;
};

Result KeyExpression::Parse(const std::string& text, KeyExpression* expression) {
  std::vector<Item> items;
  if (Result result = Parser(text, &items).Run(); !result.ok()) return result;
  expression->items_ = std::move(items);
  return Result::Success();
}

bool KeyExpression::EvaluateKeys(std::span<const std::string> keywords) const {
  std::vector<bool> values;
  for (const Item& item : items_) {
    if (item.step == Step::Word) {
      values.push_back(std::any_of(keywords.begin(), keywords.end(),
                                   [&item](const std::string& word) { return AsciiEqualNoCase(word, item.word); }));
      continue;
    }
    const bool right = values.back();
    values.pop_back();
    const bool left = values.back();
    values.back() = item.step == Step::And      ? left && right
                    : item.step == Step::Or     ? left || right
                    : item.step == Step::AndNot ? left && !right
                                                : left != right;
  }
  return values.empty() || values.back();
}

}  // namespace tonalith
