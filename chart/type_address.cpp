#include <algorithm>

#include "chart/type_lines.h"
#include "data/hex_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kRoland = 0x41;

bool IsAddress(std::string_view text, std::size_t bytes) {
  const auto address = ParseHex(text);
  return address && !address->empty() && (bytes == 0 || address->size() == bytes) &&
         std::all_of(address->begin(), address->end(), [](std::uint8_t byte) { return byte < 0x80; });
}

// `6A, address 4, pieces 256`
void ReadModel(const ChartEntry& entry, ChartAddress* address, ChartProblems* problems) {
  for (const ChartCell& part : SplitChartCell(entry.cell, ',')) {
    const std::size_t blank = std::min(part.text.find(' '), part.text.size());
    const std::string word = part.text.substr(0, blank);
    const auto number = ParseInteger(part.text.substr(blank));
    if (word == "address" && number && *number >= 1 && *number <= 4)
      address->addressBytes = static_cast<std::size_t>(*number);
    else if (word == "pieces" && number && *number >= 1 && *number <= 256)
      address->pieces = static_cast<int>(*number);
    else if (blank == part.text.size() && IsAddress(word, 1))
      address->model = word;
    else
      problems->Add(part.at, part.text, "nothing that belongs to an address-based instrument",
                    "roland model = 16, address 3, pieces 256");
  }
}

// `11 00 00 00 step 00 01 00 00 x 128`
bool ReadArea(const ChartEntry& entry, std::size_t bytes, ChartArea* area) {
  std::string_view text = entry.value;
  const std::size_t step = text.find(" step ");
  area->at = entry.valueAt;
  area->base = std::string(TrimmedView(text.substr(0, step)));
  if (!IsAddress(area->base, bytes)) return false;
  if (step == std::string_view::npos) return entry.key == "address";
  text.remove_prefix(step + 6);
  const std::size_t cross = text.find(" x ");
  if (cross == std::string_view::npos) return false;
  area->step = std::string(TrimmedView(text.substr(0, cross)));
  const auto slots = ParseInteger(text.substr(cross + 3));
  if (!slots || *slots < 1 || *slots > 16384) return false;
  area->slots = static_cast<int>(*slots);
  return IsAddress(area->step, bytes);
}

// `448`, `246 of 256`, `448, all 34688`
bool ReadSizes(const ChartEntry& entry, ChartAddress* address) {
  for (const ChartCell& part : SplitChartCell(entry.cell, ',')) {
    const bool all = part.text.starts_with("all ");
    std::string text = all ? part.text.substr(4) : part.text;
    const std::size_t of = text.find(" of ");
    const auto used = ParseInteger(text.substr(0, of));
    const auto whole = of == std::string::npos ? used : ParseInteger(text.substr(of + 4));
    if (!used || !whole || *used < 1 || *used > *whole || *whole > (16 << 20)) return false;
    if (all) {
      address->allBytes = static_cast<std::uint32_t>(*whole);
    } else {
      address->bytes = static_cast<std::uint32_t>(*used);
      address->room = static_cast<std::uint32_t>(*whole);
    }
  }
  return address->bytes > 0;
}

}  // namespace

std::string ChartArea::Text() const {
  return base + (slots ? " | step " + step + " | slots " + Num(slots) : "");
}

ChartAddress AddressOf(const ChartInstrument& chart, const ChartType& type, ChartProblems* problems) {
  ChartAddress address;
  if (const ChartEntry* roland = chart.Find("roland model")) ReadModel(*roland, &address, problems);
  for (const ChartEntry& entry : type.section->entries) {
    if (entry.key != "address" && entry.key != "memory") continue;
    ChartArea area;
    if (ReadArea(entry, address.addressBytes, &area))
      address.areas.push_back(area);
    else
      problems->Add(entry.valueAt, entry.value, "no place in the memory",
                    "address = 02 00 00, memory = 02 00 00 step 00 03 40 x 64");
  }
  if (address.areas.empty()) return address;
  if (address.addressBytes < 1 || address.addressBytes > 4 || !IsAddress(address.model, 0))
    problems->Add(address.areas.front().at, address.areas.front().base,
                  "the chart does not say how addresses are written",
                  "roland model = 16, address 3, pieces 256 in the first section");
  const ChartEntry* size = type.Find("size");
  if (!type.dump.empty()) return address;
  if (!size)
    problems->Add(type.section->at, type.name, "data by address needs a size", "size = 448");
  else if (!ReadSizes(*size, &address))
    problems->Add(size->valueAt, size->value, "no size", "448, 246 of 256, 448, all 34688");
  return address;
}

void PutAddressFields(const ChartType& type, const ChartAddress& address, ChartLines* lines) {
  const ChartPlace at = address.areas.front().at;
  lines->Put("allowsNonSysEx", "1", at);
  lines->Put("rolandModel", "0x" + address.model, at);
  lines->Put("rolandAddressLength", Num(static_cast<std::int64_t>(address.addressBytes)), at);
  lines->Put("rolandChunk", Num(address.pieces), at);
  lines->Put("rolandAddress", address.areas.front().base, at);
  lines->Put("rolandRequestAddress", address.areas.front().base, at);
  if (type.Has("handshake")) lines->Put("rolandHandshake", "1", at);
}

void PutAddressForm(const ChartType& type, const ChartAddress& address, ChartLines* lines) {
  const ChartPlace at = address.areas.front().at;
  const bool framed = !type.dump.empty();
  lines->Put("address",
             "F0 " + HexPair(kRoland) + " ?? " + address.model + (framed ? " 12 | " : " ?2 | ") +
                 Num(static_cast<std::int64_t>(address.addressBytes)),
             at);
  for (const ChartArea& area : address.areas) lines->Put("area", area.Text(), area.at);
  if (!framed) {
    std::string zero = "00";
    for (std::size_t i = 1; i < address.addressBytes; ++i) zero += " 00";
    const bool whole = address.allBytes && !address.areas.front().slots;
    lines->Put("block", zero + " | size " + Num(whole ? address.allBytes : address.bytes), at);
    return;
  }
  std::uint32_t place = 0;
  for (const ChartMessage& message : type.dump) {
    const ChartItem* data = message.First(ChartItemKind::kData);
    std::string offset;
    for (const int byte : OffsetOf(type, message, address)) offset += (offset.empty() ? "" : " ") + HexPair(byte);
    if (data)
      lines->Put("block", offset + " | size " + Num(data->size) + " | at " + Num(place) + " | framed", message.at);
    place += message.size;
  }
}

std::vector<int> OffsetOf(const ChartType& type, const ChartMessage& message, const ChartAddress& address) {
  const auto bytes = [&](const ChartMessage& one) {
    std::vector<int> address7;
    const ChartItem* data = one.First(ChartItemKind::kData);
    for (const ChartItem& item : one.items)
      if (data && item.kind == ChartItemKind::kByte && item.offset < data->offset &&
          item.offset + address.addressBytes >= data->offset)
        address7.push_back(item.byte.variable ? 0 : item.byte.base);
    return address7;
  };
  std::vector<int> own = bytes(message);
  const std::vector<int> first = bytes(type.dump.front());
  for (std::size_t i = 0; i < own.size() && i < first.size(); ++i) own[i] = (own[i] - first[i]) & 0x7F;
  return own;
}

bool ChartAddress::Varies(std::size_t byte) const {
  const auto value = [&](const std::string& text) {
    const auto parsed = ParseHex(text);
    return parsed && byte < parsed->size() ? static_cast<int>((*parsed)[byte]) : 0;
  };
  return std::any_of(areas.begin(), areas.end(), [&](const ChartArea& area) {
    return value(area.base) != value(areas.front().base) || (area.slots && value(area.step) != 0);
  });
}

}  // namespace tonalith
