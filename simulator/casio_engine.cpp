#include "simulator/casio_engine.h"

#include <algorithm>

#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::uint8_t kSendTone = 0x10;     // the host wants a tone
constexpr std::uint8_t kReceiveTone = 0x20;  // the host has a tone
constexpr std::uint8_t kToneReady = 0x30;
constexpr std::uint8_t kToneGo = 0x31;
constexpr std::size_t kToneHeader = 7;

}  // namespace

std::optional<CasioEngine::Slot> CasioEngine::FindSlot(int tone) const {
  for (const CasioInfo::Block& block : core_.description.casio->blocks)
    if (tone >= block.first && tone < block.first + core_.Area(block.area).items)
      return Slot{block.area, tone - block.first};
  return std::nullopt;
}

void CasioEngine::Ready() {
  const std::int64_t delay = std::int64_t{core_.description.casio->readyMs} * 1000;
  readyAtUs_ = core_.nowUs + delay;
  core_.answers.push_back({{0xF0, 0x44, 0x00, 0x00, DeviceByte(), kToneReady}, delay});
}

bool CasioEngine::OnByte(std::uint8_t byte) {
  if (step_ != Step::kIdle && core_.nowUs - lastUs_ > std::int64_t{core_.description.casio->timeoutMs} * 1000) {
    core_.display = "MIDI ERROR";
    Forget();
  }
  lastUs_ = core_.nowUs;
  if (byte == 0xF0) {
    step_ = Step::kHeader;
    header_.assign(1, byte);
    return true;
  }
  if (step_ == Step::kIdle) return false;
  if (byte >= 0x80 && byte != 0xF7) {  // another status byte breaks the frame
    Forget();
    return false;
  }
  switch (step_) {
    case Step::kHeader:
      header_.push_back(byte);
      if (byte == 0xF7)
        Forget();
      else if (header_.size() == kToneHeader)
        OnHeader();
      break;
    case Step::kWaitGo:
      go_.push_back(byte);
      if (core_.nowUs < readyAtUs_ || go_.front() != DeviceByte() || (go_.size() == 2 && go_[1] != kToneGo)) {
        core_.display = "MIDI ERROR";
        Forget();
      } else if (go_.size() == 2) {
        auto data = PackBody(BodyPacking::kNibblesLowFirst, core_.memory.Item(slot_.area, slot_.item));
        data.push_back(0xF7);
        core_.Answer(std::move(data));
        step_ = Step::kWaitEnd;
      }
      break;
    case Step::kWaitEnd:
      core_.display = byte == 0xF7 ? "OK" : "MIDI ERROR";
      Forget();
      break;
    case Step::kReceiving:
      if (core_.nowUs >= readyAtUs_) OnReceived(byte);  // before it is ready it takes nothing
      break;
    case Step::kIdle:
      break;
  }
  return true;
}

void CasioEngine::OnHeader() {
  const bool ours = header_[1] == 0x44 && header_[2] == 0 && header_[3] == 0 && header_[4] == DeviceByte();
  const auto slot = FindSlot(header_[6]);
  if (!ours || !slot || core_.faults.TakeBusy()) return Forget();
  slot_ = *slot;
  if (header_[5] == kSendTone) {
    go_.clear();
    step_ = Step::kWaitGo;
    return Ready();
  }
  std::string status;
  if (header_[5] != kReceiveTone || core_.faults.TakeRefusal() || !core_.MayWrite(slot_.area, slot_.item, &status))
    return Forget();
  data_.clear();
  step_ = Step::kReceiving;
  Ready();
}

void CasioEngine::OnReceived(std::uint8_t byte) {
  const auto item = core_.memory.Item(slot_.area, slot_.item);
  if (byte != 0xF7) {
    if (data_.size() <= item.size() * 2) data_.push_back(byte);
    return;
  }
  const auto tone = UnpackBody(BodyPacking::kNibblesLowFirst, data_, item.size());
  core_.display = tone ? "OK" : "MIDI ERROR";
  if (tone) std::copy(tone->begin(), tone->end(), item.begin());
  Forget();
}

bool CasioEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  if (message.size() < kToneHeader + 1 || message[1] != 0x44 || message[2] != 0 || message[3] != 0 ||
      (message[4] & 0x70) != 0x70 || message[5] != kReceiveTone) {
    *why = "is no tone of this instrument";
    return false;
  }
  const auto slot = FindSlot(message[6]);
  if (!slot) {
    *why = "is for a tone number that this instrument does not have";
    return false;
  }
  const auto item = core_.memory.Item(slot->area, slot->item);
  const auto tone =
      UnpackBody(BodyPacking::kNibblesLowFirst, message.subspan(kToneHeader, message.size() - 8), item.size());
  if (!tone) {
    *why = "has another length than a tone";
    return false;
  }
  std::copy(tone->begin(), tone->end(), item.begin());
  return true;
}

std::vector<std::uint8_t> CasioEngine::FileMessage(int area, int item) const {
  for (const CasioInfo::Block& block : core_.description.casio->blocks) {
    const auto bytes = core_.memory.Item(area, item);
    if (block.area != area || bytes.empty()) continue;
    std::vector<std::uint8_t> message = {
        0xF0, 0x44, 0x00, 0x00, DeviceByte(), kReceiveTone, static_cast<std::uint8_t>(block.first + item)};
    const auto data = PackBody(BodyPacking::kNibblesLowFirst, bytes);
    message.insert(message.end(), data.begin(), data.end());
    message.push_back(0xF7);
    return message;
  }
  return {};
}

}  // namespace tonalith
