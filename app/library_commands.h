#pragma once

#include "app/frame_context.h"

namespace tonalith {

class DocumentRegistry;
class DocumentWindows;
class TZKLib;
class ZKDrvList;

// Libraries in the main window: new ones.  The windows themselves are in library/ui.
class LibraryCommands final {
 public:
  // Registers the command.
  LibraryCommands(const FrameContext& frame, DocumentWindows& windows);

  // A window on a new Library of a data type; null: it could not be made, and the user has been told.
  TZKLib* OpenNew(const ZKDrvList& driver);

 private:
  void OnNewLibrary();

  FrameContext frame_;
  DocumentWindows& windows_;
};

// How Libraries are made, read and shown.
void RegisterLibraries(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows);

}  // namespace tonalith
