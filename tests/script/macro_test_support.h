#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "data/data_text.h"
#include "script/compiler.h"
#include "script/interpreter.h"
#include "script/script_host.h"
#include "script/script_services.h"

namespace tonalith::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes Hex(const std::string& text) {
  return ParseHex(text).value();
}

// Notes every message; answers what the test sets.
class RecordingScriptHost : public ScriptHost {
 public:
  struct Seen {
    ScriptReceiver receiver{};
    std::uint16_t number = 0;
    bool posted = false;
    std::int64_t wParam = 0;
    std::int64_t lParam = 0;
    std::vector<std::int32_t> record;
    MacroRequest request;
    std::int64_t component = 0;
  };

  bool Has(ScriptReceiver receiver) const override { return present & (1u << static_cast<unsigned>(receiver)); }
  std::int64_t Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken&) override {
    Seen seen{receiver,
              message.number,
              false,
              message.wParam,
              message.lParam,
              {message.record.begin(), message.record.end()},
              {},
              message.component};
    if (message.request) {
      seen.request = *message.request;
      message.request->parameter1 = parameterAnswer;
      message.request->result = recordAnswer;
    }
    log.push_back(seen);
    const auto it = answers.find(message.number);
    return it == answers.end() ? answer : it->second;
  }
  bool Post(ScriptReceiver receiver, const PostedScriptMessage& message) override {
    ++postTries;
    if (refusePosts-- > 0) return false;
    Seen seen{receiver, message.number, true, message.wParam, message.lParam, {}, {}, 0};
    if (message.record) seen.record.assign(message.record->begin(), message.record->end());
    log.push_back(seen);
    return true;
  }
  bool IsPatchEditor(std::int64_t component) const override { return component == 77; }
  bool HasTestEvent() const override { return testEvent; }
  void ResetTestEvent() override { ++resets; }
  void AwaitTestEvent(const CancelToken&) override { ++awaits; }

  unsigned present = 0x1F;  // all but the components
  std::int64_t answer = 0;
  std::map<std::uint16_t, std::int64_t> answers;
  std::int64_t parameterAnswer = 0;
  std::int64_t recordAnswer = 0;
  int refusePosts = 0;
  int postTries = 0;
  bool testEvent = false;
  int resets = 0;
  int awaits = 0;
  std::vector<Seen> log;
};

// A wire without time: each receive takes the next reply.
class ScriptedServices : public ScriptServices {
 public:
  int SendDataPort(std::span<const std::uint8_t> bytes, int, TransferContext&) override {
    if (failSends) return -1;
    out.emplace_back(bytes.begin(), bytes.end());
    return static_cast<int>(bytes.size());
  }
  int GetDataSkipPort(std::span<std::uint8_t> destination, int, std::int64_t skip, TransferContext& context) override {
    if (context.staged) {
      out.push_back(context.staged->bytes);
      context.staged.reset();
    }
    asked.push_back(destination.size());
    timeouts.push_back(context.receiveTimeoutMs);
    lastSkip = skip;
    if (replies.empty()) return kReceiveNothing;
    Bytes reply = replies.front();
    replies.pop_front();
    if (reply.empty()) return kReceiveCancelled;
    const std::size_t first = std::min<std::size_t>(static_cast<std::size_t>(skip), reply.size());
    const std::size_t count = std::min(reply.size() - first, destination.size());
    std::copy_n(reply.begin() + static_cast<std::ptrdiff_t>(first), count, destination.begin());
    return static_cast<int>(count);
  }
  void CreateDelayEvent(int, std::uint32_t ms, TransferContext&) override { delays.push_back(ms); }
  int Setting(ScriptSetting setting) override { return settings[setting]; }
  void SetSetting(ScriptSetting setting, int value) override {
    if (value >= 0) settings[setting] = value;
  }
  ScriptAppState& AppState() override { return state; }
  void MidiOutWaitForAck(int, int, std::span<const std::uint8_t> pattern, int timeoutMs, int) override {
    calls.push_back("ack " + std::to_string(pattern.size()) + " " + std::to_string(timeoutMs));
  }
  void MidiOutClrWaitForAck(int) override { calls.push_back("ack off"); }
  void SetSysXCancel(int, std::span<const std::uint8_t> pattern, int) override {
    cancelPattern.assign(pattern.begin(), pattern.end());
    calls.push_back("cancel " + std::to_string(pattern.size()));
  }
  bool GetWriteToQueue(int) override { return collecting; }
  void SetWriteToQueue(int, bool on) override { collecting = on; }
  void OutputQueue(int) override {
    collecting = false;
    calls.push_back("output queue");
  }
  int PortCount(MidiDirection direction) override { return direction == MidiDirection::Input ? 3 : 5; }
  bool HasMacroTable() const override { return !macros.empty(); }
  std::span<const std::uint8_t> Macro(int index) const override {
    return index < static_cast<int>(macros.size())
               ? std::span<const std::uint8_t>(macros[static_cast<std::size_t>(index)])
               : std::span<const std::uint8_t>();
  }
  bool HasDiskFile() const override { return !disk.empty(); }
  std::size_t DiskRead(std::span<std::uint8_t> destination) override {
    const std::size_t count = std::min(destination.size(), disk.size() - std::min(diskPosition, disk.size()));
    std::copy_n(disk.begin() + static_cast<std::ptrdiff_t>(diskPosition), count, destination.begin());
    diskPosition += count;
    return count;
  }
  void DiskSeek(std::int64_t position) override { diskPosition = static_cast<std::size_t>(position); }
  std::int64_t DiskSize() override { return static_cast<std::int64_t>(disk.size()); }
  int MacroRoland(Synth&, std::span<std::uint8_t> buffer, int p3, int p0, int p1, int p2, TransferContext&) override {
    calls.push_back("roland " + std::to_string(buffer.size()) + " " + std::to_string(p3) + " " + std::to_string(p0) +
                    " " + std::to_string(p1) + " " + std::to_string(p2));
    return rolandResult;
  }
  ScriptHost* Host() override { return host; }
  void DisplayMessage(const std::string& text, TransferContext&) override { shown.push_back(text); }
  void MonitorLine(const std::string& text) override { monitor.push_back(text); }
  bool TransmitWindowOpen() const override { return transmitWindow; }
  void OpenTransmitWindow(int, std::uint32_t total) override { calls.push_back("window " + std::to_string(total)); }
  void SetTransmitStayOpen(bool stay) override { calls.push_back(stay ? "stay" : "go"); }
  Clock& clock() override { return time; }

  std::vector<Bytes> out;
  std::deque<Bytes> replies;  // an empty one: cancelled
  std::vector<std::size_t> asked;
  std::vector<std::int64_t> timeouts;
  std::vector<std::uint32_t> delays;
  std::int64_t lastSkip = 0;
  std::map<ScriptSetting, int> settings;
  ScriptAppState state;
  std::vector<std::string> calls;
  std::vector<std::string> shown;
  std::vector<std::string> monitor;
  Bytes cancelPattern;
  std::vector<Bytes> macros;
  Bytes disk;
  std::size_t diskPosition = 0;
  bool collecting = false;
  bool failSends = false;
  bool transmitWindow = false;
  int rolandResult = 0;
  RecordingScriptHost* host = nullptr;
  VirtualClock time;
};

// One script, its image and what is left of them.
struct MacroRun {
  MacroRun() {
    synth.sysExChannelMax = 15;
    synth.voiceSize = 40;
  }

  static Bytes Compile(const std::string& source) {
    CompileResult compiled = CompileScript(source);
    if (!compiled.ok()) throw std::runtime_error("does not compile: " + source + "\n" + compiled.report);
    return compiled.code;
  }
  int Code(const Bytes& code) {
    outcome = RunTransferMacro(services, context, synth, code, MacroBuffer(image), x, extra);
    return outcome.result;
  }
  int Text(const std::string& source) { return Code(Compile(source)); }
  std::int32_t W() const { return outcome.registers[0]; }
  std::int32_t X() const { return outcome.registers[1]; }
  std::int32_t Y() const { return outcome.registers[2]; }
  std::int32_t Z() const { return outcome.registers[3]; }
  std::int32_t V(std::size_t i) const { return outcome.variables[i]; }
  // "V0=1 V5=2"
  void Expect(const std::string& expected) const {
    std::string text;
    for (std::size_t at = expected.find('V'); at != std::string::npos; at = expected.find('V', at + 1)) {
      const std::size_t i = std::stoul(expected.substr(at + 1));
      text += (text.empty() ? "V" : " V") + std::to_string(i) + "=" + std::to_string(V(i));
    }
    EXPECT_EQ(text, expected);
  }

  Synth synth{};
  Bytes image;
  std::int32_t x = 0;
  std::int32_t extra = 0;
  ScriptedServices services;
  TransferContext context;
  MacroOutcome outcome;
};

}  // namespace tonalith::test
