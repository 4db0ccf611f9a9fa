#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "script/received_check.h"

namespace tonalith {

// Where two records of one data type differ in what an instrument keeps of them.
struct DataDifference {
  std::vector<int> patches;  // from 0
  bool elsewhere = false;    // in what belongs to no patch, or in their size
  bool none() const { return patches.empty() && !elsewhere; }
};

// Heads, checksums and the bytes around packed data are no differences, nor are names and texts beside the bytes.
// `patches`: one value a patch, those that count; empty: all, and what belongs to no patch.  Patches that `sent` has no
// data for are passed over.  `check`: what the data type knows; not null.
DataDifference CompareData(const DataFile& sent, const DataFile& held, std::span<const std::uint8_t> patches,
                           const ReceivedCheck& check);

// "in 3, 7 and 64"; "in 3 and outside its patches"; single bytes.  Empty: there is none.
std::string DifferenceText(const Synth& synth, const DataDifference& difference);

}  // namespace tonalith
