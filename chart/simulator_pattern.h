#pragma once

#include <optional>
#include <string>

#include "chart/instrument.h"

namespace tonalith {

// Bytes of a chart's messages as the descriptions of simulated instruments write them.

// The bytes of the items in front of `end` (an index; past the last one: all).  A patch becomes `{item:..}`.  Nothing,
// with the reason, when a description cannot say one of them.
std::optional<std::string> SimulatorPattern(const ChartInstrument& chart, const ChartType& type,
                                            const ChartMessage& message, std::size_t end, std::string* why);

// How the data of a message is packed and summed; nothing, with the reason, when a description cannot say it.
struct SimulatorBody {
  std::size_t head = 0;   // items in front of the data
  int items = 1;          // patches in it
  int bytes = 0;          // of each, unpacked
  int tail = 0;           // of these, at the end, the ones that are not packed
  bool unpacked = false;  // these are the bytes of the patch, not those on the cable
  std::string packing, checksum;
  std::string itemSum;  // the checksum behind each patch, as descriptions write it
  int leastItems = 0;   // there may be fewer, but so many at least; 0: there are all
};
std::optional<SimulatorBody> SimulatorBodyOf(const ChartType& type, const ChartMessage& message, std::string* why);

// What descriptions call a checksum over everything from one byte of a message on; empty: they have it not.
std::string SimulatorSumName(int sumKind);

// True when the patch stands in the message.
bool SaysPatch(const ChartMessage& message);

}  // namespace tonalith
