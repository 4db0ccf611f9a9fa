#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// One complete SysEx message of a Standard MIDI File, F0 to F7 (packets continued with F7 events are joined).
struct SmfSysEx {
  std::vector<std::uint8_t> bytes;
  std::uint32_t tick = 0;      // absolute time of its first packet, in the file's ticks
  int track = 0;               // from 0
  std::size_t fileOffset = 0;  // of the event's F0 or F7 byte in the file
  bool isTerminated = true;    // false: the file or track ended before its F7
};

// The speed from a tick on.
struct SmfTempo {
  std::uint32_t tick = 0;
  std::uint32_t microseconds = 500000;  // a quarter note
  int track = 0;
};

struct SmfContents {
  int format = 0;
  int trackCount = 0;
  int division = 0;
  std::vector<SmfSysEx> messages;  // track by track, in file order
  std::vector<SmfTempo> tempos;    // likewise
};

// True when the bytes begin like a Standard MIDI File ("MThd", also inside a RIFF "RMID" wrapper).
bool IsStandardMidiFile(std::span<const std::uint8_t> bytes);

// Reads the SysEx events of every track.  Damaged tracks are read as far as they make sense.  False with a sentence in
// `error` (may be null) when it is no Standard MIDI File.
bool ReadSmfSysEx(std::span<const std::uint8_t> bytes, SmfContents* contents, std::string* error);

// Milliseconds from the start of the file to ticks, by its division and tempo events.
class SmfClock {
 public:
  explicit SmfClock(const SmfContents& contents);
  double Milliseconds(std::uint32_t tick, int track) const;

 private:
  // From this tick on, at this time, with this length of a tick.
  struct Point {
    std::uint32_t tick;
    double milliseconds;
    double perTick;
  };
  bool tracksApart_;           // format 2: each track has its own tempo
  double ticksPerSecond_ = 0;  // of a division in frames; 0: the tempo counts
  double ticksPerQuarter_ = 96;
  std::map<int, std::vector<Point>> points_;  // by track, or all under 0; by tick
};

// A message and how long to wait before it.
struct SmfTimedMessage {
  double waitMs = 0;  // after the start of the message before it in the same track, or of the track
  std::span<const std::uint8_t> bytes;
};

// A Standard MIDI File whose SysEx is sent to an instrument.
class ZKSMFFile {
 public:
  // Fails with a sentence when the file cannot be read or is no Standard MIDI File.
  Result LoadSMFFile(const std::string& path);
  const SmfContents& contents() const { return contents_; }
  // The complete SysEx messages in file order, with the file's delta times between them.
  std::vector<SmfTimedMessage> ProcessSysXData() const;

 private:
  SmfContents contents_;
};

// One message of a file to be written, `milliseconds` after the one before.
struct SmfMessage {
  std::span<const std::uint8_t> bytes;  // F0 to F7
  std::uint32_t milliseconds = 0;
};

// A format 0 file with the messages at 1000 ticks a second (division 500, 120 beats a minute).
std::vector<std::uint8_t> WriteSmfSysEx(std::span<const SmfMessage> messages, const std::string& trackName = {});

}  // namespace tonalith
