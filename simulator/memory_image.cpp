#include "simulator/memory_image.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "simulator/parts.h"
#include "simulator/wire_codecs.h"

namespace tonalith {
namespace {

constexpr std::array<std::string_view, 16> kFactoryFirst = {"Soft", "Dawn", "Iron", "Blue", "Mist", "Oak",
                                                            "Zinc", "Fern", "Wide", "Dusk", "Salt", "Pale",
                                                            "Moss", "Gold", "Reef", "Calm"};
constexpr std::array<std::string_view, 16> kFactorySecond = {"Bell", "Pad",  "Reed", "Bass", "Harp", "Horn",
                                                             "Keys", "Lead", "Pipe", "Drum", "Vox",  "Wave",
                                                             "Pluk", "Brss", "Strg", "Orgn"};

// Small steady generator: the same contents on every machine.
class FactoryDice {
 public:
  explicit FactoryDice(std::uint32_t seed) : state_(seed * 2654435761U + 12345U) {}
  // From 0 to sides - 1.
  int Roll(std::uint32_t sides) {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<int>((state_ >> 8) % sides);
  }

 private:
  std::uint32_t state_;
};

std::uint8_t FieldMask(int width) {
  return static_cast<std::uint8_t>((1U << static_cast<unsigned>(width)) - 1U);
}

void PutField(std::uint8_t& byte, int bit, int width, int value) {
  const auto shift = static_cast<unsigned>(bit);
  const auto mask = static_cast<unsigned>(FieldMask(width)) << shift;
  byte = static_cast<std::uint8_t>((byte & ~mask) | ((static_cast<unsigned>(value) << shift) & mask));
}

}  // namespace

std::string FactoryName(const AreaInfo& area, int item) {
  if (area.factoryNames == "bank") {
    const std::string within = std::to_string(item % 100);
    return "BNK" + std::to_string(item / 100 % 10) + ": " + (within.size() < 2 ? "0" + within : within);
  }
  // Every pair of words once, neighbours differing in both; a number tells later rounds apart.
  const auto n = static_cast<std::size_t>(item);
  const std::size_t first = (n + n / 16) % 16;
  const std::size_t second = n % 16;
  // No room for two words: displays with so few characters know capitals only.
  if (constexpr int kTwoWords = 8; area.nameLength < kTwoWords && area.nameLength > 2) {
    std::string name(kFactoryFirst[first].substr(0, static_cast<std::size_t>(area.nameLength - 2)));
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name + static_cast<char>('0' + item / 10 % 10) + static_cast<char>('0' + item % 10);
  }
  std::string name = std::string(kFactoryFirst[first]) + " " + std::string(kFactorySecond[second]);
  if (item >= 256) name = std::string(kFactorySecond[second]) + " " + std::to_string(item);
  return name.substr(0, static_cast<std::size_t>(std::max(area.nameLength, 0)));
}

MemoryImage::MemoryImage(const InstrumentDescription& description) {
  std::size_t size = 0;
  for (const AreaInfo& area : description.areas) {
    places_.push_back({size, static_cast<std::size_t>(area.itemBytes), area.items});
    size += static_cast<std::size_t>(area.itemBytes) * static_cast<std::size_t>(area.items);
  }
  bytes_.assign(size, 0);
  FillFactory(description);
}

std::span<std::uint8_t> MemoryImage::Item(int area, int item) {
  if (area < 0 || static_cast<std::size_t>(area) >= places_.size()) return {};
  const Place& place = places_[static_cast<std::size_t>(area)];
  if (item < 0 || item >= place.items) return {};
  return std::span(bytes_).subspan(place.start + place.itemBytes * static_cast<std::size_t>(item), place.itemBytes);
}

std::span<const std::uint8_t> MemoryImage::Item(int area, int item) const {
  return const_cast<MemoryImage*>(this)->Item(area, item);
}

bool MemoryImage::Restore(std::span<const std::uint8_t> image) {
  if (image.size() != bytes_.size()) return false;
  std::copy(image.begin(), image.end(), bytes_.begin());
  return true;
}

std::span<const std::uint8_t> MemoryImage::Contents(const InstrumentDescription& description, int area,
                                                    int item) const {
  const auto bytes = Item(area, item);
  if (bytes.empty() || !description.areas[static_cast<std::size_t>(area)].variable) return bytes;
  const std::size_t room = bytes.size() - 2;
  return bytes.first(std::min(room, std::size_t{bytes[room]} + bytes[room + 1] * 256U));
}

bool MemoryImage::SetContents(const InstrumentDescription& description, int area, int item,
                              std::span<const std::uint8_t> bytes) {
  const auto target = Item(area, item);
  const bool variable = !target.empty() && description.areas[static_cast<std::size_t>(area)].variable;
  const std::size_t room = target.size() - (variable ? 2 : 0);
  if (target.empty() || bytes.size() > room || (!variable && bytes.size() != room)) return false;
  std::fill(target.begin(), target.end(), std::uint8_t{0});
  std::copy(bytes.begin(), bytes.end(), target.begin());
  if (variable) target[room] = bytes.size() & 0xFF, target[room + 1] = static_cast<std::uint8_t>(bytes.size() >> 8);
  return true;
}

void MemoryImage::FillFactory(const InstrumentDescription& description) {
  for (std::size_t area = 0; area < description.areas.size(); ++area)
    FillFactoryArea(description, static_cast<int>(area));
  for (const LinkInfo& link : description.links) LoadEdit(description, link.bankArea, 0);
  FillPartBuffers(description, *this);
}

void MemoryImage::FillFactoryArea(const InstrumentDescription& description, int area) {
  const AreaInfo& info = description.areas[static_cast<std::size_t>(area)];
  for (int item = 0; item < info.items; ++item) {
    const auto bytes = Item(area, item);
    if (info.variable && info.emptyFrom >= 0 && item >= info.emptyFrom) {
      SetContents(description, area, item, {});
      continue;
    }
    std::fill(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(info.fill));
    FactoryDice dice(static_cast<std::uint32_t>(area * 4099 + item));
    for (const ValueRule& rule : info.values) {
      const auto sides = static_cast<std::uint32_t>(rule.maximum - rule.minimum + 1);
      const int middle = (rule.minimum + rule.maximum + 1) / 2;
      const auto run =
          bytes.subspan(static_cast<std::size_t>(rule.offset), static_cast<std::size_t>(std::max(rule.run, 0)));
      for (std::uint8_t& byte : run) {
        int value = rule.minimum + dice.Roll(sides);
        if (rule.centred) value = middle + (value - middle) / 4;
        PutField(byte, rule.bit, rule.width, value);
      }
    }
    // A name has room only in contents of a known size.
    if (info.variable) SetContents(description, area, item, std::vector<std::uint8_t>(bytes.begin(), bytes.end() - 2));
    if (info.nameOffset >= 0 && !info.factoryNames.empty()) SetName(description, area, item, FactoryName(info, item));
    StoreOwnSum(info.ownSum, bytes);
  }
}

std::string MemoryImage::Name(const InstrumentDescription& description, int area, int item) const {
  const auto bytes = Item(area, item);
  if (bytes.empty()) return {};
  const AreaInfo& info = description.areas[static_cast<std::size_t>(area)];
  if (info.nameOffset < 0) return {};
  return DecodeName(info.nameCode, bytes.subspan(static_cast<std::size_t>(info.nameOffset),
                                                 static_cast<std::size_t>(info.nameLength)));
}

bool MemoryImage::SetName(const InstrumentDescription& description, int area, int item, std::string_view name) {
  const auto bytes = Item(area, item);
  if (bytes.empty()) return false;
  const AreaInfo& info = description.areas[static_cast<std::size_t>(area)];
  if (info.nameOffset < 0) return false;
  if (Contents(description, area, item).size() < static_cast<std::size_t>(info.nameOffset + info.nameLength))
    return false;
  const auto coded = EncodeName(info.nameCode, name, static_cast<std::size_t>(info.nameLength));
  // This code leaves the two highest bits to other parameters.
  const std::uint8_t kept = info.nameCode == NameCode::kMks50 ? 0xC0 : 0;
  for (std::size_t i = 0; i < coded.size(); ++i) {
    std::uint8_t& byte = bytes[static_cast<std::size_t>(info.nameOffset) + i];
    byte = static_cast<std::uint8_t>((byte & kept) | coded[i]);
  }
  StoreOwnSum(info.ownSum, bytes);
  return true;
}

namespace {

// Calls use(link, bytes of the bank's item, bytes of the edit buffer) for every link of the bank; false without any.
template <typename Use>
bool ForLinks(MemoryImage& memory, const InstrumentDescription& description, int bankArea, int item, const Use& use) {
  bool any = false;
  for (const LinkInfo& link : description.links) {
    if (link.bankArea != bankArea) continue;
    const auto bank = memory.Item(bankArea, item);
    const auto edit = memory.Item(link.editArea, 0);
    if (bank.empty() || edit.empty()) continue;
    any = true;
    use(link, bank, edit);
  }
  return any;
}

}  // namespace

bool MemoryImage::LoadEdit(const InstrumentDescription& description, int bankArea, int item) {
  return ForLinks(*this, description, bankArea, item, [](const LinkInfo& link, auto bank, auto edit) {
    if (link.fields.empty()) std::copy(bank.begin(), bank.end(), edit.begin());
    for (const LinkField& field : link.fields)
      for (int i = 0; field.editBit >= 0 && i < field.run; ++i)
        edit[static_cast<std::size_t>(field.editOffset + i)] = 0;
    for (const LinkField& field : link.fields)
      for (int i = 0; i < field.run; ++i) {
        const int value = bank[static_cast<std::size_t>(field.bankOffset + i)] >> field.bit & FieldMask(field.width);
        std::uint8_t& byte = edit[static_cast<std::size_t>(field.editOffset + i)];
        byte = static_cast<std::uint8_t>(field.editBit < 0 ? value : byte | value << field.editBit);
      }
  });
}

bool MemoryImage::StoreEdit(const InstrumentDescription& description, int bankArea, int item) {
  return ForLinks(*this, description, bankArea, item, [](const LinkInfo& link, auto bank, auto edit) {
    if (link.fields.empty()) std::copy(edit.begin(), edit.end(), bank.begin());
    for (const LinkField& field : link.fields)
      for (int i = 0; i < field.run; ++i)
        PutField(bank[static_cast<std::size_t>(field.bankOffset + i)], field.bit, field.width,
                 edit[static_cast<std::size_t>(field.editOffset + i)] >> std::max(field.editBit, 0));
  });
}

}  // namespace tonalith
