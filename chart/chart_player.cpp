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
  for (const ChartMessage& message : messages) size += SmallestDataSize(message);
  return size;
}

}  // namespace

ChartPlayer::ChartPlayer(const ChartInstrument& chart, const ChartType& type, int device)
    : ChartPeer(chart, type, device), get_(type.get), put_(type.put) {
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
  Fill();
  if (type.variable.letter) values_[type.variable.letter] = type.variable.value;
}

std::size_t ChartPlayer::Current() const {
  const auto patch = values_.find(kPatchLetter);
  if (!type_.patchwise || patch == values_.end()) return 0;
  return std::min(static_cast<std::size_t>(std::max(patch->second - First(), 0)), memory_.size() - 1);
}

ChartData ChartPlayer::DataOf(std::span<const std::uint8_t> image) const {
  ChartData data = ChartPeer::DataOf(image);
  if (!data.empty()) return data;
  // It is kept as it came.
  for (const ChartStep& step : get_) {
    ChartData other;
    ChartValues any;
    const std::size_t size =
        step.answer.size && !step.answer.Free() ? std::min<std::size_t>(step.answer.size, image.size()) : image.size();
    if (step.answered && MatchMessage(step.answer, image.first(size), &any, &other)) return other;
  }
  return {};
}

bool ChartPlayer::ChoosesPatch() const {
  const auto chooses = [](const ChartStep& step) {
    return step.kind != ChartStep::Kind::kMessage || step.message.PlaceOf(kPatchLetter) >= 0;
  };
  const auto pause = [](const ChartStep& step) { return step.kind == ChartStep::Kind::kPause; };
  return !type_.patchwise || get_.empty() ||
         std::any_of(get_.begin(), get_.end(), [&](const ChartStep& step) { return chooses(step) && !pause(step); });
}

bool ChartPlayer::Gets() const {
  return !get_.empty();
}

bool ChartPlayer::StartsAtPanel() const {
  return type_.getSaid && !get_.empty() && get_.front().kind != ChartStep::Kind::kMessage;
}

bool ChartPlayer::Confirms() const {
  return std::any_of(put_.begin(), put_.end(), [](const ChartStep& step) { return step.answered && !step.anyway; });
}

bool ChartPlayer::CanRefuse() const {
  return std::any_of(put_.begin(), put_.end(), [](const ChartStep& step) { return !step.refused.empty(); });
}

std::vector<std::string> ChartPlayer::Sentences() const {
  std::vector<std::string> sentences;
  for (const ChartStep& step : put_)
    for (const ChartStep::Refusal& refusal : step.refused)
      if (!refusal.sentence.empty()) sentences.push_back(refusal.sentence);
  return sentences;
}

ChartPlayer::Messages ChartPlayer::OnBytes(std::span<const std::uint8_t> bytes) {
  Messages answers;
  for (const std::uint8_t byte : bytes) {
    if (byte >= kRealTime) continue;
    if (byte >= kStatus && byte != kEnd) pending_.clear();
    pending_.push_back(byte);
    const bool whole = pending_.front() == kSysEx ? byte == kEnd : pending_.size() == LengthOf(pending_.front());
    if (!whole) continue;
    for (auto& answer : OnMessage(pending_))
      if (Arrives()) answers.push_back(std::move(answer));
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
