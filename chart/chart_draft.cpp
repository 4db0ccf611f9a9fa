#include "chart/chart_draft.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "chart/message.h"
#include "chart/message_bytes.h"
#include "data/hex_text.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr std::size_t kBits = 8, kHalf = 4;
constexpr int kThrough = 2, kEach = 17;  // packings of seven bytes in eight

bool IsLetter(char c) {
  return c >= 'a' && c <= 'z';
}

// "1111 0000", "0011nnnn", "0ppppppp" as a byte; empty when it is none.
std::string OfBits(const std::string& bits) {
  const auto digit = [&](std::size_t from) {
    int value = 0;
    for (std::size_t i = from; i < from + kHalf; ++i) value = value * 2 + (bits[i] == '1');
    return "0123456789ABCDEF"[value];
  };
  const auto is = [&](std::size_t from, std::size_t count) {  // 0: a letter; 1: digits; -1: neither
    const auto part = std::string_view(bits).substr(from, count);
    if (part.find_first_not_of("01") == std::string_view::npos) return 1;
    const bool one = IsLetter(part[0]) && part.find_first_not_of(part[0]) == std::string_view::npos;
    return one ? 0 : -1;
  };
  if (is(0, kBits) == 1) return {digit(0), digit(kHalf)};
  if (is(0, kHalf) == 1 && is(kHalf, kHalf) == 0) return {digit(0), bits[kHalf]};
  if (bits[0] == '0' && is(1, kBits - 1) == 0) return {bits[1], bits[1]};
  return {};
}

// "0F0H", "$F0", "0xF0", "f0" as "F0"; anything else as it is.
std::string OfByte(const std::string& word) {
  std::string digits = word;
  if (digits.starts_with("0x") || digits.starts_with("0X")) digits.erase(0, 2);
  if (digits.starts_with('$')) digits.erase(0, 1);
  if (digits.size() > 2 && (digits.back() == 'H' || digits.back() == 'h')) digits.pop_back();
  if (digits.size() == 3 && digits[0] == '0') digits.erase(0, 1);
  if (digits.size() != 2) return word;
  const auto hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
  if (hex(digits[0]) && hex(digits[1])) return AsciiUpper(digits);
  // A digit and a letter, or a letter twice.
  if (hex(digits[0]) && std::isalpha(static_cast<unsigned char>(digits[1])))
    return AsciiUpper(digits.substr(0, 1)) + AsciiLower(digits.substr(1));
  const std::string lower = AsciiLower(digits);
  return lower[0] == lower[1] && IsLetter(lower[0]) ? lower : word;
}

std::string WordOf(const char* table, int code) {
  for (const CodedWord& word : FindCodedTable(table)->words)
    if (word.code == code) return std::string(word.word);
  return {};
}

bool Has(const std::string& message, const std::string& item) {
  return (" " + message + " ").find(" " + item + " ") != std::string::npos;
}

bool HasPatch(const std::string& message) {
  for (const std::string& word : SplitText(message, ' '))
    if (word == "pp" || word.ends_with("+p") || (word.size() == 2 && word[1] == 'p')) return true;
  return false;
}

// What a message says about the maker.
std::string MakerOf(const std::string& message) {
  const auto words = SplitText(message, ' ');
  if (words.size() < 5) return {};
  return words[1] == "00" ? words[1] + " " + words[2] + " " + words[3] : words[1];
}

// Writes the sections.
class Writer {
 public:
  explicit Writer(const ChartSaid& said) : said_(said) { device_ = said.device.empty() ? 0 : said.device[0]; }

  std::string Message(const std::string& text) const { return PrintedMessage(text, device_); }

  // `first`: the data type it is found by; empty: none can be asked for.
  void Head(const std::string& maker, const std::string& first) {
    text_ = "[" + said_.name + "]\n";
    text_ += "maker = " + maker + (said_.device.empty() ? "" : "   device = " + said_.device) +
             "   drivers = " + std::to_string(said_.drivers) + (said_.sum.empty() ? "" : "   sum = " + said_.sum) +
             "\n";
    const std::string identity = Message(said_.identity);
    if (!identity.empty())
      text_ += "identity = " + identity + "\n";
    else if (!first.empty())
      text_ += "# Found by asking for this data; better is identity = what it answers to F0 7E 7F 06 01 F7.\nfind = " +
               first + "\n";
  }

  // `key = value` lines of a data type, with the equal signs below each other.
  void Type(const std::string& heading, const std::vector<std::pair<std::string, std::string>>& lines) {
    text_ += "\n" + heading + "\n";
    std::size_t width = 0;
    for (const auto& [key, value] : lines)
      if (!key.starts_with("#")) width = std::max(width, key.size());
    for (const auto& [key, value] : lines)
      text_ += key.starts_with("#") ? key + "\n" : key + std::string(width - key.size(), ' ') + " = " + value + "\n";
    ++types_;
  }

  std::string Names(const std::string& at) const { return "   name = " + (at.empty() ? "none" : at); }
  std::string Numbers() const { return said_.numbers.empty() ? "" : "   numbers = " + said_.numbers; }

  Result Done(ChartDraft* out) {
    // A table that names its data brings headings along; the first one is the patch.
    const bool headed = said_.rows.starts_with("[parameters ");
    const std::size_t begin = headed ? std::min(said_.rows.find('\n'), said_.rows.size() - 1) + 1 : 0;
    if (!said_.rows.empty()) text_ += "\n[parameters Patch]\n" + said_.rows.substr(begin);
    out->text = std::move(text_);
    out->types = types_;
    return Result::Success();
  }

  const ChartSaid& said_;
  char device_ = 0;
  std::string text_;
  std::size_t types_ = 0;
};

// The data of a type found in a dump, as an item; `raw` bytes on the cable.
std::string Item(int packing, std::uint32_t raw) {
  if (packing == 0) return "(" + std::to_string(raw) + ")";
  const std::uint32_t bytes = packing == kThrough || packing == kEach ? raw - (raw + 7) / 8 : raw / 2;
  if (PackedSize(packing, bytes) != raw) return "(" + std::to_string(raw) + ")";
  return "(" + std::to_string(bytes) + " " + WordOf("storageFormat", packing) + ")";
}

// The data of packed messages begins behind the patch number, also where the packing was found to go on before it.
DraftType BehindNumber(DraftType type) {
  const auto number = static_cast<std::uint32_t>(type.header.NumberPlace() + 1);
  if (number <= type.headerSize || number >= type.messageSize) return type;
  const std::uint32_t names = (number - type.headerSize) / 2;
  if (type.nameOffset < names || type.storageFormat == kEach) return type;
  type.nameOffset -= names;
  type.headerSize = number;
  return type;
}

// The message of a type found in a dump.
class FoundMessage {
 public:
  FoundMessage(const DraftType& type, int devicePlace, char device)
      : type_(type), place_(devicePlace), device_(device) {}

  std::string Text() const {
    std::string text = Header();
    const std::uint32_t begin = type_.headerSize, end = type_.messageSize - 1;
    const auto& sum = type_.checksum;
    if (type_.layout == DraftLayout::Bank) return text + Bank(begin, end) + " F7";
    const bool behind =
        sum && sum->times == 1 && sum->start + sum->count == sum->offset && sum->offset > begin && sum->offset < end;
    if (!behind) return text + " " + Item(type_.storageFormat, end - begin) + " F7";
    std::string data = " " + Item(type_.storageFormat, sum->offset - begin);
    if (sum->start > begin)
      data = " (" + std::to_string(sum->start - begin) + ") < (" + std::to_string(sum->offset - sum->start) + ")";
    const std::uint32_t size = sum->type == 1 || sum->type == 12 || sum->type == 13 ? 2 : 1;
    const std::uint32_t rest = end - std::min(end, sum->offset + size);
    return text + data + " sum" + (rest ? " (" + std::to_string(rest) + ")" : "") + " F7";
  }

 private:
  std::string Header() const {
    std::string text;
    for (std::uint32_t i = 0; i < type_.headerSize; ++i) {
      std::string byte = i < type_.header.size() ? type_.header.pairs[i] : "??";
      if (byte == "nn") byte = "pp";
      if (static_cast<int>(i) == place_ && device_) byte[1] = device_;
      const bool from = type_.checksum && type_.checksum->times == 1 && type_.checksum->start == i;
      text += (i ? " " : "") + std::string(from ? "< " : "") + byte;
    }
    return text;
  }

  std::string Bank(std::uint32_t begin, std::uint32_t end) const {
    const std::string times = "*" + std::to_string(type_.count);
    const auto& sum = type_.checksum;
    if (type_.storageFormat == kThrough) {
      const std::uint32_t bytes = type_.patchSize * type_.count, packed = PackedSize(kThrough, bytes);
      const std::uint32_t rest = end - std::min(end, begin + packed);
      return " (" + std::to_string(bytes) + " " + WordOf("storageFormat", kThrough) + ")" +
             (rest ? " (" + std::to_string(rest) + ")" : "");
    }
    if (sum && sum->times > 1) return " {" + Item(type_.storageFormat, type_.patchSize - 1) + " sum}" + times;
    const std::uint32_t rest = end - std::min(end, begin + type_.patchSize * type_.count);
    std::string text = " " + Item(type_.storageFormat, type_.patchSize) + times;
    if (rest) text += sum && rest == 1 ? " sum" : " (" + std::to_string(rest) + ")";
    return text;
  }

  const DraftType& type_;
  const int place_;
  const char device_;
};

// The message behind each patch that says where it is stored.
std::string Stored(const DraftType& type, int devicePlace, char device) {
  std::string text;
  for (std::uint32_t i = 0; i + 1 < type.storeSize; ++i) {
    std::string byte = i < type.store.size() ? type.store.pairs[i] : "??";
    if (byte == "nn") byte = "pp";
    if (static_cast<int>(i) == devicePlace && device) byte[1] = device;
    text += byte + " ";
  }
  return text + "F7";
}

std::string NameOf(const DraftType& type) {
  return type.nameLength ? std::to_string(type.nameOffset) + " " + std::to_string(type.nameLength) : "";
}

// A bank that is got patch by patch: how, when the request does not say which patch.
void PatchByPatch(const std::string& request, bool stored, char device,
                  std::vector<std::pair<std::string, std::string>>* lines, ChartDraft* out) {
  if (HasPatch(request)) {
    lines->push_back({"request", request});
  } else {
    out->warnings.push_back(
        "nothing in the request depends on the patch: the chart chooses it with a program change before (get = Cn pp, "
        "...). "
        "Is that so? If the number stands in the request, write pp there.");
    lines->push_back({"# Likely: a program change chooses the patch that is then sent.", ""});
    lines->push_back({"get", std::string("C") + (device ? device : '0') + " pp, " + request + " -> each"});
  }
  if (stored) return;
  out->warnings.push_back(
      "nothing in the answer says where a patch goes: the bank is not sent. Is there a message that stores the patch? "
      "Then "
      "store = F0 ... pp F7 and put = each, store.");
  lines->push_back({"# Or, with a message that stores it: put = each, store", ""});
  lines->push_back({"put", "none"});
}

Result Missing(const ChartSaid& said, bool dump) {
  if (said.name.empty()) return Result::Failure("The name of the instrument is missing: --name NAME.");
  if (said.name.find_first_of("[]/\\\n\r=") != std::string::npos || said.name.size() > 64)
    return Result::Failure(
        "--name: at most 64 characters that can stand in a file name, no \"[\", \"]\", \"=\" or \"/\".");
  const std::pair<const char*, const std::string&> messages[] = {{"--request: ", said.request},
                                                                 {"--answer: ", said.answer},
                                                                 {"--bank-request: ", said.bankRequest},
                                                                 {"--bank-answer: ", said.bankAnswer},
                                                                 {"--identity: ", said.identity}};
  for (const auto& [option, text] : messages)
    if (const std::string wrong = NotAMessage(text, said.device); !wrong.empty())
      return Result::Failure(option + wrong);
  if (dump) return Result::Success();
  if (said.request.empty())
    return Result::Failure("The message that asks for a patch is missing: --request 'F0 ... F7' (or --dump FILE).");
  if (said.answer.empty())
    return Result::Failure(
        "The answer is missing: --answer 'F0 ... (SIZE) ... F7', with the bytes of data in brackets.");
  return Result::Success();
}

}  // namespace

std::string PrintedMessage(const std::string& text, char device) {
  std::string out;
  std::string spaced = ReplaceAll(ReplaceAll(text, ",", " "), "\t", " ");
  const auto words = SplitText(spaced, ' ');
  int depth = 0;
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string word = words[i];
    if (word.empty()) continue;
    const bool inside = depth > 0;
    for (const char c : word) depth += c == '(' || c == '{' ? 1 : c == ')' || c == '}' ? -1 : 0;
    if (!inside && word.find_first_of("({[\"") == std::string::npos) {
      // Two halves of a byte in bits.
      if (word.size() == kHalf && i + 1 < words.size() && words[i + 1].size() == kHalf &&
          !OfBits(word + words[i + 1]).empty())
        word = OfBits(word + words[++i]);
      else if (word.size() == kBits && !OfBits(word).empty())
        word = OfBits(word);
      else
        word = OfByte(word);
      if (word == "nn" && device != 'n') word = "pp";
    }
    out += (out.empty() ? "" : " ") + word;
  }
  return out;
}

std::string NotAMessage(const std::string& said, const std::string& device) {
  const std::string message = PrintedMessage(said, device.empty() ? 0 : device[0]);
  if (message.empty() || (message.starts_with("F0 ") && message.ends_with(" F7"))) return {};
  return "\"" + said + "\" is no message; one begins with F0 and ends with F7.";
}

Result DraftChart(const ChartSaid& said, ChartDraft* out) {
  if (Result missing = Missing(said, false); !missing.ok()) return missing;
  *out = {};
  Writer writer(said);
  const std::string request = writer.Message(said.request), answer = writer.Message(said.answer);
  const std::string maker = said.maker.empty() ? MakerOf(answer) : writer.Message(said.maker);
  if (Has(answer, "sum") && said.sum.empty())
    return Result::Failure("The answer has a checksum, whose kind is missing: --sum 'negative sum' (or another word).");
  writer.Head(maker, "Patch");
  if (!said.bank.empty()) {
    const auto count = ParseInteger(said.bank);
    if (!count || *count < 2 || *count > UINT16_MAX)
      return Result::Failure("--bank takes the number of patches, from 2 on.");
    std::vector<std::pair<std::string, std::string>> lines;
    if (said.bankRequest.empty()) {
      PatchByPatch(request, HasPatch(answer), writer.device_, &lines, out);
    } else {
      if (said.bankAnswer.empty()) return Result::Failure("--bank-answer is missing: how all patches come.");
      lines = {{"request", writer.Message(said.bankRequest)}, {"dump", writer.Message(said.bankAnswer)}};
      if (HasPatch(answer)) lines.push_back({"file", "dump | each"});
    }
    writer.Type("[data Patch Bank]  " + said.bank + " x Patch" + writer.Names(said.nameAt) + writer.Numbers(), lines);
  }
  std::string heading = "[data Patch]" + writer.Names(said.nameAt);
  if (!said.bank.empty() && HasPatch(request))
    heading += "   patches = 0.." + std::to_string(*ParseInteger(said.bank) - 1);
  writer.Type(heading, {{"request", request}, {"dump", answer}});
  return writer.Done(out);
}

Result DraftChart(const ChartSaid& said, const ModuleDraft& found, ChartDraft* out) {
  if (Result missing = Missing(said, true); !missing.ok()) return missing;
  if (!said.answer.empty()) return DraftChart(said, out);
  *out = {};
  ChartSaid known = said;
  if (known.device.empty() && found.channelByte > 0) known.device = "n";
  for (const DraftType& type : found.types)
    if (known.sum.empty() && type.checksum) known.sum = WordOf("checksumType", type.checksum->type);
  Writer writer(known);
  const DraftType first = BehindNumber(found.types.front());
  const FoundMessage message(first, found.channelByte, writer.device_);
  const std::string request = writer.Message(said.request);
  // A data type that can be asked for, or one that is known by its sight only.
  writer.Head(said.maker.empty() ? MakerOf(message.Text()) : said.maker,
              request.empty() ? "" : found.types.back().typeName);
  for (const DraftType& one : found.types) {
    const DraftType type = BehindNumber(one);
    const std::string text = FoundMessage(type, found.channelByte, writer.device_).Text();
    const bool bank = type.layout != DraftLayout::Single, whole = type.layout == DraftLayout::Bank;
    std::vector<std::pair<std::string, std::string>> lines;
    const std::string heading = "[data " + type.typeName + "]";
    const std::string names = writer.Names(said.nameAt.empty() ? NameOf(type) : said.nameAt);
    const bool asked = !request.empty() && (whole || !bank);
    if (request.empty()) lines.push_back({"# How it is asked for is not in a dump: request = F0 ... F7", ""});
    if (bank && !whole) {
      const bool stored = HasPatch(text) || type.storeSize;
      if (request.empty())
        lines.insert(lines.end(), {{"get", "listen"}});
      else
        PatchByPatch(request, stored, writer.device_, &lines, out);
      if (request.empty() && !stored) lines.push_back({"put", "none"});
      lines.push_back({"each", text});
      if (type.storeSize) {
        lines.push_back({"store", Stored(type, found.channelByte, writer.device_)});
        lines.push_back({"put", "each, store"});
        lines.push_back({"file", "each store | each"});
      }
      if (type.firstNumber)
        lines.push_back({"patches", std::to_string(type.firstNumber) + ".." +
                                        std::to_string(type.firstNumber + static_cast<int>(type.count) - 1)});
    } else {
      lines.push_back(asked ? std::pair<std::string, std::string>{"request", request}
                            : std::pair<std::string, std::string>{"get", "panel"});
      lines.push_back({"dump", text});
    }
    const bool alone = bank && found.types.back().layout != DraftLayout::Single;
    if (alone)
      lines.insert(lines.begin(),
                   {"# Behind the x stands the data type of a single patch, once the chart has one.", ""});
    const std::string patch = found.types.size() > 1 && found.types.back().layout == DraftLayout::Single
                                  ? found.types.back().typeName
                                  : type.typeName;
    writer.Type(heading + (bank ? "  " + std::to_string(type.count) + " x " + patch : "") + names, lines);
  }
  return writer.Done(out);
}

}  // namespace tonalith
