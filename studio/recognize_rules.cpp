#include "studio/recognize_rules.h"

#include <algorithm>
#include <optional>

#include "data/checksums.h"
#include "midi/receive_options.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kMaxRuleNumber = 0x3FFFFFFF;
constexpr std::uint32_t kPatchValues = 128;

}  // namespace

std::vector<RuleOption> SplitOptions(std::string_view value) {
  std::vector<RuleOption> options;
  for (const std::string& part : SplitText(value, '|')) {
    const std::string_view text = TrimmedView(part);
    const std::size_t blank = text.find(' ');
    RuleOption option;
    option.word = AsciiLower(text.substr(0, blank));
    if (blank != std::string_view::npos) option.rest = std::string(TrimmedView(text.substr(blank)));
    options.push_back(std::move(option));
  }
  return options;
}

bool RuleNumber(std::string_view text, std::uint32_t* out) {
  const auto value = ParseInteger(TrimmedView(text));
  if (!value || *value < 0 || *value > kMaxRuleNumber) return false;
  *out = static_cast<std::uint32_t>(*value);
  return true;
}

bool RuleNumbers(std::string_view text, std::vector<std::uint32_t>* out) {
  out->clear();
  for (const std::string& part : SplitText(text, ' ')) {
    if (TrimmedView(part).empty()) continue;
    std::uint32_t value = 0;
    if (!RuleNumber(part, &value)) return false;
    out->push_back(value);
  }
  return true;
}

bool RuleAddress(std::string_view text, std::uint32_t* out, std::size_t* bytes) {
  BytePattern pattern;
  std::string error;
  if (!ParseBytePattern(text, &pattern, &error) || pattern.size() > 4) return false;
  for (std::size_t i = 0; i < pattern.size(); ++i)
    if (pattern.mask[i] != 0xFF || pattern.value[i] > 0x7F) return false;
  *out = SevenBitNumber(pattern.value);
  if (bytes) *bytes = pattern.size();
  return true;
}

std::string_view FirstPart(std::string_view value) {
  return TrimmedView(value.substr(0, value.find('|')));
}

namespace {

// The parser of one form; every function returns an empty text or what is wrong.
class RuleParser {
 public:
  RuleParser(const Synth& synth, RecognizeRule* rule) : synth_(synth), rule_(rule) {}

  std::string Entry(std::string_view key, std::string_view value) {
    if (key == "message") return Message(value);
    if (key == "slots") return Slots(value);
    if (key == "context") return Context(value);
    if (key == "address") return Address(value);
    if (key == "area") return Area(value);
    if (key == "block") return Block(value);
    if (key == "verify") return Verify(value);
    if (key == "volatile") return ParseVolatilePlaces(value, &rule_->changing);
    if (key == "complete") {
      rule_->complete = TrimmedView(value) == "1";
      return {};
    }
    if (key == "emptyanswer") return EmptyAnswer(value);
    std::uint32_t number = 0;
    if (key == "patchbyte") return PatchByte(value);
    if (key == "numberas") {
      if (!RuleNumber(value, &number)) return "a number is expected";
      rule_->numberAs = static_cast<int>(number);
      return {};
    }
    return "unknown key \"" + std::string(key) + "\"";
  }

  std::string Finish() {
    if (rule_->messages.empty() && !rule_->byAddress()) return "neither a message nor an address is given";
    if (!rule_->messages.empty() && rule_->byAddress()) return "messages and addresses cannot be mixed";
    const std::uint64_t image = synth_.fileSize;
    const std::uint64_t voice = synth_.voiceSize;
    const bool bank = synth_.numVoices > 1;
    if (rule_->hasSlots) {
      if (rule_->messages.empty() || !bank) return "slots need a message and a bank";
      if (rule_->messages.size() > 1 && rule_->slotVoices > 1) return "of several messages each set fills one slot";
      if (rule_->slotCount == 0 || rule_->slotCount > synth_.numVoices) rule_->slotCount = synth_.numVoices;
      if (rule_->slotCount % rule_->slotVoices) return "the messages do not fill the slots";
      if (rule_->SlotPlace(synth_, rule_->slotCount - 1) + rule_->messages.front().take > image)
        return "the messages do not fit into the image";
    }
    const std::uint64_t room = rule_->hasSlots && rule_->slotVoices == 1 ? voice : image;
    for (const MessageRule& message : rule_->messages)
      if (std::uint64_t{message.at} + message.take > room) return "a message does not fit into the image";
    if (rule_->byAddress()) {
      if (rule_->areas.empty() || rule_->blocks.empty()) return "an address needs an area and a block";
      for (const BlockRule& block : rule_->blocks) {
        const std::uint64_t size = block.framed ? rule_->FramedSize(block) : block.size;
        for (const AreaRule& area : rule_->areas)
          if (block.at + size > (bank && area.slots ? voice : image)) return "a block does not fit into the image";
      }
    }
    if (std::uint64_t{synth_.headerSize} + std::uint64_t{synth_.numVoices} * voice > image)
      return "the voices do not fit into the image";
    for (const VerifyRule& v : rule_->verify)
      if (v.times > kMaxVoices || v.offset + std::uint64_t{v.step} * (std::max(v.times, 1u) - 1) >= image)
        return "a checksum lies outside the image";
    for (const VolatilePlaces& run : rule_->changing)
      if (run.first + run.count > synth_.voiceBytes) return "a volatile byte lies outside the patch";
    return {};
  }

 private:
  std::string Message(std::string_view value) {
    MessageRule message;
    std::string error;
    if (!ParseBytePattern(FirstPart(value), &message.pattern, &error)) return error;
    if (message.pattern.size() < 2) return "a message pattern needs at least two bytes";
    message.length = rule_->hasSlots ? synth_.voiceSize : synth_.fileSize;
    message.at = rule_->messages.empty() ? 0 : rule_->messages.back().at + rule_->messages.back().take;
    bool taken = false, any = false, sized = false;
    const auto options = SplitOptions(value);
    for (std::size_t i = 1; i < options.size(); ++i) {
      const RuleOption& option = options[i];
      std::uint32_t number = 0;
      if (option.word == "length" && AsciiEqualNoCase(option.rest, "any")) {
        any = true;
        continue;
      }
      if (option.word == "least" || option.word == "counted" || option.word == "turns" || option.word == "sized") {
        if (!Sized(option, &message)) return "\"" + option.word + "\" has no good value";
        sized = true;
        continue;
      }
      if (!RuleNumber(option.rest, &number)) return "\"" + option.word + "\" needs a number";
      if (option.word == "length")
        message.length = number;
      else if (option.word == "at")
        message.at = number;
      else if (option.word == "skip")
        message.skip = number;
      else if (option.word == "take")
        message.take = number, taken = true;
      else
        return "unknown option \"" + option.word + "\"";
    }
    if (sized && !any) return "\"least\", \"counted\", \"turns\" and \"sized\" need \"length any\"";
    if (message.least && synth_.numVoices > 1) message.most = synth_.fileSize;
    if (any) {
      message.length = message.take = 0;
    } else {
      if (message.length < message.pattern.size() + 1) return "the message is shorter than its pattern";
      if (message.skip >= message.length) return "more is skipped than the message holds";
      if (!taken) message.take = message.length - message.skip;
      if (message.take > message.length - message.skip) return "more is taken than the message holds";
    }
    rule_->messages.push_back(std::move(message));
    return {};
  }

  // least N STEP, counted AT FIXED EACH, turns AT LEAST, sized AT LEAST [low]
  bool Sized(const RuleOption& option, MessageRule* message) const {
    constexpr std::uint32_t kMostEach = 1 << 16;
    std::vector<std::uint32_t> numbers;
    std::string_view rest = option.rest;
    constexpr std::string_view kLowFirst = " low";
    message->sizedLowFirst = message->sizedLowFirst || (option.word == "sized" && rest.ends_with(kLowFirst));
    if (option.word == "sized" && message->sizedLowFirst) rest.remove_suffix(kLowFirst.size());
    if (!RuleNumbers(rest, &numbers)) return false;
    if (option.word == "sized") {
      if (numbers.size() != 2) return false;
      message->sizedAt = numbers[0];
      message->sizedLeast = numbers[1];
      return numbers[0] > 0 && numbers[0] + 2 <= kMaxMidiPattern;
    }
    if (option.word == "least") {
      if (numbers.empty() || numbers.size() > 2) return false;
      message->least = numbers[0];
      message->step = numbers.size() > 1 ? numbers[1] : 1;
      return message->step != 0 && message->least <= synth_.fileSize;
    }
    if (option.word == "turns") {
      if (numbers.size() != 2) return false;
      message->turnsAt = numbers[0];
      message->leastTurns = numbers[1];
      return numbers[0] > 0 && numbers[0] < kMaxMidiPattern;
    }
    if (numbers.size() != 3) return false;
    message->countAt = numbers[0];
    message->countFixed = numbers[1];
    message->countEach = numbers[2];
    return numbers[0] > 0 && numbers[0] + 2 <= kMaxMidiPattern && numbers[2] <= kMostEach;
  }

  std::string Slots(std::string_view value) {
    const auto options = SplitOptions(value);
    rule_->hasSlots = true;
    if (options.front().word == "order") {
      rule_->slotsInOrder = true;
      return options.size() == 1 && RuleNumber(options.front().rest, &rule_->slotCount)
                 ? ""
                 : "slots in the order of the file need their number";
    }
    std::vector<std::uint32_t> numbers;
    if (!RuleNumbers(FirstPart(value), &numbers) || numbers.size() < 2 || numbers.size() > 3)
      return "slots need two or three numbers";
    for (std::size_t i = 1; i < options.size(); ++i) {
      std::string error;
      if (options[i].word == "voices") {
        if (!RuleNumber(options[i].rest, &rule_->slotVoices) || rule_->slotVoices == 0)
          return "\"voices\" needs a number";
        continue;
      }
      if (std::uint32_t high = 0; options[i].word == "high") {
        if (!RuleNumber(options[i].rest, &high) || high >= kMaxMidiPattern) return "\"high\" needs the place of a byte";
        rule_->slotHigh = static_cast<int>(high);
        continue;
      }
      if (options[i].word != "behind" || !ParseBytePattern(options[i].rest, &rule_->slotMessage, &error))
        return "\"behind\" needs the beginning of a message";
    }
    rule_->slotByte = numbers[0];
    rule_->slotFirst = numbers[1];
    rule_->slotCount = numbers.size() > 2 ? numbers[2] : 0;
    return {};
  }

  // BYTE BANK FIRST | first N | count M
  std::string PatchByte(std::string_view value) {
    std::vector<std::uint32_t> numbers;
    if (!RuleNumbers(FirstPart(value), &numbers) || numbers.empty() || numbers.size() > 3)
      return "one to three numbers are expected";
    if (numbers[0] >= synth_.fileSize + std::uint64_t{kMaxMidiPattern}) return "the byte lies outside the messages";
    rule_->patchByte = static_cast<int>(numbers[0]);
    if (numbers.size() > 1) rule_->patchBankByte = static_cast<int>(numbers[1]);
    if (numbers.size() > 2) rule_->patchFirstBank = static_cast<int>(numbers[2]);
    std::uint32_t first = 0, count = 0;
    const auto options = SplitOptions(value);
    for (std::size_t i = 1; i < options.size(); ++i) {
      const bool isFirst = options[i].word == "first";
      if (!isFirst && options[i].word != "count") return "unknown option \"" + options[i].word + "\"";
      if (!RuleNumber(options[i].rest, isFirst ? &first : &count) || (!isFirst && count == 0))
        return "\"" + options[i].word + "\" needs a number";
    }
    if (first >= kPatchValues || count > kPatchValues - first) return "a patch number is a byte from 0 to 127";
    if (first != 0 && synth_.patchNumberInImage && synth_.patchNumberOffset == numbers[0])
      return "a number that does not begin at 0 cannot be written into the image as well: leave patchNumberInImage "
             "away";
    rule_->patchFirst = static_cast<int>(first);
    rule_->patchCount = static_cast<int>(count ? count : kPatchValues - first);
    return {};
  }

  std::string EmptyAnswer(std::string_view value) {
    std::string error;
    if (!ParseBytePattern(value, &rule_->emptyAnswer, &error)) return error;
    if (!synth_.isBank || synth_.patchByPatch != 1) return "places are empty only in a bank that goes patch by patch";
    const auto& [bytes, mask] = rule_->emptyAnswer;
    const bool whole =
        bytes.size() >= 2 && bytes.size() <= kMaxMidiPattern && bytes.front() == 0xF0 && bytes.back() == 0xF7;
    return whole ? "" : "a message from F0 to F7 is expected";
  }

  std::string Context(std::string_view value) {
    const auto parts = SplitText(value, '|');
    std::string error;
    if (parts.size() < 2 || !ParseBytePattern(parts[0], &rule_->contextFamily, &error) ||
        !ParseBytePattern(parts[1], &rule_->contextRest, &error))
      return "a context needs two byte patterns";
    rule_->hasContext = true;
    rule_->contextDefault = parts.size() > 2 && AsciiEqualNoCase(TrimmedView(parts[2]), "default");
    return {};
  }

  std::string Address(std::string_view value) {
    const auto parts = SplitText(value, '|');
    std::string error;
    std::uint32_t count = 0;
    if (parts.size() != 2 || !ParseBytePattern(parts[0], &rule_->address, &error) || !RuleNumber(parts[1], &count) ||
        count < 1 || count > 4 || rule_->address.size() < 2)
      return "an address needs a byte pattern and 1 to 4 address bytes";
    rule_->addressBytes = count;
    return {};
  }

  std::string Area(std::string_view value) {
    AreaRule area;
    if (!RuleAddress(FirstPart(value), &area.base)) return "an address of up to four 7-bit bytes is expected";
    const auto options = SplitOptions(value);
    for (std::size_t i = 1; i < options.size(); ++i) {
      const bool step = options[i].word == "step";
      if (!step && options[i].word != "slots") return "unknown option \"" + options[i].word + "\"";
      if (!(step ? RuleAddress(options[i].rest, &area.step) : RuleNumber(options[i].rest, &area.slots)))
        return "\"" + options[i].word + "\" has no good value";
    }
    if ((area.slots != 0) != (area.step != 0)) return "step and slots go together";
    if (area.slots > kMaxVoices) return "too many slots";
    if (synth_.numVoices > 1 && area.slots > synth_.numVoices) return "more slots than voices";
    rule_->areas.push_back(area);
    return {};
  }

  std::string Block(std::string_view value) {
    BlockRule block;
    if (!RuleAddress(FirstPart(value), &block.offset)) return "an address of up to four 7-bit bytes is expected";
    const auto options = SplitOptions(value);
    for (std::size_t i = 1; i < options.size(); ++i) {
      if (options[i].word == "framed") {
        block.framed = true;
        continue;
      }
      const bool size = options[i].word == "size";
      if (!size && options[i].word != "at") return "unknown option \"" + options[i].word + "\"";
      if (!RuleNumber(options[i].rest, size ? &block.size : &block.at))
        return "\"" + options[i].word + "\" needs a number";
    }
    if (block.size == 0) return "a block needs a size";
    if (rule_->blocks.size() >= 256) return "too many blocks";
    rule_->blocks.push_back(block);
    return {};
  }

  std::string Verify(std::string_view value) {
    VerifyRule verify;
    if (std::string problem = ParseVerifyRule(value, &verify); !problem.empty()) return problem;
    if (rule_->verify.size() >= 256) return "too many checksums";
    rule_->verify.push_back(verify);
    return {};
  }

  const Synth& synth_;
  RecognizeRule* rule_;
};

// What a message fills that begins with slot k.
std::span<std::uint8_t> SlotPart(const RecognizeRule& rule, const Synth& synth, std::span<std::uint8_t> image,
                                 std::uint32_t k) {
  if (!rule.hasSlots) return image;
  const std::uint64_t begin = rule.SlotPlace(synth, k);
  const std::uint64_t size = rule.slotVoices > 1 ? rule.messages.front().take : synth.voiceSize;
  if (begin + size > image.size()) return {};
  return image.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(size));
}

// Voice slot k of an image, or the whole image when it has no slots.
std::span<std::uint8_t> SlotOf(const Synth& synth, std::span<std::uint8_t> image, bool slots, std::uint32_t k) {
  if (!slots) return image;
  const std::uint64_t begin = std::uint64_t{synth.headerSize} + std::uint64_t{synth.voiceSize} * k;
  if (begin + synth.voiceSize > image.size()) return {};
  return image.subspan(static_cast<std::size_t>(begin), synth.voiceSize);
}

// The bits of the mask.
void PutClamped(std::span<std::uint8_t> image, std::size_t at, std::uint8_t value, std::uint8_t mask = 0xFF) {
  if (at < image.size()) image[at] = static_cast<std::uint8_t>((image[at] & ~mask) | (value & mask));
}

void FillMessage(const MessageRule& message, std::span<std::uint8_t> slot, const RecognizeRule& rule, std::uint32_t k) {
  for (std::size_t i = message.skip; i < message.pattern.size() && i - message.skip < message.take; ++i)
    PutClamped(slot, message.at + i - message.skip, message.pattern.value[i], message.pattern.mask[i]);
  const bool first = &message == &rule.messages.front();
  if (first && rule.slotInMessage()) {
    const std::uint32_t number = rule.slotFirst + k;
    const auto put = [&](std::uint32_t place, std::uint32_t value) {
      if (place >= message.skip && place - message.skip < message.take)
        PutClamped(slot, std::size_t{message.at} + place - message.skip, static_cast<std::uint8_t>(value));
    };
    put(rule.slotByte, rule.slotHigh < 0 ? number : number & 0x7F);
    if (rule.slotHigh >= 0) put(static_cast<std::uint32_t>(rule.slotHigh), number >> 7);
  }
  if (message.length && message.skip + message.take == message.length && message.take)
    PutClamped(slot, std::size_t{message.at} + message.take - 1, 0xF7);
}

}  // namespace

bool BytePattern::Matches(std::span<const std::uint8_t> bytes) const {
  if (bytes.size() < value.size()) return false;
  for (std::size_t i = 0; i < value.size(); ++i)
    if ((bytes[i] & mask[i]) != value[i]) return false;
  return true;
}

bool RecognizeRule::PutSlot(std::uint32_t slot, std::span<std::uint8_t> message) const {
  const std::uint32_t number = slotFirst + slot;
  const auto high = static_cast<std::size_t>(std::max(slotHigh, 0));
  if (number > (slotHigh < 0 ? 0x7Fu : 0x3FFFu) || std::max<std::size_t>(slotByte, high) >= message.size())
    return false;
  message[slotByte] = static_cast<std::uint8_t>(number & 0x7F);
  if (slotHigh >= 0) message[high] = static_cast<std::uint8_t>(number >> 7);
  return true;
}

std::int64_t RecognizeRule::SlotIn(std::span<const std::uint8_t> message) const {
  const auto high = static_cast<std::size_t>(std::max(slotHigh, 0));
  if (std::max<std::size_t>(slotByte, high) >= message.size()) return -1;
  return std::int64_t{message[slotByte]} + (slotHigh < 0 ? 0 : 128 * message[high]) - slotFirst;
}

bool ParseBytePattern(std::string_view text, BytePattern* out, std::string* error) {
  BytePattern pattern;
  int digits = 0;
  std::uint8_t value = 0, mask = 0;
  for (const char c : TrimmedView(text)) {
    if (c == ' ' || c == '\t') {
      if (digits == 1) {
        *error = "a byte pattern needs two digits a byte";
        return false;
      }
      continue;
    }
    int digit = -1;
    if (c >= '0' && c <= '9')
      digit = c - '0';
    else if (AsciiLower(c) >= 'a' && AsciiLower(c) <= 'f')
      digit = AsciiLower(c) - 'a' + 10;
    else if (c != '?') {
      *error = std::string("\"") + c + "\" is neither a hex digit nor '?'";
      return false;
    }
    value = static_cast<std::uint8_t>(value << 4 | (digit < 0 ? 0 : digit));
    mask = static_cast<std::uint8_t>(mask << 4 | (digit < 0 ? 0 : 15));
    if (++digits == 2) {
      pattern.value.push_back(value);
      pattern.mask.push_back(mask);
      digits = 0;
      value = mask = 0;
    }
  }
  if (digits != 0 || pattern.value.empty() || pattern.size() > 256) {
    *error = "a byte pattern needs two digits a byte";
    return false;
  }
  *out = std::move(pattern);
  return true;
}

std::uint32_t SevenBitNumber(std::span<const std::uint8_t> bytes) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 7 | (byte & 0x7Fu);
  return value;
}

Result ParseRecognizeRule(const std::vector<std::pair<std::string, std::string>>& entries, const Synth& synth,
                          RecognizeRule* out) {
  RecognizeRule rule;
  RuleParser parser(synth, &rule);
  // "Slots" decides how long a message is by default, so it is read first whatever the order.
  for (const bool slots : {true, false}) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      std::string key = AsciiLower(entries[i].first);
      while (!key.empty() && key.back() >= '0' && key.back() <= '9') key.pop_back();
      if ((key == "slots") != slots) continue;
      const std::string problem = parser.Entry(key, entries[i].second);
      if (!problem.empty()) return Result::Failure(problem, static_cast<int>(i + 1));
    }
  }
  const std::string problem = parser.Finish();
  if (!problem.empty()) return Result::Failure(problem, static_cast<int>(entries.size() + 1));
  *out = std::move(rule);
  return Result::Success();
}

void FillFrame(const RecognizeRule& rule, const Synth& synth, std::span<std::uint8_t> image) {
  if (!rule.byAddress()) {
    const std::uint32_t slots = rule.hasSlots ? rule.slotCount : 1;
    for (std::uint32_t k = 0; k < slots; k += rule.slotVoices)
      for (const MessageRule& message : rule.messages) FillMessage(message, SlotPart(rule, synth, image, k), rule, k);
    return;
  }
  const AreaRule& area = rule.areas.front();
  const bool bank = synth.numVoices > 1 && area.slots != 0;
  for (std::uint32_t k = 0; k < (bank ? area.slots : 1); ++k) {
    const std::span<std::uint8_t> slot = SlotOf(synth, image, bank, k);
    for (const BlockRule& block : rule.blocks) {
      if (!block.framed || std::uint64_t{block.at} + rule.FramedSize(block) > slot.size()) continue;
      std::uint8_t* p = slot.data() + block.at;
      std::copy(rule.address.value.begin(), rule.address.value.end(), p);
      RolandWrite(static_cast<int>(rule.addressBytes), p + rule.address.size(),
                  area.base + area.step * k + block.offset);
      const std::uint32_t size = rule.FramedSize(block);
      const std::size_t head = rule.address.size();
      p[size - 2] = RolandCheckSum(p + head, rule.addressBytes + block.size);
      p[size - 1] = 0xF7;
    }
  }
}

AnswerMessage MessageRule::Answer() const {
  return {pattern.value, pattern.mask, length,     least, step,    countAt,    countFixed,
          countEach,     turnsAt,      leastTurns, most,  sizedAt, sizedLeast, sizedLowFirst};
}

void StoreChecksums(const RecognizeRule& rule, const Synth& synth, std::span<std::uint8_t> image) {
  for (const VerifyRule& v : rule.verify)
    VisitVerifyPlaces(v, image, [&](const VerifyPlace& place) {
      CSum(image, 0, static_cast<int>(v.type), place.start, place.count, place.offset);
      return true;
    });
  if (rule.verify.empty() && synth.checksumLength)
    CSum(image, 0, synth.checksumType, synth.checksumStart, synth.checksumLength, synth.checksumOffset);
}

}  // namespace tonalith
