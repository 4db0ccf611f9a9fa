#include <cstring>
#include <utility>

#include "platform/text.h"
#include "script/transfer_engine.h"

namespace tonalith {

namespace {

constexpr int kClosedPort = 255;
constexpr std::uint8_t kUsesPatchBay = 1;
constexpr std::uint8_t kSwitchedByHand = 2;

std::string KeptPortName(const char* name, std::uint32_t size) {
  return name ? std::string(name, strnlen(name, size)) : std::string();
}

std::string NotConnected(const std::string& what, const char* way, const std::string& name) {
  std::string text = std::string("No MIDI ") + way + " port is open for the " + what + ".";
  if (!name.empty()) text += "\nIts port \"" + name + "\" is not connected.";
  return text;
}

}  // namespace

int TransferEngine::OpenPortNamed(MidiDirection direction, const std::string& name, int number) const {
  if (name.empty() || !services_.HasPortTables()) return number;
  const int count = services_.PortCount(direction);
  if (number < count && AsciiEqualNoCase(services_.PortName(direction, number), name)) return number;
  for (int i = 0; i < count; ++i)
    if (AsciiEqualNoCase(services_.PortName(direction, i), name)) return i;
  return kClosedPort;
}

// Ports are known by name; by now, the number that a missing one had may belong to somebody else.
std::string TransferEngine::RoutePorts(const DataFile& dataFile, TransferOperation operation, Synth& synth) const {
  const bool receive = operation == TransferOperation::kReceive;
  const std::string what = Latin1ToUtf8(TransferInstrumentName(dataFile));
  const std::string inName = KeptPortName(dataFile.midiInPortName, dataFile.midiInPortNameSize);
  const std::string outName = KeptPortName(dataFile.midiOutPortName, dataFile.midiOutPortNameSize);
  const std::string bayName = KeptPortName(dataFile.patchBayPortName, dataFile.patchBayPortNameSize);
  const auto route = [this](MidiDirection direction, const std::string& name, std::uint8_t& number) {
    number = static_cast<std::uint8_t>(OpenPortNamed(direction, name, number));
    return name.empty() || number != kClosedPort;
  };
  const bool in = route(MidiDirection::Input, inName, synth.midiInPort);
  const bool out = route(MidiDirection::Output, outName, synth.midiOutPort);
  const bool bay = route(MidiDirection::Output, bayName, synth.patchBayPort);
  if (receive && !in) return NotConnected(what, "IN", inName);
  if (!out) return NotConnected(what, "OUT", outName);
  const bool switches = (synth.patchBayFlags & (kUsesPatchBay | kSwitchedByHand)) == kUsesPatchBay;
  if (switches && !bay) return NotConnected(what + "'s patch bay", "OUT", bayName);
  return {};
}

std::string TransferEngine::MissingPort(const DataFile& dataFile, TransferOperation operation) const {
  if (!dataFile.synth) return {};
  Synth synth = *dataFile.synth;
  if (std::string missing = RoutePorts(dataFile, operation, synth); !missing.empty()) return missing;
  if (!services_.HasPortTables()) return {};
  const std::string what = Latin1ToUtf8(TransferInstrumentName(dataFile));
  if (operation == TransferOperation::kReceive && synth.midiInPort >= services_.PortCount(MidiDirection::Input))
    return NotConnected(what, "IN", {});
  if (synth.midiOutPort >= services_.PortCount(MidiDirection::Output)) return NotConnected(what, "OUT", {});
  return {};
}

}  // namespace tonalith
