#include "studio/studio_surroundings.h"

#include "platform/prompts.h"

namespace tonalith {

std::vector<std::string> StudioSurroundings::InNames() const {
  return ports ? ports->InputPortNames() : std::vector<std::string>();
}

std::vector<std::string> StudioSurroundings::OutNames() const {
  return ports ? ports->OutputPortNames() : std::vector<std::string>();
}

bool StudioSurroundings::Ask(const std::string& question) const {
  MessagePrompt prompt;
  prompt.title = "Studio";
  prompt.text = question;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  return prompts.Message(prompt) == PromptAnswer::Yes;
}

}  // namespace tonalith
