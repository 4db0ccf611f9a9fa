#include "studio/module_draft.h"

#include <algorithm>

#include "data/data_records.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kMaxDraftSize = 16u << 20;  // of an image, as the module builder takes it
constexpr int kStream78 = 2;                        // seven bytes in eight, over all patches
constexpr int kPatch78 = 17;                        // the same, every patch on its own

bool IsNibbles(int storageFormat) {
  return storageFormat == 1 || storageFormat == 6;
}

// Unpacked bytes in so many raw ones.
std::uint32_t LogicalBytes(int storageFormat, std::uint32_t raw) {
  if (IsNibbles(storageFormat)) return raw / 2;
  if (storageFormat == kStream78 || storageFormat == kPatch78) return raw - (raw + 7) / 8;
  return raw;
}

// Image bytes behind the patches: the checksum and F7.
std::uint32_t TailOf(const DraftType& type) {
  if (!type.checksum || type.checksum->times > 1 || type.checksum->offset < type.headerSize) return 1;
  return type.messageSize - type.checksum->offset;
}

}  // namespace

int DraftBytes::NumberPlace() const {
  const auto at = std::find(pairs.begin(), pairs.end(), "nn");
  return at == pairs.end() ? -1 : static_cast<int>(at - pairs.begin());
}

const char* DraftTrustText(DraftTrust trust) {
  return trust == DraftTrust::Read ? "read" : trust == DraftTrust::Likely ? "likely" : "guess";
}

std::string DraftProblem(const DraftType& type) {
  const std::string of = "The " + type.typeName + ": ";
  const std::uint64_t image = std::uint64_t{type.messageSize} * (type.layout == DraftLayout::Messages ? type.count : 1);
  if (type.messageSize < 5) return of + "a message of " + std::to_string(type.messageSize) + " bytes holds no data.";
  if (image > kMaxDraftSize) return of + "data of more than 16 MiB is not supported.";
  if (type.count < 1 || type.count > kMaxVoices) return of + "a bank has 2 to 65535 patches.";
  if (type.header.size() + 1 > type.messageSize) return of + "the header is longer than the message.";
  if (type.header.size() < 2) return of + "the header needs at least F0 and the manufacturer.";
  if (type.checksum) {
    const DraftChecksum& sum = *type.checksum;
    if (std::uint64_t{sum.start} + sum.count > type.messageSize || sum.offset >= type.messageSize || sum.count == 0)
      return of + "the checksum lies outside of the " + std::to_string(type.messageSize) + " bytes of the message.";
    if (sum.offset >= sum.start && sum.offset < sum.start + sum.count && !IsNibbles(type.storageFormat))
      return of + "the checksum would sum itself up: its place is inside of what is summed.";
  }
  if (std::uint64_t{type.headerSize} + TailOf(type) >= type.messageSize)
    return of + "nothing is left between the header and the end of the message.";
  const std::uint64_t data = type.messageSize - type.headerSize - TailOf(type);
  if (type.layout == DraftLayout::Bank &&
      (type.patchSize == 0 ||
       std::uint64_t{type.patchSize} * type.count >
           (type.storageFormat == kStream78 ? LogicalBytes(kStream78, static_cast<std::uint32_t>(data)) : data)))
    return of + std::to_string(type.count) + " patches of " + std::to_string(type.patchSize) +
           " bytes do not fit into the " + std::to_string(data) + " bytes between header and end.";
  const std::uint64_t patch =
      LogicalBytes(type.storageFormat == kStream78 ? 0 : type.storageFormat,
                   static_cast<std::uint32_t>(type.layout == DraftLayout::Bank ? type.patchSize : data));
  if (patch == 0) return of + "a patch holds nothing.";
  if (std::uint64_t{type.nameOffset} + type.nameLength > patch || type.nameLength > kMaxNameLength)
    return of + "the name lies outside of the " + std::to_string(patch) + " bytes of a patch.";
  return {};
}

}  // namespace tonalith
