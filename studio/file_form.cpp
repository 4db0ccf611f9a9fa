#include "studio/file_form.h"

#include <algorithm>

#include "data/checksums.h"
#include "data/data_size.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"
#include "studio/type_check.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kEnd = 0xF7;
constexpr std::size_t kUsualChunk = 128;
constexpr int kBankOfPatches = 128;
constexpr std::uint8_t kRolandDataSet = 0x12;

// The first open bits of a pattern are the device number.
void PutDevice(const BytePattern& pattern, const Synth& synth, std::span<std::uint8_t> message) {
  if (!synth.hasSysExChannel) return;
  const auto open =
      std::find_if(pattern.mask.begin(), pattern.mask.end(), [](std::uint8_t mask) { return mask != 0xFF; });
  const auto at = static_cast<std::size_t>(open - pattern.mask.begin());
  if (at >= std::min(pattern.size(), message.size())) return;
  message[at] = static_cast<std::uint8_t>((message[at] & *open) | (synth.sysExChannel & ~*open));
}

std::size_t SlotBase(const Synth& synth, std::uint32_t slot) {
  return synth.headerSize + std::size_t{synth.voiceSize} * slot;
}

class FormWriter {
 public:
  FormWriter(const RecognizeRule& rule, const Synth& synth, std::span<const std::uint8_t> image,
             const std::vector<bool>* patches)
      : rule_(rule), synth_(synth), image_(image), patches_(patches) {}

  // False when the image does not fit.
  bool Write(FormMessages* out) {
    out_ = out;
    if (rule_.byAddress()) return Addresses();
    if (rule_.hasContext) Context();
    return rule_.hasSlots ? Slots() : Row();
  }

 private:
  bool Wanted(std::uint32_t slot) const { return !patches_ || slot >= patches_->size() || (*patches_)[slot]; }

  // The message before it that says where the data goes.
  void Context() {
    Bytes message = rule_.contextFamily.value;
    message.insert(message.end(), rule_.contextRest.value.begin(), rule_.contextRest.value.end());
    PutDevice(rule_.contextFamily, synth_, message);
    if (message.back() != kEnd) message.push_back(kEnd);
    out_->push_back(std::move(message));
  }

  // A message whose kept part lies at `at` of the image; what is not kept is as its pattern says.
  bool Message(const MessageRule& rule, std::uint64_t at) {
    const std::size_t length = rule.length ? rule.length : image_.size();
    const std::size_t take = rule.length ? rule.take : image_.size();
    if (at + take > image_.size() || length < 2) return false;
    Bytes message(length);
    std::copy_n(rule.pattern.value.begin(), std::min(rule.pattern.size(), length), message.begin());
    message.back() = kEnd;
    std::copy_n(image_.begin() + static_cast<std::ptrdiff_t>(at), take,
                message.begin() + static_cast<std::ptrdiff_t>(rule.skip));
    PutDevice(rule.pattern, synth_, message);
    out_->push_back(std::move(message));
    return true;
  }

  bool Row() {
    for (const MessageRule& message : rule_.messages)
      if (!Message(message, message.at)) return false;
    return rule_.patchByte < 0 || PatchNumber();
  }

  // Where the image does not say it.
  bool PatchNumber() {
    const int number = synth_.patchNumber % kBankOfPatches, bank = synth_.patchNumber / kBankOfPatches;
    auto place = static_cast<std::size_t>(rule_.patchByte);
    for (std::size_t i = 0; i < out_->size(); place -= (*out_)[i++].size()) {
      if (place >= (*out_)[i].size()) continue;
      const MessageRule& rule = rule_.messages[i];
      const bool isKept = place >= rule.skip && place - rule.skip < rule.take;
      if (!isKept) (*out_)[i][place] = static_cast<std::uint8_t>(rule_.patchFirst + number);
      break;
    }
    if (number >= rule_.patchCount || rule_.patchFirst + number >= kBankOfPatches) return false;
    if (rule_.patchBankByte < 0) return bank == 0;
    const auto at = static_cast<std::size_t>(rule_.patchBankByte);
    const MessageRule& first = rule_.messages.front();
    if (at >= out_->front().size() || rule_.patchFirstBank + bank >= kBankOfPatches) return false;
    if (at < first.skip || at - first.skip >= first.take)
      out_->front()[at] = static_cast<std::uint8_t>(rule_.patchFirstBank + bank);
    return true;
  }

  bool Slots() {
    for (std::uint32_t slot = 0; slot < rule_.slotCount; slot += rule_.slotVoices) {
      bool wanted = false;
      for (std::uint32_t n = 0; n < rule_.slotVoices; ++n) wanted = wanted || Wanted(slot + n);
      if (!wanted) continue;
      const std::size_t first = out_->size();
      for (const MessageRule& message : rule_.messages)
        if (!Message(message, message.at + rule_.SlotPlace(synth_, slot))) return false;
      if (rule_.slotsInOrder) continue;
      if (rule_.slotInMessage()) {
        if (!rule_.PutSlot(slot, (*out_)[first])) return false;
        continue;
      }
      Bytes behind = rule_.slotMessage.value;
      behind.resize(
          std::max({behind.size(), std::size_t{rule_.slotByte} + 1, static_cast<std::size_t>(rule_.slotHigh + 1)}));
      PutDevice(rule_.slotMessage, synth_, behind);
      if (!rule_.PutSlot(slot, behind)) return false;
      if (behind.back() != kEnd) behind.push_back(kEnd);
      out_->push_back(std::move(behind));
    }
    return !out_->empty();
  }

  // A single patch goes where no memory is named, else to the memory of its number.
  bool Addresses() {
    const auto plain = std::find_if(rule_.areas.begin(), rule_.areas.end(), [](const AreaRule& a) { return !a.slots; });
    const AreaRule& area = plain == rule_.areas.end() ? rule_.areas.front() : *plain;
    const bool isBank = area.slots && synth_.numVoices > 1;
    if (!isBank && area.slots && synth_.patchNumber >= area.slots) return false;
    for (std::uint32_t slot = 0; slot < (isBank ? area.slots : 1); ++slot) {
      if (isBank && !Wanted(slot)) continue;
      const std::uint32_t place = isBank ? slot : area.slots ? synth_.patchNumber : 0;
      for (const BlockRule& block : rule_.blocks)
        if (!Block(block, area.base + area.step * place, isBank ? SlotBase(synth_, slot) : 0)) return false;
    }
    return !out_->empty();
  }

  bool Block(const BlockRule& block, std::uint32_t address, std::size_t base) {
    const std::size_t at = base + block.at, size = block.framed ? rule_.FramedSize(block) : block.size;
    if (at + size > image_.size()) return false;
    const std::span<const std::uint8_t> bytes = image_.subspan(at, size);
    if (block.framed) {
      out_->emplace_back(bytes.begin(), bytes.end());
      PutDevice(rule_.address, synth_, out_->back());
      return true;
    }
    const bool isRoland = synth_.manufacturerId == kRolandId && synth_.dumpRequest[6] != 0;
    const std::size_t chunk = isRoland ? synth_.dumpRequest[6] + std::size_t{1} : kUsualChunk;
    for (std::size_t from = 0; from < bytes.size(); from += chunk)
      Chunk(address + block.offset + static_cast<std::uint32_t>(from),
            bytes.subspan(from, std::min(chunk, size - from)));
    return true;
  }

  void Chunk(std::uint32_t address, std::span<const std::uint8_t> data) {
    const std::size_t head = rule_.address.size();
    Bytes message(rule_.address.value);
    message.resize(head + rule_.addressBytes);
    // Asked-for data and data that is sent by itself have different commands; files are the latter.
    if (synth_.manufacturerId == kRolandId && rule_.address.mask.back() != 0xFF) message[head - 1] = kRolandDataSet;
    RolandWrite(static_cast<int>(rule_.addressBytes), message.data() + head, address);
    message.insert(message.end(), data.begin(), data.end());
    message.push_back(RolandCheckSum(message.data() + head, static_cast<std::int64_t>(message.size() - head)));
    message.push_back(kEnd);
    PutDevice(rule_.address, synth_, message);
    out_->push_back(std::move(message));
  }

  const RecognizeRule& rule_;
  const Synth& synth_;
  std::span<const std::uint8_t> image_;
  const std::vector<bool>* patches_;
  FormMessages* out_ = nullptr;
};

// Where the voices of a bank lie; single data is compared as a whole when it is read again.
bool SameLayout(const Synth& a, const Synth& b) {
  if (IsOpenLayoutOf(b, a)) return true;
  return a.numVoices == b.numVoices &&
         (a.numVoices <= 1 || (a.fileSize == b.fileSize && a.headerSize == b.headerSize && a.voiceSize == b.voiceSize));
}

// The device number in every message that the image keeps.
void PutDevices(const RecognizeRule& rule, const Synth& synth, std::span<std::uint8_t> image) {
  const auto put = [&](const BytePattern& pattern, std::uint64_t at, std::uint64_t size) {
    if (at + size <= image.size()) PutDevice(pattern, synth, image.subspan(at, size));
  };
  const bool isBank = synth.numVoices > 1;
  for (const MessageRule& message : rule.messages)
    for (std::uint32_t slot = 0; slot < (rule.hasSlots ? rule.slotCount : 1); slot += rule.slotVoices)
      if (message.skip == 0)
        put(message.pattern, message.at + (rule.hasSlots ? rule.SlotPlace(synth, slot) : 0), message.take);
  for (const BlockRule& block : rule.blocks)
    for (std::uint32_t slot = 0; block.framed && slot < (isBank && rule.areas[0].slots ? rule.areas[0].slots : 1);
         ++slot)
      put(rule.address, block.at + (isBank ? SlotBase(synth, slot) : 0), rule.FramedSize(block));
}

// The image as a form has it: device number and checksums of today.
Bytes SealedImage(const RecognizeRule& rule, const DataFile& data) {
  const Synth& synth = *data.synth;
  const std::span<const std::uint8_t> body = BodySpan(data);
  Bytes image(body.begin(),
              body.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(body.size(), +synth.fileSize)));
  FormatNewFile(&synth, image);
  PutDevices(rule, synth, image);
  const auto none = [](std::uint32_t) { return false; };
  if (VerifyImage(rule.verify, synth, image, none) == ChecksumVerdict::kBad) StoreChecksums(rule, synth, image);
  return image;
}

// Read again, the messages are this data and nothing else.
bool ReadsBack(const Recognizer& recognizer, const FormMessages& messages, const DataFile& data,
               std::span<const std::uint8_t> image, const std::vector<bool>* patches) {
  Bytes file;
  for (const Bytes& message : messages) file.insert(file.end(), message.begin(), message.end());
  FoundFile found;
  if (!recognizer.Find(file, &found).ok() || found.pieces.size() != 1 || found.unknownMessages != 0) return false;
  const FoundPiece& piece = found.pieces.front();
  // Types of one instrument may look alike in files: with other numbers, for another cable.
  const ZKDrvList* driver = recognizer.DriverOf(data.synth->driverId);
  const bool isTwin = driver && driver->instrument && piece.type->instrument == driver->instrument->name;
  if (piece.type->driverId != data.synth->driverId && !isTwin) return false;
  const DataFilePtr again = recognizer.Make(found, piece);
  if (!again || again->synth->fileSize != image.size()) return false;
  const Synth& synth = *data.synth;
  const auto same = [&](std::size_t from, std::size_t size) {
    return from + size <= image.size() &&
           std::equal(image.begin() + static_cast<std::ptrdiff_t>(from),
                      image.begin() + static_cast<std::ptrdiff_t>(from + size), again->body + from);
  };
  if (!patches) return same(0, image.size());
  for (std::uint32_t i = 0; i < patches->size(); ++i)
    if ((*patches)[i] &&
        (MapBit(again->emptyMap, again->emptyMapSize, i) || !same(SlotBase(synth, i), synth.voiceSize)))
      return false;
  return true;
}

}  // namespace

FormMessages WriteForm(const RecognizeRule& rule, const Synth& synth, std::span<const std::uint8_t> image,
                       const std::vector<bool>* patches) {
  FormMessages messages;
  if (!FormWriter(rule, synth, image, patches).Write(&messages)) messages.clear();
  return messages;
}

FormMessages MessagesOfFile(const Recognizer& recognizer, const DataFile& data) {
  const ZKDrvList* driver = data.synth && data.body ? recognizer.DriverOf(data.synth->driverId) : nullptr;
  if (!driver || !SameLayout(*data.synth, *driver->synth())) return {};
  const std::span<const RecognizeRule> forms = recognizer.FormsOf(data.synth->driverId);
  std::vector<bool> patches;
  for (std::uint32_t i = 0; data.synth->numVoices > 1 && i < data.synth->numVoices; ++i)
    patches.push_back(!MapBit(data.emptyMap, data.emptyMapSize, i));
  const bool isWhole = std::find(patches.begin(), patches.end(), false) == patches.end();
  for (const RecognizeRule& rule : forms) {
    const Bytes image = SealedImage(rule, data);
    const std::vector<bool>* wanted = isWhole ? nullptr : &patches;
    FormMessages messages = WriteForm(rule, *data.synth, image, wanted);
    if (!messages.empty() && ReadsBack(recognizer, messages, data, image, wanted)) return messages;
  }
  return {};
}

}  // namespace tonalith
