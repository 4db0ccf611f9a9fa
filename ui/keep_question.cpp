#include "ui/keep_question.h"

#include "platform/prompts.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/send_care.h"
#include "ui/window_context.h"

namespace tonalith {

bool AskToKeep(WindowContext& context, const DataFile& data, const std::string& title, CarefulSend* wishes) {
  if (context.sendCare().Keeps(data) != KeepBeforeSend::kAskFirst || !CanBeAskedFor(data)) return true;
  const std::string instrument = Latin1ToUtf8(TransferInstrumentName(data));
  MessagePrompt prompt;
  prompt.title = title;
  prompt.text = "Keep what the " + instrument +
                " holds there before it is overwritten?\n\nIt is got first; Undo Send and the instrument history bring "
                "it back.";
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.icon = PromptIcon::Question;
  prompt.labels = {"Keep and Send", "Send Only", "Cancel"};
  const PromptAnswer answer = context.prompts().Message(prompt);
  wishes->keep = answer == PromptAnswer::Yes;
  return answer == PromptAnswer::Yes || answer == PromptAnswer::No;
}

bool AskToReplace(WindowContext& context, int unsent, const std::string& title) {
  if (unsent == 0) return true;
  MessagePrompt prompt;
  prompt.title = title;
  prompt.text = unsent == 1
                    ? "1 patch was changed since it came from the instrument or was sent.  What comes now takes "
                      "its place; Undo brings it back.\n\nGet it all the same?"
                    : std::to_string(unsent) +
                          " patches were changed since they came from the instrument or were sent.  What comes "
                          "now takes their place; Undo brings them back.\n\nGet them all the same?";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {"Get", "Cancel"};
  return context.prompts().Message(prompt) == PromptAnswer::Yes;
}

}  // namespace tonalith
