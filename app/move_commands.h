#pragma once

#include <QString>

#include "app/frame_context.h"

namespace tonalith {

class DocumentWindow;
class WindowContext;
class ZKWindow;
struct MoveCandidate;

// Which kinds of windows a move may go to; none: all of them.
enum MoveTargets : std::uint8_t {
  kToAll = 0,
  kToBanks = 1,
  kToLibraries = 2,
  kToPatches = 4,
  kToSets = 8,
  kToCollections = 16,
};

// Edit > Move To: what is selected in the active window goes to another one.
class MoveCommands final {
 public:
  // Registers the command.  All of it must outlive this.
  MoveCommands(const FrameContext& frame, WindowContext& context);

  // A window that data can be moved to, and of a kind that `mask` names.
  bool IsTransferable(ZKWindow& window, std::uint8_t mask = kToAll) const;

 private:
  DocumentWindow* Active() const;
  QString Refusal() const;
  void OnMoveTo();
  void Tell(const QString& text, bool box) const;

  FrameContext frame_;
  WindowContext& context_;
};

}  // namespace tonalith
