#include "store/sets/new_set.h"

#include <utility>
#include <vector>

#include "store/entry_state.h"
#include "store/sets/set_document.h"
#include "studio/studio_document.h"

namespace tonalith {

Result MakeNewSet(const ZKStudioDoc& studio, const ZKDrvList& instrument, bool withRom, ZKGrpDoc* set) {
  std::vector<DataFilePtr> components;
  for (const auto& driver : instrument.drivers) {
    DataFilePtr data = studio.GetNewDataFile(driver.get());
    if (!data) return Result::Failure("There is not enough memory.");
    MarkUndefined(data.get());
    if (withRom || !StateOfEntry(*data).rom) components.push_back(std::move(data));
  }
  if (components.empty()) return Result::Failure("The " + instrument.DisplayKey() + " has no data types.");
  set->AddDataFiles(std::move(components));
  return Result::Success();
}

}  // namespace tonalith
