#include <algorithm>

#include "simulator/description.h"

namespace tonalith {
namespace {

constexpr std::size_t kMaxMemory = 16U << 20;

bool PartsFit(const InstrumentDescription& description) {
  const PartsInfo& parts = *description.parts;
  const auto area = [&](int index) -> const AreaInfo& { return description.areas[static_cast<std::size_t>(index)]; };
  const int last = parts.first + parts.stride * (area(parts.bufferArea).items - 1);
  return parts.bankSize > 0 && area(parts.voiceArea).itemBytes == area(parts.bufferArea).itemBytes &&
         last + std::max({parts.channel, parts.bank, parts.number}) < area(parts.setupArea).itemBytes;
}

bool MayHaveFewer(const MessageInfo& message, const InstrumentDescription& description) {
  return message.parts.size() == 1 && message.parts.front().items == MessagePart::Items::kAll &&
         message.itemHead.empty() && message.sum != SumKind::kBlocks && message.sum != SumKind::kCounted &&
         message.leastItems < description.areas[static_cast<std::size_t>(message.parts.front().area)].items;
}

bool PacketsFit(const InstrumentDescription& description) {
  const PacketInfo& packets = *description.packets;
  const auto bytes = [&](int index) { return description.areas[static_cast<std::size_t>(index)].itemBytes; };
  return !packets.frame.empty() && packets.counts.size() == 10 && bytes(packets.userArea) >= 16 &&
         bytes(packets.userArea) == bytes(packets.editArea) && bytes(packets.userArea) == bytes(packets.romArea);
}

bool KitsFit(const InstrumentDescription& description) {
  const auto area = [&](int index) -> const AreaInfo& { return description.areas[static_cast<std::size_t>(index)]; };
  constexpr int kLongestSingle = 81 + 6 * (86 + 805);
  for (const KitInfo::Bank& bank : description.kits->banks)
    if (!area(bank.area).variable || area(bank.area).items != 128 || area(bank.area).itemBytes != kLongestSingle + 2)
      return false;
  return !description.kits->banks.empty() && area(description.kits->multiArea).itemBytes == 102;
}

}  // namespace

int InstrumentDescription::FindArea(std::string_view areaKey) const {
  for (std::size_t i = 0; i < areas.size(); ++i)
    if (areas[i].key == areaKey) return static_cast<int>(i);
  return -1;
}

const MessageInfo* InstrumentDescription::FindMessage(std::string_view messageKey) const {
  for (const MessageInfo& message : messages)
    if (message.key == messageKey) return &message;
  return nullptr;
}

bool CompleteDescription(InstrumentDescription* description, std::vector<DescriptionMistake>* mistakes) {
  InstrumentDescription& out = *description;
  int line = out.line;  // of the block that is looked at
  const auto fail = [mistakes, &line](std::string text) {
    mistakes->push_back({line, 1, std::move(text), {}});
    return false;
  };
  if (out.key.empty() || out.name.empty() || out.areas.empty())
    return fail("an instrument needs a key, a name and an area");
  if (out.portName.empty()) out.portName = "Simulated " + out.name;
  std::size_t memory = 0;
  for (AreaInfo& area : out.areas) {
    line = area.line;
    memory += static_cast<std::size_t>(area.itemBytes) * static_cast<std::size_t>(area.items);
    if (memory > kMaxMemory) return fail("no instrument has more than 16 MiB of memory");
    if (area.itemBytes < 1) fail("area " + area.key + " has no size");
    if (area.nameOffset >= 0 && area.nameOffset + area.nameLength > area.itemBytes)
      fail("the name of area " + area.key + " lies outside");
    if (area.writableItems < 0) area.writableItems = area.items;
    if (area.listed == 0 || area.listed > area.items) area.listed = area.items;
    if (area.address && area.segments.empty()) area.segments.push_back({0, 0, area.itemBytes});
    if (area.address && area.addressStride == 0) area.addressStride = static_cast<std::uint32_t>(area.itemBytes);
  }
  for (const MessageInfo& message : out.messages) {
    line = message.line;
    const bool begins = !message.head.empty() && message.head.front().value == 0xF0;
    if (!begins || (message.parts.empty() && message.head.back().value != 0xF7))
      fail("message " + message.key + " needs a head that begins with F0, and data or an F7");
    if (!message.initialises.empty() && out.FindArea(message.initialises) < 0)
      fail("there is no area \"" + message.initialises + "\" to initialise");
    if (!message.unlessAfter.empty() && out.FindMessage(message.unlessAfter) == nullptr)
      fail("there is no message \"" + message.unlessAfter + "\"");
    if (message.leastItems && !MayHaveFewer(message, out))
      fail("least_items of message " + message.key + " needs data = AREA[all] alone, of more items than that");
  }
  line = out.line;
  if (out.parts && !PartsFit(out)) fail("the parts lie outside their set-up or their buffers");
  if (out.kits && !KitsFit(out)) fail("the kits need banks of 128 singles with room for six sources, and multis");
  if (out.packets && !PacketsFit(out)) fail("the packets need a frame, ten counts and presets of one size");
  if (out.fileTransfer && (out.fileTransfer->frame.empty() || out.fileTransfer->data.empty()))
    return fail("a file transfer needs a frame and data");
  for (const RuleInfo& rule : out.rules) {
    line = rule.line;
    if (rule.match.empty()) fail("rule " + rule.key + " matches nothing");
    for (const RuleInfo::Send& send : rule.sends)
      if (out.FindMessage(send.message) == nullptr) fail("there is no message \"" + send.message + "\"");
  }
  for (const ChangeInfo& change : out.changes) {
    line = change.line;
    if (change.match.empty() || change.fields.empty()) fail("change " + change.key + " needs a match and fields");
  }
  line = out.line;
  for (const RuleInfo::Send& send : out.fileTransfer ? out.fileTransfer->data : std::vector<RuleInfo::Send>()) {
    const MessageInfo* block = out.FindMessage(send.message);
    if (block == nullptr) return fail("there is no message " + send.message);
    const std::size_t head = out.FindMessage(out.fileTransfer->data.front().message)->head.size();
    if (block->parts.empty() || block->head.size() != head || head < out.fileTransfer->frame.size())
      return fail("message " + send.message + " is no block of the file transfer");
  }
  for (const RuleInfo::Send& send : out.file)
    if (out.FindMessage(send.message) == nullptr) fail("there is no message \"" + send.message + "\"");
  if (out.file.empty()) out.file = out.dump;
  for (const RuleInfo::Send& send : out.dump)
    if (!out.roland && out.FindMessage(send.message) == nullptr && !out.casio && !out.hydra && !out.packets &&
        !out.kits)
      fail("there is no message \"" + send.message + "\"");
  for (const LinkInfo& link : out.links) {
    line = link.line;
    const int bank = out.areas[static_cast<std::size_t>(link.bankArea)].itemBytes;
    if (link.fields.empty() && bank != out.areas[static_cast<std::size_t>(link.editArea)].itemBytes)
      fail("a link between items of different size needs fields");
  }
  return mistakes->empty();
}

}  // namespace tonalith
