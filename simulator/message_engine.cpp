#include "simulator/message_engine.h"

#include <algorithm>

#include "simulator/parts.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

// A head of the message, and the frame of its first item behind it.
bool BeginsWith(const MessageInfo& message, const WirePattern& head, std::span<const std::uint8_t> bytes, int device,
                int deviceBase, Captures* captures) {
  return MatchPattern(head, bytes, device, deviceBase, captures) &&
         (message.itemHead.empty() ||
          MatchPattern(message.itemHead, bytes.subspan(head.size()), device, deviceBase, nullptr));
}

int CapturedValue(const Captures& captures, const char* name, int otherwise = 0) {
  const auto found = captures.find(name);
  return found == captures.end() ? otherwise : found->second;
}

}  // namespace

int MessageEngine::ItemNumber(int bankSize, const Captures& captures) const {
  return CapturedValue(captures, "item") + 128 * CapturedValue(captures, "item_high") +
         bankSize * CapturedValue(captures, "bank", core_.bank);
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

bool MessageEngine::FindData(std::span<const std::uint8_t> bytes, int device, bool file, DataMatch* match) const {
  for (const MessageInfo& info : core_.description.messages) {
    if (info.parts.empty() || (!file && !info.receives)) continue;
    std::vector<const WirePattern*> heads = {&info.head};
    for (const WirePattern& head : info.fileHeads)
      if (file) heads.push_back(&head);
    for (const WirePattern* head : heads) {
      Captures captures;
      if (!BeginsWith(info, *head, bytes, device, core_.description.deviceBase, &captures)) continue;
      const DataMatch found{&info, head->size(), ItemNumber(info.bankSize, captures)};
      const bool whole = LengthIsRight(info, found.headSize, found.item, bytes.size());
      if (whole || match->message == nullptr) *match = found;
      if (whole) return true;
    }
  }
  return match->message != nullptr;
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
  if (whole &&
      (rule.repeat == 0 ? message.size() != size : message.size() < size || (message.size() - size) % rule.repeat != 0))
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
  if (DataMatch data; FindData(message, core_.device, false, &data))
    return OnData(*data.message, data.item, message), true;
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
  EachItem(sends, item, [&](const MessageInfo& info, int i) {
    const auto ranges = Ranges(info, i);
    const bool empty = IsVariable(ranges) && !core_.memory.Item(ranges.front().area, i).empty() &&
                       core_.memory.Contents(core_.description, ranges.front().area, i).empty();
    auto bytes = empty && !info.whenEmpty.empty()
                     ? EmitPattern(info.whenEmpty, core_.device, core_.description.deviceBase, {})
                     : Encode(info, i);
    if (!bytes.empty()) core_.Answer(std::move(bytes));
  });
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
    case Action::kReset:
      core_.memory.FillFactory(core_.description);
      core_.held.clear();
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
    if (field.minimum < 0 && field.width == 8 && captures.count("value_high") == 0 && offset >= field.offset &&
        offset < field.offset + field.run && value >= 64)
      value -= 128;
  bytes[static_cast<std::size_t>(offset)] = static_cast<std::uint8_t>(value);
  FollowSetupByte(core_.description, core_.memory, rule.toArea, static_cast<std::size_t>(offset));
  return true;
}

bool MessageEngine::LoadData(std::span<const std::uint8_t> message, std::string* why) {
  const auto& description = core_.description;
  *why = "is no data of this instrument";
  if (DataMatch data; FindData(message, -1, true, &data)) {
    const Verdict verdict = Decode(*data.message, data.headSize, data.item, message);
    if (verdict == Verdict::kTaken) return Follow(*data.message, data.item), true;
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
