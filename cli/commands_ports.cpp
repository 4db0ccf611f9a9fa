#include "cli/commands_ports.h"

#include "cli/arguments.h"
#include "cli/session.h"
#include "cli/transfer_rig.h"
#include "midi/port_report.h"
#include "platform/text.h"

namespace tonalith {

namespace {

int List(CliEnvironment& environment, TransferRig& rig) {
  for (const MidiDirection direction : {MidiDirection::Input, MidiDirection::Output}) {
    const bool input = direction == MidiDirection::Input;
    rig.PortNames(direction);
    for (const MidiPortDevice& device : rig.midi().Devices(direction)) {
      environment.out << (input ? OwnText("in") : OwnText("out")) << "\t" << device.backend->Name() << "\t"
                      << device.info.name;
      if (const std::uint32_t speed = input ? 0 : rig.midi().PortSpeed(device.info.name))
        environment.out << "\t" << speed;
      environment.out << "\n";
    }
  }
  for (const auto& [system, state] : rig.midi().BackendStates())
    if (!state.ok()) CliFailure(environment.err, "ports", system + ": " + state.text);
  return 0;
}

int KeepSpeed(CliEnvironment& environment, TransferRig& rig, const std::string& wanted, const std::string& speed) {
  const auto bytes = ParseInteger(speed);
  if (!bytes || *bytes < 0 || *bytes > kMostPortSpeed)
    return CliFailure(environment.err, "ports",
                      "a speed is 1 to " + std::to_string(kMostPortSpeed) + " bytes a second, or 0 for a MIDI cable.");
  const std::vector<std::string> names = rig.PortNames(MidiDirection::Output);
  std::size_t chosen = 0;
  if (const Result found = ChooseByName(names, wanted, "MIDI OUT port", &chosen); !found.ok())
    return CliFailure(environment.err, "ports", found.text);
  if (const Result kept = rig.midi().SetPortSpeed(names[chosen], static_cast<std::uint32_t>(*bytes)); !kept.ok())
    return CliFailure(environment.err, "ports", kept.text);
  environment.out << names[chosen] << "\t" << PortSpeedText(*bytes ? static_cast<std::uint32_t>(*bytes) : kMidiWireRate)
                  << "\n";
  return 0;
}

}  // namespace

std::string PortsForms() {
  return "ports                    the MIDI ports of this machine\n"
         "ports speed NAME BYTES   keeps how many bytes a second an output takes\n";
}

std::string PortsDetails() {
  return "Prints \"in\" or \"out\", the MIDI system and the name, tab separated, and behind an output whose speed is "
         "kept\n"
         "its bytes a second.  MIDI systems that are not there are named on standard error.\n\n"
         "A MIDI cable carries 3125 bytes a second; USB instruments and interfaces without a cable behind them may "
         "take\n"
         "more.  The speed belongs to the name of the port and holds for everything that is sent to it; 0 takes it "
         "back.\n\n"
         "  tonalith-cli ports\n"
         "  tonalith-cli ports speed \"USB Synth\" 50000\n";
}

int RunPorts(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {});
  const std::vector<std::string>& words = arguments.words();
  const bool speed = words.size() == 3 && words[0] == "speed";
  if (!arguments.state().ok() || (!words.empty() && !speed))
    return CliFailure(environment.err, "ports", "it is called in one of these ways:", PortsForms());
  Session session(environment);
  TransferRig rig(session, TransferRig::Kind::Real);
  return speed ? KeepSpeed(environment, rig, words[1], words[2]) : List(environment, rig);
}

void PrintPortReport(TerminalText out, MidiPortSystem& midi) {
  const auto line = [out](const auto& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i)
      out << (i == 0 ? OwnText("") : OwnText("\t")) << std::string(cells[i]);
    out << "\n";
  };
  line(kPortColumnTitles);
  for (const PortReport& report : ReportPorts(midi)) line(PortCells(report));
}

}  // namespace tonalith
