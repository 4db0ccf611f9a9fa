#include "studio/exchange_handshake.h"

#include <algorithm>

#include "data/hex_text.h"
#include "script/protocols/protocol_line.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kAnyByte = 0xFF;
constexpr int kMostTries = 100;
constexpr std::size_t kLeastRoom = 16;

std::string Set(const char* variable, const std::string& value) {
  return std::string("M") + variable + " = " + value + "\n";
}

std::string Verdict(ExchangeVerdict verdict) {
  return Set(kVerdictVariable, std::to_string(static_cast<int>(verdict)));
}

std::string Num(ExchangeVerdict verdict) {
  return std::to_string(static_cast<int>(verdict));
}

std::string If(const char* condition, const std::string& text) {
  return std::string(condition) + "\n" + text + "IFX\n";
}

const ExchangeMessage::Computed* ComputedAt(const ExchangeMessage& message, std::size_t at) {
  for (const auto& computed : message.computed)
    if (computed.at == at) return &computed;
  return nullptr;
}

bool SameAt(const ExchangeMessage& a, const ExchangeMessage& b, std::size_t at) {
  const auto* one = ComputedAt(a, at);
  const auto* other = ComputedAt(b, at);
  if (!one || !other) return !one && !other && a.bytes[at] == b.bytes[at];
  return one->script == other->script && one->variable == other->variable;
}

// What all answers begin with; their other bytes are open.
ExchangeMessage Common(const ExchangeAnswers& answers) {
  ExchangeMessage common = answers.taken;
  for (const auto& other : {answers.refused, answers.again}) {
    if (!other) continue;
    for (std::size_t at = 0; at < common.bytes.size(); ++at) {
      if (SameAt(answers.taken, *other, at)) continue;
      common.bytes[at] = kAnyByte;
      std::erase_if(common.computed, [at](const auto& computed) { return computed.at == at; });
    }
  }
  return common;
}

// Statements that set `variable` to 1 when the message at the cursor is not `wanted`, where `common` is open.
std::string CompareText(const ExchangeMessage& wanted, const ExchangeMessage& common, const char* variable) {
  std::string text = Set(variable, "0");
  for (std::size_t at = 0; at < wanted.bytes.size(); ++at) {
    const auto* computed = ComputedAt(wanted, at);
    const bool open = !computed && wanted.bytes[at] == kAnyByte;
    if (open || SameAt(wanted, common, at)) continue;
    if (computed && !computed->script.empty()) text += computed->script + "\n";
    text += Set(kWantedVariable, computed ? computed->variable : std::to_string(wanted.bytes[at]));
    text += std::string("FG ") + kFoundVariable + " " + std::to_string(at) + "\n";
    text += std::string("M") + kFoundVariable + " - " + kWantedVariable + "\n";
    text += std::string("IF ") + kFoundVariable + "\n" + Set(variable, "1") + "IFX\n";
  }
  return text;
}

}  // namespace

bool AnswersFit(const ExchangeAnswers& answers, std::string* error) {
  for (const auto& other : {answers.refused, answers.again}) {
    if (!other) continue;
    if (other->bytes.size() != answers.taken.bytes.size()) {
      *error = "the answers have different lengths";
      return false;
    }
  }
  return true;
}

std::string AwaitText(const ExchangeAnswers& answers) {
  const ExchangeMessage common = Common(answers);
  const std::size_t size = common.bytes.size();
  const std::string another = CompareText(answers.taken, common, kDueVariable);
  std::string judged = another + If((std::string("IF ") + kDueVariable).c_str(), Verdict(ExchangeVerdict::kRefused));
  if (answers.again)
    judged += CompareText(*answers.again, common, kDueVariable) +
              If((std::string("IFN ") + kDueVariable).c_str(), Verdict(ExchangeVerdict::kAgain));
  return TransmitDataText(common, true) + "SetSysXAccept\nGA " + std::to_string(std::max(size, kLeastRoom)) +
         "\nGN\nR " + std::to_string(size) + "\nGR\n" + Verdict(ExchangeVerdict::kTaken) +
         If("IFLQ V10", Verdict(ExchangeVerdict::kSilent)) + If("IFG V10", judged) + "GO\nGF 0\nClrSysXAccept\n";
}

namespace {

// Where there was silence, what this side said may be lost: the exchange is begun again instead.
std::string SilenceText(const std::string& giveUp) {
  return std::string("M") + kFoundVariable + " @ V10  M" + kFoundVariable + " + " +
         std::to_string(-transfer_code::kQuiet) + "\n" +
         If((std::string("IFN ") + kFoundVariable).c_str(), Verdict(ExchangeVerdict::kSilent) + giveUp);
}

}  // namespace

std::string BudgetText() {
  return std::string("M") + kBudgetVariable + " = " + kLeftVariable + "\n";
}

std::string BlockText(const ExchangeBlock& block) {
  const std::string first = std::string("IFN ") + kTurnVariable, later = std::string("IF ") + kTurnVariable;
  const std::string good = std::string("IFN ") + kVerdictVariable;
  const std::string left = std::string("IF ") + kTriesVariable, none = std::string("IFN ") + kTriesVariable;
  const auto stage = [](const ExchangeMessage& message) { return TransmitDataText(message, false) + "TR 0\n"; };
  std::string check = Verdict(ExchangeVerdict::kTaken);
  if (block.sum) {
    const auto& sum = *block.sum;
    const std::string offset = std::to_string(sum.offset);
    check += std::string("GP ") + kPlaceVariable + "\nFG " + kFoundVariable + " " + offset + "\nK 00 " +
             HexText({&sum.type, 1}) + " " + std::to_string(sum.start) + " " + std::to_string(sum.count) + " " +
             offset + "\nFG " + kWantedVariable + " " + offset + "\nM" + kFoundVariable + " - " + kWantedVariable +
             "\n" + If((std::string("IF ") + kFoundVariable).c_str(), Verdict(ExchangeVerdict::kAgain));
  }
  // Where nothing came yet, the request itself is said again.
  const std::string again = block.request
                                ? If(first.c_str(), stage(*block.request)) + If(later.c_str(), stage(block.again))
                                : stage(block.again);
  const std::string giveUp = Set(kDueVariable, "0") + Set(kFailedVariable, kVerdictVariable);
  const std::string once = std::string("GP ") + kPlaceVariable + "\nManageMidiErrors 1\nR " +
                           std::to_string(block.size) + "\nManageMidiErrors 0\n" + Verdict(ExchangeVerdict::kAgain) +
                           If(("IFQ V10 " + std::to_string(block.size)).c_str(), check) +
                           If(good.c_str(), Set(kDueVariable, "0") + stage(block.taken)) + SilenceText(giveUp) +
                           If((std::string("IFQ ") + kVerdictVariable + " " + Num(ExchangeVerdict::kAgain)).c_str(),
                              If(none.c_str(), giveUp + Set(kLeftVariable, "0")) +
                                  If(left.c_str(), std::string("M") + kTriesVariable + " - 1\n" + again));
  return (block.request ? If(first.c_str(), stage(*block.request)) : std::string()) + Set(kDueVariable, "1") +
         Set(kTriesVariable, kBudgetVariable) + "L " + std::to_string(kMostTries) + " [\n" +
         If((std::string("IF ") + kDueVariable).c_str(), once) + "]\nM" + kPlaceVariable + " + " +
         std::to_string(block.size) + "\nGP " + kPlaceVariable + "\n";
}

std::string SendAgainText(const std::string& work) {
  const std::string again =
      "IFQ " + std::string(kVerdictVariable) + " " + std::to_string(static_cast<int>(ExchangeVerdict::kAgain));
  const std::string left = std::string("IF ") + kTriesVariable, none = std::string("IFN ") + kTriesVariable;
  // The verdict of a turn that is not needed stays that of the one before.
  return Verdict(ExchangeVerdict::kAgain) + Set(kTriesVariable, kBudgetVariable) + "M" + kTriesVariable + " + 1\nL " +
         std::to_string(kMostTries) + " [\n" +
         If(again.c_str(), If(left.c_str(), std::string("M") + kTriesVariable + " - 1\n" + work)) + "]\n" +
         If(again.c_str(), If(none.c_str(), Set(kLeftVariable, "0")));
}

}  // namespace tonalith
