#include "parameters/patch_conversion.h"

#include <algorithm>
#include <map>
#include <utility>

#include "parameters/tabbed_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kKind[] = "conversion";
constexpr std::size_t kFieldCells = 6;  // and up to three more
constexpr std::size_t kMostCells = 9;
constexpr std::size_t kNameCells = 4;
constexpr int kByteBits = 8;
constexpr std::int64_t kMostFactor = 256;
constexpr std::size_t kMostFields = 65536;
constexpr std::int64_t kMostNumber = 1 << 24;

// Where the name begins, counted in the patch; negative offsets count from its end.
std::int64_t NameOf(const Synth& type) {
  const std::int64_t offset = type.nameOffset;
  const std::int64_t bytes = type.voiceBytes ? +type.voiceBytes : +type.voiceSize;
  return offset < 0 ? bytes + offset : offset;
}

struct Way {
  bool toPatch;

  const FieldPlace& From(const PatchConversion::Pair& pair) const { return toPatch ? pair.slot : pair.patch; }
  const ParameterCondition& When(const PatchConversion::Pair& pair) const {
    return toPatch ? pair.slotWhen : pair.patchWhen;
  }
  const FieldPlace& To(const PatchConversion::Pair& pair) const { return toPatch ? pair.patch : pair.slot; }
};

// Downwards, as instruments do that drop the lowest bits.
std::int64_t Quotient(std::int64_t value, std::int64_t factor) {
  return value >= 0 ? value / factor : -((-value + factor - 1) / factor);
}

// How many times the number that the slot shows for its value the patch has; 1 where one of the two shows no number.
std::int64_t FactorOf(const Parameter& slot, const Parameter& patch) {
  std::int64_t slotTimes = 1, slotOffset = 0, patchTimes = 1, patchOffset = 0;
  if (!slot.display || !patch.display || !slot.display->IsPlainNumber(&slotTimes, &slotOffset) ||
      !patch.display->IsPlainNumber(&patchTimes, &patchOffset))
    return 1;
  const bool whole = patchTimes == 1 && slotTimes > 1 && slotTimes <= kMostFactor;
  return whole && slotOffset == 0 && patchOffset == 0 ? slotTimes : 1;
}

// Of the characters of a name the bits that are theirs.
int NameBitsOf(int format) {
  constexpr int kMks50 = 6, kSixBits = 6;
  return format == kMks50 ? kSixBits : kByteBits;
}

std::size_t Convert(const PatchConversion& conversion, Way way, const ConstPatchBytes& from, const PatchBytes& to) {
  std::size_t changed = 0;
  for (const PatchConversion::Pair& pair : conversion.pairs) {
    if (!way.When(pair).Holds(from)) continue;
    const FieldPlace& target = way.To(pair);
    const std::int64_t value = way.From(pair).Read(from);
    const std::int64_t there = way.toPatch ? value * pair.factor : Quotient(value, pair.factor);
    const std::int64_t held = std::clamp(there, target.lowest(), target.highest());
    if (held != there || (!way.toPatch && there * pair.factor != value)) ++changed;
    target.Write(to, held);
  }
  const std::int64_t source = way.toPatch ? conversion.slotName : conversion.patchName;
  const std::int64_t target = way.toPatch ? conversion.patchName : conversion.slotName;
  const std::int64_t mask = (1 << conversion.nameBits) - 1;
  for (std::uint32_t i = 0; i < conversion.nameLength; ++i) {
    const std::uint32_t at = static_cast<std::uint32_t>(target) + i;
    to.Set(at, (to.Get(at) & ~mask) | (from.Get(static_cast<std::uint32_t>(source) + i) & mask));
  }
  return changed;
}

std::string Bits(bool sevenBit) {
  return sevenBit ? "7" : "8";
}

// A place with its range; what is wrong with them, or nothing.
std::string ReadField(const std::string& place, const std::string& range, bool sevenBit,
                      const std::vector<PatchPiece>& pieces, FieldPlace* out, FieldRange* outRange) {
  auto fault = ParseFieldPlace(place, sevenBit, {0, 0, &pieces}, out);
  if (!fault) fault = ParseFieldRange(range, out, outRange);
  return fault ? fault->text + "." : std::string();
}

ParameterCondition ConditionOf(const ParameterTable& table, const Parameter& parameter) {
  const ParameterCondition* condition = table.ConditionOf(parameter);
  return condition ? *condition : ParameterCondition();
}

// What is wrong with a condition, or nothing.
std::string ReadCondition(const std::string& text, bool sevenBit, const std::vector<PatchPiece>& pieces,
                          ParameterCondition* out) {
  if (text.empty()) return {};
  auto fault = ParseParameterCondition(text, sevenBit, {0, 0, &pieces}, out);
  for (const ParameterCondition::Test& test : out->tests)
    if (!test.name.empty()) fault = {0, "the condition names a parameter instead of a place", {}};
  return fault ? fault->text + "." : std::string();
}

}  // namespace

PatchConversion DerivePatchConversion(const ParameterTable& slot, const Synth& slotType, const ParameterTable& patch,
                                      const Synth& patchType, std::vector<std::string>* missing) {
  PatchConversion conversion;
  conversion.slotType = slotType.driverId;
  conversion.patchType = patchType.driverId;
  conversion.slotSevenBit = slot.sevenBit;
  conversion.patchSevenBit = patch.sevenBit;
  conversion.slotPieces = slot.pieces;
  conversion.patchPieces = patch.pieces;
  std::map<std::string, const Parameter*> others;
  for (const Parameter& parameter : patch.parameters) others[parameter.name] = &parameter;
  for (const Parameter& parameter : slot.parameters) {
    const auto other = others.find(parameter.name);
    if (other == others.end()) {
      missing->push_back(parameter.name);
      continue;
    }
    conversion.pairs.push_back({parameter.name, parameter.place, other->second->place, parameter.range,
                                other->second->range, FactorOf(parameter, *other->second), ConditionOf(slot, parameter),
                                ConditionOf(patch, *other->second)});
    others.erase(other);
  }
  for (const Parameter& parameter : patch.parameters)
    if (others.count(parameter.name)) missing->push_back(parameter.name);
  if (slotType.nameFormat == patchType.nameFormat) {
    conversion.slotName = NameOf(slotType);
    conversion.patchName = NameOf(patchType);
    conversion.nameLength = std::min(+slotType.nameLength, +patchType.nameLength);
    conversion.nameBits = NameBitsOf(slotType.nameFormat);
  }
  return conversion;
}

std::size_t ConvertSlotToPatch(const PatchConversion& conversion, const ConstPatchBytes& slot,
                               const PatchBytes& patch) {
  return Convert(conversion, {true}, slot, patch);
}

std::size_t ConvertPatchToSlot(const PatchConversion& conversion, const ConstPatchBytes& patch,
                               const PatchBytes& slot) {
  return Convert(conversion, {false}, patch, slot);
}

std::string PatchConversionName(int driverId) {
  return "Conversion.ID" + std::to_string(driverId) + ".tsv";
}

std::string PatchConversionText(const PatchConversion& conversion) {
  std::string text = TabbedHead(kKind);
  text += TabbedLine({"types", std::to_string(conversion.slotType), std::to_string(conversion.patchType)});
  text += TabbedLine({"bits", Bits(conversion.slotSevenBit), Bits(conversion.patchSevenBit)});
  for (const auto& [where, pieces] :
       {std::pair("slot ", &conversion.slotPieces), std::pair("patch ", &conversion.patchPieces)})
    for (const PatchPiece& piece : *pieces) text += where + PatchPiecesText({piece});
  if (conversion.nameLength) {
    std::vector<std::string> cells = {"name", std::to_string(conversion.slotName), std::to_string(conversion.patchName),
                                      std::to_string(conversion.nameLength)};
    if (conversion.nameBits != kByteBits) cells.push_back(std::to_string(conversion.nameBits));
    text += TabbedLine(cells);
  }
  for (const PatchConversion::Pair& pair : conversion.pairs) {
    std::vector<std::string> cells = {"field",         pair.name,
                                      pair.slot.text,  FieldRangeText(pair.slot, pair.slotRange),
                                      pair.patch.text, FieldRangeText(pair.patch, pair.patchRange)};
    cells.push_back(pair.factor != 1 ? std::to_string(pair.factor) : "");
    cells.push_back(pair.slotWhen.PlacesText());
    cells.push_back(pair.patchWhen.PlacesText());
    while (cells.back().empty()) cells.pop_back();
    text += TabbedLine(cells);
  }
  return text;
}

Result ReadPatchConversion(std::string_view text, PatchConversion* out) {
  PatchConversion conversion;
  const auto number = [](const std::string& cell) {
    const auto value = ParseInteger(cell);
    return value && *value >= 0 && *value < kMostNumber ? *value : -1;
  };
  const auto take = [&](const std::vector<std::string>& cells) -> std::string {
    if (cells[0] == "types" && cells.size() == 3) {
      conversion.slotType = static_cast<int>(number(cells[1]));
      conversion.patchType = static_cast<int>(number(cells[2]));
      return conversion.slotType < 0 || conversion.patchType < 0 ? "no data type." : "";
    }
    if (cells[0] == "bits" && cells.size() == 3) {
      conversion.slotSevenBit = cells[1] == "7";
      conversion.patchSevenBit = cells[2] == "7";
      return {};
    }
    if (cells[0] == "slot piece" || cells[0] == "patch piece")
      return ReadPatchPiece(cells, cells[0] == "slot piece" ? &conversion.slotPieces : &conversion.patchPieces)
                 ? ""
                 : "the piece does not read.";
    if (cells[0] == "name" && (cells.size() == kNameCells || cells.size() == kNameCells + 1)) {
      conversion.slotName = number(cells[1]);
      conversion.patchName = number(cells[2]);
      const std::int64_t length = number(cells[3]);
      if (conversion.slotName < 0 || conversion.patchName < 0 || length < 0 || length > kMaxNameLength)
        return "no place of a name.";
      conversion.nameLength = static_cast<std::uint32_t>(length);
      const std::int64_t bits = cells.size() > kNameCells ? number(cells[kNameCells]) : kByteBits;
      if (bits < 1 || bits > kByteBits) return "no number of bits.";
      conversion.nameBits = static_cast<int>(bits);
      return {};
    }
    if (cells[0] != "field" || cells.size() < kFieldCells || cells.size() > kMostCells)
      return "neither a field nor a name.";
    if (conversion.pairs.size() >= kMostFields) return "there are too many fields.";
    PatchConversion::Pair pair;
    pair.name = cells[1];
    std::string wrong =
        ReadField(cells[2], cells[3], conversion.slotSevenBit, conversion.slotPieces, &pair.slot, &pair.slotRange);
    if (wrong.empty())
      wrong = ReadField(cells[4], cells[5], conversion.patchSevenBit, conversion.patchPieces, &pair.patch,
                        &pair.patchRange);
    const auto cell = [&](std::size_t more) {
      return cells.size() > kFieldCells + more ? cells[kFieldCells + more] : std::string();
    };
    pair.factor = cell(0).empty() ? 1 : number(cell(0));
    if (wrong.empty()) wrong = ReadCondition(cell(1), conversion.slotSevenBit, conversion.slotPieces, &pair.slotWhen);
    if (wrong.empty())
      wrong = ReadCondition(cell(2), conversion.patchSevenBit, conversion.patchPieces, &pair.patchWhen);
    if (wrong.empty() && (pair.factor < 1 || pair.factor > kMostFactor)) wrong = "no factor.";
    conversion.pairs.push_back(std::move(pair));
    return wrong;
  };
  Result read = ReadTabbedLines(text, kKind, take);
  if (read.ok()) *out = std::move(conversion);
  return read;
}

}  // namespace tonalith
