// Repair of damaged dumps: raw SysEx, and SysEx in Standard MIDI Files.  What is repaired is in a copy; every byte that
// is not in the copy as it was is kept with the reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/result.h"
#include "tools/dump_knowledge.h"

namespace tonalith {

// One thing that was wrong.
struct RepairFinding {
  std::size_t offset = 0;  // in the file
  std::size_t length = 0;  // bytes of the file that it is about
  std::string what;        // UTF-8, one line, a sentence without its full stop
  bool repaired = false;   // the data is in the copy, whole; else its bytes are only in the quarantine
};

// Bytes of the file that are not in the copy as they were.
struct QuarantinedBytes {
  std::size_t offset = 0;
  std::string reason;
  std::vector<std::uint8_t> bytes;
};

struct RepairReport {
  std::vector<RepairFinding> findings;       // by offset; none: the copy is the file, byte for byte
  std::vector<std::uint8_t> copy;            // raw SysEx when something was found
  std::vector<QuarantinedBytes> quarantine;  // by offset
  std::size_t messages = 0;                  // in the copy
  std::size_t unknown = 0;                   // of them, of no data that is known: only their frame was looked at

  std::size_t Repaired() const;
  std::size_t Quarantined() const { return findings.size() - Repaired(); }
};

// Looks for checksums that are wrong, messages that are cut, doubled, interleaved with others or without their F0 or
// F7, real-time bytes inside of messages, and what does not belong in a dump (text, other MIDI messages).  Lengths and
// checksums are those of the installed instruments; of messages that none of them knows only the frame is looked at.
// Fails with a sentence when the file is none of the two kinds or holds no SysEx.
Result RepairDump(const DumpKnowledge& knowledge, std::span<const std::uint8_t> file, RepairReport* report);

// How many messages only the frame was looked at of, a sentence; empty: none.
std::string UnknownSentence(const RepairReport& report);
// "offset<tab>length<tab>what<tab>repaired|quarantined", a line.
std::string RepairLine(const RepairFinding& finding);
// "offset<tab>length<tab>reason<tab>bytes as hex" a line, behind a line that says so.
std::string QuarantineText(const RepairReport& report);
// Writes the copy and, where there is something, the quarantine as PATH.quarantine (PATH.quarantine2 ... when that
// exists), which `quarantine` (may be null) receives.  The quarantine is written first: nothing is ever in neither.
Result WriteRepair(const RepairReport& report, const std::string& path, std::string* quarantine = nullptr);

}  // namespace tonalith
