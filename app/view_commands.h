#pragma once

#include <QStringList>

#include "app/frame_context.h"
#include "tools/ui/data_viewer.h"

namespace tonalith {

class FileOpening;
class WindowContext;

// The viewers of bytes: one for each document at most.
class ViewCommands final {
 public:
  // Registers the command.  All of it must outlive this.
  ViewCommands(const FrameContext& frame, WindowContext& context, FileOpening& files);

  // The viewer of a window, brought to the front; null: it shows nothing that could be viewed.
  TZKView* OpenView(ZKWindow* window);

 private:
  QString Refusal() const;
  TZKView* ViewOf(const ZKWindow* window) const;
  void ViewFiles(const QStringList& paths);

  FrameContext frame_;
  WindowContext& context_;
  FileOpening& files_;
  ViewMemory memory_;
};

}  // namespace tonalith
