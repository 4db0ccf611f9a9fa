#include "store/library/library_ask.h"

#include <string>

#include "platform/prompts.h"

namespace tonalith {

LibraryDecision AskLibraryQuestion(Prompts& prompts, const LibraryQuestion& question) {
  constexpr LibraryAnswer kAnswers[] = {LibraryAnswer::AddUnique, LibraryAnswer::AddEdited, LibraryAnswer::AddUnchanged,
                                        LibraryAnswer::Skip, LibraryAnswer::CancelAll};
  ChoicePrompt choice;
  choice.title = "Library";
  choice.label = question.text;
  choice.items = {"Add as \"" + question.unique + "\"", "Add under another name", "Add unchanged", "Skip this patch",
                  "Cancel, and add none of those that follow"};
  choice.button = "Continue";
  const int chosen = prompts.Choose(choice);
  if (chosen < 0) return {LibraryAnswer::CancelAll};
  const LibraryAnswer answer = kAnswers[chosen];
  if (answer != LibraryAnswer::AddEdited) return {answer};
  TextPrompt text;
  text.title = "Library";
  text.label = "Name:";
  text.text = question.unique;
  std::string name;
  if (!prompts.Text(text, name) || name.empty()) return {LibraryAnswer::Skip};
  return {answer, name};
}

}  // namespace tonalith
