#include "cli/dump_ranges.h"

#include <algorithm>
#include <cstdint>

#include "parameters/patch_bytes.h"

namespace tonalith {

std::vector<std::string> ValuesOutside(const DataFile& data, const ParameterTable& table, std::size_t most) {
  std::vector<std::string> sentences;
  const std::uint32_t patches = std::max<std::uint32_t>(+data.synth->numVoices, 1);
  for (const Parameter& parameter : table.parameters) {
    if (sentences.size() >= most) break;
    if (parameter.place.isFloat) continue;
    for (std::uint32_t patch = 0; patch < patches; ++patch) {
      if (patches > 1 && MapBit(data.emptyMap, data.emptyMapSize, patch)) continue;
      const ConstPatchBytes bytes(BodySpan(data), *data.synth, patch);
      if (!table.IsIn(parameter, bytes)) continue;
      const std::int64_t value = parameter.place.Read(bytes);
      if (value >= parameter.range.min && value <= parameter.range.max) continue;
      sentences.push_back(parameter.name + " is " + std::to_string(value) + " in patch " + std::to_string(patch) +
                          ", outside " + std::to_string(parameter.range.min) + ".." +
                          std::to_string(parameter.range.max));
      break;
    }
  }
  return sentences;
}

}  // namespace tonalith
