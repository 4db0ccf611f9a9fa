// The conversions of the table, one function each.

#include <algorithm>
#include <array>
#include <string_view>

#include "data/checksums.h"
#include "data/packed_bytes.h"
#include "store/convert_job.h"
#include "store/convert_map.h"
#include "store/convert_rows.h"
#include "store/roland_tone.h"

namespace tonalith {

namespace {

constexpr char kFirstOnly[] = "This conversion knows the first patch of the bank only.";

// The packed patch of ten bytes; the bytes 2, 3 and 4 have bits that belong to no value.
constexpr BitMove kMks80Patch[] = {{0, 0, 8, 0}, {4, 1, 3, 1}, {1, 0, 8, 2},  {5, 0, 8, 3},
                                   {2, 0, 2, 4}, {6, 0, 8, 5}, {7, 0, 8, 6},  {3, 0, 2, 7},
                                   {3, 2, 2, 8}, {8, 0, 8, 9}, {4, 0, 1, 10}, {9, 0, 8, 11}};
constexpr std::uint64_t kMks80Slot = 10, kMks80Edit = 12;

bool Nibbles(ConvertJob* job) {
  const std::uint64_t slot = job->bankBytes(), edit = job->editBytes();
  const bool slotPacked = slot != 0 && edit == 2 * slot, editPacked = edit != 0 && slot == 2 * edit;
  if (!slotPacked && !editPacked) return false;
  const ConstPatchBytes from = job->SourcePatch();
  const PatchBytes to = job->TargetPatch();
  if (slotPacked == job->toEdit()) {
    for (std::uint32_t i = 0; i < from.size(); ++i) {
      std::uint8_t low = 0, high = 0;
      MKS50UnPack(static_cast<std::uint8_t>(from.Get(i)), &low, &high);
      to.Set(2 * i, low);
      to.Set(2 * i + 1, high);
    }
  } else {
    for (std::uint32_t i = 0; i < to.size(); ++i)
      to.Set(i, MKS50Pack(static_cast<std::uint8_t>(from.Get(2 * i)), static_cast<std::uint8_t>(from.Get(2 * i + 1))));
  }
  return true;
}

bool WholeImage(ConvertJob* job) {
  const std::int32_t size = IMin(&job->bank(), &job->edit());
  return size > 0 && job->CopyImage(0, 0, static_cast<std::uint64_t>(size));
}

// A Triton program has 96 bytes in front of the common ones that the LE has not.
bool Triton(ConvertJob* job, bool bankIsTriton) {
  constexpr std::uint32_t kHead = 40, kTritonRest = 136, kLeRest = 40, kRest = 404;
  const std::uint64_t bankNeeds = (bankIsTriton ? kTritonRest : kLeRest) + kRest;
  const std::uint64_t editNeeds = (bankIsTriton ? kLeRest : kTritonRest) + kRest;
  if (!job->BankHolds(bankNeeds) || !job->EditHolds(editNeeds)) return false;
  const ConstPatchBytes from = job->SourcePatch();
  const PatchBytes to = job->TargetPatch();
  const bool fromTriton = bankIsTriton == job->toEdit();
  for (std::uint32_t i = 0; i < kHead; ++i) to.Set(i, from.Get(i));
  for (std::uint32_t i = 0; i < kRest; ++i)
    to.Set((fromTriton ? kLeRest : kTritonRest) + i, from.Get((fromTriton ? kTritonRest : kLeRest) + i));
  return true;
}

struct Run {
  std::uint16_t slot, edit, count;
};
constexpr Run kSpread[] = {{0, 185, 8},  {8, 193, 2},  {10, 163, 2},   {12, 165, 1},   {13, 166, 16},
                           {29, 182, 2}, {31, 8, 12},  {43, 24, 12},   {55, 40, 12},   {67, 56, 12},
                           {79, 72, 12}, {91, 88, 12}, {103, 104, 12}, {115, 120, 12}, {127, 144, 1}};

bool Spread(ConvertJob* job) {
  constexpr std::uint64_t kSlot = 128, kEdit = 195;
  constexpr std::uint32_t kMark = 162;
  constexpr std::uint8_t kMarked = 0x40;
  if (!job->BankHolds(kSlot) || !job->EditHolds(kEdit)) return false;
  const ConstPatchBytes from = job->SourcePatch();
  const PatchBytes to = job->TargetPatch();
  for (const Run& run : kSpread)
    for (std::uint32_t i = 0; i < run.count; ++i) {
      if (job->toEdit())
        to.Set(run.edit + i, from.Get(run.slot + i));
      else
        to.Set(run.slot + i, from.Get(run.edit + i));
    }
  if (job->toEdit()) to.Set(kMark, kMarked);
  return true;
}

// Out of a bank any slot gives the first patch; into it only the first slot is the one that is written.
bool FirstSlotOnly(ConvertJob* job) {
  if (job->slot() == 0) return true;
  job->notes.text = kFirstOnly;
  return job->toEdit();
}

bool FirstPatch(ConvertJob* job) {
  constexpr std::uint64_t kData = 200, kMore = 150;
  constexpr std::uint64_t kMoreAt9460 = 217, kMoreAt9647 = 200;
  constexpr int kNeither = 5;
  if (!FirstSlotOnly(job)) return false;
  const Synth &from = job->toEdit() ? job->bank() : job->edit(), &to = job->toEdit() ? job->edit() : job->bank();
  if (!job->CopyImage(from.headerSize, to.headerSize, kData)) return false;
  if (from.driverId == kNeither || to.driverId == kNeither) return true;
  const auto more = [](const Synth& type) { return type.driverId == 9460 ? kMoreAt9460 : kMoreAt9647; };
  return job->CopyImage(from.headerSize + more(from), to.headerSize + more(to), kMore);
}

bool FirstImage(ConvertJob* job) {
  constexpr std::uint64_t kBytes = 223;
  return FirstSlotOnly(job) && job->CopyImage(0, 0, kBytes);
}

bool Block16(ConvertJob* job) {
  constexpr std::uint64_t kBlock = 16;
  if (job->bankBytes() != kBlock || job->editBytes() != kBlock) return false;
  for (std::uint32_t i = 0; i < kBlock; ++i) job->TargetPatch().Set(i, job->SourcePatch().Get(i));
  return true;
}

bool SlotImage(ConvertJob* job) {
  constexpr IdRange kOfTwoSizes{10522, 10566};
  constexpr std::uint64_t kSmall = 1156, kLarge = 18632;
  const std::uint64_t size = job->bank().voiceSize;
  if (kOfTwoSizes.Has(job->bank().driverId) && size != kSmall && size != kLarge) return false;
  std::size_t place = 0;
  if (!job->SlotPlace(&place)) return false;
  return job->toEdit() ? job->CopyImage(place, 0, size) : job->CopyImage(0, place, size);
}

// --- Roland: the messages of a tone, the first one with an address of its own ----------------------------------------

using Head = std::vector<std::uint8_t>;

// The first message of the bytes, when it is a data set message of Roland: where its address begins, and its F7.
bool FirstMessage(std::span<const std::uint8_t> bytes, std::size_t addressAt, std::size_t* end) {
  if (bytes.size() <= addressAt || bytes[0] != 0xF0 || bytes[1] != kRolandId) return false;
  const auto last = std::find_if(bytes.begin() + 1, bytes.end(), [](std::uint8_t byte) { return byte >= 0x80; });
  if (last == bytes.end() || *last != 0xF7) return false;
  *end = static_cast<std::size_t>(last - bytes.begin());
  return *end > addressAt + 1;
}

std::uint8_t SumOf(std::span<const std::uint8_t> message, std::size_t addressAt, std::size_t end) {
  const auto data = message.subspan(addressAt, end - 1 - addressAt);
  return static_cast<std::uint8_t>(RolandCheckSum(data.data(), static_cast<int>(data.size())));
}

// Puts `head` (up to and with the address) in front of `bytes`; a checksum that was right before is right afterwards.
void PutHead(std::span<std::uint8_t> bytes, std::span<const std::uint8_t> head, std::size_t addressAt) {
  std::size_t end = 0;
  const bool wasRight =
      FirstMessage(bytes, addressAt, &end) && end > head.size() && SumOf(bytes, addressAt, end) == bytes[end - 1];
  std::copy(head.begin(), head.end(), bytes.begin());
  if (wasRight) bytes[end - 1] = SumOf(bytes, addressAt, end);
}

bool CopyWithHead(ConvertJob* job, std::size_t place, std::size_t size, const Head& head, std::size_t addressAt) {
  if (size < head.size()) return false;
  // What stands in the slot says where in the instrument it belongs.
  Head stored;
  if (!job->toEdit()) {
    const auto slot = job->BankImage().subspan(place);
    if (slot.size() >= head.size() && slot[0] == 0xF0 && slot[1] == kRolandId)
      stored.assign(slot.begin(), slot.begin() + static_cast<std::ptrdiff_t>(head.size()));
  }
  if (!(job->toEdit() ? job->CopyImage(place, 0, size) : job->CopyImage(0, place, size))) return false;
  const std::span<std::uint8_t> made = job->TargetImage().subspan(job->toEdit() ? 0 : place, size);
  if (job->toEdit())
    PutHead(made, head, addressAt);
  else if (!stored.empty())
    PutHead(made, stored, addressAt);
  return true;
}

void SetTypeKey(Synth* synth, std::string_view key) {
  std::fill(std::begin(synth->typeKey), std::end(synth->typeKey), char{0});
  std::copy_n(key.begin(), std::min(key.size(), sizeof synth->typeKey), synth->typeKey);
}

bool Roland64(ConvertJob* job) {
  constexpr std::size_t kAddressAt = 7;
  RolandTone64 tone;
  std::size_t place = 0;
  if (!FindRolandTone64(job->bank().driverId, &tone) || !job->SlotPlace(&place)) return false;
  const Head head = {0xF0, kRolandId, 0x10, 0x00, 0x00, 0x64, 0x12, 0x19, tone.kind, 0x00, 0x00};
  if (!CopyWithHead(job, place, job->bank().voiceSize, head, kAddressAt)) return false;
  SetTypeKey(&job->edit(), tone.key);
  return true;
}

Head Head5B(const std::uint8_t (&address)[4]) {
  return {0xF0, kRolandId, 0x10, 0x00, 0x00, 0x00, 0x5B, 0x12, address[0], address[1], address[2], address[3]};
}
constexpr std::size_t kAddressAt5B = 8;

bool Roland5B(ConvertJob* job) {
  constexpr int kFirstPart = 11100;
  std::uint8_t address[4] = {};
  std::size_t place = 0;
  if (!FindRolandAddress5B(job->bank().driverId, job->edit().driverId - kFirstPart, address)) return false;
  if (!job->SlotPlace(&place)) return false;
  if (!CopyWithHead(job, place, job->bank().voiceSize, Head5B(address), kAddressAt5B)) return false;
  SetTypeKey(&job->edit(), FieldText(job->bank().typeKey));
  return true;
}

bool RolandWhole(ConvertJob* job) {
  constexpr std::uint8_t kAddress[4] = {0x05, 0x20, 0x00, 0x00};
  const std::int32_t size = IMin(&job->bank(), &job->edit());
  return size > 0 && CopyWithHead(job, 0, static_cast<std::size_t>(size), Head5B(kAddress), kAddressAt5B);
}

bool JunoXTone(ConvertJob* job, const ConvertOptions& options) {
  constexpr int kParts[] = {11221, 11292};
  constexpr int kPartCount = 4;
  constexpr std::uint8_t kPartMask = 3;
  std::size_t place = 0;
  if (!job->SlotPlace(&place)) return false;
  const FolderToneMaps maps(options.moduleFolder);
  const std::size_t size = job->bank().voiceSize;
  if (!job->toEdit())
    return BankConvertJunoX::ConvertJunoXEditorToToneFormat(job->SourceImage(), job->TargetImage().subspan(place, size),
                                                            &job->bank(), maps) == 1;
  const auto tone = job->SourceImage().subspan(place, size);
  if (BankConvertJunoX::ConvertToneToEditorFormat(tone, job->TargetImage(), &job->edit(), maps) != 1) return false;
  for (const int first : kParts) {
    const int part = job->edit().driverId - first;
    std::uint8_t& type = job->TargetImage()[BankConvertJunoX::kTypeByte];
    if (part >= 0 && part < kPartCount) type = static_cast<std::uint8_t>((type & ~kPartMask) | part);
  }
  return true;
}

}  // namespace

std::uint8_t MKS50Pack(std::uint8_t low, std::uint8_t high) {
  return static_cast<std::uint8_t>((low & 0x0F) | (high & 0x0F) << 4);
}

void MKS50UnPack(std::uint8_t packed, std::uint8_t* low, std::uint8_t* high) {
  *low = packed & 0x0F;
  *high = packed >> 4;
}

bool RunConversion(ConvertJob* job, ConvertKind kind, const ConvertOptions& options) {
  switch (kind) {
    case ConvertKind::Unmapped:
    case ConvertKind::None:
      return false;
    case ConvertKind::Mks80Patch:
      return job->Move(kMks80Patch, kMks80Slot, kMks80Edit);
    case ConvertKind::Nibbles:
      return Nibbles(job);
    case ConvertKind::WholeImage:
      return WholeImage(job);
    case ConvertKind::TritonToLe:
      return Triton(job, true);
    case ConvertKind::LeToTriton:
      return Triton(job, false);
    case ConvertKind::Spread:
      return Spread(job);
    case ConvertKind::FirstPatch:
      return FirstPatch(job);
    case ConvertKind::FirstImage:
      return FirstImage(job);
    case ConvertKind::Block16:
      return Block16(job);
    case ConvertKind::SlotImage:
      return SlotImage(job);
    case ConvertKind::Roland64:
      return Roland64(job);
    case ConvertKind::Roland5B:
      return Roland5B(job);
    case ConvertKind::RolandWhole:
      return RolandWhole(job);
    case ConvertKind::JunoXTone:
      return JunoXTone(job, options);
  }
  return false;
}

}  // namespace tonalith
