#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "simulator/description.h"
#include "simulator/engine_core.h"

namespace tonalith {

// Messages that change a field of an item: the [change] blocks of a description.
class ChangeEngine {
 public:
  explicit ChangeEngine(EngineCore& core);

  // Any complete message.  False: nothing is changed by it, though what comes behind it may.
  bool Handle(std::span<const std::uint8_t> message);

 private:
  bool Matches(const ChangeInfo& change, Captures* captures) const;
  bool Apply(const ChangeInfo& change, const Captures& captures);

  EngineCore& core_;
  std::size_t most_ = 1;                         // messages that a change has
  std::deque<std::vector<std::uint8_t>> heard_;  // the last ones
};

}  // namespace tonalith
