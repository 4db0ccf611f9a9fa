#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "data/data_records.h"

namespace tonalith {

// Bytes of a patch that are packed in another way than its first ones, or stand apart from them.
struct PatchPiece {
  std::uint32_t first = 0;   // number of its first byte among the unpacked bytes of the patch
  std::uint32_t bytes = 0;   // unpacked; 0: there is none
  std::uint32_t origin = 0;  // where it begins in the image, from the first byte of the patch
  std::int32_t packing = 0;  // as Synth::storageFormat

  bool Holds(std::uint32_t byte) const { return byte >= first && byte - first < bytes; }
  bool operator==(const PatchPiece&) const = default;
};

// The logical bytes of one patch of an image, from the first byte of the patch on and through the packing of the data
// type.  Bytes outside the patch or the image read as 0; writing there is dropped.  Neither image nor descriptor are
// owned.
class ConstPatchBytes {
 public:
  // `image` is the body from its start; `patch` the slot of a bank, 0 for data of one patch.
  ConstPatchBytes(std::span<const std::uint8_t> image, const Synth& synth, std::uint32_t patch = 0);

  std::int64_t Get(std::uint32_t index) const;
  // The same byte number where it lies in a piece.
  std::int64_t Get(std::uint32_t index, const PatchPiece& piece) const;
  // How many there are.
  std::uint32_t size() const { return size_; }

 private:
  std::span<const std::uint8_t> image_;
  const Synth* synth_;
  std::int64_t base_;
  std::uint32_t size_;
};

class PatchBytes {
 public:
  PatchBytes(std::span<std::uint8_t> image, const Synth& synth, std::uint32_t patch = 0);

  std::int64_t Get(std::uint32_t index) const;
  void Set(std::uint32_t index, std::int64_t value) const;
  std::int64_t Get(std::uint32_t index, const PatchPiece& piece) const;
  void Set(std::uint32_t index, const PatchPiece& piece, std::int64_t value) const;
  std::uint32_t size() const { return size_; }
  // The piece lies inside the image.
  bool Has(const PatchPiece& piece) const;
  // The same bytes for reading.
  ConstPatchBytes view() const { return {image_, *synth_, patch_}; }

 private:
  std::span<std::uint8_t> image_;
  const Synth* synth_;
  std::uint32_t patch_;
  std::int64_t base_;
  std::uint32_t size_;
};

// The bytes of a patch that are its name.
struct NamePlace {
  std::uint32_t first = 0;
  std::uint32_t bytes = 0;  // 0: its name is not among them
};
// `values`: the unpacked bytes of the patch.
NamePlace NamePlaceOf(const Synth& synth, std::span<const std::int32_t> values);

}  // namespace tonalith
