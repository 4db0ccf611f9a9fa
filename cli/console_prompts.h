#pragma once

#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

#include "platform/prompts.h"
#include "platform/terminal_text.h"

namespace tonalith {

// Questions of the program as text on standard error, answers from standard input.  Without a terminal every question
// gets the refusing answer.  Plain notices are kept and printed by whoever ran the operation when they explain its
// failure.
class ConsolePrompts final : public Prompts {
 public:
  ConsolePrompts(std::istream& in, TerminalText err, bool canAsk) : in_(in), err_(err), canAsk_(canAsk) {}

  PromptAnswer Message(const MessagePrompt& prompt) override;
  std::string File(const FilePrompt& prompt) override;
  bool Text(const TextPrompt& prompt, std::string& text) override;

  // The notices since the last call, each on one line.
  std::vector<std::string> TakeNotices();

 private:
  bool ReadAnswer(std::string* answer);

  std::mutex mutex_;
  std::istream& in_;
  TerminalText err_;
  bool canAsk_;
  std::vector<std::string> notices_;
};

}  // namespace tonalith
