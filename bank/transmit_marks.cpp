#include "bank/transmit_marks.h"

#include <algorithm>
#include <string>

#include "bank/bank_document.h"

namespace tonalith {

std::vector<int> MarkedPatches(const ZKBankDoc& document) {
  const DataFile& data = *document.dataFile();
  std::vector<int> marked;
  for (int patch = 0; patch < document.PatchCount(); ++patch)
    if (!MapBit(data.tagMap, data.tagMapSize, static_cast<std::uint32_t>(patch))) marked.push_back(patch);
  return marked;
}

Result MarkForTransmission(ZKBankDoc& document, const std::vector<int>& patches, bool others) {
  const int count = document.PatchCount();
  const auto chosen = static_cast<int>(
      std::count_if(patches.begin(), patches.end(), [count](int patch) { return patch >= 0 && patch < count; }));
  const int marked = others ? count - chosen : chosen;
  const std::string status =
      "Marked " + std::to_string(marked) + (marked == 1 ? " Patch" : " Patches") + " to transmit";
  return document.ChangeSlots("Transmit Marks", status, [&](BankSlots&) {
    DataFile& data = *document.dataFile();
    const std::uint32_t size = (static_cast<std::uint32_t>(count) + 15) / 16 * 2;
    if (data.tagMapSize < size && !AllocChunk(&data.tagMap, &data.tagMapSize, size))
      return Result::Failure("There is not enough memory.");
    for (int patch = 0; patch < count; ++patch)
      SetMapBit(data.tagMap, data.tagMapSize, static_cast<std::uint32_t>(patch), !others);
    for (const int patch : patches)
      if (patch >= 0 && patch < count)
        SetMapBit(data.tagMap, data.tagMapSize, static_cast<std::uint32_t>(patch), others);
    return Result::Success();
  });
}

std::vector<std::uint8_t> TransferMaskOf(const ZKBankDoc& document, const std::vector<int>& patches) {
  std::vector<std::uint8_t> mask;
  for (const int patch : patches) {
    if (patch < 0 || patch >= document.PatchCount() || !document.IsPatchDefined(patch)) continue;
    mask.resize(static_cast<std::size_t>(document.PatchCount()));
    mask[static_cast<std::size_t>(patch)] = 1;
  }
  return mask;
}

}  // namespace tonalith
