#pragma once

#include <QObject>
#include <QTimer>
#include <deque>
#include <vector>

namespace tonalith {

class MidiOut;
class Settings;

inline constexpr int kToneCount = 8;

// Where tones go.
struct ToneTarget {
  int port = 0;
  int channel = -1;  // below 0: the channel of each tone
};

// Plays the tones of the preferences: one, all at once, or one after the other.  Nothing waits; each tone that was
// switched on is switched off again, at the latest when this goes.
class AuditionTones final : public QObject {
  Q_OBJECT

 public:
  // Both must outlive this.
  AuditionTones(MidiOut& out, Settings& settings, QObject* parent = nullptr);
  ~AuditionTones() override;

  void PlayNote(int tone, const ToneTarget& target);  // 0 to 7
  void PlayChord(const ToneTarget& target);
  void PlaySequence(const ToneTarget& target);
  // The tone that was played last; the first one at first.
  void PlayLastNote(const ToneTarget& target) { PlayNote(last_, target); }
  void Stop();

 private:
  struct Sounding {
    int port;
    int channel;
    int note;
    qint64 until;
  };
  qint64 Now() const;  // ms
  int TonesToPlay() const;
  int StepMs() const;
  void Start(int tone, const ToneTarget& target);
  void Tick();

  MidiOut& out_;
  Settings& settings_;
  int last_ = 0;
  std::vector<Sounding> sounding_;
  std::deque<int> waiting_;  // of a sequence
  ToneTarget target_;        // of the sequence
  qint64 nextAt_ = 0;
  QTimer timer_;
};

}  // namespace tonalith
