#include "chart/simulator_pattern.h"

#include <algorithm>
#include <array>

#include "chart/type_lines.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

constexpr int kLargestPatchByte = 0x7F, kDigitValues = 16;
constexpr std::uint32_t kFurthestSum = 64;

std::string WordFor(const char* table, int code) {
  const CodedWord* word = FindCodedWord(*FindCodedTable(table), code);
  return word ? word->word : "";
}

std::string Between(const char* name, int low, int high) {
  return std::string("{") + name + ":" + HexPair(low) + "-" + HexPair(high) + "}";
}

// One byte of a message; empty, with the reason, when it cannot be said.
std::string ByteText(const ChartInstrument& chart, const ChartType& type, const ChartByte& byte, std::string* why) {
  const ChartKnownByte known = KnownByte(byte, chart, type);
  if (byte.use == ChartUse::kNone && byte.mask != 0xFF) {
    if ((byte.mask & 0xF0) == 0) return "?";
    return Between("open", known.value & 0xF0, (known.value & 0xF0) | 0x0F);
  }
  if (!known.open) return HexPair(known.value);
  if (byte.variable == chart.device.letter) {
    if (byte.use == ChartUse::kLowDigit) return HexPair(byte.base).substr(0, 1) + "n";
    if (byte.use == ChartUse::kWhole && byte.base == 0) return "nn";
    *why = "the device number stands in a byte together with something else";
    return {};
  }
  if (byte.variable != kPatchLetter || byte.use == ChartUse::kHighDigit) {
    *why = "a byte of a message counts what is not the patch";
    return {};
  }
  const int first = ChartFirstPatch(type), last = first + type.slots - 1;
  if (byte.part != ChartPart::kAll) {
    if (first == 0)
      return byte.part == ChartPart::kLow ? "{item}" : Between("item_high", 0, last / (kLargestPatchByte + 1));
    *why = "its patches are numbered on from those of another bank, in two bytes";
    return {};
  }
  const int limit = byte.use == ChartUse::kLowDigit ? (byte.base | (kDigitValues - 1)) : kLargestPatchByte;
  if (byte.base + first < 0 || byte.base + first > limit) *why = "the number of its first patch does not fit in a byte";
  return why->empty() ? Between("item", byte.base + first, std::min(byte.base + last, limit)) : std::string();
}

// What descriptions call a checksum; empty: they have it not.
const char* SumName(const std::string& word) {
  struct Kind {
    std::string_view word;
    const char* said;
  };
  static constexpr std::array<Kind, 5> kKinds = {{{"negative sum", "negative"},
                                                  {"sum", "running"},
                                                  {"inverted sum", "inverted"},
                                                  {"exclusive or", "exclusive"},
                                                  {"sum plus a5", "plus-a5"}}};
  const auto* kind = std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& one) { return one.word == word; });
  return kind == kKinds.end() ? "" : kind->said;
}

// The checksum of a message over everything from a place on.
std::string WholeSum(const ChartItem& sum, const ChartItem& data, std::string* why) {
  const std::string word = WordFor("checksumType", sum.sum);
  const bool all = sum.sumFrom + sum.sumSize == sum.offset && sum.sumFrom < kFurthestSum && !sum.ahead;
  if (word == "nibble sum low first" && all && sum.sumFrom == data.offset &&
      WordFor("storageFormat", data.packing) == "nibbles low first")
    return "unpacked";
  const std::string name = SumName(word);
  if (all && !name.empty())
    return name + " " + std::to_string(sum.sumFrom) +
           (sum.orByte >= 0 && word == "sum" ? " any " + std::to_string(sum.orByte) : "");
  *why = "descriptions have no checksum \"" + word + "\" over these bytes";
  return {};
}

// What descriptions call a packing; empty: they have it not.
const char* PackingName(const std::string& word) {
  struct Name {
    std::string_view word;
    const char* said;
  };
  static constexpr std::array<Name, 7> kNames = {{{"plain", "plain"},
                                                  {"nibbles low first", "nibbles-low"},
                                                  {"nibbles high first", "nibbles-high"},
                                                  {"7 of 8", "seven-eight"},
                                                  {"7 of 8 through", "seven-eight"},
                                                  {"hex digits", "hex-digits"},
                                                  {"bits high first", "bit-stream"}}};
  const auto* name = std::find_if(kNames.begin(), kNames.end(), [&](const Name& one) { return one.word == word; });
  return name == kNames.end() ? "" : name->said;
}

}  // namespace

std::optional<std::string> SimulatorPattern(const ChartInstrument& chart, const ChartType& type,
                                            const ChartMessage& message, std::size_t end, std::string* why) {
  std::string pattern;
  const auto put = [&](const std::string& byte) { pattern += (pattern.empty() ? "" : " ") + byte; };
  for (std::size_t i = 0; i < std::min(end, message.items.size()); ++i) {
    const ChartItem& item = message.items[i];
    if (item.kind == ChartItemKind::kPause || item.kind == ChartItemKind::kSumFrom) continue;
    if (item.times > 1 || item.kind == ChartItemKind::kData) {
      *why = "other bytes stand between its data";
      return std::nullopt;
    }
    const ChartItem* free = message.Free();
    if (item.turns) {
      put(Between("items", static_cast<int>(free->leastTimes), item.byte.base));
    } else if (item.kind == ChartItemKind::kCount && free && item.sumSize >= message.LessWith(free->leastTimes)) {
      if (item.sumSize != free->times * free->stride) {
        *why = "it counts more than its patches";
        return std::nullopt;
      }
      put(Between(item.lowFirst ? "size" : "size_high", 0, kLargestPatchByte));
      put(Between(item.lowFirst ? "size_high" : "size", 0, kLargestPatchByte));
    } else if (item.kind == ChartItemKind::kSum) {
      put("?");
    } else if (item.kind == ChartItemKind::kCount) {
      for (const int byte : FixedBytes(item, chart, type)) put(HexPair(byte));
    } else {
      const std::string byte = ByteText(chart, type, item.byte, why);
      if (byte.empty()) return std::nullopt;
      put(byte);
    }
  }
  return pattern;
}

namespace {

// The checksum of every patch alone, in front of it.
bool IsSumAhead(const ChartItem& sum, const ChartItem& data) {
  return sum.kind == ChartItemKind::kSum && sum.ahead && sum.times == data.times && sum.orByte < 0 &&
         WordFor("checksumType", sum.sum) == "sum plus a5" && sum.sumFrom == data.offset && sum.sumSize == data.size;
}

}  // namespace

std::optional<SimulatorBody> SimulatorBodyOf(const ChartType& type, const ChartMessage& message, std::string* why) {
  const auto cannot = [&](const char* reason) {
    *why = reason;
    return std::nullopt;
  };
  if (!message.size) return cannot("its data has any size");
  const auto data = std::find_if(message.items.begin(), message.items.end(),
                                 [](const ChartItem& item) { return item.kind == ChartItemKind::kData; });
  if (data == message.items.end()) return cannot("one of its messages holds no data");
  SimulatorBody body;
  body.head = static_cast<std::size_t>(data - message.items.begin());
  body.items = static_cast<int>(data->times);
  const ChartItem *sum = nullptr, *tail = nullptr;
  for (auto item = data + 1; item != message.items.end(); ++item) {
    if (item->kind == ChartItemKind::kPause) continue;
    const bool alone = item->times == 1 && data->times == 1;
    if (item->kind == ChartItemKind::kSum && !sum)
      sum = &*item;
    else if (item->kind == ChartItemKind::kData && alone && !sum && !tail && item->packing == 0)
      tail = &*item;
    else if (item->kind != ChartItemKind::kByte || item->byte.base != 0xF7)
      return cannot("other bytes stand between its data");
  }
  if (data->packing == 0 && !tail && !sum && body.head > 0 && IsSumAhead(*(data - 1), *data)) {
    --body.head;
    body.itemSum = "+sum ahead";
  }
  for (std::size_t i = 0; i < body.head; ++i)
    if (message.items[i].kind == ChartItemKind::kSum || message.items[i].times > 1)
      return cannot("its patches have bytes in front of each");
  if (data->outerTimes > 1) return cannot("its patches lie in blocks");
  const std::string word = WordFor("storageFormat", data->packing);
  const char* packing = PackingName(word);
  const bool through = IsThroughPacking(data->packing);
  // What a description would unpack over all patches is packed one by one.
  const bool apart = body.items > 1 && word.starts_with("7 of 8") && data->bytes % 7 != 0;
  body.unpacked = *packing && !apart;
  body.packing = body.unpacked ? packing : "plain";
  body.bytes = static_cast<int>(body.unpacked ? data->bytes : data->size);
  if (tail) body.bytes += body.tail = static_cast<int>(tail->bytes);
  if (tail && !body.unpacked) return cannot("the packing of its data is none of descriptions");
  if (body.items == 1 && !type.patchwise && type.slots > 1) {
    const bool even = body.bytes % type.slots == 0 && (through || word == "plain");
    if (!even) return cannot("where its patches begin is not said by its message");
    body.items = type.slots;
    body.bytes /= type.slots;
  }
  if (const ChartItem* free = message.Free()) body.leastItems = static_cast<int>(free->leastTimes);
  if (!sum) return body;
  if (sum->times > 1 || data->times > 1) {
    const bool each = sum->times == data->times && sum->stride == data->stride && data->times > 1;
    const std::string name = SumName(WordFor("checksumType", sum->sum));
    const bool said = !name.empty() && name != "running" && sum->sumFrom == data->offset &&
                      sum->sumSize == data->size && !sum->ahead && sum->orByte < 0;
    if (each && !(said && word == "plain")) return cannot("its patches have checksums that descriptions do not know");
    if (each) return body.itemSum = name == "plus-a5" ? "+sum" : "+" + name, body;
  }
  body.checksum = WholeSum(*sum, *data, why);
  if (body.checksum.empty()) return std::nullopt;
  return body;
}

std::string SimulatorSumName(int sumKind) {
  const std::string name = SumName(WordFor("checksumType", sumKind));
  return name == "running" ? std::string() : name;
}

bool SaysPatch(const ChartMessage& message) {
  return message.PlaceOf(kPatchLetter) >= 0;
}

}  // namespace tonalith
