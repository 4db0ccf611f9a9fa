#include "midi/port_system.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "midi/bridge_names.h"
#include "platform/log.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kPortPollUs = 2'000'000;
constexpr std::int64_t kPortSettleUs = 20'000;  // one device often brings several notices

// A device that two MIDI systems show is one device: the one that is not behind a bridge stays.
void FoldBridged(std::vector<MidiPortDevice>& devices) {
  const std::vector<MidiPortDevice> all = devices;
  std::erase_if(devices, [&all](const MidiPortDevice& device) {
    const std::string& bridged = device.info.bridged;
    return !bridged.empty() && std::any_of(all.begin(), all.end(), [&](const MidiPortDevice& other) {
      if (!other.info.bridged.empty() || other.backend == device.backend) return false;
      return bridged.back() == ':' ? other.info.name.rfind(bridged, 0) == 0 : other.info.name == bridged;
    });
  });
}

bool NameInUse(const std::vector<MidiPortDevice>& devices, const std::string& name) {
  return std::any_of(devices.begin(), devices.end(), [&](const MidiPortDevice& d) { return d.info.name == name; });
}

}  // namespace

MidiPortSystem::MidiPortSystem(Clock& clock, Prompts* prompts)
    : clock_(clock),
      prompts_(prompts),
      out_(std::make_unique<MidiOut>(clock, prompts)),
      in_(std::make_unique<MidiIn>(clock, *out_, prompts)),
      monitorWake_(clock) {
  in_->SetBufferSizeSaver([this](int size) { WriteBufferSize(size); });
  out_->numbers().SetReleased([this] { Notice(); });
}

MidiPortSystem::~MidiPortSystem() {
  out_->numbers().SetReleased({});
  Stop();
}

void MidiPortSystem::SetPrompts(Prompts* prompts) {
  prompts_ = prompts;
  out_->SetPrompts(prompts);
  in_->SetPrompts(prompts);
}

// ---------------------------------------------------------------------------------------------------- backends

void MidiPortSystem::AddBackend(std::shared_ptr<MidiBackend> backend) {
  if (!backend) return;
  backend->SetChangeNotice([this] { Notice(); });
  bool start = false;
  {
    std::lock_guard lock(backendMutex_);
    backends_.push_back({std::move(backend), false, Result::Failure("Not started yet.")});
    start = started_;
  }
  if (start) StartBackends();
}

void MidiPortSystem::Notice() {
  {
    std::lock_guard lock(monitorMutex_);
    noticed_ = true;
  }
  monitorWake_.NotifyAll();
}

void MidiPortSystem::Start() {
  {
    std::lock_guard lock(backendMutex_);
    started_ = true;
  }
  StartBackends();
}

void MidiPortSystem::StartBackends() {
  std::vector<std::shared_ptr<MidiBackend>> idle;
  {
    std::lock_guard lock(backendMutex_);
    if (!started_) return;
    for (Backend& entry : backends_) {
      entry.running = entry.running && entry.backend->Running();
      if (!entry.running) idle.push_back(entry.backend);
    }
  }
  for (const auto& backend : idle) {
    const Result result = backend->Start();
    std::lock_guard lock(backendMutex_);
    for (Backend& entry : backends_) {
      if (entry.backend != backend) continue;
      if (!result && entry.state.text != result.text)
        DebugLog("MIDI system %s: %s", backend->Name().c_str(), result.text.c_str());
      entry.running = result.ok();
      entry.state = result;
    }
  }
}

void MidiPortSystem::Stop() {
  StopPortMonitorThread();
  in_->CloseDistributeThread();
  in_->CloseAllPorts();
  out_->CloseAllPorts();
  std::vector<std::shared_ptr<MidiBackend>> running;
  {
    std::lock_guard lock(backendMutex_);
    started_ = false;
    for (Backend& entry : backends_) {
      entry.backend->SetChangeNotice({});
      if (entry.running) running.push_back(entry.backend);
      entry.running = false;
    }
  }
  for (const auto& backend : running) backend->Stop();
}

std::vector<std::pair<std::string, Result>> MidiPortSystem::BackendStates() const {
  std::lock_guard lock(backendMutex_);
  std::vector<std::pair<std::string, Result>> states;
  for (const Backend& entry : backends_) states.emplace_back(entry.backend->Name(), entry.state);
  return states;
}

std::vector<std::shared_ptr<MidiBackend>> MidiPortSystem::Running() const {
  std::lock_guard lock(backendMutex_);
  std::vector<std::shared_ptr<MidiBackend>> running;
  for (const Backend& entry : backends_)
    if (entry.running) running.push_back(entry.backend);
  return running;
}

// ---------------------------------------------------------------------------------------------------- devices

MidiPortDevice* MidiPortSystem::FindDevice(std::vector<MidiPortDevice>& devices, const MidiBackend* backend,
                                           const std::string& id) {
  for (MidiPortDevice& device : devices)
    if (device.backend.get() == backend && device.info.id == id) return &device;
  return nullptr;
}

// A new snapshot.  Known devices keep their place and name, new ones follow; a name that another MIDI system has too
// gets a number.
int MidiPortSystem::Refresh(MidiDirection direction) {
  std::vector<MidiPortDevice> current;
  for (const auto& backend : Running())
    for (MidiDeviceInfo& info : backend->Devices(direction)) current.push_back({backend, std::move(info)});
  FoldBridged(current);
  std::lock_guard lock(deviceMutex_);
  auto& snapshot = direction == MidiDirection::Input ? inDevices_ : outDevices_;
  std::erase_if(snapshot,
                [&](const MidiPortDevice& known) { return !FindDevice(current, known.backend.get(), known.info.id); });
  for (MidiPortDevice& device : current) {
    if (FindDevice(snapshot, device.backend.get(), device.info.id)) continue;
    const std::string name = device.info.name;
    for (int twin = 2; NameInUse(snapshot, device.info.name); ++twin)
      device.info.name = name + " (" + std::to_string(twin) + ")";
    snapshot.push_back(std::move(device));
  }
  return static_cast<int>(snapshot.size());
}

int MidiPortSystem::midiInGetNumDevs() {
  return Refresh(MidiDirection::Input);
}

int MidiPortSystem::midiOutGetNumDevs() {
  return Refresh(MidiDirection::Output);
}

std::vector<MidiPortDevice> MidiPortSystem::Devices(MidiDirection direction) const {
  std::lock_guard lock(deviceMutex_);
  return direction == MidiDirection::Input ? inDevices_ : outDevices_;
}

Result MidiPortSystem::GetDevCaps(MidiDirection direction, int index, MidiPortDevice& device) const {
  std::lock_guard lock(deviceMutex_);
  const auto& devices = direction == MidiDirection::Input ? inDevices_ : outDevices_;
  if (index < 0 || static_cast<std::size_t>(index) >= devices.size())
    return Result::Failure("There is no such MIDI port.", kMidiNoDevice);
  device = devices[static_cast<std::size_t>(index)];
  return Result::Success();
}

std::vector<std::string> MidiPortSystem::DeviceNames(MidiDirection direction) {
  Refresh(direction);
  std::vector<std::string> names;
  for (const MidiPortDevice& device : Devices(direction)) names.push_back(device.info.name);
  return names;
}

void MidiPortSystem::ReportCapsError(MidiDirection direction, int index, int code) {
  if (!prompts_) return;
  const bool input = direction == MidiDirection::Input;
  const char* way = input ? "In" : "Out";
  std::string text;
  if (code == 3) {
    text = Printf("No driver for Midi %s Port #d!\nfor midi%sGetDevCaps call", way, way);
  } else if (code == kMidiNoDevice) {
    text = Printf("Midi %s Port #%d is out of range!\nfor midi%sGetDevCaps call", way, index, way);
  } else {
    text = Printf("Unknown error trying to open Midi %s Port #%d!\nfor midi%sGetDevCaps call", way, index, way);
  }
  prompts_->Say(input ? "MIDI IN Port Error" : "MIDI OUT Port Error", text);
}

// ---------------------------------------------------------------------------------------------------- opening

// Ports that send everything back, and our own, are opened only when they were chosen by name.
bool MidiPortSystem::Wanted(const PortMap& map, const MidiPortDevice& device) {
  if (device.info.own || device.info.through) return !map.openAll() && map.Listed(device.info.name);
  // A name that was kept while the port was reached over a bridge.
  const auto kept = [&](const std::string& name) { return BridgedName(name) == device.info.name; };
  return map.GetPort(device.info.name) || std::any_of(map.names().begin(), map.names().end(), kept);
}

int MidiPortSystem::OpenPorts(MidiDirection direction) const {
  return direction == MidiDirection::Input ? in_->InPorts() : out_->MaxOutPorts();
}

// Opens the device into the next free slot; 0 on success.
int MidiPortSystem::OpenDevice(MidiDirection direction, const MidiPortDevice& device, bool showErrors, PortMap* map) {
  const int slot = OpenPorts(direction);
  if (slot >= kMaxMidiPorts) return 1;
  PreparedPort ready;
  const bool prepared = TakePrepared(direction, device, &ready);
  if (direction == MidiDirection::Output) {
    if (prepared) {
      out_->AdoptPort(device, std::move(ready.output), slot);
    } else if (out_->MidiOutOpenOnePort(device, slot, showErrors, map)) {
      return 1;
    }
    if (const std::uint32_t speed = PortSpeed(device.info.name)) out_->Slot(slot)->SetSpeed(speed);
    out_->SetMaxOutPorts(slot + 1);
    return 0;
  }
  if (prepared) {
    in_->AdoptPort(std::move(ready.input), slot);
  } else if (in_->MidiInOpenOnePort(device, slot, showErrors, map)) {
    return 1;
  }
  in_->MidiInInitOnePort(slot, showErrors);
  in_->SetInPorts(slot + 1);
  return 0;
}

int MidiPortSystem::OpenFromMap(MidiDirection direction, bool showErrors) {
  const bool input = direction == MidiDirection::Input;
  const int count = std::min(Refresh(direction), kMaxMidiPorts);
  PortMap map = Map(direction);
  if (map.names().empty() && !map.openAll()) return OpenPorts(direction);
  if (count > 0 && OpenPorts(direction) > 0) return OpenPorts(direction);
  const bool selected = !map.names().empty();
  if (input) in_->SetInputStopped(true);
  for (int index = 0; index < count; ++index) {
    MidiPortDevice device;
    if (const Result caps = GetDevCaps(direction, index, device); !caps) {
      if (showErrors) ReportCapsError(direction, index, caps.code);
      continue;
    }
    if (Wanted(map, device)) OpenDevice(direction, device, showErrors, &map);
  }
  const int opened = OpenPorts(direction);
  if (opened == 0 && selected && showErrors && prompts_) {
    prompts_->Say(input ? "MIDI IN Port Error" : "MIDI OUT Port Error",
                  input ? "No MIDI IN Ports currently available!" : "No MIDI OUT Ports currently available!");
  }
  Map(direction) = map;
  PublishMaps();
  if (input) in_->SetInputStopped(false);
  return opened;
}

int MidiPortSystem::MidiPortInOpenPortsFromMap(bool showErrors) {
  return OpenFromMap(MidiDirection::Input, showErrors);
}

int MidiPortSystem::MidiPortOutOpenPortsFromMap(bool showErrors) {
  return OpenFromMap(MidiDirection::Output, showErrors);
}

int MidiPortSystem::MidiPortInOpenPorts(const std::string& profile, bool showErrors) {
  inMap_ = GetPortInProfile(profile);
  return MidiPortInOpenPortsFromMap(showErrors);
}

int MidiPortSystem::MidiPortOutOpenPorts(const std::string& profile, bool showErrors) {
  outMap_ = GetPortOutProfile(profile);
  return MidiPortOutOpenPortsFromMap(showErrors);
}

int MidiPortSystem::MidiOutOpenOnePort(int device, int slot, bool showErrors, PortMap* map) {
  MidiPortDevice found;
  if (!GetDevCaps(MidiDirection::Output, device, found)) return 1;
  return out_->MidiOutOpenOnePort(found, slot, showErrors, map);
}

int MidiPortSystem::MidiInOpenOnePort(int device, int slot, bool showErrors, PortMap* map) {
  MidiPortDevice found;
  if (!GetDevCaps(MidiDirection::Input, device, found)) return 1;
  return in_->MidiInOpenOnePort(found, slot, showErrors, map);
}

// ---------------------------------------------------------------------------------------------------- closing

void MidiPortSystem::MidiPortInClosePorts() {
  in_->CloseAllPorts();
  inMap_.Clear();
  PublishMaps();
}

void MidiPortSystem::MidiPortOutClosePorts() {
  out_->CloseAllPorts();
  outMap_.Clear();
  PublishMaps();
}

void MidiPortSystem::MidiPortInShutDown() {
  MidiPortInClosePorts();
}

void MidiPortSystem::MidiPortInShutDownPort(int slot) {
  in_->RemovePort(slot);
}

void MidiPortSystem::MidiPortOutShutDown() {
  out_->ShutDownAllPorts();
  outMap_.Clear();
  PublishMaps();
}

std::string MidiPortSystem::CloseMidiInPortsExcept(int port) {
  keptIn_ = in_->INGETPORTNAME(port);
  MidiPortInClosePorts();
  return keptIn_;
}

std::string MidiPortSystem::CloseMidiOutPortsExcept(int port) {
  keptOut_ = out_->OUTGETPORTNAME(port);
  MidiPortOutClosePorts();
  return keptOut_;
}

// ---------------------------------------------------------------------------------------------------- changes

// True when the device behind an open slot is the one that was opened: a port that went and came back is another one.
bool MidiPortSystem::StillThere(MidiDirection direction, int slot, std::vector<MidiPortDevice>& devices) const {
  if (direction == MidiDirection::Input) {
    const auto port = in_->GetMidiInPort(slot);
    return port && port->Alive() && FindDevice(devices, port->device().backend.get(), port->device().info.id);
  }
  const auto port = out_->Slot(slot);
  return port && port->Alive() && FindDevice(devices, port->device().backend.get(), port->device().info.id);
}

int MidiPortSystem::Changed(MidiDirection direction) {
  const bool input = direction == MidiDirection::Input;
  const bool monitored = monitor_.Running();
  bool fresh = false;
  {
    std::lock_guard lock(deviceMutex_);
    fresh = std::exchange(input ? freshIn_ : freshOut_, false);
  }
  if (!fresh) Refresh(direction);
  std::vector<MidiPortDevice> devices = Devices(direction);
  int result = 0;
  for (int slot = OpenPorts(direction) - 1; slot >= 0; --slot) {
    // A transfer goes on with the ports behind this one.
    if (StillThere(direction, slot, devices) || out_->numbers().Held()) continue;
    returns_.Gone(direction, input ? in_->INGETPORTNAME(slot) : out_->OUTGETPORTNAME(slot));
    if (input) {
      in_->RemovePort(slot);
    } else {
      out_->RemovePort(slot);
    }
    result |= kPortsRemoved;
  }
  PortMap& map = Map(direction);
  for (const MidiPortDevice& device : devices) {
    if (!Wanted(map, device)) continue;
    if (Open(direction, device.info.name)) continue;
    if (monitored && !TakePrepared(direction, device, nullptr)) continue;
    if (OpenDevice(direction, device, false, nullptr)) continue;
    returns_.Opened(direction, device.info.name);
    if (!map.Listed(device.info.name)) map.AddPortName(device.info.name);
    result |= kPortsAdded;
  }
  PublishMaps();
  return result;
}

bool MidiPortSystem::Open(MidiDirection direction, const std::string& name) const {
  return (direction == MidiDirection::Input ? in_->FindPort(name) : out_->FindPort(name)) >= 0;
}

void MidiPortSystem::SetMidiInPortMap(const PortMap& map) {
  inMap_ = map;
  PublishMaps();
}

void MidiPortSystem::SetMidiOutPortMap(const PortMap& map) {
  outMap_ = map;
  PublishMaps();
}

void MidiPortSystem::PublishMaps() {
  std::lock_guard lock(deviceMutex_);
  wantedIn_ = inMap_;
  wantedOut_ = outMap_;
}

// Monitor thread: opens what is wanted and not open, so that the owner of the ports need not wait for it.  How many
// were opened.
int MidiPortSystem::PreparePorts(MidiDirection direction) {
  const bool input = direction == MidiDirection::Input;
  Refresh(direction);
  PortMap map;
  std::vector<PreparedPort> stale;
  {
    std::lock_guard lock(deviceMutex_);
    map = input ? wantedIn_ : wantedOut_;
    const auto unused = std::stable_partition(prepared_.begin(), prepared_.end(), [&](const PreparedPort& port) {
      return port.direction != direction ||
             (port.Alive() && Wanted(map, port.device) && !Open(direction, port.device.info.name));
    });
    std::move(unused, prepared_.end(), std::back_inserter(stale));
    prepared_.erase(unused, prepared_.end());
  }
  stale.clear();
  int opened = 0;
  for (const MidiPortDevice& device : Devices(direction)) {
    if (!Wanted(map, device) || Open(direction, device.info.name) || TakePrepared(direction, device, nullptr)) continue;
    PreparedPort port{direction, device, nullptr, nullptr};
    const Result result =
        input ? in_->OpenPort(device, port.input) : device.backend->OpenOutput(device.info.id, port.output);
    if (!result.ok()) {
      MonitorMsg("MIDI %s %s could not be opened. %s", input ? "IN" : "OUT", device.info.name.c_str(),
                 result.text.c_str());
      continue;
    }
    std::lock_guard lock(deviceMutex_);
    prepared_.push_back(std::move(port));
    ++opened;
  }
  std::lock_guard lock(deviceMutex_);
  (input ? freshIn_ : freshOut_) = true;
  return opened;
}

bool MidiPortSystem::AnyPortDead() const {
  for (int i = 0; i < in_->InPorts(); ++i)
    if (const auto port = in_->GetMidiInPort(i); port && !port->Alive()) return true;
  for (int i = 0; i < out_->MaxOutPorts(); ++i)
    if (const auto port = out_->Slot(i); port && !port->Alive()) return true;
  return false;
}

// Null: only whether it is there.
bool MidiPortSystem::TakePrepared(MidiDirection direction, const MidiPortDevice& device, PreparedPort* port) {
  std::lock_guard lock(deviceMutex_);
  const auto found = std::find_if(prepared_.begin(), prepared_.end(), [&](const PreparedPort& entry) {
    return entry.direction == direction && entry.device.backend == device.backend &&
           entry.device.info.id == device.info.id && entry.Alive();
  });
  if (found == prepared_.end()) return false;
  if (!port) return true;
  *port = std::move(*found);
  prepared_.erase(found);
  return true;
}

int MidiPortSystem::MidiInPortsChanged() {
  return Changed(MidiDirection::Input);
}

int MidiPortSystem::MidiOutPortsChanged() {
  return Changed(MidiDirection::Output);
}

std::string MidiPortSystem::DeviceKeys() const {
  std::vector<std::string> keys;
  for (const auto& backend : Running()) {
    for (const MidiDirection direction : {MidiDirection::Input, MidiDirection::Output})
      for (const MidiDeviceInfo& info : backend->Devices(direction))
        keys.push_back(backend->Name() + (direction == MidiDirection::Input ? "<" : ">") + info.id);
  }
  std::sort(keys.begin(), keys.end());
  std::string all;
  for (const std::string& key : keys) all += key + '\n';
  return all;
}

void MidiPortSystem::CreatePortMonitorThread() {
  if (monitor_.Running()) return;
  {
    std::lock_guard lock(monitorMutex_);
    monitorQuit_ = false;
    noticed_ = false;
  }
  PublishMaps();
  monitor_ = WorkerThread(clock_, [this, keys = DeviceKeys()] { MonitorThread(keys); });
}

void MidiPortSystem::StopPortMonitorThread() {
  {
    std::lock_guard lock(monitorMutex_);
    monitorQuit_ = true;
  }
  monitorWake_.NotifyAll();
  monitor_.Join();
  std::vector<PreparedPort> unused;  // closed without the lock
  {
    std::lock_guard lock(deviceMutex_);
    unused.swap(prepared_);
  }
}

void MidiPortSystem::MonitorThread(std::string keys) {
  std::unique_lock lock(monitorMutex_);
  while (!monitorQuit_) {
    monitorWake_.WaitUntil(lock, clock_.NowUs() + kPortPollUs, [this] { return noticed_ || monitorQuit_; });
    if (noticed_) monitorWake_.WaitUntil(lock, clock_.NowUs() + kPortSettleUs, [this] { return monitorQuit_; });
    if (monitorQuit_) return;
    const bool noticed = noticed_;
    noticed_ = false;
    lock.unlock();
    StartBackends();
    std::string now = DeviceKeys();
    if (noticed || now != keys) {
      keys = std::move(now);
      // What is gone is told before anything is opened, which may take its time.
      const bool told = AnyPortDead();
      if (told) NotifyMidiPortChange();
      const bool opened = PreparePorts(MidiDirection::Input) + PreparePorts(MidiDirection::Output) > 0;
      if (opened || !told) NotifyMidiPortChange();
    }
    lock.lock();
  }
}

void MidiPortSystem::NotifyMidiPortChange() {
  std::lock_guard lock(listenerMutex_);
  if (!plugins_.empty()) {
    for (std::size_t i = 0; pluginCallback_ && i < plugins_.size(); ++i) pluginCallback_(1, static_cast<int>(i));
    return;
  }
  for (const auto& listener : listeners_) listener.second();
}

int MidiPortSystem::AddPortChangeListener(std::function<void()> changed) {
  std::lock_guard lock(listenerMutex_);
  listeners_.emplace_back(nextListener_, std::move(changed));
  return nextListener_++;
}

void MidiPortSystem::RemovePortChangeListener(int id) {
  std::lock_guard lock(listenerMutex_);
  std::erase_if(listeners_, [id](const auto& entry) { return entry.first == id; });
}

void MidiPortSystem::InAMidiAddPlugin(const void* instance) {
  bool first = false;
  {
    std::lock_guard lock(listenerMutex_);
    first = plugins_.empty();
    plugins_.push_back(instance);
  }
  if (!first) return;
  MidiPortInOpenPorts();
  MidiPortOutOpenPorts();
}

void MidiPortSystem::InAMidiRemovePlugin(const void* instance) {
  std::lock_guard lock(listenerMutex_);
  std::erase(plugins_, instance);
}

void MidiPortSystem::InAMidiSetPluginCallback(std::function<void(int, int)> callback) {
  std::lock_guard lock(listenerMutex_);
  pluginCallback_ = std::move(callback);
}

}  // namespace tonalith
