#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/text.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_run.h"

namespace tonalith {

namespace {

constexpr int kClosedPort = 255;
constexpr std::uint8_t kUsesPatchBay = 1;
constexpr std::uint8_t kSwitchedByHand = 2;
constexpr std::uint8_t kPatchBayReverts = 4;

std::string DataNames(const Synth& synth) {
  return FieldText(synth.shortName) + " " + FieldText(synth.typeName);
}

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
std::string TransferEngine::RoutePorts(const DataFile& dataFile, TransferOperation operation, Synth& synth,
                                       const PortChoice& choice) const {
  const bool receive = operation == TransferOperation::kReceive;
  const std::string what = Latin1ToUtf8(TransferInstrumentName(dataFile));
  const std::string inName = KeptPortName(dataFile.midiInPortName, dataFile.midiInPortNameSize);
  const std::string outName = KeptPortName(dataFile.midiOutPortName, dataFile.midiOutPortNameSize);
  const std::string bayName = KeptPortName(dataFile.patchBayPortName, dataFile.patchBayPortNameSize);
  const auto route = [this](MidiDirection direction, const std::string& name, std::uint8_t& number) {
    number = static_cast<std::uint8_t>(OpenPortNamed(direction, name, number));
    return name.empty() || number != kClosedPort;
  };
  const bool in = choice.in >= 0 || route(MidiDirection::Input, inName, synth.midiInPort);
  const bool out = choice.out >= 0 || route(MidiDirection::Output, outName, synth.midiOutPort);
  if (choice.in >= 0) synth.midiInPort = static_cast<std::uint8_t>(std::min(choice.in, kClosedPort));
  if (choice.out >= 0) synth.midiOutPort = static_cast<std::uint8_t>(std::min(choice.out, kClosedPort));
  const bool bay = route(MidiDirection::Output, bayName, synth.patchBayPort);
  if (receive && !in) return NotConnected(what, "IN", inName);
  if (!out) return NotConnected(what, "OUT", outName);
  const bool switches = (synth.patchBayFlags & (kUsesPatchBay | kSwitchedByHand)) == kUsesPatchBay;
  if (switches && !bay) return NotConnected(what + "'s patch bay", "OUT", bayName);
  return {};
}

std::string TransferEngine::MissingPort(const DataFile& dataFile, TransferOperation operation,
                                        const PortChoice& choice) const {
  if (!dataFile.synth) return {};
  Synth synth = *dataFile.synth;
  if (std::string missing = RoutePorts(dataFile, operation, synth, choice); !missing.empty()) return missing;
  if (!services_.HasPortTables()) return {};
  const std::string what = Latin1ToUtf8(TransferInstrumentName(dataFile));
  if (operation == TransferOperation::kReceive && synth.midiInPort >= services_.PortCount(MidiDirection::Input))
    return NotConnected(what, "IN", {});
  if (synth.midiOutPort >= services_.PortCount(MidiDirection::Output)) return NotConnected(what, "OUT", {});
  return {};
}

TransferPorts TransferEngine::PortsOf(const DataFile& dataFile, TransferOperation operation,
                                      const PortChoice& choice) const {
  TransferPorts ports;
  if (!dataFile.synth) return ports;
  Synth synth = *dataFile.synth;
  RoutePorts(dataFile, operation, synth, choice);
  const auto open = [](int number) { return number == kClosedPort ? -1 : number; };
  ports.in = open(synth.midiInPort);
  ports.out = open(synth.midiOutPort);
  const bool switches = (synth.patchBayFlags & (kUsesPatchBay | kSwitchedByHand)) == kUsesPatchBay;
  ports.patchBay = switches ? open(synth.patchBayPort) : -1;
  return ports;
}

// --- Outputs for one transfer alone ---

std::string PortTakenText(const std::string& port) {
  return "The MIDI OUT port \"" + port + "\" is in use by another transfer.\nPlease retry when the port is free.";
}

bool TransferEngine::TakeOutputs(const Synth& synth, PortLeases::Handle* lease, std::string* taken) const {
  if (!out_) return true;
  PortLeases::Ports ports{out_->GetMidiOutPort(synth.midiOutPort)};
  if ((synth.patchBayFlags & (kUsesPatchBay | kSwitchedByHand)) == kUsesPatchBay)
    if (auto bay = out_->GetMidiOutPort(synth.patchBayPort); bay != ports[0]) ports.push_back(std::move(bay));
  *lease = out_->leases().Take(ports);
  if (*lease) return true;
  for (const auto& port : ports)
    if (port && port->lease() != 0) *taken = PortTakenText(port->name());
  if (taken->empty()) *taken = PortTakenText(out_->OUTGETPORTNAME(synth.midiOutPort));
  return false;
}

bool TransferEngine::TakeOutputs(const Synth& synth, PortLeases::Handle* lease, TransferContext& context) {
  std::string taken;
  if (!TakeOutputs(synth, lease, &taken)) {
    prompts_.Say(kMidiIoTitle, taken);
    return false;
  }
  if (*lease) context.lease = (*lease)->id();
  return true;
}

// --- Patch number and patch bay ---

int TransferEngine::GetNewPchNumber(DataFile* dataFile, TransferOperation operation) {
  Synth& synth = *dataFile->synth;
  if (!preferences_->AskPatchNumber() || !synth.patchNumberInImage ||
      services_.Setting(ScriptSetting::Environment) != 0) {
    return 1;
  }
  const std::string title = std::string("Please select the Patch # (PCH #) to ") +
                            (operation == TransferOperation::kReceive ? "Receive" : "Transmit") + " a " +
                            DataNames(synth);
  const int minimum = PatchMin(synth);
  const int maximum = PatchMax(synth);
  const auto choice = preferences_->SelectPatchNumber(title, synth.patchNumber, minimum, maximum);
  if (!choice) return 0;
  synth.patchNumber = static_cast<std::uint16_t>(std::max(minimum, std::min(*choice, maximum)));
  return 1;
}

bool TransferEngine::MidiPatchBay(const Synth& synth, TransferContext& context) {
  if (!(synth.patchBayFlags & kUsesPatchBay)) return true;
  if (synth.patchBayFlags & kSwitchedByHand) {
    if (context.quiet) return true;
    MessagePrompt prompt;
    prompt.title = "Patch Bay Manual Switch";
    prompt.text = "Switching to " + DataNames(synth) + ".\nPlease select Patch #" +
                  std::to_string(synth.patchBayPatch) + " on your patch bay and\nPress OK when ready.";
    prompt.buttons = PromptButtons::OkCancel;
    return prompts_.Message(prompt) == PromptAnswer::Ok;
  }
  const std::array<std::uint8_t, 2> change{static_cast<std::uint8_t>(0xC0 + (synth.patchBayChannel & 15)),
                                           synth.patchBayPatch};
  services_.SendDataPort(change, synth.patchBayPort, context);
  services_.CreateDelayEvent(synth.midiOutPort, static_cast<std::uint32_t>(preferences_->PatchBayDelay()) * 100u,
                             context);
  return true;
}

void TransferEngine::MidiPBayRevert(const Synth& synth, TransferContext& context) {
  if (!(synth.patchBayFlags & kUsesPatchBay) || !(synth.patchBayFlags & kPatchBayReverts)) return;
  const auto delay = static_cast<std::uint32_t>(preferences_->PatchBayDelay()) * 100u;
  const std::array<std::uint8_t, 2> change{static_cast<std::uint8_t>(0xC0 + (synth.patchBayChannel & 15)),
                                           synth.patchBayRevertPatch};
  services_.CreateDelayEvent(synth.midiOutPort, delay, context);
  services_.SendDataPort(change, synth.patchBayPort, context);
  services_.CreateDelayEvent(synth.midiOutPort, delay, context);
}

}  // namespace tonalith
