// The built-in protocols with a descriptor and answers made of anything: no read or write outside the image, no
// exchange without end.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "script/protocols/built_in_protocols.h"

namespace {

using namespace tonalith;

class AnyLine final : public ProtocolLine {
 public:
  explicit AnyLine(std::span<const std::uint8_t> answers) : answers_(answers) {}

  int Send(std::span<const std::uint8_t> bytes) override {
    for (const std::uint8_t byte : bytes) sum_ = sum_ * 31 + byte;
    sent_ += bytes.size();
    if (sent_ > 8'000'000) std::abort();
    return sum_ % 97 == 0 ? -1 : static_cast<int>(bytes.size());
  }
  int SendBare(std::span<const std::uint8_t> bytes) override { return Send(bytes); }
  void Stage(std::span<const std::uint8_t> bytes) override { Send(bytes); }
  void StageBare(std::span<const std::uint8_t> bytes) override { Send(bytes); }
  // Each answer begins with its length; when all are used up they come again.
  int Receive(std::span<std::uint8_t> into) override {
    if (++receives_ > 200'000) std::abort();
    if (answers_.empty() || receives_ % 1000 == 999) return -19;
    if (at_ >= answers_.size()) at_ = 0;
    const std::size_t length = answers_[at_++];
    if (length == 255) return -1;
    const auto answer = answers_.subspan(at_, std::min(length, answers_.size() - at_));
    at_ += answer.size();
    const std::size_t count = std::min(answer.size(), into.size());
    std::copy_n(answer.begin(), count, into.begin());
    return count ? static_cast<int>(count) : -19;
  }
  void Delay(std::uint32_t) override {}
  void AllPortReceiving(AcceptAny) override {}
  bool Cancelled() const override { return false; }
  void Report(const std::string&) override {}

 private:
  std::span<const std::uint8_t> answers_;
  std::size_t at_ = 0;
  std::size_t sent_ = 0;
  std::uint32_t sum_ = 1;
  int receives_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kHead = 24;
  if (size < kHead) return 0;
  Synth synth{};
  constexpr std::uint8_t kMakers[] = {0x41, 0x42, 0x43, 0x44, 0x0F, 0x3E};
  synth.manufacturerId = kMakers[data[0] % 6];
  synth.protocolLetter = "LOHC "[data[1] % 5];
  synth.protocolMode = data[2] % 3;
  synth.rolandHandshake = data[3] & 1;
  synth.rolandSize[0] = data[3] & 2;
  synth.numVoices = data[4] % 4;
  synth.optionBits = data[5];
  synth.fileSize = static_cast<std::uint32_t>(data[6] | data[7] << 8);
  std::memcpy(synth.dumpRequest, data + 8, 10);
  synth.dumpRequestSize = data[18];
  synth.dumpRequestHasChannel = data[19] & 1;
  synth.dumpRequestChannelOffset = data[20];
  synth.dumpRequestChannelShift = data[21];
  synth.sysExChannel = data[22];
  std::vector<std::uint8_t> image(static_cast<std::size_t>(data[23]) * 40, 0x40);
  for (const auto operation : {TransferOperation::kReceive, TransferOperation::kTransmit}) {
    AnyLine line({data + kHead, size - kHead});
    BuiltInProtocols(line).MidiIO(operation, ByteWindow(image), synth);
  }
  AnyLine line({data + kHead, size - kHead});
  BuiltInProtocols(line).MacroRoland(synth, ByteWindow(image), 0x4000, data[6], data[3] & 1, (data[5] & 1) != 0);
  return 0;
}
