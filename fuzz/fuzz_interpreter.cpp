// Any bytes as code, on a tiny image, with replies and called macros taken from the same bytes.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "script/interpreter.h"
#include "script/script_host.h"

namespace {

using namespace tonalith;

class FuzzHost final : public ScriptHost {
 public:
  bool Has(ScriptReceiver) const override { return true; }
  std::int64_t Send(ScriptReceiver, const ScriptMessage& message, const CancelToken&) override {
    for (std::int32_t& word : message.record) answer_ += word;
    if (message.request) message.request->parameter1 = answer_;
    return ++answer_;
  }
  bool Post(ScriptReceiver, const PostedScriptMessage&) override { return (++answer_ & 1) != 0; }

 private:
  std::int64_t answer_ = 0;
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

class FuzzServices final : public ScriptServices {
 public:
  explicit FuzzServices(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  int SendDataPort(std::span<const std::uint8_t> bytes, int, TransferContext&) override {
    for (const std::uint8_t byte : bytes) sum_ += byte;
    return (sum_ & 63) == 63 ? -1 : static_cast<int>(bytes.size());
  }
  int GetDataSkipPort(std::span<std::uint8_t> destination, int, std::int64_t, TransferContext& context) override {
    context.staged.reset();
    if (++receives_ % 5 == 0) return kReceiveNothing;
    const std::size_t count = std::min(destination.size(), bytes_.size());
    std::copy_n(bytes_.begin(), count, destination.begin());
    return static_cast<int>(count);
  }
  bool HasMacroTable() const override { return true; }
  std::span<const std::uint8_t> Macro(int index) const override {
    return bytes_.subspan(std::min<std::size_t>(static_cast<std::size_t>(index), bytes_.size()));
  }
  bool HasDiskFile() const override { return true; }
  std::size_t DiskRead(std::span<std::uint8_t> destination) override {
    std::fill(destination.begin(), destination.end(), std::uint8_t{0xF7});
    return destination.size();
  }
  ScriptHost* Host() override { return &host_; }
  void MonitorLine(const std::string& text) override { sum_ += static_cast<unsigned>(text.size()); }
  Clock& clock() override { return time_; }
  int MacroRoland(Synth&, std::span<std::uint8_t> buffer, int, int, int, int, TransferContext&) override {
    return static_cast<int>(buffer.size() / 2);
  }
  ScriptAppState& AppState() override { return state_; }

 private:
  std::span<const std::uint8_t> bytes_;
  FuzzHost host_;
  ScriptAppState state_;
  HurriedClock time_;
  unsigned sum_ = 0;
  int receives_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4 || size > 4096) return 0;
  const std::uint8_t mode = data[0];
  FuzzServices services({data + 4, size - 4});
  TransferContext context;
  Synth synth{};
  synth.storageFormat = data[1] % 26;
  synth.manufacturerId = data[2] & 1 ? 0x3E : 0;
  synth.optionBits = data[2] >> 4;
  synth.sysExChannelOffset = data[3];
  synth.sysExChannelMax = 15;
  synth.driverId = mode & 4 ? 10631 : 1;
  std::vector<std::uint8_t> image(data[3] % 64);
  std::vector<std::int32_t> block(mode & 1 ? kVariableBlockEntries : mode & 2 ? 64 : 0);
  constexpr std::int64_t kPasses = 2000;
  {
    MacroSession session(services, context);
    session.workLimit = kPasses;
    ZKMacro macro(session);
    macro.SetFloatMode((mode & 8) != 0);
    macro.Run(synth, {data + 4, size - 4}, MacroBuffer(image, image.size() / 2), 5, true, block, (mode & 16) != 0);
  }
  return 0;
}
