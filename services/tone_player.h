#pragma once

#include <cstdint>
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

// Plays the tones of the preferences: one, all at once, or one after the other.  Nothing waits: whoever owns it calls
// Tick when it says so.  Each tone that was switched on is switched off again, at the latest when this goes.  One
// thread.
class TonePlayer {
 public:
  // Both must outlive this.
  TonePlayer(MidiOut& out, Settings& settings) : out_(out), settings_(settings) {}
  TonePlayer(const TonePlayer&) = delete;
  TonePlayer& operator=(const TonePlayer&) = delete;
  ~TonePlayer() { Stop(); }

  void PlayNote(int tone, const ToneTarget& target);  // 0 to 7
  void PlayChord(const ToneTarget& target);
  void PlaySequence(const ToneTarget& target);
  // The tone that was played last; the first one at first.
  void PlayLastNote(const ToneTarget& target) { PlayNote(last_, target); }
  void Stop();

  // Does what is due.  Milliseconds until something else is; -1: nothing will be.
  std::int64_t Tick();

 private:
  struct Sounding {
    int port;
    int channel;
    int note;
    std::int64_t until;
  };
  std::int64_t Now() const;  // ms
  int TonesToPlay() const;
  int StepMs() const;
  void Start(int tone, const ToneTarget& target);

  MidiOut& out_;
  Settings& settings_;
  int last_ = 0;
  std::vector<Sounding> sounding_;
  std::deque<int> waiting_;  // of a sequence
  ToneTarget target_;        // of the sequence
  std::int64_t nextAt_ = 0;
};

}  // namespace tonalith
