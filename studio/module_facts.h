#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tonalith {

class ZKDrvList;
struct StudioSurroundings;

// What the INI of a module says about the instrument a node belongs to; a node may be null (then nothing is said).
class ModuleFacts {
 public:
  explicit ModuleFacts(const StudioSurroundings& around) : around_(around) {}

  int NumInstalledInstruments() const;  // module INIs in the instrument folder
  std::vector<std::string> InstalledModules() const;
  int GetNumSetsForInstrument(const ZKDrvList* node) const;
  // Files of the predefined sets, in order; those without a name are empty.
  std::vector<std::string> GetListOfSets(const ZKDrvList* node) const;
  // The same as names to show: without folder and extension.
  std::vector<std::string> GetSetNamesForInstrument(const ZKDrvList* node) const;
  // Marks the drivers of the instrument that belong to predefined set `group`.
  void AssignGroupForInstrument(ZKDrvList* node, int group) const;
  std::string GetInstrumentCustomLayout(const ZKDrvList* node) const;
  // Of the plug-in window; 0 where the module says nothing.
  std::pair<int, int> GetInstrumentWidthHeight(const ZKDrvList* node) const;
  bool GetInstrumentParentChild(const ZKDrvList* node) const;
  bool GetInstrumentNotPV(const ZKDrvList* node) const;
  bool IsLibrarian(const ZKDrvList* node) const;
  double UseScalingWithPlugins(const ZKDrvList* node) const;  // 0: the module says nothing
  int GetRequiredMemory(const ZKDrvList* node) const;
  // The module's picture; for collections its "_ipad.png" and "_ipad.jpg" variants come first.  Nothing when the module
  // names no picture, or the file is not there (the user is told once per file).
  std::optional<std::filesystem::path> InstrumentBitmap(const ZKDrvList* node, bool forCollection = false);
  // The folder of the module's files.
  std::filesystem::path ModuleFolder(const ZKDrvList* node) const;
  // Whether the module can be asked who it is.
  bool HasDeviceInquiry(const ZKDrvList* node) const;
  // A module that is not finished, or is no module of this program: nothing is reported about it.
  bool IsUnfinished(const ZKDrvList* node) const;

 private:
  const StudioSurroundings& around_;
  std::set<std::string> toldPictures_;
};

}  // namespace tonalith
