#pragma once

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ZKDrvList;

// Device IDs are kept as the byte of the message (0..127) and shown as the instrument's own display counts them: from 0
// or from 1, as its data types say.  Everything that shows or reads one counts with these.

// The first data type of an instrument that has a device ID; null: the instrument has none.
const Synth* DeviceIdSynth(const ZKDrvList& instrument);
// A null data type counts from 1.
int ShownDeviceId(const Synth* synth, int kept);
int KeptDeviceId(const Synth* synth, int shown);

// What an instrument may be set to, as kept.
struct DeviceIdRange {
  int low = 0, high = 0;
};
DeviceIdRange DeviceIdsOf(const Synth& synth);
// Fails with a sentence when the instrument has no device ID, or cannot be set to this one.
Result CheckDeviceId(const ZKDrvList& instrument, int kept);

}  // namespace tonalith
