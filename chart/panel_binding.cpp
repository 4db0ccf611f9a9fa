#include "chart/panel_binding.h"

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "chart/panel_guard.h"
#include "chart/panel_macros.h"
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

// One byte of a message: fixed, or a part of the value or of a byte of the patch.
struct ChangeByte {
  enum class Source { kFixed, kValue, kByte, kSum };
  Source source = Source::kFixed;
  std::int64_t fixed = 0;
  std::uint32_t byte = 0;  // of the patch
  int shift = 0;
  std::int64_t mask = kSeptet;
  bool device = false;
};

// Numbers of a row: "13", or hexadecimal bytes.
std::vector<std::int64_t> NumbersOf(const std::string& number, bool hex) {
  std::vector<std::int64_t> numbers;
  if (number.starts_with("CC ")) return NumbersOf(number.substr(3), hex);
  const auto plain = hex ? std::nullopt : ParseInteger(number);
  if (plain && number.find(' ') == std::string::npos) return {*plain};
  for (const std::string& word : SplitText(number, ' '))
    if (IsHexByte(word)) numbers.push_back(*ParseInteger("0x" + word));
  return numbers;
}

class ChangeReader {
 public:
  ChangeReader(const Parameter& parameter, const PanelData& data) : parameter_(parameter), data_(data) {}

  bool Read(const std::string& change) {
    for (const std::string& word : SplitText(change, ' '))
      if (!word.empty()) words_.push_back(word);
    while (at_ < words_.size())
      if (!Word(words_[at_++])) return false;
    return !bytes.empty();
  }

  std::vector<ChangeByte> bytes;
  std::size_t sumFrom = 0;

 private:
  using Source = ChangeByte::Source;

  bool IsHalf(std::size_t at) const { return at < words_.size() && (words_[at] == "high" || words_[at] == "low"); }

  // "high" or "low" that follows; 0 when neither does, or both: those are halves of the byte.
  char Half() {
    if (!IsHalf(at_) || IsHalf(at_ + 1)) return 0;
    return words_[at_++][0];
  }

  bool Word(const std::string& word) {
    std::string name = word;
    std::int64_t base = 0;
    // `40+offset`, `17+3`: a byte and something on top
    if (word.size() > 3 && word[2] == '+' && IsHexByte(word.substr(0, 2))) {
      base = *ParseInteger("0x" + word.substr(0, 2));
      name = word.substr(3);
      const auto more = ParseInteger(name);
      if (more) return Fixed(base + *more);
    }
    constexpr std::string_view kHexNumber = "number-hex";
    hex_ = name == kHexNumber;
    if (hex_) name = "number";
    // `2-1`: the value of a repeat less a number
    const std::size_t minus = name.find('-');
    const auto whole = ParseInteger(name.substr(0, minus));
    const auto less = minus == std::string::npos ? std::nullopt : ParseInteger(name.substr(minus + 1));
    if (whole && less && *less >= 0 && !base) return Fixed(*whole - *less);
    // `offset-16`: counted from there
    constexpr std::string_view kFrom = "offset-";
    const auto from = name.starts_with(kFrom) ? ParseInteger(name.substr(kFrom.size())) : std::nullopt;
    if (from) return Numbers(true, base, *from);
    if (name == "number" || name == "offset") return Numbers(name == "offset", base, 0);
    if (base) return false;
    if (name == "<") {
      sumFrom = bytes.size();
      return true;
    }
    if (name == "sum") return data_.sumKind >= 0 && Add({Source::kSum});
    if (name == "value") return Value();
    if (name == "byte" || name == "bytes" || name == "low" || name == "high") return OfPatch(name);
    if (IsHexByte(name)) return Fixed(*ParseInteger("0x" + name));
    return Device(name);
  }

  bool Device(const std::string& word) {
    if (!data_.device || word.size() != 2 || word[1] != data_.device) return false;
    const bool whole = word[0] == data_.device;
    if (!whole && !IsHexByte(std::string(1, word[0]) + "0")) return false;
    ChangeByte byte;
    byte.fixed = whole ? 0 : *ParseInteger("0x" + std::string(1, word[0]) + "0");
    byte.device = true;
    return Add(byte);
  }

  bool Value() {
    const char half = Half();
    if (!half && parameter_.range.max + parameter_.place.bias > kSeptet) return false;
    return Add({Source::kValue, 0, 0, half == 'h' ? 7 : 0});
  }

  // The bytes of the place as they lie in the patch; `low` and `high` are halves of the first.
  bool OfPatch(const std::string& word) {
    constexpr int kNibble = 4;
    constexpr std::int64_t kNibbleMask = 15;
    const auto& bits = parameter_.place.bits;
    const std::uint32_t first = bits.back().byte;
    if (word == "low" || word == "high")
      return Add({Source::kByte, 0, first, word == "low" ? 0 : kNibble, kNibbleMask});
    if (word == "byte") return bits.size() == 1 && Add({Source::kByte, 0, first});
    for (std::uint32_t byte = first; byte < parameter_.place.end(); ++byte) Add({Source::kByte, 0, byte});
    return true;
  }

  bool Numbers(bool offset, std::int64_t base, std::int64_t from) {
    const auto numbers = offset ? std::vector<std::int64_t>{parameter_.place.bits.back().byte - from}
                                : NumbersOf(parameter_.number, hex_);
    if (numbers.empty() || numbers[0] < 0) return false;
    if (const char half = Half()) return Fixed(base + (numbers[0] >> (half == 'h' ? 7 : 0) & kSeptet));
    if (base && numbers.size() != 1) return false;
    for (const std::int64_t number : numbers)
      if (!Fixed(base + number)) return false;
    return true;
  }

  bool Fixed(std::int64_t number) {
    constexpr std::int64_t kLargestByte = 0xFF;
    const bool inside = !bytes.empty();
    return number >= 0 && number <= (inside && number != 0xF7 ? kSeptet : kLargestByte) &&
           Add({Source::kFixed, number});
  }

  bool Add(ChangeByte byte) {
    bytes.push_back(byte);
    return true;
  }

  const Parameter& parameter_;
  const PanelData& data_;
  std::vector<std::string> words_;
  std::size_t at_ = 0;
  bool hex_ = false;  // the number cell is hexadecimal
};

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

// The messages of a change; controllers and NRPNs written as what goes out.
std::vector<std::string> MessagesOf(const std::string& change) {
  if (change == "controller number") return {"B0 number value"};
  for (const std::string number : {"number", "offset"})
    if (change == "NRPN " + number)
      return {"B0 63 " + number + " high", "B0 62 " + number + " low", "B0 06 value high", "B0 26 value low"};
  std::vector<std::string> messages;
  constexpr std::string_view kAnd = " + ";
  std::string_view rest = change;
  for (std::size_t at = rest.find(kAnd); at != std::string_view::npos; at = rest.find(kAnd)) {
    messages.emplace_back(rest.substr(0, at));
    rest.remove_prefix(at + kAnd.size());
  }
  messages.emplace_back(rest);
  return messages;
}

// Y becomes a byte of the patch.
std::string PatchByteText(const Parameter& parameter, std::uint32_t byte) {
  constexpr std::uint8_t kWhole = 8;
  for (const FieldBits& part : parameter.place.bits)
    if (part.piece.Holds(byte)) return ReadBitsText({{byte, 0, kWhole, part.piece}}) + "MY @ W\n";
  return "FR Y " + N(byte) + "\n";
}

std::string MessageText(const Parameter& parameter, const std::string& change, const PanelData& data) {
  ChangeReader reader(parameter, data);
  if (!reader.Read(change)) return {};
  const std::string count = N(static_cast<std::int64_t>(reader.bytes.size()));
  std::int64_t device = 0;
  std::string message, stores;
  for (std::size_t i = 0; i < reader.bytes.size(); ++i) {
    const ChangeByte& byte = reader.bytes[i];
    const std::string place = N(static_cast<std::int64_t>(i));
    message += Printf(" %02X", static_cast<unsigned>(byte.fixed));
    if (byte.device) device = static_cast<std::int64_t>(i);
    if (byte.source == ChangeByte::Source::kSum)
      stores += Printf("K 00 %02X ", static_cast<unsigned>(data.sumKind)) +
                N(static_cast<std::int64_t>(reader.sumFrom)) + " " + N(static_cast<std::int64_t>(i - reader.sumFrom)) +
                " " + place + "\n";
    if (byte.source != ChangeByte::Source::kValue && byte.source != ChangeByte::Source::kByte) continue;
    stores += byte.source == ChangeByte::Source::kValue ? "MY @ X\n" : PatchByteText(parameter, byte.byte);
    stores += "MY > " + N(byte.shift) + "\nMY & " + N(byte.mask) + "\nF Y " + place + "\n";
  }
  return "C " + N(device) + "\nS " + count + " {" + message + " }\n" + stores + "T " + count + "\n";
}

}  // namespace

std::string TransmitMacroText(const Parameter& parameter, const std::string& change, const PanelData& data,
                              const ParameterCondition* condition) {
  const PanelGuard guard = GuardOf(condition);
  std::string text = "GP " + N(data.headerSize) + "\n" + guard.begin;
  for (const std::string& message : MessagesOf(change)) {
    const std::string part = MessageText(parameter, message, data);
    if (part.empty()) return {};
    text += part;
  }
  return text + guard.end + "]";
}

ChangeShape ShapeOfChange(const Parameter& parameter, const std::string& change, const PanelData& data) {
  ChangeShape shape;
  for (const std::string& message : MessagesOf(change)) {
    ChangeReader reader(parameter, data);
    if (!reader.Read(message)) return {};
    for (const ChangeByte& byte : reader.bytes) {
      const bool fixed = byte.source == ChangeByte::Source::kFixed;
      shape.message += fixed ? Printf(" %02X", static_cast<unsigned>(byte.fixed)) : " ??";
      if (byte.source == ChangeByte::Source::kByte) shape.bytes.push_back(byte.byte);
    }
  }
  return shape;
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
  const std::string transmit =
      parameter.change < 0
          ? std::string()
          : Compiled(TransmitMacroText(parameter, table.changes[static_cast<std::size_t>(parameter.change)], data,
                                       condition));
  binding.Set("Transmit", transmit);
  binding.Set("Comm Mode", std::int64_t{transmit.empty() ? kBulkTransmit : kUseMacro});
  return binding;
}

}  // namespace tonalith
