#pragma once

#include "app/frame_context.h"

namespace tonalith {

class DesktopFiles;
class DocumentRegistry;
class DocumentWindows;
class MonitorCommands;
class RecognisedFiles;
class StudioCommands;
class TransferFiles;

// The one place where kinds of documents and windows are made known: who reads a kind of file, which window shows it,
// what stands behind the kinds that are no documents, and how a desktop opens windows without a file.  A new kind is a
// line here.  All of it must outlive the registry's use.
void RegisterDocumentKinds(const FrameContext& frame, TransferFiles& files, DocumentRegistry& registry,
                           DocumentWindows& windows, RecognisedFiles& recognised);
void RegisterFileActions(const FrameContext& frame, StudioCommands& studio, DesktopFiles& desktops,
                         DocumentRegistry& registry);
void RegisterDesktopWindows(DesktopFiles& desktops, MonitorCommands& monitors, StudioCommands& studio);

}  // namespace tonalith
