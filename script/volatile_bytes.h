#pragma once

#include <vector>

#include "script/received_check.h"

namespace tonalith {

// Of a ReceivedCheck whose data has bytes that the instrument changes by itself: a patch that is played last, a clock.
class VolatileBytes {
 public:
  virtual ~VolatileBytes() = default;
  // Logical bytes of every patch.
  virtual const std::vector<ByteRun>& InPatch() const = 0;
};

}  // namespace tonalith
