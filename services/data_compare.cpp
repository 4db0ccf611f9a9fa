#include "services/data_compare.h"

#include <algorithm>

#include "data/slot_bytes.h"
#include "script/volatile_bytes.h"

namespace tonalith {

namespace {

using Image = std::span<const std::uint8_t>;

Image ImageOf(const DataFile& data) {
  const Image body = BodySpan(data);
  return body.first(std::min<std::size_t>(body.size(), data.synth->fileSize));
}

// The image of `held` gets from `sent` what says nothing, and the device it was meant for.
void LevelNotKept(const DataFile& sent, DataFile* held, const ReceivedCheck& check) {
  const Synth& synth = *sent.synth;
  std::vector<ByteRun> runs = check.NotKept(synth, ImageOf(sent));
  if (synth.hasSysExChannel) runs.push_back({synth.sysExChannelOffset, 1});
  for (const ByteRun& run : runs)
    for (std::size_t at = run.begin; at < run.begin + run.count; ++at)
      if (at < sent.bodySize && at < held->bodySize) held->body[at] = sent.body[at];
}

bool SameOutside(const DataFile& sent, const DataFile& held, std::size_t begin, std::size_t end) {
  const Image a = ImageOf(sent), b = ImageOf(held);
  if (a.size() != b.size()) return false;
  for (std::size_t at = 0; at < a.size(); ++at) {
    if (at >= begin && at < end) continue;
    if (a[at] != b[at]) return false;
  }
  return true;
}

// What of a patch an instrument changes by itself.
std::vector<ByteRun> ChangingBytes(const ReceivedCheck& check) {
  const auto* changing = dynamic_cast<const VolatileBytes*>(&check);
  return changing ? changing->InPatch() : std::vector<ByteRun>();
}

// Those bytes are written in both: what a packing keeps beside a byte follows its value.
bool SamePatch(const SlotBytes& slots, std::vector<std::uint8_t> sent, std::vector<std::uint8_t> held,
               const std::vector<ByteRun>& changing) {
  for (const ByteRun& run : changing)
    for (std::size_t at = run.begin; at < run.begin + run.count; ++at) {
      slots.SetLogical(&sent, static_cast<std::uint32_t>(at), 0);
      slots.SetLogical(&held, static_cast<std::uint32_t>(at), 0);
    }
  return sent == held;
}

}  // namespace

DataDifference CompareData(const DataFile& sent, const DataFile& came, std::span<const std::uint8_t> patches,
                           const ReceivedCheck& check) {
  DataDifference difference;
  const DataFilePtr copy(DupForUser(&came));
  if (!copy) return {{}, true};
  const DataFile& held = *copy;
  LevelNotKept(sent, copy.get(), check);
  const SlotBytes slots(sent), others(held);
  if (!slots.problem().empty() || !others.problem().empty() || !slots.SameForm(others) ||
      slots.Count() != others.Count()) {
    difference.elsewhere = !SameOutside(sent, held, 0, 0);
    return difference;
  }
  const std::vector<ByteRun> changing = ChangingBytes(check);
  for (std::uint32_t i = 0; i < slots.Count(); ++i) {
    const bool counts = patches.empty() || (i < patches.size() && patches[i] != 0);
    if (!counts || MapBit(sent.emptyMap, sent.emptyMapSize, i)) continue;
    if (!SamePatch(slots, slots.Take(sent, i), others.Take(held, i), changing))
      difference.patches.push_back(static_cast<int>(i));
  }
  if (!patches.empty()) return difference;
  const Synth& synth = *sent.synth;
  const std::size_t begin = synth.headerSize;
  const std::size_t end = slots.Count() > 1 ? begin + std::size_t{slots.Count()} * synth.voiceSize
                                            : begin + synth.voiceOffset + slots.RawBytes();
  difference.elsewhere = !SameOutside(sent, held, begin, end);
  return difference;
}

std::string DifferenceText(const Synth& synth, const DataDifference& difference) {
  if (difference.none()) return {};
  if (difference.patches.empty()) return synth.isBank ? "outside its patches" : "in its data";
  if (!synth.isBank) return "in its data";
  return "in " + PatchNumbersText(synth, difference.patches) + (difference.elsewhere ? " and outside its patches" : "");
}

}  // namespace tonalith
