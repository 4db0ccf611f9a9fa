#include "midi/midi_output.h"

#include <algorithm>
#include <cstdio>

#include "midi/port_map.h"
#include "midi/port_slots.h"
#include "midi/sysex_assembler.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::size_t kLargeSend = 100000;
constexpr std::uint8_t kMidiFileDelta = 6;

// The end of the message that `data` begins with: behind its first F7, or the end of the data.
std::size_t MessageEnd(std::span<const std::uint8_t> data) {
  const auto end = std::find(data.begin(), data.end(), std::uint8_t{0xF7});
  return static_cast<std::size_t>(end - data.begin()) + (end == data.end() ? 0 : 1);
}

void AppendVariableLength(std::vector<std::uint8_t>& out, std::size_t value) {
  std::uint8_t groups[10];
  int count = 0;
  do {
    groups[count++] = static_cast<std::uint8_t>(value & 0x7F);
    value >>= 7;
  } while (value);
  while (count-- > 0) out.push_back(static_cast<std::uint8_t>(groups[count] | (count ? 0x80 : 0)));
}

void AppendMidiFileEvent(std::vector<std::uint8_t>& out, std::span<const std::uint8_t> message) {
  out.push_back(kMidiFileDelta);
  if (message[0] == 0xF0) {
    out.push_back(0xF0);
    AppendVariableLength(out, message.size() - 1);
    message = message.subspan(1);
  } else if (message[0] < 0x80) {
    out.push_back(0xF7);
    AppendVariableLength(out, message.size());
    message = message.subspan(1);
  }
  out.insert(out.end(), message.begin(), message.end());
}

std::uint32_t PackUpToFour(std::span<const std::uint8_t> data) {
  std::uint32_t packed = 0;
  for (std::size_t i = 0; i < std::min<std::size_t>(data.size(), 4); ++i)
    packed |= static_cast<std::uint32_t>(data[i]) << (8 * i);
  return packed;
}

std::vector<MidiOutMessage> CutIntoPieces(std::span<const std::uint8_t> data, std::size_t chunk) {
  std::vector<MidiOutMessage> pieces;
  const bool split = chunk != 0 && data.size() > chunk;
  while (!data.empty()) {
    const auto part = data.first(split ? std::min(chunk, data.size()) : data.size());
    data = data.subspan(part.size());
    MidiOutMessage piece;
    piece.number = OutputPortMessage::Long;
    piece.wParam = part.size();
    piece.bytes.assign(part.begin(), part.end());
    piece.more = !data.empty();
    piece.split = split;
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

}  // namespace

bool MatchesAck(std::span<const std::uint8_t> pattern, std::span<const std::uint8_t> message) {
  const std::size_t length = std::min(pattern.size(), message.size());
  for (std::size_t i = 0; i < length; ++i) {
    if (pattern[i] == 0xFF) continue;
    if (pattern[i] != message[i]) return false;
    if (pattern[i] == 0xF7) return true;
  }
  return false;
}

bool RefusesAck(std::span<const std::uint8_t> pattern, std::span<const std::uint8_t> message, std::size_t device) {
  if (pattern.size() < 2 || message.size() != pattern.size() || message.back() != 0xF7) return false;
  const std::size_t maker = message[1] == 0 ? 4 : 2;  // bytes up to the end of the maker's number
  int differences = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == 0xFF || pattern[i] == message[i]) continue;
    if (i < maker || i == device || ++differences > 1) return false;
  }
  return differences == 1;
}

MidiOut::MidiOut(Clock& clock, Prompts* prompts) : clock_(clock), prompts_(prompts), criticalFree_(clock) {}

MidiOut::~MidiOut() {
  CloseAllPorts();
}

// ---------------------------------------------------------------------------------------------------- ports

void MidiOut::OUTNUMPORTS(int* count) const {
  if (count) *count = maxOutPorts_.load();
}

std::string MidiOut::OUTGETPORTNAME(int port) const {
  const auto open = GetMidiOutPort(port);
  return open ? open->name() : std::string();
}

int MidiOut::Reduce(int port) const {
  int count = maxOutPorts_.load();
  if (count == -1) count = 1;
  if (count <= 0) return -1;
  return (port % count + count) % count;
}

std::shared_ptr<MidiOutPort> MidiOut::GetMidiOutPort(int port) const {
  return Slot(Reduce(port));
}

std::shared_ptr<MidiOutPort> MidiOut::Slot(int slot) const {
  if (slot < 0 || slot >= kMaxMidiPorts) return nullptr;
  std::lock_guard lock(tableMutex_);
  return slots_[static_cast<std::size_t>(slot)];
}

std::vector<std::shared_ptr<MidiOutPort>> MidiOut::OpenPorts() const {
  std::vector<std::shared_ptr<MidiOutPort>> ports;
  const int count = std::clamp(maxOutPorts_.load(), 0, kMaxMidiPorts);
  std::lock_guard lock(tableMutex_);
  for (int i = 0; i < count; ++i)
    if (const auto& port = slots_[static_cast<std::size_t>(i)]) ports.push_back(port);
  return ports;
}

int MidiOut::FindPort(const std::string& name) const {
  for (const auto& port : OpenPorts())
    if (port->name() == name && port->Alive()) return port->slot();
  return -1;
}

int MidiOut::MidiOutOpenOnePort(const MidiPortDevice& device, int slot, bool showErrors, PortMap* map,
                                bool withThread) {
  if (slot < 0 || slot >= kMaxMidiPorts || !device.backend || Slot(slot)) return 1;
  std::unique_ptr<MidiOutputHandle> handle;
  const Result result = device.backend->OpenOutput(device.info.id, handle);
  if (!result || !handle) {
    MonitorMsg("MIDI OUT %s could not be opened. %s", device.info.name.c_str(), result.text.c_str());
    if (showErrors) ShowOpenError(device.info.name);
    if (map) map->ClearPort(device.info.name);
    return 1;
  }
  AdoptPort(device, std::move(handle), slot, withThread);
  return 0;
}

void MidiOut::AdoptPort(const MidiPortDevice& device, std::unique_ptr<MidiOutputHandle> handle, int slot,
                        bool withThread) {
  auto port = std::make_shared<MidiOutPort>(*this, device, std::move(handle), slot);
  if (withThread) port->StartThread();
  std::lock_guard lock(tableMutex_);
  slots_[static_cast<std::size_t>(slot)] = std::move(port);
}

void MidiOut::ShowOpenError(const std::string& name) {
  if (!prompts_) return;
  MessagePrompt prompt;
  prompt.title = "MIDI OUT Port - " + name + " Open Error";
  prompt.text =
      "Unable to open the [ " + name +
      " ] MIDI OUT port.\n\nThe MIDI OUT Port appears to be a single-client MIDI device and is likely already "
      "in use by another program. It will not be used in this session.\n\n\nPlease see the Troubleshooting "
      "Guide PDF for more details.";
  prompt.buttons = PromptButtons::OkCancel;
  prompt.icon = PromptIcon::Information;
  prompts_->Message(prompt);
}

void MidiOut::CloseAllPorts() {
  maxOutPorts_.store(0);
  std::vector<std::shared_ptr<MidiOutPort>> ports;
  {
    std::lock_guard lock(tableMutex_);
    ports = TakeAllPorts(slots_);
  }
  // All finish and end at the same time.
  const std::int64_t startUs = clock_.NowUs();
  for (const auto& port : ports) port->FinishSending(startUs);
  for (const auto& port : ports) port->BeginClosing();
  for (const auto& port : ports) port->ClosePort();
}

void MidiOut::ShutDownAllPorts() {
  maxOutPorts_.store(0);
  std::vector<std::shared_ptr<MidiOutPort>> ports;
  {
    std::lock_guard lock(tableMutex_);
    ports = TakeAllPorts(slots_);
  }
  for (const auto& port : ports) port->ShutDownPort();
}

void MidiOut::RemovePort(int slot) {
  const int count = maxOutPorts_.load();
  if (slot < 0 || slot >= count) return;
  std::shared_ptr<MidiOutPort> removed;
  {
    std::lock_guard lock(tableMutex_);
    removed = TakePort(slots_, slot, count);
    maxOutPorts_.store(count - 1);
  }
  if (removed) removed->ShutDownPort();
}

// ---------------------------------------------------------------------------------------------------- sending

int MidiOut::SENDDATAX(int port, std::span<const std::uint8_t> data, std::uint32_t chunk, bool mayWait,
                       const CancelToken* cancel) {
  SendOptions options;
  options.oneShotChunk = chunk;
  options.mayWait = mayWait;
  options.cancel = cancel;
  return SendPacked(port, data, options);
}

int MidiOut::SendPacked(int port, std::span<const std::uint8_t> data, const SendOptions& options) {
  const auto open = GetMidiOutPort(port);
  if (!open || !open->Alive()) return -1;
  if (data.empty()) return 0;
  if (options.live && data[0] != 0xF0) return SendLive(*open, data);
  const std::uint64_t lease = open->lease();
  if (lease != 0 && lease != options.lease) {
    MonitorMsg("MIDI OUT %s: %zu bytes were not sent, because a transfer has the port.", open->name().c_str(),
               data.size());
    return -1;
  }
  const std::uint32_t chunk = options.oneShotChunk;
  const bool threaded = open->HasThread();
  const std::optional<MidiPacing> pacing = open->Pacing();
  if (data.size() <= 3 && data[0] >= 0x80 && data[0] <= 0xEF) {
    const std::uint32_t packed = PackUpToFour(data);
    if (threaded) {
      std::vector<MidiOutMessage> one(1);
      one[0].number = OutputPortMessage::Short;
      one[0].lParam = packed;
      one[0].lease = options.lease;
      if (!open->PostPieces(std::move(one), options.mayWait, options.cancel)) return -1;
    } else {
      const std::uint8_t bytes[3] = {static_cast<std::uint8_t>(packed), static_cast<std::uint8_t>(packed >> 8),
                                     static_cast<std::uint8_t>(packed >> 16)};
      const auto length = static_cast<std::size_t>(ShortMessageLength(bytes[0]));
      if (!open->SendShortNow(std::span(bytes).first(length))) return -1;
    }
  } else {
    const int space = pacing ? pacing->chunk : midiXSpace_.load();
    const std::size_t size = space > 0 && chunk == 0 ? static_cast<std::size_t>(space) : chunk & 0xFFFF;
    if (!threaded) {
      open->SendSynchronously(data, size);
      return open->Alive() ? 0 : -1;
    }
    std::vector<MidiOutMessage> pieces = CutIntoPieces(data, size);
    for (MidiOutMessage& piece : pieces) piece.lease = options.lease;
    if (!open->PostPieces(std::move(pieces), options.mayWait, options.cancel)) return -1;
  }
  if (const int delay = pacing ? pacing->delayMs : midiXDelay_.load(); delay >= 1 && threaded)
    open->SendMessage(OutputPortMessage::Delay, 0, static_cast<std::uint64_t>(delay));
  return 0;
}

int MidiOut::SENDDATAXThru(int port, std::span<const std::uint8_t> data, std::uint32_t /*chunk*/) {
  const auto open = GetMidiOutPort(port);
  return open && open->Alive() && !data.empty() ? SendLive(*open, data) : -1;
}

int MidiOut::SendLive(MidiOutPort& port, std::span<const std::uint8_t> message) {
  const int length = ShortMessageLength(message[0]);
  if (length == 0) return -1;
  const std::uint32_t packed = PackUpToFour(message);
  if (port.HasThread()) return port.PostLive(packed) ? 0 : -1;
  const std::uint8_t bytes[3] = {static_cast<std::uint8_t>(packed), static_cast<std::uint8_t>(packed >> 8),
                                 static_cast<std::uint8_t>(packed >> 16)};
  return port.SendShortNow(std::span(bytes).first(static_cast<std::size_t>(length))) ? 0 : -1;
}

std::int64_t MidiOut::SendDataPort(std::span<const std::uint8_t> data, int port, const SendOptions& options) {
  if (blocked_.load() || suppressed_.load() != 0) return 0;
  if (data.size() > kLargeSend) DebugLog("ZKBasics::SendDataPort sending > 100000 bytes");
  if (data.empty() || data[0] == 0) return 0;
  inTransmission_.fetch_add(1);
  const int failed = SendWalk(data, port, options);
  inTransmission_.fetch_sub(1);
  if (failed) return -1;
  if (!options.doNotCount) totalBytesSent_.fetch_add(data.size());
  return static_cast<std::int64_t>(data.size());
}

// Walks the messages of a buffer: a run of SysEx messages; behind the last one nothing is sent.
int MidiOut::SendWalk(std::span<const std::uint8_t> data, int port, const SendOptions& options) {
  const bool capturing = options.captureBytes || options.captureText;
  const std::uint32_t delay = options.delayBetweenMs ? options.delayBetweenMs : globalDelayMs_.load();
  for (bool first = true;; first = false) {
    const auto message = data.first(MessageEnd(data));
    if (capturing) {
      Capture(message, options);
    } else {
      if (!first && delay) {
        if (options.recordDelay) {
          options.recordDelay(port, delay);
        } else {
          MidiOutDelay(port, delay);
        }
      }
      if (SendOneMessage(message, port, first ? options.oneShotChunk : 0, options)) return -1;
    }
    data = data.subspan(message.size());
    if (data.empty() || message.back() != 0xF7) return 0;
    if (capturing ? data[0] < 0x80 : data[0] != 0xF0) return 0;
  }
}

int MidiOut::SendOneMessage(std::span<const std::uint8_t> message, int port, std::uint32_t chunk,
                            const SendOptions& options) {
  if (options.recordMessage) {
    options.recordMessage(port, message);
    return 0;
  }
  SendOptions one = options;
  one.oneShotChunk = chunk;
  if (SendPacked(port, message, one)) return -1;
  CallMonitors(Reduce(port), message);
  return 0;
}

void MidiOut::Capture(std::span<const std::uint8_t> message, const SendOptions& options) const {
  if (options.captureMode == CaptureMode::Text) {
    if (!options.captureText) return;
    char text[8];
    for (const std::uint8_t byte : message) {
      std::snprintf(text, sizeof text, "%2.2X ", static_cast<unsigned>(byte));
      *options.captureText += text;
    }
    return;
  }
  if (!options.captureBytes) return;
  if (options.captureMode == CaptureMode::MidiFile) {
    AppendMidiFileEvent(*options.captureBytes, message);
  } else {
    options.captureBytes->insert(options.captureBytes->end(), message.begin(), message.end());
  }
}

void MidiOut::MidiOutDelay(int port, std::uint32_t ms) {
  const auto open = GetMidiOutPort(port);
  if (open && open->HasThread()) open->SendMessage(OutputPortMessage::Delay, 0, ms);
}

bool MidiOut::MidiOutWaitIdle(int port, std::int64_t timeoutMs, const CancelToken* cancel) {
  const auto open = GetMidiOutPort(port);
  return open && open->WaitIdle(timeoutMs, cancel);
}

// ---------------------------------------------------------------------------------------------------- settings

void MidiOut::OtAMidiSetPreferencesParms(const std::int16_t values[5]) {
  midiXDelay_.store(values[0]);
  midiXSpace_.store(values[1]);
  midiXSlow_.store(values[2]);
  useMidiTime_.store(values[3]);
  transferRate_.store(values[4] ? static_cast<std::uint16_t>(values[4]) : std::uint16_t{3000});
}

void MidiOut::MidiOutSetMaxSysExSpeed(int port, std::uint32_t bytesPerSecond) {
  if (const auto open = GetMidiOutPort(port)) open->SetMaxSysExSpeed(bytesPerSecond);
}

void MidiOut::MidiOutSetUSBPortSpeed(int port, std::uint32_t bytesPerSecond) {
  if (const auto open = GetMidiOutPort(port)) open->SetSpeed(bytesPerSecond);
}

// ---------------------------------------------------------------------------------------------------- acknowledge

void MidiOut::MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs,
                                int device) {
  if (port < 0 || port >= maxOutPorts_.load()) return;
  const auto open = Slot(port);
  if (!open || !open->HasThread()) return;
  pattern = pattern.first(std::min(pattern.size(), kMaxAckPattern));
  const std::uint64_t wParam =
      (static_cast<std::uint64_t>(timeoutMs) & 0xFFFF) | static_cast<std::uint64_t>(inPort & 0xFFFF) << 16;
  open->SendMessage(OutputPortMessage::AckOn, wParam, static_cast<std::uint64_t>(std::max(device, 0)),
                    {pattern.begin(), pattern.end()});
}

void MidiOut::MidiOutClrWaitForAck(int port) {
  if (port < 0 || port >= maxOutPorts_.load()) return;
  const auto open = Slot(port);
  if (open && open->HasThread()) open->SendMessage(OutputPortMessage::AckOff, 0, 0);
}

AckCounts MidiOut::Acks(int port) const {
  const auto open = port >= 0 && port < maxOutPorts_.load() ? Slot(port) : nullptr;
  return open ? open->Acks() : AckCounts();
}

void MidiOut::MidiOutTestForAck(int inPort, std::span<const std::uint8_t> message) {
  if (message.empty() || message[0] != 0xF0) return;
  for (const auto& port : OpenPorts()) {
    if (!port->waitForAck()) continue;
    {
      std::lock_guard lock(port->mutex_);
      if (port->ackInPort_ != inPort) continue;
      const bool yes = MatchesAck(port->ackPattern_, message);
      if (!yes && !RefusesAck(port->ackPattern_, message, port->ackDevice_)) continue;
      (yes ? port->acknowledged_ : port->refused_) = true;
      port->acks_.last.assign(message.begin(), message.end());
    }
    port->changed_.NotifyAll();
  }
}

int MidiOut::MidiInTestForAck(int inPort, std::span<const std::uint8_t> message) const {
  if (message.empty() || message[0] != 0xF0) return 0;
  for (const auto& port : OpenPorts()) {
    if (!port->waitForAck()) continue;
    std::lock_guard lock(port->mutex_);
    if (port->ackInPort_ == inPort && MatchesAck(port->ackPattern_, message)) return 1;
  }
  return 0;
}

bool MidiOut::MayBecomeAck(int inPort, std::span<const std::uint8_t> start) const {
  for (const auto& port : OpenPorts()) {
    if (!port->waitForAck()) continue;
    std::lock_guard lock(port->mutex_);
    const auto& pattern = port->ackPattern_;
    if (port->ackInPort_ != inPort || start.size() > pattern.size()) continue;
    bool fits = true;
    for (std::size_t i = 0; i < start.size() && fits; ++i) fits = pattern[i] == 0xFF || pattern[i] == start[i];
    if (fits) return true;
  }
  return false;
}

// ---------------------------------------------------------------------------------------------------- counting

void MidiOut::MidiOutStartModal(int port) {
  const auto open = GetMidiOutPort(port);
  if (open && open->HasThread()) open->SendMessage(OutputPortMessage::CountOn, 0, 0);
}

void MidiOut::MidiOutEndModal(int port) {
  const auto open = GetMidiOutPort(port);
  if (open && open->HasThread()) open->SendMessage(OutputPortMessage::CountOff, 0, 0);
}

void MidiOut::MidiOutGetModalInfo(int port, std::uint8_t* counting, std::uint32_t* count) const {
  const auto open = GetMidiOutPort(port);
  if (counting) *counting = open && open->counting() ? 1 : 0;
  if (count) *count = open ? open->countedBytes() : 0;
}

// ---------------------------------------------------------------------------------------------------- critical section

void MidiOut::InitCritical() {
  std::lock_guard lock(criticalMutex_);
  criticalActive_ = true;
}

void MidiOut::EnterCritical() {
  std::unique_lock lock(criticalMutex_);
  const auto self = std::this_thread::get_id();
  criticalFree_.Wait(lock, [&] { return !criticalActive_ || criticalDepth_ == 0 || criticalOwner_ == self; });
  if (!criticalActive_) return;
  criticalOwner_ = self;
  ++criticalDepth_;
}

void MidiOut::LeaveCritical() {
  std::lock_guard lock(criticalMutex_);
  if (!criticalActive_ || criticalDepth_ == 0 || criticalOwner_ != std::this_thread::get_id()) return;
  if (--criticalDepth_ == 0) criticalFree_.NotifyOne();
}

void MidiOut::DeleteCritical() {
  std::lock_guard lock(criticalMutex_);
  criticalActive_ = false;
  criticalDepth_ = 0;
  criticalFree_.NotifyAll();
}

// ---------------------------------------------------------------------------------------------------- monitors

void MidiOut::AddMidiOutMonitor(MidiOutMonitorFn monitor) {
  if (!monitor) return;
  std::lock_guard lock(monitorMutex_);
  monitors_.push_back({monitor, {}, 0});
}

void MidiOut::RemoveMidiOutMonitor(MidiOutMonitorFn monitor) {
  std::lock_guard lock(monitorMutex_);
  std::erase_if(monitors_, [monitor](const Monitor& entry) { return monitor && entry.function == monitor; });
}

int MidiOut::AddMonitor(MidiOutMonitor monitor) {
  std::lock_guard lock(monitorMutex_);
  monitors_.push_back({nullptr, std::move(monitor), nextMonitor_});
  return nextMonitor_++;
}

void MidiOut::RemoveMonitor(int id) {
  std::lock_guard lock(monitorMutex_);
  std::erase_if(monitors_, [id](const Monitor& entry) { return entry.id == id && id != 0; });
}

void MidiOut::CallMonitors(int port, std::span<const std::uint8_t> message) {
  std::vector<Monitor> monitors;
  {
    std::lock_guard lock(monitorMutex_);
    if (monitors_.empty()) return;
    monitors = monitors_;
  }
  for (const Monitor& monitor : monitors) {
    if (monitor.function) {
      monitor.function(port, message.data(), static_cast<unsigned>(message.size()));
    } else if (monitor.callable) {
      monitor.callable(port, message);
    }
  }
}

}  // namespace tonalith
