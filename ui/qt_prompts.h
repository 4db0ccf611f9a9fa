#pragma once

#include <atomic>

#include "platform/jobs.h"
#include "platform/prompts.h"

class QWidget;

namespace tonalith {

// Asks with dialogs over the main window.  Questions from other threads are brought to the user-interface thread; once
// the program is quitting every question is answered at once with the refusing answer.
class QtPrompts final : public Prompts {
 public:
  explicit QtPrompts(Dispatcher& dispatcher) : dispatcher_(dispatcher) {}

  // The window the dialogs stand over; may be null.
  void SetParent(QWidget* parent) { parent_ = parent; }
  void SetQuitting(bool quitting) { quitting_.store(quitting); }

  PromptAnswer Message(const MessagePrompt& prompt) override;
  std::string File(const FilePrompt& prompt) override;
  std::vector<std::string> Files(const FilePrompt& prompt) override;
  bool Text(const TextPrompt& prompt, std::string& text) override;
  int Choose(const ChoicePrompt& prompt) override;

 private:
  PromptAnswer ShowMessage(const MessagePrompt& prompt);
  std::string ShowFile(const FilePrompt& prompt);
  std::vector<std::string> ShowFiles(const FilePrompt& prompt);
  int ShowChoice(const ChoicePrompt& prompt);
  bool ShowText(const TextPrompt& prompt, std::string& text);

  Dispatcher& dispatcher_;
  QWidget* parent_ = nullptr;
  std::atomic<bool> quitting_{false};
};

}  // namespace tonalith
