#include "platform/prompts.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "platform/atomic_file.h"
#include "platform/plain_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

const char* ButtonsText(PromptButtons buttons) {
  switch (buttons) {
    case PromptButtons::Ok:
      return "ok";
    case PromptButtons::OkCancel:
      return "ok cancel";
    case PromptButtons::AbortRetryIgnore:
      return "abort retry ignore";
    case PromptButtons::YesNoCancel:
      return "yes no cancel";
    case PromptButtons::YesNo:
      return "yes no";
    case PromptButtons::RetryCancel:
      return "retry cancel";
  }
  return "";
}

std::string OneLine(const std::string& text) {
  return ReplaceAll(ReplaceAll(text, "\r", ""), "\n", "\\n");
}

std::optional<PromptAnswer> AnswerNamed(std::string_view name) {
  for (int i = 1; i <= 7; ++i) {
    const auto answer = static_cast<PromptAnswer>(i);
    if (AsciiEqualNoCase(name, PromptAnswerName(answer))) return answer;
  }
  return std::nullopt;
}

// "file PATH" or "text TEXT" -> what follows the word; nullopt for any other line.
std::optional<std::string> Behind(std::string_view word, std::string_view line) {
  if (!AsciiStartsWithNoCase(line, word)) return std::nullopt;
  if (line.size() == word.size()) return std::string();
  return line[word.size()] == ' ' ? std::optional(std::string(line.substr(word.size() + 1))) : std::nullopt;
}

bool IsAnswer(std::string_view line) {
  return AnswerNamed(line) || Behind("file", line) || Behind("text", line);
}

}  // namespace

int Prompts::Choose(const ChoicePrompt& prompt) {
  TextPrompt asked;
  asked.title = prompt.title;
  asked.label = prompt.label;
  for (const auto& item : prompt.items) asked.label += "\n" + PlainLine(item);
  std::string text;
  if (!Text(asked, text)) return -1;
  for (std::size_t i = 0; i < prompt.items.size(); ++i) {
    if (AsciiEqualNoCase(prompt.items[i], text)) return static_cast<int>(i);
  }
  return -1;
}

std::vector<std::string> FilePatterns(std::string_view filter) {
  const std::vector<std::string> parts = SplitText(filter, '|');
  std::vector<std::string> patterns;
  for (std::size_t i = 0; i + 1 < parts.size(); i += 2) {
    std::string names;
    for (const std::string& name : SplitText(parts[i + 1], ';')) {
      if (!names.empty()) names += ' ';
      names += name == "*.*" ? "*" : name;
      const std::string lower = AsciiLower(name);
      if (lower != name) names += ' ' + lower;
    }
    // The label may name its patterns already.
    const std::string label(TrimmedView(std::string_view(parts[i]).substr(0, parts[i].find("(*"))));
    patterns.push_back(label + " (" + names + ")");
  }
  return patterns;
}

PromptAnswer RefusingAnswer(PromptButtons buttons) {
  switch (buttons) {
    case PromptButtons::AbortRetryIgnore:
      return PromptAnswer::Abort;
    case PromptButtons::OkCancel:
    case PromptButtons::YesNoCancel:
    case PromptButtons::RetryCancel:
      return PromptAnswer::Cancel;
    case PromptButtons::YesNo:
      return PromptAnswer::No;
    case PromptButtons::Ok:
      break;
  }
  return PromptAnswer::Ok;
}

const char* PromptAnswerName(PromptAnswer answer) {
  switch (answer) {
    case PromptAnswer::Ok:
      return "ok";
    case PromptAnswer::Cancel:
      return "cancel";
    case PromptAnswer::Abort:
      return "abort";
    case PromptAnswer::Retry:
      return "retry";
    case PromptAnswer::Ignore:
      return "ignore";
    case PromptAnswer::Yes:
      return "yes";
    case PromptAnswer::No:
      return "no";
    case PromptAnswer::None:
      break;
  }
  return "none";
}

ScriptedPrompts::ScriptedPrompts(std::vector<std::string> answers, std::string logFile)
    : answers_(std::move(answers)), logFile_(std::move(logFile)) {
  if (logFile_.empty()) return;
  if (std::FILE* file = std::fopen(logFile_.c_str(), "w")) std::fclose(file);
}

std::unique_ptr<ScriptedPrompts> ScriptedPrompts::FromEnvironment() {
  const char* path = std::getenv("TONALITH_PROMPT_SCRIPT");
  std::string text;
  if (!path || !*path || !ReadWholeFile(path, text, std::size_t{1} << 20)) return nullptr;
  std::vector<std::string> answers;
  for (const std::string& line : SplitText(text, '\n')) {
    const std::string_view body = TrimmedView(line);
    if (!body.empty() && body.front() != '#') answers.emplace_back(body);
  }
  return std::make_unique<ScriptedPrompts>(std::move(answers), std::string(path) + ".log");
}

std::string ScriptedPrompts::Next(const std::string& title) {
  for (auto it = answers_.begin(); it != answers_.end(); ++it) {
    const std::string_view line = TrimmedView(*it);
    if (IsAnswer(line)) {
      std::string answer(line);
      answers_.erase(it);
      return answer;
    }
    // The answer is behind the last ": " whose rest is one; the part before must occur in the title.
    const std::size_t at = line.find(": ");
    if (at == std::string_view::npos || title.find(line.substr(0, at)) == std::string::npos) continue;
    std::string answer(TrimmedView(line.substr(at + 2)));
    answers_.erase(it);
    return answer;
  }
  return {};
}

void ScriptedPrompts::Note(const std::string& text) {
  const std::string line = PlainLine(text);
  log_.push_back(line);
  if (logFile_.empty()) return;
  if (std::FILE* file = std::fopen(logFile_.c_str(), "a")) {
    std::fprintf(file, "%s\n", line.c_str());
    std::fclose(file);
  }
}

PromptAnswer ScriptedPrompts::Message(const MessagePrompt& prompt) {
  std::lock_guard guard(mutex_);
  const PromptAnswer answer = AnswerNamed(Next(prompt.title)).value_or(RefusingAnswer(prompt.buttons));
  Note(OneLine(prompt.title) + " | " + OneLine(prompt.text) + " | " + ButtonsText(prompt.buttons) + " -> " +
       PromptAnswerName(answer));
  return answer;
}

std::string ScriptedPrompts::File(const FilePrompt& prompt) {
  std::lock_guard guard(mutex_);
  const std::string path = Behind("file", Next(prompt.title)).value_or("");
  Note(OneLine(prompt.title) + " | " + OneLine(prompt.name) + " | " + (prompt.save ? "save" : "open") + " -> " +
       (path.empty() ? "cancel" : path));
  return path;
}

bool ScriptedPrompts::Text(const TextPrompt& prompt, std::string& text) {
  std::lock_guard guard(mutex_);
  const auto answer = Behind("text", Next(prompt.title));
  const auto limit = static_cast<std::size_t>(prompt.maxLength > 0 ? prompt.maxLength : 0);
  if (answer) text = std::string(CutUtf8(*answer, limit));
  Note(OneLine(prompt.title) + " | " + OneLine(prompt.label) + " | text -> " + (answer ? text : "cancel"));
  return answer.has_value();
}

std::vector<std::string> ScriptedPrompts::Log() const {
  std::lock_guard guard(mutex_);
  return log_;
}

}  // namespace tonalith
