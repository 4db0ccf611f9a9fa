#include "studio/instrument_change.h"

#include "platform/text.h"
#include "studio/device_ids.h"
#include "studio/studio_document.h"

namespace tonalith {

Result ChangeInstrument(ZKStudioDoc& studio, ZKDrvList* instrument, const InstrumentChange& change) {
  if (change.device)
    if (Result fits = CheckDeviceId(*instrument, *change.device); !fits.ok()) return fits;
  if (change.channel && (*change.channel < 0 || *change.channel > 15))
    return Result::Failure(Printf("The MIDI channel is a number from 1 to 16, not %d.", *change.channel + 1));
  std::vector<std::string> ins, outs;
  studio.GetMidiPortNames(&ins, &outs);
  if (change.inPort) {
    const int port = PortIndex(ins, *change.inPort);
    instrument->SetInPort(port < 0 ? 0 : port, *change.inPort);
  }
  if (change.outPort) {
    const int port = PortIndex(outs, *change.outPort);
    instrument->SetOutPort(port < 0 ? 0 : port, *change.outPort);
  }
  if (change.device) instrument->SetSysExChannel(*change.device);
  if (change.channel) instrument->SetMidiChannel(*change.channel);
  return studio.InstrumentChanged(instrument);
}

}  // namespace tonalith
