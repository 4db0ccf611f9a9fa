#include "studio/exchange_message.h"

#include <algorithm>

#include "data/hex_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kAnyByte = 0xFF;
constexpr std::size_t kLongestMessage = 256;
constexpr const char* kOperators = "+-*/%&";
constexpr int kAllDevices = 127;

struct Word {
  const char* name;
  const char* variable;
};
constexpr Word kWords[] = {{"patch", kPatchVariable}, {"device", "Y"}, {"turn", kTurnVariable}};

const char* VariableOf(std::string_view name) {
  const auto* word = std::find_if(std::begin(kWords), std::end(kWords),
                                  [&](const Word& one) { return AsciiEqualNoCase(one.name, name); });
  return word == std::end(kWords) ? nullptr : word->variable;
}

std::optional<std::uint8_t> HexByte(std::string_view text) {
  const auto bytes = text.size() == 2 ? ParseHex(text) : std::nullopt;
  return bytes && bytes->size() == 1 ? std::optional(bytes->front()) : std::nullopt;
}

// A byte that is computed: terms with operators between.
std::optional<ExchangeMessage::Computed> ParseComputed(std::string_view text) {
  ExchangeMessage::Computed computed;
  std::size_t end = std::min(text.find_first_of(kOperators), text.size());
  const std::string_view first = text.substr(0, end);
  const char* variable = VariableOf(first);
  const auto byte = HexByte(first);
  if (!variable && !byte) return std::nullopt;
  if (end == text.size()) {
    if (!variable) return std::nullopt;
    computed.variable = variable;
    computed.device = computed.variable == "Y";
    return computed;
  }
  computed.variable = kByteVariable;
  computed.script = "M" + computed.variable + " = " + (variable ? std::string(variable) : std::to_string(*byte));
  while (end < text.size()) {
    const char op = text[end];
    text.remove_prefix(end + 1);
    end = std::min(text.find_first_of(kOperators), text.size());
    const std::string_view term = text.substr(0, end);
    const auto number = ParseInteger(term);
    variable = VariableOf(term);
    if (!variable && (!number || *number < 0)) return std::nullopt;
    computed.script += "  M" + computed.variable + " " + op + " " + (variable ? variable : std::to_string(*number));
  }
  return computed;
}

std::string CountText(std::size_t count) {
  return std::to_string(count);
}

}  // namespace

std::optional<ExchangeMessage> ParseExchangeMessage(std::string_view text, std::string* error) {
  ExchangeMessage message;
  for (const std::string& part : SplitText(text, ' ')) {
    if (part.empty()) continue;
    if (part == "??") {
      message.bytes.push_back(kAnyByte);
    } else if (const auto byte = HexByte(part)) {
      message.bytes.push_back(*byte);
    } else if (auto computed = ParseComputed(part)) {
      computed->at = message.bytes.size();
      message.computed.push_back(std::move(*computed));
      message.bytes.push_back(0);
    } else {
      *error = "\"" + part + "\" is no byte: two hex digits, ??, patch, device or turn";
      return std::nullopt;
    }
  }
  if (!message.bytes.empty() && message.bytes.size() <= kLongestMessage) return message;
  *error = message.bytes.empty() ? "the bytes are missing" : "there are too many bytes";
  return std::nullopt;
}

std::string TransmitDataText(const ExchangeMessage& message, bool pattern) {
  ExchangeMessage copy = message;
  if (pattern)
    for (const auto& computed : copy.computed)
      if (computed.device) copy.bytes[computed.at] = kAnyByte;
  std::string text = "S " + CountText(copy.bytes.size()) + " { " + HexText(copy.bytes) + " }\n";
  for (const auto& computed : message.computed) {
    const std::string store = "F " + computed.variable + " " + CountText(computed.at) + "\n";
    if (pattern && computed.device)
      text += std::string("M") + kByteVariable + " = Y  IFNQ " + kByteVariable + " " + std::to_string(kAllDevices) +
              "\n" + store + "IFX\n";
    else
      text += (computed.script.empty() ? "" : computed.script + "\n") + store;
  }
  return text;
}

std::string ImageBytesText(const ExchangeMessage& message, std::int64_t offset) {
  std::string text =
      "FA " + CountText(message.bytes.size()) + " " + std::to_string(offset) + " { " + HexText(message.bytes) + " }\n";
  for (const auto& computed : message.computed)
    text += (computed.script.empty() ? "" : computed.script + "\n") + "F " + computed.variable + " " +
            std::to_string(offset + static_cast<std::int64_t>(computed.at)) + "\n";
  return text;
}

}  // namespace tonalith
