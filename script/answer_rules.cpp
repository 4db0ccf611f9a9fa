#include "script/answer_rules.h"

#include <algorithm>
#include <array>
#include <span>

#include "script/transfer_context.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kSysEx = 0xF0;
constexpr std::uint8_t kEverybody = 0x7F;  // device number that all instruments listen to

// Fixes byte `place` of a message as far as it is open.
void Fix(AnswerMessage& message, std::size_t place, std::uint8_t value) {
  if (place >= kMaxMidiPattern) return;
  if (place >= message.value.size()) {
    message.value.resize(place + 1);
    message.mask.resize(place + 1);
  }
  const std::uint8_t open = static_cast<std::uint8_t>(~message.mask[place]);
  message.value[place] = static_cast<std::uint8_t>((message.value[place] & ~open) | (value & open));
  message.mask[place] = 0xFF;
}

bool OpenAt(const AnswerMessage& message, std::size_t place) {
  return place >= message.mask.size() || message.mask[place] != 0xFF;
}

// The device that was asked answers.
void FixDevice(AnswerMessage& message, const Synth& synth, std::span<const std::uint8_t> request) {
  const std::size_t place = synth.sysExChannelOffset;
  if (!synth.hasSysExChannel || synth.sysExChannelShift != 0 || place < 2) return;
  if (place >= request.size() || place >= message.mask.size() || !OpenAt(message, place)) return;
  const bool digit = message.mask[place] == 0xF0;
  if (!digit && message.mask[place] != 0) return;
  // Of 17 numbers the last means all.
  constexpr int kAllBehindChannels = 16;
  const bool hasAll = synth.sysExChannelMax == kAllBehindChannels;
  if (!digit && (request[place] == kEverybody || (hasAll && request[place] == kAllBehindChannels))) return;
  Fix(message, place, request[place]);
}

class Resolver {
 public:
  Resolver(const Synth& synth, const TransferContext& context)
      : synth_(synth),
        context_(context),
        request_(context.staged ? std::span<const std::uint8_t>(context.staged->bytes)
                                : std::span<const std::uint8_t>()) {
    if (!request_.empty() && request_[0] != kSysEx) request_ = {};
  }

  // The messages of a form that fill the range; empty when they do not.
  std::vector<AnswerMessage> Messages(const AnswerForm& form, std::int64_t at, std::int64_t size,
                                      bool* numbered) const {
    std::vector<AnswerMessage> messages;
    std::int64_t next = at;
    for (const AnswerPart& part : form.parts) {
      if (part.at != next || next >= at + size) continue;
      const bool any = part.message.length == 0;
      if (!any && next + part.message.length > at + size) return {};
      messages.push_back(Fixed(form, part, numbered));
      next = any ? at + size : next + part.message.length;
      if (context_.acceptAny != AcceptAny::PastEnd) break;
    }
    return next == at + size || context_.acceptAny != AcceptAny::PastEnd ? messages : std::vector<AnswerMessage>();
  }

 private:
  AnswerMessage Fixed(const AnswerForm& form, const AnswerPart& part, bool* numbered) const {
    AnswerMessage message = part.message;
    FixDevice(message, synth_, request_);
    if (form.slotByte >= 0 && context_.patchByPatch && part.at == form.parts.front().at) {
      const auto number = static_cast<unsigned>(form.slotFirst + context_.currentPatch);
      Fix(message, static_cast<std::size_t>(form.slotByte),
          static_cast<std::uint8_t>(form.slotHigh < 0 ? number : number & 0x7F));
      if (form.slotHigh >= 0)
        Fix(message, static_cast<std::size_t>(form.slotHigh), static_cast<std::uint8_t>(number >> 7));
      *numbered = true;
    }
    if (form.addressByte >= 0 && FixAddress(message, form, part.address)) *numbered = true;
    const std::size_t number = synth_.patchNumberOffset;
    if (synth_.patchNumberInImage && number > 1 && number < request_.size() && part.at == 0 &&
        request_[number] == static_cast<std::uint8_t>(synth_.patchNumber) && OpenAt(message, number)) {
      Fix(message, number, request_[number]);
    }
    return message;
  }

  // Data comes from the address that was asked for.
  bool FixAddress(AnswerMessage& message, const AnswerForm& form, std::uint32_t behind) const {
    const auto place = static_cast<std::size_t>(form.addressByte);
    const auto bytes = static_cast<std::size_t>(form.addressBytes);
    if (request_.size() < place + bytes) return false;
    std::uint32_t address = behind;
    std::uint32_t asked = 0;
    for (std::size_t i = 0; i < bytes; ++i) asked = (asked << 7) | (request_[place + i] & 0x7Fu);
    address += asked;
    for (std::size_t i = 0; i < bytes; ++i)
      Fix(message, place + i, static_cast<std::uint8_t>((address >> (7 * (bytes - 1 - i))) & 0x7F));
    return true;
  }

  const Synth& synth_;
  const TransferContext& context_;
  std::span<const std::uint8_t> request_;
};

}  // namespace

bool SaysEmpty(const AnswerRules& rules, std::span<const std::uint8_t> bytes) {
  if (rules.empty.length == 0 || bytes.size() != rules.empty.length) return false;
  for (std::size_t i = 0; i < rules.empty.value.size(); ++i)
    if ((bytes[i] ^ rules.empty.value[i]) & rules.empty.mask[i]) return false;
  return true;
}

AwaitedAnswer AnswerTo(const Synth& synth, const TransferContext& context, std::int64_t at, std::int64_t size,
                       bool byMaker) {
  AwaitedAnswer answer;
  answer.wholePatch = context.patchByPatch && at == 0 && size == static_cast<std::int64_t>(synth.voiceSize);
  // The script knows better what comes.
  if (context.acceptAny == AcceptAny::Everything || context.hasAcceptPattern || !context.endPattern.empty()) {
    return answer;
  }
  const Resolver resolver(synth, context);
  const bool anySize = !context.acceptedSizes.empty();
  if (context.answers && at >= 0) {
    for (const AnswerForm& form : context.answers->forms) {
      std::vector<AnswerMessage> messages = resolver.Messages(form, at, size, &answer.numbered);
      if (messages.empty() || (!answer.steps.empty() && messages.size() != answer.steps.size())) continue;
      answer.steps.resize(messages.size());
      for (std::size_t i = 0; i < messages.size(); ++i) {
        if (anySize) messages[i].length = 0;
        answer.steps[i].push_back(std::move(messages[i]));
      }
    }
  }
  const bool mayBeEmpty = context.answers && context.answers->empty.length != 0 && answer.wholePatch;
  if (mayBeEmpty && answer.steps.size() == 1) answer.steps.front().push_back(context.answers->empty);
  if (answer.steps.empty() && byMaker && synth.manufacturerId != 0) {
    answer.steps.push_back(BeginsWith(std::array<std::uint8_t, 2>{kSysEx, synth.manufacturerId}));
    answer.every = true;
  }
  return answer;
}

}  // namespace tonalith
