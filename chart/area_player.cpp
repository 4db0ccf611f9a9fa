#include "chart/area_player.h"

#include <algorithm>
#include <utility>

#include "data/checksums.h"
#include "data/data_records.h"
#include "data/hex_text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kRequest = 0x11, kSet = 0x12;  // without acknowledgements
constexpr std::uint8_t kWantToSendIt = 0x40, kWantIt = 0x41, kTalkData = 0x42, kTaken = 0x43, kNoMore = 0x45;
constexpr std::uint8_t kAgain = 0x4E, kRejected = 0x4F;
constexpr std::size_t kHead = 5;  // F0, maker, device, model, command

std::uint32_t Linear(const std::string& address) {
  const auto bytes = ParseHex(address);
  return bytes ? RolandCalc(static_cast<int>(bytes->size()), bytes->data()) : 0;
}

bool SumFits(std::span<const std::uint8_t> body) {
  return !body.empty() && RolandCheckSum(body.data(), static_cast<std::int64_t>(body.size()) - 1) == body.back();
}

}  // namespace

std::unique_ptr<ChartPeer> AreaPlayer::Make(const ChartInstrument& chart, const ChartType& type, int device,
                                            std::string* obstacle) {
  ChartProblems problems((std::string()));
  ChartAddress address = AddressOf(chart, type, &problems);
  if (!address.areas.empty() && !problems.any())
    return std::unique_ptr<ChartPeer>(new AreaPlayer(chart, type, device, std::move(address)));
  *obstacle = "the chart does not say where it lies";
  return nullptr;
}

AreaPlayer::AreaPlayer(const ChartInstrument& chart, const ChartType& type, int device, ChartAddress address)
    : ChartPeer(chart, type, device), address_(std::move(address)), handshake_(type.Has("handshake")) {
  const ChartArea& area = address_.areas.front();
  model_ = ParseHex(address_.model).value_or(std::vector<std::uint8_t>{0}).front();
  base_ = Linear(area.base);
  // A bank that goes as one lies in one piece.
  const bool single = type.slots == 1 || type.Has("patch by patch");
  if (single && area.slots) step_ = Linear(area.step);
  room_ = single ? address_.room : address_.room * static_cast<std::uint32_t>(type.slots);
  if (address_.allBytes) room_ = address_.allBytes;
  Fill();
}

ChartData AreaPlayer::Sample(std::uint32_t seed) const {
  ChartData data;
  std::uint32_t state = seed * 2654435761u + 12345u;
  for (std::uint32_t i = 0; i < room_; ++i) {
    state = state * 1664525u + 1013904223u;
    const bool used = address_.allBytes || i % address_.room < address_.bytes;
    data.push_back(used ? static_cast<std::uint8_t>(state >> 16 & 0x7F) : std::uint8_t{0});
  }
  return data;
}

std::vector<std::uint8_t> AreaPlayer::Image(std::size_t index, const ChartData& data) const {
  static_cast<void>(index);
  return data;
}

// What is not used is nobody's.
ChartData AreaPlayer::DataOf(std::span<const std::uint8_t> image) const {
  const auto own = image.first(std::min<std::size_t>(image.size(), room_));
  ChartData data(own.begin(), own.end());
  if (!address_.allBytes)
    for (std::uint32_t i = 0; i < data.size(); ++i)
      if (i % address_.room >= address_.bytes) data[i] = 0;
  return data;
}

bool AreaPlayer::File(std::vector<std::uint8_t>* bytes) const {
  // Others may be cut in other pieces.
  static_cast<void>(bytes);
  return false;
}

std::optional<std::pair<std::size_t, std::size_t>> AreaPlayer::PlaceOf(std::uint32_t address) const {
  if (address < base_) return std::nullopt;
  const std::uint32_t at = address - base_;
  const std::size_t patch = step_ ? at / step_ : 0, place = step_ ? at % step_ : at;
  const auto slots = static_cast<std::size_t>(step_ ? address_.areas.front().slots : 1);
  if (patch >= slots || place >= room_) return std::nullopt;
  // A patch that may lie in one of several places is the same in each.
  return std::pair(memory_.size() > 1 ? patch : 0, place);
}

std::vector<std::uint8_t> AreaPlayer::Frame(std::uint8_t command, std::vector<std::uint8_t> body) const {
  std::vector<std::uint8_t> message{0xF0, kRolandId, static_cast<std::uint8_t>(device_), model_, command};
  if (!body.empty()) body.push_back(RolandCheckSum(body.data(), static_cast<std::int64_t>(body.size())));
  message.insert(message.end(), body.begin(), body.end());
  message.push_back(0xF7);
  return message;
}

ChartPeer::Messages AreaPlayer::Pieces(std::uint8_t command, const Range& range) const {
  Messages messages;
  std::vector<std::uint8_t> body;
  const auto flush = [&] {
    if (!body.empty()) messages.push_back(Frame(command, std::exchange(body, {})));
  };
  const auto groups = static_cast<int>(address_.addressBytes);
  for (std::uint32_t at = range.address; at - range.address < range.size; ++at) {
    const auto place = PlaceOf(at);
    if (!place || body.size() == address_.addressBytes + static_cast<std::size_t>(address_.pieces)) flush();
    if (!place) continue;
    if (body.empty()) {
      body.resize(address_.addressBytes);
      RolandWrite(groups, body.data(), at);
    }
    body.push_back(memory_[place->first][place->second]);
  }
  flush();
  return messages;
}

std::optional<AreaPlayer::Range> AreaPlayer::RangeOf(std::span<const std::uint8_t> body) const {
  constexpr std::uint32_t kMostAsked = 4 << 20;
  if (body.size() != address_.addressBytes * 2 + 1 || !SumFits(body)) return std::nullopt;
  const auto groups = static_cast<int>(address_.addressBytes);
  const Range range{RolandCalc(groups, body.data()), RolandCalc(groups, body.data() + groups)};
  if (!PlaceOf(range.address) || range.size > kMostAsked) return std::nullopt;
  return range;
}

bool AreaPlayer::Write(std::span<const std::uint8_t> body) {
  if (body.size() < address_.addressBytes + 2 || !SumFits(body)) return false;
  const std::uint32_t first = RolandCalc(static_cast<int>(address_.addressBytes), body.data());
  const auto data = body.subspan(address_.addressBytes, body.size() - address_.addressBytes - 1);
  for (std::uint32_t i = 0; i < data.size(); ++i) {
    const auto place = PlaceOf(first + i);
    if (!place) return false;
    const bool used = address_.allBytes || place->second % address_.room < address_.bytes;
    if (used) memory_[place->first][place->second] = data[i];
    if (written_.empty() || written_.back() != static_cast<int>(place->first))
      written_.push_back(static_cast<int>(place->first));
  }
  return true;
}

ChartPeer::Messages AreaPlayer::OnBytes(std::span<const std::uint8_t> bytes) {
  constexpr std::uint8_t kRealTimes = 0xF8;
  Messages arrived;
  for (const std::uint8_t byte : bytes) {
    if (byte >= kRealTimes) continue;
    if (byte == 0xF0) pending_.clear();
    pending_.push_back(byte);
    if (byte != 0xF7) continue;
    Messages answers;
    if (!OnMessage(pending_, &answers)) unknown_.push_back(pending_);
    for (auto& answer : answers)
      if (Arrives()) arrived.push_back(std::move(answer));
    pending_.clear();
  }
  return arrived;
}

bool AreaPlayer::OnMessage(std::span<const std::uint8_t> message, Messages* answers) {
  if (message.size() <= kHead || message[0] != 0xF0 || message[1] != kRolandId || message[2] != device_ ||
      message[3] != model_)
    return false;
  const std::uint8_t command = message[4];
  const auto body = message.subspan(kHead, message.size() - kHead - 1);
  if (command == kSet) return Write(body);
  if (command != kRequest) return handshake_ && OnTalk(command, body, answers);
  const auto range = RangeOf(body);
  if (range) *answers = Pieces(kSet, *range);
  return range.has_value();
}

bool AreaPlayer::OnTalk(std::uint8_t command, std::span<const std::uint8_t> body, Messages* answers) {
  const auto say = [&](std::uint8_t word) {
    answers->push_back(Frame(word, {}));
    return true;
  };
  if (command == kWantIt || command == kWantToSendIt) {
    const auto range = RangeOf(body);
    if (!range || faults_.refuses) return say(kRejected) && range.has_value();
    if (command == kWantToSendIt) return say(kTaken);
    outgoing_ = Pieces(kTalkData, *range);
    outgoing_.push_back(Frame(kNoMore, {}));
    sent_ = 1;
    answers->push_back(outgoing_.front());
    return true;
  }
  if (command == kTaken || command == kAgain) {
    if (command == kTaken && sent_ < outgoing_.size())
      ++sent_;
    else if (command == kTaken)
      outgoing_.clear();
    if (!outgoing_.empty()) answers->push_back(outgoing_[sent_ - 1]);
    return true;
  }
  if (command == kTalkData) {
    const bool written = Write(body);
    return say(written ? kTaken : kAgain) && written;
  }
  if (command == kRejected) outgoing_.clear();
  return command == kRejected || (command == kNoMore && say(kTaken));
}

}  // namespace tonalith
