#include "recording_services.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace tonalith::test {

namespace {

std::uint64_t Fold(std::uint64_t digest, std::span<const std::uint8_t> bytes) {
  for (const std::uint8_t byte : bytes) digest = (digest ^ byte) * 1099511628211u;
  return digest;
}

std::string Hex(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kShown = 48;
  std::string text;
  char digits[4];
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kShown))) {
    std::snprintf(digits, sizeof digits, " %02X", byte);
    text += digits;
  }
  return text;
}

int Number(MidiDirection direction) {
  return static_cast<int>(direction);
}

}  // namespace

void CallLog::Add(const char* format, ...) {
  char text[300];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  lines_.emplace_back(text);
}

void CallLog::AddBytes(const char* what, std::span<const std::uint8_t> bytes) {
  char text[80];
  std::snprintf(text, sizeof text, "%s %zu bytes %016llx:", what, bytes.size(),
                static_cast<unsigned long long>(Fold(0, bytes)));
  lines_.push_back(text + Hex(bytes));
}

// --- Documents and windows

bool RecordingHost::Has(ScriptReceiver receiver) const {
  return ((services_.world().receivers >> static_cast<unsigned>(receiver)) & 1u) != 0;
}

std::int64_t RecordingHost::Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken& cancel) {
  (void)cancel;
  services_.CountCall();
  // Addresses differ from run to run.
  const bool address = !message.record.empty() || message.request;
  services_.log().Add("send %d %04X %lld %lld to %lld", static_cast<int>(receiver), message.number,
                      static_cast<long long>(message.wParam), address ? 0 : static_cast<long long>(message.lParam),
                      static_cast<long long>(message.component));
  for (std::int32_t& word : message.record) {
    services_.log().Add(" record %d", word);
    word ^= 3;
  }
  RandomNumbers& random = services_.random();
  if (MacroRequest* request = message.request) {
    services_.log().Add(" request %02X %lld %lld %lld %lld", request->command,
                        static_cast<long long>(request->parameter1), static_cast<long long>(request->parameter2),
                        message.record.empty() ? static_cast<long long>(request->parameter3) : 0,
                        static_cast<long long>(request->result));
    request->parameter1 += random.Below(5);
    if (random.Chance(50)) request->result = random.Below(90);
  }
  if (random.Chance(5)) services_.ChangeMacroTable();
  if (random.Chance(30)) return 0;
  return static_cast<std::int64_t>(random.Below(300)) - 20;
}

bool RecordingHost::Post(ScriptReceiver receiver, const PostedScriptMessage& message) {
  services_.CountCall();
  services_.log().Add("post %d %04X %lld %lld", static_cast<int>(receiver), message.number,
                      static_cast<long long>(message.wParam), static_cast<long long>(message.lParam));
  if (message.record) {
    for (const std::int32_t word : *message.record) services_.log().Add(" record %d", word);
  }
  return !services_.random().Chance(30);
}

bool RecordingHost::HasTestEvent() const {
  return services_.world().testEvent;
}
void RecordingHost::ResetTestEvent() {
  services_.log().Add("reset test event");
}
void RecordingHost::AwaitTestEvent(const CancelToken&) {
  services_.log().Add("await test event");
}

// --- MIDI

void RecordingServices::CountCall() {
  if (++calls_ == world_.cancelAtCall) context_.cancel.Cancel();
}

int RecordingServices::SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) {
  CountCall();
  log_.Add("send to port %d, delay %u", port, context.transmitDelayMs);
  log_.AddBytes(" sent", bytes);
  return random_.Chance(2) ? -1 : static_cast<int>(bytes.size());
}

int RecordingServices::GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t skip,
                                       TransferContext& context) {
  CountCall();
  log_.Add("receive %zu from port %d, skip %lld, %d, timeout %lld, verify %d", destination.size(), port,
           static_cast<long long>(skip), static_cast<int>(context.acceptAny),
           static_cast<long long>(context.receiveTimeoutMs), context.verifyReceivedSysEx);
  if (context.hasAcceptPattern) log_.AddBytes(" accept", context.acceptPattern);
  for (const MidiPattern& pattern : context.declinePatterns) log_.AddBytes(" decline", pattern);
  if (!context.endPattern.empty()) log_.AddBytes(" end", context.endPattern);
  for (const std::uint32_t size : context.acceptedSizes) log_.Add(" size %u", size);
  if (context.staged) {
    log_.AddBytes(" staged", context.staged->bytes);
    context.staged.reset();
  }
  const std::uint32_t what = random_.Below(20);
  if (what == 0) return kReceiveCancelled;
  if (what < 4) return kReceiveNothing;
  std::size_t count = destination.size();
  if (what < 9) count = random_.Below(static_cast<std::uint32_t>(std::min<std::size_t>(count, 1 << 20)) + 1);
  count = std::min<std::size_t>(count, 4096);
  for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<std::uint8_t>(random_.Below(128));
  if (count > 2 && what != 9) {
    destination[0] = 0xF0;
    destination[1] = 0x3E;
    destination[count - 1] = 0xF7;
  }
  return static_cast<int>(count);
}

void RecordingServices::CreateDelayEvent(int port, std::uint32_t ms, TransferContext&) {
  log_.Add("delay %d %u", port, ms);
}
void RecordingServices::MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs,
                                          int) {
  log_.Add("acknowledge %d %d %d", port, inPort, timeoutMs);
  log_.AddBytes(" pattern", pattern);
}
void RecordingServices::MidiOutClrWaitForAck(int port) {
  log_.Add("no acknowledge %d", port);
}
void RecordingServices::SetSysXCancel(int inPort, std::span<const std::uint8_t> pattern, int outPort) {
  log_.Add("cancel message %d %d", inPort, outPort);
  log_.AddBytes(" pattern", pattern);
}
void RecordingServices::MidiOutSetMaxSysExSpeed(int port, int bytesPerSecond) {
  log_.Add("speed %d %d", port, bytesPerSecond);
}
void RecordingServices::MidiOutSetUSBPortSpeed(int port, int bytesPerSecond) {
  log_.Add("port speed %d %d", port, bytesPerSecond);
}
void RecordingServices::SetMidiOutForceExit(bool force) {
  log_.Add("force exit %d", force);
}
bool RecordingServices::GetWriteToQueue(int port) {
  log_.Add("is collecting %d", port);
  return collecting_;
}
void RecordingServices::SetWriteToQueue(int port, bool collect) {
  log_.Add("collect %d %d", port, collect);
  collecting_ = collect;
}
void RecordingServices::OutputQueue(int port) {
  log_.Add("output queue %d", port);
  collecting_ = false;
}

// --- Ports

int RecordingServices::PortCount(MidiDirection direction) {
  return 3 + Number(direction);
}
int RecordingServices::SetOpenAllPorts(MidiDirection direction, int value) {
  log_.Add("open all ports %d %d", Number(direction), value);
  return 4 + Number(direction);
}
void RecordingServices::OpenPorts(MidiDirection direction) {
  log_.Add("open ports %d", Number(direction));
}
void RecordingServices::ClosePorts(MidiDirection direction) {
  log_.Add("close ports %d", Number(direction));
}
void RecordingServices::ClosePortsExcept(MidiDirection direction, int port) {
  log_.Add("close ports %d except %d", Number(direction), port);
}
void RecordingServices::OpenPortsFromMap(MidiDirection direction, int variant) {
  log_.Add("open ports from map %d %d", Number(direction), variant);
}
void RecordingServices::SelectPortMap(MidiDirection direction, int map) {
  log_.Add("port map %d %d", Number(direction), map);
}
void RecordingServices::OpenPortDialog(MidiDirection direction) {
  log_.Add("port dialog %d", Number(direction));
}

// --- Settings

int RecordingServices::Setting(ScriptSetting setting) {
  if (setting == ScriptSetting::ProgramType) return world_.seed % 3 == 0 ? 5 : 0;
  if (setting == ScriptSetting::Environment) return world_.seed % 5 == 0 ? 1 : 0;
  return settings_[static_cast<std::size_t>(setting)];
}
void RecordingServices::SetSetting(ScriptSetting setting, int value) {
  log_.Add("setting %d %d", static_cast<int>(setting), value);
  if (value >= 0) settings_[static_cast<std::size_t>(setting)] = value & 0xFF;
}
int RecordingServices::PreferencesInt(std::string_view section, std::string_view key, int fallback) {
  log_.Add("preference %.*s %.*s %d", static_cast<int>(section.size()), section.data(), static_cast<int>(key.size()),
           key.data(), fallback);
  return fallback + 8;
}
std::string RecordingServices::PreferencesText(std::string_view section, std::string_view key) {
  log_.Add("preference text %.*s %.*s", static_cast<int>(section.size()), section.data(), static_cast<int>(key.size()),
           key.data());
  return random_.Chance(50) ? "https://example.org/" : "file:///tmp";
}
std::span<const std::uint8_t> RecordingServices::Macro(int index) const {
  const auto i = static_cast<std::size_t>(index);
  if (i >= world_.macros.size()) return {};
  return world_.macros[(i + firstMacro_) % world_.macros.size()];
}

// --- Disk, protocols, windows

std::size_t RecordingServices::DiskRead(std::span<std::uint8_t> destination) {
  log_.Add("disk read %zu", destination.size());
  const std::size_t count = std::min<std::size_t>(destination.size(), 100);
  for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<std::uint8_t>(random_.Below(256));
  return count;
}
void RecordingServices::DiskSeek(std::int64_t position) {
  log_.Add("disk seek %lld", static_cast<long long>(position));
}
std::int64_t RecordingServices::DiskSize() {
  log_.Add("disk size");
  return 123456;
}
int RecordingServices::MacroRoland(Synth&, std::span<std::uint8_t> buffer, int parameter3, int parameter0,
                                   int parameter1, int parameter2, TransferContext&) {
  CountCall();
  log_.Add("roland %zu %d %d %d %d", buffer.size(), parameter3, parameter0, parameter1, parameter2);
  if (!buffer.empty()) buffer[0] = static_cast<std::uint8_t>(random_.Below(256));
  return static_cast<int>(random_.Below(60)) - 3;
}
void RecordingServices::MonitorLine(const std::string& text) {
  log_.Add("monitor %s", text.c_str());
}
void RecordingServices::PressTransferButton(int button, TransferContext& context) {
  log_.Add("button %d", button);
  ScriptServices::PressTransferButton(button, context);
}
void RecordingServices::OpenTransmitWindow(int port, std::uint32_t total) {
  log_.Add("transmit window %d %u", port, total);
}
void RecordingServices::SetTransmitStayOpen(bool stay) {
  log_.Add("stay open %d", stay);
}
void RecordingServices::QuitApp() {
  log_.Add("quit");
}
void RecordingServices::OpenUrl(const std::string& url) {
  log_.Add("open %s", url.c_str());
}

}  // namespace tonalith::test
