#include "store/names/name_document.h"

#include <utility>

#include "data/data_records.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kChannels = 16;
constexpr char kDefaultMode[] = "Default";
constexpr char kHeader[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE MIDINameDocument\n"
    "\tPUBLIC \"-//MIDI Manufacturers Association//DTD MIDINameDocument 0.7//EN\"\n"
    "\t\"http://www.midi.org/dtds/MIDINameDocument10.dtd\"\n"
    "\t>\n"
    "\n"
    "<MIDINameDocument>\n"
    "\t<Author>Corvane Music Software</Author>\n"
    "\t<MasterDeviceNames>\n";

std::string ControlChange(int control, int value) {
  if (value < 0) return {};
  return "\t\t\t\t\t<ControlChange Control=\"" + std::to_string(control) + "\" Value=\"" + std::to_string(value) +
         "\" />\n";
}

}  // namespace

XMLOutput::XMLOutput(const BankSelectNames& names, std::string manufacturer, std::string model,
                     std::vector<std::string> modes)
    : banks_(names.banks()),
      manufacturer_(std::move(manufacturer)),
      model_(std::move(model)),
      modes_(std::move(modes)) {
  if (modes_.empty()) modes_.emplace_back(kDefaultMode);
}

XMLOutput::XMLOutput(const ZKDataList* list) {
  BankSelectNames names;
  names.AddList(list);
  banks_ = names.banks();
  if (list && list->dataFile && list->dataFile->synth)
    GetManufacturerAndModel(*list->dataFile, &manufacturer_, &model_);
  modes_.emplace_back(kDefaultMode);
}

std::string XMLOutput::Write() {
  text_.clear();
  PrintHeader();
  ChannelNameAssignments();
  ChannelNameSets();
  PatchNameLists();
  PrintTail();
  return text_;
}

std::string XMLOutput::MakeName(const DataFile& dataFile) {
  const std::string type = FieldText(dataFile.synth->typeName);
  const std::string_view trimmed = TrimmedView(type);
  const std::string word(trimmed.substr(0, trimmed.find(' ')));
  return word + (AsciiEqualNoCase(word, "Patch") ? "es" : "s");
}

void XMLOutput::PrintHeader() {
  text_ += kHeader;
  text_ += "\t\t<Manufacturer>" + XMLReplaceInvalidChars(manufacturer_) + "</Manufacturer>\n";
  text_ += "\t\t<Model>" + XMLReplaceInvalidChars(model_) + "</Model>\n";
}

void XMLOutput::ChannelNameAssignments() {
  for (const std::string& mode : modes_) ChannelNameAssignment(mode);
}

void XMLOutput::ChannelNameAssignment(const std::string& mode) {
  const std::string name = XMLReplaceInvalidChars(mode);
  text_ += "\t\t<CustomDeviceMode Name=\"" + name + " Mode\">\n\t\t\t<ChannelNameSetAssignments>\n";
  for (int channel = 1; channel <= kChannels; ++channel)
    text_ += "\t\t\t\t<ChannelNameSetAssign Channel=\"" + std::to_string(channel) + "\" NameSet=\"" + name + "\" />\n";
  text_ += "\t\t\t</ChannelNameSetAssignments>\n\t\t</CustomDeviceMode>\n\n";
}

void XMLOutput::ChannelNameSets() {
  for (const std::string& mode : modes_) ChannelNameSet(mode);
}

void XMLOutput::ChannelNameSet(const std::string& name) {
  text_ += "\t\t<ChannelNameSet Name=\"" + XMLReplaceInvalidChars(name) + "\">\n";
  AvailableForChannelsChunk();
  for (const NameBank& bank : banks_) {
    const std::string bankName = XMLReplaceInvalidChars(bank.name);
    text_ += "\t\t\t<PatchBank Name=\"" + bankName + "\">\n";
    if (bank.msb >= 0 || bank.lsb >= 0)
      text_ += "\t\t\t\t<MIDICommands>\n" + ControlChange(0, bank.msb) + ControlChange(32, bank.lsb) +
               "\t\t\t\t</MIDICommands>\n";
    text_ += "\t\t\t\t<UsesPatchNameList Name=\"" + bankName + "\" />\n\t\t\t</PatchBank>\n";
  }
  text_ += "\t\t</ChannelNameSet>\n\n";
}

void XMLOutput::AvailableForChannelsChunk() {
  text_ += "\t\t\t<AvailableForChannels>\n";
  for (int channel = 1; channel <= kChannels; ++channel)
    text_ += "\t\t\t\t<AvailableChannel Channel=\"" + std::to_string(channel) + "\" Available=\"true\" />\n";
  text_ += "\t\t\t</AvailableForChannels>\n\n";
}

void XMLOutput::PatchNameLists() {
  for (const NameBank& bank : banks_) PatchNameList(bank);
}

void XMLOutput::PatchNameList(const NameBank& bank) {
  text_ += "\t\t<PatchNameList Name=\"" + XMLReplaceInvalidChars(bank.name) + "\">\n";
  for (const NamedPatch& patch : bank.patches)
    text_ += "\t\t\t<Patch Number=\"" + XMLReplaceInvalidChars(patch.number) + "\" Name=\"" +
             XMLReplaceInvalidChars(patch.name) + "\" ProgramChange=\"" + std::to_string(patch.program) + "\" />\n";
  text_ += "\t\t</PatchNameList>\n\n";
}

void XMLOutput::PrintTail() {
  text_ += "\t</MasterDeviceNames>\n</MIDINameDocument>\n\n";
}

std::string XMLReplaceInvalidChars(std::string_view text) {
  return EscapeXml(text);
}

}  // namespace tonalith
