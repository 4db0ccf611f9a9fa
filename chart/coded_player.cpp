#include "chart/coded_player.h"

#include <algorithm>

#include "chart/type_lines.h"
#include "data/checksums.h"
#include "data/hex_text.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "script/hydrasynth.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kMessageStart = 0xF0, kMessageEnd = 0xF7;
constexpr std::size_t kPieceBytes = 128;
enum Command : std::uint8_t { kRequest = 0x04, kTaken = 0x17, kOpen = 0x18, kOpened, kClose = 0x1A, kClosed };
constexpr std::size_t kRequestBank = 2, kRequestPatch = 3;  // in its payload; the image has them at the same places
constexpr std::string_view kCoded = "coded";

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words;
  for (const std::string& word : SplitText(std::string(text), ' '))
    if (!word.empty()) words.push_back(word);
  return words;
}

bool IsCoded(const ChartEntry& entry) {
  return entry.value == kCoded || entry.value.starts_with(std::string(kCoded) + " ");
}

}  // namespace

bool CodedPlayer::IsFor(const ChartType& type) {
  return type.exchange && std::any_of(type.exchange->entries.begin(), type.exchange->entries.end(), IsCoded);
}

std::unique_ptr<ChartPeer> CodedPlayer::Make(const ChartInstrument& chart, const ChartType& type, int device,
                                             std::string* obstacle) {
  std::unique_ptr<CodedPlayer> player(new CodedPlayer(chart, type, device));
  *obstacle = player->obstacle_;
  if (!obstacle->empty()) return nullptr;
  return player;
}

CodedPlayer::CodedPlayer(const ChartInstrument& chart, const ChartType& type, int device)
    : ChartPeer(chart, type, device) {
  std::string ini = "[Coded Messages]\n", problem;
  for (const auto& [key, name] :
       {std::pair("coded", "Coding"), std::pair("coded head", "Head"), std::pair("coded piece", "Piece")})
    if (const ChartEntry* entry = chart.Find(key))
      ini += std::string(name) + "=" + ReplaceAll(entry->value, ",", " |") + "\n";
  if (auto coding = ReadCodedMessages(IniFile::FromBytes(ini), &problem))
    coding_ = std::move(*coding);
  else
    obstacle_ = "the chart does not say how its data is coded";
  for (const ChartEntry& entry : type.exchange->entries) {
    if (entry.key == "get" && IsCoded(entry))
      gets_ = true;
    else if (entry.key == "get" || entry.key == "put")
      ReadStep(entry.key == "put" ? ExchangeStep(entry.value, type.variable) : std::string());
  }
  if (type.dump.size() != 1 || type.dump.front().size == 0) obstacle_ = "its data is no message of one size";
  if (obstacle_.empty()) Fill();
}

void CodedPlayer::ReadStep(const std::string& text) {
  Step step;
  bool known = false;
  for (const std::string& part : SplitText(text, '|')) {
    const std::string_view one = TrimmedView(part);
    const auto is = [&](std::string_view word) { return one.starts_with(std::string(word) + " ") || one == word; };
    const auto behind = [&](std::string_view word) { return TrimmedView(one.substr(word.size())); };
    if (is("send")) {
      const auto bytes = ParseHex(behind("send"));
      known = bytes.has_value();
      step.message = bytes.value_or(Bytes());
    } else if (is(kCoded)) {
      known = true;
    } else if (is("answer")) {
      step.answer = behind("answer");
    } else if (is("refused")) {
      step.refuses = true;
    } else if (is("set")) {
      const std::size_t colon = std::min(one.find(':'), one.size() - 1);
      const auto place = ParseInteger(TrimmedView(one.substr(3, colon - 3)));
      known = known && place && *place >= 0;
      puts_.push_back({static_cast<std::size_t>(place.value_or(0)), Words(one.substr(colon + 1))});
    }
  }
  if (!known) obstacle_ = "a step of its exchange is neither a message nor coded text";
  put_.push_back(std::move(step));
}

// `04`, `patch`
int CodedPlayer::ByteOf(const std::string& word, std::size_t patch) const {
  if (word == "patch") return static_cast<int>(patch);
  const auto byte = ParseHex(word);
  return byte && byte->size() == 1 ? byte->front() : 0;
}

ChartData CodedPlayer::Without(ChartData data) const {
  for (const Put& put : puts_)
    for (std::size_t i = 0; i < put.words.size(); ++i)
      if (put.place + i < data.size()) data[put.place + i] = 0;
  return data;
}

// The data of every patch begins as its message in files does behind the head.
void CodedPlayer::PutFixed(ChartData* data) const {
  if (type_.forms.empty()) return;
  for (const ChartItem& item : type_.forms.front().messages.front().second.items) {
    const std::size_t head = coding_.head.size();
    if (item.kind != ChartItemKind::kByte || item.offset < head || item.offset - head >= data->size()) continue;
    if (item.byte.use != ChartUse::kNone) continue;
    std::uint8_t& byte = (*data)[item.offset - head];
    byte = static_cast<std::uint8_t>((byte & ~item.byte.mask) | (item.byte.base & item.byte.mask));
  }
}

ChartData CodedPlayer::Sample(std::uint32_t seed) const {
  ChartData data = ChartPeer::Sample(seed);
  PutFixed(&data);
  return Without(std::move(data));
}

ChartData CodedPlayer::DataOf(std::span<const std::uint8_t> image) const {
  return Without(ChartPeer::DataOf(image));
}

std::vector<std::uint8_t> CodedPlayer::Image(std::size_t index, const ChartData& data) const {
  Bytes image = ChartPeer::Image(index, data);
  for (const Put& put : puts_)
    for (std::size_t i = 0; i < put.words.size(); ++i)
      if (put.place + i < image.size()) image[put.place + i] = static_cast<std::uint8_t>(ByteOf(put.words[i], index));
  return image;
}

std::optional<std::size_t> CodedPlayer::PlaceOf(const Bytes& image) const {
  for (std::size_t patch = 0; patch < memory_.size(); ++patch)
    if (Image(patch, ChartPeer::DataOf(image)) == image) return patch;
  return std::nullopt;
}

CodedPlayer::Bytes CodedPlayer::Wrapped(const Bytes& payload) const {
  constexpr int kByteBits = 8;
  Bytes record;
  const std::uint32_t check = ~rc_crc32(0, payload.data(), static_cast<std::int64_t>(payload.size()));
  for (int shift = 0; shift < 4 * kByteBits; shift += kByteBits)
    record.push_back(static_cast<std::uint8_t>(check >> shift));
  record.insert(record.end(), payload.begin(), payload.end());
  Bytes message = coding_.head.value;
  const Bytes text = Base64::Encode(record);
  message.insert(message.end(), text.begin(), text.end());
  message.push_back(kMessageEnd);
  return message;
}

CodedPlayer::Bytes CodedPlayer::Said(const std::string& pattern, bool other) {
  Bytes bytes;
  for (const std::string& word : Words(pattern)) {
    const auto byte = ParseHex(word);
    bytes.push_back(byte && byte->size() == 1 ? byte->front() : 0);
  }
  if (other && bytes.size() > 1) bytes[bytes.size() - 2] ^= 1;
  return bytes;
}

std::size_t CodedPlayer::Pieces() const {
  return (type_.dump.front().size + kPieceBytes - 1) / kPieceBytes;
}

CodedPlayer::Bytes CodedPlayer::Piece(std::size_t index) const {
  Bytes payload = coding_.piece.value;
  payload.resize(coding_.data);
  payload[coding_.index] = static_cast<std::uint8_t>(index);
  payload[coding_.count] = static_cast<std::uint8_t>(Pieces());
  const std::size_t from = std::min(index * kPieceBytes, outgoing_.size());
  const std::size_t to = std::min(from + kPieceBytes, outgoing_.size());
  payload.insert(payload.end(), outgoing_.begin() + static_cast<std::ptrdiff_t>(from),
                 outgoing_.begin() + static_cast<std::ptrdiff_t>(to));
  return Wrapped(payload);
}

bool CodedPlayer::CanRefuse() const {
  return std::any_of(put_.begin(), put_.end(), [](const Step& step) { return step.refuses; });
}

ChartPeer::Messages CodedPlayer::OnBytes(std::span<const std::uint8_t> bytes) {
  Messages answers, arrived;
  for (const std::uint8_t byte : bytes) {
    if (byte == kMessageStart) pending_.clear();
    pending_.push_back(byte);
    if (byte == kMessageEnd) OnMessage(std::exchange(pending_, {}), &answers);
  }
  for (auto& answer : answers)
    if (Arrives()) arrived.push_back(std::move(answer));
  return arrived;
}

void CodedPlayer::OnMessage(const Bytes& message, Messages* answers) {
  const auto payload = DecodeMessage(coding_, message);
  const bool sound = payload && payload->checked;
  if (!sound || (!OnPut(message, payload->bytes, answers) && !OnGet(payload->bytes, answers)))
    unknown_.push_back(message);
}

// The steps in their order; the first of them begins anew.
bool CodedPlayer::OnPut(const Bytes& message, const Bytes& payload, Messages* answers) {
  if (put_.empty()) return false;
  if (message == put_.front().message) next_ = 0;
  if (next_ >= put_.size()) return false;
  const Step& step = put_[next_];
  if (!step.message.empty()) {
    if (message != step.message) return false;
    if (next_ == 0) incoming_.clear();
    open_ = next_ == 0;
    const bool refused = faults_.refuses && step.refuses;
    answers->push_back(Said(step.answer, refused));
    next_ = refused ? put_.size() : next_ + 1;
    if (next_ != put_.size() || refused || incoming_.empty()) return true;
    const auto place = PlaceOf(incoming_);
    if (place) memory_[*place] = DataOf(incoming_);
    written_.push_back(place ? static_cast<int>(*place) : -1);
    return true;
  }
  const CodedPayload piece{payload, true};
  if (!piece.IsPiece(coding_) || payload[coding_.index] != incoming_.size() / kPieceBytes ||
      payload[coding_.count] != Pieces())
    return false;
  incoming_.insert(incoming_.end(), payload.begin() + coding_.data, payload.end());
  Bytes taken = payload;
  taken.resize(coding_.data);
  taken[0] = kTaken;
  answers->push_back(Wrapped(taken));
  if (incoming_.size() == type_.dump.front().size) ++next_;
  return true;
}

bool CodedPlayer::OnGet(const Bytes& payload, Messages* answers) {
  constexpr std::size_t kWholeRequest = 4;
  const auto say = [&](Bytes bytes) { answers->push_back(Wrapped(bytes)); };
  if (payload[0] == kOpen || payload[0] == kClose) {
    open_ = payload[0] == kOpen;
    say({open_ ? kOpened : kClosed, 0});
    return true;
  }
  if (payload.size() != kWholeRequest) return false;
  if (payload[0] == kTaken) {
    if (std::size_t{payload[coding_.index]} + 1 < Pieces() && !outgoing_.empty())
      answers->push_back(Piece(std::size_t{payload[coding_.index]} + 1));
    return true;
  }
  if (payload[0] != kRequest || !open_) return false;
  for (std::size_t patch = 0; patch < memory_.size(); ++patch) {
    outgoing_ = Image(patch, memory_[patch]);
    if (outgoing_[kRequestBank] != payload[kRequestBank] || outgoing_[kRequestPatch] != payload[kRequestPatch])
      continue;
    answers->push_back(Piece(0));
    return true;
  }
  outgoing_.clear();
  return false;
}

}  // namespace tonalith
