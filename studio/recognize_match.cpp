#include "studio/recognize_match.h"

#include <algorithm>

#include "data/checksums.h"
#include "midi/answer_steps.h"

namespace tonalith {

namespace {

// A piece may be interrupted by this many messages of something else.
constexpr std::uint32_t kMaxInterruption = 64;
// How far back a context message is looked for.
constexpr std::uint32_t kMaxContextDistance = 4096;

bool MessageFits(const MessageRule& rule, const FileMessage& message) {
  if (message.used || (rule.length ? message.bytes.size() != rule.length : message.bytes.size() < 4)) return false;
  return rule.pattern.Matches(message.bytes) &&
         (rule.most == 0 || LengthFits(rule.Answer(), message.bytes, static_cast<std::int64_t>(message.bytes.size())));
}

// The device number of a message: what stands in the first open bits of the pattern; -1 when the type has no channel.
int DeviceOf(const BytePattern& pattern, const Synth& synth, const FileMessage& message) {
  if (!synth.hasSysExChannel) return -1;
  for (std::size_t i = 0; i < pattern.size(); ++i)
    if (pattern.mask[i] != 0xFF) return message.bytes[i] & ~pattern.mask[i] & 0xFF;
  return -1;
}

bool IsContext(const RecognizeRule& rule, const FileMessage& message) {
  return rule.contextFamily.Matches(message.bytes);
}

bool ContextAgrees(const RecognizeRule& rule, const FileMessage& message) {
  return rule.contextRest.Matches(message.bytes.subspan(rule.contextFamily.size()));
}

bool HasContext(const RecognizeRule& rule, const std::vector<FileMessage>& messages, std::uint32_t first, int* there) {
  if (!rule.hasContext) return true;
  const std::uint32_t stop = first > kMaxContextDistance ? first - kMaxContextDistance : 0;
  for (std::uint32_t i = messages[first].contextBefore; i != FileMessage::kNoMessage && i >= stop;
       i = messages[i].contextBefore)
    if (IsContext(rule, messages[i])) {
      if (!ContextAgrees(rule, messages[i])) return false;
      *there = static_cast<int>(i);
      return true;
    }
  return rule.contextDefault;
}

bool MatchMessages(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages,
                   std::uint32_t first, PieceMatch* out) {
  for (std::size_t k = 0; k < rule.messages.size(); ++k) {
    const std::size_t at = first + k;
    if (at >= messages.size() || !MessageFits(rule.messages[k], messages[at])) return false;
    const int device = DeviceOf(rule.messages[k].pattern, synth, messages[at]);
    if (k == 0)
      out->channel = device;
    else if (device >= 0 && out->channel >= 0 && device != out->channel)
      return false;
    out->messages.push_back(static_cast<std::uint32_t>(at));
    out->bytes += messages[at].bytes.size();
  }
  auto place = static_cast<std::size_t>(std::max(rule.patchByte, 0));
  for (const std::uint32_t i : out->messages) {
    if (rule.patchByte >= 0 && place < messages[i].bytes.size()) {
      out->patchNumber = messages[i].bytes[place] - rule.patchFirst;
      if (out->patchNumber < 0 || out->patchNumber >= rule.patchCount) return false;
      break;
    }
    place -= std::min(place, messages[i].bytes.size());
  }
  const std::span<const std::uint8_t> head = messages[first].bytes;
  if (rule.patchBankByte >= 0 && static_cast<std::size_t>(rule.patchBankByte) < head.size()) {
    const int bank = head[static_cast<std::size_t>(rule.patchBankByte)] - rule.patchFirstBank;
    out->patchNumber = bank < 0 ? -1 : out->patchNumber + 128 * bank;
  }
  return true;
}

// The message behind those of a slot from `i` on when it is what says that slot.
const FileMessage* SlotMessage(const RecognizeRule& rule, const std::vector<FileMessage>& messages, std::uint32_t i) {
  const std::size_t behind = i + rule.messages.size();
  if (behind >= messages.size() || messages[behind].used) return nullptr;
  return rule.slotMessage.Matches(messages[behind].bytes) ? &messages[behind] : nullptr;
}

// The messages of one slot stand there in a row, all from one device.
bool RowFits(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages, std::uint32_t i) {
  if (!MessageFits(rule.messages.front(), messages[i])) return false;
  const int device = DeviceOf(rule.messages.front().pattern, synth, messages[i]);
  for (std::size_t k = 1; k < rule.messages.size(); ++k)
    if (i + k >= messages.size() || !MessageFits(rule.messages[k], messages[i + k]) ||
        DeviceOf(rule.messages[k].pattern, synth, messages[i + k]) != device)
      return false;
  return true;
}

// The slot of the messages from `i` on, when `filled` slots were found before; -1: none.
std::int64_t SlotOfMessage(const RecognizeRule& rule, const std::vector<FileMessage>& messages, std::uint32_t i,
                           std::size_t filled) {
  if (rule.slotsInOrder) return static_cast<std::int64_t>(filled);
  const FileMessage* message = rule.slotInMessage() ? &messages[i] : SlotMessage(rule, messages, i);
  return message ? rule.SlotIn(message->bytes) : -1;
}

bool MatchSlots(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages,
                std::uint32_t first, std::int64_t* budget, PieceMatch* out) {
  const auto row = static_cast<std::uint32_t>(rule.messages.size());
  std::vector<bool> filled(rule.slotCount);
  std::uint32_t interruption = 0;
  for (std::uint32_t i = first; i < messages.size() && interruption <= kMaxInterruption; ++i) {
    ++interruption;
    if (--*budget < 0) return false;
    if (rule.hasContext && IsContext(rule, messages[i]) && !ContextAgrees(rule, messages[i])) break;
    if (!RowFits(rule, synth, messages, i)) {
      if (i == first) return false;
      continue;
    }
    const int device = DeviceOf(rule.messages.front().pattern, synth, messages[i]);
    const std::int64_t slot = SlotOfMessage(rule, messages, i, out->slots.size());
    if (slot < 0 || slot >= rule.slotCount || slot % rule.slotVoices) {
      if (i == first) return false;
      continue;
    }
    if (i == first)
      out->channel = device;
    else if (device != out->channel)
      continue;
    if (filled[static_cast<std::size_t>(slot)]) break;
    filled[static_cast<std::size_t>(slot)] = true;
    if (rule.slotMessage.size() != 0) {
      out->attached.push_back(i + row);
      out->bytes += messages[i + row].bytes.size();
    }
    for (std::uint32_t k = 0; k < row; ++k) {
      out->messages.push_back(i + k);
      out->bytes += messages[i + k].bytes.size();
    }
    for (std::uint32_t n = 0; n < rule.slotVoices; ++n) out->slots.push_back(static_cast<std::uint32_t>(slot) + n);
    i += row - 1;
    interruption = 0;
  }
  return rule.complete ? out->slots.size() >= synth.numVoices : out->messages.size() >= std::size_t{2} * row;
}

// Puts messages that carry data by address together.
class AddressMatch {
 public:
  AddressMatch(const RecognizeRule& rule, const Synth& synth, const AreaRule& area)
      : rule_(rule),
        synth_(synth),
        area_(area),
        voices_(area.slots && synth.numVoices > 1),
        head_(static_cast<std::uint32_t>(rule.address.size()) + rule.addressBytes) {
    for (const BlockRule& block : rule.blocks) {
      extent_ = std::max(extent_, block.offset + block.size);
      framed_ = framed_ || block.framed;
    }
  }

  bool Run(const std::vector<FileMessage>& messages, std::uint32_t first, std::int64_t* budget, PieceMatch* out);
  // Makes the body of a match again.
  void Rebuild(const std::vector<FileMessage>& messages, PieceMatch* match);

 private:
  enum class Placing { Elsewhere, Placed, Again };

  std::uint32_t AddressOf(const FileMessage& m) const {
    return SevenBitNumber(m.bytes.subspan(rule_.address.size(), rule_.addressBytes));
  }
  bool Fits(const FileMessage& m) const {
    return !m.used && m.bytes.size() > head_ + 2 && rule_.address.Matches(m.bytes);
  }
  // Slot of an address, or -1.
  std::int64_t SlotOfAddress(std::uint32_t address) const {
    if (address < area_.base) return -1;
    const std::uint32_t distance = address - area_.base;
    if (!area_.slots) return distance < extent_ ? 0 : -1;
    return distance / area_.step < area_.slots ? distance / area_.step : -1;
  }
  std::size_t SlotBase(std::uint32_t slot) const {
    return voices_ ? synth_.headerSize + std::size_t{synth_.voiceSize} * slot : 0;
  }
  bool Begin(const FileMessage& first);
  bool Finish(const std::vector<FileMessage>& messages, PieceMatch* match);
  Placing Place(const FileMessage& m);
  std::size_t StoreRange(std::uint32_t address, std::span<const std::uint8_t> data, bool write, bool* overlap);
  void CopyWhole(const FileMessage& m);
  bool Complete(std::uint32_t slot) const;
  // The same of the only one; looks on from where the last look ended.
  bool AllThere();
  void Frame(std::uint32_t slot, std::span<const std::uint8_t> header);

  const RecognizeRule& rule_;
  const Synth& synth_;
  const AreaRule& area_;
  const bool voices_;
  const std::uint32_t head_;
  std::uint32_t extent_ = 0;
  bool framed_ = false;
  std::int64_t onlySlot_ = -1;  // of a single patch in an area of many
  std::vector<std::uint8_t> body_;
  std::vector<bool> have_;
  std::size_t seenBlocks_ = 0, seenBytes_ = 0;  // by AllThere: whole blocks, and of the next one
  std::vector<std::uint32_t> slots_;            // touched, in order of appearance
  std::vector<bool> touched_;
};

// Visits the places of [address, address + data) in the image.  Without `write` it only finds out whether something is
// there already that differs (overlap).  The number of bytes that belong somewhere.
std::size_t AddressMatch::StoreRange(std::uint32_t address, std::span<const std::uint8_t> data, bool write,
                                     bool* overlap) {
  std::size_t placed = 0;
  std::size_t i = 0;
  while (i < data.size()) {
    const std::uint32_t at = address + static_cast<std::uint32_t>(i);
    const std::int64_t slot = SlotOfAddress(at);
    if (slot < 0 || (onlySlot_ >= 0 && slot != onlySlot_)) {
      ++i;
      continue;
    }
    const std::uint32_t local = at - area_.base - (area_.slots ? area_.step * static_cast<std::uint32_t>(slot) : 0);
    std::size_t run = 1;
    for (const BlockRule& block : rule_.blocks) {
      if (local < block.offset || local >= block.offset + block.size) continue;
      run = std::min<std::size_t>(data.size() - i, block.offset + block.size - local);
      const std::size_t place =
          SlotBase(static_cast<std::uint32_t>(slot)) + block.at + (block.framed ? head_ : 0) + local - block.offset;
      if (place + run > body_.size()) break;
      placed += run;
      for (std::size_t n = 0; n < run; ++n) {
        if (!write) {
          if (have_[place + n] && body_[place + n] != data[i + n]) *overlap = true;
        } else {
          body_[place + n] = data[i + n];
          have_[place + n] = true;
        }
      }
      if (write && !touched_[static_cast<std::size_t>(slot)]) {
        touched_[static_cast<std::size_t>(slot)] = true;
        slots_.push_back(static_cast<std::uint32_t>(slot));
      }
      break;
    }
    i += run;
  }
  return placed;
}

AddressMatch::Placing AddressMatch::Place(const FileMessage& m) {
  const std::span<const std::uint8_t> data = m.bytes.subspan(head_, m.bytes.size() - head_ - 2);
  const std::uint32_t address = AddressOf(m);
  bool overlap = false;
  const std::size_t placed = StoreRange(address, data, false, &overlap);
  // Whole messages are kept: one with more data comes from an instrument of another layout, nothing of it may get lost.
  if (placed == 0 || (framed_ && placed < data.size())) return Placing::Elsewhere;
  if (overlap) return Placing::Again;
  StoreRange(address, data, true, &overlap);
  return Placing::Placed;
}

bool AddressMatch::Complete(std::uint32_t slot) const {
  for (const BlockRule& block : rule_.blocks) {
    const std::size_t from = SlotBase(slot) + block.at + (block.framed ? head_ : 0);
    for (std::size_t i = from; i < from + block.size; ++i)
      if (i >= have_.size() || !have_[i]) return false;
  }
  return true;
}

bool AddressMatch::AllThere() {
  for (; seenBlocks_ < rule_.blocks.size(); ++seenBlocks_, seenBytes_ = 0) {
    const BlockRule& block = rule_.blocks[seenBlocks_];
    const std::size_t from = SlotBase(0) + block.at + (block.framed ? head_ : 0);
    for (; seenBytes_ < block.size; ++seenBytes_)
      if (from + seenBytes_ >= have_.size() || !have_[from + seenBytes_]) return false;
  }
  return true;
}

void AddressMatch::Frame(std::uint32_t slot, std::span<const std::uint8_t> header) {
  for (const BlockRule& block : rule_.blocks) {
    const std::uint32_t size = rule_.FramedSize(block);
    const std::size_t at = SlotBase(slot) + block.at;
    if (!block.framed || at + size > body_.size()) continue;
    std::uint8_t* p = body_.data() + at;
    std::copy(header.begin(), header.end(), p);
    RolandWrite(static_cast<int>(rule_.addressBytes), p + header.size(), area_.base + area_.step * slot + block.offset);
    p[size - 2] = RolandCheckSum(p + header.size(), rule_.addressBytes + block.size);
    p[size - 1] = 0xF7;
  }
}

// A message that is exactly one framed block is kept as it stands, with the checksum it came with.
void AddressMatch::CopyWhole(const FileMessage& m) {
  const std::uint32_t address = AddressOf(m);
  const std::int64_t slot = SlotOfAddress(address);
  if (slot < 0) return;
  for (const BlockRule& block : rule_.blocks) {
    const std::uint32_t start =
        area_.base + (area_.slots ? area_.step * static_cast<std::uint32_t>(slot) : 0) + block.offset;
    if (!block.framed || start != address || m.bytes.size() != rule_.FramedSize(block)) continue;
    const std::size_t at = SlotBase(static_cast<std::uint32_t>(slot)) + block.at;
    if (at + m.bytes.size() <= body_.size())
      std::copy(m.bytes.begin(), m.bytes.end(), body_.begin() + static_cast<std::ptrdiff_t>(at));
  }
}

// False when the message carries nothing of the area.
bool AddressMatch::Begin(const FileMessage& first) {
  const std::int64_t firstSlot = SlotOfAddress(AddressOf(first));
  if (firstSlot < 0) return false;
  if (area_.slots && !voices_) onlySlot_ = firstSlot;
  body_.assign(synth_.fileSize, 0);
  have_.assign(synth_.fileSize, false);
  seenBlocks_ = seenBytes_ = 0;
  touched_.assign(area_.slots ? area_.slots : 1, false);
  return true;
}

bool AddressMatch::Run(const std::vector<FileMessage>& messages, std::uint32_t first, std::int64_t* budget,
                       PieceMatch* out) {
  if (!Fits(messages[first]) || SlotOfAddress(AddressOf(messages[first])) < 0) return false;
  *budget -= synth_.fileSize / 512;
  if (*budget < 0 || !Begin(messages[first])) return false;
  out->channel = DeviceOf(rule_.address, synth_, messages[first]);
  std::uint32_t interruption = 0;
  for (std::uint32_t i = first; i < messages.size() && interruption <= kMaxInterruption; ++i) {
    ++interruption;
    if (--*budget < 0) return false;
    if (!Fits(messages[i]) || DeviceOf(rule_.address, synth_, messages[i]) != out->channel) continue;
    const Placing placing = Place(messages[i]);
    if (placing == Placing::Again) break;
    if (placing == Placing::Elsewhere) {
      if (i == first) return false;
      continue;
    }
    out->messages.push_back(i);
    out->bytes += messages[i].bytes.size();
    const std::span<const std::uint8_t> summed =
        messages[i].bytes.subspan(rule_.address.size(), messages[i].bytes.size() - rule_.address.size() - 2);
    if (RolandCheckSum(summed.data(), static_cast<std::int64_t>(summed.size())) !=
        messages[i].bytes[messages[i].bytes.size() - 2])
      ++out->badMessages;
    interruption = 0;
    if (!voices_ && slots_.size() == 1 && AllThere()) break;
  }
  return Finish(messages, out);
}

// Frames what is complete.  False when that is too little.
bool AddressMatch::Finish(const std::vector<FileMessage>& messages, PieceMatch* match) {
  std::vector<std::uint32_t> whole;
  for (const std::uint32_t slot : slots_)
    if (Complete(voices_ ? slot : 0)) whole.push_back(slot);
  // A voice of which a message is missing is left out: the bank is not good then.
  if (voices_) match->badMessages += static_cast<std::uint32_t>(slots_.size() - whole.size());
  const std::size_t needed = !voices_ ? 1 : rule_.complete ? area_.slots : 2;
  if (whole.size() < needed) return false;
  const auto header = messages[match->messages.front()].bytes.first(rule_.address.size());
  for (const std::uint32_t slot : whole) Frame(slot, header);
  for (const std::uint32_t i : match->messages) CopyWhole(messages[i]);
  if (voices_)
    match->slots = std::move(whole);
  else if (area_.slots)
    match->patchNumber = static_cast<int>(onlySlot_);
  match->body = std::move(body_);
  return true;
}

void AddressMatch::Rebuild(const std::vector<FileMessage>& messages, PieceMatch* match) {
  if (!Begin(messages[match->messages.front()])) return;
  for (const std::uint32_t i : match->messages) Place(messages[i]);
  const std::uint32_t bad = match->badMessages;
  Finish(messages, match);
  match->badMessages = bad;
}

}  // namespace

bool MatchRule(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages,
               std::uint32_t first, std::int64_t* budget, PieceMatch* out) {
  if (rule.byAddress()) {
    if (!rule.address.Matches(messages[first].bytes)) return false;
    bool found = false;
    for (std::size_t area = 0; area < rule.areas.size(); ++area) {
      PieceMatch match;
      if (!AddressMatch(rule, synth, rule.areas[area]).Run(messages, first, budget, &match) ||
          match.bytes <= out->bytes)
        continue;
      match.area = static_cast<std::uint32_t>(area);
      *out = std::move(match);
      found = true;
    }
    return found;
  }
  if (!MessageFits(rule.messages.front(), messages[first]) || !HasContext(rule, messages, first, &out->context))
    return false;
  return rule.hasSlots ? MatchSlots(rule, synth, messages, first, budget, out)
                       : MatchMessages(rule, synth, messages, first, out);
}

bool IsWholeMessage(const RecognizeRule& rule, const Synth& synth) {
  if (rule.byAddress() || rule.hasSlots || rule.messages.size() != 1) return false;
  const MessageRule& message = rule.messages.front();
  if (message.length == 0) return true;
  return message.at == 0 && message.skip == 0 && message.take == message.length && message.length == synth.fileSize;
}

void LinkContexts(const std::vector<BytePattern>& families, std::vector<FileMessage>* messages) {
  if (families.empty()) return;
  std::uint32_t before = FileMessage::kNoMessage;
  for (std::size_t i = 0; i < messages->size(); ++i) {
    FileMessage& message = (*messages)[i];
    message.contextBefore = before;
    for (const BytePattern& family : families)
      if (family.Matches(message.bytes)) before = static_cast<std::uint32_t>(i);
  }
}

void BuildMatchBody(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages,
                    std::span<const std::uint8_t> initial, PieceMatch* match) {
  if (rule.byAddress()) {
    if (match->body.empty()) AddressMatch(rule, synth, rule.areas[match->area]).Rebuild(messages, match);
    return;
  }
  const bool variable = rule.messages.size() == 1 && rule.messages.front().length == 0;
  match->body.assign(initial.begin(), initial.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(
                                                            initial.size(), variable ? 0 : synth.fileSize)));
  match->body.resize(variable ? 0 : synth.fileSize);
  for (std::size_t k = 0; k < match->messages.size(); ++k) {
    const MessageRule& message = rule.messages[k % rule.messages.size()];
    const std::span<const std::uint8_t> bytes = messages[match->messages[k]].bytes;
    if (variable) {
      match->body.assign(bytes.begin(), bytes.end());
      continue;
    }
    const std::size_t at =
        message.at +
        (rule.hasSlots
             ? static_cast<std::size_t>(rule.SlotPlace(synth, match->slots[k / rule.messages.size() * rule.slotVoices]))
             : 0);
    const std::span<const std::uint8_t> kept = bytes.subspan(message.skip, message.take);
    if (at + kept.size() <= match->body.size())
      std::copy(kept.begin(), kept.end(), match->body.begin() + static_cast<std::ptrdiff_t>(at));
  }
}

}  // namespace tonalith
