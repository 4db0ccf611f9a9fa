#pragma once

#include <string>

#include "parameters/field_place.h"
#include "parameters/parameter_condition.h"

namespace tonalith {

// Pieces of the macros of a panel, which reach the data through the receive buffer.

// What a control reads where its parameter is not there: a value that none has.
inline constexpr int kNotThere = -1;

// What stands between the two is done only when the condition holds.  W, Y and Z are lost, X stays.
struct PanelGuard {
  std::string begin, end;
};
// Without a condition (null) it is done always.
PanelGuard GuardOf(const ParameterCondition* condition);

}  // namespace tonalith
