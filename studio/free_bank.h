#pragma once

#include "data/bank_growth.h"
#include "data/data_records.h"

namespace tonalith {

class Recognizer;

// How a bank gets more patches, as the module of its data type says; nothing for every other data.
BankGrowth GrowthOf(const Recognizer& recognizer, const DataFile& data);

}  // namespace tonalith
