#include "parameters/patch_conversion.h"

#include <algorithm>
#include <map>

#include "parameters/tabbed_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr char kKind[] = "conversion";
constexpr std::size_t kFieldCells = 6;
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
  const FieldPlace& To(const PatchConversion::Pair& pair) const { return toPatch ? pair.patch : pair.slot; }
};

std::size_t Convert(const PatchConversion& conversion, Way way, const ConstPatchBytes& from, const PatchBytes& to) {
  std::size_t changed = 0;
  for (const PatchConversion::Pair& pair : conversion.pairs) {
    const FieldPlace& target = way.To(pair);
    const std::int64_t value = way.From(pair).Read(from);
    const std::int64_t held = std::clamp(value, target.lowest(), target.highest());
    if (held != value) ++changed;
    target.Write(to, held);
  }
  const std::int64_t source = way.toPatch ? conversion.slotName : conversion.patchName;
  const std::int64_t target = way.toPatch ? conversion.patchName : conversion.slotName;
  for (std::uint32_t i = 0; i < conversion.nameLength; ++i)
    to.Set(static_cast<std::uint32_t>(target) + i, from.Get(static_cast<std::uint32_t>(source) + i));
  return changed;
}

std::string Bits(bool sevenBit) {
  return sevenBit ? "7" : "8";
}

// A place with its range; what is wrong with them, or nothing.
std::string ReadField(const std::string& place, const std::string& range, bool sevenBit, FieldPlace* out,
                      FieldRange* outRange) {
  auto fault = ParseFieldPlace(place, sevenBit, {}, out);
  if (!fault) fault = ParseFieldRange(range, out, outRange);
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
  std::map<std::string, const Parameter*> others;
  for (const Parameter& parameter : patch.parameters) others[parameter.name] = &parameter;
  for (const Parameter& parameter : slot.parameters) {
    const auto other = others.find(parameter.name);
    if (other == others.end()) {
      missing->push_back(parameter.name);
      continue;
    }
    conversion.pairs.push_back(
        {parameter.name, parameter.place, other->second->place, parameter.range, other->second->range});
    others.erase(other);
  }
  for (const Parameter& parameter : patch.parameters)
    if (others.count(parameter.name)) missing->push_back(parameter.name);
  if (slotType.nameFormat == patchType.nameFormat) {
    conversion.slotName = NameOf(slotType);
    conversion.patchName = NameOf(patchType);
    conversion.nameLength = std::min(+slotType.nameLength, +patchType.nameLength);
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
  if (conversion.nameLength)
    text += TabbedLine({"name", std::to_string(conversion.slotName), std::to_string(conversion.patchName),
                        std::to_string(conversion.nameLength)});
  for (const PatchConversion::Pair& pair : conversion.pairs)
    text += TabbedLine({"field", pair.name, pair.slot.text, FieldRangeText(pair.slot, pair.slotRange), pair.patch.text,
                        FieldRangeText(pair.patch, pair.patchRange)});
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
    if (cells[0] == "name" && cells.size() == 4) {
      conversion.slotName = number(cells[1]);
      conversion.patchName = number(cells[2]);
      const std::int64_t length = number(cells[3]);
      if (conversion.slotName < 0 || conversion.patchName < 0 || length < 0 || length > kMaxNameLength)
        return "no place of a name.";
      conversion.nameLength = static_cast<std::uint32_t>(length);
      return {};
    }
    if (cells[0] != "field" || cells.size() != kFieldCells) return "neither a field nor a name.";
    if (conversion.pairs.size() >= kMostFields) return "there are too many fields.";
    PatchConversion::Pair pair;
    pair.name = cells[1];
    std::string wrong = ReadField(cells[2], cells[3], conversion.slotSevenBit, &pair.slot, &pair.slotRange);
    if (wrong.empty()) wrong = ReadField(cells[4], cells[5], conversion.patchSevenBit, &pair.patch, &pair.patchRange);
    conversion.pairs.push_back(std::move(pair));
    return wrong;
  };
  Result read = ReadTabbedLines(text, kKind, take);
  if (read.ok()) *out = std::move(conversion);
  return read;
}

}  // namespace tonalith
