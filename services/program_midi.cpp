#include "services/program_midi.h"

#include <algorithm>

#include "services/paths.h"
#include "services/settings.h"

namespace tonalith {

ProgramMidi::ProgramMidi(const ProgramShared& shared, Clock& clock, Dispatcher& dispatcher, ScriptPorts ports)
    : clock_(clock),
      settings_(shared.settings),
      paths_(shared.paths),
      dispatcher_(dispatcher),
      ports_(ports),
      midi_(clock, &shared.prompts),
      router_(dispatcher, clock),
      mainWindow_(router_, shared.appVars,
                  [this](const std::string& path, int port) { return files_.TransmitFile(path, port); }),
      scripts_(midi_, {shared.settings, shared.paths, dispatcher, shared.scriptChanges, shared.scriptState, router_},
               ports),
      transfers_(scripts_, shared.prompts, &midi_.out(), &scripts_,
                 [&dispatcher](std::function<void()> call) { dispatcher.Post(std::move(call)); }),
      pacing_([&paths = shared.paths] { return paths.MidiPortsProfile(); }),
      desk_(transfers_, midi_, dispatcher),
      files_(desk_, shared.disk, midi_.out(), shared.prompts) {
  scripts_.SetTransferEngine(&transfers_);
  desk_.SetPacing(
      [this](const std::string& instrument, const std::string& port) { return pacing_.Of(instrument, port); });
  pacingSink_ =
      settings_.AddPacingSink([this](const std::int16_t values[5]) { midi_.out().OtAMidiSetPreferencesParms(values); });
  settingsListener_ = settings_.AddListener([this](SettingId id, int value) { SettingChanged(id, value); });
  LoadConfig();
}

ProgramMidi::~ProgramMidi() {
  StopWork();
  settings_.RemoveListener(settingsListener_);
  settings_.RemovePacingSink(pacingSink_);
  if (portChangeListener_) midi_.RemovePortChangeListener(portChangeListener_);
}

void ProgramMidi::LoadConfig() {
  midi_.out().SetGlobalMidiDelay(static_cast<std::uint32_t>(std::max(0, settings_.MidiDelay())));
  if (ports_ == ScriptPorts::kChosen) return;
  midi_.SetInAMidiIniPath(paths_.MidiPortsProfile());
  midi_.SetOtAMidiIniPath(paths_.MidiPortsProfile());
  transfers_.ShowTransmitWindow(settings_.Value(SettingId::MainShowTransmitWindow));
  PassDefaultPorts();
}

// Scripts first: one that waits for an answer of the thread this runs on would keep its transfer from ending.
void ProgramMidi::StopWork() {
  router_.Close();
  scripts_.SetQuitting();
  desk_.CancelAll();
  transfers_.CancelAll();
  midi_.StopPortMonitorThread();
}

// ---- settings that ports and transfers follow

void ProgramMidi::SettingChanged(SettingId id, int value) {
  if (ports_ == ScriptPorts::kChosen) return;
  switch (id) {
    case SettingId::MainShowTransmitWindow:
      transfers_.ShowTransmitWindow(value);
      break;
    case SettingId::MainPortOut:
    case SettingId::MainPortIn:
      PassDefaultPorts();
      break;
    case SettingId::MainEchoMode:
    case SettingId::MainMidiChannel:
    case SettingId::MainIncludeRealTimeEvents:
    case SettingId::MainMidiThruLocalOff:
      PassEcho();
      break;
    default:
      break;
  }
}

void ProgramMidi::PassDefaultPorts() {
  midi_.out().SetMainPortOut(settings_.Value(SettingId::MainPortOut));
  midi_.in().SetMainPortIn(settings_.Value(SettingId::MainPortIn));
  PassEcho();
}

void ProgramMidi::PassEcho() {
  const int inPort = settings_.Value(SettingId::MainPortIn);
  const int outPort = settings_.Value(SettingId::MainPortOut);
  const int channel = settings_.Value(SettingId::MainMidiChannel);
  const unsigned options = (settings_.Value(SettingId::MainIncludeRealTimeEvents) ? kEchoRealTime : 0U) |
                           (settings_.Value(SettingId::MainMidiThruLocalOff) ? kEchoLocalOff : 0U);
  midi_.in().PortOutSetEcho(settings_.Value(SettingId::MainEchoMode), inPort, outPort, channel, options, outPort,
                            channel, inPort);
}

// ---- ports

void ProgramMidi::OpenMidiPorts() {
  midi_.Start();
  midi_.MidiPortInOpenPorts();
  midi_.MidiPortOutOpenPorts();
  if (portChangeListener_ == 0) {
    portChangeListener_ = midi_.AddPortChangeListener(
        [this, token = receiver_.token()] { dispatcher_.PostTo(token, [this] { UpdateMidiPorts(); }); });
  }
  midi_.CreatePortMonitorThread();
}

void ProgramMidi::CloseMidiPorts() {
  midi_.StopPortMonitorThread();
  midi_.MidiPortOutClosePorts();
  midi_.MidiPortInClosePorts();
}

// Transfers hold the numbers of their ports, so those of the others go on.
void ProgramMidi::EndTransfersOfGonePorts() {
  for (int i = 0; i < midi_.in().InPorts(); ++i) {
    const auto port = midi_.in().GetMidiInPort(i);
    if (!port || !port->Alive()) transfers_.PortGone(MidiDirection::Input, i);
  }
  for (int i = 0; i < midi_.out().MaxOutPorts(); ++i) {
    const auto port = midi_.out().Slot(i);
    if (!port || !port->Alive()) transfers_.PortGone(MidiDirection::Output, i);
  }
}

void ProgramMidi::UpdateMidiPorts() {
  EndTransfersOfGonePorts();
  const int changes = midi_.MidiInPortsChanged() | midi_.MidiOutPortsChanged();
  const auto listeners = portListeners_;
  for (const auto& entry : listeners) entry.second(changes);
}

int ProgramMidi::AddPortListener(std::function<void(int changes)> listener) {
  portListeners_.emplace_back(nextPortListener_, std::move(listener));
  return nextPortListener_++;
}

void ProgramMidi::RemovePortListener(int id) {
  std::erase_if(portListeners_, [id](const auto& entry) { return entry.first == id; });
}

}  // namespace tonalith
