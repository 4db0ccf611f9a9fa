#include "chart/chart_of_module.h"

#include <algorithm>
#include <map>
#include <span>
#include <string_view>
#include <vector>

#include "chart/message_bytes.h"
#include "data/container.h"
#include "data/data_records.h"
#include "data/hex_text.h"
#include "data/number_format.h"
#include "platform/text.h"
#include "script/listing.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr int kBankKind = 2, kPatchKind = 1;
constexpr int kLastOfDigit = 15, kLastDataByte = 0x7F;  // of device numbers

std::string WordOf(const char* table, int code) {
  for (const CodedWord& word : FindCodedTable(table)->words)
    if (word.code == code) return std::string(word.word);
  return {};
}

std::string Num(std::uint64_t number) {
  return std::to_string(number);
}

// The value of a key in a section of an INI text; empty without one.
std::string IniValue(std::string_view ini, const std::string& section, const std::string& key) {
  bool inside = false;
  for (const std::string& line : SplitText(std::string(ini), '\n')) {
    const std::string_view text = TrimmedView(line);
    if (text.starts_with('[')) inside = text == "[" + section + "]";
    const std::size_t equals = std::min(text.find('='), text.size());
    if (inside && equals < text.size() && AsciiEqualNoCase(TrimmedView(text.substr(0, equals)), key))
      return std::string(TrimmedView(text.substr(equals + 1)));
  }
  return {};
}

// One data type as a section.
class TypeText {
 public:
  TypeText(const DataFile& driver, std::string_view ini, const std::map<int, std::string>& names)
      : driver_(driver), synth_(*driver.synth), ini_(ini), names_(names) {}

  std::string Text() {
    text_ = "\n[data " + Latin1ToUtf8(synth_.typeName) + "]";
    const std::uint32_t voices = +synth_.numVoices;
    if (voices > 1) {
      const auto held = names_.find(+synth_.childId);
      text_ += "  " + Num(voices) + " x " + (held == names_.end() ? Latin1ToUtf8(synth_.typeName) : held->second);
    }
    const int kind = synth_.dataKind;
    if (kind != (voices > 1 ? kBankKind : kPatchKind)) text_ += "   is = " + WordOf("dataKind", kind);
    text_ += "   drivers = " + Num(+synth_.driverId);
    if (const std::string key = FieldText(synth_.typeKey); !key.empty()) text_ += "   key = " + key;
    if (voices > 1)
      text_ += "   numbers = " + MakeNumberStr(synth_, 0) + ".." + MakeNumberStr(synth_, static_cast<int>(voices) - 1);
    text_ += "\n";
    Name();
    const std::string sum = +synth_.checksumLength ? WordOf("checksumType", synth_.checksumType) : "";
    if (!sum.empty()) Put("sum", sum);
    Request();
    Dump(!sum.empty());
    Script("get", {driver_.receiveScript, driver_.receiveScript ? driver_.receiveScriptSize : 0});
    Script("put", {driver_.transmitScript, driver_.transmitScript ? driver_.transmitScriptSize : 0});
    return text_ + scripts_;
  }

 private:
  void Put(const std::string& key, const std::string& value) { text_ += key + " = " + value + "\n"; }

  void Name() {
    if (+synth_.nameLength == 0) return Put("name", "none");
    const std::string code = synth_.nameFormat ? " " + WordOf("nameFormat", synth_.nameFormat) : "";
    Put("name", std::to_string(+synth_.nameOffset) + " " + Num(+synth_.nameLength) + code);
  }

  // A byte that may be the device number or the patch number.
  std::string Byte(std::uint8_t value, bool device, bool patch) const {
    std::string text = HexText({&value, 1});
    if (device) text[1] = 'n';
    return patch ? "pp" : text;
  }

  void Request() {
    const std::size_t size = std::min<std::size_t>(synth_.dumpRequestSize, sizeof synth_.dumpRequest);
    if (!size || driver_.receiveScript) return;
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
      text += (i ? " " : "") + Byte(synth_.dumpRequest[i], i && i == synth_.dumpRequestChannelOffset,
                                    i && i == synth_.dumpRequestPatchOffset);
    Put("request", text);
  }

  // How the first message of the data type begins, byte by byte.
  std::vector<std::string> Pattern() const {
    const std::string rule = IniValue(ini_, "Recognize " + Num(+synth_.driverId), "Message0");
    std::vector<std::string> bytes;
    for (const std::string& byte : SplitText(rule.substr(0, rule.find('|')), ' '))
      if (!byte.empty()) bytes.push_back(byte);
    if (synth_.hasSysExChannel && +synth_.sysExChannelOffset < bytes.size()) bytes[+synth_.sysExChannelOffset][1] = 'n';
    return bytes;
  }

  std::string Header(std::size_t size) const {
    auto bytes = Pattern();
    bytes.resize(size, "??");
    if (!bytes.empty()) bytes[0] = "F0";
    std::string text;
    for (const std::string& byte : bytes) text += byte + " ";
    return text;
  }

  static std::string Data(int packing, std::uint64_t raw) {
    for (std::uint32_t bytes = static_cast<std::uint32_t>(raw); packing && bytes > 0; --bytes)
      if (PackedSize(packing, bytes) == raw) return "(" + Num(bytes) + " " + WordOf("storageFormat", packing) + ")";
    return "(" + Num(raw) + ")";
  }

  void Dump(bool sum) {
    const std::uint64_t voices = std::max<std::uint32_t>(+synth_.numVoices, 1), slot = +synth_.voiceSize;
    const std::uint64_t header = +synth_.headerSize, offset = +synth_.voiceOffset, size = +synth_.fileSize;
    if (Pattern().empty()) {
      text_ += "# What it looks like is not said by one message; the image has " + Num(size) + " bytes.\n";
      const std::uint8_t maker = synth_.manufacturerId;
      return Put("dump", "F0 " + HexText({&maker, 1}) + " (" + Num(size > 3 ? size - 3 : 1) + ") F7");
    }
    // Messages one behind the other.
    if (voices > 1 && header == 0 && offset > 0) {
      const std::uint64_t tail = sum || HasVerify() ? 2 : 1;
      return Put("each",
                 Header(offset) + Data(synth_.storageFormat, slot - offset - tail) + (tail > 1 ? " sum" : "") + " F7");
    }
    const std::uint64_t at = +synth_.checksumOffset;
    const std::uint64_t end = sum && at > header && at < size ? at : size - 1;
    std::string data = voices > 1 && header + slot * voices <= end && !IsThroughPacking(synth_.storageFormat)
                           ? Data(synth_.storageFormat, slot) + "*" + Num(voices)
                           : Data(synth_.storageFormat, end - header);
    const std::uint64_t covered = voices > 1 && data.find('*') != std::string::npos ? slot * voices : end - header;
    if (header + covered < end) data += " (" + Num(end - header - covered) + ")";
    Put("dump", Header(header) + data + (end == at && sum ? " sum" : "") + " F7");
  }

  bool HasVerify() const { return !IniValue(ini_, "Recognize " + Num(+synth_.driverId), "Verify0").empty(); }

  void Script(const char* direction, std::span<const std::uint8_t> code) {
    if (code.empty()) return;
    const std::string name = std::string(direction) + Num(+synth_.driverId);
    Put(std::string("script ") + direction, name);
    const ListingResult listing = ListScript(code);
    std::string lines;
    for (const std::string& line : SplitText(ReplaceAll(listing.text, "\r", ""), '\n'))
      lines += std::string(TrimmedView(line)) + "\n";
    while (lines.ends_with("\n\n")) lines.pop_back();
    scripts_ += "\n[script " + name + "]\n; " + Latin1ToUtf8(synth_.typeName) + "\n" + lines;
  }

  const DataFile& driver_;
  const Synth& synth_;
  std::string_view ini_;
  const std::map<int, std::string>& names_;
  std::string text_, scripts_;
};

// How the instrument is found, and over what its device number runs when its data does not say.
struct FoundBy {
  std::string find, device;
};
FoundBy OwnInquiryOf(std::string_view ini) {
  const std::string request = IniValue(ini, "Own Inquiry", "Request"), reply = IniValue(ini, "Own Inquiry", "Reply");
  if (request.empty() || reply.empty()) return {};
  FoundBy found{"find = " + request + " -> " + reply + "\n", {}};
  if ((request + reply).find('n') == std::string::npos) return found;
  found.device = "   device = n";
  const auto first = ParseInteger(IniValue(ini, "Device Inquiry", "ChMin"));
  const auto last = ParseInteger(IniValue(ini, "Device Inquiry", "ChMax"));
  const auto isByte = [](const auto& number) { return number && *number >= 0 && *number <= kLastDataByte; };
  if (request.find('n') != std::string::npos && isByte(first) && isByte(last) && *first <= *last &&
      (*first != 0 || *last != kLastOfDigit)) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(*first), static_cast<std::uint8_t>(*last)};
    found.device += " " + HexText({bytes, 1}) + ".." + HexText({bytes + 1, 1});
  }
  return found;
}

std::string_view TextOf(const PackageFile& file) {
  return {reinterpret_cast<const char*>(file.bytes.data()), file.bytes.size()};
}

}  // namespace

std::string ChartFileName(const std::string& module) {
  return module + ".chart";
}

bool FindChartOfModule(const std::string& name, const PackageFiles& files, ChartOfModule* out) {
  *out = {};
  std::string_view ini;
  std::string called = name;
  std::vector<DataFilePtr> drivers;
  std::map<int, std::string> names;
  for (const PackageFile& file : files) {
    const std::string lower = AsciiLower(file.path);
    if (lower.ends_with(".chart")) {
      out->text = TextOf(file);
      out->whole = true;
      return true;
    }
    if (lower.ends_with(".ini") && file.path.find('\\') == std::string::npos) {
      ini = TextOf(file);
      called = file.path.substr(0, file.path.size() - 4);
    }
    DataFilePtr data(AllocDataFile());
    if (!lower.ends_with(".pv6") || !data || ContainerReader(file.bytes).DiskReadForm(data.get(), {}) != 0 ||
        !data->synth)
      continue;
    names[+data->synth->driverId] = Latin1ToUtf8(data->synth->typeName);
    drivers.push_back(std::move(data));
  }
  if (drivers.empty()) return false;
  std::sort(drivers.begin(), drivers.end(),
            [](const DataFilePtr& a, const DataFilePtr& b) { return +a->synth->driverId < +b->synth->driverId; });
  const Synth& first = *drivers.front()->synth;
  const std::uint8_t maker = first.manufacturerId;
  const bool device = std::any_of(drivers.begin(), drivers.end(),
                                  [](const DataFilePtr& one) { return one->synth->hasSysExChannel != 0; });
  const FoundBy found = OwnInquiryOf(ini);
  out->text = "[" + called +
              "]\n# Made from the descriptors of the module, which has no chart: read it before it is built.\n" +
              "maker = " + HexText({&maker, 1}) + "   drivers = " + Num(+first.driverId) +
              (!found.device.empty() ? found.device
               : device              ? "   device = n"
                                     : "") +
              "\n" + found.find;
  for (const DataFilePtr& driver : drivers) out->text += TypeText(*driver, ini, names).Text();
  return true;
}

}  // namespace tonalith
