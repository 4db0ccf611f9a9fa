#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/result.h"

namespace tonalith {

class InstrumentLoader;
class PortReferences;
class StudioList;
class StudioReports;
struct StudioSurroundings;

inline constexpr char kStudioFileName[] = "Default.PV9";
inline constexpr char kKeptStudioFile[] = "Default (previous).PV9";

// The studio on disk: the bytes of the list and back, saving and loading with the questions that belong to it.
class StudioFile {
 public:
  struct Parts {
    const StudioSurroundings& around;
    StudioList& list;
    InstrumentLoader& loader;
    PortReferences& ports;
    const StudioReports& reports;
    // Makes the studio from the instrument folder; negative: the user keeps a window open.
    std::function<int()> build;
  };
  explicit StudioFile(Parts parts);

  // Mode 0 writes the studio file, 1 asks for a name first, 2 asks whether to save and then does as 0.  0, 7 (write
  // error, told) or 9 (cancelled).  The text summary is written beside it.  The file that was there before becomes
  // NAME~, the one before that NAME~2 and so on (studio_generations.h).  Nothing is written inside a host.
  int DrvSaveSetup(int mode);
  // Mode 0 reads folder/file or, when they are empty, the studio file; 1 asks.  A missing or empty studio file makes
  // the studio from the instrument folder.  0 or the disk result code (2: damaged, what could be read is loaded; 9: the
  // user cancelled or keeps a window open, nothing changed).
  // No saving after this costs the user anything that was in the file: a studio file that is none, or is damaged, is
  // set aside as NAME.broken, and when instruments of it could not be loaded a copy is kept as kKeptStudioFile.
  int DrvLoadSetup(int mode, const std::filesystem::path& folder = {}, const std::string& file = {});
  Result SaveAsTextFile(const std::filesystem::path& folder, const std::string& file) const;
  // Writes the studio and its text summary; the file that was there becomes NAME~.
  Result WriteStudioFile(const std::filesystem::path& target) const;
  // The bytes of the studio file and back.  Reading drops drivers whose file is missing and instruments left without
  // drivers.  0, 2 (a record or a port-name block is missing, or bytes are left over; what was read stays) or 3 (not a
  // studio; `error` says what it is and the studio stays as it was).
  std::vector<std::uint8_t> WriteStudio() const;
  int ReadStudio(const std::vector<std::uint8_t>& bytes, std::string* error);

  std::filesystem::path studioFile() const { return studioFile_; }
  // Says where the studio that was read with ReadStudio comes from; the next plain save is to the default file again.
  void SetStudioFile(std::filesystem::path file) { studioFile_ = std::move(file); }

 private:
  int ReadRecords(const std::vector<std::uint8_t>& bytes, std::size_t* at);
  bool ReadPortBlocks(const std::vector<std::uint8_t>& bytes, std::size_t at);
  Result KeepFormerFile(const std::filesystem::path& target, const std::vector<std::uint8_t>& fresh) const;
  int LoadDefaultStudio(const std::vector<std::uint8_t>& bytes, const Result& read);
  bool UseFormerStudio(const char* title, const std::string& told);
  bool ReplaceStudio(const char* title, const std::string& reason);
  int RecoverStudio();

  Parts parts_;
  std::filesystem::path studioFile_;
  int droppedNodes_ = 0;  // of the studio file read last
};

}  // namespace tonalith
