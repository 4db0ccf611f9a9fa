#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <string>

#include "platform/result.h"
#include "services/audition.h"

namespace tonalith {

// Auditions of all windows, on the main loop's time: a newer one takes the place of the one before, whoever began it.
class PatchPlayer final : public QObject {
  Q_OBJECT

 public:
  // Both must outlive this.  `settingsFile`, asked at each use, keeps the options.
  PatchPlayer(MidiOut& out, Settings& settings, std::function<std::string()> settingsFile);

  // `owner`: who may stop it; when it goes the tones end as well.
  Result Play(QObject* owner, const DataFile& bank, int patch);
  // The tones alone, of a patch that was sent.
  Result Sound(QObject* owner, const DataFile& bank);
  // Whether something could be played now.
  Result CanPlay(const DataFile& bank) const;
  // Choices of the bank editor, kept in its section of the program's INI file.
  bool Option(const char* name) const;
  Result SetOption(const char* name, bool on);
  // Ends what sounds, when it is this owner's.
  void Stop(const QObject* owner);
  // Ends what sounds, whoever's it is; `Over` follows.
  void StopAll();
  bool IsPlaying() const { return owner_ != nullptr; }

  // The preferences switched auditions on or off; windows that show it follow.
  void TellSwitched() { emit Switched(); }

 signals:
  void Switched();
  // What was played for this owner has ended; `stopped`: before its end.
  void Over(QObject* owner, bool stopped);

 private:
  void Begin(QObject* owner);
  void Leave(const QObject* newOwner);
  void Tick();
  void End(bool stopped);

  Audition audition_;
  QTimer timer_;
  QPointer<QObject> owner_;
  std::function<std::string()> settingsFile_;
};

}  // namespace tonalith
