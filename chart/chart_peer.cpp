#include "chart/chart_peer.h"

#include <algorithm>

#include "chart/area_player.h"
#include "chart/chart_player.h"
#include "chart/coded_player.h"
#include "chart/exchange_player.h"
#include "chart/inner_sum.h"
#include "data/checksums.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kEndOfMessage = 0xF7;

bool CarriesData(const ChartMessage& message) {
  return message.First(ChartItemKind::kData) != nullptr;
}

bool HasMovingSum(const ChartType& type) {
  ChartProblems ignored((std::string()));
  return std::any_of(type.section->entries.begin(), type.section->entries.end(), [&](const ChartEntry& entry) {
    if (entry.key != "inner sum") return false;
    const auto sum = ReadInnerSum(entry, &ignored);
    return !sum || (!sum->fixed && sum->kind != kAdditiveSoundsSum);
  });
}

// Makes what begins at `start` a sound of two sources without kits: the smallest there is.
void OneAdditiveSound(std::span<std::uint8_t> image, std::int64_t start) {
  constexpr std::size_t kSources = 51, kCommon = 82, kSourceBytes = 86, kWave = 28;
  constexpr std::uint8_t kFewest = 2;
  const auto at = static_cast<std::size_t>(std::max<std::int64_t>(start, 0));
  const auto put = [&](std::size_t place, std::uint8_t byte) {
    if (place < image.size()) image[place] = byte;
  };
  put(at + kSources, kFewest);
  for (std::size_t source = 0; source < kFewest; ++source) put(at + kCommon + source * kSourceBytes + kWave, 0);
}

}  // namespace

std::unique_ptr<ChartPeer> ChartPeer::Make(const ChartInstrument& chart, const ChartType& type, int device,
                                           std::string* obstacle) {
  obstacle->clear();
  if (type.Find("script get") || type.Find("script put")) {
    *obstacle = "a script gets or sends it";
  } else if (type.dump.empty() && !type.exchange) {
    return AreaPlayer::Make(chart, type, device, obstacle);
  } else if (!type.exchange && !std::all_of(type.dump.begin(), type.dump.end(), CarriesData)) {
    *obstacle = "one of its messages holds no data";
  } else if (HasMovingSum(type)) {
    *obstacle = "where the checksum inside its data stands depends on the data";
  } else if (CodedPlayer::IsFor(type)) {
    return CodedPlayer::Make(chart, type, device, obstacle);
  } else if (type.exchange && !type.dump.empty()) {
    return ExchangePlayer::Make(chart, type, device, obstacle);
  } else if (type.exchange) {
    *obstacle = "it has no form of its own";
  } else {
    return std::make_unique<ChartPlayer>(chart, type, device);
  }
  return nullptr;
}

ChartPeer::ChartPeer(const ChartInstrument& chart, const ChartType& type, int device)
    : chart_(chart), type_(type), device_(device) {}

void ChartPeer::Fill() {
  const bool patchwise = type_.patchwise && (!type_.dump.empty() || type_.Has("patch by patch"));
  const std::size_t count = patchwise ? static_cast<std::size_t>(type_.slots) : 1;
  for (std::size_t i = 0; i < count; ++i) memory_.push_back(Sample(static_cast<std::uint32_t>(i)));
}

bool ChartPeer::Arrives() {
  return !faults_.silent && !(faults_.lostAnswers > 0 && faults_.lostAnswers-- > 0);
}

ChartData ChartPeer::Sample(std::uint32_t seed) const {
  ChartData data;
  for (const ChartMessage& message : type_.dump) {
    const ChartData more = SampleData(message, seed * 7 + static_cast<std::uint32_t>(data.size()));
    data.insert(data.end(), more.begin(), more.end());
  }
  StoreInnerSums(&data);
  return data;
}

void ChartPeer::StoreInnerSums(ChartData* data) const {
  ChartProblems ignored((std::string()));
  for (const ChartEntry& entry : type_.section->entries) {
    const auto sum = entry.key == "inner sum" ? ReadInnerSum(entry, &ignored) : std::nullopt;
    if (!sum) continue;
    std::vector<std::uint8_t> image = ChartPeer::Image(0, *data);
    if (sum->kind == kAdditiveSoundsSum) OneAdditiveSound(image, sum->start);
    for (std::int64_t i = 0; i < sum->times; ++i)
      CSum(image, 0, sum->kind, sum->start + i * sum->step, sum->count, sum->offset + i * sum->step);
    *data = ChartPeer::DataOf(image);
  }
}

ChartValues ChartPeer::Values(std::size_t index) const {
  ChartValues values;
  if (chart_.device.letter) values[chart_.device.letter] = device_;
  if (type_.variable.letter) values[type_.variable.letter] = type_.variable.value;
  values[kPatchLetter] = First() + static_cast<int>(index);
  return values;
}

ChartPeer::Messages ChartPeer::WholeOf(std::size_t index) const {
  Messages messages;
  std::size_t used = 0;
  for (const ChartMessage& message : type_.dump) {
    // Data of any size is a message of its own.
    messages.push_back(MessageBytes(message, Values(index), memory_[index], &used));
  }
  return messages;
}

ChartPeer::Messages ChartPeer::Panel(const std::set<std::size_t>& patches) const {
  // Patches that say their number are sent as a whole bank; others are selected one after the other.
  const bool numbered = std::any_of(type_.dump.begin(), type_.dump.end(),
                                    [](const ChartMessage& message) { return message.PlaceOf(kPatchLetter) >= 0; });
  Messages messages;
  for (std::size_t i = 0; i < memory_.size(); ++i)
    if (numbered || patches.count(i) != 0)
      for (auto& message : WholeOf(i)) messages.push_back(std::move(message));
  return messages;
}

std::vector<std::uint8_t> ChartPeer::Image(std::size_t index, const ChartData& data) const {
  std::vector<std::uint8_t> image;
  std::size_t used = 0;
  for (const ChartMessage& message : type_.dump) {
    const auto bytes = MessageBytes(message, Values(index), data, &used);
    image.insert(image.end(), bytes.begin(), bytes.end());
  }
  return image;
}

ChartData ChartPeer::DataOf(std::span<const std::uint8_t> image) const {
  ChartData data;
  bool right = true;
  std::size_t at = 0;
  for (const ChartMessage& message : type_.dump) {
    const auto end = std::find(image.rbegin(), image.rend(), kEndOfMessage);
    const std::size_t whole = static_cast<std::size_t>(image.rend() - end);  // more is not used
    const bool fixed = message.size && !message.Free();
    const std::size_t size = fixed ? message.size : whole - std::min(whole, at);
    ChartValues any;
    right = right && at + size <= image.size() && MatchMessage(message, image.subspan(at, size), &any, &data);
    at += size;
  }
  return right ? data : ChartData();
}

bool ChartPeer::File(std::vector<std::uint8_t>* bytes) const {
  bytes->clear();
  const bool said = type_.Find("file") && !type_.forms.empty() && !type_.forms.front().onlyFor;
  for (std::size_t i = 0; i < memory_.size(); ++i) {
    if (!said) {
      const auto image = Image(i, memory_[i]);
      bytes->insert(bytes->end(), image.begin(), image.end());
      continue;
    }
    std::size_t used = 0;
    for (const auto& [name, message] : type_.forms.front().messages) {
      if (CarriesData(message) && DataSize(message, 0) != DataSize(type_.dump.front(), 0)) return false;
      // What the message leaves open is as in the image.
      ChartValues values;
      if (!MatchMessage(message, Image(i, memory_[i]), &values, nullptr)) values = Values(i);
      auto made = MessageBytes(message, values, memory_[i], &used);
      if (const auto image = Image(i, memory_[i]); image.size() == made.size())
        for (const ChartItem& item : message.items)
          if (item.kind == ChartItemKind::kByte && item.byte.mask == 0) made[item.offset] = image[item.offset];
      bytes->insert(bytes->end(), made.begin(), made.end());
    }
    if (used != memory_[i].size()) return false;
  }
  return true;
}

}  // namespace tonalith
