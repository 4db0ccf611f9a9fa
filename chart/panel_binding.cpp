#include "chart/panel_binding.h"

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "chart/change_message.h"
#include "chart/panel_guard.h"
#include "chart/panel_macros.h"
#include "chart/type_lines.h"
#include "platform/text.h"
#include "script/compiler.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kBulkTransmit = 2;  // "Comm Mode": the whole patch on release
constexpr std::uint8_t kUseMacro = 0;
constexpr int kByteBits = 8;
constexpr std::int64_t kSevenBits = 0x7F;

std::string Compiled(const std::string& text) {
  if (text.empty()) return {};
  const std::vector<std::string> lines = SplitText(text, '\n');
  std::vector<std::uint8_t> code(kMaxScriptBytes);
  ScriptCompiler compiler(lines, code);
  if (compiler.SynGoCompile() != CompileError::None) return {};
  return {code.begin(), code.begin() + static_cast<std::ptrdiff_t>(compiler.size())};
}

std::string N(std::int64_t number) {
  return std::to_string(number);
}

// "Convert" for two's complement of a width; nothing when the format has none.
std::optional<int> ConvertOf(int width) {
  constexpr std::array<int, 17> kConvert = {0, 0, 10, 12, 9, 8, 2, 3, 1, 11, 6, 13, 14, 15, 16, 17, 7};
  const auto index = static_cast<std::size_t>(width);
  return index < kConvert.size() && kConvert[index] ? std::optional(kConvert[index]) : std::nullopt;
}

}  // namespace

std::string RetrieveMacroText(const FieldPlace& place, const PanelData& data, const ParameterCondition* condition) {
  const PanelGuard guard = GuardOf(condition);
  // A sign has no value to spare for what is not there.
  const bool spare = condition && !place.isSigned;
  const std::string before = spare ? "MW = 0\nMW - " + N(-kNotThere) + "\nRET W\n" + guard.begin : std::string();
  return "GP " + N(data.headerSize) + "\n" + before + ReadBitsText(place.bits) + "RET W\n" + (spare ? guard.end : "") +
         "]";
}

std::string StoreMacroText(const FieldPlace& place, const PanelData& data, const ParameterCondition* condition) {
  const PanelGuard guard = GuardOf(condition);
  std::string text = "GP " + N(data.headerSize) + "\n" + guard.begin;
  int at = 0;
  for (const MacroBits& part : MacroBitsOf(place.bits)) {
    const int mask = ((1 << part.width) - 1) << part.bit;
    text += "MW @ X\nMW > " + N(at) + "\nMW & " + N((1 << part.width) - 1) + "\nMW < " + N(part.bit) + "\n" +
            ReadByteText(part) + "MY & " + N(0xFFFF & ~mask) + "\nMY | W\n" + WriteByteText(part);
    at += part.width;
  }
  return text + guard.end + "]";
}

namespace {

// Y becomes a byte of the patch.
std::string PatchByteText(const Parameter& parameter, std::uint32_t byte) {
  constexpr std::uint8_t kWhole = 8;
  for (const FieldBits& part : parameter.place.bits)
    if (part.piece.Holds(byte)) return ReadBitsText({{byte, 0, kWhole, part.piece}}) + "MY @ W\n";
  return "FR Y " + N(byte) + "\n";
}

// Y becomes the number of the patch and something on top.
std::string PatchNumberText(std::int64_t more, const PanelData& data) {
  const PatchNumberPlace& patch = data.patch;
  return "GP 0\nFG Y " + N(patch.byte) + "\nGP " + N(data.headerSize) + "\nMY & " + N(patch.mask) + "\nMY - " +
         N(patch.less) + "\nMY + " + N(more) + "\n";
}

// Y becomes what a byte is a part of; nothing for a byte that is no part of anything.
std::string ValueText(const Parameter& parameter, const ChangeByte& byte) {
  using Source = ChangeByte::Source;
  if (byte.source == Source::kValue) return "MY @ X\n";
  if (byte.source == Source::kShown) return "MY @ X\nMY + " + N(byte.fixed) + "\n";
  if (byte.source == Source::kByte) return PatchByteText(parameter, byte.byte);
  if (byte.source != Source::kScaled) return {};
  // Of a few values each begins where its part of 0 to 127 does.
  constexpr std::int64_t kControllerValues = kSevenBits + 1;
  const std::int64_t count = parameter.range.max - parameter.range.min + 1;
  const std::int64_t first = parameter.range.min + parameter.place.bias;
  return "MY @ X\n" + (first ? "MY - " + N(first) + "\n" : std::string()) + "MY * " + N(kControllerValues) + "\nMY + " +
         N(count < kControllerValues ? count - 1 : 0) + "\nMY / " + N(count) + "\n";
}

std::string MessageText(const Parameter& parameter, const ChangeMessage& change, const PanelData& data) {
  const std::string count = N(static_cast<std::int64_t>(change.bytes.size()));
  std::int64_t device = 0;
  std::string message, stores;
  for (std::size_t i = 0; i < change.bytes.size(); ++i) {
    const ChangeByte& byte = change.bytes[i];
    const std::string place = N(static_cast<std::int64_t>(i));
    const bool fixed = byte.source == ChangeByte::Source::kFixed;
    message += Printf(" %02X", fixed ? static_cast<unsigned>(byte.fixed) : 0u);
    if (byte.device) device = static_cast<std::int64_t>(i);
    if (byte.source == ChangeByte::Source::kSum)
      stores += Printf("K 00 %02X ", static_cast<unsigned>(data.sumKind)) +
                N(static_cast<std::int64_t>(change.sumFrom)) + " " + N(static_cast<std::int64_t>(i - change.sumFrom)) +
                " " + place + "\n";
    if (byte.source == ChangeByte::Source::kPatch) stores += PatchNumberText(byte.fixed, data) + "F Y " + place + "\n";
    const std::string value = ValueText(parameter, byte);
    if (!value.empty())
      stores += value + "MY > " + N(byte.shift) + "\nMY & " + N(byte.mask) + "\n" +
                (byte.left ? "MY < " + N(byte.left) + "\n" : "") + "F Y " + place + "\n";
  }
  return "C " + N(device) + "\nS " + count + " {" + message + " }\n" + stores + "T " + count + "\n";
}

}  // namespace

std::string TransmitMacroText(const Parameter& parameter, const std::string& change, const PanelData& data,
                              const ParameterCondition* condition) {
  const PanelGuard guard = GuardOf(condition);
  std::string text = "GP " + N(data.headerSize) + "\n" + guard.begin, wrong;
  const std::vector<ChangeMessage> messages = ReadChange(parameter, change, data, &wrong);
  if (messages.empty()) return {};
  for (const ChangeMessage& message : messages) text += MessageText(parameter, message, data);
  return text + guard.end + "]";
}

std::string TransmitMacro(const Parameter& parameter, const ParameterTable& table, const PanelData& data) {
  if (parameter.change < 0) return {};
  return Compiled(TransmitMacroText(parameter, table.changes[static_cast<std::size_t>(parameter.change)], data,
                                    table.ConditionOf(parameter)));
}

TemplateValues NoBinding() {
  TemplateValues binding{BindingFields()};
  binding.Set("CC MIDI Ch", 0);
  binding.Set("Use Store Macro", 1);
  binding.Set("Store Macro", Compiled("]"));
  return binding;
}

TemplateValues BindParameter(const Parameter& parameter, const ParameterTable& table, const PanelData& data) {
  const FieldPlace& place = parameter.place;
  const FieldBits& first = place.bits.front();
  TemplateValues binding{BindingFields()};
  binding.Set("CC MIDI Ch", 0);
  binding.Set("Min Value", parameter.range.min + place.bias);
  binding.Set("Max Value", parameter.range.max + place.bias);
  binding.Set("Default", parameter.defaultValue + place.bias);
  binding.Set("Retrieve Offset", std::int64_t{first.byte});
  binding.Set("Store Offset", std::int64_t{first.byte});
  const ParameterCondition* condition = table.ConditionOf(parameter);
  if (place.bits.size() == 1 && !first.piece.bytes && !condition) {
    const int whole = table.sevenBit ? kByteBits - 1 : kByteBits;
    if (first.bit > 0 || first.width < whole) {
      binding.Set("Bitmask", std::int64_t{((1 << first.width) - 1) << first.bit});
      binding.Set("Bit Shift", std::int64_t{first.bit});
    }
  } else {
    binding.Set("Use Retrieve Macro", 1);
    binding.Set("Retrieve Macro", Compiled(RetrieveMacroText(place, data, condition)));
    binding.Set("Use Store Macro", 1);
    binding.Set("Store Macro", Compiled(StoreMacroText(place, data, condition)));
  }
  if (place.isSigned) binding.Set("Convert", ConvertOf(place.width()).value_or(0));
  const std::string transmit = TransmitMacro(parameter, table, data);
  binding.Set("Transmit", transmit);
  binding.Set("Comm Mode", std::int64_t{transmit.empty() ? kBulkTransmit : kUseMacro});
  return binding;
}

}  // namespace tonalith
