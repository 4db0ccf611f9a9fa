#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/hex_text.h"
#include "platform/clock.h"
#include "random_programs.h"
#include "script/script_host.h"
#include "script/script_services.h"

namespace tonalith::test {

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
  std::vector<Code> macros;
};

// Answers every question from the world's seed and the number of the question, and writes down what instruments,
// documents, settings and files would notice, one line a call.
class RecordingServices final : public ScriptServices, private ScriptHost {
 public:
  explicit RecordingServices(const World& world) : world_(world), random_(world.seed) {}

  const std::vector<std::string>& log() const { return log_; }
  void Note(std::string what, std::initializer_list<std::int64_t> numbers, std::span<const std::uint8_t> bytes = {}) {
    for (const std::int64_t number : numbers) what += " " + std::to_string(number);
    log_.push_back(what + " " + HexText(bytes));
  }

  int SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) override {
    Note("send", {port, context.transmitDelayMs}, bytes);
    return random_.Chance(2) ? -1 : static_cast<int>(bytes.size());
  }
  int GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t skip,
                      TransferContext& context) override {
    Note("receive", {std::ssize(destination), port, skip, static_cast<int>(context.acceptAny), context.receiveTimeoutMs,
                     context.verifyReceivedSysEx});
    if (context.hasAcceptPattern) Note("accept", {}, context.acceptPattern);
    for (const MidiPattern& pattern : context.declinePatterns) Note("decline", {}, pattern);
    Note("end", {}, context.endPattern);
    for (const std::uint32_t size : context.acceptedSizes) Note("size", {size});
    if (context.staged) Note("staged", {}, context.staged->bytes);
    context.staged.reset();
    const std::uint32_t what = random_.Below(20);
    if (what == 0) return kReceiveCancelled;
    if (what < 4) return kReceiveNothing;
    std::size_t count = std::min<std::size_t>(destination.size(), 4096);
    if (what < 9) count = random_.Below(static_cast<std::uint32_t>(count) + 1);
    for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<std::uint8_t>(random_.Below(128));
    if (count > 2 && what != 9) {
      destination[0] = 0xF0;
      destination[1] = 0x3E;
      destination[count - 1] = 0xF7;
    }
    return static_cast<int>(count);
  }
  bool GetWriteToQueue(int) override { return collecting_; }
  void SetWriteToQueue(int port, bool collect) override { Note("collect", {port, collecting_ = collect}); }
  void OutputQueue(int port) override { SetWriteToQueue(port, false); }
  int Setting(ScriptSetting setting) override { return settings_[static_cast<std::size_t>(setting)]; }
  void SetSetting(ScriptSetting setting, int value) override {
    Note("setting", {static_cast<int>(setting), value});
    if (value >= 0) settings_[static_cast<std::size_t>(setting)] = value & 0xFF;
  }
  bool HasMacroTable() const override { return true; }
  std::span<const std::uint8_t> Macro(int index) const override {
    const auto i = static_cast<std::size_t>(index);
    if (i >= world_.macros.size()) return {};
    return world_.macros[(i + firstMacro_) % world_.macros.size()];
  }
  bool HasDiskFile() const override { return world_.diskFile; }
  std::size_t DiskRead(std::span<std::uint8_t> destination) override {
    Note("disk read", {std::ssize(destination)});
    const std::size_t count = std::min<std::size_t>(destination.size(), 100);
    for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<std::uint8_t>(random_.Below(256));
    return count;
  }
  void DiskSeek(std::int64_t position) override { Note("disk seek", {position}); }
  int MacroRoland(Synth&, std::span<std::uint8_t> buffer, int p3, int p0, int p1, int p2, TransferContext&) override {
    Note("roland", {std::ssize(buffer), p3, p0, p1, p2});
    if (!buffer.empty()) buffer[0] = static_cast<std::uint8_t>(random_.Below(256));
    return static_cast<int>(random_.Below(60)) - 3;
  }
  ScriptHost* Host() override { return world_.receivers ? this : nullptr; }
  Clock& clock() override { return time_; }

 private:
  bool Has(ScriptReceiver receiver) const override { return world_.receivers >> static_cast<unsigned>(receiver) & 1U; }
  std::int64_t Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken&) override {
    // Addresses differ from run to run.
    const bool address = !message.record.empty() || message.request;
    Note("message",
         {static_cast<int>(receiver), message.number, message.wParam, address ? 0 : message.lParam, message.component});
    for (std::int32_t& word : message.record) {
      Note("record", {word});
      word ^= 3;
    }
    if (MacroRequest* request = message.request) {
      Note("request", {request->command, request->parameter1, request->parameter2,
                       message.record.empty() ? request->parameter3 : 0, request->result});
      request->parameter1 += random_.Below(5);
      if (random_.Chance(50)) request->result = random_.Below(90);
    }
    if (random_.Chance(5)) ++firstMacro_;  // the macro table is another one from now on
    return random_.Chance(30) ? 0 : static_cast<std::int64_t>(random_.Below(300)) - 20;
  }
  bool Post(ScriptReceiver receiver, const PostedScriptMessage& message) override {
    Note("post", {static_cast<int>(receiver), message.number, message.wParam, message.lParam});
    if (message.record)
      for (const std::int32_t word : *message.record) Note("record", {word});
    return !random_.Chance(30);
  }
  bool IsPatchEditor(std::int64_t component) const override { return (component & 1) != 0; }
  bool HasTestEvent() const override { return world_.testEvent; }
  void ResetTestEvent() override { Note("reset", {}); }
  void AwaitTestEvent(const CancelToken&) override { Note("await", {}); }

  const World& world_;
  RandomNumbers random_;
  std::vector<std::string> log_;
  HurriedClock time_;
  std::array<int, 32> settings_{};
  bool collecting_ = false;
  std::size_t firstMacro_ = 0;
};

}  // namespace tonalith::test
