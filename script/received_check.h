#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data/checksums.h"
#include "data/data_records.h"
#include "script/answer_rules.h"

namespace tonalith {

struct ByteRun {
  std::size_t begin = 0;
  std::size_t count = 0;
};

// What a data type knows about its data that tells whether it came whole.  Holds everything by value, so that it may be
// used on the thread of a transfer.  This one knows the checksum of the descriptor only.
class ReceivedCheck {
 public:
  virtual ~ReceivedCheck() = default;
  // The checksums inside what was received: a whole image, or one patch of a bank that is received patch by patch.
  virtual ChecksumVerdict Sums(const Synth& synth, std::span<const std::uint8_t> part, bool isPatch) const;
  // The checksums of messages that are not kept with the data.  `came`: all messages of the piece, one behind the
  // other; of messages for one place the last one counts.
  virtual ChecksumVerdict MessageSums(std::span<const std::uint8_t> came) const;
  // Bytes of an image that say nothing about what an instrument keeps: its checksums.
  virtual std::vector<ByteRun> NotKept(const Synth& synth, std::span<const std::uint8_t> image) const;
  // How its data comes; null: nobody knows.
  virtual std::shared_ptr<const AnswerRules> Answers() const { return nullptr; }
};
// Null: the descriptor's own.
using ReceivedCheckOf = std::function<std::shared_ptr<const ReceivedCheck>(const DataFile&)>;

enum class ReceivedState {
  kRight,    // its checksums say so
  kUnknown,  // there is nothing that could tell
  kDamaged,  // a wrong checksum, or a status byte inside a message
};

// Judges one piece; `part` as for Sums, `came` as for MessageSums.
ReceivedState CheckReceivedPiece(const ReceivedCheck& check, const Synth& synth, std::span<const std::uint8_t> part,
                                 bool isPatch, std::span<const std::uint8_t> came);

// What two or three readings of one piece agree on, place for place (header, patches, rest); nullopt: there is a place
// where they all differ.  Readings of different sizes agree only as a whole.
std::optional<std::vector<std::uint8_t>> AgreedReading(const std::vector<std::vector<std::uint8_t>>& readings,
                                                       const Synth& synth, bool isPatch);

// Damaged data that is kept carries the keyword "Damaged" until it is received again; patch -1: the image as a whole.
void MarkDamaged(DataFile& dataFile, int patch, bool damaged);
bool MarkedDamaged(const DataFile& dataFile, int patch);

// The patches (from 0) as the instrument numbers them, "3, 7 and 64"; long lists are cut ("3, 7, 9 and 40 more").
// Single bytes.
std::string PatchNumbersText(const Synth& synth, const std::vector<int>& patches);

}  // namespace tonalith
