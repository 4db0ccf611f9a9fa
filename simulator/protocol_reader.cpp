#include "simulator/protocol_reader.h"

#include <algorithm>
#include <string>

#include "simulator/text_tools.h"

namespace tonalith {

bool ProtocolReader::OpenProtocol(const std::string& name) {
  if (block_ == "change") {
    out_.changes.emplace_back();
    out_.changes.back().key = name;
    out_.changes.back().line = line();
    return true;
  }
  if (block_ == "parts") return out_.parts.emplace(), true;
  if (block_ == "roland") return out_.roland.emplace(), true;
  if (block_ == "casio") return out_.casio.emplace(), true;
  if (block_ == "hydra") return out_.hydra.emplace(), true;
  if (block_ == "kits") return out_.kits.emplace(), true;
  if (block_ == "packets") return out_.packets.emplace(), true;
  if (block_ == "file_transfer") return out_.fileTransfer.emplace(), true;
  return false;
}

bool ProtocolReader::ProtocolLine() {
  if (block_ == "change") return ChangeLine(out_.changes.back());
  if (block_ == "parts") return PartsLine(*out_.parts);
  if (block_ == "roland") return RolandLine();
  if (block_ == "casio") return CasioLine();
  if (block_ == "hydra") return HydraLine();
  if (block_ == "kits") return KitLine(*out_.kits);
  if (block_ == "packets") return PacketLine(*out_.packets);
  if (block_ == "file_transfer") return FileTransferLine();
  return false;
}

bool ProtocolReader::Area(std::string_view areaKey, int& target) {
  target = out_.FindArea(areaKey);
  if (target < 0) {
    Fail("there is no area \"" + std::string(areaKey) + "\" before this line");
    target = 0;
  }
  return true;
}

std::optional<std::vector<int>> ProtocolReader::Numbers(std::string_view text, int base16) {
  std::vector<int> numbers;
  for (const std::string_view word : BlankSeparatedWords(text)) {
    const auto number = base16 != 0 ? ReadSimNumber("0x" + std::string(word)) : ReadSimNumber(word);
    if (!number || *number < -65536 || *number > 65536) {
      Fail("\"" + std::string(word) + "\" is no number");
      return std::nullopt;
    }
    numbers.push_back(*number);
  }
  return numbers;
}

std::uint32_t ProtocolReader::Address(std::string_view text) {
  const auto groups = Numbers(text, 1);
  std::uint32_t address = 0;
  if (!groups || groups->size() > 4 || groups->empty()) {
    Fail("an address is one to four 7-bit bytes");
    return 0;
  }
  for (const int group : *groups) {
    if (group < 0 || group > 127) Fail("an address is one to four 7-bit bytes");
    address = address << 7 | (static_cast<std::uint32_t>(group) & 0x7F);
  }
  return address;
}

bool ProtocolReader::Sends(std::vector<RuleInfo::Send>& sends) {
  if (!ParseSends(value_, &sends)) Fail("expected messages and ranges like [0..99]");
  return true;
}

bool ProtocolReader::PartsLine(PartsInfo& parts) {
  if (key_ == "setup") return Area(value_, parts.setupArea);
  if (key_ == "voices") return Area(value_, parts.voiceArea);
  if (key_ == "buffers") return Area(value_, parts.bufferArea);
  if (key_ == "first") return Number(parts.first, 0, kMaxItemBytes);
  if (key_ == "stride") return Number(parts.stride, 1, kMaxItemBytes);
  if (key_ == "channel") return Number(parts.channel, 0, kMaxItemBytes);
  if (key_ == "bank") return Number(parts.bank, 0, kMaxItemBytes);
  if (key_ == "number") return Number(parts.number, 0, kMaxItemBytes);
  return key_ == "bank_size" && Number(parts.bankSize, 1, kMaxItems);
}

bool ProtocolReader::RolandLine() {
  RolandInfo& roland = *out_.roland;
  int number = 0;
  if (key_ == "model") {
    Number(number, 0, 127);
    roland.model = static_cast<std::uint8_t>(number);
    return true;
  }
  if (key_ == "address_bytes") return Number(roland.addressBytes, 3, 4);
  if (key_ == "packet") return Number(roland.packet, 1, 4096);
  if (key_ == "crosses") return YesNo(roland.crosses);
  if (key_ == "handshake") return YesNo(roland.handshake);
  if (key_ == "one_area") return YesNo(roland.oneArea);
  if (key_ != "dump") return false;
  const auto pieces = SeparatedPieces(value_, '/');
  if (pieces.size() != 2) return Fail("expected address / size"), true;
  roland.dump.push_back({Address(pieces[0]), Address(pieces[1])});
  return true;
}

bool ProtocolReader::CasioLine() {
  if (key_ == "ready_ms") return Number(out_.casio->readyMs, 0, 60000);
  if (key_ == "timeout_ms") return Number(out_.casio->timeoutMs, 1, 60000);
  if (key_ != "block") return false;
  const auto words = BlankSeparatedWords(value_);
  const auto first = words.size() == 2 ? ReadSimNumber("0x" + std::string(words[1])) : std::nullopt;
  if (!first || *first < 0 || *first > 127) return Fail("expected an area and its first tone number"), true;
  CasioInfo::Block block;
  Area(words[0], block.area);
  block.first = *first;
  out_.casio->blocks.push_back(block);
  return true;
}

bool ProtocolReader::FileTransferLine() {
  if (key_ == "frame") {
    if (value_.find("{command}") == std::string_view::npos) Fail("the frame needs a {command}");
    return Pattern(out_.fileTransfer->frame);
  }
  return key_ == "data" && Sends(out_.fileTransfer->data);
}

bool ProtocolReader::PacketLine(PacketInfo& packets) {
  if (key_ == "frame") return Pattern(packets.frame);
  if (key_ == "user") return Area(value_, packets.userArea);
  if (key_ == "edit") return Area(value_, packets.editArea);
  if (key_ == "rom") return Area(value_, packets.romArea);
  if (key_ == "rom_number") return Number(packets.rom, 1, 127);
  if (key_ == "rom_instruments") return Number(packets.romInstruments, 0, 16383);
  if (key_ == "gap_ms") return Number(packets.gapMs, 0, 60000);
  if (key_ == "preset_parameter") return Number(packets.presetSelect, 0, 16383);
  if (key_ == "layer_parameter") return Number(packets.layerSelect, 0, 16383);
  if (key_ == "layer_stride") return Number(packets.layerStride, 0, kMaxItemBytes);
  if (key_ == "counts") {
    if (auto numbers = Numbers(value_, 0)) packets.counts = *numbers;
    return true;
  }
  if (key_ == "bytes") return Words(packets, 1, false);
  if (key_ == "words") return Words(packets, 2, false);
  return key_ == "layer_words" && Words(packets, 2, true);
}

// bank = "AREA CODE CONTROLLER", the numbers in hexadecimal
bool ProtocolReader::KitLine(KitInfo& kits) {
  if (key_ == "multis") return Area(value_, kits.multiArea);
  if (key_ == "memory") return Number(kits.memoryBytes, 1, 1 << 20);
  if (key_ == "backup_ms") return Number(kits.backupMs, 0, 60000);
  if (key_ != "bank") return false;
  const auto words = BlankSeparatedWords(value_);
  const auto numbers = words.size() == 3 ? Numbers(value_.substr(words[0].size()), 1) : std::nullopt;
  const auto fits = [](int number) { return number >= 0 && number <= 127; };
  if (!numbers || !std::all_of(numbers->begin(), numbers->end(), fits))
    return Fail("expected an area, its code and its bank select"), true;
  KitInfo::Bank& bank = kits.banks.emplace_back();
  bank.code = (*numbers)[0];
  bank.controller = (*numbers)[1];
  return Area(words[0], bank.area);
}

// "FIRST LAST OFFSET"
bool ProtocolReader::Words(PacketInfo& packets, int bytes, bool layered) {
  const auto numbers = Numbers(value_, 0);
  if (!numbers || numbers->size() != 3 || (*numbers)[0] > (*numbers)[1] || (*numbers)[2] < 0)
    return Fail("expected the first and the last number and the place of the first"), true;
  packets.words.push_back({(*numbers)[0], (*numbers)[1], (*numbers)[2], bytes, layered});
  return true;
}

bool ProtocolReader::HydraLine() {
  if (key_ == "area") return Area(value_, out_.hydra->area);
  if (key_ == "version") return Number(out_.hydra->version, 0, 255);
  return false;
}

}  // namespace tonalith
