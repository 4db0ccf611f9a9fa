#pragma once

#include "app/frame_context.h"

namespace tonalith {

class DocumentRegistry;
class DocumentWindows;
class TZKDBase;

// Collections in the main window: new ones.  The windows themselves are in collection/ui.
class CollectionCommands final {
 public:
  // Registers the command.
  CollectionCommands(const FrameContext& frame, DocumentWindows& windows);

  // A window on a new Collection.
  TZKDBase* OpenNew();

 private:
  DocumentWindows& windows_;
};

// How Collections are made, read and shown.
void RegisterCollections(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows);

}  // namespace tonalith
