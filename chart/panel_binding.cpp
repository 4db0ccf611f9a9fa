#include "chart/panel_binding.h"

#include <array>
#include <optional>
#include <vector>

#include "platform/text.h"
#include "script/compiler.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kBulkTransmit = 2;  // "Comm Mode": the whole patch on release
constexpr std::uint8_t kUseMacro = 0;
constexpr int kByteBits = 8;
constexpr std::int64_t kSeptet = 0x7F;

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

bool IsHexByte(const std::string& word) {
  return word.size() == 2 && ParseInteger("0x" + word).has_value();
}

// One byte of a message: fixed, or a part of the value.
struct ChangeByte {
  std::int64_t fixed = 0;
  int shift = -1;  // of the value; -1: fixed
  bool device = false;
};

// Numbers of a row: "13", or hexadecimal bytes.
std::vector<std::int64_t> NumbersOf(const std::string& number) {
  std::vector<std::int64_t> numbers;
  const auto plain = ParseInteger(number);
  if (plain && number.find(' ') == std::string::npos) return {*plain};
  for (const std::string& word : SplitText(number, ' '))
    if (IsHexByte(word)) numbers.push_back(*ParseInteger("0x" + word));
  return numbers;
}

class ChangeReader {
 public:
  ChangeReader(const Parameter& parameter, const PanelData& data) : parameter_(parameter), data_(data) {}

  bool Read(const std::string& change) {
    const std::vector<std::string> words = SplitText(change, ' ');
    for (std::size_t i = 0; i < words.size(); ++i) {
      const bool high = i + 1 < words.size() && words[i + 1] == "high";
      const bool low = i + 1 < words.size() && words[i + 1] == "low";
      if (words[i].empty()) continue;
      if (!Word(words[i], high, low)) return false;
      if (high || low) ++i;
    }
    return !bytes.empty();
  }

  std::vector<ChangeByte> bytes;

 private:
  bool Word(const std::string& word, bool high, bool low) {
    if (word == "value" && !high && !low && parameter_.range.max + parameter_.place.bias > kSeptet) return false;
    if (word == "value") return Add({0, high ? 7 : 0, false});
    if (word == "number" || word == "offset") return Numbers(word == "offset", high, low);
    if (high || low) return false;
    if (IsHexByte(word)) return Add({*ParseInteger("0x" + word), -1, false});
    if (data_.device && word.size() == 2 && word[1] == data_.device && IsHexByte(std::string(1, word[0]) + "0"))
      return Add({*ParseInteger("0x" + std::string(1, word[0]) + "0"), -1, true});
    return false;
  }

  bool Numbers(bool offset, bool high, bool low) {
    const auto numbers =
        offset ? std::vector<std::int64_t>{parameter_.place.bits.front().byte} : NumbersOf(parameter_.number);
    if (numbers.empty()) return false;
    if (high || low) return Add({numbers[0] >> (high ? 7 : 0) & kSeptet, -1, false});
    for (const std::int64_t number : numbers)
      if (number > kSeptet || !Add({number, -1, false})) return false;
    return true;
  }

  bool Add(ChangeByte byte) {
    bytes.push_back(byte);
    return true;
  }

  const Parameter& parameter_;
  const PanelData& data_;
};

}  // namespace

std::string RetrieveMacroText(const FieldPlace& place, const PanelData& data) {
  std::string text = "GP " + N(data.headerSize) + "\nMW = 0\n";
  int at = 0;
  for (const FieldBits& part : place.bits) {
    text += "FR Y " + N(part.byte) + "\nMY > " + N(part.bit) + "\nMY & " + N((1 << part.width) - 1) + "\nMY < " +
            N(at) + "\nMW | Y\n";
    at += part.width;
  }
  return text + "RET W\n]";
}

std::string StoreMacroText(const FieldPlace& place, const PanelData& data) {
  std::string text = "GP " + N(data.headerSize) + "\n";
  int at = 0;
  for (const FieldBits& part : place.bits) {
    const int mask = ((1 << part.width) - 1) << part.bit;
    text += "MW @ X\nMW > " + N(at) + "\nMW & " + N((1 << part.width) - 1) + "\nMW < " + N(part.bit) + "\nFR Y " +
            N(part.byte) + "\nMY & " + N(0xFFFF & ~mask) + "\nMY | W\nFS Y " + N(part.byte) + "\n";
    at += part.width;
  }
  return text + "]";
}

std::string TransmitMacroText(const Parameter& parameter, const std::string& change, const PanelData& data) {
  ChangeReader reader(parameter, data);
  if (!reader.Read(change)) return {};
  std::string head = "C 0\nS " + N(static_cast<std::int64_t>(reader.bytes.size())) + " {", stores;
  for (std::size_t i = 0; i < reader.bytes.size(); ++i) {
    const ChangeByte& byte = reader.bytes[i];
    const auto place = static_cast<std::int64_t>(i);
    head += Printf(" %02X", static_cast<unsigned>(byte.fixed));
    if (byte.device) head.replace(0, head.find('\n'), "C " + N(place));
    if (byte.shift >= 0) stores += "MY @ X\nMY > " + N(byte.shift) + "\nMY & 127\nF Y " + N(place) + "\n";
  }
  return head + " }\n" + stores + "T " + N(static_cast<std::int64_t>(reader.bytes.size())) + "\n]";
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
  if (place.bits.size() == 1) {
    const int whole = table.sevenBit ? kByteBits - 1 : kByteBits;
    if (first.bit > 0 || first.width < whole) {
      binding.Set("Bitmask", std::int64_t{((1 << first.width) - 1) << first.bit});
      binding.Set("Bit Shift", std::int64_t{first.bit});
    }
  } else {
    binding.Set("Use Retrieve Macro", 1);
    binding.Set("Retrieve Macro", Compiled(RetrieveMacroText(place, data)));
    binding.Set("Use Store Macro", 1);
    binding.Set("Store Macro", Compiled(StoreMacroText(place, data)));
  }
  if (place.isSigned) binding.Set("Convert", ConvertOf(place.width()).value_or(0));
  const std::string transmit =
      parameter.change < 0
          ? std::string()
          : Compiled(TransmitMacroText(parameter, table.changes[static_cast<std::size_t>(parameter.change)], data));
  binding.Set("Transmit", transmit);
  binding.Set("Comm Mode", std::int64_t{transmit.empty() ? kBulkTransmit : kUseMacro});
  return binding;
}

}  // namespace tonalith
