#include <QAction>

#include "app/main_frame.h"
#include "services/zkbasics.h"

namespace tonalith {

void CMainFrame::OnMidiInPorts() {
  SayNoWindow("The choice of MIDI input ports");
}

void CMainFrame::OnMidiOutPorts() {
  SayNoWindow("The choice of MIDI output ports");
}

void CMainFrame::OnOptionsPreferences() {
  SayNoWindow("The preferences dialog");
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
