#include "simulator/fault_plan.h"

#include <array>
#include <utility>

#include "simulator/text_tools.h"

namespace tonalith {
namespace {

constexpr std::array<std::pair<std::string_view, FaultKind>, 16> kFaultNames = {{
    {"lost-byte", FaultKind::kLostByte},
    {"corrupt-byte", FaultKind::kCorruptByte},
    {"late-reply", FaultKind::kLateReply},
    {"no-reply", FaultKind::kNoReply},
    {"double-reply", FaultKind::kDoubleReply},
    {"truncated-reply", FaultKind::kTruncatedReply},
    {"realtime-inside", FaultKind::kRealTimeInside},
    {"foreign-first", FaultKind::kForeignFirst},
    {"wrong-device", FaultKind::kWrongDevice},
    {"busy-once", FaultKind::kBusyOnce},
    {"refuse-once", FaultKind::kRefuseOnce},
    {"port-vanishes", FaultKind::kPortVanishes},
    {"short-reply", FaultKind::kShortReply},
    {"other-model", FaultKind::kOtherModel},
    {"foreign-identity", FaultKind::kForeignIdentity},
    {"everybody-id", FaultKind::kEverybodyId},
}};

bool SetFaultKey(Fault& fault, std::string_view key, std::string_view value) {
  if (key == "direction") {
    fault.input = value == "in";
    return value == "in" || value == "out";
  }
  const auto number = ReadSimNumber(value);
  if (!number || *number < 0) return false;
  if (key == "reply") return fault.reply = *number, true;
  if (key == "times") return fault.times = *number, true;
  if (key == "at") return fault.at = *number, true;
  if (key == "value") return fault.value = *number, *number <= 255;
  if (key == "delay") return fault.delayMs = *number, *number <= 3'600'000;
  return false;
}

}  // namespace

std::optional<FaultKind> FaultPlan::KindOf(std::string_view name) {
  for (const auto& [known, kind] : kFaultNames)
    if (known == name) return kind;
  return std::nullopt;
}

std::string_view FaultPlan::NameOf(FaultKind kind) {
  for (const auto& [name, known] : kFaultNames)
    if (known == kind) return name;
  return {};
}

std::vector<std::string_view> FaultPlan::Names() {
  std::vector<std::string_view> names;
  for (const auto& [name, kind] : kFaultNames) names.push_back(name);
  return names;
}

std::optional<FaultPlan> FaultPlan::Parse(std::string_view text, std::string* problem) {
  FaultPlan plan;
  for (const std::string_view piece : SeparatedPieces(text, ';')) {
    if (piece.empty()) continue;
    const std::size_t colon = piece.find(':');
    const auto kind = KindOf(StripBlanks(piece.substr(0, colon)));
    if (!kind) {
      *problem = "There is no fault \"" + std::string(StripBlanks(piece.substr(0, colon))) + "\".";
      return std::nullopt;
    }
    Fault fault;
    fault.kind = *kind;
    if (colon != std::string_view::npos) {
      for (const std::string_view setting : SeparatedPieces(piece.substr(colon + 1), ',')) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string_view::npos ||
            !SetFaultKey(fault, StripBlanks(setting.substr(0, equals)), StripBlanks(setting.substr(equals + 1)))) {
          *problem = "\"" + std::string(setting) + "\" is no setting of the fault " + std::string(NameOf(*kind)) + ".";
          return std::nullopt;
        }
      }
    }
    plan.Add(fault);
  }
  return plan;
}

}  // namespace tonalith
