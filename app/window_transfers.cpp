#include "app/window_transfers.h"

#include <QMainWindow>

#include "app/command_menus.h"
#include "app/midi_commands.h"
#include "app/simulation.h"
#include "midi/port_system.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/script_bridge.h"
#include "studio/type_check.h"
#include "ui/plain_text.h"
#include "ui/transfer_windows.h"

namespace tonalith {

namespace {

constexpr const char* kSendTitle = "MIDI I/O";

template <bool (TransferFiles::*Send)(const std::string& path, int port)>
void SendWith(TransferFiles& files, const std::string& path) {
  (files.*Send)(path, 0);
}

struct SendCommand {
  CommandId command;
  const char* title;
  const char* filter;
  void (*send)(TransferFiles& files, const std::string& path);
};
constexpr SendCommand kSendCommands[] = {
    {CommandId::SendDataFile, "Choose Data File to Send?", "ZK Data File (*.*)|*.*|",
     SendWith<&TransferFiles::DiskTransmit>},
    {CommandId::SendCollection, "Choose Collection/Set to Send?",
     "Set/Collection|*.PVS;*.PVC;*.PVD;*.PVG|ZK Collection (*.PVC)|*.PVC;*.PVD|ZK Set (*.PVS)|*.PVS;*.PVG|ZK Data File "
     "(*.*)|*.*|",
     SendWith<&TransferFiles::DiskDBTransmit>},
    {CommandId::SendSysEx, "Choose MIDIX File to Send?", "ZK MidiX File (*.SYX)|*.SYX|All Files (*.*)|*.*|",
     SendWith<&TransferFiles::MidiXTransmit>},
    {CommandId::SendMidiFile, "Choose SMF File to Send?", "MIDI File (*.MID)|*.MID|All Files (*.*)|*.*|",
     SendWith<&TransferFiles::SMFTransmit>},
};

}  // namespace

WindowTransfers::WindowTransfers(const FrameContext& frame)
    : frame_(frame), desk_(frame.program.desk()), files_(frame.program.files()) {
  for (const SendCommand& row : kSendCommands) {
    frame_.menus.Register(row.command, {[this, &row] {
                            FilePrompt prompt;
                            prompt.title = row.title;
                            prompt.folder = frame_.program.paths().MainGetDataPath();
                            prompt.patterns = FilePatterns(row.filter);
                            const std::string path = frame_.prompts().File(prompt);
                            if (!path.empty()) row.send(files_, path);
                          }});
  }
  frame_.menus.Register(CommandId::MidiCancelTransmit,
                        {[this] { OnCancelTransmit(); }, [this] { return NoOutputSentence(frame_.program); }});
  files_.SetObserver([this](const DeskEvent& event) { Show(event); });
  desk_.SetLineQuestion([this](const std::string& warning) {
    MessagePrompt prompt;
    prompt.title = "MIDI I/O";
    prompt.text = warning + "\n\nSend anyway?";
    prompt.buttons = PromptButtons::YesNo;
    prompt.icon = PromptIcon::Warning;
    return frame_.prompts().Message(prompt) == PromptAnswer::Yes;
  });
  desk_.SetRefusalText([&studio = frame_.studio](int driverId, std::span<const std::uint8_t> message) {
    return studio.RefusalSentence(driverId, message);
  });
  frame_.program.scripts().SetReceivedChecks(
      [&studio = frame_.studio](const DataFile& dataFile) { return CheckOfType(studio, dataFile); });
}

WindowTransfers::~WindowTransfers() {
  frame_.program.scripts().SetReceivedChecks({});
  files_.SetObserver({});
  desk_.SetRefusalText({});
  desk_.SetLineQuestion({});
}

ZKMidiInStatus* WindowTransfers::receiveWindow() {
  if (!receiveWindow_) receiveWindow_ = new ZKMidiInStatus(&frame_.window);
  return receiveWindow_;
}

TransferDesk::Job WindowTransfers::Start(DeskRequest request) {
  // Data that was open while its module was changed.
  for (DeskStep& step : request.steps) {
    DataFile* data = step.dataFile ? step.dataFile : step.owned.get();
    if (!data || desk_.Busy(data)) continue;
    frame_.studio.UpdateScripts(data);
    step.note = frame_.studio.ScriptsSentence(*data);
  }
  // The window hears of the end first.
  request.observer = [this, inner = std::move(request.observer)](const DeskEvent& event) {
    if (inner) inner(event);
    Show(event);
  };
  TransferDesk::Job job = desk_.Submit(std::move(request));
  if (job->Ended()) frame_.prompts().Say(kSendTitle, job->result().sentence);
  return job;
}

void WindowTransfers::Abandon(const DataFile* dataFile) {
  DeskEvent end;
  end.state = DeskState::kEnded;
  end.job = desk_.JobOf(dataFile);
  desk_.Abandon(dataFile);
  if (listener_ && end.job) listener_(end);
}

void WindowTransfers::Show(const DeskEvent& event) {
  if (listener_) listener_(event);
  if (event.kind != DeskEvent::Kind::kState) return;
  const bool ended = event.state == DeskState::kEnded;
  const std::string& sentence = ended ? event.result.sentence : event.text;
  if (!sentence.empty()) frame_.Status(ShownUtf8(sentence));
  const auto& transfer = event.job->transfer();
  if (event.state == DeskState::kStarted && !event.job->Sends() && transfer && transfer->Running())
    receiveWindow()->Add(transfer);
  if (!ended) return;
  if (receiveWindow_) receiveWindow_->TransferClosed();
  if (frame_.simulation) frame_.simulation->Remember();
  // What is missing must not pass with the status line.
  const TransferCause cause = event.result.cause;
  if (cause == TransferCause::kDamaged || cause == TransferCause::kIncomplete || !event.result.faults.empty())
    frame_.prompts().Say("Get", sentence);
}

void WindowTransfers::OpenTransmitWindow() {
  if (transmitWindow_) return;
  auto* window = new ZKMidiOutStatus(frame_.program.transfers(), &frame_.window);
  transmitWindow_ = window;
  connect(window, &ZKMidiOutStatus::Cancelled, this, [this](int port) { desk_.CancelSends(port); });
  window->show();
}

// ---- cancelling -----------------------------------------------------------------------------------------------------

void WindowTransfers::OnCancelTransmit() {
  MidiOut& out = frame_.program.out();
  int count = 0;
  out.OUTNUMPORTS(&count);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(out.OUTGETPORTNAME(i));
  ZKCancelTransmit dialog(names, &frame_.window);
  if (dialog.exec() == QDialog::Accepted) StopPorts(dialog.Selected());
}

void WindowTransfers::StopPorts(const std::vector<bool>& ports) {
  for (std::size_t i = 0; i < ports.size(); ++i) {
    if (ports[i]) desk_.CancelSends(static_cast<int>(i));
  }
  frame_.program.transfers().StopOutput(ports);
}

void WindowTransfers::StopOutputs() {
  files_.Cancel();
  StopPorts(std::vector<bool>(static_cast<std::size_t>(frame_.program.out().MaxOutPorts()), true));
}

bool WindowTransfers::Sends() const {
  if (desk_.Sends()) return true;
  MidiOut& out = frame_.program.out();
  for (int i = 0; i < out.MaxOutPorts(); ++i) {
    const auto port = out.Slot(i);
    if (port && port->isBusy()) return true;
  }
  return false;
}

}  // namespace tonalith
