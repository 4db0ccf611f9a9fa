#pragma once

#include "data/data_records.h"

namespace tonalith {

// Several layouts under one type key: equal sizes do not mean equal bytes.  True when `a` has a variant text and type
// key and variant text of both are the same without regard to case.
bool IsPolymorphic(const Synth* a, const Synth* b);

}  // namespace tonalith
