#include "services/tone_player.h"

#include <algorithm>
#include <array>

#include "midi/midi_output.h"
#include "services/settings.h"

namespace tonalith {

namespace {

constexpr int kToneStepMs = 125;  // of a sequence, times the speed setting
constexpr int kSlowestSpeed = 15;
constexpr std::uint8_t kNoteOn = 0x90;

}  // namespace

std::int64_t TonePlayer::Now() const {
  return out_.clock().NowUs() / 1000;
}

int TonePlayer::TonesToPlay() const {
  return std::clamp(settings_.MainNotesToPlay(-1) + 1, 1, kToneCount);
}

int TonePlayer::StepMs() const {
  return kToneStepMs * (std::clamp(settings_.MainPlaybackSpeed(-1), 0, kSlowestSpeed) + 1);
}

void TonePlayer::PlayNote(int tone, const ToneTarget& target) {
  if (tone >= 0 && tone < kToneCount) Start(tone, target);
}

void TonePlayer::PlayChord(const ToneTarget& target) {
  for (int tone = 0; tone < TonesToPlay(); ++tone) Start(tone, target);
}

void TonePlayer::PlaySequence(const ToneTarget& target) {
  waiting_.clear();
  for (int tone = 0; tone < TonesToPlay(); ++tone) waiting_.push_back(tone);
  target_ = target;
  nextAt_ = Now();
  Tick();
}

void TonePlayer::Start(int tone, const ToneTarget& target) {
  const int note = settings_.MainTonesData(tone, -1);
  const int velocity = settings_.MainTonesData(kToneCount + tone, -1);
  const int channel = (target.channel >= 0 ? target.channel : settings_.MainTonesData(2 * kToneCount + tone, -1)) & 15;
  last_ = tone;
  const std::array<std::uint8_t, 3> message = {static_cast<std::uint8_t>(kNoteOn | channel),
                                               static_cast<std::uint8_t>(note & 0x7F),
                                               static_cast<std::uint8_t>(velocity & 0x7F)};
  SendOptions options;
  options.live = true;
  if (message[2] == 0 || out_.SendDataPort(message, target.port, options) <= 0) return;
  sounding_.push_back({target.port, channel, message[1], Now() + StepMs()});
}

std::int64_t TonePlayer::Tick() {
  const std::int64_t now = Now();
  std::erase_if(sounding_, [&](const Sounding& tone) {
    if (tone.until > now) return false;
    const std::array<std::uint8_t, 3> off = {static_cast<std::uint8_t>(kNoteOn | tone.channel),
                                             static_cast<std::uint8_t>(tone.note), 0};
    SendOptions options;
    options.live = true;
    out_.SendDataPort(off, tone.port, options);
    return true;
  });
  if (!waiting_.empty() && now >= nextAt_) {
    const int tone = waiting_.front();
    waiting_.pop_front();
    nextAt_ += StepMs();
    Start(tone, target_);
  }
  std::int64_t due = waiting_.empty() ? -1 : std::max<std::int64_t>(nextAt_ - now, 0);
  for (const Sounding& tone : sounding_) {
    const std::int64_t left = std::max<std::int64_t>(tone.until - now, 0);
    due = due < 0 ? left : std::min(due, left);
  }
  return due;
}

void TonePlayer::Stop() {
  waiting_.clear();
  for (Sounding& tone : sounding_) tone.until = 0;
  Tick();
}

}  // namespace tonalith
