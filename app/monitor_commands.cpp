#include "app/monitor_commands.h"

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "midi/port_system.h"
#include "platform/clock.h"
#include "platform/prompts.h"
#include "services/program.h"
#include "tools/monitor_registry.h"
#include "tools/ui/graphic_monitor.h"
#include "tools/ui/monitor_window.h"

namespace tonalith {

MonitorCommands::MonitorCommands(const FrameContext& frame)
    : frame_(frame), monitors_(ZKMonInitialize(frame.program.in(), frame.program.out(), frame.program.clock())) {
  frame_.menus.Register(CommandId::UtilitiesMidiMonitor, {[this] { OpenTextMonitor(); }});
  frame_.menus.Register(CommandId::UtilitiesGraphicMonitor, {[this] { OpenGraphicMonitor(); }});
}

MonitorCommands::~MonitorCommands() = default;

ZKWindow* MonitorCommands::OpenTextMonitor() {
  TZKMonText* window = ZKMonChild(*monitors_, frame_.prompts(), &frame_.studio, nullptr);
  window->WatchPorts(frame_.program.midi());
  frame_.children.Add(window);
  return window;
}

ZKWindow* MonitorCommands::OpenGraphicMonitor() {
  ZKWindow* window = ZKMon(*monitors_, nullptr);
  frame_.children.Add(window);
  return window;
}

}  // namespace tonalith
