#pragma once

#include "app/frame_context.h"

namespace tonalith {

class DocumentWindows;

// File > New > SysEx Message: a typed message in a window, from where it is sent and saved.
class SysExMessage final {
 public:
  // Registers the command.  All of it must outlive this.
  SysExMessage(const FrameContext& frame, DocumentWindows& windows);

 private:
  void OnNew();

  FrameContext frame_;
  DocumentWindows& windows_;
};

}  // namespace tonalith
