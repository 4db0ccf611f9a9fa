#include "studio/module_lets.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <optional>
#include <vector>

#include "data/hex_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxText = 1u << 20;
constexpr std::int64_t kMaxNumber = 0x7FFFFFFF;

// Kinds of checksums that stand in one byte, which is the only one that they change.
bool IsOneByteSum(std::uint32_t kind) {
  static constexpr std::uint32_t kKinds[] = {0, 2, 3, 4, 5, 6, 10, 16};
  return std::find(std::begin(kKinds), std::end(kKinds), kind) != std::end(kKinds);
}

// What stands between two '$'.
class LetText {
 public:
  LetText(const SourceLets& lets, std::string* error) : lets_(lets), error_(*error) {}

  std::optional<std::string> Text(std::string_view text) {
    text = TrimmedView(text);
    constexpr std::string_view kSeptets = "septets ";
    const bool septets = text.starts_with(kSeptets);
    if (!septets && text.find_first_of("+-*/#") == std::string_view::npos) return Named(text);
    const auto value = Sum(septets ? text.substr(kSeptets.size()) : text);
    if (!value) return std::nullopt;
    if (!septets) return std::to_string(*value);
    if (*value < 0 || *value > 0x3FFF)
      return Failed(std::to_string(*value) + " does not fit into two bytes of seven bits");
    char bytes[8];
    std::snprintf(bytes, sizeof bytes, "%02X %02X", static_cast<unsigned>(*value >> 7),
                  static_cast<unsigned>(*value & 0x7F));
    return bytes;
  }

 private:
  std::nullopt_t Failed(const std::string& text) {
    error_ = text;
    return std::nullopt;
  }

  std::optional<std::string> Named(std::string_view name) {
    if (name.empty()) return Failed("a '$' stands alone");
    const bool optional = name.back() == '?';
    if (optional) name.remove_suffix(1);
    const auto value = lets_.find(std::string(name));
    if (value != lets_.end()) return value->second;
    if (optional) return std::string();
    return Failed("nothing is known by the name \"" + std::string(name) + "\"");
  }

  std::optional<std::int64_t> Term(std::string_view text) {
    text = TrimmedView(text);
    if (const auto number = ParseInteger(text)) return number;
    const bool count = text.starts_with('#');
    const auto value = Named(count ? text.substr(1) : text);
    if (!value) return std::nullopt;
    if (count) {
      const auto bytes = ParseHex(*value, &error_);
      return bytes ? std::optional<std::int64_t>(static_cast<std::int64_t>(bytes->size())) : std::nullopt;
    }
    const auto number = ParseInteger(*value);
    if (!number) return Failed("\"" + std::string(text) + "\" is no number: \"" + *value + "\"");
    return number;
  }

  // Terms with the operators of one rank between them, from the left; `rank` reads the terms.
  template <typename Rank>
  std::optional<std::int64_t> Chain(std::string_view text, const char* operators, Rank rank) {
    std::size_t end = std::min(text.find_first_of(operators), text.size());
    auto result = rank(text.substr(0, end));
    while (result && end < text.size()) {
      const char op = text[end];
      text.remove_prefix(end + 1);
      end = std::min(text.find_first_of(operators), text.size());
      const auto next = rank(text.substr(0, end));
      if (!next) return std::nullopt;
      if (op == '/' && *next == 0) return Failed("a division by 0");
      result = op == '+'   ? *result + *next
               : op == '-' ? *result - *next
               : op == '*' ? *result * *next
                           : *result / *next;
      if (*result < -kMaxNumber || *result > kMaxNumber) return Failed("the number becomes too large");
    }
    if (result && (*result < -kMaxNumber || *result > kMaxNumber)) return Failed("the number becomes too large");
    return result;
  }

  std::optional<std::int64_t> Sum(std::string_view text) {
    return Chain(text, "+-", [this](std::string_view part) {
      return Chain(part, "*/", [this](std::string_view term) { return Term(term); });
    });
  }

  const SourceLets& lets_;
  std::string& error_;
};

// Stores a checksum whose place follows from the data that is there: how long its message is, and what its bytes say.
// X is its length then.
std::string MovingSum(const VerifyRule& rule) {
  const auto number = [](std::int64_t value) { return std::to_string(value); };
  const auto of = [&](const VerifyRule::Byte& byte, const char* v) {
    const std::string name = v;
    return byte.each ? "FG " + name + " " + number(byte.at) + "\nM" + name + " * " + number(byte.each) + "\n"
                     : "M" + name + " = 0\n";
  };
  // V2: how many are counted, V3: how much further on all of it stands, V7: the place of the sum.
  std::string text = "A\nGP 0\nGM\n" + of(rule.behind, "V3") + of(rule.more, "V2");
  if (rule.size) text += "MV2 + X\nMV2 - " + number(rule.size) + "\n";
  text += "MV7 @ V3\nMV7 + " + number(rule.offset) + "\n";
  if (rule.offset >= rule.start) text += "MV7 + V2\n";
  text += "MV2 + " + number(rule.count) + "\n";
  char kind[16];
  std::snprintf(kind, sizeof kind, "K 00 %02X ", rule.type);
  if (rule.times == 1) return text + "MV3 + " + number(rule.start) + "\n" + kind + "V3 V2 V7\n";
  text += "MV3 + " + number(rule.start) + "\n";
  std::string turns = number(rule.times);
  if (rule.times == 0) {
    // As often as it fits in front of the end.
    text += "MV8 @ V3\nMV8 + V2\nMV5 @ V7\nMV5 + 1\nMAX V8 V5\nMV8 = X\nGM\nMX - V8\nMX - 1\nMV8 = X\nMV8 / " +
            number(rule.step) + "\nMV8 + 1\n";
    turns = "V8";
  }
  return text + "IFGQ X\nL " + turns + " [\n" + kind + "V3 V2 V7\nMV3 + " + number(rule.step) + "\nMV7 + " +
         number(rule.step) + "\n]\nIFX\n";
}

}  // namespace

bool ReplaceLets(std::string_view text, const SourceLets& lets, std::string* out, std::string* error) {
  out->clear();
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t begin = text.find('$', at);
    if (begin == std::string_view::npos) break;
    out->append(text.substr(at, begin - at));
    const std::size_t end = text.find('$', begin + 1);
    const auto value =
        LetText(lets, error)
            .Text(end == std::string_view::npos ? std::string_view() : text.substr(begin + 1, end - begin - 1));
    if (!value) return false;
    out->append(*value);
    if (out->size() > kMaxText) {
      *error = "the text becomes too long";
      return false;
    }
    at = end + 1;
  }
  out->append(text.substr(std::min(at, text.size())));
  return true;
}

SourceLets ScriptLets(const Synth& synth, const RecognizeRule* rule) {
  const bool patchwise = synth.isBank && synth.patchByPatch;
  std::vector<VerifyRule> verify;
  if (rule) verify = rule->verify;
  if (verify.empty() && synth.checksumLength) {
    VerifyRule own;
    own.type = synth.checksumType;
    own.start = synth.checksumStart;
    own.count = synth.checksumLength;
    own.offset = synth.checksumOffset;
    verify.push_back(own);
  }
  // The places of those that vary are not known before the data is there: they are looked at by who takes it.
  std::string moving;
  for (const VerifyRule& one : verify)
    if (one.Varies()) moving += MovingSum(one);
  std::erase_if(verify, [](const VerifyRule& one) { return one.Varies(); });
  std::string sums, checks = "MV9 = 0\nGP 0\n";
  for (const VerifyRule& v : verify) {
    const bool once = v.times == 1 || (patchwise && v.times == synth.numVoices);
    const std::string open = once ? "" : "MV8 = 0\nL " + std::to_string(v.times) + " [\nGP V8\n";
    const std::string close = once ? "" : "MV8 + " + std::to_string(v.step) + "\n]\nGP 0\n";
    const std::string place = std::to_string(v.offset) + "\n";
    char kind[16];
    std::snprintf(kind, sizeof kind, "K 00 %02X ", v.type);
    const std::string store = kind + std::to_string(v.start) + " " + std::to_string(v.count) + " " + place;
    sums += open + store + close;
    if (!IsOneByteSum(v.type)) continue;
    checks += open + "FG V2 " + place + store + "FG V3 " + place + "MV3 - V2\nIF V3\n";
    checks += v.always < 0 ? "MV9 = 1\n" : "MV2 - " + std::to_string(v.always) + "\nIF V2\nMV9 = 1\nIFX\n";
    checks += "IFX\n" + close;
  }
  // What varies in size is taken as it comes and sent whole.
  const bool varies = !(synth.optionBits & 2);
  const std::string size = std::to_string(varies ? 0 : patchwise ? synth.voiceSize : synth.fileSize);
  return {{"fileSize", std::to_string(synth.fileSize)},
          {"headerSize", std::to_string(synth.headerSize)},
          {"numVoices", std::to_string(synth.numVoices)},
          {"voiceSize", std::to_string(synth.voiceSize)},
          {"voiceBytes", std::to_string(synth.voiceBytes)},
          {"voiceOffset", std::to_string(synth.voiceOffset)},
          {"sysExChannelOffset", std::to_string(synth.sysExChannelOffset)},
          {"size", size},
          {"sums", sums + (moving.empty() ? moving : "MV6 = X\n" + moving + "MX = V6\nGP 0\n")},
          {"checks", checks},
          {"keep", varies || verify.empty()
                       ? std::string()
                       : "IFQ V10 " + size + "\n" + checks + "GP " + size + "\nIF V9\nGP 0\nIFX\nIFX\n"}};
}

}  // namespace tonalith
