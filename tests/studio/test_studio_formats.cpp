#include <sstream>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "services/settings.h"
#include "services/window_counters.h"
#include "tests/studio/studio_fixture.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

// Bytes of a studio file, put together from the layout of the records.
class ByteText {
 public:
  ByteText& Text(const std::string& text) {
    bytes_ += text;
    return *this;
  }
  ByteText& Le(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) bytes_ += static_cast<char>(value >> (8 * i) & 0xFF);
    return *this;
  }
  ByteText& Short(const std::string& text) { return Le(text.size(), 1).Text(text); }
  // A record of zeros with these pieces in it.
  ByteText& Record(const std::vector<std::pair<std::size_t, std::string>>& pieces) {
    std::string record(740, '\0');
    for (const auto& [at, piece] : pieces) record.replace(at, piece.size(), piece);
    EXPECT_EQ(record.size(), 740u);
    bytes_ += record;
    return *this;
  }
  const std::string& text() const { return bytes_; }

 private:
  std::string bytes_;
};

std::string B(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

std::string AsText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

class StudioFormats : public StudioTest {
 protected:
  StudioFormats() {
    IniFile ini(Module().string());
    const std::pair<const char*, const char*> keys[] = {
        {"Group0", "Sets\\First.PVS"}, {"Group0.1", "1"},          {"Bitmap", "synth.png"},
        {"InstrumentIcon", "9"},       {"AUCode", "SYN1"},         {"Pch1", "0"},
        {"DeviceType", "3"},           {"MultiTimbralDevice", "1"}};
    for (const auto& [key, value] : keys) ini.Set("Instrument", key, value);
    EXPECT_TRUE(ini.Save().ok());
  }
  fs::path Module() const { return paths().instruments / "Synth.ini"; }
  void ModuleKey(const char* section, const char* key, const char* value) const {
    EXPECT_TRUE(WritePrivateProfileString(section, key, value, Module().string()).ok());
  }
  // Two copies; the second with settings of its own.
  void Fill(ZKStudioDoc* studio) {
    studio->LoadStudio();
    studio->AddDrivers("Synth.ini");
    studio->GetInstrument(0)->SetPatchBay(0, 0, 0, 0, "Out A");
    ZKDrvList* second = studio->GetInstrument(1);
    second->SetSysExChannel(9);
    second->SetMidiChannel(5);
    second->drivers[1]->SetMidiChannel(11);
    second->SetOutPort(0, "Out A");
    second->SetPatchBay(kPatchBayOn | kPatchBayRevert, 3, 1, 64, "Out B");
    second->SetPatchBayController(20);
  }
};

TEST_F(StudioFormats, StudioFileByteForByte) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  Fill(&studio);
  const std::string folder = (paths().instruments / "Synth").string();
  using Pieces = std::vector<std::pair<std::size_t, std::string>>;
  const Pieces instrument = {{4, B({1})},        {24, "Sets\\First.PVS"}, {280, "synth.png"}, {555, B({9})},
                             {556, "Synth.ini"}, {596, "Synth"},          {661, "SYN1"},      {669, B({1})}};
  const Pieces driver = {{24, folder}, {555, B({9})}, {556, "Synth.ini"}};
  const auto with = [](Pieces pieces, const Pieces& more) {
    pieces.insert(pieces.end(), more.begin(), more.end());
    return pieces;
  };
  ByteText expected;
  expected.Text("9VRD").Le(6, 2);
  expected.Record(with(instrument, {{13, B({0, 0, 1, 1})}}));
  expected.Record(with(driver, {{13, B({0, 0, 1, 1})}, {18, B({1})}, {280, "bank.PV6"}}));
  expected.Record(with(driver, {{13, B({4, 2, 1, 1})}, {22, B({1, 1})}, {280, "patch.PV6"}, {542, B({3})}}));
  const Pieces second = {{548, B({5, 3, 1, 64})}, {660, B({1})}, {20, B({20})}};
  expected.Record(with(with(instrument, second), {{13, B({9, 5, 1, 0})}}));
  expected.Record(with(with(driver, second), {{13, B({9, 5, 1, 0})}, {18, B({1})}, {280, "bank.PV6"}}));
  expected.Record(
      with(with(driver, second), {{13, B({9, 11, 1, 0})}, {22, B({1, 1})}, {280, "patch.PV6"}, {542, B({3})}}));
  expected.Text("EXP1").Le(2, 4);
  expected.Text("EXPD").Le(1 + 5 + 1 + 1 + 4 + 1 + 5 + 1 + 5, 4);
  expected.Short("Synth").Le(0, 1).Short("In B").Short("Out B").Short("Out A");
  expected.Text("EXPD").Le(1 + 5 + 1 + 1 + 4 + 1 + 5 + 1 + 5, 4);
  expected.Short("Synth").Le(1, 1).Short("In B").Short("Out A").Short("Out B");
  const std::string bytes = AsText(studio.file().WriteStudio());
  ASSERT_EQ(bytes.size(), expected.text().size());
  for (std::size_t i = 0; i < bytes.size(); ++i)
    ASSERT_EQ(+static_cast<std::uint8_t>(bytes[i]), +static_cast<std::uint8_t>(expected.text()[i]))
        << "record " << (i - 6) / 740 << " offset " << (i - 6) % 740;

  // Reading it gives the same studio, up to the descriptors.
  ZKStudioDoc again(paths(), prompts_, &ports_);
  std::string error;
  ASSERT_EQ(again.ReadStudio({bytes.begin(), bytes.end()}, &error), 0);
  EXPECT_TRUE(AsText(again.file().WriteStudio()) == bytes);
  const ZKDrvList& patch = *again.GetInstrument(1)->drivers[1];
  const Synth& s = *patch.synth();
  EXPECT_EQ(s.midiChannel, 11);
  EXPECT_EQ(s.sysExChannel, 9);
  EXPECT_EQ(s.patchBayPatch, 20);
  EXPECT_EQ(s.patchBayRevertPatch, 64);
  EXPECT_EQ(s.midiInPort, 1);
  EXPECT_EQ(s.imageIndex, 9);
  EXPECT_EQ(s.v40Value, 3);
  const ZKDrvParmSync sync = patch.GetZKDrvParmSync();
  EXPECT_EQ(sync.displayName + "/" + sync.outPortName + "/" + sync.patchBayPortName, "Synth 1/Out A/Out B");
  EXPECT_EQ(sync.driverId, 8);
  EXPECT_EQ(sync.end, -1);
}

TEST_F(StudioFormats, TextSummaryByteForByte) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  Fill(&studio);
  studio.GetInstrument(0)->SetInPort(0, "");
  studio.GetInstrument(0)->drivers[0]->synth()->sysExChannelZeroBased = 1;
  EXPECT_EQ(studio.TextSummary(),
            "Synth\n\tMIDI IN Port: unassigned\n\tMIDI OUT Port: Out B\n\tSysEx Channel: 0\n\tMIDI Channel: 1\n\n\n"
            "Synth\n\tMIDI IN Port: In B\n\tMIDI OUT Port: Out A\n\tSysEx Channel: 10\n\tMIDI Channel: 6\n"
            "\tPatch Bay Mode: enabled\n\tPatch Bay Port: Out B\n\tPatch Bay MIDI Channel: 4\n\tPatch Bay Cntrl #: 20\n"
            "\tPatch Bay Manual: Off\n\tPatch Bay Revert: On\n\tPatch Bay Revert to: 64\n\n\n");
  Settings settings;
  settings.PatchBayMode(0);
  studio.SetSettings(&settings);
  EXPECT_EQ(studio.TextSummary().find("Patch Bay"), std::string::npos);
}

TEST_F(StudioFormats, ReportByteForByte) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  Fill(&studio);
  ports_.in = {"In A"};
  Settings settings;
  settings.MainRandom(25);
  settings.MainAutoDefinePatchesAndBanks(2);
  settings.MainAutoLoadTempElements(1);
  settings.MainDelay(15);
  studio.SetSettings(&settings);
  studio.GetInstrument(1)->drivers[0]->synth()->reserved252 = 1;
  StudioReportFacts facts;
  facts.programPath = "/opt/p";
  facts.kernel[0] = 6, facts.kernel[1] = 1, facts.kernel[2] = 9;
  WindowCounters windows;
  windows.Count(WindowType::Sequencer);
  windows.Count(WindowType::Tips);  // not in the report
  facts.windows = &windows;
  std::ostringstream out;
  studio.SetupInformation(out, facts);
  const std::string rule(77, '-');
  const std::string expected =
      "Studio Configuration\n====================\n\nGlobal\n------\n\nPlatform: Linux\nLinux Version: 6.1.9\n"
      "Program Path: /opt/p\nInstrument Path: " +
      paths().instruments.string() + "\nData Path: " + paths().data.string() +
      "\nGlobal Patch Bay Support: Enabled\n\n\n"
      "MIDI IN Ports\n-------------\n\n0: In A\n\n\nMIDI OUT Ports\n--------------\n\n0: Out A\n1: Out B\n\n\n"
      "Installed Instruments\n---------------------\n\nNumber of installed instrument modules: 1\nSynth.ini\n\n\n"
      "Loaded Instruments\n------------------\n\nSynth\nSynth 1\n\n\n"
      "Loaded Instrument Setup\n-----------------------\n\n"
      "Instrument: Synth\n  Instrument #: 0\n  SysEx channel: 0\n  MIDI channel: 1\n  MIDI IN port #: 1\n"
      "  MIDI IN port name using number: WARNING! No port for MIDI IN port #1\n  Port In name (CString): In B\n"
      "  MIDI OUT port #: 1\n  MIDI OUT port name using number: Out B\n  Port Out name (CString): Out B\n"
      "  Patch Bay Support: Disabled\n\n\n" +
      rule +
      "\n"
      "Instrument: Synth\n  Instrument #: 1\n  SysEx channel: 9\n  MIDI channel: 6\n  MIDI IN port #: 1\n"
      "  MIDI IN port name using number: WARNING! No port for MIDI IN port #1\n  Port In name (CString): In B\n"
      "  MIDI OUT port #: 0\n  MIDI OUT port name using number: Out A\n  Port Out name (CString): Out A\n"
      "  Patch Bay Support: Enabled\n    Patch Bay Manual: No\n    Patch Bay Port #: 1\n"
      "    Patch Bay Port name: Out B\n    Patch Bay MIDI Channel: 3\n    Patch Bay Cntrl # (Patch change): 20\n"
      "    Patch Bay Revert to Patch: Yes\n    Patch Bay Revert to Patch # (Patch change): 64\n\n\n"
      "  Bank Custom value: 1\n" +
      rule +
      "\n"
      "Preferences (Partial Listing, raw values)\n-----------------------------------------\n\n"
      "Editor: Update Patch on Activate: On\nEditor: Randomize: 25\nEditor: Window Scaling: 0\n"
      "Editor: Smart Controller: 0\nEditor: Store In: Off\nBank: Use Parent/Child Relations: On\n"
      "Bank: Edit Patch using Patch Number: Off\nSet: Synchronization: On\nStudio: Auto Load Sets: Off\n"
      "Studio: Auto Sense when adding Instruments: Off\n"
      "Studio: Receive manual bulk dumps and create new SysEx: Off\nStudio: Add ROM Banks to New Sets: Off\n"
      "Studio: Auto Define: Auto\nStudio: New Set Elements: Auto with Smart Port\nMIDI: MIDI Thru: Off\n"
      "MIDI: Delay between SysEx transmissions: 15ms\nMIDI: Delay SysEx (delay every n bytes): 0\n"
      "MIDI: Slow SysEx (ms per SysEx delay): 0\nMisc: Auto Reload Session: On\n"
      "Stats\n-----\nPatch Editor windows created: 0\nBank Editor windows created: 0\nSet windows created: 0\n"
      "Collection windows create: 0\nMonitor windows created: 0\nPatch Zone windows created: 0\n"
      "OSC Editor windows created: 0\nRemote windows created: 0\nMIDI Controller windows created: 0\n"
      "Graphic Monitor windows created: 0\nSequencer windows created: 1\nFile Conversion windows created: 0\n"
      "Instrument Creator windows created: 0\n\n\n";
  EXPECT_EQ(out.str(), expected);
}

TEST_F(StudioFormats, ListingByteForByte) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  Fill(&studio);
  CopyText(studio.GetInstrument(0)->drivers[0]->synth()->shortName, "A maker's name!");
  CopyText(studio.GetInstrument(0)->drivers[0]->synth()->typeName, "A model of 25 characters!");
  const StudioListingPage lines = {"STUDIO LISTING",
                                   "--------------",
                                   "Filename: Default.PV9",
                                   "Path: " + paths().data.string(),
                                   "Make            Model                    CommCh MidiCh Port Patch Cntrl",
                                   "-----------------------------------------------------------------------",
                                   "Sets\\First.PVS",
                                   "A maker's name! A model of 25 characters!     1      1  2 2     1     0",
                                   "Synth           Patch                         5      3  2 2     0     0",
                                   "Sets\\First.PVS",
                                   "Synth           Bank                         10      6  2 1     1    20",
                                   "Synth           Patch                        10     12  2 1     0    20"};
  const auto one = studio.DrvPrint();
  ASSERT_EQ(one.size(), 1u);
  EXPECT_EQ(one[0], lines);
  const auto pages = studio.DrvPrint(8);
  ASSERT_EQ(pages.size(), 3u) << "five lines a page";
  EXPECT_EQ(pages[1].front(), lines[5]);
  EXPECT_EQ(studio.DrvPrint(0).size(), lines.size());
}

TEST_F(StudioFormats, DeviceXmlByteForByte) {
  ModuleKey("Instrument", "Name", "Dave Smith Instruments \"X & <Y>\"");
  for (const char* key : {"Clock", "GM"}) ModuleKey("MIDI Device", key, "1");
  ModuleKey("MIDI Device", "InstrumentIcon", "8");
  const std::pair<const char*, const char*> inquiry[] = {{"Enable", "1"},   {"IDSize", "3"},   {"ID1", "0"},
                                                         {"ID2", "0x20"},   {"ID3", "51"},     {"Family1", "1"},
                                                         {"Family2", "-1"}, {"Member1", "127"}};
  for (const auto& [key, value] : inquiry) ModuleKey("Device Inquiry", key, value);
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  studio.GetInstrument(0)->drivers[1]->synth()->bankSelectMode = 3;
  studio.GetInstrument(0)->drivers[1]->synth()->dataKind = 4;
  const std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n\n<!DOCTYPE MIDIDeviceTypes PUBLIC\n"
      "\t\t\"-//MIDI Manufacturers Association//DTD MIDIDeviceTypes 0.3//EN\"\n"
      "\t\t\"http://www.midi.org/dtds/MIDIDeviceTypes.dtd\">\n\n<MIDIDeviceTypes>\n"
      "\t<Author>Corvane Music Software</Author>\n\n"
      "\t<MIDIDeviceType Manufacturer=\"Dave Smith Instruments\" Model=\"&quot;X &amp; &lt;Y&gt;&quot;\" "
      "SupportsGeneralMIDI=\"true\" SupportsMMC=\"false\" CanRoute=\"false\" IsSampler=\"true\" "
      "IsDrumMachine=\"false\" IsMixer=\"false\" IsEffectUnit=\"false\" >\n"
      "\t\t<DeviceID Min=\"1\" Max=\"16\" Default=\"1\" Base=\"1\" />\n"
      "\t\t<InquiryResponse Manufacturer=\"00 20 33\" Family=\"01 00\" Member=\"7f 00\" />\n"
      "\t\t<Receives MaxChannels=\"16\" MTC=\"false\" Clock=\"true\" Notes=\"true\" ProgramChanges=\"true\" "
      "BankSelectMSB=\"false\" BankSelectLSB=\"true\" PanDisruptsStereo=\"false\" />\n"
      "\t\t<Transmits MaxChannels=\"1\" MTC=\"false\" Clock=\"true\" Notes=\"false\" ProgramChanges=\"true\" "
      "BankSelectMSB=\"false\" BankSelectLSB=\"true\" />\n"
      "\t</MIDIDeviceType>\n\n</MIDIDeviceTypes>\n\n";
  const std::vector<const ZKDrvList*> all{studio.GetInstrument(0)};
  EXPECT_EQ(studio.MidiDeviceXml(all), xml);
  fs::path written;
  ASSERT_TRUE(studio.BuildMIDIDeviceFiles("Mine", all, &written).ok());
  EXPECT_EQ(written, paths().data / "MIDI Devices/Mine.middev");
  std::string text;
  ASSERT_TRUE(ReadWholeFile(written.string(), text).ok());
  EXPECT_EQ(text, xml);
  EXPECT_TRUE(studio.BuildMIDIDeviceFiles("", all, &written).ok());
  EXPECT_TRUE(written.empty());
  EXPECT_FALSE(studio.BuildMIDIDeviceFiles("../out", all).ok());
  ASSERT_FALSE(prompts_.Log().empty());
  EXPECT_NE(prompts_.Log().back().find("Error opening text file!"), std::string::npos);
}

TEST_F(StudioFormats, MapsThatAreMissingAndPluginSettings) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  Fill(&studio);
  for (const auto& driver : studio.GetInstrument(0)->drivers) {
    driver->synth()->dumpRequestSize = 5;
    driver->synth()->reserved296 = 0;
  }
  ASSERT_TRUE(
      WriteFileAtomically((paths().instruments / "Synth/SysXMap.ID8.bin").string(), std::string_view("x")).ok());
  EXPECT_EQ(studio.reports().DriversMissingDescriptor([](const fs::path&) { return 0; }),
            "ID7: Synth (Bank) Synth.ini -> no SysXMap.ID7.bin file.\r\n"
            "ID8: Synth (Patch) Synth.ini -> SysXMap.ID8.bin file exists but no entries\r\n");
  ModuleKey("Instrument", "Beta", "1");
  EXPECT_EQ(studio.reports().DriversMissingDescriptor([](const fs::path&) { return 0; }), "");

  const DataFilePtr data = studio.GetNewDataFile(studio.GetInstrument(1)->drivers[1].get());
  ASSERT_TRUE(studio.WritePluginSettings(data.get()).ok());
  std::string text;
  const std::string file = (paths().data / "Plugins/Plugins.ini").string();
  ASSERT_TRUE(ReadWholeFile(file, text).ok());
  EXPECT_EQ(text, "[Synth 1]\nPortIn=1\nPortInName=In B\nPortOut=0\nPortOutName=Out A\nCommCh=9\nMidiCh=11\n");
  ASSERT_TRUE(WritePrivateProfileString("Synth 1", "Set", "first", file).ok());
  ModuleKey("Instrument", "NumGroups", "2");
  const PluginSettings read = studio.ReadPluginSettings(studio.GetInstrument(1));
  EXPECT_EQ(read.outPortName, "Out A");
  EXPECT_EQ(read.midiChannel, 11);
  EXPECT_FALSE(read.saved);
  EXPECT_EQ(read.setFile, "Sets\\First.PVS");
  EXPECT_EQ(studio.ReadPluginDefaults("Synth", 7).inPort, -1);
}

TEST_F(StudioFormats, DefaultsFileByteForByte) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  Fill(&studio);
  ASSERT_TRUE(studio.InstrumentChanged(studio.GetInstrument(1)).ok());
  std::string text;
  ASSERT_TRUE(ReadWholeFile((paths().preferences / "InstrumentDefaults.v13.ini").string(), text).ok());
  EXPECT_EQ(
      text,
      "[Synth 1]\nSaved=1\nSysEx Ch=9\nMidi Ch=5\nMidi Ch ID7=5\nMidi Ch ID8=11\nMidi In Port=1\nMidi Out Port=0\n"
      "Midi In Port Str=In B\nMidi Out Port Str=Out A\n");
}

}  // namespace

}  // namespace tonalith
