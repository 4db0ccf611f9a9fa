#include "simulator/packet_engine.h"

#include <algorithm>
#include <numeric>

#include "simulator/handshake_codes.h"

namespace tonalith {
namespace {

// First bytes behind the frame.
constexpr int kParameter = 0x01;
constexpr int kParameterRequest = 0x02;
constexpr int kConfiguration = 0x09;
constexpr int kConfigurationRequest = 0x0A;
constexpr int kName = 0x0B;
constexpr int kNameRequest = 0x0C;
constexpr int kDump = 0x10;
constexpr int kDumpRequest = 0x11;
constexpr int kCopy = 0x20;
constexpr int kError = 0x70;
constexpr int kEndOfFile = 0x7B;
constexpr int kWait = 0x7C;
constexpr int kCancel = 0x7D;
constexpr int kNotTaken = 0x7E;
constexpr int kTaken = 0x7F;
// Second bytes of dumps: closed loop, and open loop two higher.
constexpr int kHeader = 0x01;
constexpr int kPacket = 0x02;
constexpr int kOpenLoop = 2;

constexpr std::size_t kPacketBytes = 244;
constexpr int kNumberOfEdit = 0x3FFF;
constexpr std::size_t kHeaderCounts = 10;
constexpr int kNameLength = 16;
constexpr int kPresetNames = 1;
constexpr int kGapParameter = 405;

int Pair(std::span<const std::uint8_t> bytes, std::size_t at) {
  return bytes[at] + bytes[at + 1] * 128;
}

void AppendPair(std::vector<std::uint8_t>& bytes, int value) {
  bytes.push_back(static_cast<std::uint8_t>(value & 0x7F));
  bytes.push_back(static_cast<std::uint8_t>(value >> 7 & 0x7F));
}

std::uint8_t InvertedSum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(~std::accumulate(bytes.begin(), bytes.end(), 0U) & 0x7F);
}

}  // namespace

PacketEngine::Bytes PacketEngine::Frame(std::initializer_list<int> body) const {
  Bytes bytes = EmitPattern(info().frame, core_.device, core_.description.deviceBase, {});
  for (const int byte : body) bytes.push_back(static_cast<std::uint8_t>(byte));
  bytes.push_back(0xF7);
  return bytes;
}

PacketEngine::Place PacketEngine::FindPlace(int number, int rom) const {
  if (rom == 0 && number == kNumberOfEdit) return {info().editArea, 0};
  const int area = rom == 0 ? info().userArea : rom == info().rom ? info().romArea : -1;
  return area >= 0 && number < core_.Area(area).items ? Place{area, number} : Place{};
}

int PacketEngine::DataBytes() const {
  return core_.Area(info().userArea).itemBytes;
}

std::vector<PacketEngine::Bytes> PacketEngine::Messages(const Place& place, bool closed) const {
  const auto data = core_.memory.Item(place.area, place.item);
  if (data.empty()) return {};
  const int loop = closed ? 0 : kOpenLoop;
  Bytes header = Frame({kDump, kHeader + loop});
  header.pop_back();
  AppendPair(header, place.area == info().editArea ? kNumberOfEdit : place.item);
  AppendPair(header, DataBytes() & 0x3FFF);
  AppendPair(header, DataBytes() >> 14);
  for (const int count : info().counts) AppendPair(header, count);
  AppendPair(header, place.area == info().romArea ? info().rom : 0);
  header.push_back(0xF7);
  std::vector<Bytes> messages = {std::move(header)};
  for (std::size_t at = 0; at < data.size(); at += kPacketBytes) {
    const auto piece = data.subspan(at, std::min(kPacketBytes, data.size() - at));
    Bytes packet = Frame({kDump, kPacket + loop});
    packet.pop_back();
    AppendPair(packet, static_cast<int>(messages.size()));
    packet.insert(packet.end(), piece.begin(), piece.end());
    packet.push_back(InvertedSum(piece));
    packet.push_back(0xF7);
    messages.push_back(std::move(packet));
  }
  return messages;
}

std::vector<std::vector<std::uint8_t>> PacketEngine::FileMessages(int area, int item) const {
  return Messages({area, item}, false);
}

bool PacketEngine::Handle(std::span<const std::uint8_t> message) {
  const std::size_t frame = info().frame.size();
  if (message.size() < frame + 2 ||
      !MatchPattern(info().frame, message, core_.device, core_.description.deviceBase, nullptr))
    return false;
  if (core_.nowUs - lastTalkUs_ > kTalkTimeoutUs) outgoing_.clear(), incoming_ = {};
  lastTalkUs_ = core_.nowUs;
  const auto body = message.subspan(frame, message.size() - frame - 1);
  const bool numbered = body.size() == 3;
  switch (body[0]) {
    case kParameter:
      return OnParameter(body, true), true;
    case kParameterRequest:
      return OnParameter(body, false), true;
    case kConfigurationRequest: {
      const int presets = core_.Area(info().userArea).items;
      const int inRom = core_.Area(info().romArea).items;
      Say({kConfiguration, 2, presets & 0x7F, presets >> 7, 1, 6, info().rom, 0, inRom & 0x7F, inRom >> 7,
           info().romInstruments & 0x7F, info().romInstruments >> 7});
      return true;
    }
    case kNameRequest:
      return OnName(body), true;
    case kDumpRequest:
      return OnRequest(body), true;
    case kDump:
      return OnDump(body), true;
    case kCopy:
      return OnCopy(body), true;
    case kTaken:
    case kNotTaken:
      if (numbered) OnAcknowledge(Pair(body, 1), body[0] == kTaken);
      return true;
    case kCancel:
      outgoing_.clear();
      incoming_ = {};
      return true;
    case kEndOfFile:
      if (incoming_.open) core_.display = "INCOMPLETE";
      incoming_ = {};
      return true;
    default:
      return body[0] == kWait;
  }
}

// 11 02 / 04 number rom
void PacketEngine::OnRequest(std::span<const std::uint8_t> body) {
  const bool closed = body.size() > 1 && body[1] == 0x02;
  if (body.size() != 6 || (!closed && body[1] != 0x04)) return Say({kError});
  if (core_.faults.TakeBusy()) return SayNumber(kCancel, 0);
  auto messages = Messages(FindPlace(Pair(body, 2), Pair(body, 4)), closed);
  if (messages.empty()) return Say({kError});
  if (!closed) {
    for (Bytes& message : messages) core_.Answer(std::move(message));
    return;
  }
  outgoing_ = std::move(messages);
  sent_ = 0;
  core_.Answer(outgoing_.front());
}

void PacketEngine::OnAcknowledge(int packet, bool right) {
  if (sent_ >= outgoing_.size() || packet != static_cast<int>(sent_)) return;
  if (right) ++sent_;
  if (sent_ < outgoing_.size()) return core_.Answer(outgoing_[sent_]);
  outgoing_.clear();
  core_.display = "COMPLETE";
  Say({kEndOfFile});
}

void PacketEngine::OnDump(std::span<const std::uint8_t> body) {
  if (body.size() < 4 || body[1] < kHeader || body[1] > kPacket + kOpenLoop) return Say({kError});
  const bool closed = body[1] < kHeader + kOpenLoop;
  const bool header = (body[1] - kHeader) % kOpenLoop == 0;
  // Without handshake what comes too soon is not heard.
  const bool soon = core_.nowUs - lastOpenUs_ < std::int64_t{info().gapMs} * 1000;
  if (!closed) lastOpenUs_ = core_.nowUs;
  if (!closed && soon) {
    core_.display = "BUFFER FULL";
    return;
  }
  const int number = header ? 0 : Pair(body, 2);
  if (header && core_.faults.TakeBusy()) return closed ? SayNumber(kNotTaken, 0) : void();
  if (!header && core_.faults.TakeRefusal()) {
    core_.display = "RECEIVE ERROR";
    if (!closed) incoming_ = {};
    return closed ? SayNumber(kNotTaken, number) : void();
  }
  const Verdict verdict = header ? OnHeader(body, false) : OnPacket(body);
  if (verdict == Verdict::kDone) Store();
  if (!closed) {
    if (verdict == Verdict::kWrong || verdict == Verdict::kAgain) incoming_ = {};
    return;
  }
  if (verdict == Verdict::kWrong) return SayNumber(kCancel, number);
  SayNumber(verdict == Verdict::kAgain ? kNotTaken : kTaken, number);
}

// 10 01 / 03 number bytes(4) counts rom
PacketEngine::Verdict PacketEngine::OnHeader(std::span<const std::uint8_t> body, bool force) {
  incoming_ = {};
  if (body.size() != 2 + 2 + 4 + kHeaderCounts * 2 + 2) return Verdict::kAgain;
  const Place place = FindPlace(Pair(body, 2), Pair(body, body.size() - 2));
  bool fits = Pair(body, 4) + Pair(body, 6) * (1 << 14) == DataBytes();
  for (std::size_t i = 0; i < kHeaderCounts; ++i) fits = fits && Pair(body, 8 + i * 2) == info().counts[i];
  std::string status;
  if (!fits || place.area < 0 || (!force && !core_.MayWrite(place.area, place.item, &status))) {
    if (status.empty()) core_.display = "FORMAT ERROR";
    return Verdict::kWrong;
  }
  incoming_ = {true, place, 0, {}};
  return Verdict::kTaken;
}

// 10 02 / 04 number data sum
PacketEngine::Verdict PacketEngine::OnPacket(std::span<const std::uint8_t> body) {
  const int number = Pair(body, 2);
  // The acknowledgement was lost: the packet comes once more.
  if (number > 0 && number == incoming_.last) return Verdict::kTaken;
  if (!incoming_.open) return Verdict::kWrong;
  const std::size_t left = static_cast<std::size_t>(DataBytes()) - incoming_.data.size();
  const std::size_t expected = std::min(left, kPacketBytes);
  if (number != incoming_.last + 1 || body.size() != 4 + expected + 1 ||
      InvertedSum(body.subspan(4, expected)) != body.back()) {
    core_.display = "CHECKSUM ERROR";
    return Verdict::kAgain;
  }
  const auto data = body.subspan(4, expected);
  incoming_.data.insert(incoming_.data.end(), data.begin(), data.end());
  incoming_.last = number;
  return left == expected ? Verdict::kDone : Verdict::kTaken;
}

void PacketEngine::Store() {
  const auto target = core_.memory.Item(incoming_.place.area, incoming_.place.item);
  std::copy(incoming_.data.begin(), incoming_.data.end(), target.begin());
  incoming_.open = false;
  core_.display = "RECEIVED";
}

bool PacketEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  const std::size_t frame = info().frame.size();
  *why = "is no data of this instrument";
  if (message.size() < frame + 6 || !MatchPattern(info().frame, message, -1, core_.description.deviceBase, nullptr))
    return false;
  const auto body = message.subspan(frame, message.size() - frame - 1);
  if (body[0] != kDump || body[1] < kHeader || body[1] > kPacket + kOpenLoop) return false;
  const Verdict verdict = (body[1] - kHeader) % kOpenLoop == 0 ? OnHeader(body, true) : OnPacket(body);
  if (verdict == Verdict::kDone) Store();
  *why = verdict == Verdict::kWrong ? "belongs to no preset of this instrument" : "has a wrong checksum";
  return verdict == Verdict::kTaken || verdict == Verdict::kDone;
}

// 0C type number rom
void PacketEngine::OnName(std::span<const std::uint8_t> body) {
  if (body.size() != 6 || body[1] != kPresetNames) return Say({kError});
  const Place place = FindPlace(Pair(body, 2), Pair(body, 4));
  const auto data = core_.memory.Item(place.area, place.item);
  if (data.empty()) return Say({kError});
  Bytes answer = Frame({kName});
  answer.pop_back();
  answer.insert(answer.end(), body.begin() + 1, body.end());
  answer.insert(answer.end(), data.begin(), data.begin() + kNameLength);
  answer.push_back(0xF7);
  core_.Answer(std::move(answer));
}

// 20 from to rom: inside the instrument, into a preset of the user
void PacketEngine::OnCopy(std::span<const std::uint8_t> body) {
  if (body.size() != 7) return Say({kError});
  const Place from = FindPlace(Pair(body, 1), Pair(body, 5));
  const Place to = FindPlace(Pair(body, 3), 0);
  const auto source = core_.memory.Item(from.area, from.item);
  const auto target = core_.memory.Item(to.area, to.item);
  if (source.empty() || target.empty()) return Say({kError});
  std::copy(source.begin(), source.end(), target.begin());
}

std::span<std::uint8_t> PacketEngine::Word(int id) {
  const auto chosen = [this](int setting, int otherwise) {
    const auto found = settings_.find(setting);
    return found == settings_.end() ? otherwise : found->second;
  };
  const Place place = FindPlace(chosen(info().presetSelect, kNumberOfEdit), 0);
  const auto data = core_.memory.Item(place.area, place.item);
  for (const PacketInfo::Words& words : info().words) {
    if (id < words.first || id > words.last) continue;
    const int layer = words.layered ? chosen(info().layerSelect, 0) : 0;
    const int offset = words.offset + (id - words.first) * words.bytes + layer * info().layerStride;
    if (offset + words.bytes > static_cast<int>(data.size())) return {};
    return data.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(words.bytes));
  }
  return {};
}

// 01 02 id value, and 02 01 id that is answered by it
void PacketEngine::OnParameter(std::span<const std::uint8_t> body, bool set) {
  if (body.size() != (set ? 6U : 4U) || body[1] != (set ? 2 : 1)) return Say({kError});
  const int id = Pair(body, 2);
  const auto word = Word(id);
  if (set) {
    if (word.empty()) settings_[id] = Pair(body, 4);
    if (id == kGapParameter) core_.description.replyGapMs = Pair(body, 4);
    if (!word.empty()) word[0] = body[4];
    if (word.size() > 1) word[1] = body[5];
    return;
  }
  int value = settings_.count(id) != 0 ? settings_[id] : 0;
  if (id == info().presetSelect && settings_.count(id) == 0) value = kNumberOfEdit;
  if (id == kGapParameter) value = core_.description.replyGapMs;
  if (!word.empty()) value = word.size() > 1 ? Pair(word, 0) : word[0];
  Say({kParameter, 2, body[2], body[3], value & 0x7F, value >> 7 & 0x7F});
}

}  // namespace tonalith
