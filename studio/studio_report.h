#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace tonalith {

class ModuleFacts;
class StudioList;
class WindowCounters;
struct StudioSurroundings;

// What the configuration report tells about the program around the studio.
struct StudioReportFacts {
  std::string programPath;
  int kernel[3] = {};                       // version of the system
  const WindowCounters* windows = nullptr;  // null: no windows were created
  // The version of the running kernel.
  static StudioReportFacts OfThisMachine(const std::string& programPath);
};

// A page of the printed listing: lines without line ends.
using StudioListingPage = std::vector<std::string>;

// Texts about the studio.
class StudioReports {
 public:
  StudioReports(const StudioSurroundings& around, const StudioList& list, const ModuleFacts& facts)
      : around_(around), list_(list), facts_(facts) {}

  // The configuration report, UTF-8.
  void SetupInformation(std::ostream& out, const StudioReportFacts& facts) const;
  // The printed listing.  A page has `linesPerPage` lines with a margin of three; `studioFile` is named on it.
  std::vector<StudioListingPage> DrvPrint(const std::filesystem::path& studioFile, int linesPerPage = 66) const;
  // The summary that lies beside the studio file.
  std::string TextSummary() const;
  // One line, ended by CR LF, for every driver id that should have a SysEx map and has none, or has an empty one.
  // `entriesOf` gives the number of entries of a map file.
  std::string DriversMissingDescriptor(const std::function<int(const std::filesystem::path& map)>& entriesOf) const;

 private:
  bool PatchBaySupport() const;

  const StudioSurroundings& around_;
  const StudioList& list_;
  const ModuleFacts& facts_;
};

}  // namespace tonalith
