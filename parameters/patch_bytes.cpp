#include "parameters/patch_bytes.h"

#include "data/packed_bytes.h"

namespace tonalith {

namespace {

std::int64_t SlotBase(const Synth& synth, std::uint32_t patch) {
  return BankRealOfs(&synth, std::int64_t{synth.voiceOffset} + std::int64_t{synth.voiceSize} * patch);
}

// A slot that the data type does not have holds nothing.
std::uint32_t SlotBytes(const Synth& synth, std::uint32_t patch) {
  if (patch > 0 && patch >= synth.numVoices) return 0;
  return synth.voiceBytes ? +synth.voiceBytes : +synth.voiceSize;
}

}  // namespace

ConstPatchBytes::ConstPatchBytes(std::span<const std::uint8_t> image, const Synth& synth, std::uint32_t patch)
    : image_(image), synth_(&synth), base_(SlotBase(synth, patch)), size_(SlotBytes(synth, patch)) {}

std::int64_t ConstPatchBytes::Get(std::uint32_t index) const {
  return index < size_ ? ConstImageView(image_, *synth_).BankGet(synth_->headerSize, base_, index) : 0;
}

PatchBytes::PatchBytes(std::span<std::uint8_t> image, const Synth& synth, std::uint32_t patch)
    : image_(image), synth_(&synth), patch_(patch), base_(SlotBase(synth, patch)), size_(SlotBytes(synth, patch)) {}

std::int64_t PatchBytes::Get(std::uint32_t index) const {
  return index < size_ ? ImageView(image_, *synth_).BankGet(synth_->headerSize, base_, index) : 0;
}

void PatchBytes::Set(std::uint32_t index, std::int64_t value) const {
  if (index < size_) ImageView(image_, *synth_).BankSet(synth_->headerSize, base_, index, value);
}

}  // namespace tonalith
