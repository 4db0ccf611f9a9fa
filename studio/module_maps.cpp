#include "studio/module_maps.h"

#include <algorithm>

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostDescriptors = 4096;
constexpr std::uint32_t kLeastRolandData = 5;  // shorter messages are not found by their address
constexpr std::size_t kPiecesAt = 6;           // of the request: the most bytes of a message less one
constexpr std::uint8_t kEnd = 0xF7;
constexpr std::int32_t kCopyNothing = -0x1000000;  // a message is never that long

void AddPattern(const BytePattern& pattern, std::size_t at, std::vector<SysXPair>* pairs) {
  for (std::size_t i = 0; i < pattern.size(); ++i)
    pairs->push_back({static_cast<std::int32_t>(at + i), pattern.mask[i] == 0xFF ? pattern.value[i] : kAnySysExByte});
}

void SetPair(std::vector<SysXPair>* pairs, std::uint32_t offset, std::uint8_t value) {
  const auto found = std::find_if(pairs->begin(), pairs->end(),
                                  [&](const SysXPair& p) { return p.offset == static_cast<std::int32_t>(offset); });
  if (found != pairs->end())
    found->value = value;
  else
    pairs->push_back({static_cast<std::int32_t>(offset), value});
}

// A descriptor for messages of one length that end with F7.
StdSysXDescriptor Exact(const BytePattern& pattern, std::uint32_t length) {
  StdSysXDescriptor d;
  d.size = length;
  AddPattern(pattern, 0, &d.pairs);
  SetPair(&d.pairs, length - 1, kEnd);
  return d;
}

// Whether there can be a message that both take.
bool Overlap(const StdSysXDescriptor& a, const StdSysXDescriptor& b) {
  if (!a.variable && !b.variable && a.size != b.size) return false;
  for (const SysXPair& p : a.pairs)
    for (const SysXPair& q : b.pairs)
      if (p.offset == q.offset && p.value != q.value && p.value != kAnySysExByte && q.value != kAnySysExByte)
        return false;
  return true;
}

bool Overlap(const RolandSysXDescriptor& a, const RolandSysXDescriptor& b) {
  return a.instrumentId == b.instrumentId && a.addressBytes == b.addressBytes &&
         a.baseAddress < std::uint64_t{b.baseAddress} + b.size && b.baseAddress < std::uint64_t{a.baseAddress} + a.size;
}

bool Overlap(const SysXDescriptor& a, const SysXDescriptor& b) {
  if (a.index() != b.index()) return false;
  if (const auto* standard = std::get_if<StdSysXDescriptor>(&a))
    return Overlap(*standard, std::get<StdSysXDescriptor>(b));
  return Overlap(std::get<RolandSysXDescriptor>(a), std::get<RolandSysXDescriptor>(b));
}

// The descriptors of one form; empty when a map cannot say it.
class FormMap {
 public:
  FormMap(const Synth& synth, const RecognizeRule& rule) : synth_(synth), rule_(rule) {}

  std::vector<SysXDescriptor> Make() {
    if (rule_.byAddress())
      Addresses();
    else if (rule_.hasSlots)
      Slots();
    else
      Messages();
    return good_ ? std::move(list_) : std::vector<SysXDescriptor>();
  }

 private:
  std::uint32_t VoicePlace(std::uint32_t slot) const { return synth_.headerSize + synth_.voiceSize * slot; }

  void Messages() {
    for (const MessageRule& message : rule_.messages) {
      good_ = good_ && message.length != 0;
      if (!good_) return;
      SysXDescriptor d = FromMessage(message, 0);
      for (const SysXDescriptor& other : list_) good_ = good_ && !Overlap(other, d);
      list_.push_back(std::move(d));
    }
  }

  StdSysXDescriptor FromMessage(const MessageRule& message, std::uint32_t place) const {
    StdSysXDescriptor d = Exact(message.pattern, message.length);
    d.sourceOffset = message.skip;
    d.copyBytes = message.take == message.length ? 0 : static_cast<std::int32_t>(message.take);
    d.destinationOffset = place + message.at;
    return d;
  }

  void Slots() {
    const MessageRule& message = rule_.messages.front();
    good_ = rule_.slotInMessage() && rule_.messages.size() == 1 && message.length != 0 &&
            rule_.slotByte + 1 < message.length &&
            rule_.slotFirst + rule_.slotCount <= (rule_.slotHigh < 0 ? 128u : 128u * 128u);
    if (!good_) return;
    if (rule_.hasContext) list_.push_back(Context());
    for (std::uint32_t k = 0; k < rule_.slotCount; k += rule_.slotVoices) {
      StdSysXDescriptor d = FromMessage(message, static_cast<std::uint32_t>(rule_.SlotPlace(synth_, k)));
      const std::uint32_t number = rule_.slotFirst + k;
      SetPair(&d.pairs, rule_.slotByte, static_cast<std::uint8_t>(number & 0x7F));
      if (rule_.slotHigh >= 0)
        SetPair(&d.pairs, static_cast<std::uint32_t>(rule_.slotHigh), static_cast<std::uint8_t>(number >> 7));
      d.useBase = rule_.hasContext;
      list_.push_back(std::move(d));
    }
  }

  // What chooses the bank carries no data: it makes this data type the one that the base belongs to.
  StdSysXDescriptor Context() const {
    StdSysXDescriptor d;
    d.variable = 1;
    d.copyBytes = kCopyNothing;
    d.setBase = 1;
    AddPattern(rule_.contextFamily, 0, &d.pairs);
    AddPattern(rule_.contextRest, rule_.contextFamily.size(), &d.pairs);
    return d;
  }

  bool IsRoland() const {
    const BytePattern& head = rule_.address;
    return head.size() == 5 && head.value[1] == kRolandId && head.mask[1] == 0xFF && head.mask[3] == 0xFF &&
           (0x12 & head.mask[4]) == head.value[4];
  }

  void Addresses() {
    // The memory places of a single patch matter only when it has no place of its own.
    const bool bank = synth_.numVoices > 1;
    const bool own = std::any_of(rule_.areas.begin(), rule_.areas.end(), [](const AreaRule& a) { return !a.slots; });
    for (const AreaRule& area : rule_.areas) {
      if (area.slots && !bank && own) continue;
      for (std::uint32_t k = 0; k < std::max<std::uint32_t>(area.slots, 1); ++k)
        for (const BlockRule& block : rule_.blocks)
          AddBlock(block, area.base + area.step * k, area.slots && bank ? VoicePlace(k) : 0);
    }
  }

  void AddBlock(const BlockRule& block, std::uint32_t areaAddress, std::uint32_t place) {
    if (list_.size() > kMostDescriptors) good_ = false;
    if (!good_) return;
    const std::uint32_t address = areaAddress + block.offset;
    if (!IsRoland() || block.framed || block.size < kLeastRolandData) return AddExact(block, address, place);
    AddRoland({address, place + block.at, block.size, rule_.addressBytes, rule_.address.value[3]});
    const std::uint32_t last = block.size % (synth_.dumpRequest[kPiecesAt] + 1U);
    if (last > 0 && last < kLeastRolandData)
      AddExact({0, last, block.at + block.size - last}, address + block.size - last, place);
  }

  // One message of this length at this address.
  void AddExact(const BlockRule& block, std::uint32_t address, std::uint32_t place) {
    const auto head = static_cast<std::uint32_t>(rule_.address.size());
    StdSysXDescriptor d = Exact(rule_.address, rule_.FramedSize(block));
    for (std::uint32_t i = 0; i < rule_.addressBytes; ++i)
      SetPair(&d.pairs, head + i, static_cast<std::uint8_t>(address >> (7 * (rule_.addressBytes - 1 - i)) & 0x7F));
    d.destinationOffset = place + block.at;
    if (!block.framed) {
      d.sourceOffset = head + rule_.addressBytes;
      d.copyBytes = static_cast<std::int32_t>(block.size);
    }
    list_.emplace_back(std::move(d));
  }

  // Neighbours in the instrument that are neighbours in the image are one range.
  void AddRoland(const RolandSysXDescriptor& d) {
    auto* last = list_.empty() ? nullptr : std::get_if<RolandSysXDescriptor>(&list_.back());
    if (last && last->baseAddress + last->size == d.baseAddress &&
        last->destinationOffset + last->size == d.destinationOffset)
      last->size += d.size;
    else
      list_.emplace_back(d);
  }

  const Synth& synth_;
  const RecognizeRule& rule_;
  std::vector<SysXDescriptor> list_;
  bool good_ = true;
};

bool ParseRolandLine(std::string_view value, SysXDescriptor* out, std::string* error) {
  RolandSysXDescriptor d;
  std::size_t bytes = 0;
  const auto options = SplitOptions(value);
  if (!RuleAddress(options.front().rest, &d.baseAddress, &bytes)) {
    *error = "an address of up to four 7-bit bytes is expected";
    return false;
  }
  d.addressBytes = static_cast<std::uint32_t>(bytes);
  bool model = false;
  for (std::size_t i = 1; i < options.size(); ++i) {
    std::uint32_t number = 0;
    const bool good = RuleNumber(options[i].rest, &number);
    if (good && options[i].word == "model" && number <= 127)
      d.instrumentId = static_cast<std::uint8_t>(number), model = true;
    else if (good && options[i].word == "size")
      d.size = number;
    else if (good && options[i].word == "at")
      d.destinationOffset = number;
    else
      return *error = "unknown option \"" + options[i].word + "\", or it has no good value", false;
  }
  if (!model || d.size == 0) *error = "an address needs \"model\" and \"size\"";
  *out = d;
  return error->empty();
}

// One option of a standard line; false: unknown, or its value is not good.
bool ApplyMapOption(const RuleOption& option, StdSysXDescriptor* d) {
  std::uint32_t number = 0;
  if (option.word == "base") return d->useBase = 1, option.rest.empty();
  if (option.word == "length" && AsciiEqualNoCase(option.rest, "any")) return d->variable = 1, true;
  if (option.word == "copy") {
    const auto copy = ParseInteger(option.rest);
    if (!copy || *copy < -0x3FFFFFFF || *copy > 0x3FFFFFFF) return false;
    return d->copyBytes = static_cast<std::int32_t>(*copy), true;
  }
  if (!RuleNumber(option.rest, &number)) return false;
  if (option.word == "length") return d->size = number, true;
  if (option.word == "from") return d->sourceOffset = number, true;
  if (option.word == "at") return d->destinationOffset = number, true;
  if (option.word != "setbase") return false;
  d->setBase = 1;
  d->newBaseValue = number;
  return true;
}

}  // namespace

bool ParseMapLine(std::string_view value, const Synth& synth, SysXDescriptor* out, std::string* error) {
  error->clear();
  const auto options = SplitOptions(value);
  if (options.front().word == "roland") return ParseRolandLine(value, out, error);
  BytePattern pattern;
  if (!ParseBytePattern(FirstPart(value), &pattern, error)) return false;
  StdSysXDescriptor d;
  d.size = synth.fileSize;
  AddPattern(pattern, 0, &d.pairs);
  for (std::size_t i = 1; i < options.size(); ++i)
    if (!ApplyMapOption(options[i], &d)) {
      *error = "unknown option \"" + options[i].word + "\", or it has no good value";
      return false;
    }
  if (d.variable) d.size = 0;
  if (!d.variable && d.size < pattern.size()) {
    *error = "the message is shorter than its pattern";
    return false;
  }
  *out = std::move(d);
  return true;
}

std::vector<SysXDescriptor> MapOfRules(const Synth& synth, const std::vector<RecognizeRule>& rules,
                                       std::vector<SysXDescriptor> written) {
  std::vector<SysXDescriptor> map = std::move(written);
  // A patch that says its place in the memory is taken for the edit buffer only when nothing else is.
  const bool own = std::any_of(rules.begin(), rules.end(), [](const RecognizeRule& r) { return r.patchByte < 0; });
  for (const RecognizeRule& rule : rules) {
    if (rule.patchByte >= 0 && own) continue;
    const std::size_t former = map.size();
    std::vector<SysXDescriptor> form = FormMap(synth, rule).Make();
    if (former + form.size() > kMostDescriptors) continue;
    for (SysXDescriptor& d : form) {
      const auto end = map.begin() + static_cast<std::ptrdiff_t>(former);
      if (std::none_of(map.begin(), end, [&](const SysXDescriptor& other) { return Overlap(other, d); }))
        map.push_back(std::move(d));
    }
  }
  return map;
}

}  // namespace tonalith
