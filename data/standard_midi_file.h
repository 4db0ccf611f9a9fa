#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

// One complete SysEx message of a Standard MIDI File, F0 to F7 (packets continued with F7 events are joined).
struct SmfSysEx {
  std::vector<std::uint8_t> bytes;
  std::uint32_t tick = 0;      // absolute time of its first packet, in the file's ticks
  int track = 0;               // from 0
  std::size_t fileOffset = 0;  // of the event's F0 or F7 byte in the file
  bool isTerminated = true;    // false: the file or track ended before its F7
};

struct SmfContents {
  int format = 0;
  int trackCount = 0;
  int division = 0;
  std::vector<SmfSysEx> messages;  // track by track, in file order
};

// True when the bytes begin like a Standard MIDI File ("MThd", also inside a RIFF "RMID" wrapper).
bool IsStandardMidiFile(std::span<const std::uint8_t> bytes);

// Reads the SysEx events of every track.  Damaged tracks are read as far as they make sense.  False with a sentence in
// `error` (may be null) when it is no Standard MIDI File.
bool ReadSmfSysEx(std::span<const std::uint8_t> bytes, SmfContents* contents, std::string* error);

// One message of a file to be written, `milliseconds` after the one before.
struct SmfMessage {
  std::span<const std::uint8_t> bytes;  // F0 to F7
  std::uint32_t milliseconds = 0;
};

// A format 0 file with the messages at 1000 ticks a second (division 500, 120 beats a minute).
std::vector<std::uint8_t> WriteSmfSysEx(std::span<const SmfMessage> messages, const std::string& trackName = {});

}  // namespace tonalith
