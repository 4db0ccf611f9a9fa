#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "random_programs.h"
#include "script/script_host.h"
#include "script/script_services.h"

namespace tonalith::test {

// Everything a program did to the world around it, one line a call.
class CallLog {
 public:
  void Add(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void AddBytes(const char* what, std::span<const std::uint8_t> bytes);
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
};

// Every wait is over at once.
class HurriedClock final : public Clock {
 public:
  std::int64_t NowUs() override { return nowUs_; }

 protected:
  void Block(WaitPoint&, std::unique_lock<std::mutex>&, std::int64_t) override { nowUs_ += 1'000'000'000; }
  void Wake(WaitPoint&, bool) override {}

 private:
  std::int64_t nowUs_ = 0;
};

// What the world around a program is like; drawn once, used by all runs that are compared.
struct World {
  std::uint64_t seed = 0;
  unsigned receivers = 0;  // one bit a ScriptReceiver
  bool testEvent = false;
  bool diskFile = false;
  bool macroTable = true;
  std::size_t cancelAtCall = 0;  // the run is cancelled from outside at this call; 0: never
  std::vector<Code> macros;
};

class RecordingServices;

class RecordingHost final : public ScriptHost {
 public:
  explicit RecordingHost(RecordingServices& services) : services_(services) {}
  bool Has(ScriptReceiver receiver) const override;
  std::int64_t Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken& cancel) override;
  bool Post(ScriptReceiver receiver, const PostedScriptMessage& message) override;
  bool IsPatchEditor(std::int64_t component) const override { return (component & 1) != 0; }
  bool HasTestEvent() const override;
  void ResetTestEvent() override;
  void AwaitTestEvent(const CancelToken& cancel) override;

 private:
  RecordingServices& services_;
};

// Answers every question from the world's seed and the number of the question, and writes everything down.
class RecordingServices final : public ScriptServices {
 public:
  RecordingServices(const World& world, TransferContext& context)
      : world_(world), context_(context), random_(world.seed), host_(*this) {}

  int SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) override;
  int GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t skip,
                      TransferContext& context) override;
  void CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context) override;
  void MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs, int) override;
  void MidiOutClrWaitForAck(int port) override;
  void SetSysXCancel(int inPort, std::span<const std::uint8_t> pattern, int outPort) override;
  void MidiOutSetMaxSysExSpeed(int port, int bytesPerSecond) override;
  void MidiOutSetUSBPortSpeed(int port, int bytesPerSecond) override;
  void SetMidiOutForceExit(bool force) override;
  bool GetWriteToQueue(int port) override;
  void SetWriteToQueue(int port, bool collect) override;
  void OutputQueue(int port) override;
  int PortCount(MidiDirection direction) override;
  int SetOpenAllPorts(MidiDirection direction, int value) override;
  void OpenPorts(MidiDirection direction) override;
  void ClosePorts(MidiDirection direction) override;
  void ClosePortsExcept(MidiDirection direction, int port) override;
  void OpenPortsFromMap(MidiDirection direction, int variant) override;
  void SelectPortMap(MidiDirection direction, int map) override;
  void OpenPortDialog(MidiDirection direction) override;
  int Setting(ScriptSetting setting) override;
  void SetSetting(ScriptSetting setting, int value) override;
  ScriptAppState& AppState() override { return state_; }
  int PreferencesInt(std::string_view section, std::string_view key, int fallback) override;
  std::string PreferencesText(std::string_view section, std::string_view key) override;
  bool HasMacroTable() const override { return world_.macroTable; }
  std::span<const std::uint8_t> Macro(int index) const override;
  bool HasDiskFile() const override { return world_.diskFile; }
  std::size_t DiskRead(std::span<std::uint8_t> destination) override;
  void DiskSeek(std::int64_t position) override;
  std::int64_t DiskSize() override;
  int MacroRoland(Synth& synth, std::span<std::uint8_t> buffer, int parameter3, int parameter0, int parameter1,
                  int parameter2, TransferContext& context) override;
  ScriptHost* Host() override { return world_.receivers ? &host_ : nullptr; }
  void MonitorLine(const std::string& text) override;
  void PressTransferButton(int button, TransferContext& context) override;
  bool TransmitWindowOpen() const override { return (world_.seed & 1) != 0; }
  void OpenTransmitWindow(int port, std::uint32_t total) override;
  void SetTransmitStayOpen(bool stay) override;
  void QuitApp() override;
  void OpenUrl(const std::string& url) override;
  int OsVersion() override { return 0x60102; }
  Clock& clock() override { return time_; }

  CallLog& log() { return log_; }
  const World& world() const { return world_; }
  RandomNumbers& random() { return random_; }
  // The macro table is another one from now on.
  void ChangeMacroTable() { ++firstMacro_; }
  // Ends the run from outside when it is time.
  void CountCall();

 private:
  const World& world_;
  TransferContext& context_;
  RandomNumbers random_;
  CallLog log_;
  RecordingHost host_;
  ScriptAppState state_;
  HurriedClock time_;
  std::array<int, 32> settings_{};
  bool collecting_ = false;
  std::size_t firstMacro_ = 0;
  std::size_t calls_ = 0;
};

}  // namespace tonalith::test
