#include "simulator/message_engine.h"

#include <algorithm>

#include "simulator/parts.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

// A head of the message, and the frame of its first item behind it.
bool BeginsWith(const MessageInfo& message, const BytePattern& head, std::span<const std::uint8_t> bytes, int device,
                int deviceBase, Captures* captures) {
  return MatchPattern(head, bytes, device, deviceBase, captures) &&
         (message.itemHead.empty() ||
          MatchPattern(message.itemHead, bytes.subspan(head.size()), device, deviceBase, nullptr));
}

std::size_t CountedSize(const MessageInfo& message, std::size_t size) {
  return 2 + PackedSize(message.packing, size) + 1;
}

int CapturedValue(const Captures& captures, const char* name, int otherwise = 0) {
  const auto found = captures.find(name);
  return found == captures.end() ? otherwise : found->second;
}

}  // namespace

int MessageEngine::ItemNumber(int bankSize, const Captures& captures) const {
  return CapturedValue(captures, "item") + bankSize * CapturedValue(captures, "bank", core_.bank);
}

std::vector<MessageEngine::PartRange> MessageEngine::Ranges(const MessageInfo& message, int item) const {
  std::vector<PartRange> ranges;
  for (const MessagePart& part : message.parts) {
    const AreaInfo& area = core_.Area(part.area);
    PartRange range{part.area,
                    0,
                    part.count,
                    part.itemSum,
                    static_cast<std::size_t>(part.offset),
                    static_cast<std::size_t>(part.bytes > 0 ? part.bytes : area.itemBytes - part.offset)};
    if (part.items == MessagePart::Items::kAll) range.count = area.items;
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
    plain += static_cast<std::size_t>(range.count) * (range.bytes + (range.itemSum ? 1 : 0));
  return plain;
}

std::size_t MessageEngine::BodySize(const MessageInfo& message, const std::vector<PartRange>& ranges) const {
  if (message.sum == SumKind::kBlocks) return PlainSize(ranges) + 3 * BlockSizes(message, ranges).size() - 2;
  if (message.sum == SumKind::kCounted) {
    std::size_t body = 0;
    for (const std::size_t size : ItemSizes(ranges)) body += CountedSize(message, size);
    return body;
  }
  if (message.itemHead.empty() || ranges.empty()) {
    const std::size_t packed = PackedSize(message.packing, PlainSize(ranges));
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

std::vector<std::uint8_t> MessageEngine::Encode(const MessageInfo& message, int item) const {
  const int shown = message.bankSize > 0 ? item % message.bankSize : item;
  const int bank = message.bankSize > 0 ? item / message.bankSize : 0;
  auto bytes = EmitPattern(message.head, core_.device, core_.description.deviceBase, {{"item", shown}, {"bank", bank}});
  if (message.parts.empty()) return bytes;
  std::vector<std::uint8_t> plain;
  const auto ranges = Ranges(message, item);
  for (const PartRange& range : ranges) {
    for (int i = range.first; i < range.first + range.count; ++i) {
      auto data = core_.memory.Item(range.area, i);
      if (data.empty()) return {};
      data = data.subspan(range.offset, range.bytes);
      plain.insert(plain.end(), data.begin(), data.end());
      if (range.itemSum) plain.push_back(KawaiSum(data));
    }
  }
  std::vector<std::uint8_t> body;
  if (message.sum == SumKind::kBlocks)
    body = EncodeBlocks(message, bytes, plain, BlockSizes(message, ranges));
  else if (message.sum == SumKind::kCounted)
    body = EncodeCounted(message, plain, ItemSizes(ranges));
  else if (message.itemHead.empty())
    body = PackBody(message.packing, plain);
  else
    body = EncodeFrames(message, plain, ranges.front().bytes);
  if (message.sum == SumKind::kRunning)
    AppendWithSums(message, body, &bytes);
  else
    bytes.insert(bytes.end(), body.begin(), body.end());
  if (message.sum == SumKind::kNegative)
    bytes.push_back(NegativeSum(std::span<const std::uint8_t>(bytes).subspan(
        std::min(static_cast<std::size_t>(message.sumStart), bytes.size()))));
  if (message.sum == SumKind::kUnpacked) bytes.push_back(PlainSum(plain));
  bytes.push_back(0xF7);
  return bytes;
}

MessageEngine::Verdict MessageEngine::Decode(const MessageInfo& message, std::size_t headSize, int item,
                                             std::span<const std::uint8_t> bytes) {
  const auto ranges = Ranges(message, item);
  const std::size_t body = BodySize(message, ranges);
  const bool wholeSum = message.sum == SumKind::kNegative || message.sum == SumKind::kUnpacked;
  if (ranges.empty() || bytes.size() != headSize + body + (wholeSum ? 2 : 1)) return Verdict::kBadLength;
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
    auto unpacked = UnpackBody(message.packing, packed, PlainSize(ranges));
    if (!unpacked) return Verdict::kBadLength;
    plain = std::move(*unpacked);
  }
  const std::size_t sumAt = bytes.size() - 2;
  const auto sumStart = static_cast<std::size_t>(message.sumStart);
  if (message.sum == SumKind::kNegative &&
      (sumStart > sumAt || NegativeSum(bytes.subspan(sumStart, sumAt - sumStart)) != bytes[sumAt]))
    return Verdict::kBadSum;
  if (message.sum == SumKind::kUnpacked && PlainSum(plain) != bytes[sumAt]) return Verdict::kBadSum;

  // Everything is looked at before anything is written.
  for (const bool write : {false, true}) {
    std::size_t at = 0;
    for (const PartRange& range : ranges) {
      for (int i = range.first; i < range.first + range.count; ++i) {
        const auto target = core_.memory.Item(range.area, i).subspan(range.offset, range.bytes);
        const auto source = std::span<const std::uint8_t>(plain).subspan(at, target.size());
        at += target.size();
        if (range.itemSum && plain[at++] != KawaiSum(source)) return Verdict::kBadSum;
        if (!OwnSumIsRight(core_.Area(range.area).ownSum, source)) return Verdict::kBadSum;
        if (write) std::copy(source.begin(), source.end(), target.begin());
      }
    }
  }
  return Verdict::kTaken;
}

void MessageEngine::OnData(const MessageInfo& message, int item, std::span<const std::uint8_t> bytes) {
  if (core_.faults.TakeBusy()) return core_.AnswerStatus("refused");
  if (core_.faults.TakeRefusal()) {
    core_.display = "RECEIVE ERROR";
    return core_.AnswerStatus("refused");
  }
  std::string status;
  for (const PartRange& range : Ranges(message, item))
    if (!core_.MayWrite(range.area, range.first, &status)) return core_.AnswerStatus(status);
  const Verdict verdict = Decode(message, message.head.size(), item, bytes);
  if (verdict == Verdict::kBadLength) {
    core_.display = "LENGTH ERROR";
    return core_.AnswerStatus(core_.HasStatus("bad_format") ? "bad_format" : "refused");
  }
  if (verdict == Verdict::kBadSum) {
    core_.display = "CHECKSUM ERROR";
    return core_.AnswerStatus("refused");
  }
  core_.display = "RECEIVED";
  Follow(message, item);
  if (!message.initialises.empty() && core_.lastMessage != message.unlessAfter) {
    const int area = core_.description.FindArea(message.initialises);
    const auto target = core_.memory.Item(area, 0);
    if (area >= 0)
      std::fill(target.begin(), target.end(),
                static_cast<std::uint8_t>(core_.description.areas[static_cast<std::size_t>(area)].fill));
  }
  core_.lastMessage = message.key;
  core_.Busy(message.busyMs);
  core_.AnswerStatus(message.answer.empty() ? "received" : message.answer);
}

void MessageEngine::Follow(const MessageInfo& message, int item) {
  if (!core_.description.parts) return;
  for (const PartRange& range : Ranges(message, item))
    if (range.area == core_.description.parts->setupArea) FillPartBuffers(core_.description, core_.memory);
}

std::vector<Captures> MessageEngine::Matches(const RuleInfo& rule, std::span<const std::uint8_t> message,
                                             int device) const {
  std::vector<Captures> found;
  const bool whole = rule.match.back().kind == PatternToken::Kind::kByte && rule.match.back().value == 0xF7;
  const std::size_t size = rule.match.size();
  if (whole && (rule.repeat == 0 ? message.size() != size
                                 : message.size() < size || (message.size() - size) % rule.repeat != 0))
    return found;
  const auto match = [&](std::span<const std::uint8_t> bytes) {
    Captures captures;
    const bool matches = MatchPattern(rule.match, bytes, device, core_.description.deviceBase, &captures);
    if (matches) found.push_back(std::move(captures));
    return matches;
  };
  if (rule.repeat == 0 || !whole) return match(message), found;
  const std::size_t head = size - 1 - rule.repeat;
  for (std::size_t at = head; at + 1 < message.size(); at += rule.repeat) {
    std::vector<std::uint8_t> piece(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(head));
    const auto pair = message.subspan(at, rule.repeat);
    piece.insert(piece.end(), pair.begin(), pair.end());
    piece.push_back(0xF7);
    if (!match(piece)) return {};
  }
  return found;
}

bool MessageEngine::Handle(std::span<const std::uint8_t> message) {
  core_.heard.clear();
  for (std::size_t i = 0; i < std::min<std::size_t>(message.size(), 16); ++i)
    core_.heard["byte" + std::to_string(i)] = message[i];
  const auto& description = core_.description;
  for (const MessageInfo& info : description.messages) {
    Captures captures;
    if (!info.receives || info.parts.empty() ||
        !BeginsWith(info, info.head, message, core_.device, description.deviceBase, &captures))
      continue;
    OnData(info, ItemNumber(info.bankSize, captures), message);
    return true;
  }
  for (const RuleInfo& rule : description.rules) {
    const auto matches = Matches(rule, message, core_.device);
    for (const Captures& captures : matches) Apply(rule, captures);
    if (!matches.empty()) return true;
  }
  return false;
}

void MessageEngine::EachItem(const std::vector<RuleInfo::Send>& sends, int item,
                             const std::function<void(const MessageInfo& message, int item)>& use) const {
  for (const RuleInfo::Send& send : sends) {
    const MessageInfo* info = core_.description.FindMessage(send.message);
    if (info == nullptr) continue;
    const int bankStart = send.absolute ? 0 : info->bankSize * core_.bank;
    const int first = send.first < 0 ? item : send.first + bankStart;
    const int last = send.last < 0 ? item : send.last + bankStart;
    for (int i = first; i <= last; i += send.step) use(*info, i);
  }
}

std::vector<std::vector<std::uint8_t>> MessageEngine::Messages(const std::vector<RuleInfo::Send>& sends,
                                                               int item) const {
  std::vector<std::vector<std::uint8_t>> messages;
  EachItem(sends, item, [&](const MessageInfo& info, int i) {
    if (auto bytes = Encode(info, i); !bytes.empty()) messages.push_back(std::move(bytes));
  });
  return messages;
}

std::vector<std::vector<std::uint8_t>> MessageEngine::Everything() const {
  std::vector<std::vector<std::uint8_t>> messages;
  int chosen = 0;  // as after switching on
  EachItem(core_.description.file, 0, [&](const MessageInfo& info, int item) {
    auto bytes = Encode(info, item);
    if (bytes.empty()) return;
    auto bank = BankChoice(info, item);
    if (!bank.empty() && item / info.bankSize != chosen) {
      chosen = item / info.bankSize;
      if (messages.empty() || messages.back() != bank) messages.push_back(std::move(bank));
    }
    messages.push_back(std::move(bytes));
  });
  return messages;
}

std::vector<std::uint8_t> MessageEngine::BankChoice(const MessageInfo& message, int item) const {
  if (message.bankSize == 0) return {};
  const auto saysBank = [](const PatternToken& token) { return token.name == "bank"; };
  if (std::any_of(message.head.begin(), message.head.end(), saysBank)) return {};
  for (const RuleInfo& rule : core_.description.rules)
    if (rule.action == RuleInfo::Action::kBank)
      return EmitPattern(rule.match, core_.device, core_.description.deviceBase, {{"bank", item / message.bankSize}});
  return {};
}

void MessageEngine::SendAll(const std::vector<RuleInfo::Send>& sends, int item) {
  for (auto& bytes : Messages(sends, item)) core_.Answer(std::move(bytes));
}

void MessageEngine::Apply(const RuleInfo& rule, const Captures& captures) {
  using Action = RuleInfo::Action;
  if (rule.isRequest && (!core_.HearsRequest())) return;
  if (rule.isRequest && rule.action == Action::kSend && core_.faults.TakeBusy()) return core_.AnswerStatus("refused");
  if (!rule.modes.empty() && std::find(rule.modes.begin(), rule.modes.end(), core_.mode) == rule.modes.end()) {
    core_.display = "WRONG MODE";
    return core_.AnswerStatus("refused");
  }
  switch (rule.action) {
    case Action::kSend: {
      int bankSize = 0;
      if (!rule.sends.empty())
        if (const MessageInfo* info = core_.description.FindMessage(rule.sends.front().message))
          bankSize = info->bankSize;
      SendAll(rule.sends, ItemNumber(bankSize, captures));
      if (core_.answers.empty()) core_.AnswerStatus("refused");
      break;
    }
    case Action::kStatus:
      core_.AnswerStatus(rule.status);
      break;
    case Action::kReply:
      core_.Answer(EmitPattern(rule.reply, core_.device, core_.description.deviceBase, [&] {
        Captures shown = captures;
        shown["mode"] = core_.mode;
        return shown;
      }()));
      break;
    case Action::kStore:
      OnStore(rule, captures);
      break;
    case Action::kMode:
      core_.mode = CapturedValue(captures, "mode");
      core_.AnswerStatus("received");
      break;
    case Action::kBank:
      core_.bank = CapturedValue(captures, "bank");
      break;
    case Action::kParameter:
      OnParameter(rule, captures);
      break;
    case Action::kSelect:
      core_.memory.LoadEdit(core_.description, rule.toArea, CapturedValue(captures, "item"));
      FillPartBuffers(core_.description, core_.memory);
      break;
    case Action::kProtect:
      core_.memoryProtect = CapturedValue(captures, "value") != 0;
      break;
    case Action::kDevice:
      core_.device = CapturedValue(captures, "value");
      break;
    case Action::kNothing:
      break;
  }
}

void MessageEngine::OnStore(const RuleInfo& rule, const Captures& captures) {
  std::string status;
  const int item = CapturedValue(captures, "item");
  if (core_.faults.TakeRefusal() || !core_.MayWrite(rule.toArea, item, &status))
    return core_.AnswerStatus("not_stored");
  core_.AnswerStatus(Store(rule, captures) ? "stored" : "not_stored");
}

// Out of the edit buffer, or out of the buffer that the message names.
bool MessageEngine::Store(const RuleInfo& rule, const Captures& captures) {
  const int item = CapturedValue(captures, "item");
  if (captures.count("from") == 0) return core_.memory.StoreEdit(core_.description, rule.toArea, item);
  const auto source = core_.memory.Item(rule.fromArea, CapturedValue(captures, "from"));
  const auto target = core_.memory.Item(rule.toArea, item);
  if (source.empty() || source.size() != target.size()) return false;
  std::copy(source.begin(), source.end(), target.begin());
  return true;
}

void MessageEngine::OnParameter(const RuleInfo& rule, const Captures& captures) {
  std::vector<int> parts = {CapturedValue(captures, "part")};
  if (captures.count("channel") != 0)
    parts = PartsOnChannel(core_.description, core_.memory, CapturedValue(captures, "channel"));
  bool taken = false;
  for (const int part : parts) taken |= SetParameter(rule, captures, part);
  if (taken) core_.AnswerStatus(rule.answer);
}

bool MessageEngine::SetParameter(const RuleInfo& rule, const Captures& captures, int part) {
  int offset = CapturedValue(captures, "high") * 128 + CapturedValue(captures, "parameter");
  int value = CapturedValue(captures, "value");
  if (captures.count("value_high") != 0)
    value = CapturedValue(captures, "value_low") | CapturedValue(captures, "value_high") << 4;
  if (!rule.parameterOffsets.empty()) {
    const auto found = rule.parameterOffsets.find(offset);
    if (found == rule.parameterOffsets.end()) return false;
    offset = found->second;
  }
  offset += rule.placeFirst + rule.placeStride * part;
  const auto bytes = core_.memory.Item(rule.toArea, rule.placeStride == 0 ? part : 0);
  if (offset < 0 || static_cast<std::size_t>(offset) >= bytes.size()) return false;
  // Whole bytes that can be negative take a value of seven bits as two's complement.
  for (const ValueRule& field : core_.Area(rule.toArea).values)
    if (field.minimum < 0 && field.width == 8 && captures.count("value_high") == 0 && offset >= field.offset && offset < field.offset + field.run && value >= 64) value -= 128;
  bytes[static_cast<std::size_t>(offset)] = static_cast<std::uint8_t>(value);
  FollowSetupByte(core_.description, core_.memory, rule.toArea, static_cast<std::size_t>(offset));
  return true;
}

bool MessageEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  const auto& description = core_.description;
  *why = "is no data of this instrument";
  for (const MessageInfo& info : description.messages) {
    if (info.parts.empty()) continue;
    Captures captures;
    std::size_t headSize = 0;
    if (BeginsWith(info, info.head, message, -1, description.deviceBase, &captures)) headSize = info.head.size();
    for (const BytePattern& head : info.fileHeads)
      if (headSize == 0 && BeginsWith(info, head, message, -1, description.deviceBase, &captures))
        headSize = head.size();
    if (headSize == 0) continue;
    const Verdict verdict = Decode(info, headSize, ItemNumber(info.bankSize, captures), message);
    if (verdict == Verdict::kTaken) return Follow(info, ItemNumber(info.bankSize, captures)), true;
    *why = verdict == Verdict::kBadSum ? "has a wrong checksum" : "has another length than it should";
    return false;
  }
  for (const RuleInfo& rule : description.rules) {
    Captures captures;
    // What a file stores as it would be stored by hand.
    if (rule.action == RuleInfo::Action::kStore && message.size() == rule.match.size() &&
        MatchPattern(rule.match, message, -1, description.deviceBase, &captures))
      return Store(rule, captures);
    if (rule.action != RuleInfo::Action::kBank || message.size() != rule.match.size() ||
        !MatchPattern(rule.match, message, -1, description.deviceBase, &captures))
      continue;
    core_.bank = CapturedValue(captures, "bank");
    return true;
  }
  return false;
}

}  // namespace tonalith
