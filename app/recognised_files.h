#pragma once

#include <string>
#include <vector>

#include "app/frame_context.h"

namespace tonalith {

class DocumentRegistry;
class FileOpening;
class StudioCommands;
struct Recognition;

// Files whose bytes the studio's instruments know: SysEx, Standard MIDI Files.  What they know is opened piece by
// piece; else the file may be new data of the selected driver or of one whose size fits.  Without a studio SysEx is
// shown as it is.
class RecognisedFiles final {
 public:
  // Registers itself for these kinds.  All of it must outlive this.
  RecognisedFiles(const FrameContext& frame, DocumentRegistry& registry, FileOpening& files, StudioCommands& studio);
  RecognisedFiles(const RecognisedFiles&) = delete;
  RecognisedFiles& operator=(const RecognisedFiles&) = delete;

 private:
  bool Open(const std::string& path, bool midiFile);
  void OpenPieces(const std::string& path, Recognition& recognition);
  int ChooseDriver(const std::vector<std::string>& choices);

  FrameContext frame_;
  FileOpening& files_;
  StudioCommands& studio_;
};

}  // namespace tonalith
