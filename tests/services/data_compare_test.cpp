#include "services/data_compare.h"

#include <gtest/gtest.h>

#include "data/packed_bytes.h"
#include "data/slot_bytes.h"
#include "script/volatile_bytes.h"

namespace tonalith {
namespace {

class Changing final : public ReceivedCheck, public VolatileBytes {
 public:
  const std::vector<ByteRun>& InPatch() const override { return places; }
  std::vector<ByteRun> places;
};

// Four patches of 14 bytes in this packing, each byte another.
DataFilePtr PackedBank(int packing) {
  constexpr std::uint32_t kPatch = 14, kSlot = 64, kPatches = 4;
  DataFilePtr data(AllocDataFile());
  AllocChunk(&data->synth, &data->synthSize, kSynthSize);
  Synth& synth = *data->synth;
  synth.storageFormat = static_cast<std::uint8_t>(packing);
  synth.isBank = 1;
  synth.numVoices = kPatches;
  synth.voiceBytes = kPatch;
  synth.voiceSize = kSlot;
  synth.fileSize = kSlot * kPatches;
  AllocChunk(&data->body, &data->bodySize, synth.fileSize);
  return data;
}

// Nothing but the places that change by themselves may be different, in every packing whose patches can be told apart.
TEST(DataCompare, LeavesOutWhatTheInstrumentChanges) {
  int told = 0;
  for (int packing = 0; packing < kStorageFormats; ++packing) {
    SCOPED_TRACE(kStorageFormatNames[packing]);
    const DataFilePtr sent = PackedBank(packing);
    const SlotBytes slots(*sent);
    if (!slots.problem().empty()) continue;
    ++told;
    const auto change = [&](DataFile& data, std::uint32_t patch, std::uint32_t place) {
      auto bytes = slots.Take(data, patch);
      slots.SetLogical(&bytes, place, static_cast<std::uint8_t>(slots.Logical(bytes, place) ^ 5));
      slots.Put(data, patch, bytes);
    };
    Changing check;
    check.places = {{2, 1}, {5, 3}};
    for (std::uint32_t place = 0; place < 14; ++place) {
      const DataFilePtr held(DupForUser(sent.get()));
      change(*held, 1, place);
      if (slots.Take(*held, 1) == slots.Take(*sent, 1)) continue;  // the packing has no such byte
      const bool left = place == 2 || (place >= 5 && place <= 7);
      EXPECT_EQ(CompareData(*sent, *held, {}, check).none(), left) << place;
      EXPECT_FALSE(CompareData(*sent, *held, {}, ReceivedCheck()).none()) << place;
      change(*held, 3, 0);
      EXPECT_FALSE(CompareData(*sent, *held, {}, check).none()) << "another patch differs elsewhere";
    }
    check.places = {{1000, 5}};
    EXPECT_TRUE(CompareData(*sent, *sent, {}, check).none()) << "places that are not there";
  }
  EXPECT_GT(told, 20);
}

}  // namespace
}  // namespace tonalith
