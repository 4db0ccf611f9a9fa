#pragma once

#include <memory>

#include "app/frame_context.h"

namespace tonalith {

class DocumentRegistry;
class DocumentWindows;
class TZKGrp;
class ZKDrvList;
class ZKGrpDoc;
class ZKStudioDoc;
struct SetServices;

// Sets in the main window: new ones.  The windows themselves are in sets/ui.
class SetCommands final {
 public:
  // Registers the command.
  SetCommands(const FrameContext& frame, DocumentWindows& windows);

  // A window on a new Set of an instrument; null: it could not be made, and the user has been told.
  TZKGrp* OpenNew(const ZKDrvList& instrument);

 private:
  void OnNewSet();

  FrameContext frame_;
  DocumentWindows& windows_;
};

// A Set that reads dumps of other programs where its links lead to some, and what its window needs.
std::unique_ptr<ZKGrpDoc> MakeSet(const ZKStudioDoc& studio);
SetServices SetServicesOf(ZKStudioDoc& studio);

// How Sets are made, read and shown.
void RegisterSets(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows);

}  // namespace tonalith
