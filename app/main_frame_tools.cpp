#include "app/main_frame.h"

namespace tonalith {

void CMainFrame::OnUtilitiesMidiMonitorWindow() {
  SayNoWindow("The MIDI monitor");
}

void CMainFrame::OnMidiMonitorGraphic() {
  SayNoWindow("The graphic MIDI monitor");
}

}  // namespace tonalith
