#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "chart/chart_text.h"
#include "chart/parameters.h"
#include "parameters/reference_matrix.h"

namespace tonalith {

// The banks that a name of the chart stands for, in their order; empty when there is none.
using ReferenceTargets = std::function<std::vector<ReferenceMatrix::Target>(std::string_view name)>;

// Reads a section [references NAME]:
//   NAME i (1..8): bank at 36+16(i-1) in 0..6, voice at 37+16(i-1) in 0..47 -> Voice Bank
//   voice A at 1 in 0..63 -> Voices
// A part is WORD at PLACE in VALUES; the last one is the number of the child, `bank` says which of the banks of that
// name, any other one is a field that must hold one of the values.  Without a `bank` the numbers run on from bank to
// bank. Numbers of bytes are sums of i with + - * / % and brackets, without blanks.
ReferenceMatrix ReadReferenceRows(const ChartSection& section, const ParameterData& data,
                                  const ReferenceTargets& targets, ChartProblems* problems);

}  // namespace tonalith
