#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Button sets of a message box and the answer numbers that callers test.
// The abort/retry/ignore set has its own answers: 3 refuses (also Escape and closing), 4 accepts, 5 ignores.
enum class PromptButtons { Ok, OkCancel, AbortRetryIgnore, YesNoCancel, YesNo, RetryCancel };
enum class PromptIcon { None, Information, Question, Warning, Error };
enum class PromptAnswer : int { None = 0, Ok = 1, Cancel = 2, Abort = 3, Retry = 4, Ignore = 5, Yes = 6, No = 7 };

struct MessagePrompt {
  std::string title;  // UTF-8
  std::string text;   // UTF-8, lines separated by \n
  PromptButtons buttons = PromptButtons::Ok;
  PromptIcon icon = PromptIcon::None;
  std::vector<std::string> labels;  // captions instead of the usual ones, in the order of the set; empty: as usual
  std::string checkBox;             // label of a "don't ask again" box; empty: no box
  bool* checked = nullptr;          // initial and final state of the box
};

struct FilePrompt {
  std::string title;
  std::string folder;                 // where the dialog opens
  std::string name;                   // suggested file name
  std::vector<std::string> patterns;  // "Set (*.PVS)" ...
  bool save = false;
};

struct TextPrompt {
  std::string title;
  std::string label;
  std::string text;  // initial text
  int maxLength = 255;
};

struct ChoicePrompt {
  std::string title;
  std::string label;
  std::vector<std::string> items;
  int chosen = 0;        // at first
  std::string button{};  // what agrees, a verb; empty: OK
};

// The only way the program asks a person anything.  The windows implement it with dialogs, the command line tool with
// text on standard error, tests with ScriptedPrompts.  May be called from any thread: implementations bring the
// question to the user-interface thread and wait there in slices; while the program quits they answer at once with the
// refusing answer.
class Prompts {
 public:
  virtual ~Prompts() = default;
  virtual PromptAnswer Message(const MessagePrompt& prompt) = 0;
  // Empty: the user cancelled.
  virtual std::string File(const FilePrompt& prompt) = 0;
  // Several existing files; empty: the user cancelled.
  virtual std::vector<std::string> Files(const FilePrompt& prompt) {
    const std::string path = File(prompt);
    return path.empty() ? std::vector<std::string>{} : std::vector<std::string>{path};
  }
  // False: the user cancelled; `text` receives the entry.
  virtual bool Text(const TextPrompt& prompt, std::string& text) = 0;
  // The position of the item chosen; -1: the user cancelled.  Where there is no list, the text of the item is asked
  // for.
  virtual int Choose(const ChoicePrompt& prompt);

  PromptAnswer Say(const std::string& title, const std::string& text) {
    MessagePrompt prompt;
    prompt.title = title;
    prompt.text = text;
    return Message(prompt);
  }
};

// Answers from a script and logs each question: one answer a line, in the order of the questions:
//   ok | cancel | abort | retry | ignore | yes | no | file PATH | text TEXT
// An optional `TITLE-PART: ` before the answer makes the line wait for a question whose title contains that part.
// With no line left the refusing answer is given.  The log holds "title | text | buttons -> answer", one line each,
// with line ends inside the text written as \n.  The environment variable TONALITH_PROMPT_SCRIPT names such a file; the
// log is then written beside it with ".log" appended.
class ScriptedPrompts final : public Prompts {
 public:
  explicit ScriptedPrompts(std::vector<std::string> answers, std::string logFile = {});
  // Null when TONALITH_PROMPT_SCRIPT is not set or cannot be read.
  static std::unique_ptr<ScriptedPrompts> FromEnvironment();

  PromptAnswer Message(const MessagePrompt& prompt) override;
  std::string File(const FilePrompt& prompt) override;
  bool Text(const TextPrompt& prompt, std::string& text) override;
  std::vector<std::string> Log() const;

 private:
  std::string Next(const std::string& title);
  void Note(const std::string& text);

  mutable std::mutex mutex_;
  std::vector<std::string> answers_;
  std::vector<std::string> log_;
  std::string logFile_;
};

// The patterns of a file dialog from a filter text "label|*.A;*.B|label|*.*|", one pattern a label, as FilePrompt takes
// them ("label (*.A *.a *.B *.b)"; "*.*" stands for every file).
std::vector<std::string> FilePatterns(std::string_view filter);

// The refusing answer of a button set: cancel, no, 3 of abort/retry/ignore, or ok where there is nothing else.
PromptAnswer RefusingAnswer(PromptButtons buttons);
const char* PromptAnswerName(PromptAnswer answer);

}  // namespace tonalith
