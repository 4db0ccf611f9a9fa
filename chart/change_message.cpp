#include "chart/change_message.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "chart/type_lines.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kSeptet = 0x7F;

// Small letters are variables.
bool IsHexByte(const std::string& word) {
  return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

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
  // `own`: the bytes of the place that the message is about.
  ChangeReader(const Parameter& parameter, const PanelData& data, std::vector<std::uint32_t> own)
      : parameter_(parameter), data_(data), own_(std::move(own)) {}

  bool Read(const std::string& change) {
    for (const std::string& word : SplitText(change, ' '))
      if (!word.empty()) words_.push_back(word);
    while (at_ < words_.size()) {
      wrong = words_[at_];
      if (!Word(words_[at_++])) return false;
    }
    return !message.bytes.empty();
  }

  // It carries one byte of the place and says which.
  bool IsOfOneByte() const { return carriesOne_ && saysPlace_; }
  bool CarriesOne() const { return carriesOne_; }

  std::string wrong;  // the word that was read last
  ChangeMessage message;

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
    if (name == "p" || name == "pp") return PatchNumber(base);
    if (base) return false;
    if (name.size() == 2 && name[1] == 'p' && IsHexByte(std::string(1, name[0]) + "0"))
      return PatchNumber(*ParseInteger("0x" + std::string(1, name[0]) + "0"));
    if (name == "<") {
      message.sumFrom = message.bytes.size();
      return true;
    }
    if (name == "sum") return data_.sumKind >= 0 && Add({Source::kSum});
    if (name == "value") return Value();
    if (name == "scaled") return Add({Source::kScaled});
    if (name == "upper" || name == "lowest") return EightBits(name == "upper");
    if (name == "shown") return Shown();
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

  // Which patch it is, as the image of the patch says.
  bool PatchNumber(std::int64_t base) { return data_.patch.byte >= 0 && Add({Source::kPatch, base}); }

  bool Value() {
    const char half = Half();
    if (!half && parameter_.range.max + parameter_.place.bias > kSeptet) return false;
    return Add({Source::kValue, 0, 0, half == 'h' ? 7 : 0});
  }

  // Eight bits in two controllers: the upper seven, and 64 for the lowest.
  bool EightBits(bool upper) {
    constexpr int kTop = 6;
    if (parameter_.range.max + parameter_.place.bias > 2 * kSeptet + 1) return false;
    return upper ? Add({Source::kValue, 0, 0, 1}) : Add({Source::kValue, 0, 0, 0, 1, kTop});
  }

  // The number that the panel shows, in two's complement of fourteen bits.
  bool Shown() {
    constexpr std::int64_t kFourteen = 1 << 14;
    std::int64_t multiplier = 1, offset = 0;
    const bool plain = parameter_.display && parameter_.display->IsPlainNumber(&multiplier, &offset);
    const char half = Half();
    if (!half || (plain && multiplier != 1)) return false;
    ChangeByte byte{Source::kShown, kFourteen - parameter_.place.bias};
    if (plain) byte.fixed += offset;
    byte.shift = half == 'h' ? 7 : 0;
    return byte.fixed >= 0 && Add(byte);
  }

  // Of the bytes that are meant; those of a place in pieces are counted as they are written.
  std::uint32_t First() const {
    const auto [least, most] = std::minmax_element(own_.begin(), own_.end());
    return *most - *least + 1 == own_.size() ? *least : own_.front();
  }

  // The bytes of the place as they lie in the patch; `low` and `high` are halves of the first.
  bool OfPatch(const std::string& word) {
    constexpr int kNibble = 4;
    constexpr std::int64_t kHalfMask = 15;
    if (own_.empty()) return false;
    if (word == "bytes") {
      for (std::uint32_t byte = First(); byte < parameter_.place.end(); ++byte) Add({Source::kByte, 0, byte});
      return true;
    }
    carriesOne_ = true;
    if (word == "byte") return Add({Source::kByte, 0, First()});
    return Add({Source::kByte, 0, First(), word == "low" ? 0 : kNibble, kHalfMask});
  }

  bool Numbers(bool offset, std::int64_t base, std::int64_t from) {
    if (offset && own_.empty()) return false;
    saysPlace_ = saysPlace_ || offset;
    const auto numbers = offset ? std::vector<std::int64_t>{First() - from} : NumbersOf(parameter_.number, hex_);
    if (numbers.empty() || numbers[0] < 0) return false;
    if (const char half = Half()) return Fixed(base + (numbers[0] >> (half == 'h' ? 7 : 0) & kSeptet), true);
    if (base && numbers.size() != 1) return false;
    for (const std::int64_t number : numbers)
      if (!Fixed(base + number, true)) return false;
    return true;
  }

  bool Fixed(std::int64_t number, bool counts = false) {
    constexpr std::int64_t kLargestByte = 0xFF;
    const bool inside = !message.bytes.empty();
    return number >= 0 && number <= (inside && number != 0xF7 ? kSeptet : kLargestByte) &&
           Add({Source::kFixed, number, 0, 0, kSeptet, 0, false, counts});
  }

  bool Add(ChangeByte byte) {
    message.bytes.push_back(byte);
    return true;
  }

  const Parameter& parameter_;
  const PanelData& data_;
  const std::vector<std::uint32_t> own_;
  bool carriesOne_ = false, saysPlace_ = false;
  std::vector<std::string> words_;
  std::size_t at_ = 0;
  bool hex_ = false;  // the number cell is hexadecimal
};

bool IsSeptet(const std::optional<std::int64_t>& number) {
  return number && *number >= 0 && *number <= kSeptet;
}

// The messages of a change; controllers and NRPNs written as what goes out.  `number`: the cell of the row.
std::vector<std::string> MessagesOf(const std::string& change, const std::string& number) {
  if (change == "controller number scaled") return {"B0 number scaled"};
  if (change == "controller number") {
    const std::size_t plus = number.find('+'), colon = number.find(':');
    constexpr std::string_view kController = "CC ", kUnregistered = "NRPN ";
    if (number.starts_with(kController) && plus != std::string::npos) {
      const auto first = ParseInteger(number.substr(kController.size(), plus - kController.size()));
      const auto second = ParseInteger(number.substr(plus + 1));
      if (IsSeptet(first) && IsSeptet(second))
        return {"B0 " + HexPair(static_cast<int>(*first)) + " upper",
                "B0 " + HexPair(static_cast<int>(*second)) + " lowest"};
    }
    if (number.starts_with(kUnregistered) && colon != std::string::npos) {
      const auto high = ParseInteger(number.substr(kUnregistered.size(), colon - kUnregistered.size()));
      const auto low = ParseInteger(number.substr(colon + 1));
      if (IsSeptet(high) && IsSeptet(low))
        return {"B0 63 " + HexPair(static_cast<int>(*high)), "B0 62 " + HexPair(static_cast<int>(*low)), "B0 06 value"};
    }
    return {"B0 number value"};
  }
  for (const std::string which : {"number", "offset"})
    if (change == "NRPN " + which)
      return {"B0 63 " + which + " high", "B0 62 " + which + " low", "B0 06 value high", "B0 26 value low"};
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

// The bytes of a place as they are written, the highest piece first.
std::vector<std::uint32_t> BytesOf(const FieldPlace& place) {
  std::vector<std::uint32_t> bytes;
  for (auto bits = place.bits.rbegin(); bits != place.bits.rend(); ++bits)
    if (std::find(bytes.begin(), bytes.end(), bits->byte) == bytes.end()) bytes.push_back(bits->byte);
  return bytes;
}

}  // namespace

std::vector<ChangeMessage> ReadChange(const Parameter& parameter, const std::string& change, const PanelData& data,
                                      std::string* wrong) {
  std::vector<ChangeMessage> messages;
  const std::vector<std::uint32_t> own = BytesOf(parameter.place);
  for (const std::string& message : MessagesOf(change, parameter.number)) {
    ChangeReader reader(parameter, data, own);
    if (!reader.Read(message) || (reader.CarriesOne() && own.size() > 1 && !reader.IsOfOneByte())) {
      *wrong = reader.wrong;
      return {};
    }
    if (own.size() < 2 || !reader.IsOfOneByte()) {
      messages.push_back(std::move(reader.message));
      continue;
    }
    for (const std::uint32_t byte : own) {
      ChangeReader one(parameter, data, {byte});
      if (one.Read(message)) messages.push_back(std::move(one.message));
    }
  }
  return messages;
}

ChangeShape ShapeOfChange(const Parameter& parameter, const std::string& change, const PanelData& data) {
  ChangeShape shape;
  for (const ChangeMessage& message : ReadChange(parameter, change, data, &shape.obstacle)) {
    for (const ChangeByte& byte : message.bytes) {
      const bool fixed = byte.source == ChangeByte::Source::kFixed || byte.source == ChangeByte::Source::kPatch;
      shape.message += fixed ? Printf(" %02X", static_cast<unsigned>(byte.fixed)) : " ??";
      if (byte.source == ChangeByte::Source::kByte) shape.bytes.push_back(byte.byte);
    }
  }
  return shape;
}

}  // namespace tonalith
