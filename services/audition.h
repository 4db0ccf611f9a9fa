#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"
#include "services/tone_player.h"

namespace tonalith {

// The messages that choose a patch of a bank, in their order: bank select and program change as the data type says.
// Empty: program changes choose nothing of this data.
std::vector<std::vector<std::uint8_t>> PatchChangeMessages(const Synth& synth, int patch);

// Why a patch cannot be heard; success: it can.
Result CanAudition(const DataFile& bank, int patch);

// Lets an instrument play a patch that it holds: chooses it and plays the audition tones of the preferences, after a
// moment for the instrument to load it.  A newer one takes the place of the one before; tones that sound are ended.
// Nothing waits: whoever owns it calls Tick when it says so.  One thread.
class Audition {
 public:
  // Both must outlive this.
  Audition(MidiOut& out, Settings& settings) : out_(out), settings_(settings), tones_(out, settings) {}

  // `withTones` false: the patch is only chosen.  On the port and channel of the bank.  Refused while a transfer has
  // the port, and without an open port.
  Result Play(const DataFile& bank, int patch, bool withTones = true);
  // The tones alone, of a patch that was sent.  A data type that plays none has none.
  Result Sound(const DataFile& bank);
  // The port of the bank; a failure: it is not open, or a transfer has it.
  Result PortOf(const DataFile& bank, int* port) const;
  // Ends what sounds and forgets what waits.
  void Stop();
  // Does what is due.  Milliseconds until something else is; -1: nothing will be.
  std::int64_t Tick();

 private:
  struct Waiting {
    ToneTarget target;
    std::int64_t at;  // ms
  };
  void PlayTones(const ToneTarget& target);
  void PlayLater(const DataFile& bank, int port);

  MidiOut& out_;
  Settings& settings_;
  TonePlayer tones_;
  std::optional<Waiting> waiting_;
};

}  // namespace tonalith
