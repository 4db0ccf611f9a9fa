#include "simulator/hydra_engine.h"

#include <zlib.h>

#include <algorithm>
#include <array>

namespace tonalith {
namespace {

constexpr std::array<std::uint8_t, 6> kFrame = {0xF0, 0x00, 0x20, 0x2B, 0x00, 0x6F};
constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kCheckBytes = 4;
constexpr std::size_t kChunkBytes = 128;
constexpr std::size_t kChunkHead = 4;
constexpr int kPerBank = 128;
// Places in a record.
constexpr std::size_t kKind = 0, kBank = 2, kNumber = 3, kNumberAgain = 6;
constexpr std::uint8_t kRead = 5, kWritten = 6;

enum Command : std::uint8_t {
  kHello = 0x00,
  kPatchRequest = 0x04,
  kWrite = 0x14,
  kPiece = 0x16,
  kTaken = 0x17,
  kHeader = 0x18,
  kFooter = 0x1A,
  kVersion = 0x28,
};

// The register of the usual CRC-32 before its last inversion.
std::uint32_t CheckOf(std::span<const std::uint8_t> payload) {
  return ~static_cast<std::uint32_t>(::crc32(0, payload.data(), static_cast<uInt>(payload.size())));
}

}  // namespace

int HydraEngine::Chunks() const {
  return (core_.Area(info().area).itemBytes + static_cast<int>(kChunkBytes) - 1) / static_cast<int>(kChunkBytes);
}

std::optional<HydraEngine::Bytes> HydraEngine::Unwrap(std::span<const std::uint8_t> message) {
  if (message.size() < kFrame.size() + 1 || !std::equal(kFrame.begin(), kFrame.end(), message.begin()))
    return std::nullopt;
  auto text = message.subspan(kFrame.size(), message.size() - kFrame.size() - 1);
  if (text.size() % 4 != 0) return std::nullopt;
  while (!text.empty() && text.back() == '=') text = text.first(text.size() - 1);
  Bytes record;
  std::uint32_t bits = 0;
  int have = 0;
  for (const std::uint8_t digit : text) {
    const std::size_t value = kDigits.find(static_cast<char>(digit));
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    have += 6;
    if (have < 8) continue;
    have -= 8;
    record.push_back(static_cast<std::uint8_t>(bits >> have));
  }
  if (record.size() < kCheckBytes + 2) return std::nullopt;
  std::uint32_t check = 0;
  for (std::size_t i = kCheckBytes; i-- > 0;) check = check << 8 | record[i];
  record.erase(record.begin(), record.begin() + kCheckBytes);
  if (check != CheckOf(record)) record.clear();  // heard, but not understood
  return record;
}

HydraEngine::Bytes HydraEngine::Wrap(std::span<const std::uint8_t> payload) {
  Bytes record;
  const std::uint32_t check = CheckOf(payload);
  for (unsigned i = 0; i < kCheckBytes; ++i) record.push_back(static_cast<std::uint8_t>(check >> 8 * i));
  record.insert(record.end(), payload.begin(), payload.end());
  Bytes message(kFrame.begin(), kFrame.end());
  for (std::size_t i = 0; i < record.size(); i += 3) {
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k) bits = bits << 8 | (i + k < record.size() ? record[i + k] : 0U);
    for (unsigned k = 0; k < 4; ++k) {
      const bool filled = i + k <= record.size();
      message.push_back(filled ? static_cast<std::uint8_t>(kDigits[bits >> (18 - 6 * k) & 63]) : std::uint8_t{'='});
    }
  }
  message.push_back(0xF7);
  return message;
}

HydraEngine::Bytes HydraEngine::Chunk(std::span<const std::uint8_t> image, int index) const {
  const std::size_t at = kChunkBytes * static_cast<std::size_t>(index);
  const auto part = image.subspan(at, std::min(kChunkBytes, image.size() - at));
  Bytes payload = {kPiece, 0, static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(Chunks())};
  payload.insert(payload.end(), part.begin(), part.end());
  return payload;
}

HydraEngine::Bytes HydraEngine::Image(int item, std::uint8_t kind) const {
  const auto bytes = core_.memory.Item(info().area, item);
  Bytes image(bytes.begin(), bytes.end());
  if (image.empty()) return image;
  image[kKind] = kind;
  image[kBank] = static_cast<std::uint8_t>(item / kPerBank);
  image[kNumber] = image[kNumberAgain] = static_cast<std::uint8_t>(item % kPerBank);
  return image;
}

// Pieces come in order; the first begins a new image.
bool HydraEngine::TakeChunk(std::span<const std::uint8_t> payload) {
  const auto size = static_cast<std::size_t>(core_.Area(info().area).itemBytes);
  if (payload.size() <= kChunkHead || payload[3] != Chunks()) return false;
  const std::size_t at = kChunkBytes * payload[2];
  if (at == 0) incoming_.clear();
  const auto data = payload.subspan(kChunkHead);
  if (incoming_.size() != at || at >= size || data.size() != std::min(kChunkBytes, size - at)) return false;
  incoming_.insert(incoming_.end(), data.begin(), data.end());
  return true;
}

bool HydraEngine::Store(bool force) {
  const auto size = static_cast<std::size_t>(core_.Area(info().area).itemBytes);
  if (incoming_.size() != size) return false;
  const int item = incoming_[kBank] * kPerBank + incoming_[kNumber];
  const auto target = core_.memory.Item(info().area, item);
  std::string status;
  if (target.empty() || (!force && !core_.MayWrite(info().area, item, &status))) return false;
  std::copy(incoming_.begin(), incoming_.end(), target.begin());
  // Kind and place are written when a patch goes out.
  target[kKind] = kRead;
  target[kBank] = target[kNumber] = target[kNumberAgain] = 0;
  return true;
}

void HydraEngine::OnCommand(std::span<const std::uint8_t> payload) {
  const std::uint8_t first = payload.size() > 2 ? payload[2] : std::uint8_t{0};
  const std::uint8_t second = payload.size() > 3 ? payload[3] : std::uint8_t{0};
  switch (payload[0]) {
    case kHello: {
      constexpr std::string_view kBanks = "A:B:C:D:E:F:G:H";
      Bytes answer = {kHello + 1, 0};
      answer.insert(answer.end(), kBanks.begin(), kBanks.end());
      answer.push_back(0);
      return core_.Answer(Wrap(answer));
    }
    case kVersion:
      return Say({kVersion + 1, 0, static_cast<std::uint8_t>(info().version), 0, 1});
    case kHeader:
      locked_ = true;
      return Say({kHeader + 1, 0});
    case kFooter:
      locked_ = false;
      return Say({kFooter + 1, 0});
    case kPatchRequest:
      if (!locked_ || !core_.HearsRequest() || core_.faults.TakeBusy()) return;
      outgoing_ = Image(first * kPerBank + second, kRead);
      if (!outgoing_.empty()) core_.Answer(Wrap(Chunk(outgoing_, 0)));
      return;
    case kTaken:
      if (first + 1 < Chunks() && !outgoing_.empty()) core_.Answer(Wrap(Chunk(outgoing_, first + 1)));
      return;
    case kPiece:
      if (!locked_ || core_.faults.TakeRefusal() || !TakeChunk(payload)) {
        core_.display = "RECEIVE ERROR";
        return;
      }
      return Say({kTaken, 0, first, second});
    case kWrite:
      core_.display = Store(false) ? "RECEIVED" : "RECEIVE ERROR";
      if (core_.display == "RECEIVED") Say({kWrite + 1, 0});
      return;
    default:
      return;
  }
}

bool HydraEngine::Handle(std::span<const std::uint8_t> message) {
  const auto payload = Unwrap(message);
  if (!payload) return false;
  if (payload->empty())
    core_.display = "CHECKSUM ERROR";
  else
    OnCommand(*payload);
  return true;
}

bool HydraEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  const auto payload = Unwrap(message);
  *why = payload ? "has a wrong check value" : "is no data of this instrument";
  if (!payload || payload->empty()) return false;
  if ((*payload)[0] != kPiece) return true;
  *why = "is a piece that does not follow the one before";
  if (!TakeChunk(*payload)) return false;
  *why = "is for a patch that this instrument does not have";
  return (*payload)[2] + 1 < Chunks() || Store(true);
}

std::vector<std::vector<std::uint8_t>> HydraEngine::FileMessages(int item) const {
  std::vector<Bytes> messages;
  const Bytes image = Image(item, kWritten);
  if (image.empty()) return messages;
  messages.push_back(Wrap(Bytes{kHeader, 0}));
  for (int i = 0; i < Chunks(); ++i) messages.push_back(Wrap(Chunk(image, i)));
  messages.push_back(Wrap(Bytes{kWrite, 0}));
  messages.push_back(Wrap(Bytes{kFooter, 0}));
  return messages;
}

}  // namespace tonalith
