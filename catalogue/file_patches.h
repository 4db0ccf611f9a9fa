#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "catalogue/patch_block.h"
#include "catalogue/sound_print.h"

namespace tonalith {

class Recognizer;
struct FoundPiece;
struct PatchSource;
struct PatchView;

// What is known of a file as a whole.  The numbers are those of the database.
enum class FileState {
  kWhole = 0,
  kDamaged = 1,     // what of it is whole is there
  kNoData = 2,      // nothing of an instrument
  kUnreadable = 3,  // it cannot be read, or nothing in it
};

struct FileReading {
  FileState state = FileState::kWhole;
  std::string reason;  // a sentence, UTF-8; of a whole file: what is left out, or nothing
};

// Finds the patches of files.
class FilePatches {
 public:
  // A block that is full, and its data type.
  using BlockTaker =
      std::function<void(const std::string& instrument, const std::string& type, const PatchBlock& block)>;
  // A patch with where it lies; `slot` is its number among those of the file, from 0.
  using PatchTaker = std::function<void(std::uint32_t slot, const PatchView& patch)>;

  // The recognizer must outlive it.
  explicit FilePatches(const Recognizer& recognizer) : recognizer_(recognizer) {}

  // `bytes` is the whole file.  Patches that hold nothing are left out, but have their numbers.
  FileReading Read(std::span<const std::uint8_t> bytes, const BlockTaker& take);
  FileReading Visit(std::span<const std::uint8_t> bytes,
                    const std::function<void(const FoundPiece& piece)>& pieceBegins, const PatchTaker& take);

 private:
  void Add(std::uint32_t slot, const PatchView& patch);

  const Recognizer& recognizer_;
  SoundPrinter printer_;
  PatchBlock block_;
  std::string keywords_, tags_, comment_;
};

}  // namespace tonalith
