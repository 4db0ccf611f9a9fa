#include "chart/simulator_changes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "chart/simulator_pattern.h"
#include "chart/type_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kSeptetBits = 7, kWholeByteBits = 8;
constexpr int kNibbleMask = 0x0F;
constexpr std::size_t kMostCarried = 7;  // bytes of a patch in a message

std::string BitsText(std::int64_t byte, int bit, int width) {
  return std::to_string(byte) + "." + std::to_string(bit) + "." + std::to_string(width);
}

std::string PlaceText(const FieldPlace& place) {
  std::string text = place.isSigned ? "signed" : "";
  for (const FieldBits& bits : place.bits)
    text += (text.empty() ? "" : " ") + BitsText(bits.byte, bits.bit, bits.width);
  return text;
}

// One parameter in its messages.
class ChangeWriter {
 public:
  using Source = ChangeByte::Source;

  ChangeWriter(const Parameter& parameter, const PanelData& data) : parameter_(parameter), data_(data) {}

  // False: they say the value in more ways than one, or not at all.
  bool Write(const std::vector<ChangeMessage>& messages) {
    for (const ChangeMessage& message : messages) {
      match += match.empty() ? "" : " + ";
      std::string pattern;
      for (const ChangeByte& byte : message.bytes) pattern += (pattern.empty() ? "" : " ") + Token(byte, message);
      match += pattern;
    }
    if (carried_.size() > kMostCarried) return false;
    return says_ == carried_.empty();
  }

  // Behind the key.
  std::string Field(const ParameterCondition* condition) const {
    std::string text = " / " + (says_ ? PlaceText(parameter_.place) : CarriedText()) + options_;
    if (condition)
      for (const ParameterCondition::Test& test : condition->tests)
        text += " / when " + PlaceText(test.place) + " in " + std::to_string(test.range.min + test.place.bias) + ".." +
                std::to_string(test.range.max + test.place.bias);
    return text;
  }

  std::string match, key, sum;

 private:
  std::string Token(const ChangeByte& byte, const ChangeMessage& message) {
    switch (byte.source) {
      case Source::kSum:
        sum = SimulatorSumName(data_.sumKind);
        if (sum.empty()) return "?";
        sum += " " + std::to_string(message.sumFrom);
        return "{sum}";
      case Source::kPatch:
        return "?";
      case Source::kByte:
        return Carried(byte);
      case Source::kFixed:
        return Fixed(byte);
      default:
        return Value(byte);
    }
  }

  std::string Fixed(const ChangeByte& byte) {
    const int value = static_cast<int>(byte.fixed);
    if (byte.device) return value == 0 ? "nn" : HexPair(value).substr(0, 1) + "n";
    // On whatever channel the data is.
    constexpr int kChannels = 0x0F, kVoice = 0x80, kSystem = 0xF0;
    if (value >= kVoice && value < kSystem) return "{open:" + HexPair(value) + "-" + HexPair(value | kChannels) + "}";
    if (!byte.counts) return HexPair(value);
    key += (key.empty() ? "" : " ") + HexPair(value);
    return "{key" + std::to_string(keys_++) + "}";
  }

  std::string Value(const ChangeByte& byte) {
    says_ = true;
    if (byte.source == Source::kShown) options_ = " / less " + std::to_string(byte.fixed);
    if (byte.source == Source::kScaled)
      options_ = " / scaled " + std::to_string(parameter_.range.max - parameter_.range.min + 1) + " " +
                 std::to_string(parameter_.range.min + parameter_.place.bias);
    return Part(byte.shift, byte);
  }

  // A byte of the patch as it lies there, or half of it.
  std::string Carried(const ChangeByte& byte) {
    const auto known = std::find(carried_.begin(), carried_.end(), byte.byte);
    const auto at = static_cast<int>(known - carried_.begin());
    if (known == carried_.end()) carried_.push_back(byte.byte);
    halves_ = halves_ || byte.mask == kNibbleMask;
    return Part(at * (halves_ ? kWholeByteBits : kSeptetBits) + byte.shift, byte);
  }

  static std::string Part(int shift, const ChangeByte& byte) {
    const std::string left = byte.left ? "@" + std::to_string(byte.left) : std::string();
    return "{v" + std::to_string(shift) + left + ":00-" + HexPair(static_cast<int>(byte.mask) << byte.left) + "}";
  }

  std::string CarriedText() const {
    std::string text;
    for (const std::uint32_t byte : carried_)
      text += (text.empty() ? "" : " ") + BitsText(byte, 0, halves_ ? kWholeByteBits : kSeptetBits);
    return text;
  }

  const Parameter& parameter_;
  const PanelData& data_;
  std::vector<std::uint32_t> carried_;
  bool says_ = false, halves_ = false;
  int keys_ = 0;
  std::string options_;
};

}  // namespace

std::string SimulatorChanges(const ParameterTable& table, const PanelData& data, const std::string& area,
                             const std::string& keys, std::set<std::string>* leftOut) {
  struct Block {
    std::string head;  // match and checksum
    std::vector<std::string> fields;
  };
  std::vector<Block> blocks;
  for (const Parameter& parameter : table.parameters) {
    if (parameter.change < 0) continue;
    std::string wrong;
    ChangeWriter writer(parameter, data);
    const auto messages =
        ReadChange(parameter, table.changes[static_cast<std::size_t>(parameter.change)], data, &wrong);
    if (messages.empty()) continue;
    if (!writer.Write(messages)) {
      if (leftOut) leftOut->insert(parameter.name);
      continue;
    }
    const std::string head =
        "match = " + writer.match + "\n" + (writer.sum.empty() ? "" : "checksum = " + writer.sum + "\n");
    auto block = std::find_if(blocks.begin(), blocks.end(), [&](const Block& one) { return one.head == head; });
    if (block == blocks.end()) block = blocks.insert(blocks.end(), {head, {}});
    const std::string field =
        "field = " + (writer.key.empty() ? "-" : writer.key) + writer.Field(table.ConditionOf(parameter));
    // Several parameters in one byte that goes as it is.
    if (std::find(block->fields.begin(), block->fields.end(), field) == block->fields.end())
      block->fields.push_back(field);
  }
  std::string text;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    text += "\n[change " + keys + "_" + std::to_string(i + 1) + "]\narea = " + area + "\n" + blocks[i].head;
    for (const std::string& field : blocks[i].fields) text += field + "\n";
  }
  return text;
}

}  // namespace tonalith
