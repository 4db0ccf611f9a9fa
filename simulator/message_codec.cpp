#include <algorithm>

#include "simulator/message_engine.h"
#include "simulator/wire_codecs.h"

// How the data messages of MessageEngine are put together and taken apart.
namespace tonalith {
namespace {

std::size_t CountedSize(const MessageInfo& message, std::size_t size) {
  return 2 + PackedSize(message.packing, size) + 1;
}

// All but the last `tail` bytes packed.
std::vector<std::uint8_t> PackWithTail(BodyPacking packing, std::span<const std::uint8_t> plain, std::size_t tail) {
  auto body = PackBody(packing, plain.first(plain.size() - tail));
  const auto last = plain.last(tail);
  body.insert(body.end(), last.begin(), last.end());
  return body;
}

}  // namespace

int MessageEngine::Held(const MessageInfo& message) const {
  const int area = message.parts.front().area;
  const auto held = core_.held.find(area);
  return held == core_.held.end() ? core_.Area(area).items : held->second;
}

int MessageEngine::CountIn(const MessageInfo& message, std::size_t headSize, int item, std::size_t size) const {
  if (!message.leastItems || message.parts.empty()) return -1;
  const bool wholeSum = IsWholeSum(message.sum) || message.sum == SumKind::kUnpacked;
  const int most = core_.Area(message.parts.front().area).items;
  for (int count = message.leastItems; count <= most; ++count)
    if (headSize + BodySize(message, Ranges(message, item, count)) + (wholeSum ? 2 : 1) == size) return count;
  return 0;
}

bool MessageEngine::HeadFits(const MessageInfo& message, int item, int count,
                             std::span<const std::uint8_t> bytes) const {
  const auto right = Head(message, item, count);
  for (std::size_t i = 0; i < std::min({right.size(), bytes.size(), message.head.size()}); ++i) {
    const std::string& name = message.head[i].name;
    if ((name == "items" || name == "size" || name == "size_high") && bytes[i] != right[i]) return false;
  }
  return true;
}

std::vector<MessageEngine::PartRange> MessageEngine::Ranges(const MessageInfo& message, int item, int count) const {
  std::vector<PartRange> ranges;
  for (const MessagePart& part : message.parts) {
    const AreaInfo& area = core_.Area(part.area);
    PartRange range{part.area,
                    0,
                    part.count,
                    part.itemSum,
                    part.sumAhead,
                    static_cast<std::size_t>(part.offset),
                    static_cast<std::size_t>(part.bytes > 0 ? part.bytes : area.itemBytes - part.offset),
                    part.plain};
    if (part.items == MessagePart::Items::kAll)
      range.count = !message.leastItems ? area.items : count < 0 ? Held(message) : count;
    if (part.items == MessagePart::Items::kCaptured) range.first = item;
    if (part.items == MessagePart::Items::kBank && message.bankSize > 0) {
      range.first = item / message.bankSize * message.bankSize;
      range.count = message.bankSize;
    }
    if (part.items == MessagePart::Items::kBankNumber && message.bankSize > 0) range.first = item / message.bankSize;
    ranges.push_back(range);
  }
  return ranges;
}

std::size_t MessageEngine::PlainSize(const std::vector<PartRange>& ranges) {
  std::size_t plain = 0;
  for (const PartRange& range : ranges)
    plain += static_cast<std::size_t>(range.count) * (range.bytes + (range.itemSum == SumKind::kNone ? 0 : 1));
  return plain;
}

std::size_t MessageEngine::TailSize(const std::vector<PartRange>& ranges) {
  std::size_t tail = 0;
  for (const PartRange& range : ranges)
    if (range.plain) tail += static_cast<std::size_t>(range.count) * range.bytes;
  return tail;
}

bool MessageEngine::IsVariable(const std::vector<PartRange>& ranges) const {
  return ranges.size() == 1 && ranges.front().count == 1 && core_.Area(ranges.front().area).variable;
}

bool MessageEngine::LengthIsRight(const MessageInfo& message, std::size_t headSize, int item, std::size_t size) const {
  const auto ranges = Ranges(message, item, CountIn(message, headSize, item, size));
  if (IsVariable(ranges)) return size > headSize && UnpackedSize(message.packing, size - headSize - 1).has_value();
  const bool wholeSum = IsWholeSum(message.sum) || message.sum == SumKind::kUnpacked;
  return !ranges.empty() && size == headSize + BodySize(message, ranges) + (wholeSum ? 2 : 1);
}

std::size_t MessageEngine::BodySize(const MessageInfo& message, const std::vector<PartRange>& ranges) const {
  if (message.sum == SumKind::kBlocks) return PlainSize(ranges) + 3 * BlockSizes(message, ranges).size() - 2;
  if (message.sum == SumKind::kCounted) {
    std::size_t body = 0;
    for (const std::size_t size : ItemSizes(ranges)) body += CountedSize(message, size);
    return body;
  }
  if (message.itemHead.empty() || ranges.empty()) {
    const std::size_t tail = TailSize(ranges);
    const std::size_t packed = PackedSize(message.packing, PlainSize(ranges) - tail) + tail;
    return packed + (message.sum == SumKind::kRunning ? RunningSums(message, packed) : 0);
  }
  return static_cast<std::size_t>(ranges.front().count) *
         (message.itemHead.size() + PackedSize(message.packing, ranges.front().bytes) + 1);
}

// Every item in a frame of its own.
std::vector<std::uint8_t> MessageEngine::EncodeFrames(const MessageInfo& message, std::span<const std::uint8_t> plain,
                                                      std::size_t itemBytes) const {
  std::vector<std::uint8_t> body;
  for (std::size_t at = 0; at + itemBytes <= plain.size(); at += itemBytes) {
    auto frame = EmitPattern(message.itemHead, core_.device, core_.description.deviceBase, {});
    const auto packed = PackBody(message.packing, plain.subspan(at, itemBytes));
    frame.insert(frame.end(), packed.begin(), packed.end());
    const auto from = std::min(static_cast<std::size_t>(message.itemSumStart), frame.size());
    frame.push_back(NegativeSum(std::span<const std::uint8_t>(frame).subspan(from)));
    body.insert(body.end(), frame.begin(), frame.end());
  }
  return body;
}

MessageEngine::Verdict MessageEngine::DecodeFrames(const MessageInfo& message, std::span<const std::uint8_t> body,
                                                   std::size_t itemBytes, std::vector<std::uint8_t>* plain) const {
  const std::size_t head = message.itemHead.size();
  const std::size_t packed = PackedSize(message.packing, itemBytes);
  const auto from = std::min(static_cast<std::size_t>(message.itemSumStart), head);
  for (; body.size() >= head + packed + 1; body = body.subspan(head + packed + 1)) {
    if (!MatchPattern(message.itemHead, body, core_.device, core_.description.deviceBase, nullptr))
      return Verdict::kBadLength;
    if (NegativeSum(body.subspan(from, head + packed - from)) != body[head + packed]) return Verdict::kBadSum;
    const auto item = UnpackBody(message.packing, body.subspan(head, packed), itemBytes);
    if (!item) return Verdict::kBadLength;
    plain->insert(plain->end(), item->begin(), item->end());
  }
  return Verdict::kTaken;
}

std::size_t MessageEngine::RunningSums(const MessageInfo& message, std::size_t body) {
  const auto every = static_cast<std::size_t>(message.sumEvery);
  return every == 0 ? 1 : (body + every - 1) / every;
}

void MessageEngine::AppendWithSums(const MessageInfo& message, std::span<const std::uint8_t> body,
                                   std::vector<std::uint8_t>* bytes) {
  const std::size_t from = std::min(static_cast<std::size_t>(message.sumStart), bytes->size());
  while (!body.empty()) {
    const auto block =
        message.sumEvery == 0 ? body : body.first(std::min(body.size(), static_cast<std::size_t>(message.sumEvery)));
    bytes->insert(bytes->end(), block.begin(), block.end());
    bytes->push_back(PlainSum(std::span<const std::uint8_t>(*bytes).subspan(from)));
    body = body.subspan(block.size());
  }
}

std::optional<std::vector<std::uint8_t>> MessageEngine::WithoutSums(const MessageInfo& message, std::size_t headSize,
                                                                    std::span<const std::uint8_t> bytes) {
  const std::size_t from = std::min(static_cast<std::size_t>(message.sumStart), headSize);
  const std::size_t end = bytes.size() - 1;
  const std::size_t every = message.sumEvery == 0 ? end : static_cast<std::size_t>(message.sumEvery);
  std::vector<std::uint8_t> body;
  for (std::size_t at = headSize; at < end;) {
    const std::size_t sumAt = std::min(at + every, end - 1);
    if (bytes[sumAt] != message.sumAny && PlainSum(bytes.subspan(from, sumAt - from)) != bytes[sumAt])
      return std::nullopt;
    body.insert(body.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at),
                bytes.begin() + static_cast<std::ptrdiff_t>(sumAt));
    at = sumAt + 1;
  }
  return body;
}

std::vector<std::size_t> MessageEngine::BlockSizes(const MessageInfo& message,
                                                   const std::vector<PartRange>& ranges) const {
  std::vector<std::size_t> sizes;
  for (const PartRange& range : ranges)
    for (int i = 0; i < range.count; i += message.blockItems)
      sizes.push_back(static_cast<std::size_t>(std::min(message.blockItems, range.count - i)) * range.bytes);
  return sizes;
}

std::vector<std::uint8_t> MessageEngine::EncodeBlocks(const MessageInfo& message, std::span<const std::uint8_t> head,
                                                      std::span<const std::uint8_t> plain,
                                                      const std::vector<std::size_t>& sizes) {
  std::vector<std::uint8_t> bytes(head.begin(), head.end());
  auto from = std::min(static_cast<std::size_t>(message.sumStart), bytes.size());
  for (const std::size_t size : sizes) {
    if (bytes.size() != head.size()) {
      bytes.insert(bytes.end(), {static_cast<std::uint8_t>(size >> 7 & 0x7F), static_cast<std::uint8_t>(size & 0x7F)});
      from = bytes.size();
    }
    bytes.insert(bytes.end(), plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(size));
    plain = plain.subspan(size);
    bytes.push_back(NegativeSum(std::span<const std::uint8_t>(bytes).subspan(from)));
  }
  bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(head.size()));
  return bytes;
}

MessageEngine::Verdict MessageEngine::DecodeBlocks(const MessageInfo& message, std::size_t headSize,
                                                   std::span<const std::uint8_t> bytes,
                                                   const std::vector<std::size_t>& sizes,
                                                   std::vector<std::uint8_t>* plain) {
  auto from = std::min(static_cast<std::size_t>(message.sumStart), headSize);
  std::size_t at = headSize;
  for (const std::size_t size : sizes) {
    if (at != headSize) {
      if (std::size_t{bytes[at]} * 128 + bytes[at + 1] != size) return Verdict::kBadLength;
      at += 2;
      from = at;
    }
    const auto data = bytes.subspan(at, size);
    at += size;
    if (NegativeSum(bytes.subspan(from, at - from)) != bytes[at]) return Verdict::kBadSum;
    plain->insert(plain->end(), data.begin(), data.end());
    ++at;
  }
  return Verdict::kTaken;
}

std::vector<std::size_t> MessageEngine::ItemSizes(const std::vector<PartRange>& ranges) {
  std::vector<std::size_t> sizes;
  for (const PartRange& range : ranges) sizes.insert(sizes.end(), static_cast<std::size_t>(range.count), range.bytes);
  return sizes;
}

std::vector<std::uint8_t> MessageEngine::EncodeCounted(const MessageInfo& message, std::span<const std::uint8_t> plain,
                                                       const std::vector<std::size_t>& sizes) {
  std::vector<std::uint8_t> bytes;
  for (const std::size_t size : sizes) {
    const auto packed = PackBody(message.packing, plain.first(size));
    plain = plain.subspan(size);
    bytes.push_back(static_cast<std::uint8_t>(packed.size() >> 7 & 0x7F));
    bytes.push_back(static_cast<std::uint8_t>(packed.size() & 0x7F));
    bytes.insert(bytes.end(), packed.begin(), packed.end());
    bytes.push_back(NegativeSum(packed));
  }
  return bytes;
}

MessageEngine::Verdict MessageEngine::DecodeCounted(const MessageInfo& message, std::span<const std::uint8_t> body,
                                                    const std::vector<std::size_t>& sizes,
                                                    std::vector<std::uint8_t>* plain) {
  for (const std::size_t size : sizes) {
    const std::size_t packed = PackedSize(message.packing, size);
    if (std::size_t{body[0]} * 128 + body[1] != packed) return Verdict::kBadLength;
    const auto data = body.subspan(2, packed);
    if (NegativeSum(data) != body[2 + packed]) return Verdict::kBadSum;
    const auto item = UnpackBody(message.packing, data, size);
    if (!item) return Verdict::kBadLength;
    plain->insert(plain->end(), item->begin(), item->end());
    body = body.subspan(CountedSize(message, size));
  }
  return Verdict::kTaken;
}

int MessageEngine::BlockPause(std::span<const std::uint8_t> begun) const {
  for (const MessageInfo& message : core_.description.messages) {
    Captures captures;
    if (message.blockPauseMs == 0 || begun.size() <= message.head.size() ||
        !MatchPattern(message.head, begun, core_.device, core_.description.deviceBase, &captures))
      continue;
    std::size_t end = message.head.size();
    for (const std::size_t size : ItemSizes(Ranges(message, ItemNumber(message.bankSize, captures)))) {
      end += CountedSize(message, size);
      if (end == begun.size()) return message.blockPauseMs;
      if (end > begun.size()) break;
    }
  }
  return 0;
}

std::vector<std::uint8_t> MessageEngine::Head(const MessageInfo& message, int item, int count) const {
  Captures counts;
  if (message.leastItems && !message.parts.empty()) {
    const auto ranges = Ranges(message, item, count);
    const auto size = static_cast<int>(BodySize(message, ranges));
    counts = {{"items", ranges.front().count - message.leastItems}, {"size", size % 128}, {"size_high", size / 128}};
  }
  const int within = message.bankSize > 0 ? item % message.bankSize : item;
  const bool wide = std::any_of(message.head.begin(), message.head.end(),
                                [](const PatternToken& token) { return token.name == "item_high"; });
  counts.insert({{"item", wide ? within % 128 : within},
                 {"item_high", within / 128},
                 {"bank", message.bankSize > 0 ? item / message.bankSize : 0}});
  return EmitPattern(message.head, core_.device, core_.description.deviceBase, counts);
}

std::vector<std::uint8_t> MessageEngine::Encode(const MessageInfo& message, int item) const {
  auto bytes = Head(message, item);
  if (message.parts.empty()) return bytes;
  std::vector<std::uint8_t> plain;
  const auto ranges = Ranges(message, item);
  if (IsVariable(ranges)) {
    if (core_.memory.Item(ranges.front().area, item).empty()) return {};
    const auto body =
        PackBody(message.packing, core_.memory.Contents(core_.description, ranges.front().area, ranges.front().first));
    bytes.insert(bytes.end(), body.begin(), body.end());
    bytes.push_back(0xF7);
    return bytes;
  }
  for (const PartRange& range : ranges) {
    for (int i = range.first; i < range.first + range.count; ++i) {
      auto data = core_.memory.Item(range.area, i);
      if (data.empty()) return {};
      data = data.subspan(range.offset, range.bytes);
      if (range.itemSum != SumKind::kNone && range.sumAhead) plain.push_back(WholeSumByte(range.itemSum, data));
      plain.insert(plain.end(), data.begin(), data.end());
      if (range.itemSum != SumKind::kNone && !range.sumAhead) plain.push_back(WholeSumByte(range.itemSum, data));
    }
  }
  std::vector<std::uint8_t> body;
  if (message.sum == SumKind::kBlocks)
    body = EncodeBlocks(message, bytes, plain, BlockSizes(message, ranges));
  else if (message.sum == SumKind::kCounted)
    body = EncodeCounted(message, plain, ItemSizes(ranges));
  else if (message.itemHead.empty())
    body = PackWithTail(message.packing, plain, TailSize(ranges));
  else
    body = EncodeFrames(message, plain, ranges.front().bytes);
  if (message.sum == SumKind::kRunning)
    AppendWithSums(message, body, &bytes);
  else
    bytes.insert(bytes.end(), body.begin(), body.end());
  if (IsWholeSum(message.sum))
    bytes.push_back(WholeSumByte(message.sum, std::span<const std::uint8_t>(bytes).subspan(
                                                  std::min(static_cast<std::size_t>(message.sumStart), bytes.size()))));
  if (message.sum == SumKind::kUnpacked) bytes.push_back(PlainSum(plain));
  bytes.push_back(0xF7);
  return bytes;
}

MessageEngine::Verdict MessageEngine::DecodeVariable(const MessageInfo& message, std::size_t headSize,
                                                     const PartRange& range, std::span<const std::uint8_t> bytes) {
  const auto packed = bytes.subspan(headSize, bytes.size() - headSize - 1);
  const auto size = UnpackedSize(message.packing, packed.size());
  const auto contents = size ? UnpackBody(message.packing, packed, *size) : std::nullopt;
  const bool taken = contents && core_.memory.SetContents(core_.description, range.area, range.first, *contents);
  return taken ? Verdict::kTaken : Verdict::kBadLength;
}

MessageEngine::Verdict MessageEngine::Decode(const MessageInfo& message, std::size_t headSize, int item,
                                             std::span<const std::uint8_t> bytes) {
  const int count = CountIn(message, headSize, item, bytes.size());
  const auto ranges = Ranges(message, item, count);
  if (!LengthIsRight(message, headSize, item, bytes.size()) || !HeadFits(message, item, count, bytes))
    return Verdict::kBadLength;
  if (IsVariable(ranges)) return DecodeVariable(message, headSize, ranges.front(), bytes);
  const std::size_t body = BodySize(message, ranges);
  for (const PartRange& range : ranges)
    if (core_.memory.Item(range.area, range.first + range.count - 1).empty()) return Verdict::kBadLength;

  std::vector<std::uint8_t> plain;
  if (message.sum == SumKind::kBlocks) {
    const Verdict blocks = DecodeBlocks(message, headSize, bytes, BlockSizes(message, ranges), &plain);
    if (blocks != Verdict::kTaken) return blocks;
  } else if (message.sum == SumKind::kCounted) {
    const Verdict blocks = DecodeCounted(message, bytes.subspan(headSize, body), ItemSizes(ranges), &plain);
    if (blocks != Verdict::kTaken) return blocks;
  } else if (!message.itemHead.empty()) {
    const Verdict frames = DecodeFrames(message, bytes.subspan(headSize, body), ranges.front().bytes, &plain);
    if (frames != Verdict::kTaken) return frames;
  } else {
    std::vector<std::uint8_t> packed(bytes.begin() + static_cast<std::ptrdiff_t>(headSize),
                                     bytes.begin() + static_cast<std::ptrdiff_t>(headSize + body));
    if (message.sum == SumKind::kRunning) {
      auto summed = WithoutSums(message, headSize, bytes);
      if (!summed) return Verdict::kBadSum;
      packed = std::move(*summed);
    }
    const std::size_t tail = TailSize(ranges);
    const auto split = packed.end() - static_cast<std::ptrdiff_t>(tail);
    auto unpacked =
        UnpackBody(message.packing, std::vector<std::uint8_t>(packed.begin(), split), PlainSize(ranges) - tail);
    if (!unpacked) return Verdict::kBadLength;
    plain = std::move(*unpacked);
    plain.insert(plain.end(), split, packed.end());
  }
  const std::size_t sumAt = bytes.size() - 2;
  const auto sumStart = static_cast<std::size_t>(message.sumStart);
  if (IsWholeSum(message.sum) &&
      (sumStart > sumAt || WholeSumByte(message.sum, bytes.subspan(sumStart, sumAt - sumStart)) != bytes[sumAt]))
    return Verdict::kBadSum;
  if (message.sum == SumKind::kUnpacked && PlainSum(plain) != bytes[sumAt]) return Verdict::kBadSum;

  // Everything is looked at before anything is written.
  for (const bool write : {false, true}) {
    std::size_t at = 0;
    for (const PartRange& range : ranges) {
      for (int i = range.first; i < range.first + range.count; ++i) {
        const auto target = core_.memory.Item(range.area, i).subspan(range.offset, range.bytes);
        const std::size_t sums = range.itemSum == SumKind::kNone ? 0 : 1, ahead = range.sumAhead ? sums : 0;
        const auto source = std::span<const std::uint8_t>(plain).subspan(at + ahead, target.size());
        if (sums && plain[range.sumAhead ? at : at + target.size()] != WholeSumByte(range.itemSum, source))
          return Verdict::kBadSum;
        at += target.size() + sums;
        if (!OwnSumIsRight(core_.Area(range.area).ownSum, source)) return Verdict::kBadSum;
        if (write) std::copy(source.begin(), source.end(), target.begin());
      }
    }
  }
  if (count > 0) core_.held[ranges.front().area] = count;
  return Verdict::kTaken;
}

}  // namespace tonalith
