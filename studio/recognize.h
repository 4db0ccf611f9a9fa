#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "data/checksums.h"
#include "data/data_records.h"
#include "platform/result.h"
#include "studio/patch_list.h"

namespace tonalith {

class ZKDrvList;
class ZKStudioDoc;
struct RecognizeRule;

// Finds the pieces of instrument data in bytes: a raw SysEx stream, a data file of ours or a Standard MIDI File.
// What a data type looks like comes from its module; see studio/recognize_rules.h.

// What is known of a file as a whole.
struct FileFindings {
  std::size_t messages = 0;         // SysEx messages in the file
  std::size_t unknownMessages = 0;  // of them, in no piece
  std::size_t unterminated = 0;     // messages without their F7
  std::size_t headless = 0;         // F7s without a message
  std::size_t outsideBytes = 0;     // bytes of a raw stream that belong to no message
  std::size_t realTimeBytes = 0;    // of messages, left out
  std::size_t skippedBytes = 0;     // behind the last message that is looked at (kMostFileMessages)
  // Of the unknown ones: messages that an instrument knows and that are no data, "144 parameter changes of ...", and
  // data of a wrong length, "1 Voice of the ... with 160 in place of 163 bytes".
  std::vector<std::string> others;
};

// Whose data a piece is.
struct FoundType {
  std::string instrument;  // UTF-8
  std::string dataType;    // UTF-8
  std::uint16_t driverId = kNoDriver;
  bool hasNames = false;              // its patches have names
  const ZKDrvList* driver = nullptr;  // null: a data file of a type that the studio does not have
};

// A piece of data where it stands in the file; nothing of it is copied.
struct FoundPiece {
  std::uint32_t offset = 0;  // in the file
  std::uint32_t length = 0;  // bytes from its first to its last message (SysEx bytes in a Standard MIDI File)
  const FoundType* type = nullptr;
  std::uint32_t badMessages = 0;
  ChecksumVerdict checksum : 8 = ChecksumVerdict::kNone;  // there may be very many pieces: they are kept small

  // What it is made from, for the recognizer.
  static constexpr std::uint16_t kNoPatchNumber = 0xFFFF;
  bool planned = false;                        // of more than one message as it stands
  std::uint8_t form = 0;                       // of its type
  std::uint16_t patchNumber = kNoPatchNumber;  // of its message
  std::int16_t channel = -1;
  std::uint32_t place = 0;  // of its message, its plan or its record
};

// What Recognizer::Find found; the bytes and the recognizer must outlive it.
class FoundFile : public FileFindings {
 public:
  FoundFile();
  ~FoundFile();
  FoundFile(FoundFile&&) noexcept;
  FoundFile& operator=(FoundFile&&) noexcept;

  std::vector<FoundPiece> pieces;  // by offset

 private:
  friend class Recognizer;
  struct Contents;
  std::unique_ptr<Contents> contents_;
};

// A piece with its data.
struct RecognizedPiece {
  std::size_t offset = 0;
  std::size_t length = 0;
  std::string instrument;  // UTF-8
  std::string dataType;    // UTF-8
  std::uint16_t driverId = kNoDriver;
  ChecksumVerdict checksum = ChecksumVerdict::kNone;
  DataFilePtr data;  // body, channel, patch number and (banks) emptyMap filled in
  std::uint32_t badMessages = 0;
};

struct Recognition : FileFindings {
  std::vector<RecognizedPiece> pieces;  // by offset
};

// A line of a patch list that is kept.
struct PatchLine {
  int slot = 0;
  std::string number;  // as the instrument shows it
  std::string name;    // Latin-1
};

class Recognizer {
 public:
  // Reads the recognition sections of every driver in the studio.  The studio must outlive the recognizer.
  explicit Recognizer(const ZKStudioDoc& studio);
  ~Recognizer();
  Recognizer(const Recognizer&) = delete;
  Recognizer& operator=(const Recognizer&) = delete;

  // Finds the pieces without making their data: for files with many.  Fails with a sentence when the bytes are neither
  // SysEx nor a file we know or hold nothing that is recognised.
  Result Find(std::span<const std::uint8_t> file, FoundFile* out) const;
  // The data of one piece.  Data that a data file holds is handed out once.  Null when memory is short.
  DataFilePtr Make(FoundFile& found, const FoundPiece& piece) const;
  // The same into `*data`, which is null or what the last call gave, unchanged: pieces of one type that follow each
  // other share its memory.  False (and null) when memory is short.
  bool Remake(FoundFile& found, const FoundPiece& piece, DataFilePtr* data) const;
  // New data of a type.  Null when memory is short.
  DataFilePtr MakeNew(const ZKDrvList& driver) const;
  // Puts message heads, ends and checksums into an image whose data was changed.
  void Seal(DataFile* data) const;
  // Finds all pieces and makes their data; fails as Find does.
  Result Recognize(std::span<const std::uint8_t> file, Recognition* out) const;

  // The checksums inside the body of one piece of data.
  ChecksumVerdict Verify(const DataFile& data) const;
  // Visits the patches of a piece as Patches lists those of its data; names that stand in one message are read there.
  // Data that a data file holds is handed out by this.  False when memory is short.
  bool VisitPatches(FoundFile& found, const FoundPiece& piece, const PatchVisitor& visit) const;
  // The patches of a piece of data that hold something (a single patch: one line with slot 0).
  std::vector<PatchLine> Patches(const DataFile& data) const;
  // How the data of a type looks in a file, and its driver; empty and null when the studio has no such type.
  std::span<const RecognizeRule> FormsOf(int driverId) const;
  const ZKDrvList* DriverOf(int driverId) const;
  // Rules that could not be read, "module: section: what" (shown by `module list`).
  const std::vector<std::string>& problems() const;

 private:
  struct Rules;
  std::unique_ptr<Rules> rules_;
};

}  // namespace tonalith
