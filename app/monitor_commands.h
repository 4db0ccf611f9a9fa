#pragma once

#include <memory>

#include "app/frame_context.h"

namespace tonalith {

class MonitorRegistry;
class ZKWindow;

// The MIDI monitors: what they watch, and the commands that open them.
class MonitorCommands final {
 public:
  explicit MonitorCommands(const FrameContext& frame);
  ~MonitorCommands();
  MonitorCommands(const MonitorCommands&) = delete;
  MonitorCommands& operator=(const MonitorCommands&) = delete;

  ZKWindow* OpenTextMonitor();
  ZKWindow* OpenGraphicMonitor();

 private:
  FrameContext frame_;
  std::unique_ptr<MonitorRegistry> monitors_;
};

}  // namespace tonalith
