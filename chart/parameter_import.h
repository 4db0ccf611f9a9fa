#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace tonalith {

// Rows of a chart out of a table of parameters as tab separated text.  The first line names the columns; known are
//   data (or block)      becomes [parameters DATA]
//   place; or offset, bit, width and kind (byte, bits, n, n4, w, wl, wo, w1, le, be, f32)
//   name
//   range; or min and max
//   shown (or labels)    texts that are no display stay as a comment
//   number (or change_number)
// Others are passed over, and so are rows for the characters of a name and for reserved bytes.  Rows that repeat with
// constant steps become a `repeat`.
struct ParameterImport {
  std::string rows;  // text of the chart
  std::size_t parameters = 0;
  std::size_t passedOver = 0;  // names and reserved bytes
  std::size_t asNumbers = 0;   // rows whose texts are no display
};

// Failures name the line.
Result ImportParameterSheet(std::string_view text, ParameterImport* out);

}  // namespace tonalith
