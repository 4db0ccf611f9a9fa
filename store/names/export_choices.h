#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/result.h"
#include "store/names/disk_midi.h"

namespace tonalith {

// A file of names that is written again whenever its bank changes.
struct AutomaticExport {
  ExportFormat format = ExportFormat::Reaper;
  std::string path;
};

// What users chose when they exported, in the program's INI file.  Read at each use.
class ExportChoices {
 public:
  explicit ExportChoices(std::string iniPath) : iniPath_(std::move(iniPath)) {}

  // Of the last export; empty: none yet.
  std::string Folder() const;
  std::optional<ExportFormat> Format() const;
  Result SetLast(const std::string& folder, std::optional<ExportFormat> format);

  // Of the bank in this file; none: nothing is written by itself, as at first.
  std::optional<AutomaticExport> AutomaticOf(const std::string& bankPath) const;
  Result SetAutomatic(const std::string& bankPath, const std::optional<AutomaticExport>& exports);

 private:
  std::string iniPath_;
};

}  // namespace tonalith
