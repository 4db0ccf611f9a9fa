#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// What a patch sounds like, told by its bytes: those of its name do not count.

// A number that patches with the same bytes have; different bytes have different ones, as far as 64 bits can tell.  0:
// the bytes of a patch cannot be told apart in this image.
class SoundPrinter {
 public:
  // `image` from its start; `slot` of a bank, 0 for data of one patch.
  std::uint64_t Print(const Synth& synth, const VoiceLayout& layout, std::span<const std::uint8_t> image,
                      std::uint32_t slot);
  // The unpacked bytes, those of the name as 0; they last until the next call.  Empty as Print gives 0.
  std::span<const std::int32_t> Values(const Synth& synth, const VoiceLayout& layout,
                                       std::span<const std::uint8_t> image, std::uint32_t slot);

 private:
  std::vector<std::uint8_t> bytes_;
  std::vector<std::int32_t> values_;
};

}  // namespace tonalith
