#include "studio/studio_device_xml.h"

#include <algorithm>
#include <array>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "studio/device_ids.h"
#include "studio/studio_list.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

constexpr char kDeviceFolder[] = "MIDI Devices";
constexpr char kDeviceTypesDtd[] = "http://www.midi.org/dtds/MIDIDeviceTypes.dtd";
constexpr int kMixer = 0, kEffectUnit = 2, kSampler = 3, kDrumMachine = 4;
constexpr int kLastPlayableIcon = 7;

// Makers whose names are more than one word, and those of one word that are followed by another maker's first word.
constexpr const char* kMakers[] = {"Access",
                                   "Akai",
                                   "Alesis",
                                   "Allen & Heath",
                                   "Arturia",
                                   "ASM",
                                   "Behringer",
                                   "Casio",
                                   "Cheetah",
                                   "Clavia",
                                   "Dave Smith",
                                   "Dave Smith Instruments",
                                   "DigiTech",
                                   "E-mu",
                                   "E-mu Systems",
                                   "Elektron",
                                   "Ensoniq",
                                   "Eventide",
                                   "Fender",
                                   "Generalmusic",
                                   "Hammond",
                                   "Hartmann",
                                   "JoMoX",
                                   "Kawai",
                                   "Ketron",
                                   "Korg",
                                   "Kurzweil",
                                   "Lexicon",
                                   "M-Audio",
                                   "Modal",
                                   "Modal Electronics",
                                   "Moog",
                                   "Moog Music",
                                   "Mutable Instruments",
                                   "Native Instruments",
                                   "Nord",
                                   "Novation",
                                   "Oberheim",
                                   "Peavey",
                                   "Quasimidi",
                                   "Radikal Technologies",
                                   "Red Sound",
                                   "Rhodes",
                                   "Roland",
                                   "Sequential",
                                   "Sequential Circuits",
                                   "Siel",
                                   "Simmons",
                                   "Studio Electronics",
                                   "Studiologic",
                                   "TC Electronic",
                                   "Technics",
                                   "Vermona",
                                   "Waldorf",
                                   "Yamaha",
                                   "Zoom"};

struct MakeModel {
  std::string make, model;
};

MakeModel SplitName(const std::string& name) {
  std::size_t length = 0;
  for (const std::string_view maker : kMakers) {
    const bool whole = name.size() == maker.size() || (name.size() > maker.size() && name[maker.size()] == ' ');
    if (whole && maker.size() > length && AsciiStartsWithNoCase(name, maker)) length = maker.size();
  }
  if (length == 0) length = std::min(name.find(' '), name.size());
  return {name.substr(0, length), std::string(TrimmedView(std::string_view(name).substr(length)))};
}

std::string Attribute(const char* name, const std::string& value) {
  return std::string(name) + "=\"" + EscapeXml(value) + "\" ";
}
std::string Attribute(const char* name, bool value) {
  return std::string(name) + (value ? "=\"true\" " : "=\"false\" ");
}
std::string Attribute(const char* name, int value) {
  return std::string(name) + "=\"" + std::to_string(value) + "\" ";
}

template <typename Test>
bool AnyDriver(const ZKDrvList& instrument, Test test) {
  return std::any_of(instrument.drivers.begin(), instrument.drivers.end(),
                     [&](const auto& driver) { return driver->synth() && test(*driver->synth()); });
}

std::string InquiryLine(const IniFile& ini) {
  const auto byte = [&ini](const char* key) {
    const int value = ini.GetInt("Device Inquiry", key, -1);
    return static_cast<unsigned>(value < 0 ? 0 : value & 0xFF);
  };
  std::string line = Printf("\t\t<InquiryResponse Manufacturer=\"%2.2x", byte("ID1"));
  if (ini.GetInt("Device Inquiry", "IDSize", 1) == 3) line += Printf(" %2.2x %2.2x", byte("ID2"), byte("ID3"));
  return line + Printf("\" Family=\"%2.2x %2.2x\" Member=\"%2.2x %2.2x\" />\n", byte("Family1"), byte("Family2"),
                       byte("Member1"), byte("Member2"));
}

std::string BankSelects(const ZKDrvList& instrument) {
  return Attribute("ProgramChanges", true) +
         Attribute(
             "BankSelectMSB",
             AnyDriver(instrument, [](const Synth& s) { return s.bankSelectMode == 1 || s.bankSelectMode == 2; })) +
         Attribute("BankSelectLSB", AnyDriver(instrument, [](const Synth& s) {
                     return s.bankSelectMode == 1 || s.bankSelectMode == 3;
                   }));
}

std::string DeviceType(const ZKDrvList& instrument) {
  const IniFile ini(instrument.GetIniPath().string());
  const int type = ini.GetInt("Instrument", "DeviceType", 1);
  const auto flag = [&ini](const char* key) { return ini.GetInt("MIDI Device", key) != 0; };
  const MakeModel name = SplitName(instrument.name);
  std::string xml = "\t<MIDIDeviceType " + Attribute("Manufacturer", name.make) + Attribute("Model", name.model) +
                    Attribute("SupportsGeneralMIDI", flag("GM")) + Attribute("SupportsMMC", false) +
                    Attribute("CanRoute", false) + Attribute("IsSampler", type == kSampler) +
                    Attribute("IsDrumMachine", type == kDrumMachine) + Attribute("IsMixer", type == kMixer) +
                    Attribute("IsEffectUnit", type == kEffectUnit) + ">\n";
  const Synth* s = instrument.drivers.empty() ? nullptr : instrument.drivers.front()->synth();
  if (s && s->hasSysExChannel) {
    const int base = ShownDeviceId(s, 0);
    xml += "\t\t<DeviceID " + Attribute("Min", s->sysExChannelMin + base) +
           Attribute("Max", s->sysExChannelMax + base) + Attribute("Default", s->sysExChannelDefault + base) +
           Attribute("Base", base) + "/>\n";
  }
  // What it answers to a question of its maker's own has no place here.
  if (ini.GetInt("Device Inquiry", "Enable") != 0 && !ini.HasSection("Own Inquiry")) xml += InquiryLine(ini);

  const std::string clocks = Attribute("MTC", flag("MTC")) + Attribute("Clock", flag("Clock"));
  int channels = ini.GetInt("MIDI Device", "MaxChannelsIn", 1);
  if (channels == 1 && AnyDriver(instrument, [](const Synth& d) { return d.dataKind == 3 || d.dataKind == 4; }))
    channels = 16;
  xml += "\t\t<Receives " + Attribute("MaxChannels", channels) + clocks +
         Attribute("Notes", type != kMixer && type != kEffectUnit) + BankSelects(instrument) +
         Attribute("PanDisruptsStereo", false) + "/>\n";

  static constexpr std::array<int, 5> kChannelsOut = {0, 1, 0, 1, 1};
  channels = ini.GetInt("MIDI Device", "MaxChannelsOut");
  if (channels == 0 && type >= 0 && type < static_cast<int>(kChannelsOut.size()))
    channels = kChannelsOut[static_cast<std::size_t>(type)];
  xml += "\t\t<Transmits " + Attribute("MaxChannels", channels) + clocks +
         Attribute("Notes", ini.GetInt("MIDI Device", "InstrumentIcon") <= kLastPlayableIcon) +
         BankSelects(instrument) + "/>\n";
  return xml + "\t</MIDIDeviceType>\n\n";
}

}  // namespace

std::string MidiDeviceXml(const StudioList& list, const std::vector<const ZKDrvList*>& instruments) {
  std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n\n"
      "<!DOCTYPE MIDIDeviceTypes PUBLIC\n"
      "\t\t\"-//MIDI Manufacturers Association//DTD MIDIDeviceTypes 0.3//EN\"\n"
      "\t\t\"" +
      std::string(kDeviceTypesDtd) +
      "\">\n\n"
      "<MIDIDeviceTypes>\n"
      "\t<Author>Corvane Music Software</Author>\n\n";
  for (const ZKDrvList* node : instruments)
    if (const ZKDrvList* instrument = list.GetInstrumentDrvList(node)) xml += DeviceType(*instrument);
  return xml + "</MIDIDeviceTypes>\n\n";
}

Result BuildMIDIDeviceFiles(const StudioSurroundings& around, const StudioList& list, const std::string& name,
                            const std::vector<const ZKDrvList*>& instruments, std::filesystem::path* written) {
  if (written) written->clear();
  if (name.empty() || instruments.empty()) return Result::Success();
  const std::string folder = (around.paths.data / kDeviceFolder).string();
  std::string path;
  Result result = MakeFolders(folder);
  if (result.ok()) result = SafeJoin(folder, name + ".middev", path);
  if (result.ok()) result = WriteFileAtomically(path, std::string_view(MidiDeviceXml(list, instruments)));
  if (!result.ok()) {
    around.prompts.Say("Tonalith", "Error opening text file!");
    return result;
  }
  if (written) *written = path;
  return result;
}

}  // namespace tonalith
