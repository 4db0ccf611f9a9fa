#include <QAction>

#include "app/main_frame.h"
#include "app/preferences.h"
#include "midi/port_system.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/zkbasics.h"
#include "ui/port_dialogs.h"

namespace tonalith {

namespace {

constexpr char kPortsBusy[] =
    "Data is being transferred. Closing the ports now breaks the transfer off.\nChoose the ports all the same?";

}  // namespace

bool CMainFrame::MayClosePorts() {
  if (basics_.transfers().Running().empty()) return true;
  MessagePrompt prompt;
  prompt.title = "MIDI Ports";
  prompt.text = kPortsBusy;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Warning;
  return prompts().Message(prompt) == PromptAnswer::Yes;
}

void CMainFrame::OnMidiInPorts() {
  if (!MayClosePorts()) return;
  PVMidiIn dialog(basics_.midi(), this);
  if (dialog.exec() == QDialog::Accepted) basics_.UpdateMidiPorts();
}

void CMainFrame::OnMidiOutPorts() {
  if (!MayClosePorts()) return;
  PVMidiOut dialog(basics_.midi(), this);
  if (dialog.exec() == QDialog::Accepted) basics_.UpdateMidiPorts();
}

void CMainFrame::AskForPorts() {
  const std::string profile = basics_.paths().MidiPortsProfile();
  if (NoPortsSelected(basics_.midi(), MidiDirection::Input) && PVAskPorts(prompts(), MidiDirection::Input, profile))
    OnMidiInPorts();
  if (NoPortsSelected(basics_.midi(), MidiDirection::Output) && PVAskPortsOut(prompts(), profile)) OnMidiOutPorts();
}

void CMainFrame::OpenPortDialog(bool input) {
  input ? OnMidiInPorts() : OnMidiOutPorts();
}

void CMainFrame::OnOptionsPreferences() {
  MainSetProperties(this, basics_, *this);
}

void CMainFrame::ResetMidiInPorts() {
  basics_.midi().MidiPortInClosePorts();
  basics_.midi().MidiPortInOpenPorts({}, true);
  basics_.UpdateMidiPorts();
}

void CMainFrame::PreferencesApplied() {
  if (studioWindow_) studioWindow_->Refresh();
  UpdateCommands();
}

void CMainFrame::OnOptionsAudition() {
  basics_.MainAudition(ActionOf(CommandId::OptionsAudition)->isChecked() ? 1 : 0);
}

void CMainFrame::OnOptionsSavePreferences() {
  const Result saved = basics_.SaveConfig();
  if (!saved.ok()) prompts().Say("Preferences", saved.text);
  if (saved.ok()) Status(tr("The preferences were saved."));
}

}  // namespace tonalith
