#include "cli/console_prompts.h"

#include <istream>
#include <utility>

#include "platform/text.h"

namespace tonalith {

namespace {

struct ConsoleButton {
  PromptAnswer answer;
  const char* name;
};

std::vector<ConsoleButton> ButtonsOf(PromptButtons buttons) {
  using A = PromptAnswer;
  switch (buttons) {
    case PromptButtons::OkCancel:
      return {{A::Ok, "ok"}, {A::Cancel, "cancel"}};
    case PromptButtons::AbortRetryIgnore:
      return {{A::Abort, "abort"}, {A::Retry, "retry"}, {A::Ignore, "ignore"}};
    case PromptButtons::YesNoCancel:
      return {{A::Yes, "yes"}, {A::No, "no"}, {A::Cancel, "cancel"}};
    case PromptButtons::YesNo:
      return {{A::Yes, "yes"}, {A::No, "no"}};
    case PromptButtons::RetryCancel:
      return {{A::Retry, "retry"}, {A::Cancel, "cancel"}};
    case PromptButtons::Ok:
      break;
  }
  return {{A::Ok, "ok"}};
}

}  // namespace

bool ConsolePrompts::ReadAnswer(std::string* answer) {
  err_.Flush();
  if (!std::getline(in_, *answer)) return false;
  *answer = std::string(TrimmedView(*answer));
  return true;
}

PromptAnswer ConsolePrompts::Message(const MessagePrompt& prompt) {
  const std::lock_guard guard(mutex_);
  if (prompt.buttons == PromptButtons::Ok) {
    notices_.push_back(PlainSentence(prompt.text));
    return PromptAnswer::Ok;
  }
  err_ << prompt.title << ": " << PlainSentence(prompt.text) << "\n";
  if (!canAsk_) {
    err_ << "(Nobody can be asked: the answer is \""
         << std::string_view(PromptAnswerName(RefusingAnswer(prompt.buttons))) << "\".)\n";
    return RefusingAnswer(prompt.buttons);
  }
  const auto buttons = ButtonsOf(prompt.buttons);
  for (std::string answer;;) {
    OwnText separator = "[";
    for (const ConsoleButton& button : buttons)
      err_ << std::exchange(separator, OwnText("/")) << std::string_view(button.name);
    err_ << "] ";
    if (!ReadAnswer(&answer)) return RefusingAnswer(prompt.buttons);
    for (const ConsoleButton& button : buttons)
      if (!answer.empty() && AsciiStartsWithNoCase(button.name, answer)) return button.answer;
  }
}

std::string ConsolePrompts::File(const FilePrompt& prompt) {
  const std::lock_guard guard(mutex_);
  std::string answer;
  if (!canAsk_) return answer;
  err_ << prompt.title << " (file, empty to cancel): ";
  return ReadAnswer(&answer) ? answer : std::string();
}

bool ConsolePrompts::Text(const TextPrompt& prompt, std::string& text) {
  const std::lock_guard guard(mutex_);
  if (!canAsk_) return false;
  // A choice has its entries in lines of the label.
  err_ << prompt.title << ": ";
  err_.Lines(prompt.label) << " [" << text << "] ";
  std::string answer;
  if (!ReadAnswer(&answer)) return false;
  if (!answer.empty()) text = CutUtf8(answer, static_cast<std::size_t>(prompt.maxLength));
  return true;
}

std::vector<std::string> ConsolePrompts::TakeNotices() {
  const std::lock_guard guard(mutex_);
  return std::exchange(notices_, {});
}

}  // namespace tonalith
