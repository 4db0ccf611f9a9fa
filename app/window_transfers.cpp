#include "app/window_transfers.h"

#include <QAction>
#include <QMainWindow>
#include <algorithm>

#include "app/command_menus.h"
#include "app/midi_commands.h"
#include "app/simulation.h"
#include "app/transfer_strip.h"
#include "midi/port_system.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/script_bridge.h"
#include "services/settings.h"
#include "studio/type_check.h"
#include "ui/plain_text.h"
#include "ui/transfer_windows.h"

namespace tonalith {

namespace {

constexpr const char* kSendTitle = "MIDI I/O";

template <bool (TransferFiles::*Send)(const std::string& path, int port)>
void SendWith(TransferFiles& files, const std::string& path, int port) {
  (files.*Send)(path, port);
}

struct SendCommand {
  CommandId command;
  const char* title;
  const char* filter;
  void (*send)(TransferFiles& files, const std::string& path, int port);
  bool asksPort = false;  // the file does not say where it goes
};
constexpr SendCommand kSendCommands[] = {
    {CommandId::SendDataFile, "Choose Data File to Send?", "ZK Data File (*.*)|*.*|",
     SendWith<&TransferFiles::DiskTransmit>},
    {CommandId::SendCollection, "Choose Collection/Set to Send?",
     "Set/Collection|*.PVS;*.PVC;*.PVD;*.PVG|ZK Collection (*.PVC)|*.PVC;*.PVD|ZK Set (*.PVS)|*.PVS;*.PVG|ZK Data File "
     "(*.*)|*.*|",
     SendWith<&TransferFiles::DiskDBTransmit>},
    {CommandId::SendSysEx, "Choose MIDIX File to Send?", "ZK MidiX File (*.SYX)|*.SYX|All Files (*.*)|*.*|",
     SendWith<&TransferFiles::MidiXTransmit>, true},
    {CommandId::SendMidiFile, "Choose SMF File to Send?", "MIDI File (*.MID)|*.MID|All Files (*.*)|*.*|",
     SendWith<&TransferFiles::SMFTransmit>, true},
};

}  // namespace

WindowTransfers::WindowTransfers(const FrameContext& frame)
    : frame_(frame), desk_(frame.program.desk()), files_(frame.program.files()) {
  for (const SendCommand& row : kSendCommands) {
    frame_.menus.Register(row.command, {[this, &row] {
                            FilePrompt prompt;
                            prompt.title = row.title;
                            prompt.folder =
                                sendFolder_.empty() ? frame_.program.paths().MainGetDataPath() : sendFolder_;
                            prompt.patterns = FilePatterns(row.filter);
                            const std::string path = frame_.prompts().File(prompt);
                            if (path.empty()) return;
                            sendFolder_ = FolderOf(path);
                            if (const int port = row.asksPort ? AskPort(FileNameOf(path)) : 0; port >= 0)
                              row.send(files_, path, port);
                          }});
  }
  frame_.menus.Register(CommandId::MidiCancelTransmit,
                        {[this] { OnCancelTransmit(); }, [this] { return NoOutputSentence(frame_.program); }});
  connect(&frame_.strip, &TransferStrip::CancelWanted, this,
          [this](const TransferDesk::Job& job) { desk_.Cancel(job); });
  connect(&frame_.strip, &TransferStrip::DetailsWanted, this, &WindowTransfers::ShowDetails);
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

// The number of an open output from 1; 0: there is none to choose from; -1: the user chose none.
int WindowTransfers::AskPort(const std::string& file) {
  MidiOut& out = frame_.program.out();
  int count = 0;
  out.OUTNUMPORTS(&count);
  if (count == 0) return 0;
  ChoicePrompt prompt;
  prompt.title = kSendTitle;
  prompt.label = "Send " + file + " to this MIDI OUT port:";
  prompt.button = "Send";
  prompt.chosen = std::clamp(frame_.program.settings().MainMidiXPort(-1), 0, count - 1);
  for (int i = 0; i < count; ++i) prompt.items.push_back(out.OUTGETPORTNAME(i));
  const int chosen = frame_.prompts().Choose(prompt);
  if (chosen >= 0) frame_.program.settings().MainMidiXPort(chosen);
  return chosen < 0 ? -1 : chosen + 1;
}

ZKMidiInStatus* WindowTransfers::receiveWindow() {
  if (!receiveWindow_) {
    receiveWindow_ = new ZKMidiInStatus(&frame_.window);
    // Leaving works from there as well.
    connect(receiveWindow_, &ZKMidiInStatus::Unread, &frame_.strip, &TransferStrip::KeepForReading);
    receiveWindow_->addAction(frame_.menus.ActionOf(CommandId::FileExit));
  }
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
  if (job->Ended() && job->request().interrupts) frame_.prompts().Say(kSendTitle, job->result().sentence);
  return job;
}

void WindowTransfers::Abandon(const DataFile* dataFile) {
  DeskEvent end;
  end.state = DeskState::kEnded;
  end.job = desk_.JobOf(dataFile);
  desk_.Abandon(dataFile);
  frame_.strip.Forget(end.job);
  if (listener_ && end.job) listener_(end);
}

void WindowTransfers::Show(const DeskEvent& event) {
  if (listener_) listener_(event);
  frame_.strip.Take(event);
  if (event.kind != DeskEvent::Kind::kState) return;
  const bool ended = event.state == DeskState::kEnded;
  const std::string& sentence = ended ? event.result.sentence : event.text;
  if (!sentence.empty()) frame_.Status(ShownUtf8(sentence));
  const auto& transfer = event.job->transfer();
  if (event.state == DeskState::kStarted && !event.job->Sends() && transfer && transfer->Running())
    receiveWindow()->Add(transfer);
  if (!ended) return;
  const bool interrupts = event.job->request().interrupts;
  if (receiveWindow_) receiveWindow_->TransferClosed();
  if (frame_.simulation) frame_.simulation->Remember();
  // What is missing must not pass with the status line.
  const TransferCause cause = event.result.cause;
  if (interrupts &&
      (cause == TransferCause::kDamaged || cause == TransferCause::kIncomplete || !event.result.faults.empty()))
    frame_.prompts().Say("Get", sentence);
}

void WindowTransfers::OpenTransmitWindow() {
  if (transmitWindow_) return;
  auto* window = new ZKMidiOutStatus(frame_.program.transfers(), &frame_.window);
  window->addAction(frame_.menus.ActionOf(CommandId::FileExit));
  transmitWindow_ = window;
  connect(window, &ZKMidiOutStatus::Cancelled, this, [this](int port) { desk_.CancelSends(port); });
}

void WindowTransfers::ShowDetails(const TransferDesk::Job& job, const std::shared_ptr<Transfer>& transfer) {
  if (receiveWindow_ && receiveWindow_->ShowPage(transfer)) return;
  if (transmitWindow_ && job->Sends()) transmitWindow_->ShowInFront();
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
