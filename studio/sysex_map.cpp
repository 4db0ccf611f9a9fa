#include "studio/sysex_map.h"

#include <algorithm>

#include "data/checksums.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kTextMaker = 0x07;
constexpr std::size_t kTextStart = 13;
constexpr std::size_t kTextLength = 16;
constexpr std::size_t kRolandHead = 5;   // F0 41 device model 12
constexpr std::size_t kRolandFrame = 7;  // head, checksum and F7
constexpr std::size_t kLeastRolandData = 5;
constexpr std::uint8_t kRolandDataSet = 0x12;

// The part of [source, source + count) that lies inside the message.
std::optional<SysXRange> RangeInside(std::size_t length, std::uint64_t source, std::uint64_t count,
                                     std::uint64_t destination) {
  if (source >= length || count == 0) return SysXRange{0, 0, destination};
  return SysXRange{static_cast<std::size_t>(source),
                   static_cast<std::size_t>(std::min<std::uint64_t>(count, length - source)), destination};
}

bool IsTextMessage(std::span<const std::uint8_t> message) {
  return message.size() >= 2 && message[0] == 0xF0 && message[1] == kTextMaker;
}

// Marks that the bytes at `destination` are there.
void ClearMarks(DataFile* dataFile, std::uint64_t destination) {
  if (dataFile->xtra) dataFile->xtra->hasNoSysEx = 0;
  if (!dataFile->emptyMap || !dataFile->synth) return;
  const Synth& synth = *dataFile->synth;
  if (!synth.patchByPatch) {
    std::fill_n(dataFile->emptyMap, dataFile->emptyMapSize, std::uint8_t{0});
  } else if (const std::uint32_t voiceSize = synth.voiceSize; voiceSize != 0) {
    SetMapBit(dataFile->emptyMap, dataFile->emptyMapSize, static_cast<std::uint32_t>(destination / voiceSize), false);
  }
}

}  // namespace

void SysXBase::Forget(int driver) {
  if (driver == driverId) *this = {};
}

std::optional<std::vector<std::uint8_t>> PadSysExText(std::span<const std::uint8_t> message) {
  std::vector<std::uint8_t> padded(message.begin(), message.end());
  if (!IsTextMessage(message)) return padded;
  if (message.size() <= kTextStart) return std::nullopt;
  const auto start = padded.begin() + kTextStart;
  const auto end = std::find(start, padded.end(), std::uint8_t{0});
  const auto length = static_cast<std::size_t>(end - start);
  if (end == padded.end() || length > kTextLength) return std::nullopt;
  padded.insert(end, kTextLength - length, std::uint8_t{' '});
  return padded;
}

bool StdSysXDescriptor::Validate(const DataFile& dataFile, std::span<const std::uint8_t> message,
                                 SysXBase& base) const {
  const std::uint16_t driverId = dataFile.synth ? dataFile.synth->driverId : static_cast<std::uint16_t>(kNoDriver);
  if (!variable && message.size() != size) return false;
  if (useBase && (driverId != base.driverId || driverId == kNoDriver)) return false;
  if (pairs.empty()) return false;
  for (const SysXPair& pair : pairs) {
    const std::int64_t offset = pair.offset;
    if (static_cast<std::uint64_t>(offset < 0 ? -offset : offset) >= message.size()) return false;
    if (pair.value == kAnySysExByte) continue;
    if (offset < 0 || message[static_cast<std::size_t>(offset)] != pair.value) return false;
  }
  if (setBase) base = {newBaseValue, driverId};
  return true;
}

std::optional<SysXRange> StdSysXDescriptor::Range(std::span<const std::uint8_t> message, const SysXBase& base) const {
  std::size_t length = message.size();
  if (IsTextMessage(message)) {
    const auto padded = PadSysExText(message);
    if (!padded) return std::nullopt;
    length = padded->size();
  }
  std::int64_t count = copyBytes;
  if (copyBytes == 0) count = static_cast<std::int64_t>(length);
  if (copyBytes < 0) count = std::max<std::int64_t>(static_cast<std::int64_t>(length) + copyBytes, 0);
  return RangeInside(length, sourceOffset, static_cast<std::uint64_t>(count),
                     std::uint64_t{destinationOffset} + (useBase ? base.value : 0));
}

bool RolandSysXDescriptor::Validate(std::span<const std::uint8_t> message) const {
  if (addressBytes < 1 || addressBytes > 4 || message.size() < addressBytes + kRolandFrame + kLeastRolandData)
    return false;
  if (message[1] != kRolandId || message[3] != instrumentId || message[4] != kRolandDataSet) return false;
  const std::uint64_t address = RolandCalc(static_cast<int>(addressBytes), message.data() + kRolandHead);
  return address >= baseAddress && address < std::uint64_t{baseAddress} + size;
}

std::optional<SysXRange> RolandSysXDescriptor::Range(std::span<const std::uint8_t> message) const {
  if (!Validate(message)) return std::nullopt;
  const std::uint64_t into =
      RolandCalc(static_cast<int>(addressBytes), message.data() + kRolandHead) - std::uint64_t{baseAddress};
  const std::uint64_t count = std::min<std::uint64_t>(message.size() - addressBytes - kRolandFrame, size - into);
  return RangeInside(message.size(), kRolandHead + addressBytes, count, destinationOffset + into);
}

std::size_t BufferDescriptor::Validate(const DataFile& dataFile, std::span<const std::uint8_t> message,
                                       SysXBase& base) const {
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    const auto* standard = std::get_if<StdSysXDescriptor>(&descriptors[i]);
    if (standard ? standard->Validate(dataFile, message, base)
                 : std::get<RolandSysXDescriptor>(descriptors[i]).Validate(message))
      return i;
  }
  return kNoMatch;
}

std::optional<SysXRange> BufferDescriptor::Range(std::size_t index, std::span<const std::uint8_t> message,
                                                 const SysXBase& base) const {
  if (index >= descriptors.size()) return std::nullopt;
  const auto* standard = std::get_if<StdSysXDescriptor>(&descriptors[index]);
  return standard ? standard->Range(message, base) : std::get<RolandSysXDescriptor>(descriptors[index]).Range(message);
}

std::size_t BufferDescriptor::Copy(std::size_t index, DataFile* dataFile, std::span<const std::uint8_t> message,
                                   const SysXBase& base) const {
  const auto range = Range(index, message, base);
  if (!range || !dataFile) return 0;
  const std::span<std::uint8_t> image = BodySpan(*dataFile);
  std::uint64_t room = image.size();
  if (dataFile->synth) room = std::min<std::uint64_t>(room, dataFile->synth->fileSize);
  if (range->count == 0 || range->destination >= room) return 0;
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(range->count, room - range->destination));
  const auto bytes = std::holds_alternative<StdSysXDescriptor>(descriptors[index])
                         ? PadSysExText(message)
                         : std::vector<std::uint8_t>(message.begin(), message.end());
  if (!bytes || range->source + count > bytes->size()) return 0;
  std::copy_n(bytes->data() + range->source, count, image.data() + range->destination);
  ClearMarks(dataFile, range->destination);
  return count;
}

}  // namespace tonalith
