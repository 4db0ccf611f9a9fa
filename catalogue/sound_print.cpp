#include "catalogue/sound_print.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>

#include "parameters/patch_bytes.h"

namespace tonalith {

namespace {

std::uint64_t PrintOf(const void* bytes, std::size_t size) {
  return std::max<std::uint64_t>(XXH3_64bits(bytes, size), 1);
}

// Bytes that lie in the image as they are, in a row.
bool IsPlain(const Synth& synth) {
  return synth.storageFormat == 0 && synth.voiceAdjust == 0 && (synth.nameOffset >= 0 || synth.namesSeparate != 0);
}

}  // namespace

std::span<const std::int32_t> SoundPrinter::Values(const Synth& synth, const VoiceLayout& layout,
                                                   std::span<const std::uint8_t> image, std::uint32_t slot) {
  values_.clear();
  if (!layout.editable || slot >= layout.numVoices) return {};
  const ConstPatchBytes bytes(image, synth, slot);
  values_.resize(std::min<std::size_t>(bytes.size(), image.size()));
  for (std::uint32_t i = 0; i < values_.size(); ++i) values_[i] = static_cast<std::int32_t>(bytes.Get(i));
  const NamePlace name = NamePlaceOf(synth, values_);
  const std::size_t first = std::min<std::size_t>(name.first, values_.size());
  std::fill_n(values_.begin() + static_cast<std::ptrdiff_t>(first),
              std::min<std::size_t>(name.bytes, values_.size() - first), 0);
  return values_;
}

std::uint64_t SoundPrinter::Print(const Synth& synth, const VoiceLayout& layout, std::span<const std::uint8_t> image,
                                  std::uint32_t slot) {
  if (!layout.editable || slot >= layout.numVoices) return 0;
  if (IsPlain(synth)) {
    const std::uint32_t size = ConstPatchBytes(image, synth, slot).size();
    const std::uint64_t first =
        std::uint64_t{layout.headerSize} + layout.voiceOffset + std::uint64_t{layout.voiceSize} * slot;
    if (size != 0 && first + size <= image.size()) {
      bytes_.assign(image.begin() + static_cast<std::ptrdiff_t>(first),
                    image.begin() + static_cast<std::ptrdiff_t>(first + size));
      const NamePlace name = NamePlaceOf(synth, {});
      const std::size_t at = std::min<std::size_t>(name.first, size);
      std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(at), std::min<std::size_t>(name.bytes, size - at),
                  std::uint8_t{0});
      return PrintOf(bytes_.data(), bytes_.size());
    }
  }
  const std::span<const std::int32_t> values = Values(synth, layout, image, slot);
  if (values.empty()) return 0;
  // Bytes have the same print whatever they are packed in.
  if (std::any_of(values.begin(), values.end(), [](std::int32_t v) { return v < 0 || v > UINT8_MAX; }))
    return PrintOf(values.data(), values.size_bytes());
  bytes_.resize(values.size());
  std::transform(values.begin(), values.end(), bytes_.begin(),
                 [](std::int32_t v) { return static_cast<std::uint8_t>(v); });
  return PrintOf(bytes_.data(), bytes_.size());
}

}  // namespace tonalith
