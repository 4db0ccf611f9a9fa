#include "cli/commands_studio_set.h"

#include <algorithm>
#include <optional>

#include "cli/arguments.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "platform/terminal_text.h"
#include "studio/device_ids.h"
#include "studio/instrument_change.h"

namespace tonalith {

namespace {

// The port that a name or a part of it means, among those that are plugged in and the one the instrument has.
Result FindPort(TransferRig& rig, MidiDirection direction, const std::string& wanted, const std::string& current,
                std::optional<std::string>* port) {
  std::vector<std::string> names = rig.PortNames(direction);
  if (!current.empty() && std::find(names.begin(), names.end(), current) == names.end()) names.push_back(current);
  std::size_t chosen = 0;
  Result result =
      ChooseByName(names, wanted, direction == MidiDirection::Input ? "MIDI IN port" : "MIDI OUT port", &chosen);
  if (result.ok()) *port = names[chosen];
  return result;
}

Result ReadChange(Session& session, const CliArguments& arguments, const ZKDrvList& instrument,
                  InstrumentChange* change) {
  std::int64_t device = -1, channel = 0;
  Result result = arguments.Number("device", 0, 128, -1, &device);
  if (result.ok()) result = arguments.Number("channel", 1, 16, 0, &channel);
  if (!result.ok()) return result;
  if (arguments.Has("device")) change->device = KeptDeviceId(DeviceIdSynth(instrument), static_cast<int>(device));
  if (channel > 0) change->channel = static_cast<int>(channel) - 1;
  const auto in = arguments.Option("in"), out = arguments.Option("out");
  if (!in && !out) return result;
  TransferRig rig(session, TransferRig::Kind::Real);
  if (in) result = FindPort(rig, MidiDirection::Input, *in, instrument.inPortName, &change->inPort);
  if (result.ok() && out) result = FindPort(rig, MidiDirection::Output, *out, instrument.outPortName, &change->outPort);
  return result;
}

Result Set(Session& session, const CliArguments& arguments) {
  if (arguments.words().size() != 1) return Result::Failure("one instrument is needed: " + StudioSetForms());
  session.LoadStudio();
  ZKDrvList* instrument = nullptr;
  Result result = session.FindInstrument(arguments.words()[0], &instrument);
  InstrumentChange change;
  if (result.ok()) result = ReadChange(session, arguments, *instrument, &change);
  if (result.ok() && change.empty())
    result = Result::Failure("what to set is missing: --in, --out, --device or --channel.");
  if (result.ok()) result = ChangeInstrument(session.studio(), instrument, change);
  if (!result.ok()) return result;
  if (session.studio().DrvSaveSetup(0) != 0) return Result::Failure("The studio could not be saved.");
  const Synth* synth = DeviceIdSynth(*instrument);
  TerminalText out = session.environment().out;
  out << instrument->DisplayKey() << ": in \"" << instrument->inPortName << "\", out \"" << instrument->outPortName
      << "\", ";
  if (synth) out << "device ID " << ShownDeviceId(synth, instrument->sysExChannel) << ", ";
  out << "MIDI channel " << instrument->midiChannel + 1 << "\n";
  return result;
}

}  // namespace

std::string StudioSetForms() {
  return "studio set INSTRUMENT [--in NAME] [--out NAME] [--device N] [--channel N]\n"
         "                            ports, device ID and MIDI channel of an instrument\n";
}

std::string StudioSetDetails() {
  return "\n\"set\" changes what is given and keeps it in the studio:\n"
         "  --in NAME, --out NAME   MIDI ports, by name or a part of it that only one has\n"
         "  --device N              device ID, as the instrument shows it\n"
         "  --channel N             MIDI channel, 1 to 16\n"
         "\n  tonalith-cli studio set \"Roland JV-1080\" --device 17\n\n";
}

int RunStudioSet(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"in", "out", "device", "channel"});
  Result result = arguments.state();
  if (result.ok()) {
    Session session(environment);
    result = Set(session, arguments);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "studio set", result.text);
}

}  // namespace tonalith
