#pragma once

#include <optional>
#include <string>

#include "platform/result.h"

namespace tonalith {

class ZKDrvList;
class ZKStudioDoc;

// What is to become different at an instrument; what is not set stays.
struct InstrumentChange {
  std::optional<std::string> inPort, outPort;  // names; empty: unassigned
  std::optional<int> device;                   // as kept (device_ids.h)
  std::optional<int> channel;                  // 0..15
  bool empty() const { return !inPort && !outPort && !device && !channel; }
};

// Changes an instrument of the studio with all its data types and keeps it as the instrument's defaults.  A port that
// is not there keeps its name.  Nothing is changed when a number is outside what the instrument takes.  The studio file
// is the caller's matter.
Result ChangeInstrument(ZKStudioDoc& studio, ZKDrvList* instrument, const InstrumentChange& change);

}  // namespace tonalith
