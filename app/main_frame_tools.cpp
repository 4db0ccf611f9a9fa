#include "app/main_frame.h"
#include "services/zkbasics.h"
#include "tools/ui/graphic_monitor.h"
#include "tools/ui/monitor_window.h"

namespace tonalith {

void CMainFrame::OnUtilitiesMidiMonitorWindow() {
  AddChild(ZKMonChild(*monitors_, prompts(), &studio_, nullptr));
}

void CMainFrame::OnMidiMonitorGraphic() {
  AddChild(ZKMon(*monitors_, nullptr));
}

void CMainFrame::TellMonitorsOfPorts(int changes) {
  for (ZKWindow* child : Children())
    if (auto* monitor = qobject_cast<TZKMonText*>(child)) monitor->PortsChanged(changes);
}

void CMainFrame::TellMonitorsOfStudio() {
  for (ZKWindow* child : Children())
    if (auto* monitor = qobject_cast<TZKMonText*>(child)) monitor->StudioChanged();
}

}  // namespace tonalith
