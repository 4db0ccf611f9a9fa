#pragma once

#include "platform/result.h"

namespace tonalith {

class ZKDrvList;
struct StudioSurroundings;

// What an instrument had when it was last in the studio ("InstrumentDefaults.v13.ini" in the preferences folder), and
// the ports an instrument begins with.
class InstrumentDefaults {
 public:
  explicit InstrumentDefaults(const StudioSurroundings& around) : around_(around) {}

  void ReadInstrumentDefaults(ZKDrvList* instrument) const;
  Result WriteInstrumentDefaults(const ZKDrvList* instrument) const;
  // The ports the application INI names for the instrument, else those its module names.
  void AssignDefaultMIDIPorts(ZKDrvList* instrument) const;

 private:
  const StudioSurroundings& around_;
};

}  // namespace tonalith
