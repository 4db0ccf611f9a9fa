#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "app/frame_context.h"

namespace tonalith {

class DocumentRegistry;
class DocumentWindows;
class FileOpening;
class FoundFile;
class Recognizer;
class StudioCommands;
struct PieceGroup;

// Files whose bytes the studio's instruments know: SysEx, Standard MIDI Files.  What they know is opened, each piece in
// a window; of more than a few pieces, single patches are put into banks, and what would still be too many windows is
// listed, to be opened from there.  SysEx that nobody knows, and any without a studio, is shown as it is.
class RecognisedFiles final {
 public:
  static constexpr std::size_t kMostWindows = 16;  // that one file opens
  static constexpr std::size_t kMostAlike = 3;     // of them, on single patches of one type

  // Registers itself for these kinds.  All of it must outlive this.
  RecognisedFiles(const FrameContext& frame, DocumentRegistry& registry, DocumentWindows& windows, FileOpening& files,
                  StudioCommands& studio);
  RecognisedFiles(const RecognisedFiles&) = delete;
  RecognisedFiles& operator=(const RecognisedFiles&) = delete;

  // Opens what a part of a file holds; `name` is the file's, without folder.  When it is too much for windows, the user
  // is told.
  void OpenPart(std::span<const std::uint8_t> bytes, const std::string& name);

 private:
  // A file that was looked at.
  struct Read;
  bool Open(const std::string& path, bool midiFile);
  bool Show(const std::string& path, Read* read);
  void OpenGroups(const Recognizer& recognizer, FoundFile& found, std::span<const PieceGroup> groups,
                  const std::string& name);
  void Tell(const FoundFile& found, const std::string& name, std::size_t windows, bool listed);

  FrameContext frame_;
  DocumentWindows& windows_;
  FileOpening& files_;
  StudioCommands& studio_;
};

}  // namespace tonalith
