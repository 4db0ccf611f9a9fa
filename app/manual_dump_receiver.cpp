#include "app/manual_dump_receiver.h"

#include "app/child_windows.h"
#include "app/studio_commands.h"
#include "midi/midi_input.h"
#include "platform/clock.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/program.h"
#include "services/settings.h"
#include "ui/instrument_window.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr char kUndoText[] = "Data from the Instrument";

}  // namespace

ManualDumpReceiver::ManualDumpReceiver(const FrameContext& frame, StudioCommands& studio)
    : frame_(frame),
      studio_(studio),
      dumps_(frame.studio, *this),
      feed_(frame.program.in(), frame.program.transfers().portsInUse(), frame.program.clock(),
            frame.program.dispatcher(), dumps_) {}

ManualDumpMode ManualDumpReceiver::Mode() const {
  const int mode = frame_.program.settings().MainReceiveManualBulkDumps(-1);
  return mode <= 0 ? ManualDumpMode::kOff : mode == 1 ? ManualDumpMode::kAsk : ManualDumpMode::kTake;
}

InstrumentWindow* ManualDumpReceiver::WindowOf(const DataFile* dataFile) const {
  return qobject_cast<InstrumentWindow*>(frame_.children.FirstThat([dataFile](ZKWindow& child) {
    const auto* window = qobject_cast<InstrumentWindow*>(&child);
    return window && window->dataFile() == dataFile;
  }));
}

std::vector<DataFile*> ManualDumpReceiver::OpenData() {
  std::vector<DataFile*> open;
  const ZKWindow* active = frame_.children.Active();
  for (ZKWindow* child : frame_.children.All()) {
    auto* window = qobject_cast<InstrumentWindow*>(child);
    if (!window || !window->document().ReadOnlyReason().empty()) continue;
    open.insert(child == active ? open.begin() : open.end(), window->dataFile());
  }
  return open;
}

void ManualDumpReceiver::BeginChange(DataFile* dataFile) {
  if (InstrumentWindow* window = WindowOf(dataFile)) window->BeginReceive(kUndoText);
}

void ManualDumpReceiver::EndChange(DataFile* dataFile, bool more) {
  InstrumentWindow* window = WindowOf(dataFile);
  if (!window) return;
  if (more)
    window->PatchesArrived();
  else
    window->EndReceive(false, {});
}

bool ManualDumpReceiver::Ask(const std::string& question) {
  MessagePrompt prompt;
  prompt.title = "Data from an Instrument";
  prompt.text = question;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  return frame_.prompts().Message(prompt) == PromptAnswer::Yes;
}

void ManualDumpReceiver::OpenNew(DataFilePtr dataFile) {
  studio_.OpenData(std::move(dataFile), true);
}

void ManualDumpReceiver::Tell(const std::string& sentence) {
  frame_.Status(ShownUtf8(sentence));
}

}  // namespace tonalith
