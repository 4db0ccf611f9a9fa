#include "studio/device_ids.h"

#include <algorithm>

#include "platform/text.h"
#include "studio/studio_node.h"

namespace tonalith {

namespace {

int FirstShown(const Synth* synth) {
  return synth && synth->sysExChannelZeroBased ? 0 : 1;
}

}  // namespace

const Synth* DeviceIdSynth(const ZKDrvList& instrument) {
  for (const auto& driver : instrument.drivers)
    if (driver->synth() && driver->synth()->hasSysExChannel) return driver->synth();
  return nullptr;
}

int ShownDeviceId(const Synth* synth, int kept) {
  return kept + FirstShown(synth);
}

int KeptDeviceId(const Synth* synth, int shown) {
  return shown - FirstShown(synth);
}

DeviceIdRange DeviceIdsOf(const Synth& synth) {
  const int low = std::max<int>(+synth.sysExChannelMin, 0);
  return {low, std::max<int>(+synth.sysExChannelMax, low)};
}

Result CheckDeviceId(const ZKDrvList& instrument, int kept) {
  const Synth* synth = DeviceIdSynth(instrument);
  if (!synth) return Result::Failure("The " + instrument.DisplayKey() + " has no device ID.");
  const DeviceIdRange range = DeviceIdsOf(*synth);
  if (kept >= range.low && kept <= range.high) return Result::Success();
  const int low = ShownDeviceId(synth, range.low), high = ShownDeviceId(synth, range.high);
  const std::string right = low == high ? Printf("always %d", low) : Printf("a number from %d to %d", low, high);
  return Result::Failure("The device ID of the " + instrument.DisplayKey() + " is " + right +
                         Printf(", not %d.", ShownDeviceId(synth, kept)));
}

}  // namespace tonalith
