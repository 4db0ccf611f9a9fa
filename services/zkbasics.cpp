#include "services/zkbasics.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kDefaultApplicationName[] = "Tonalith";

}  // namespace

void ZKBasics::DiskBridge::DrvCorrectIDForCollisions(DataFile* dataFile) {
  if (basics_.studio_) basics_.studio_->DrvCorrectIDForCollisions(dataFile);
}

void ZKBasics::DiskBridge::DrvUpdateDataFile(DataFile* dataFile) {
  if (basics_.studio_) basics_.studio_->DrvUpdateDataFile(dataFile);
}

void ZKBasics::DiskBridge::ShowMessage(const std::string& title, const std::string& text) {
  basics_.prompts_.Say(title, text);
}

ZKBasics::ZKBasics(Folders folders, Clock& clock, Prompts& prompts, Dispatcher& dispatcher)
    : clock_(clock),
      prompts_(prompts),
      dispatcher_(dispatcher),
      registry_(RegistryFile(folders), kDefaultApplicationName, &prompts),
      paths_(std::move(folders), registry_),
      places_(paths_),
      diskBridge_(*this),
      disk_(&diskBridge_),
      midi_(clock, &prompts),
      scripts_(midi_, settings_, paths_, dispatcher),
      transfers_(scripts_, prompts, &midi_.out(), &scripts_,
                 [&dispatcher](std::function<void()> call) { dispatcher.Post(std::move(call)); }),
      jobs_(clock) {
  scripts_.SetTransferEngine(&transfers_);
  settings_.SetPacingSink([this](const std::int16_t values[5]) { midi_.out().OtAMidiSetPreferencesParms(values); });
  settingsListener_ = settings_.AddListener([this](SettingId id, int value) { SettingChanged(id, value); });
  DataFileObservers::Instance().SetUiThread(
      std::this_thread::get_id(), [&dispatcher](std::function<void()> call) { dispatcher.Post(std::move(call)); });
}

ZKBasics::~ZKBasics() {
  StopWork();
  settings_.RemoveListener(settingsListener_);
  if (portChangeListener_) midi_.RemovePortChangeListener(portChangeListener_);
  midi_.Stop();
  DataFileObservers::Instance().SetUiThread({}, {});
}

void ZKBasics::SetDocuments(DocumentsHost* documents) {
  documents_ = documents;
  scripts_.SetDocuments(documents);
}

void ZKBasics::LoadConfig() {
  MainLoadConfig(paths_.BuildConfigFilename(), paths_.MainGetPreferencesIni());
  out().SetGlobalMidiDelay(static_cast<std::uint32_t>(settings_.MidiDelay()));
  midi_.SetInAMidiIniPath(paths_.MidiPortsProfile());
  midi_.SetOtAMidiIniPath(paths_.MidiPortsProfile());
}

int ZKBasics::MainGetSynCompileSize(int size) {
  if (size >= 1) synCompileSize_ = std::min(size, 65535);
  return synCompileSize_;
}

// ---- settings that other components follow

void ZKBasics::SettingChanged(SettingId id, int value) {
  switch (id) {
    case SettingId::MainPortOut:
      out().SetMainPortOut(value);
      PassEcho();
      break;
    case SettingId::MainPortIn:
      in().SetMainPortIn(value);
      PassEcho();
      break;
    case SettingId::MainEchoMode:
    case SettingId::MainMidiChannel:
    case SettingId::MainIncludeRealTimeEvents:
    case SettingId::MainMidiThruLocalOff:
      PassEcho();
      break;
    case SettingId::MainShowTransmitWindow:
      transfers_.ShowTransmitWindow(value);
      break;
    default:
      break;
  }
}

void ZKBasics::PassEcho() {
  const int inPort = settings_.Value(SettingId::MainPortIn);
  const int outPort = settings_.Value(SettingId::MainPortOut);
  const int channel = settings_.Value(SettingId::MainMidiChannel);
  const unsigned options = (settings_.Value(SettingId::MainIncludeRealTimeEvents) ? kEchoRealTime : 0U) |
                           (settings_.Value(SettingId::MainMidiThruLocalOff) ? kEchoLocalOff : 0U);
  in().PortOutSetEcho(settings_.Value(SettingId::MainEchoMode), inPort, outPort, channel, options, outPort, channel,
                      inPort);
}

// ---- ports

void ZKBasics::OpenMidiPorts() {
  midi_.Start();
  midi_.MidiPortInOpenPorts();
  midi_.MidiPortOutOpenPorts();
  if (portChangeListener_ == 0) {
    portChangeListener_ = midi_.AddPortChangeListener(
        [this, token = receiver_.token()] { dispatcher_.PostTo(token, [this] { UpdateMidiPorts(); }); });
  }
  midi_.CreatePortMonitorThread();
}

void ZKBasics::CloseMidiPorts() {
  midi_.StopPortMonitorThread();
  midi_.MidiPortOutClosePorts();
  midi_.MidiPortInClosePorts();
}

std::vector<std::string> ZKBasics::PortNames(MidiDirection direction) {
  std::vector<std::string> names;
  const bool input = direction == MidiDirection::Input;
  const int count = input ? in().InPorts() : out().MaxOutPorts();
  for (int i = 0; i < count; ++i) names.push_back(input ? in().INGETPORTNAME(i) : out().OUTGETPORTNAME(i));
  return names;
}

// Ports behind one that went away move down: a transfer on any of them would go on with its neighbour.
void ZKBasics::EndTransfersOfMovedPorts(MidiDirection direction, const std::vector<std::string>& before) {
  const std::vector<std::string> now = PortNames(direction);
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (i >= now.size() || now[i] != before[i]) transfers_.PortGone(direction, static_cast<int>(i));
  }
}

void ZKBasics::UpdateMidiPorts() {
  const auto inputs = PortNames(MidiDirection::Input);
  const auto outputs = PortNames(MidiDirection::Output);
  const int changes = midi_.MidiInPortsChanged() | midi_.MidiOutPortsChanged();
  EndTransfersOfMovedPorts(MidiDirection::Input, inputs);
  EndTransfersOfMovedPorts(MidiDirection::Output, outputs);
  const auto listeners = portListeners_;
  for (const auto& entry : listeners) entry.second(changes);
}

int ZKBasics::AddPortListener(std::function<void(int changes)> listener) {
  portListeners_.emplace_back(nextPortListener_, std::move(listener));
  return nextPortListener_++;
}

void ZKBasics::RemovePortListener(int id) {
  std::erase_if(portListeners_, [id](const auto& entry) { return entry.first == id; });
}

void ZKBasics::StopWork() {
  scripts_.SetQuitting();
  transfers_.CancelAll();
  jobs_.StopAll();
  midi_.StopPortMonitorThread();
}

}  // namespace tonalith
