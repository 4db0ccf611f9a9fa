#pragma once

#include <string>
#include <vector>

namespace tonalith {

class StudioList;
class ZKDrvList;
struct StudioSurroundings;

// Position of a port name, without regard to case; -1 when it is not there.
int PortIndex(const std::vector<std::string>& names, const std::string& name);

// Numbers of ports are positions in the lists of the moment, names are what survives a change: keeps both in step.
class PortReferences {
 public:
  PortReferences(const StudioSurroundings& around, StudioList& list) : around_(around), list_(list) {}

  // Port names win over numbers; a missing name is derived from the number.
  void UpdatePortReferences();
  void UpdatePortNames(ZKDrvList* instrument);
  // Called when the list of ports changed: notes the difference in the monitor log and resolves the names again.
  void UpdateMidiPortsStatusChanged();

 private:
  const StudioSurroundings& around_;
  StudioList& list_;
  std::vector<std::string> lastInNames_, lastOutNames_;
};

}  // namespace tonalith
