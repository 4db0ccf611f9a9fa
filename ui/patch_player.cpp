#include "ui/patch_player.h"

#include <algorithm>
#include <utility>

#include "platform/ini_file.h"

namespace tonalith {

namespace {

constexpr const char* kOptionsSection = "Bank Editor";

}  // namespace

PatchPlayer::PatchPlayer(MidiOut& out, Settings& settings, std::function<std::string()> settingsFile)
    : audition_(out, settings), settingsFile_(std::move(settingsFile)) {
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  connect(&timer_, &QTimer::timeout, this, &PatchPlayer::Tick);
}

Result PatchPlayer::Play(QObject* owner, const DataFile& bank, int patch) {
  Leave(owner);
  Result played = audition_.Play(bank, patch);
  if (played.ok()) Begin(owner);
  return played;
}

Result PatchPlayer::Sound(QObject* owner, const DataFile& bank) {
  Leave(owner);
  Result played = audition_.Sound(bank);
  if (played.ok()) Begin(owner);
  return played;
}

Result PatchPlayer::CanPlay(const DataFile& bank) const {
  int port = 0;
  return audition_.PortOf(bank, &port);
}

bool PatchPlayer::Option(const char* name) const {
  return IniFile(settingsFile_()).GetInt(kOptionsSection, name) != 0;
}

Result PatchPlayer::SetOption(const char* name, bool on) {
  IniFile ini(settingsFile_());
  if (!ini.Set(kOptionsSection, name, on ? "1" : "0")) return Result::Failure("The choice could not be kept.");
  return ini.Save();
}

// Another one hears that its own is over.
void PatchPlayer::Leave(const QObject* newOwner) {
  if (owner_ && owner_ != newOwner) return End(true);
  if (owner_) disconnect(owner_, &QObject::destroyed, this, nullptr);
  owner_.clear();
  timer_.stop();
}

void PatchPlayer::Begin(QObject* owner) {
  owner_ = owner;
  connect(owner, &QObject::destroyed, this, [this] {
    audition_.Stop();
    timer_.stop();
  });
  Tick();
}

void PatchPlayer::Stop(const QObject* owner) {
  if (owner_ && owner_ == owner) End(true);
}

void PatchPlayer::StopAll() {
  audition_.Stop();
  if (owner_) End(true);
}

void PatchPlayer::Tick() {
  const std::int64_t due = audition_.Tick();
  if (due >= 0) return timer_.start(static_cast<int>(std::max<std::int64_t>(due, 1)));
  End(false);
}

void PatchPlayer::End(bool stopped) {
  timer_.stop();
  audition_.Stop();
  QObject* owner = owner_;
  if (!owner) return;
  disconnect(owner, &QObject::destroyed, this, nullptr);
  owner_.clear();
  emit Over(owner, stopped);
}

}  // namespace tonalith
