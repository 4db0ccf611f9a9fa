#include "chart/chart_player.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kSysEx = 0xF0, kEnd = 0xF7, kRealTime = 0xF8, kStatus = 0x80;

bool HasData(const ChartMessage& message) {
  return message.First(ChartItemKind::kData) != nullptr;
}

bool IsChannelMessage(const ChartMessage& message) {
  return !message.empty() && message.items.front().kind == ChartItemKind::kByte &&
         message.items.front().byte.base < kSysEx;
}

std::size_t LengthOf(std::uint8_t status) {
  return (status & 0xE0) == 0xC0 ? 2 : 3;  // program change and pressure have one byte of data
}

std::size_t SizeOf(const std::vector<ChartMessage>& messages) {
  std::size_t size = 0;
  for (const ChartMessage& message : messages) size += DataSize(message, SmallestAnySize(message));
  return size;
}

}  // namespace

std::string ChartPlayer::Obstacle(const ChartType& type) {
  if (type.Find("script get") || type.Find("script put")) return "it has a script";
  if (type.exchange) return "it has an exchange of its own";
  if (type.dump.empty()) return "it is address-based";
  if (!std::all_of(type.dump.begin(), type.dump.end(), HasData)) return "one of its messages holds no data";
  if (type.Find("inner sum")) return "its data has a checksum inside";
  return {};
}

ChartPlayer::ChartPlayer(const ChartInstrument& chart, const ChartType& type, int device)
    : chart_(chart), type_(type), device_(device), get_(type.get), put_(type.put) {
  if (!type.getSaid && !type.request.empty()) {
    ChartStep ask;
    ask.message = type.request;
    get_.push_back(ask);
  }
  if (!type.putSaid) {
    ChartStep dump;
    dump.name = type.patchwise ? "each" : "dump";
    dump.message = type.dump.front();
    put_.push_back(dump);
  }
  const std::size_t count = type.patchwise ? static_cast<std::size_t>(type.slots) : 1;
  for (std::size_t i = 0; i < count; ++i) memory_.push_back(Sample(static_cast<std::uint32_t>(i)));
  if (type.variable.letter) values_[type.variable.letter] = type.variable.value;
}

ChartData ChartPlayer::Sample(std::uint32_t seed) const {
  ChartData data;
  for (const ChartMessage& message : type_.dump) {
    const ChartData more = SampleData(message, seed * 7 + static_cast<std::uint32_t>(data.size()));
    data.insert(data.end(), more.begin(), more.end());
  }
  return data;
}

int ChartPlayer::First() const {
  return ChartFirstPatch(type_);
}

ChartValues ChartPlayer::Values(std::size_t index) const {
  ChartValues values;
  if (chart_.device.letter) values[chart_.device.letter] = device_;
  if (type_.variable.letter) values[type_.variable.letter] = type_.variable.value;
  values[kPatchLetter] = First() + static_cast<int>(index);
  return values;
}

std::size_t ChartPlayer::Current() const {
  const auto patch = values_.find(kPatchLetter);
  if (!type_.patchwise || patch == values_.end()) return 0;
  return std::min(static_cast<std::size_t>(std::max(patch->second - First(), 0)), memory_.size() - 1);
}

ChartPlayer::Messages ChartPlayer::WholeOf(std::size_t index) const {
  Messages messages;
  std::size_t used = 0;
  for (const ChartMessage& message : type_.dump) {
    // Data of any size is a message of its own.
    messages.push_back(MessageBytes(message, Values(index), memory_[index], &used));
  }
  return messages;
}

ChartPlayer::Messages ChartPlayer::Panel() const {
  Messages messages;
  for (std::size_t i = 0; i < memory_.size(); ++i)
    for (auto& message : WholeOf(i)) messages.push_back(std::move(message));
  return messages;
}

std::vector<std::uint8_t> ChartPlayer::Image(std::size_t index, const ChartData& data) const {
  std::vector<std::uint8_t> image;
  std::size_t used = 0;
  for (const ChartMessage& message : type_.dump) {
    const auto bytes = MessageBytes(message, Values(index), data, &used);
    image.insert(image.end(), bytes.begin(), bytes.end());
  }
  return image;
}

ChartData ChartPlayer::DataOf(std::span<const std::uint8_t> image) const {
  ChartData data;
  bool right = true;
  std::size_t at = 0;
  for (const ChartMessage& message : type_.dump) {
    const auto end = std::find(image.rbegin(), image.rend(), kEnd);
    const std::size_t whole = static_cast<std::size_t>(image.rend() - end);  // more is not used
    const std::size_t size = message.size ? message.size : whole - std::min(whole, at);
    ChartValues any;
    right = right && at + size <= image.size() && MatchMessage(message, image.subspan(at, size), &any, &data);
    at += size;
  }
  if (right) return data;
  // It is kept as it came.
  for (const ChartStep& step : get_) {
    ChartData other;
    ChartValues any;
    const std::size_t size = step.answer.size ? std::min<std::size_t>(step.answer.size, image.size()) : image.size();
    if (step.answered && MatchMessage(step.answer, image.first(size), &any, &other)) return other;
  }
  return {};
}

bool ChartPlayer::File(std::vector<std::uint8_t>* bytes) const {
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
      if (HasData(message) && DataSize(message, 0) != DataSize(type_.dump.front(), 0)) return false;
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

bool ChartPlayer::ChoosesPatch() const {
  const auto chooses = [](const ChartStep& step) {
    return step.kind != ChartStep::Kind::kMessage || step.message.PlaceOf(kPatchLetter) >= 0;
  };
  const auto pause = [](const ChartStep& step) { return step.kind == ChartStep::Kind::kPause; };
  return !type_.patchwise || get_.empty() ||
         std::any_of(get_.begin(), get_.end(), [&](const ChartStep& step) { return chooses(step) && !pause(step); });
}

bool ChartPlayer::CanRefuse() const {
  return std::any_of(put_.begin(), put_.end(), [](const ChartStep& step) { return !step.refused.empty(); });
}

ChartPlayer::Messages ChartPlayer::OnBytes(std::span<const std::uint8_t> bytes) {
  Messages answers;
  for (const std::uint8_t byte : bytes) {
    if (byte >= kRealTime) continue;
    if (byte >= kStatus && byte != kEnd) pending_.clear();
    pending_.push_back(byte);
    const bool whole = pending_.front() == kSysEx ? byte == kEnd : pending_.size() == LengthOf(pending_.front());
    if (!whole) continue;
    for (auto& answer : OnMessage(pending_)) {
      if (faults_.silent || (faults_.lostAnswers > 0 && faults_.lostAnswers-- > 0)) continue;
      answers.push_back(std::move(answer));
    }
    pending_.clear();
  }
  return answers;
}

ChartPlayer::Messages ChartPlayer::OnMessage(std::span<const std::uint8_t> message) {
  Messages answers;
  const bool asked = OnGet(message, &answers);
  const bool taken = OnPut(message, &answers);
  if (!asked && !taken) unknown_.emplace_back(message.begin(), message.end());
  return answers;
}

// The message is the known one; what it says of the patch is kept.
bool ChartPlayer::Takes(const ChartMessage& known, std::span<const std::uint8_t> message, ChartData* data) {
  ChartValues values;
  if (type_.variable.letter) values[type_.variable.letter] = type_.variable.value;
  // A channel need not be the device number.
  if (chart_.device.letter && !IsChannelMessage(known)) values[chart_.device.letter] = device_;
  if (!MatchMessage(known, message, &values, data)) return false;
  if (const auto patch = values.find(kPatchLetter); patch != values.end()) values_[kPatchLetter] = patch->second;
  return true;
}

bool ChartPlayer::OnGet(std::span<const std::uint8_t> message, Messages* answers) {
  const bool answered = std::any_of(get_.begin(), get_.end(),
                                    [](const ChartStep& step) { return step.answered && HasData(step.answer); });
  bool known = false;
  std::size_t used = 0;  // of the data, by the steps before
  for (std::size_t i = 0; i < get_.size(); ++i) {
    const ChartStep& step = get_[i];
    if (step.kind != ChartStep::Kind::kMessage) continue;
    const bool last = std::none_of(get_.begin() + static_cast<std::ptrdiff_t>(i) + 1, get_.end(),
                                   [](const ChartStep& one) { return one.kind == ChartStep::Kind::kMessage; });
    const bool gives = step.answered && HasData(step.answer);
    const std::size_t size = gives ? DataSize(step.answer, SmallestAnySize(step.answer)) : 0;
    ChartValues turn;
    if (!known && Takes(step.message, message, nullptr)) {
      known = true;
      const bool whole = (!answered && last) || (gives && type_.dump.size() > 1 && step.times < 2 && used == 0 &&
                                                 size == DataSize(type_.dump.front(), 0));
      if (whole) {
        for (auto& one : WholeOf(Current())) answers->push_back(std::move(one));
      } else if (gives) {
        ChartValues values = Values(Current());
        MatchMessage(step.message, message, &turn, nullptr);
        if (const auto number = turn.find(kTurnLetter); number != turn.end()) values[kTurnLetter] = number->second;
        std::size_t at = used + size * static_cast<std::size_t>(std::max(values[kTurnLetter], 0));
        answers->push_back(MessageBytes(step.answer, values, memory_[Current()], &at));
      } else {
        Answer(step, answers);
      }
    }
    used += size * static_cast<std::size_t>(std::max(step.times, 1));
  }
  return known;
}

bool ChartPlayer::OnPut(std::span<const std::uint8_t> message, Messages* answers) {
  bool known = false;
  for (std::size_t i = 0; i < put_.size() && !known; ++i) {
    const ChartStep& step = put_[i];
    if (step.kind != ChartStep::Kind::kMessage) continue;
    if (!HasData(step.message)) {
      if (!(known = Takes(step.message, message, nullptr))) continue;
      if (!edit_.empty() && step.message.PlaceOf(kPatchLetter) >= 0) Store(true);
      Answer(step, answers);
      continue;
    }
    const bool whole = step.name == (type_.patchwise ? "each" : "dump") && type_.dump.size() > 1;
    const std::vector<ChartMessage> parts = whole ? type_.dump : std::vector<ChartMessage>{step.message};
    for (const ChartMessage& part : parts)
      if (!known && (known = Takes(part, message, &edit_))) break;
    if (!known || edit_.size() < SizeOf(parts)) continue;
    const auto numbered = [](const ChartStep& one) { return one.message.PlaceOf(kPatchLetter) >= 0; };
    const auto here = put_.begin() + static_cast<std::ptrdiff_t>(i);
    // A message behind it may say the number.
    if (std::none_of(here + 1, put_.end(), numbered)) Store(std::any_of(put_.begin(), here + 1, numbered));
    Answer(step, answers);
  }
  return known;
}

void ChartPlayer::Store(bool numbered) {
  written_.push_back(type_.patchwise && !numbered ? -1 : static_cast<int>(Current()));
  memory_[Current()] = std::move(edit_);
  edit_.clear();
}

void ChartPlayer::Answer(const ChartStep& step, Messages* answers) {
  if (!step.answered || !answers->empty()) return;
  std::size_t none = 0;
  if (!faults_.refuses || step.refused.empty()) {
    answers->push_back(MessageBytes(step.answer, Values(Current()), {}, &none));
    return;
  }
  answers->push_back(MessageBytes(step.refused.front().message, Values(Current()), {}, &none));
}

}  // namespace tonalith
