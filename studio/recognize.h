#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ZKStudioDoc;
class ZKDrvList;

// Finds the pieces of instrument data in bytes: a raw SysEx stream, a data file of ours or a Standard MIDI File.
// What a data type looks like comes from its module (section "Recognize %d" of the module INI, %d = driver id):
//
//   Message0=F0 43 0? 09 20 00 | length 4104
//       a message: pattern ('?' = any digit), then options: `length N` (default: the image), `length any`,
//       `at N` body offset of its first byte, `skip N` bytes dropped in front, `take N` bytes kept (default: all)
//   Message1=...                       further messages of the same piece, in this order
//   Slots=BYTE FIRST [COUNT]           each message fills one voice slot: message byte BYTE minus FIRST is the slot
//   Context=F0 10 06 0A 01             a message that must have come before (the last of its length and first bytes)
//   Address=F0 41 ?? 14 12 | 3         messages with data by address: pattern and number of address bytes
//   Area0=02 00 00 | step 00 03 40 | slots 64      base address; step and number of voice slots
//   Block0=00 00 00 | 448 | at 0       address offset in a slot, size, body offset; `framed`: kept as one message
//   Complete=1                         only when nothing is missing
//   Verify0=TYPE START COUNT OFFSET [xN +STRIDE]   checksums inside the body, in the terms of CSum
//   PatchByte=N                        message byte that is the patch number of a single patch
//   NumberAs=ID                        a single patch is numbered like the bank with this driver id
//
// Messages of an address data type carry a checksum of their own that is always checked.

enum class ChecksumVerdict : std::uint8_t { None, Ok, Bad };
const char* ChecksumText(ChecksumVerdict verdict);  // "none", "ok", "bad"

// A SysEx message in a file: F0 ... F7.
struct FoundMessage {
  std::size_t offset = 0;               // of the F0 in the file
  std::size_t length = 0;               // bytes it takes in the file
  std::span<const std::uint8_t> bytes;  // without real-time bytes that stood inside
};

// The messages of a file.  Views into `file` where the bytes stand in one piece, else into own storage.
struct MessageList {
  std::vector<FoundMessage> messages;
  std::vector<std::unique_ptr<std::uint8_t[]>> storage;
  std::size_t unterminated = 0;  // messages without their F7: not in the list
  std::size_t otherBytes = 0;    // bytes of the stream outside complete messages
};

// Splits a raw stream.  Real-time bytes inside a message are taken out; any other status byte ends it unfinished.
MessageList SplitSysEx(std::span<const std::uint8_t> stream);
// The SysEx of all tracks of a Standard MIDI File (F0 events and their F7 continuations), in file order.
Result SplitStandardMidiFile(std::span<const std::uint8_t> file, MessageList* out);
bool IsStandardMidiFile(std::span<const std::uint8_t> file);

// One piece of data.
struct RecognizedPiece {
  std::size_t offset = 0;  // in the file
  std::size_t length = 0;  // bytes from its first to its last message (SysEx bytes in a Standard MIDI File)
  std::string instrument;
  std::string dataType;
  std::uint16_t driverId = kNoDriver;
  ChecksumVerdict checksum = ChecksumVerdict::None;
  DataFilePtr data;  // body, channel, patch number and (banks) emptyMap filled in
  std::uint32_t badMessages = 0;
};

struct Recognition {
  std::vector<RecognizedPiece> pieces;  // by offset
  std::size_t messages = 0;             // SysEx messages in the file
  std::size_t unknownMessages = 0;      // of them, in no piece
  std::size_t unterminated = 0;
};

class Recognizer {
 public:
  // Reads the recognition sections of every driver in the studio.  The studio must outlive the recognizer.
  explicit Recognizer(const ZKStudioDoc& studio);
  ~Recognizer();
  Recognizer(const Recognizer&) = delete;
  Recognizer& operator=(const Recognizer&) = delete;

  // Fails with a sentence when the bytes are neither SysEx nor a file we know or hold nothing that is recognised.
  Result Recognize(std::span<const std::uint8_t> file, Recognition* out) const;
  // The checksums inside the body of one piece of data.
  ChecksumVerdict Verify(const DataFile& data) const;
  // Rules that could not be read, "module: section: what" (shown by `module list`).
  const std::vector<std::string>& problems() const;

 private:
  struct Rules;
  std::unique_ptr<Rules> rules_;
};

// A line of a patch list.
struct PatchLine {
  int slot = 0;
  std::string number;  // as the instrument shows it
  std::string name;
};
// The patches of a piece of data that hold something (a single patch: one line with slot 0).
std::vector<PatchLine> ListPatches(const ZKStudioDoc& studio, const DataFile& data);

}  // namespace tonalith
