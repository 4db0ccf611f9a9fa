#include "app/midi_commands.h"

#include <QDialog>
#include <QMainWindow>
#include <algorithm>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/midi_test_dialog.h"
#include "app/pacing_dialog.h"
#include "midi/port_system.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/program_midi.h"
#include "services/script_settings.h"
#include "services/settings.h"
#include "ui/plain_text.h"
#include "ui/port_dialogs.h"
#include "ui/qt_text.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr char kPortsBusy[] =
    "Data is being transferred. Closing the ports now breaks the transfer off.\nChoose the ports all the same?";

// Work goes on in the other windows meanwhile.
void ShowBeside(QDialog* dialog) {
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->show();
}

}  // namespace

QString NoOutputSentence(Program& program) {
  int outputs = 0;
  program.out().OUTNUMPORTS(&outputs);
  return outputs > 0 ? QString() : MidiCommands::tr("No MIDI OUT port is open.");
}

MidiCommands::MidiCommands(const FrameContext& frame, bool panicOff)
    : frame_(frame),
      panic_(frame.program.midi().out(), &frame.window),
      tones_(frame.program.midi().out(), frame.program.settings()),
      panicOff_(panicOff) {
  frame_.menus.Register(CommandId::MidiInPorts, {[this] { OnMidiInPorts(); }});
  frame_.menus.Register(CommandId::MidiOutPorts, {[this] { OnMidiOutPorts(); }});
  frame_.menus.Register(
      CommandId::MidiTestCable,
      {[this] {
         ShowBeside(new MidiTestDialog(frame_.program.midi(), frame_.program.midiSide().desk(), &frame_.window));
       },
       [this] { return NoOutputSentence(frame_.program); }});
  frame_.menus.Register(CommandId::MidiSendingPace, {[this] {
                          ShowBeside(new PacingDialog(frame_.program.midiSide(), frame_.studio, frame_.prompts(),
                                                      frame_.program.paths().MainGetDataPath(), &frame_.window));
                        }});
  frame_.menus.Register(CommandId::MidiPanic,
                        {[this] { OnMidiPanic(); }, [this] { return NoOutputSentence(frame_.program); }});
  RegisterTones();
  RegisterScriptChanges();
  connect(&panic_, &MidiPanic::Began, this, [this] { tones_.Stop(); });
  connect(&panic_, &MidiPanic::Ended, this, [this](bool complete) {
    MidiOut& out = frame_.program.out();
    bool waits = false;  // for the end of a SysEx
    for (int i = 0; i < out.MaxOutPorts(); ++i) {
      const auto port = out.Slot(i);
      waits = waits || (port && port->lease() != 0);
    }
    frame_.Status(!complete ? tr("Switching off every note was cancelled.")
                  : waits   ? tr("Every note is switched off between the SysEx messages that are being sent.")
                            : tr("Every note was switched off."));
  });
}

MidiCommands::~MidiCommands() {
  frame_.program.scriptChanges().SetListener({});
  disconnect(&panic_, nullptr, this, nullptr);
  panic_.Cancel();
  tones_.Stop();
}

void MidiCommands::RegisterScriptChanges() {
  ScriptChanges& changes = frame_.program.scriptChanges();
  frame_.menus.Register(
      CommandId::MidiUndoSettingsChange,
      {[this, &changes] {
         frame_.Status(ShownUtf8(changes.Undo()));
         frame_.menus.Update();
       },
       [&changes] { return changes.CanUndo() ? QString() : tr("No script has changed a preference."); }});
  changes.SetListener([this, token = receiver_.token()](const std::string& sentence) {
    frame_.program.dispatcher().PostTo(token, [this, sentence] {
      frame_.Status(ShownUtf8(sentence));
      frame_.menus.Update();
    });
  });
}

// ---- ports ----------------------------------------------------------------------------------------------------------

bool MidiCommands::MayClosePorts() {
  if (frame_.program.transfers().Running().empty()) return true;
  MessagePrompt prompt;
  prompt.title = "MIDI Ports";
  prompt.text = kPortsBusy;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Warning;
  return frame_.prompts().Message(prompt) == PromptAnswer::Yes;
}

void MidiCommands::OnMidiInPorts() {
  if (!MayClosePorts()) return;
  PVMidiIn dialog(frame_.program.midi(), &frame_.window);
  if (dialog.exec() == QDialog::Accepted) frame_.program.midiSide().UpdateMidiPorts();
}

void MidiCommands::OnMidiOutPorts() {
  if (!MayClosePorts()) return;
  PVMidiOut dialog(frame_.program.midi(), &frame_.window);
  if (dialog.exec() == QDialog::Accepted) frame_.program.midiSide().UpdateMidiPorts();
}

void MidiCommands::OpenPortDialog(bool input) {
  input ? OnMidiInPorts() : OnMidiOutPorts();
}

void MidiCommands::AskForPorts() {
  MidiPortSystem& midi = frame_.program.midi();
  const std::string profile = frame_.program.paths().MidiPortsProfile();
  if (NoPortsSelected(midi, MidiDirection::Input) && PVAskPorts(frame_.prompts(), MidiDirection::Input, profile))
    OnMidiInPorts();
  if (NoPortsSelected(midi, MidiDirection::Output) && PVAskPortsOut(frame_.prompts(), profile)) OnMidiOutPorts();
}

void MidiCommands::ResetMidiInPorts() {
  frame_.program.midi().MidiPortInClosePorts();
  frame_.program.midi().MidiPortInOpenPorts({}, true);
  frame_.program.midiSide().UpdateMidiPorts();
}

// ---- notes ----------------------------------------------------------------------------------------------------------

void MidiCommands::OnMidiPanic() {
  if (panicOff_) return;
  frame_.Status(tr("Switching off every note..."));
  panic_.Start();
}

// The instrument of the active window, else the program's own output port and the channels of the preferences.
ToneTarget MidiCommands::TonesGoTo() const {
  const ZKWindow* active = frame_.children.Active();
  if (const auto route = active ? active->AuditionRoute() : std::nullopt) return {route->outPort, route->channel};
  return {std::max(0, frame_.program.midi().out().MainPortOut()), -1};
}

void MidiCommands::RegisterTones() {
  const auto refusal = [this] { return NoOutputSentence(frame_.program); };
  for (int tone = 0; tone < kToneCount; ++tone) {
    frame_.menus.Register(static_cast<CommandId>(static_cast<int>(CommandId::PlayNote1) + tone),
                          {[this, tone] { tones_.PlayNote(tone, TonesGoTo()); }, refusal});
  }
  frame_.menus.Register(CommandId::PlayChord, {[this] { tones_.PlayChord(TonesGoTo()); }, refusal});
  frame_.menus.Register(CommandId::PlaySequence, {[this] { tones_.PlaySequence(TonesGoTo()); }, refusal});
  frame_.menus.Register(CommandId::PlayLastNote, {[this] { tones_.PlayLastNote(TonesGoTo()); }, refusal});
}

}  // namespace tonalith
