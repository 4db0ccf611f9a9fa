#include "midi/midi_input.h"

#include <algorithm>

#include "midi/port_map.h"
#include "midi/port_slots.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr int kDefaultBufferSize = 7000;
constexpr int kSmallestBuffer = 2000;

std::uint32_t PackShort(std::span<const std::uint8_t> message) {
  std::uint32_t packed = 0;
  for (std::size_t i = 0; i < message.size() && i < 3; ++i) packed |= static_cast<std::uint32_t>(message[i]) << (8 * i);
  return packed;
}

}  // namespace

MidiIn::MidiIn(Clock& clock, MidiOut& out, Prompts* prompts)
    : clock_(clock), out_(out), prompts_(prompts), distributeWake_(clock) {
  InAMidiInitialize();
}

MidiIn::~MidiIn() {
  InAMidiCleanup();
}

void MidiIn::InAMidiInitialize() {
  std::lock_guard lock(ringMutex_);
  shortRing_.resize(kShortRing);
  sysexRing_.resize(kSysExRing);
  starts_.resize(kSysExStarts);
}

void MidiIn::InAMidiCleanup() {
  CloseAllPorts();
  {
    std::lock_guard lock(distributeMutex_);
    distributeUsers_ = 0;
    distributeQuit_ = true;
  }
  distributeWake_.NotifyAll();
  distributeThread_.Join();
  std::lock_guard lock(ringMutex_);
  record_ = false;
  shortRing_.clear();
  sysexRing_.clear();
  starts_.clear();
  inBot_ = inSysXTop_ = inSysXWrite_ = 0;
}

// ---------------------------------------------------------------------------------------------------- ports

void MidiIn::INNUMPORTS(int* count) const {
  if (count) *count = openPorts_.load();
}

std::string MidiIn::INGETPORTNAME(int port) const {
  const auto open = GetMidiInPort(port);
  return open ? open->name() : std::string();
}

std::shared_ptr<MidiInPort> MidiIn::GetMidiInPort(int port) const {
  if (port < 0 || port >= kMaxMidiPorts) return nullptr;
  std::lock_guard lock(tableMutex_);
  return slots_[static_cast<std::size_t>(port)];
}

int MidiIn::FindPort(const std::string& name) const {
  const int count = std::clamp(openPorts_.load(), 0, kMaxMidiPorts);
  std::lock_guard lock(tableMutex_);
  for (int i = 0; i < count; ++i)
    if (const auto& port = slots_[static_cast<std::size_t>(i)]; port && port->name() == name && port->Alive()) return i;
  return -1;
}

Result MidiIn::OpenPort(const MidiPortDevice& device, std::shared_ptr<MidiInPort>& port) {
  auto made = std::make_shared<MidiInPort>(*this, device, -1);
  MidiInPort* const raw = made.get();
  std::unique_ptr<MidiInputHandle> handle;
  const Result result = device.backend->OpenInput(
      device.info.id, [raw](std::span<const std::uint8_t> bytes, std::int64_t timeUs) { raw->OnBytes(bytes, timeUs); },
      handle);
  if (!result || !handle) return result ? Result::Failure("The MIDI port gave no input.", kMidiFailed) : result;
  {
    std::lock_guard lock(made->handleMutex_);
    made->handle_ = std::move(handle);
  }
  port = std::move(made);
  return Result::Success();
}

void MidiIn::AdoptPort(std::shared_ptr<MidiInPort> port, int slot) {
  port->SetSlot(slot);
  std::lock_guard lock(tableMutex_);
  slots_[static_cast<std::size_t>(slot)] = std::move(port);
}

int MidiIn::MidiInOpenOnePort(const MidiPortDevice& device, int slot, bool showErrors, PortMap* map) {
  if (slot < 0 || slot >= kMaxMidiPorts || !device.backend || GetMidiInPort(slot)) return 1;
  std::shared_ptr<MidiInPort> port;
  if (const Result result = OpenPort(device, port); !result) {
    MonitorMsg("MIDI IN %s could not be opened. %s", device.info.name.c_str(), result.text.c_str());
    if (showErrors) ShowOpenError(device.info.name, result);
    if (map) map->ClearPort(device.info.name);
    return 1;
  }
  AdoptPort(std::move(port), slot);
  return 0;
}

// The backends keep their own input buffers, so the port works from the moment it is open; what remains is to say when
// it does not.
int MidiIn::MidiInInitOnePort(int slot, bool showErrors) {
  const auto port = GetMidiInPort(slot);
  if (port && port->Alive()) return 0;
  if (showErrors && prompts_) {
    std::string text = port ? "Midi In Add Buffer Error! " : "Prepare header error! ";
    text +=
        "Adding SysX Buffers has been stopped.\nIt appears there is a problem in the MIDI Drivers.\nWe recommend you "
        "restart Windows.";
    prompts_->Say("MIDI IN Port Error", text);
  }
  return 1;
}

void MidiIn::ShowOpenError(const std::string& name, const Result& result) {
  if (!prompts_) return;
  std::string text;
  switch (result.code) {
    case kMidiAllocated:
      text = "Unable to open the [ " + name + " ] MIDI IN port.\n\nThe " + name +
             " MIDI IN Port appears to be a single-client MIDI device and is likely already in use by another program. "
             "It will not be used in this session.\n\n\nPlease see the Troubleshooting Guide PDF for more details.";
      break;
    case kMidiBusy:
      text =
          name +
          " is currently in use and could not be opened by the editor.\n\nEnsure no other program or plug-in host has "
          "this MIDI port open and\nplease try again.";
      break;
    case kMidiNoDevice:
      text = name + " is out of range for midiInOpen call.";
      break;
    default:
      text = name + " - Unknown error trying to open port.";
      break;
  }
  MessagePrompt prompt;
  prompt.title = "MIDI IN Port - " + name + " Open Error";
  prompt.text = text;
  prompt.icon = PromptIcon::Information;
  prompts_->Message(prompt);
}

void MidiIn::CloseAllPorts() {
  openPorts_.store(0);
  std::vector<std::shared_ptr<MidiInPort>> ports;
  {
    std::lock_guard lock(tableMutex_);
    ports = TakeAllPorts(slots_);
  }
  for (const auto& port : ports) port->ClosePort();
}

void MidiIn::RemovePort(int slot) {
  const int count = openPorts_.load();
  if (slot < 0 || slot >= count) return;
  std::shared_ptr<MidiInPort> removed;
  {
    std::lock_guard lock(tableMutex_);
    removed = TakePort(slots_, slot, count);
    openPorts_.store(count - 1);
  }
  if (removed) removed->ClosePort();
}

void MidiIn::SetMidiInBufferSize(int size) {
  if (size < kSmallestBuffer) return;
  bufferSize_.store(size);
  std::function<void(int)> save;
  {
    std::lock_guard lock(hookMutex_);
    save = saveBufferSize_;
  }
  if (save) save(size);
}

void MidiIn::SetBufferSizeSaver(std::function<void(int)> save) {
  std::lock_guard lock(hookMutex_);
  saveBufferSize_ = std::move(save);
}

void MidiIn::SetNumSysXBuffers(int count) {
  bufferCount_.store(std::clamp(count, 1, 1000));
}

void MidiIn::LoadBufferSettings(int count, int size) {
  SetNumSysXBuffers(count);
  bufferSize_.store(std::clamp(size == 0 ? kDefaultBufferSize : size, 256, 1048576));
}

// ---------------------------------------------------------------------------------------------------- what arrives

std::uint32_t MidiIn::TimeStamp(std::int64_t timeUs) const {
  std::function<std::uint32_t()> counter;
  {
    std::lock_guard lock(hookMutex_);
    counter = deltaCounter_;
  }
  const std::uint32_t delta = counter ? counter() : 0;
  return delta ? delta : static_cast<std::uint32_t>(timeUs / 1000);
}

void MidiIn::OnShort(MidiInPort& port, std::span<const std::uint8_t> message, std::int64_t timeUs) {
  const int slot = port.slot();
  Echo(slot, message);
  RecordShort(PackShort(message), slot, TimeStamp(timeUs));
  CallMonitors(slot, message);
}

void MidiIn::OnLong(MidiInPort& port, const std::vector<std::uint8_t>& message, bool complete, std::int64_t startUs) {
  RecordLong(message, complete, port.slot(), TimeStamp(startUs));
  CallMonitors(port.slot(), message);
}

void MidiIn::CallMonitors(int port, std::span<const std::uint8_t> message) {
  std::vector<std::pair<int, MidiInMonitor>> monitors;
  {
    std::lock_guard lock(hookMutex_);
    if (monitors_.empty()) return;
    monitors = monitors_;
  }
  for (const auto& monitor : monitors) monitor.second(port, message);
}

int MidiIn::AddMidiInMonitor(MidiInMonitor monitor) {
  std::lock_guard lock(hookMutex_);
  monitors_.emplace_back(nextMonitor_, std::move(monitor));
  return nextMonitor_++;
}

void MidiIn::RemoveMidiInMonitor(int id) {
  std::lock_guard lock(hookMutex_);
  std::erase_if(monitors_, [id](const auto& entry) { return entry.first == id; });
}

void MidiIn::SetSequencer(std::function<std::uint32_t()> deltaCounter, std::function<bool()> clockTick) {
  std::lock_guard lock(hookMutex_);
  deltaCounter_ = std::move(deltaCounter);
  clockTick_ = std::move(clockTick);
}

// ---------------------------------------------------------------------------------------------------- echo

void MidiIn::PortOutSetEcho(int mode, int defaultInPort, int port, int channel, unsigned options, int winPort,
                            int winChannel, int inPort) {
  std::lock_guard lock(echoMutex_);
  echo_.mode = std::clamp(mode, 0, 5);
  echo_.dfltInPort = defaultInPort;
  echo_.port = port;
  echo_.channel = channel;
  echo_.includeRealTime = (options & kEchoRealTime) != 0;
  echo_.localOff = (options & kEchoLocalOff) != 0;
  if (winPort >= 0) echo_.winPort = winPort;
  if (winChannel >= 0) echo_.winChannel = winChannel;
  if (inPort >= 0) echo_.inPort = inPort;
}

void MidiIn::Echo(int port, std::span<const std::uint8_t> message) {
  EchoSettings echo;
  {
    std::lock_guard lock(echoMutex_);
    echo = echo_;
  }
  if (echo.mode == 0) return;
  const std::uint8_t status = message[0];
  const bool channelMessage = status < 0xF0;
  if (!channelMessage) {
    const bool realTime = status == 0xF8 || status == 0xFA || status == 0xFB || status == 0xFC;
    if (!realTime || !echo.includeRealTime) return;
  }
  std::array<std::uint8_t, 3> bytes{};
  std::copy_n(message.begin(), std::min(message.size(), bytes.size()), bytes.begin());
  const std::size_t length = !channelMessage ? 1 : (status & 0xE0) == 0xC0 ? 2 : 3;
  const auto onChannel = [&](int channel) {
    if (channelMessage) bytes[0] = static_cast<std::uint8_t>((status & 0xF0) | (channel & 0x0F));
  };
  int target = echo.port;
  if (echo.mode == 3) {
    onChannel(echo.channel);
  } else if (echo.mode != 1) {
    if (port == echo.inPort && !echo.localOff) return;
    if (echo.mode == 5 && port != echo.dfltInPort) return;
    target = echo.winPort;
    onChannel(echo.winChannel);
  }
  out_.SENDDATAXThru(target, std::span(bytes).first(length));
}

// ---------------------------------------------------------------------------------------------------- receiving

std::int64_t MidiIn::DefaultTimeoutMs(std::int64_t length) {
  return std::max(length * 11 / kMidiWireRate + 30, length / 2 + 300);
}

std::int64_t MidiIn::GetDataPort(std::span<std::uint8_t> buffer, int port) {
  return GetDataVector(buffer, port, {});
}

std::int64_t MidiIn::GetDataSkipPort(std::span<std::uint8_t> buffer, std::int64_t skip, int port) {
  ReceiveOptions options;
  options.skip = std::max<std::int64_t>(skip, 0);
  return GetDataVector(buffer, port, options);
}

void MidiIn::ExpectReply(int port) {
  if (const auto open = GetMidiInPort(port)) open->ExpectReply();
}

void MidiIn::KeepReplies(int port) {
  if (const auto open = GetMidiInPort(port)) open->KeepReplies();
}

void MidiIn::ForgetReplies(int port) {
  if (const auto open = GetMidiInPort(port)) open->ForgetReplies();
}

bool MidiIn::ZKMidiInSetReceive(std::span<std::uint8_t> destination, int port, const ReceiveOptions& options) {
  const auto open = GetMidiInPort(port);
  if (!open) return false;
  open->SetReceive(destination, options);
  return true;
}

std::int64_t MidiIn::GetDataVector(std::span<std::uint8_t> buffer, int port, const ReceiveOptions& options,
                                   const ReceiveHooks& hooks, ReceiveReport* report) {
  ReceiveReport unused;
  ReceiveReport& outcome = report ? *report : unused;
  outcome = ReceiveReport();
  // Held for the whole receive: when slots move, it stays with its port.
  const auto open = GetMidiInPort(port);
  if (!open || !open->Alive()) {
    outcome.portGone = true;
    return kReceiveAborted;
  }
  if (buffer.empty()) return 0;
  const std::uint64_t lostBefore = open->LostEvents();
  const std::uint64_t receive =
      open->SetReceive(buffer, options, hooks.received, static_cast<bool>(hooks.sendRequest), hooks.requestWaits);
  if (hooks.sendRequest) hooks.sendRequest();
  const std::int64_t timeoutMs =
      options.timeoutMs < 0 ? DefaultTimeoutMs(static_cast<std::int64_t>(buffer.size())) : options.timeoutMs;
  WaitForData(*open, receive, timeoutMs, hooks, outcome);
  outcome.stored = std::max<std::int64_t>(open->ClearReceive(receive, &outcome), 0);
  outcome.damaged = open->LostEvents() != lostBefore;
  if (outcome.aborted || outcome.portGone || outcome.cancelledByPattern) return kReceiveAborted;
  if (outcome.stored == 0) return kReceivedNothing;
  if (hooks.transferMode && hooks.transferMode() >= 2) return kReceiveAborted;
  clock_.SleepMs(2);
  return outcome.stored;
}

// What ends a receive besides its data; asked without any lock.
bool MidiIn::EndsEarly(const MidiInPort& port, const ReceiveHooks& hooks, ReceiveReport& report) {
  report.aborted = hooks.cancel && hooks.cancel->Cancelled();
  report.portGone = !port.Alive();
  if (report.aborted || report.portGone) return true;
  if (hooks.wake && hooks.wake->Cancelled()) return true;
  return hooks.transferMode && hooks.transferMode() != 0;
}

void MidiIn::WaitForData(MidiInPort& port, std::uint64_t receive, std::int64_t timeoutMs, const ReceiveHooks& hooks,
                         ReceiveReport& report) {
  constexpr std::int64_t kSliceUs = 50'000;
  constexpr std::int64_t kPollUs = 100'000;
  constexpr std::int64_t kUnderWayUs = 5'000;
  std::int64_t startUs = clock_.NowUs();
  bool underWay = static_cast<bool>(hooks.requestUnderWay);
  std::int64_t lookUs = hooks.polling ? startUs + kPollUs : startUs;
  std::unique_lock lock(port.mutex_);
  const auto over = [&] { return port.receive_.state == 0 || port.receive_.state == 3; };
  for (;;) {
    const std::int64_t now = clock_.NowUs();
    if (now >= lookUs && port.receiveNumber_ == receive) {
      if (over()) {
        report.cancelledByPattern = port.receive_.state == 3;
        return;
      }
      if (hooks.polling) lookUs += kPollUs;
    }
    lock.unlock();
    const bool ends = EndsEarly(port, hooks, report);
    // The instrument cannot answer what still waits behind a delay or a long message.
    if (underWay) {
      underWay = hooks.requestUnderWay();
      if (now > startUs || underWay) startUs = now;
    }
    lock.lock();
    if (ends) return;
    if (port.receiveNumber_ != receive) {
      report.aborted = true;  // somebody else receives on this port now
      return;
    }
    // Once data flows, the time without a new byte counts.
    const ReceiveContext& at = port.receive_;
    std::int64_t limitMs = timeoutMs;
    std::int64_t sinceUs = std::max(startUs, at.lastByteUs);
    if (limitMs == 0 && at.received > 0) {
      limitMs = at.options.silenceMs;
    } else if (limitMs == 0 && at.refused.any && hooks.sendRequest) {
      limitMs = at.options.betterMs;
      sinceUs = std::max(startUs, at.refusedUs);
    }
    const std::int64_t deadline = limitMs > 0 ? sinceUs + limitMs * 1000 : kNever;
    if (now >= deadline) {
      report.timedOut = !over();
      return;
    }
    const std::int64_t next = std::min(deadline, now + (underWay ? kUnderWayUs : kSliceUs));
    if (hooks.polling) {
      port.changed_.WaitUntil(lock, std::min(next, std::max(lookUs, now + 1)), [] { return false; });
    } else {
      port.changed_.WaitUntil(lock, next, [&] { return over() || port.closed_.load(); });
    }
  }
}

}  // namespace tonalith
