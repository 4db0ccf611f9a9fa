#include "app/audition_tones.h"

#include <algorithm>
#include <array>

#include "midi/midi_output.h"
#include "services/settings.h"

namespace tonalith {

namespace {

constexpr int kStepMs = 125;  // of a sequence, times the speed setting
constexpr int kTickMs = 10;

}  // namespace

AuditionTones::AuditionTones(MidiOut& out, Settings& settings, QObject* parent)
    : QObject(parent), out_(out), settings_(settings) {
  connect(&timer_, &QTimer::timeout, this, &AuditionTones::Tick);
}

AuditionTones::~AuditionTones() {
  Stop();
}

qint64 AuditionTones::Now() const {
  return out_.clock().NowUs() / 1000;
}

int AuditionTones::TonesToPlay() const {
  return std::clamp(settings_.MainNotesToPlay(-1) + 1, 1, kToneCount);
}

int AuditionTones::StepMs() const {
  return kStepMs * (std::clamp(settings_.MainPlaybackSpeed(-1), 0, 15) + 1);
}

void AuditionTones::PlayNote(int tone, const ToneTarget& target) {
  if (tone >= 0 && tone < kToneCount) Start(tone, target);
}

void AuditionTones::PlayChord(const ToneTarget& target) {
  for (int tone = 0; tone < TonesToPlay(); ++tone) Start(tone, target);
}

void AuditionTones::PlaySequence(const ToneTarget& target) {
  waiting_.clear();
  for (int tone = 0; tone < TonesToPlay(); ++tone) waiting_.push_back(tone);
  target_ = target;
  nextAt_ = Now();
  Tick();
  timer_.start(kTickMs);
}

void AuditionTones::Start(int tone, const ToneTarget& target) {
  const int note = settings_.MainTonesData(tone, -1);
  const int velocity = settings_.MainTonesData(kToneCount + tone, -1);
  const int channel = (target.channel >= 0 ? target.channel : settings_.MainTonesData(2 * kToneCount + tone, -1)) & 15;
  last_ = tone;
  const std::array<std::uint8_t, 3> message = {static_cast<std::uint8_t>(0x90 | channel),
                                               static_cast<std::uint8_t>(note), static_cast<std::uint8_t>(velocity)};
  SendOptions options;
  options.live = true;
  if (velocity == 0 || out_.SendDataPort(message, target.port, options) <= 0) return;
  sounding_.push_back({target.port, channel, note, Now() + StepMs()});
  timer_.start(kTickMs);
}

void AuditionTones::Tick() {
  const qint64 now = Now();
  std::erase_if(sounding_, [&](const Sounding& tone) {
    if (tone.until > now) return false;
    const std::array<std::uint8_t, 3> off = {static_cast<std::uint8_t>(0x90 | tone.channel),
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
  if (sounding_.empty() && waiting_.empty()) timer_.stop();
}

void AuditionTones::Stop() {
  waiting_.clear();
  for (Sounding& tone : sounding_) tone.until = 0;
  Tick();
}

}  // namespace tonalith
