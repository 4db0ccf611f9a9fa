#include "simulator/file_transfer_engine.h"

#include <algorithm>
#include <utility>

#include "simulator/handshake_codes.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::uint8_t kOneWayBlock = 0x37;
constexpr std::uint8_t kRequestFile = 0x41;
constexpr std::uint8_t kBlock = 0x42;
constexpr std::uint8_t kEndOfFile = 0x45;

}  // namespace

std::size_t FileTransferEngine::CommandPlace() const {
  const WirePattern& frame = core_.description.fileTransfer->frame;
  const auto at = std::find_if(frame.begin(), frame.end(),
                               [](const PatternToken& token) { return token.kind == PatternToken::Kind::kVariable; });
  return static_cast<std::size_t>(at - frame.begin());
}

std::size_t FileTransferEngine::HeadSize() const {
  return core_.description.FindMessage(core_.description.fileTransfer->data.front().message)->head.size();
}

std::vector<std::uint8_t> FileTransferEngine::Frame(std::uint8_t command) const {
  return EmitPattern(core_.description.fileTransfer->frame, core_.device, core_.description.deviceBase,
                     {{"command", command}});
}

// The checksum is over everything behind the head of the data message.
std::vector<std::uint8_t> FileTransferEngine::Block(std::vector<std::uint8_t> oneWay) const {
  const std::size_t head = HeadSize();
  oneWay[CommandPlace()] = kBlock;
  const auto data = std::span<const std::uint8_t>(oneWay).subspan(head, oneWay.size() - head - 1);
  oneWay.back() = NegativeSum(data);
  oneWay.push_back(0xF7);
  return oneWay;
}

std::vector<std::uint8_t> FileTransferEngine::OneWay(std::span<const std::uint8_t> message) const {
  std::vector<std::uint8_t> bytes(message.begin(), message.end());
  const std::size_t place = CommandPlace();
  const std::size_t head = HeadSize();
  if (bytes.size() < head + 2 || bytes[place] != kBlock ||
      NegativeSum(message.subspan(head, message.size() - head - 2)) != message[message.size() - 2])
    return bytes;
  bytes[place] = kOneWayBlock;
  bytes.erase(bytes.end() - 2);
  return bytes;
}

void FileTransferEngine::Signal(std::uint8_t command) {
  auto message = Frame(command);
  message.push_back(0xF7);
  core_.Answer(std::move(message));
}

void FileTransferEngine::SendNext() {
  if (sent_ > outgoing_.size()) {  // that was for the end
    talk_ = Talk::kNone;
    core_.display = "COMPLETE";
    return;
  }
  if (sent_ == outgoing_.size())
    Signal(kEndOfFile);
  else
    core_.Answer(outgoing_[sent_]);
  ++sent_;
}

void FileTransferEngine::OnBlock(std::span<const std::uint8_t> message) {
  if (talk_ != Talk::kReceiving) return Signal(kRejection);
  const auto oneWay = OneWay(message);
  if (core_.faults.TakeRefusal() || oneWay.size() == message.size()) return Signal(kErrorSignal);
  core_.display.clear();
  messages_.Handle(oneWay);
  if (core_.display == "RECEIVED") return Signal(kAcknowledge);
  talk_ = Talk::kNone;
  Signal(kRejection);
}

bool FileTransferEngine::Handle(std::span<const std::uint8_t> message) {
  Captures captures;
  if (!MatchPattern(core_.description.fileTransfer->frame, message, core_.device, core_.description.deviceBase,
                    &captures))
    return false;
  if (talk_ != Talk::kNone && core_.nowUs - lastTalkUs_ > kTalkTimeoutUs) talk_ = Talk::kNone;
  lastTalkUs_ = core_.nowUs;
  switch (captures["command"]) {
    case kRequestFile:
      if (core_.faults.TakeBusy()) return Signal(kRejection), true;
      outgoing_.clear();
      for (auto& bytes : messages_.Messages(core_.description.fileTransfer->data, 0))
        outgoing_.push_back(Block(std::move(bytes)));
      sent_ = 0;
      talk_ = Talk::kSending;
      return SendNext(), true;
    case kWantToSend:
      if (core_.faults.TakeBusy() || core_.memoryProtect) return Signal(kRejection), true;
      talk_ = Talk::kReceiving;
      return Signal(kAcknowledge), true;
    case kBlock:
      return OnBlock(message), true;
    case kAcknowledge:
      if (talk_ == Talk::kSending) SendNext();
      return true;
    case kErrorSignal:
      if (talk_ == Talk::kSending && sent_ > 0) --sent_, SendNext();
      return true;
    case kEndOfFile:
      if (std::exchange(talk_, Talk::kNone) == Talk::kReceiving) {
        core_.display = "COMPLETE";
        Signal(kAcknowledge);
      }
      return true;
    case kRejection:
      talk_ = Talk::kNone;
      return true;
    default:
      return false;
  }
}

}  // namespace tonalith
