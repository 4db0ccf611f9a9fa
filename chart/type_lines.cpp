#include "chart/type_lines.h"

#include <algorithm>
#include <optional>

#include "chart/chart_spelling.h"
#include "chart/inner_sum.h"
#include "chart/message_bytes.h"
#include "data/hex_text.h"
#include "data/number_format.h"
#include "platform/text.h"
#include "studio/coded_words.h"
#include "studio/volatile_places.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kLargestAnySize = 131072;
constexpr std::size_t kLongestRequest = 20;
constexpr std::size_t kLongestKey = 7;
constexpr int kMostOffset = 4096;
constexpr int kByName = 0;  // the way of numbering that the name code says

// "A0-0" of "IA11-8": what is a letter, a digit or a sign.
std::string NumberShape(const std::string& number) {
  std::string shape;
  for (const char c : number) {
    const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    const char kind = letter ? 'A' : c >= '0' && c <= '9' ? '0' : c;
    const bool run = (kind == 'A' || kind == '0') && shape.ends_with(kind);
    if (kind != ' ' && !run) shape += kind;
  }
  return shape;
}

// A number of the words table, by the word of an entry.
std::optional<int> CodeOf(const char* field, const ChartCell& word, ChartProblems* problems) {
  const CodedTable& table = *FindCodedTable(field);
  if (const CodedWord* known = FindCodedWord(table, word.text)) return known->code;
  std::vector<std::string> words;
  for (const CodedWord& one : table.words) words.emplace_back(one.word);
  problems->Add(word.at, word.text, std::string("no ") + table.what, NearestWords(word.text, words));
  return std::nullopt;
}

// A mistake in a message of the data type was named: layout, steps and forms would only repeat it.
bool HasWrongMessage(const ChartType& type) {
  const auto wrong = [](const ChartMessage& message) { return message.wrong; };
  const auto inStep = [&](const ChartStep& step) { return wrong(step.message) || wrong(step.answer); };
  const auto inForm = [&](const ChartForm& form) {
    return std::any_of(form.messages.begin(), form.messages.end(), [&](const auto& one) { return wrong(one.second); });
  };
  return wrong(type.request) || std::any_of(type.dump.begin(), type.dump.end(), wrong) ||
         std::any_of(type.get.begin(), type.get.end(), inStep) ||
         std::any_of(type.put.begin(), type.put.end(), inStep) ||
         std::any_of(type.forms.begin(), type.forms.end(), inForm);
}

class DescriptorWriter {
 public:
  DescriptorWriter(const ChartInstrument& chart, const ChartType& type, ChartProblems* problems)
      : chart_(chart),
        type_(type),
        problems_(*problems),
        wrong_(HasWrongMessage(type)),
        address_(AddressOf(chart, type, problems)),
        layout_(LayoutOf(type, wrong_ ? &unheard_ : problems)) {
    if (!address_.areas.empty() && type.dump.empty()) LayAddress();
  }

  ChartLines Write() {
    Names();
    Device();
    Sizes();
    Numbers();
    Name();
    Request();
    Others();
    if (wrong_) return std::move(lines_);
    PutSteps(chart_, type_, layout_, address_, &lines_, &problems_);
    NewBytes();
    ChartLines verify;
    PutSums(type_, layout_, &lines_, &verify, &problems_);
    Volatile(&verify);
    PutForms(chart_, type_, layout_, address_, verify, &lines_, &problems_);
    return std::move(lines_);
  }

 private:
  // The patches of a memory lie one behind the other.
  void LayAddress() {
    const auto slots = static_cast<std::uint32_t>(type_.slots);
    layout_.voiceSize = layout_.oneSize = address_.room;
    layout_.voiceBytes = address_.bytes;
    layout_.fileSize = address_.allBytes ? address_.allBytes : slots * address_.room;
  }
  bool IsPatchwise() const { return type_.patchwise && (!type_.dump.empty() || type_.Has("patch by patch")); }

  void Put(const std::string& key, const std::string& value, ChartPlace at) { lines_.Put(key, value, at); }
  ChartPlace Head() const { return type_.section->at; }
  ChartPlace DumpAt() const { return type_.dump.empty() ? Head() : type_.dump.front().at; }

  void Names() {
    Put("typeName", type_.name, type_.section->nameAt);
    if (const ChartEntry* key = type_.Find("key")) {
      const std::string text = ChartShown(key->value, type_.variable);
      if (text.size() > kLongestKey)
        problems_.Add(key->valueAt, key->value, "the key is too long", "at most 7 characters");
      Put("typeKey", text, key->valueAt);
    }
    if (const ChartEntry* kind = type_.Find("is")) {
      if (const auto code = CodeOf("dataKind", kind->cell, &problems_)) Put("dataKind", Num(*code), kind->valueAt);
    } else {
      Put("dataKind", type_.slots > 1 ? "2" : "1", Head());
    }
    if (!type_.holds.empty())
      if (const ChartType* patch = chart_.TypeNamed(type_.holds)) Put("patchType", patch->fileName, type_.holdsAt);
    if (const ChartEntry* find = chart_.Find("find"); find && find->value == type_.name)
      Put("reserved253", "1", find->valueAt);
  }

  void Device() {
    const ChartEntry* maker = chart_.Find("maker");
    if (maker) {
      const auto bytes = ParseHex(maker->value);
      const bool right = bytes && (bytes->size() == 1 || (bytes->size() == 3 && bytes->front() == 0));
      if (!right) problems_.Add(maker->valueAt, maker->value, "no number of a maker", "maker = 42, maker = 00 20 33");
      if (right) Put("manufacturerId", Num(bytes->front()), maker->valueAt);
    }
    const ChartDevice& device = chart_.device;
    // Data by address that is no messages has no place for it.
    const int place = !device.letter ? -1 : type_.dump.empty() ? 0 : type_.dump.front().PlaceOf(device.letter);
    if (!type_.dump.empty() && !BeginsMessage(type_.dump.front())) {
      // The messages around the data have it.
      Put("allowsNonSysEx", "1", DumpAt());
      if (device.letter) Put("hasSysExChannel", "1", device.at);
    }
    if (place < 0) return;
    Put("hasSysExChannel", "1", device.at);
    if (place) Put("sysExChannelOffset", Num(place), device.at);
    if (device.first) Put("sysExChannelMin", Num(device.first), device.at);
    if (device.last != 15) Put("sysExChannelMax", Num(device.last), device.at);
    if (device.standard) Put("sysExChannelDefault", Num(device.standard), device.at);
    if (device.fromZero) Put("sysExChannelZeroBased", "1", device.at);
    if (device.channel) Put("midiChannelFollowsSysEx", "1", device.at);
  }

  static bool BeginsMessage(const ChartMessage& message) {
    return message.items.empty() ||
           (message.items.front().kind == ChartItemKind::kByte && message.items.front().byte.base == 0xF0);
  }

  bool IsOpen() const {
    if (!type_.exchange) return false;
    const auto& steps = type_.exchange->entries;
    return std::any_of(steps.begin(), steps.end(),
                       [](const ChartEntry& step) { return step.value.ends_with("| open"); });
  }

  void Sizes() {
    std::uint32_t size = layout_.fileSize;
    if (!size) {
      size = kLargestAnySize;
      if (const ChartEntry* most = type_.Find("size"); most && !type_.dump.empty()) {
        const auto value = ParseInteger(most->value);
        if (!value || *value < 8 || *value > (16 << 20))
          problems_.Add(most->valueAt, most->value, "no size", "a number of bytes up to 16 MiB");
        else
          size = static_cast<std::uint32_t>(*value);
      }
      Put("optionBits", "1", DumpAt());
    }
    if (layout_.leastSize) Put("optionBits", "1", DumpAt());
    // Frames that stay open do not end with F7.
    if (layout_.fileSize && IsOpen()) Put("optionBits", "2", DumpAt());
    Put("fileSize", Num(size), DumpAt());
    if (const ChartEntry* patches = type_.Find("patches")) Patches(*patches);
    if (!layout_.fileSize) return;
    if (layout_.headerSize) Put("headerSize", Num(layout_.headerSize), DumpAt());
    if (type_.slots > 1) Put("numVoices", Num(type_.slots), Head());
    if (layout_.voiceSize) Put("voiceSize", Num(layout_.voiceSize), DumpAt());
    if (layout_.voiceBytes && layout_.voiceBytes != layout_.voiceSize)
      Put("voiceBytes", Num(layout_.voiceBytes), DumpAt());
    if (layout_.voiceOffset) Put("voiceOffset", Num(layout_.voiceOffset), DumpAt());
    if (layout_.blockBytes) {
      Put("voiceAdjust", Num(layout_.blockBytes), DumpAt());
      Put("voiceAdvance", Num(layout_.blockGap), DumpAt());
    }
    if (layout_.packing) Put("storageFormat", Num(layout_.packing), DumpAt());
    if (IsPatchwise()) Put("patchByPatch", "1", Head());
    if (!address_.areas.empty() && type_.dump.empty()) PutAddressFields(type_, address_, &lines_);
  }

  void Patches(const ChartEntry& entry) {
    std::string first, last;
    const bool range = SplitChartRange(ChartPatchRange(type_), &first, &last);
    const auto low = ParseInteger(first), high = ParseInteger(last);
    if (!range || !low || !high || *low < 0 || *low > *high || *high > UINT16_MAX) {
      problems_.Add(entry.valueAt, entry.value, "no range of numbers, or not one for each value of the letter",
                    "patches = 64..95");
      return;
    }
    if (type_.slots > 1 && *high - *low + 1 != type_.slots)
      problems_.Add(entry.valueAt, entry.value, "the numbers are not as many as the patches",
                    Num(type_.slots) + " of them");
    firstPatch_ = static_cast<int>(*low);
    // A bank that goes patch by patch counts its places.
    if (type_.patchwise) return;
    if (*low) Put("patchMin", Num(*low), entry.valueAt);
    Put("patchMax", Num(*high), entry.valueAt);
    const int place = type_.dump.empty() ? -1 : type_.dump.front().PlaceOf(kPatchLetter);
    if (place < 0 || !address_.areas.empty()) return;
    Put("patchNumberInImage", "1", entry.valueAt);
    Put("patchNumber", Num(*low), entry.valueAt);
    // One of 14 bits, or beyond a base, is put there by the steps.
    if (type_.dump.front().IsPlain(kPatchLetter)) Put("patchNumberOffset", Num(place), entry.valueAt);
  }

  // The way of numbering that shows the first and the last patch so.
  void Numbers() {
    const ChartType* bank = type_.slots > 1 ? &type_ : chart_.HolderOf(type_);
    const ChartEntry* entry = type_.Find("numbers");
    if (!entry && bank) entry = bank->Find("numbers");
    if (!entry) entry = chart_.Find("numbers");
    if (!entry) return;
    std::string first, last;
    const ChartVariable& letter = type_.Find("numbers") || !bank ? type_.variable : bank->variable;
    std::string shown = ChartShown(entry->value, letter);
    // `{b}` of 33-64
    const std::size_t dash = shown.find('-');
    if (shown != entry->value && shown.find_first_not_of("0123456789-") == std::string::npos &&
        dash != std::string::npos)
      shown.replace(dash, 1, "..");
    if (!SplitChartRange(shown, &first, &last)) {
      problems_.Add(entry->valueAt, entry->value, "no range of patch numbers",
                    "the first and the last as the panel prints them: 11..88");
      return;
    }
    int slots = bank ? bank->slots : 1;
    if (!bank)
      for (const ChartType& other : chart_.types) slots = std::max(slots, other.slots);
    const bool own = type_.Find("numbers") || type_.slots > 1;
    const std::vector<int> formats = FormatsLike(first, slots);
    for (const int offset : Offsets(slots))
      for (const int format : formats) {
        Synth synth{};
        synth.numberFormat = static_cast<std::uint8_t>(format);
        synth.bankNumberOffset = static_cast<std::uint16_t>(offset);
        synth.numVoices = static_cast<std::uint32_t>(slots);
        if (MakeNumberStr(synth, 0) != first || MakeNumberStr(synth, slots - 1) != last) continue;
        Put("numberFormat", Num(format), entry->valueAt);
        if (offset && own) Put("bankNumberOffset", Num(offset), entry->valueAt);
        return;
      }
    const auto from = ParseInteger(first), to = ParseInteger(last);
    if (from && to && first == Num(*from) && *from >= 1 && *from < kMostOffset && *to == *from + slots - 1) {
      Put("numberFormat", Num(kNumberFormatPlain), entry->valueAt);
      if (*from > 1 && own) Put("bankNumberOffset", Num(*from - 1), entry->valueAt);
      return;
    }
    std::vector<std::string> words;
    for (const CodedWord& word : FindCodedTable("numberFormat")->words) words.emplace_back(word.word);
    problems_.Add(entry->valueAt, entry->value, "no way of numbering " + Num(slots) + " patches shows these numbers",
                  NearestWords(entry->value, words));
  }

  // The ways of numbering that can show such a number at all: trying each with every offset takes long.
  static std::vector<int> FormatsLike(const std::string& first, int slots) {
    std::vector<int> formats;
    for (const int format : NumberFormats()) {
      if (format == kByName || (format == kNumberFormatFromZero && first != "0")) continue;
      Synth synth{};
      synth.numberFormat = static_cast<std::uint8_t>(format);
      synth.numVoices = static_cast<std::uint32_t>(slots);
      if (NumberShape(MakeNumberStr(synth, 0)) == NumberShape(first)) formats.push_back(format);
    }
    return formats;
  }

  static std::vector<int> Offsets(int slots) {
    std::vector<int> offsets;
    for (int at = 0; at < kMostOffset && slots > 0; at += slots) offsets.push_back(at);
    for (int at = 1; at < kMostOffset; ++at) offsets.push_back(at);
    return offsets;
  }

  // `145 10`, `36 10 roland capitals`, `none`
  void Name() {
    const ChartEntry* entry = chart_.Find(type_, "name");
    if (!entry || entry->value == "none") return;
    std::string_view text = entry->value;
    std::vector<std::int64_t> numbers;
    while (numbers.size() < 2) {
      const std::size_t end = std::min(text.find(' '), text.size());
      const auto number = ParseInteger(text.substr(0, end));
      if (!number || *number < 0 || *number > UINT16_MAX) break;
      numbers.push_back(*number);
      text = TrimmedView(text.substr(end));
    }
    if (numbers.size() < 2 || numbers[1] == 0) {
      problems_.Add(entry->valueAt, entry->value, "the name has a place and a length", "name = 145 10");
      return;
    }
    Put("nameOffset", Num(numbers[0]), entry->valueAt);
    Put("nameLength", Num(numbers[1]), entry->valueAt);
    if (!text.empty()) {
      const std::size_t at = entry->value.size() - text.size();
      if (const auto code = CodeOf("nameFormat", entry->cell.Part(at, text.size()), &problems_))
        Put("nameFormat", Num(*code), entry->cell.At(at));
    }
    const ChartEntry* fresh = chart_.Find(type_, "new");
    if (!fresh) return;
    const std::string& value = fresh->value;
    if (value.size() < 2 || value.front() != '"' || value.back() != '"')
      problems_.Add(fresh->valueAt, value, "the name of new data stands in quotes", "new = \"INIT\"");
    else
      Put("initName", value.substr(1, value.size() - 2), fresh->valueAt);
  }

  void Request() {
    const ChartMessage& request = type_.request;
    if (request.empty() || type_.patchwise || !layout_.fileSize || layout_.leastSize ||
        request.Count(ChartItemKind::kByte) != request.items.size())
      return;
    if (request.size > kLongestRequest || !request.IsPlain(kPatchLetter)) return;
    std::string bytes;
    for (const ChartItem& item : request.items)
      bytes += (bytes.empty() ? "" : " ") + HexPair(KnownByte(item.byte, chart_, type_).value);
    Put("dumpRequest", bytes, request.at);
    const int device = chart_.device.letter ? request.PlaceOf(chart_.device.letter) : -1;
    if (device > 0) Put("dumpRequestChannelOffset", Num(device), request.at);
    const int patch = request.PlaceOf(kPatchLetter);
    if (patch > 0) Put("dumpRequestPatchOffset", Num(patch), request.at);
  }

  void Others() {
    if (const ChartEntry* entry = type_.Find("simulated"))
      Put("simulated", ChartShown(entry->value, type_.variable), entry->valueAt);
    if (const ChartEntry* entry = type_.Find("map")) Put("map", entry->value, entry->valueAt);
    if (const ChartEntry* entry = type_.Find("bank select")) {
      const auto parts = SplitChartCell(entry->cell, ',');
      if (const auto code = CodeOf("bankSelectMode", parts.front(), &problems_))
        Put("bankSelectMode", Num(*code), entry->valueAt);
      for (std::size_t i = 1; i < parts.size(); ++i) {
        const bool size = parts[i].text.ends_with(" a bank");
        const std::string number = parts[i].text.substr(0, parts[i].text.find(' '));
        Put(size ? "bankSelectMax" : "bankSelectMsbDefault", number, parts[i].at);
      }
    }
    for (const char* direction : {"get", "put"})
      if (const ChartEntry* entry = type_.Find(std::string("script ") + direction))
        Put(std::string(direction) == "get" ? "receive" : "transmit", entry->value, entry->valueAt);
  }

  void Volatile(ChartLines* lines) {
    const ChartEntry* entry = type_.Find("volatile");
    if (!entry) return;
    std::vector<VolatilePlaces> places;
    std::string problem = ParseVolatilePlaces(entry->value, &places);
    for (const VolatilePlaces& run : places)
      if (run.first + run.count > layout_.voiceBytes) problem = "the patch has no such byte";
    if (!problem.empty()) problems_.Add(entry->valueAt, entry->value, problem, "volatile = 5, 12..14");
    lines->Put("volatile", entry->value, entry->valueAt);
  }

  // What new data has besides the beginnings of its messages and its checksums.
  void NewBytes() {
    std::uint32_t at = 0;
    for (const ChartMessage& message : type_.dump) {
      FixedOf(message, at);
      at += message.size;
    }
    for (const ChartEntry& entry : type_.section->entries)
      if (entry.key.starts_with("new ") && !entry.flag) PatchBytes(entry);
  }

  // Bytes that the first form leaves open and those behind the first data.
  void FixedOf(const ChartMessage& message, std::uint32_t place) {
    bool behind = false;
    std::string run;
    std::uint32_t begin = 0;
    const ChartItem* first = nullptr;
    const auto flush = [&]() {
      if (run.empty()) return;
      std::string line = Num(place + begin) + ":" + run;
      const std::uint32_t times = type_.patchwise ? static_cast<std::uint32_t>(type_.slots) : first->times;
      if (times > 1)
        line += " | times " + Num(times) + " | step " + Num(type_.patchwise ? layout_.oneSize : first->stride);
      Put("init", line, first->at);
      run.clear();
    };
    for (const ChartItem& item : message.items) {
      const bool data = item.kind == ChartItemKind::kData || item.kind == ChartItemKind::kSum;
      behind = behind || data;
      std::vector<int> bytes = FixedBytes(item, chart_, type_);
      bool wanted = !bytes.empty() &&
                    (behind || item.times > 1 || item.turns || (item.kind == ChartItemKind::kCount && message.Free()));
      if (item.kind == ChartItemKind::kByte) {
        const ChartKnownByte byte = KnownByte(item.byte, chart_, type_);
        if (!behind && !byte.open && OpenInFiles(item)) wanted = byte.value != 0;
        if (item.byte.variable == kPatchLetter && !type_.patchwise) bytes = {item.byte.With(firstPatch_)};
        wanted = (wanted && !byte.open) || (byte.open && (item.byte.use == ChartUse::kNone || !type_.patchwise) &&
                                            bytes.front() != 0 && item.byte.variable != chart_.device.letter);
        if (&item == &message.items.back()) wanted = false;
      }
      if (!wanted || (!run.empty() && first->times != item.times)) flush();
      if (!wanted) continue;
      if (run.empty()) {
        begin = item.offset;
        first = &item;
      }
      for (const int byte : bytes) run += " " + HexPair(byte);
    }
    flush();
  }

  // The first form leaves the byte open, so that it is not filled in from there.
  bool OpenInFiles(const ChartItem& item) const {
    if (type_.dump.size() > 1 || type_.forms.empty() || !type_.Find("file")) return false;
    for (const auto& [name, message] : type_.forms.front().messages) {
      if (!message.First(ChartItemKind::kData)) continue;
      for (const ChartItem& other : message.items)
        if (other.offset == item.offset && other.kind == ChartItemKind::kByte)
          return KnownByte(other.byte, chart_, type_).open;
      return false;
    }
    return false;
  }

  // `new 7 = 00 00 01`
  void PatchBytes(const ChartEntry& entry) {
    const auto place = ParseInteger(entry.key.substr(4));
    const std::size_t star = entry.value.find('*');
    const auto once = ParseHex(TrimmedView(std::string_view(entry.value).substr(0, star)));
    const auto times = star == std::string::npos
                           ? std::optional<std::int64_t>(1)
                           : ParseInteger(TrimmedView(std::string_view(entry.value).substr(star + 1)));
    std::optional<std::vector<std::uint8_t>> bytes;
    if (once && times && *times >= 1 && *times <= UINT16_MAX) {
      bytes.emplace();
      for (std::int64_t i = 0; i < *times; ++i) bytes->insert(bytes->end(), once->begin(), once->end());
    }
    if (!place || *place < 0 || !bytes || bytes->empty() ||
        *place + static_cast<std::int64_t>(bytes->size()) > layout_.voiceBytes) {
      problems_.Add(entry.keyAt, entry.key, "the bytes of a new patch lie inside it", "new 7 = 00 00 01");
      return;
    }
    std::vector<std::uint8_t> raw = *bytes;
    std::int64_t at = *place;
    if (layout_.packing == 1 || layout_.packing == 6) {
      raw.clear();
      for (const std::uint8_t byte : *bytes) {
        const std::uint8_t low = byte & 0x0F, high = static_cast<std::uint8_t>(byte >> 4);
        raw.insert(raw.end(), {layout_.packing == 1 ? low : high, layout_.packing == 1 ? high : low});
      }
      at *= 2;
    } else if (layout_.packing == 3) {
      const std::string digits = ReplaceAll(HexText(*bytes), " ", "");
      raw.assign(digits.begin(), digits.end());
      at *= 2;
    } else if (layout_.packing != 0) {
      problems_.Add(entry.keyAt, entry.key, "bytes of new data can be said of plain data, nibbles and digits only");
      return;
    }
    std::string line = Num(layout_.headerSize + layout_.voiceOffset + at) + ": " + HexText(raw);
    if (type_.slots > 1) line += " | times " + Num(type_.slots) + " | step " + Num(layout_.voiceSize);
    Put("init", line, entry.keyAt);
  }

  const ChartInstrument& chart_;
  const ChartType& type_;
  ChartProblems& problems_;
  ChartProblems unheard_{std::string()};
  const bool wrong_;
  const ChartAddress address_;
  ChartLayout layout_;
  ChartLines lines_;
  int firstPatch_ = 0;  // its number in messages
};

}  // namespace

std::string HexPair(int value) {
  const auto byte = static_cast<std::uint8_t>(value);
  return HexText({&byte, 1});
}

ChartKnownByte KnownByte(const ChartByte& byte, const ChartInstrument& chart, const ChartType& type) {
  static_cast<void>(chart);
  if (byte.use == ChartUse::kNone) return {byte.base, byte.mask != 0xFF};
  if (byte.variable == type.variable.letter && byte.variable) return {byte.With(type.variable.value) & 0x7F, false};
  return {std::max(byte.base, 0), true};
}

std::vector<int> FixedBytes(const ChartItem& item, const ChartInstrument& chart, const ChartType& type) {
  if (item.kind == ChartItemKind::kByte) return {KnownByte(item.byte, chart, type).value};
  if (item.kind != ChartItemKind::kCount) return {};
  const int high = static_cast<int>(item.sumSize >> 7 & 0x7F), low = static_cast<int>(item.sumSize & 0x7F);
  return item.lowFirst ? std::vector<int>{low, high} : std::vector<int>{high, low};
}

std::string PatternOf(const ChartMessage& message, const ChartInstrument& chart, const ChartType& type) {
  std::string pattern;
  const auto put = [&](const std::string& byte) { pattern += (pattern.empty() ? "" : " ") + byte; };
  for (const ChartItem& item : message.Head()) {
    if (item.kind == ChartItemKind::kCount) {
      const bool known = message.size && !message.Free();
      for (const int byte : FixedBytes(item, chart, type)) put(known ? HexPair(byte) : "??");
      continue;
    }
    const ChartKnownByte byte = KnownByte(item.byte, chart, type);
    if (&item != &message.items.front() && !byte.open && byte.value == 0xF7) break;
    std::string text = HexPair(byte.value);
    if (byte.open && !(item.byte.mask & 0xF0)) text[0] = '?';
    if (byte.open && !(item.byte.mask & 0x0F)) text[1] = '?';
    put(text);
  }
  return pattern;
}

ChartLines DescriptorOf(const ChartInstrument& chart, const ChartType& type, ChartProblems* problems) {
  return DescriptorWriter(chart, type, problems).Write();
}

}  // namespace tonalith
