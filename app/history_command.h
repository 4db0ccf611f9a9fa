#pragma once

#include <QPointer>

#include "app/frame_context.h"

namespace tonalith {

class InstrumentHistoryWindow;
class WindowContext;

// The command that shows what instruments held before something was sent to them.
class HistoryCommand final {
 public:
  // Registers it.  The context must outlive this.
  HistoryCommand(const FrameContext& frame, WindowContext& context);
  ~HistoryCommand();

 private:
  void Show();

  FrameContext frame_;
  WindowContext& context_;
  QPointer<InstrumentHistoryWindow> window_;
};

}  // namespace tonalith
