#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "data/data_records.h"

namespace tonalith {

class StudioList;
class ZKDrvList;
struct StudioSurroundings;

// Data and the drivers of the studio: new data, and data from files that joins today's studio.
class StudioData {
 public:
  StudioData(const StudioSurroundings& around, const StudioList& list) : around_(around), list_(list) {}

  // New data of a driver's type with the settings of its instrument.  The driver's own record stays as it is; the new
  // image is the driver's initial image.  Null when memory is short or there is no such driver.
  DataFilePtr GetNewDataFile(int driverId, const std::string& name = {}) const;
  DataFilePtr GetNewDataFile(const ZKDrvList* driver, const std::string& name = {}) const;
  // Lets data that was read from a file use the ports and channels of its instrument in the studio.  With automatic
  // updating (the setting MainAutoUpdate, or `update` of 0 or 1) also its scripts and its descriptor, except what
  // identifies the data and its number.  Data of another layout, or of a newer module than the one that is installed,
  // keeps its own.
  void DrvUpdateDataFile(DataFile* dataFile, int update = -1) const;
  // The scripts and the descriptor alone, as the setting says.
  void UpdateScripts(DataFile* dataFile) const;
  // Which scripts a transfer of the data uses, where they are not those it was made with, or not those of the installed
  // module; UTF-8, a sentence; empty: there is nothing to say.
  std::string ScriptsSentence(const DataFile& dataFile) const;
  // What the instrument of a driver means by a message with which it refuses data, as section [Refusals] of its module
  // says (`PATTERN = SENTENCE`), UTF-8; empty: it is none of these.
  std::string RefusalSentence(int driverId, std::span<const std::uint8_t> message) const;

 private:
  void TakeModule(DataFile* dataFile, const ZKDrvList& driver, int update) const;

  const StudioSurroundings& around_;
  const StudioList& list_;
};

// The name of the instrument a node belongs to, with its number, into the data.
void ApplyInstrumentName(const ZKDrvList* node, DataFile* dataFile);

}  // namespace tonalith
