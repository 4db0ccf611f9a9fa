#pragma once

#include <string>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ModuleFacts;
class StudioList;
class ZKDrvList;
struct StudioSurroundings;

// Channels and ports of one plug-in instance; -1 where nothing is stored.
struct PluginSettings {
  bool saved = false;
  int sysExChannel = -1;
  int midiChannel = -1;
  int inPort = -1;
  int outPort = -1;
  std::string inPortName;
  std::string outPortName;
  std::string set;      // the set the instance had open
  std::string setFile;  // its file among the sets of the module; empty when the module has no such set
};

// What SetDriverParmValue changes.
enum class DriverParm { DefaultPatch = 0, SysExChannel = 1, MidiChannel = 2, InPort = 3, OutPort = 4 };

// Channels and ports for each instance of the program inside a host: "Plugins.ini" in the folder "Plugins" of the data
// folder.
class PluginInstances {
 public:
  PluginInstances(const StudioSurroundings& around, StudioList& list, const ModuleFacts& facts)
      : around_(around), list_(list), facts_(facts) {}

  PluginSettings ReadPluginDefaults(const std::string& instrumentName, int instance) const;
  PluginSettings ReadPluginSettings(const ZKDrvList* node) const;
  Result WritePluginSettings(const DataFile* dataFile) const;
  // Sets one value in node and descriptor of every driver with that id (0: of every driver).
  void SetDriverParmValue(DriverParm which, int value, int driverId);

 private:
  const StudioSurroundings& around_;
  StudioList& list_;
  const ModuleFacts& facts_;
};

}  // namespace tonalith
