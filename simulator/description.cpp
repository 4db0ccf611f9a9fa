#include "simulator/description.h"

#include <algorithm>

#include "simulator/protocol_reader.h"
#include "simulator/text_tools.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::size_t kMaxDescriptionBytes = 1U << 20;

// The inside of the brackets and the closing one.
bool SendRange(std::string_view text, RuleInfo::Send* send) {
  text.remove_suffix(1);
  send->absolute = text.starts_with("=");
  if (send->absolute) text.remove_prefix(1);
  if (const std::size_t slash = text.find('/'); slash != std::string_view::npos) {
    send->step = ReadSimNumber(text.substr(slash + 1)).value_or(0);
    text = text.substr(0, slash);
  }
  const std::size_t dots = text.find("..");
  send->first = ReadSimNumber(text.substr(0, dots)).value_or(-1);
  send->last = dots == std::string_view::npos ? send->first : ReadSimNumber(text.substr(dots + 2)).value_or(-1);
  return send->step >= 1 && send->first >= 0 && send->first <= send->last && send->last < kMaxItems;
}

// Reads the lines of one description into the record; what is wrong with a line is noted, and the reading goes on.
class DescriptionReader : private ProtocolReader {
 public:
  explicit DescriptionReader(std::string_view text) : ProtocolReader(text) {}

  DescriptionResult Read(const std::string& source) {
    ReadLines();
    std::vector<DescriptionMistake> mistakes = TakeMistakes();
    if (mistakes.empty()) CompleteDescription(&out_, &mistakes);
    DescriptionResult result;
    result.name = out_.name;
    if (mistakes.empty())
      result.description = std::move(out_);
    else
      result.problem = MistakeSentence(source, mistakes);
    result.mistakes = std::move(mistakes);
    return result;
  }

 private:
  bool Entry() override {
    if (block_ == "instrument") return InstrumentLine();
    if (block_ == "area") return AreaLine(out_.areas.back());
    if (block_ == "link") return LinkLine(out_.links.back());
    if (block_ == "message") return MessageLine(out_.messages.back());
    if (block_ == "rule") return RuleLine(out_.rules.back());
    if (block_ == "status") return StatusLine();
    return ProtocolLine();
  }

  bool OpenBlock(const std::string& name) override {
    if (block_ == "area") {
      out_.areas.emplace_back();
      out_.areas.back().key = name;
      out_.areas.back().line = line();
    } else if (block_ == "link") {
      out_.links.emplace_back();
      out_.links.back().line = line();
    } else if (block_ == "message") {
      out_.messages.emplace_back();
      out_.messages.back().key = name;
      out_.messages.back().line = line();
    } else if (block_ == "rule") {
      out_.rules.emplace_back();
      out_.rules.back().key = name;
      out_.rules.back().line = line();
    } else if (block_ == "instrument") {
      out_.line = line();
    } else {
      return block_ == "status" || OpenProtocol(name);
    }
    return true;
  }

  bool InstrumentLine() {
    if (key_ == "key") return Text(out_.key);
    if (key_ == "name") return Text(out_.name);
    if (key_ == "port") return Text(out_.portName);
    if (key_ == "stands_for") return StandsFor();
    if (key_ == "device_base") return Number(out_.deviceBase, 0, 127);
    if (key_ == "device") return Number(out_.device, 0, 127);
    if (key_ == "memory_protect") return YesNo(out_.memoryProtect);
    if (key_ == "reply_delay_ms") return Number(out_.replyDelayMs, 0, 60000);
    if (key_ == "reply_gap_ms") return Number(out_.replyGapMs, 0, 60000);
    if (key_ == "input_buffer") return Number(out_.inputBuffer, 0, 1 << 20);
    if (key_ == "input_speed") return Number(out_.inputSpeed, 0, 1 << 20);
    if (key_ == "request_gap_ms") return Number(out_.requestGapMs, 0, 60000);
    if (key_ == "mode") return Number(out_.mode, 0, 127);
    if (key_ == "bank_controller") return Number(out_.bankController, 0, 119);
    if (key_ == "bank_programs") return Number(out_.bankPrograms, 1, 128);
    if (key_ == "programs") return Number(out_.programs, 1, 128);
    if (key_ == "dump") return Sends(out_.dump);
    if (key_ == "file") return Sends(out_.file);
    return false;
  }

  bool StandsFor() {
    const auto pieces = SeparatedPieces(value_, '/');
    if (pieces.size() != 2) return Fail("expected an instrument / the beginning of its data types"), true;
    out_.standsFor = pieces[0];
    out_.standsForTypes = pieces[1];
    return true;
  }

  bool AreaLine(AreaInfo& area) {
    if (key_ == "label") return Text(area.label);
    if (key_ == "items") return Number(area.items, 1, kMaxItems);
    if (key_ == "bytes") return Number(area.itemBytes, 1, kMaxItemBytes);
    if (key_ == "name") return NamePlace(area);
    if (key_ == "number") return Text(area.number);
    if (key_ == "number_per") return Number(area.numberPer, 1, kMaxItems);
    if (key_ == "listed") return Number(area.listed, 0, kMaxItems);
    if (key_ == "writable") return Number(area.writableItems, 0, kMaxItems);
    if (key_ == "protected") return YesNo(area.isProtected);
    if (key_ == "fill") return Number(area.fill, 0, 255);
    if (key_ == "factory_names") return Text(area.factoryNames);
    if (key_ == "own_sum") return OwnSumOf(area);
    if (key_ == "variable") return Variable(area);
    if (key_ == "empty_from") return Number(area.emptyFrom, 0, kMaxItems);
    if (key_ == "value") return Value(area);
    if (key_ == "copy_values") return CopyValues(area);
    if (key_ == "values_of") {
      int other = 0;
      Area(value_, other);
      area.values = out_.areas[static_cast<std::size_t>(other)].values;
      for (const ValueRule& rule : area.values)
        if (rule.offset + rule.run > area.itemBytes) Fail("the values of that area do not fit in here");
      return true;
    }
    if (key_ == "address") {
      area.address = Address(value_);
      return true;
    }
    if (key_ == "stride") {
      area.addressStride = Address(value_);
      return true;
    }
    if (key_ == "segment") return Segment(area);
    if (key_ == "readable") return YesNo(area.readable);
    if (key_ == "holes") {
      if (auto numbers = Numbers(value_, 0)) area.holes = *numbers;
      return true;
    }
    return false;
  }

  bool Variable(AreaInfo& area) {
    YesNo(area.variable);
    if (area.itemBytes < 1) Fail("the longest item has to be said before");
    if (area.variable) area.itemBytes += 2;
    return true;
  }

  bool OwnSumOf(AreaInfo& area) {
    if (value_ != "sy22" || area.itemBytes != static_cast<int>(kSy22Bytes))
      Fail("no such sum for items of this size", "It is sy22, for items of 574 bytes.");
    area.ownSum = OwnSum::kSy22;
    return true;
  }

  // "OFFSET LENGTH CODE"
  bool NamePlace(AreaInfo& area) {
    const auto words = BlankSeparatedWords(value_);
    const auto offset = words.size() == 3 ? ReadSimNumber(words[0]) : std::nullopt;
    const auto length = words.size() == 3 ? ReadSimNumber(words[1]) : std::nullopt;
    if (!offset || !length || *offset < 0 || *length < 1 || *length > 256) {
      Fail("expected offset, length and code of the name");
      return true;
    }
    area.nameOffset = *offset;
    area.nameLength = *length;
    std::string known;
    const auto code = NameCodeOf(words[2], &known);
    area.nameCode = code.value_or(NameCode::kNone);
    if (!code) Fail("\"" + std::string(words[2]) + "\" is no name code", "There are: " + known + ".");
    return true;
  }

  // "OFFSET BIT WIDTH MIN MAX [RUN] [mid]"
  bool Value(AreaInfo& area) {
    std::string_view text = value_;
    ValueRule rule;
    if (text.ends_with("mid")) {
      rule.centred = true;
      text.remove_suffix(3);
    }
    const auto numbers = Numbers(text, 0);
    if (!numbers) return true;
    if (numbers->size() < 5 || numbers->size() > 6) {
      Fail("expected offset, bit, width, minimum, maximum and perhaps a run");
      return true;
    }
    rule.offset = (*numbers)[0];
    rule.bit = (*numbers)[1];
    rule.width = (*numbers)[2];
    rule.minimum = (*numbers)[3];
    rule.maximum = (*numbers)[4];
    if (numbers->size() == 6) rule.run = (*numbers)[5];
    if (rule.bit < 0 || rule.width < 1 || rule.bit + rule.width > 8 || rule.minimum > rule.maximum || rule.offset < 0 ||
        rule.run < 1 || rule.offset + rule.run > area.itemBytes)
      Fail("the value lies outside the item or its byte");
    area.values.push_back(rule);
    return true;
  }

  // "FROM BYTES COUNT STRIDE": what was said about a stretch holds for `COUNT` further ones as well
  bool CopyValues(AreaInfo& area) {
    const auto numbers = Numbers(value_, 0);
    if (!numbers) return true;
    if (numbers->size() != 4 || (*numbers)[2] < 1 || (*numbers)[2] > 64 || (*numbers)[3] < 1) {
      Fail("expected offset, bytes, count and stride");
      return true;
    }
    const int from = (*numbers)[0];
    const std::size_t before = area.values.size();
    for (int copy = 1; copy <= (*numbers)[2]; ++copy) {
      for (std::size_t i = 0; i < before; ++i) {
        ValueRule rule = area.values[i];
        if (rule.offset < from || rule.offset >= from + (*numbers)[1]) continue;
        rule.offset += copy * (*numbers)[3];
        if (rule.offset + rule.run > area.itemBytes) return Fail("the copied values lie outside the item"), true;
        area.values.push_back(rule);
      }
    }
    return true;
  }

  // "ADDRESS / OFFSET / BYTES"
  bool Segment(AreaInfo& area) {
    const auto pieces = SeparatedPieces(value_, '/');
    const auto offset = pieces.size() == 3 ? ReadSimNumber(pieces[1]) : std::nullopt;
    const auto bytes = pieces.size() == 3 ? ReadSimNumber(pieces[2]) : std::nullopt;
    if (!offset || !bytes || *offset < 0 || *bytes < 1 || *offset > area.itemBytes - *bytes) {
      Fail("expected address / offset / bytes inside the item");
      return true;
    }
    area.segments.push_back({Address(pieces[0]), *offset, *bytes});
    return true;
  }

  bool LinkLine(LinkInfo& link) {
    if (key_ == "bank") return Area(value_, link.bankArea);
    if (key_ == "edit") return Area(value_, link.editArea);
    if (key_ != "field") return false;
    const auto numbers = Numbers(value_, 0);
    if (!numbers) return true;
    if (numbers->size() < 4 || numbers->size() > 6) {
      Fail("expected edit offset, bank offset, bit, width and perhaps a run and a bit in the edit buffer");
      return true;
    }
    LinkField field{(*numbers)[0],
                    (*numbers)[1],
                    (*numbers)[2],
                    (*numbers)[3],
                    numbers->size() > 4 ? (*numbers)[4] : 1,
                    numbers->size() > 5 ? (*numbers)[5] : -1};
    const int editBytes = out_.areas.empty() ? 0 : out_.areas[static_cast<std::size_t>(link.editArea)].itemBytes;
    const int bankBytes = out_.areas.empty() ? 0 : out_.areas[static_cast<std::size_t>(link.bankArea)].itemBytes;
    if (field.run < 1 || field.editOffset < 0 || field.editOffset + field.run > editBytes || field.bankOffset < 0 ||
        field.bankOffset + field.run > bankBytes || field.bit < 0 || field.width < 1 || field.bit + field.width > 8 ||
        field.editBit > 8 - field.width)
      Fail("the field lies outside the edit buffer or the bank item");
    link.fields.push_back(field);
    return true;
  }

  bool MessageLine(MessageInfo& message) {
    if (key_ == "head") return Pattern(message.head);
    if (key_ == "file_head") return Pattern(message.fileHeads.emplace_back());
    if (key_ == "data") return Parts(message);
    if (key_ == "packing") return Packing(message);
    if (key_ == "checksum") return Checksum(message);
    if (key_ == "bank_size") return Number(message.bankSize, 1, kMaxItems);
    if (key_ == "item_head") return Pattern(message.itemHead);
    if (key_ == "item_checksum") return Number(message.itemSumStart, 0, 64);
    if (key_ == "block_pause_ms") return Number(message.blockPauseMs, 0, 60000);
    if (key_ == "least_items") return Number(message.leastItems, 1, kMaxItems);
    if (key_ == "receives") return YesNo(message.receives);
    if (key_ == "when_empty") return Pattern(message.whenEmpty);
    if (key_ == "busy_ms") return Number(message.busyMs, 0, 60000);
    if (key_ == "answer") return Text(message.answer);
    if (key_ == "initialises") return Text(message.initialises);
    if (key_ == "unless_after") return Text(message.unlessAfter);
    return false;
  }

  // "AREA", "AREA[all]", "AREA[bank]", "AREA[bank number]", "AREA[item]", "AREA[item x4]", each perhaps with
  // "@OFFSET+BYTES", "+sum" or "+negative" and "plain"; separated by ";"
  bool Parts(MessageInfo& message) {
    for (std::string_view piece : SeparatedPieces(value_, ';')) {
      MessagePart part;
      if (piece.ends_with(" plain")) {
        part.plain = true;
        piece = StripBlanks(piece.substr(0, piece.size() - 6));
      } else if (!message.parts.empty() && message.parts.back().plain) {
        Fail("parts that are not packed have to be the last");
      }
      ItemSum(piece, part);
      std::string_view slice;
      if (const std::size_t at = piece.find('@'); at != std::string_view::npos) {
        slice = piece.substr(at + 1);
        piece = StripBlanks(piece.substr(0, at));
      }
      PartItems(piece, part);
      Area(StripBlanks(piece), part.area);
      if (!slice.empty()) Slice(slice, part);
      message.parts.push_back(part);
    }
    return true;
  }

  // Takes "+sum", "+negative", "+sum ahead" and the like from the end of a part.
  static void ItemSum(std::string_view& piece, MessagePart& part) {
    constexpr std::string_view kAhead = " ahead";
    const std::size_t plus = piece.rfind('+');
    if (plus == std::string_view::npos) return;
    std::string_view word = piece.substr(plus + 1);
    part.sumAhead = word.ends_with(kAhead);
    if (part.sumAhead) word.remove_suffix(kAhead.size());
    const auto kind = word == "sum" ? SumKind::kPlusA5 : WholeSumOf(word);
    if (!kind) return;
    part.itemSum = *kind;
    piece = StripBlanks(piece.substr(0, plus));
  }

  // Takes "[all]" and the like from the end of a part.
  void PartItems(std::string_view& piece, MessagePart& part) {
    const std::size_t open = piece.find('[');
    if (open == std::string_view::npos) return;
    const std::string_view what = piece.substr(open);
    piece = piece.substr(0, open);
    if (what == "[all]") {
      part.items = MessagePart::Items::kAll;
    } else if (what == "[bank]") {
      part.items = MessagePart::Items::kBank;
    } else if (what == "[bank number]") {
      part.items = MessagePart::Items::kBankNumber;
    } else if (what.starts_with("[item") && what.ends_with("]")) {
      part.items = MessagePart::Items::kCaptured;
      const std::string_view count = StripBlanks(what.substr(5, what.size() - 6));
      if (count.empty()) return;
      const auto number = count.starts_with("x") ? ReadSimNumber(count.substr(1)) : std::nullopt;
      part.count = number.value_or(0);
      if (part.count < 1 || part.count > kMaxItems) Fail("expected a number of items like [item x4]");
    } else {
      Fail("\"" + std::string(what) + "\" is no choice of items", "The items are [all], [bank], [item] or [item x4].");
    }
  }

  // "OFFSET+BYTES"
  void Slice(std::string_view text, MessagePart& part) {
    const std::size_t plus = text.find('+');
    const std::string_view behind = plus == std::string_view::npos ? std::string_view() : text.substr(plus + 1);
    const int offset = ReadSimNumber(StripBlanks(text.substr(0, plus))).value_or(-1);
    const int bytes = ReadSimNumber(StripBlanks(behind)).value_or(0);
    const int whole = out_.areas.empty() ? 0 : out_.areas[static_cast<std::size_t>(part.area)].itemBytes;
    if (offset < 0 || bytes < 1 || offset > whole - bytes)
      Fail("expected offset + bytes inside the item");
    else
      part.offset = offset, part.bytes = bytes;
  }

  bool Packing(MessageInfo& message) {
    std::string known;
    const auto packing = BodyPackingOf(value_, &known);
    message.packing = packing.value_or(BodyPacking::kPlain);
    if (!packing) Fail("\"" + std::string(value_) + "\" is no packing", "There are: " + known + ".");
    return true;
  }

  // "running FROM", perhaps with "every N" and "any VALUE"
  bool RunningSum(const std::vector<std::string_view>& words, MessageInfo& message) {
    message.sum = SumKind::kRunning;
    for (std::size_t i = 1; i < words.size(); i += i == 1 ? 1 : 2) {
      const auto number = i == 1 ? ReadSimNumber(words[i]) : i + 1 < words.size() ? ReadSimNumber(words[i + 1]) : 0;
      int* target = i == 1                ? &message.sumStart
                    : words[i] == "every" ? &message.sumEvery
                    : words[i] == "any"   ? &message.sumAny
                                          : nullptr;
      if (!number || !target || *number < 0 || *number > 65535)
        return Fail("expected running FROM every N any VALUE"), true;
      *target = *number;
    }
    return true;
  }

  // "negative FROM", "inverted FROM", "exclusive FROM", "plus-a5 FROM", "running FROM", "blocks FROM ITEMS",
  // "unpacked", or "kawai" for the items
  bool Checksum(MessageInfo& message) {
    const auto words = BlankSeparatedWords(value_);
    const auto from = words.size() == 2 ? ReadSimNumber(words[1]) : std::nullopt;
    const auto whole = words.size() == 2 ? WholeSumOf(words[0]) : std::nullopt;
    if (whole && from && *from >= 0 && *from < 64) {
      message.sum = *whole;
      message.sumStart = *from;
    } else if (!words.empty() && words[0] == "running") {
      return RunningSum(words, message);
    } else if (words.size() == 3 && words[0] == "blocks") {
      const auto numbers = Numbers(value_.substr(words[0].size()), 0);
      if (!numbers || (*numbers)[0] < 0 || (*numbers)[0] > 64 || (*numbers)[1] < 1)
        return Fail("expected where the first sum begins, and the items of a block"), true;
      message.sum = SumKind::kBlocks;
      message.sumStart = (*numbers)[0];
      message.blockItems = (*numbers)[1];
    } else if (value_ == "counted") {
      message.sum = SumKind::kCounted;
    } else if (value_ == "kawai") {
      message.sum = SumKind::kKawai;
    } else if (value_ == "unpacked") {
      message.sum = SumKind::kUnpacked;
    } else {
      Fail("\"" + std::string(value_) + "\" is no checksum",
           "docs/simulator.md has the checksums: negative, inverted, exclusive or plus-a5 FROM, running FROM, blocks "
           "FROM ITEMS, counted, unpacked, "
           "kawai.");
    }
    return true;
  }

  bool RuleLine(RuleInfo& rule) {
    using Action = RuleInfo::Action;
    if (key_ == "match") return Pattern(rule.match);
    if (key_ == "modes") {
      if (auto numbers = Numbers(value_, 0)) rule.modes = *numbers;
      return true;
    }
    if (key_ == "send") return rule.action = Action::kSend, Sends(rule.sends);
    if (key_ == "status") return rule.action = Action::kStatus, Text(rule.status);
    if (key_ == "reply") return rule.action = Action::kReply, Pattern(rule.reply);
    if (key_ == "bank") return rule.action = Action::kBank, Number(rule.bankSize, 1, kMaxItems);
    if (key_ == "request") return YesNo(rule.isRequest);
    if (key_ == "store" || key_ == "parameter") {
      const auto words = BlankSeparatedWords(value_);
      const bool store = key_ == "store";
      if (words.size() != (store ? 2U : 1U)) return Fail("expected names of areas"), true;
      rule.action = store ? Action::kStore : Action::kParameter;
      rule.isRequest = false;
      Area(words[0], rule.fromArea);
      return Area(words.back(), rule.toArea);
    }
    if (key_ == "select") return rule.action = Action::kSelect, Area(value_, rule.toArea);
    if (key_ == "place") return Place(rule);
    if (key_ == "repeat") return Repeat(rule);
    if (key_ == "answer") return Text(rule.answer);
    if (key_ == "offsets") return Offsets(rule);
    if (key_ == "do") {
      rule.isRequest = false;
      if (value_ == "mode")
        rule.action = Action::kMode;
      else if (value_ == "protect")
        rule.action = Action::kProtect;
      else if (value_ == "device")
        rule.action = Action::kDevice;
      else if (value_ == "reset")
        rule.action = Action::kReset;
      else if (value_ == "nothing")
        rule.action = Action::kNothing;
      else
        Fail("\"" + std::string(value_) + "\" is no action",
             "docs/simulator.md has the actions: mode, protect, device, nothing.");
      return true;
    }
    return false;
  }

  // "FIRST STRIDE"
  bool Place(RuleInfo& rule) {
    const auto numbers = Numbers(value_, 0);
    if (!numbers || numbers->size() != 2 || (*numbers)[0] < 0 || (*numbers)[1] < 0)
      return Fail("expected the place of the first part and the distance of the next"), true;
    rule.placeFirst = (*numbers)[0];
    rule.placeStride = (*numbers)[1];
    return true;
  }

  bool Repeat(RuleInfo& rule) {
    int bytes = 0;
    Number(bytes, 1, 16);
    if (rule.match.size() < static_cast<std::size_t>(bytes) + 2) Fail("the match has no so many bytes to repeat");
    rule.repeat = static_cast<std::size_t>(bytes);
    return true;
  }

  // "NUMBER:OFFSET ..." in hexadecimal and decimal
  bool Offsets(RuleInfo& rule) {
    for (const std::string_view word : BlankSeparatedWords(value_)) {
      const std::size_t colon = word.find(':');
      const auto number =
          colon == std::string_view::npos ? std::nullopt : ReadSimNumber("0x" + std::string(word.substr(0, colon)));
      const auto offset = colon == std::string_view::npos ? std::nullopt : ReadSimNumber(word.substr(colon + 1));
      if (!number || !offset) return Fail("expected number:offset pairs"), true;
      rule.parameterOffsets[*number] = *offset;
    }
    return true;
  }

  bool StatusLine() { return Pattern(out_.statuses[key_.text()]); }
};

}  // namespace

bool ParseSends(std::string_view text, std::vector<RuleInfo::Send>* sends) {
  for (const std::string_view word : BlankSeparatedWords(text)) {
    RuleInfo::Send send;
    const std::size_t bracket = word.find('[');
    send.message = std::string(word.substr(0, bracket));
    if (bracket != std::string_view::npos && (word.back() != ']' || !SendRange(word.substr(bracket + 1), &send)))
      return false;
    const std::size_t plus = send.message.find('+');
    if (plus == std::string::npos) {
      sends->push_back(send);
      continue;
    }
    const std::string names[] = {send.message.substr(0, plus), send.message.substr(plus + 1)};
    const int last = send.last;
    for (send.last = send.first; send.last <= last; send.first = send.last += send.step)
      for (const std::string& name : names) {
        send.message = name;
        sends->push_back(send);
      }
  }
  return true;
}

DescriptionResult ParseDescription(std::string_view text, const std::string& source) {
  if (text.size() > kMaxDescriptionBytes) return {std::nullopt, source + " is too long for a description.", {}, {}};
  return DescriptionReader(text).Read(source);
}

}  // namespace tonalith
