#pragma once

// A Set of small components, and its bytes.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "store/entry_state.h"
#include "store/sets/set_document.h"

namespace tonalith {

inline constexpr int kSmallTypes = 4;

// Banks are those with an odd number; that of type 3 goes patch by patch.
inline DataFilePtr SmallRecord(int type) {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& s = *driver->synth;
  std::snprintf(s.shortName, sizeof s.shortName, "Maker One");
  std::snprintf(s.typeName, sizeof s.typeName, "Type \xE4%d", type);
  s.driverId = static_cast<std::uint16_t>(100 + type);
  s.isBank = type % 2 ? 1 : 0;
  s.patchByPatch = type == 3;
  s.numVoices = s.isBank ? 4 : 1;
  s.voiceSize = s.voiceBytes = 10;
  s.headerSize = 2;
  s.fileSize = s.headerSize + s.numVoices * s.voiceSize;
  s.namesSeparate = s.isBank;
  DataFilePtr data(AllocDataNew(driver.get()));
  AddDataFileComponents(data.get(), 0);
  for (std::uint32_t i = 0; i < s.fileSize; ++i) data->body[i] = static_cast<std::uint8_t>(type * 16 + i);
  return data;
}

// One of each type; the first holds nothing.
inline void FillSmallSet(ZKGrpDoc* set) {
  std::vector<DataFilePtr> data;
  for (int type = 0; type < kSmallTypes; ++type) data.push_back(SmallRecord(type));
  MarkUndefined(data[0].get());
  set->AddDataFiles(std::move(data));
}

// Its bytes, without a disk.
class OpenSet : public ZKGrpDoc {
 public:
  std::vector<std::uint8_t> Written() {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(WriteBytes({}, &bytes).ok());
    return bytes;
  }
};

}  // namespace tonalith
