#include "data/bank_growth.h"

#include <algorithm>
#include <cstring>

#include "data/data_size.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kByteLimit = 1u << 7, kWideLimit = 1u << 14;
constexpr int kBitsOfByte = 7;

// The number there is raised; false: it would not fit.
bool Raise(std::uint8_t* body, const BankGrowth::Count& count, std::uint32_t times) {
  std::uint8_t& low = body[count.at + (count.isWide && !count.lowFirst ? 1 : 0)];
  std::uint8_t& high = body[count.at + (count.lowFirst ? 1 : 0)];
  const std::uint32_t now = low + (count.isWide ? std::uint32_t{high} << kBitsOfByte : 0u);
  const std::uint32_t then = now + count.each * times;
  if (then >= (count.isWide ? kWideLimit : kByteLimit)) return false;
  if (count.isWide) high = static_cast<std::uint8_t>(then >> kBitsOfByte);
  low = static_cast<std::uint8_t>(then & (kByteLimit - 1));
  return true;
}

}  // namespace

bool AddPatches(DataFile* bank, const BankGrowth& growth, std::uint32_t count) {
  Synth& synth = *bank->synth;
  const std::uint32_t voices = synth.numVoices, stride = synth.voiceSize, size = synth.fileSize;
  const std::uint64_t end = synth.headerSize + std::uint64_t{voices} * stride;
  if (voices + std::uint64_t{count} > growth.most || growth.patch.size() != stride || end > size ||
      size > bank->bodySize)
    return false;
  for (const BankGrowth::Count& one : growth.counts)
    if (one.at + std::uint64_t{one.isWide} >= synth.headerSize) return false;
  const std::uint32_t more = stride * count;
  std::vector<std::uint8_t> counts(bank->body, bank->body + synth.headerSize);
  for (const BankGrowth::Count& one : growth.counts)
    if (!Raise(counts.data(), one, count)) return false;
  if (!ResizeBody(bank, size + more)) return false;
  std::uint8_t* place = bank->body + end;
  std::memmove(place + more, place, size - end);
  for (std::uint32_t i = 0; i < count; ++i, place += stride) std::copy_n(growth.patch.begin(), stride, place);
  std::copy(counts.begin(), counts.end(), bank->body);
  AdoptSize(bank->synth, size + more);
  return AddDataFileComponents(bank, 0) != 0;
}

}  // namespace tonalith
