#pragma once

#include "app/frame_context.h"

namespace tonalith {

class InstrumentWindow;
class WindowContext;

// The command that looks for damage in what the active window shows, and writes a repaired copy.
class RepairCommand final {
 public:
  // Registers it.  The context must outlive this.
  RepairCommand(const FrameContext& frame, WindowContext& context);

 private:
  QString Refusal() const;
  void Repair();
  void RepairData(InstrumentWindow& window);

  FrameContext frame_;
  WindowContext& context_;
};

}  // namespace tonalith
