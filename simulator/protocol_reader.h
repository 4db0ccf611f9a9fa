#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/description.h"
#include "simulator/description_lines.h"

namespace tonalith {

inline constexpr int kMaxItems = 4096;
inline constexpr int kMaxItemBytes = 65536;

// The blocks of a description that belong to one protocol engine each, and the values that blocks have in common.
class ProtocolReader : protected DescriptionLines {
 protected:
  using DescriptionLines::DescriptionLines;

  // For a block that is none of these: false.
  bool OpenProtocol(const std::string& name);
  // A line of such a block; false: the key is not known in it.
  bool ProtocolLine();

  // They give true, as the values of DescriptionLines do.
  bool Area(std::string_view areaKey, int& target);
  bool Sends(std::vector<RuleInfo::Send>& sends);
  // Words that are all numbers within a range.
  std::optional<std::vector<int>> Numbers(std::string_view text, int base16);
  std::uint32_t Address(std::string_view text);

  InstrumentDescription out_;

 private:
  bool PartsLine(PartsInfo& parts);
  bool RolandLine();
  bool CasioLine();
  bool FileTransferLine();
  bool PacketLine(PacketInfo& packets);
  bool KitLine(KitInfo& kits);
  bool Words(PacketInfo& packets, int bytes, bool layered);
  bool HydraLine();
  // In change_lines.cpp.
  bool ChangeLine(ChangeInfo& change);
  bool ChangeMatch(ChangeInfo& change);
  bool ChangeField(ChangeInfo& change);
  std::optional<ChangeInfo::Place> ChangePlace(std::string_view text);
  bool ChangeOption(std::string_view text, ChangeInfo::Field* field);
};

}  // namespace tonalith
