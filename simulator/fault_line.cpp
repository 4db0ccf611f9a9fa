#include "simulator/fault_line.h"

#include <algorithm>

namespace tonalith {
namespace {

bool StrikesAt(const Fault& fault, int number) {
  return fault.reply == 0 || (number >= fault.reply && number < fault.reply + fault.times);
}

bool IsIdentityReply(const std::vector<std::uint8_t>& bytes) {
  return bytes.size() > 8 && bytes[0] == 0xF0 && bytes[1] == 0x7E && bytes[3] == 0x06 && bytes[4] == 0x02;
}

}  // namespace

void FaultLine::Set(FaultPlan plan) {
  *this = FaultLine();
  plan_ = std::move(plan);
}

void FaultLine::PlugInAgain() {
  std::vector<Fault> kept;
  for (const Fault& fault : plan_.faults())
    if (fault.kind != FaultKind::kPortVanishes) kept.push_back(fault);
  plan_ = FaultPlan(std::move(kept));
  vanished_ = false;
}

bool FaultLine::TakeService(FaultKind kind, int& count) {
  ++count;
  return std::any_of(plan_.faults().begin(), plan_.faults().end(),
                     [&](const Fault& fault) { return fault.kind == kind && StrikesAt(fault, count); });
}

std::size_t FaultLine::TillVanishing(std::size_t bytes) {
  for (const Fault& fault : plan_.faults()) {
    if (fault.kind != FaultKind::kPortVanishes) continue;
    const std::int64_t left = std::max<std::int64_t>(0, std::max(fault.at, 0) - passed_);
    if (left <= static_cast<std::int64_t>(bytes)) {
      bytes = static_cast<std::size_t>(left);
      vanished_ = true;
    }
  }
  passed_ += static_cast<std::int64_t>(bytes);
  return bytes;
}

std::vector<std::uint8_t> FaultLine::Input(std::span<const std::uint8_t> bytes) {
  std::vector<std::uint8_t> out;
  if (vanished_) return out;
  bytes = bytes.first(TillVanishing(bytes.size()));
  if (plan_.Empty()) return {bytes.begin(), bytes.end()};
  for (const std::uint8_t byte : bytes) InputByte(byte, out);
  return out;
}

void FaultLine::InputByte(std::uint8_t byte, std::vector<std::uint8_t>& out) {
  if (byte == 0xF0) {
    ++inputMessage_;
    inputPosition_ = 0;
  }
  const std::size_t position = inputPosition_++;
  for (const Fault& fault : plan_.faults()) {
    if (!fault.input || !StrikesAt(fault, inputMessage_)) continue;
    const std::size_t at = fault.at >= 0 ? static_cast<std::size_t>(fault.at) : 10;  // past every header
    if (fault.kind == FaultKind::kNoReply) return;
    if (fault.kind == FaultKind::kTruncatedReply && position >= at) return;
    if (fault.kind == FaultKind::kLostByte && position == at) return;
    if (fault.kind == FaultKind::kCorruptByte && position == at)
      byte = fault.value >= 0 ? static_cast<std::uint8_t>(fault.value) : static_cast<std::uint8_t>(byte ^ 1);
  }
  out.push_back(byte);
}

void FaultLine::Damage(const Fault& fault, Reply& reply, std::size_t devicePosition) {
  auto& bytes = reply.bytes;
  if (bytes.empty()) return;
  const std::size_t at = std::min(fault.at >= 0 ? static_cast<std::size_t>(fault.at) : bytes.size() / 2, bytes.size());
  const auto value = static_cast<std::uint8_t>(fault.value >= 0 ? fault.value : 0xF8);
  switch (fault.kind) {
    case FaultKind::kLostByte:
      if (at < bytes.size()) bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(at));
      break;
    case FaultKind::kCorruptByte:
      if (at < bytes.size()) bytes[at] = fault.value >= 0 ? value : static_cast<std::uint8_t>(bytes[at] ^ 1);
      break;
    case FaultKind::kTruncatedReply:
      bytes.resize(at);
      break;
    case FaultKind::kRealTimeInside:
      bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), value);
      break;
    case FaultKind::kWrongDevice:
      // Data within an open frame names no device.
      if (bytes[0] == 0xF0 && devicePosition < bytes.size())
        bytes[devicePosition] =
            static_cast<std::uint8_t>((bytes[devicePosition] & 0x70) | ((bytes[devicePosition] + 1) & 0x0F));
      break;
    case FaultKind::kShortReply:
      bytes.resize(std::min(fault.at >= 0 ? at : std::size_t{8}, bytes.size() - 1));
      bytes.push_back(0xF7);
      break;
    case FaultKind::kOtherModel:
      if (IsIdentityReply(bytes)) bytes[bytes[5] == 0 ? 8 : 6] ^= 0x15;
      break;
    case FaultKind::kEverybodyId:
      if (IsIdentityReply(bytes)) bytes[2] = 0x7F;
      break;
    case FaultKind::kLateReply:
      reply.delayUs += std::int64_t{fault.delayMs} * 1000;
      break;
    default:
      break;
  }
}

std::vector<Reply> FaultLine::Output(std::vector<Reply> replies, std::size_t devicePosition) {
  if (plan_.Empty()) return replies;
  std::vector<Reply> out;
  std::int64_t lateUs = 0;  // what follows a late message cannot overtake it
  for (Reply& reply : replies) {
    ++outputMessage_;
    bool silent = vanished_;
    bool twice = false;
    reply.delayUs += lateUs;
    const std::int64_t dueUs = reply.delayUs;
    for (const Fault& fault : plan_.faults()) {
      if (fault.input || !StrikesAt(fault, outputMessage_)) continue;
      if (fault.kind == FaultKind::kNoReply) silent = true;
      if (fault.kind == FaultKind::kDoubleReply) twice = true;
      if (fault.kind == FaultKind::kForeignFirst) out.push_back({{0xF0, 0x7D, 0x01, 0x02, 0x03, 0xF7}, reply.delayUs});
      if (fault.kind == FaultKind::kForeignIdentity)
        out.push_back({{0xF0, 0x7E, 0x05, 0x06, 0x02, 0x3F, 0x01, 0x00, 0x02, 0x00, 0x01, 0x02, 0x03, 0x04, 0xF7},
                       reply.delayUs});
      Damage(fault, reply, devicePosition);
    }
    lateUs += reply.delayUs - dueUs;
    if (silent) continue;
    reply.bytes.resize(TillVanishing(reply.bytes.size()));
    if (reply.bytes.empty()) continue;
    if (twice && !vanished_) out.push_back(reply);
    out.push_back(std::move(reply));
  }
  return out;
}

}  // namespace tonalith
