#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "chart/change_message.h"
#include "data/data_records.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// What came of playing the changes of a data type.
struct PlayedChanges {
  struct Mistake {
    std::string parameter, text;
  };
  std::size_t parameters = 0;  // that were changed
  std::vector<Mistake> mistakes;
  std::vector<std::string> notSaid;  // their messages say the value in more ways than one
  std::vector<std::string> notIn;    // there is no patch that has them
};

// Sets every parameter that has messages of its own to its smallest, its largest and a value between, in data of one
// patch; what a panel would send then goes to an instrument that understands the messages as the chart has them, and
// what became of it is compared with the data.  `device`: the number of the instrument, that of the data counted from
// `firstDevice`.
PlayedChanges PlayChanges(const ParameterTable& table, const PanelData& messages, const DataFile& data,
                          int firstDevice);

}  // namespace tonalith
