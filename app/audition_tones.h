#pragma once

#include <QObject>
#include <QTimer>

#include "services/tone_player.h"

namespace tonalith {

// The tone player on the main loop's time.
class AuditionTones final : public QObject {
  Q_OBJECT

 public:
  // Both must outlive this.
  AuditionTones(MidiOut& out, Settings& settings, QObject* parent = nullptr);

  void PlayNote(int tone, const ToneTarget& target) { player_.PlayNote(tone, target), Tick(); }  // 0 to 7
  void PlayChord(const ToneTarget& target) { player_.PlayChord(target), Tick(); }
  void PlaySequence(const ToneTarget& target) { player_.PlaySequence(target), Tick(); }
  void PlayLastNote(const ToneTarget& target) { player_.PlayLastNote(target), Tick(); }
  void Stop() { player_.Stop(), Tick(); }

 private:
  void Tick();

  TonePlayer player_;
  QTimer timer_;
};

}  // namespace tonalith
