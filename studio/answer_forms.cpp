#include "studio/answer_forms.h"

#include <algorithm>

#include "studio/recognize_rules.h"

namespace tonalith {

namespace {

// Whole messages that the image keeps as they come.
bool KeptWhole(const MessageRule& message) {
  return message.skip == 0 && (message.length == 0 || message.take == message.length);
}

AnswerForm FormByAddress(const RecognizeRule& rule) {
  AnswerForm form;
  form.addressByte = static_cast<int>(rule.address.size());
  form.addressBytes = static_cast<int>(rule.addressBytes);
  for (const BlockRule& block : rule.blocks) {
    if (!block.framed) return {};
    AnswerPart part{{rule.address.value, rule.address.mask, rule.FramedSize(block)}, block.at, block.offset};
    part.message.value.resize(rule.address.size() + rule.addressBytes);
    part.message.mask.resize(part.message.value.size());
    form.parts.push_back(std::move(part));
  }
  return form;
}

// A bank that is got at once: all of its messages.
AnswerForm FormOfSlots(const RecognizeRule& rule, const Synth& synth) {
  AnswerForm form;
  for (std::uint32_t slot = 0; slot < rule.slotCount; slot += rule.slotVoices)
    for (const MessageRule& message : rule.messages) {
      AnswerPart part{message.Answer(), static_cast<std::uint32_t>(rule.SlotPlace(synth, slot)) + message.at, 0};
      if (&message == &rule.messages.front() && rule.slotInMessage() && rule.slotByte < kMaxMidiPattern) {
        const auto high = static_cast<std::size_t>(std::max(rule.slotHigh, 0));
        const std::size_t size = std::max({part.message.value.size(), std::size_t{rule.slotByte} + 1, high + 1});
        part.message.value.resize(size);
        part.message.mask.resize(size);
        rule.PutSlot(slot, part.message.value);
        part.message.mask[rule.slotByte] = 0xFF;
        if (rule.slotHigh >= 0) part.message.mask[high] = 0xFF;
      }
      form.parts.push_back(std::move(part));
    }
  return form;
}

AnswerForm FormOf(const RecognizeRule& rule, const Synth& synth) {
  if (rule.byAddress()) return FormByAddress(rule);
  AnswerForm form;
  for (const MessageRule& message : rule.messages) {
    // What only says where the data belongs is no part of an answer.
    if (message.length != 0 && message.take == 0) continue;
    if (!KeptWhole(message)) return {};
    form.parts.push_back({message.Answer(), message.at, 0});
  }
  if (!rule.hasSlots) return form;
  if (!synth.isBank || synth.patchByPatch != 1) return FormOfSlots(rule, synth);
  if (rule.slotInMessage()) {
    form.slotByte = static_cast<int>(rule.slotByte);
    form.slotFirst = static_cast<int>(rule.slotFirst);
    form.slotHigh = rule.slotHigh;
  }
  return form;
}

}  // namespace

AnswerRules AnswerRulesOf(const std::vector<RecognizeRule>& forms, const Synth& synth) {
  AnswerRules rules;
  for (const RecognizeRule& rule : forms) {
    AnswerForm form = FormOf(rule, synth);
    const auto before = [](const AnswerPart& a, const AnswerPart& b) { return a.at < b.at; };
    std::stable_sort(form.parts.begin(), form.parts.end(), before);
    if (!form.parts.empty()) rules.forms.push_back(std::move(form));
    const BytePattern& empty = rule.emptyAnswer;
    if (empty.size()) rules.empty = {empty.value, empty.mask, static_cast<std::uint32_t>(empty.size())};
  }
  return rules;
}

}  // namespace tonalith
