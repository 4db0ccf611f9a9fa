// A MIDI name document: an XML description of an instrument's patch names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/names/name_banks.h"

namespace tonalith {

// Writes the document piece by piece, in the order of its DTD.  The banks and texts are UTF-8.
class XMLOutput {
 public:
  // `modes`: names of the device's modes; none: one that is called "Default".
  XMLOutput(const BankSelectNames& names, std::string manufacturer, std::string model,
            std::vector<std::string> modes = {});
  explicit XMLOutput(const ZKDataList* list);

  std::string Write();

  // "Patch" (any case) as the first word becomes "Patches", other words gain an s.  Latin-1.
  static std::string MakeName(const DataFile& dataFile);

 private:
  void PrintHeader();
  void ChannelNameAssignments();
  void ChannelNameAssignment(const std::string& mode);
  void ChannelNameSets();
  void ChannelNameSet(const std::string& name);
  void AvailableForChannelsChunk();
  void PatchNameLists();
  void PatchNameList(const NameBank& bank);
  void PrintTail();

  std::vector<NameBank> banks_;
  std::string manufacturer_, model_;
  std::vector<std::string> modes_;
  std::string text_;
};

// For XML: & < > " ' as entities, control characters left out.
std::string XMLReplaceInvalidChars(std::string_view text);

}  // namespace tonalith
