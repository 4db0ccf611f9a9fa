#include "simulator/roland_engine.h"

#include <algorithm>

#include "simulator/handshake_codes.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::uint8_t kRequestOneWay = 0x11;
constexpr std::uint8_t kDataOneWay = 0x12;
constexpr std::uint8_t kRequestData = 0x41;
constexpr std::uint8_t kDataTalk = 0x42;
constexpr std::uint8_t kEndOfData = 0x45;

std::uint32_t LinearAddress(std::span<const std::uint8_t> groups) {
  std::uint32_t address = 0;
  for (const std::uint8_t group : groups) address = address << 7 | (group & 0x7FU);
  return address;
}

void AppendAddress(std::vector<std::uint8_t>& bytes, std::uint32_t address, int groups) {
  for (int i = groups - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(address >> (7 * i) & 0x7F));
}

}  // namespace

RolandEngine::RolandEngine(EngineCore& core) : core_(core) {
  const auto& areas = core_.description.areas;
  for (std::size_t a = 0; a < areas.size(); ++a) {
    if (!areas[a].address) continue;
    for (int item = 0; item < areas[a].items; ++item) {
      if (std::find(areas[a].holes.begin(), areas[a].holes.end(), item) != areas[a].holes.end()) continue;
      const std::uint32_t base = *areas[a].address + areas[a].addressStride * static_cast<std::uint32_t>(item);
      for (const AddressSegment& segment : areas[a].segments)
        pieces_.push_back({base + segment.address, static_cast<int>(a), item, segment.offset, segment.bytes});
    }
  }
  std::sort(pieces_.begin(), pieces_.end(), [](const Piece& a, const Piece& b) { return a.address < b.address; });
}

std::size_t RolandEngine::FindPiece(std::uint32_t address) const {
  const auto after = std::partition_point(pieces_.begin(), pieces_.end(), [&](const Piece& piece) {
    return piece.address + static_cast<std::uint32_t>(piece.bytes) <= address;
  });
  return static_cast<std::size_t>(after - pieces_.begin());
}

bool RolandEngine::SumIsRight(std::span<const std::uint8_t> body) const {
  return !body.empty() && NegativeSum(body.first(body.size() - 1)) == body.back();
}

std::vector<std::uint8_t> RolandEngine::Frame(std::uint8_t command, std::span<const std::uint8_t> addressed) const {
  const std::uint8_t head[] = {0xF0, 0x41,
                               static_cast<std::uint8_t>((core_.device + core_.description.deviceBase) & 0x7F),
                               info().model, command};
  std::vector<std::uint8_t> message(std::size(head) + addressed.size());
  std::copy(addressed.begin(), addressed.end(), std::copy(std::begin(head), std::end(head), message.begin()));
  if (!addressed.empty()) message.push_back(NegativeSum(addressed));
  message.push_back(0xF7);
  return message;
}

std::vector<std::vector<std::uint8_t>> RolandEngine::Messages(std::uint32_t address, std::uint32_t bytes,
                                                              std::uint8_t command) const {
  std::vector<std::vector<std::uint8_t>> messages;
  std::vector<std::uint8_t> body;
  std::uint32_t next = 0;
  const auto flush = [&] {
    if (!body.empty()) messages.push_back(Frame(command, body));
    body.clear();
  };
  const std::uint64_t end = std::uint64_t{address} + bytes;
  const auto groups = static_cast<std::size_t>(info().addressBytes);
  for (std::size_t i = FindPiece(address); i < pieces_.size() && pieces_[i].address < end; ++i) {
    const Piece& piece = pieces_[i];
    if (!core_.Area(piece.area).readable) continue;
    if (!info().crosses || next != piece.address) flush();
    const auto data = core_.memory.Item(piece.area, piece.item);
    for (int k = 0; k < piece.bytes; ++k) {
      const std::uint32_t at = piece.address + static_cast<std::uint32_t>(k);
      if (at < address || at >= end) continue;
      if (body.size() == groups + static_cast<std::size_t>(info().packet)) flush();
      if (body.empty()) AppendAddress(body, at, info().addressBytes);
      body.push_back(data[static_cast<std::size_t>(piece.offset + k)] & 0x7F);
      next = at + 1;
    }
  }
  flush();
  return messages;
}

std::vector<std::vector<std::uint8_t>> RolandEngine::ItemMessages(int area, int item) const {
  std::vector<std::vector<std::uint8_t>> messages;
  const AreaInfo& info = core_.Area(area);
  if (!info.address || item < 0 || item >= info.items) return messages;
  std::uint32_t first = UINT32_MAX;
  std::uint32_t end = 0;
  for (const AddressSegment& segment : info.segments) {
    first = std::min(first, segment.address);
    end = std::max(end, segment.address + static_cast<std::uint32_t>(segment.bytes));
  }
  if (std::find(info.holes.begin(), info.holes.end(), item) != info.holes.end()) return messages;
  const std::uint32_t base = *info.address + info.addressStride * static_cast<std::uint32_t>(item);
  return Messages(base + first, end - first, kDataOneWay);
}

std::optional<RolandEngine::Range> RolandEngine::ReadRange(std::span<const std::uint8_t> body) const {
  const auto groups = static_cast<std::size_t>(info().addressBytes);
  if (body.size() != groups * 2 + 1 || !SumIsRight(body)) return std::nullopt;
  return Range{LinearAddress(body.first(groups)), LinearAddress(body.subspan(groups, groups))};
}

bool RolandEngine::InOneArea(const Range& range) const {
  const std::size_t first = FindPiece(range.address);
  if (first == pieces_.size() || range.bytes == 0 || range.address < pieces_[first].address) return false;
  const std::size_t last = FindPiece(range.address + range.bytes - 1);
  return last < pieces_.size() && range.address + range.bytes > pieces_[last].address &&
         pieces_[first].area == pieces_[last].area;
}

bool RolandEngine::Writable(std::uint32_t address, std::uint32_t bytes) {
  bool any = false;
  std::string status;
  const std::uint64_t end = std::uint64_t{address} + bytes;
  for (std::size_t i = FindPiece(address); i < pieces_.size() && pieces_[i].address < end; ++i) {
    if (!core_.MayWrite(pieces_[i].area, pieces_[i].item, &status)) return false;
    any = true;
  }
  return any;
}

bool RolandEngine::Write(std::uint32_t address, std::span<const std::uint8_t> data, bool force) {
  const std::uint64_t end = std::uint64_t{address} + data.size();
  bool any = false;
  for (std::size_t i = FindPiece(address); i < pieces_.size() && pieces_[i].address < end; ++i) {
    const Piece& piece = pieces_[i];
    std::string status;
    if (!force && !core_.MayWrite(piece.area, piece.item, &status)) return any;
    const auto item = core_.memory.Item(piece.area, piece.item);
    for (int k = 0; k < piece.bytes; ++k) {
      const std::uint32_t at = piece.address + static_cast<std::uint32_t>(k);
      if (at < address || at >= end) continue;
      item[static_cast<std::size_t>(piece.offset + k)] = data[at - address];
      any = true;
    }
    if (!info().crosses) break;
  }
  return any;
}

bool RolandEngine::Handle(std::span<const std::uint8_t> message) {
  if (message.size() < 6 || message[0] != 0xF0 || message[1] != 0x41 || message[3] != info().model) return false;
  if (message[2] != core_.device + core_.description.deviceBase) return false;
  const std::uint8_t command = message[4];
  const auto body = message.subspan(5, message.size() - 6);
  if (talk_ != Talk::kNone && core_.nowUs - lastTalkUs_ > kTalkTimeoutUs) talk_ = Talk::kNone;
  lastTalkUs_ = core_.nowUs;
  if (command == kRequestOneWay) return OnRequest(body), true;
  if (command == kDataOneWay) return OnData(body), true;
  if (!info().handshake) return false;
  if (command == kRequestData) return OnRequestData(body), true;
  if (command == kWantToSend) return OnWantToSend(body), true;
  if (command == kDataTalk) return OnTalkData(body), true;
  if (command == kAcknowledge) return OnAcknowledge(), true;
  if (command == kErrorSignal) return OnRepeat(), true;
  if (command == kEndOfData) {
    if (talk_ == Talk::kReceiving) {
      talk_ = Talk::kNone;
      core_.display = "COMPLETE";
      Signal(kAcknowledge);
    }
    return true;
  }
  if (command == kRejection) talk_ = Talk::kNone;
  return command == kRejection;
}

void RolandEngine::OnRequest(std::span<const std::uint8_t> body) {
  const auto range = ReadRange(body);
  if (!range) {
    core_.display = "CHECKSUM ERROR";
    return;
  }
  if (!core_.HearsRequest() || core_.faults.TakeBusy()) return;
  if (info().oneArea && !InOneArea(*range)) return;
  for (auto& message : Messages(range->address, range->bytes, kDataOneWay)) core_.Answer(std::move(message));
}

void RolandEngine::OnData(std::span<const std::uint8_t> body) {
  const auto groups = static_cast<std::size_t>(info().addressBytes);
  if (!SumIsRight(body)) {
    core_.display = "CHECKSUM ERROR";
    return;
  }
  if (body.size() < groups + 2 || body.size() > groups + 1 + static_cast<std::size_t>(info().packet)) return;
  if (core_.faults.TakeRefusal()) return;
  const auto data = body.subspan(groups, body.size() - groups - 1);
  if (Write(LinearAddress(body.first(groups)), data, false)) core_.display = "RECEIVED";
  core_.Busy(core_.description.replyGapMs / 2);
}

void RolandEngine::OnRequestData(std::span<const std::uint8_t> body) {
  if (core_.faults.TakeBusy()) return Signal(kRejection);
  if (!SumIsRight(body)) return Signal(kErrorSignal);
  const auto range = ReadRange(body);
  outgoing_.clear();
  if (range) outgoing_ = Messages(range->address, range->bytes, kDataTalk);
  if (outgoing_.empty()) return Signal(kRejection);
  talk_ = Talk::kSending;
  sent_ = 1;
  core_.Answer(outgoing_.front());
}

void RolandEngine::OnAcknowledge() {
  if (talk_ != Talk::kSending) return;
  if (sent_ > outgoing_.size()) {  // that was for the end of data
    talk_ = Talk::kNone;
    core_.display = "COMPLETE";
    return;
  }
  if (sent_ == outgoing_.size())
    Signal(kEndOfData);
  else
    core_.Answer(outgoing_[sent_]);
  ++sent_;
}

void RolandEngine::OnRepeat() {
  if (talk_ != Talk::kSending || sent_ == 0) return;
  if (sent_ > outgoing_.size())
    Signal(kEndOfData);
  else
    core_.Answer(outgoing_[sent_ - 1]);
}

void RolandEngine::OnWantToSend(std::span<const std::uint8_t> body) {
  if (core_.faults.TakeBusy()) return Signal(kRejection);
  if (!SumIsRight(body)) return Signal(kErrorSignal);
  const auto range = ReadRange(body);
  if (!range || !Writable(range->address, range->bytes)) return Signal(kRejection);
  talk_ = Talk::kReceiving;
  Signal(kAcknowledge);
}

void RolandEngine::OnTalkData(std::span<const std::uint8_t> body) {
  const auto groups = static_cast<std::size_t>(info().addressBytes);
  if (talk_ != Talk::kReceiving) return Signal(kRejection);
  if (core_.faults.TakeRefusal() || !SumIsRight(body)) return Signal(kErrorSignal);
  if (body.size() < groups + 2 || body.size() > groups + 1 + static_cast<std::size_t>(info().packet) ||
      !Write(LinearAddress(body.first(groups)), body.subspan(groups, body.size() - groups - 1), false)) {
    talk_ = Talk::kNone;
    return Signal(kRejection);
  }
  Signal(kAcknowledge);
}

bool RolandEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  const auto groups = static_cast<std::size_t>(info().addressBytes);
  if (message.size() < groups + 8 || message[1] != 0x41 || message[3] != info().model ||
      (message[4] != kDataOneWay && message[4] != kDataTalk)) {
    *why = "is no data of this instrument";
    return false;
  }
  const auto body = message.subspan(5, message.size() - 6);
  if (!SumIsRight(body)) {
    *why = "has a wrong checksum";
    return false;
  }
  if (!Write(LinearAddress(body.first(groups)), body.subspan(groups, body.size() - groups - 1), true)) {
    *why = "has an address that this instrument does not know";
    return false;
  }
  return true;
}

}  // namespace tonalith
