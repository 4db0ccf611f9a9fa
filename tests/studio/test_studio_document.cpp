#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "studio/device_ids.h"
#include "studio/instrument_change.h"
#include "tests/studio/studio_fixture.h"

namespace tonalith {

namespace fs = std::filesystem;

TEST_F(StudioTest, AddingFindingAndRemovingInstruments) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  EXPECT_EQ(studio.LoadStudio(), 1);
  EXPECT_TRUE(studio.AddDrivers("Synth v2.ini") == false) << "no such name";
  EXPECT_TRUE(studio.AddDrivers("Synth .v2.ini"));
  EXPECT_TRUE(studio.AddDrivers("SYNTH.INI"));
  ASSERT_EQ(studio.instruments().size(), 3u);
  EXPECT_EQ(studio.instruments()[2]->DisplayKey(), "Synth 2");
  studio.DeleteInstrument(studio.getDrvList("Synth.ini", 0));
  EXPECT_TRUE(studio.AddDrivers("Synth.ini"));
  EXPECT_EQ(studio.instruments()[2]->instance, 0) << "the smallest number that is free";
  EXPECT_EQ(studio.FindInstrument("syn"), nullptr) << "three of them";
  EXPECT_EQ(studio.FindInstrument("synth 1")->instance, 1);
  const ZKDrvList* patch = studio.GetDriverWithID(8);
  ASSERT_NE(patch, nullptr);
  EXPECT_EQ(patch->synth()->v40Value, 3);
  EXPECT_EQ(patch->synth()->sysExChannel, 4);
  EXPECT_EQ(patch->midiChannel, 2);
  EXPECT_EQ(patch->instrument->FindDriver("pch"), patch);
  EXPECT_EQ(studio.GetDriverWithID(7)->synth()->childId, 8);
  EXPECT_EQ(studio.GetDriverWithID(7)->defaultPatch, 1);
  EXPECT_EQ(studio.instruments()[0]->midiOutPort, 1);
  EXPECT_EQ(ports_.speeds.front(), (std::pair<int, int>{1, 5000}));
  EXPECT_FALSE(studio.AddDrivers("gone.ini"));
  EXPECT_TRUE(prompts_.Log().empty());
}

TEST_F(StudioTest, ADriverFileThatIsMissingDropsTheInstrument) {
  fs::remove(paths().instruments / "Synth/patch.PV6");
  ZKStudioDoc studio(paths(), prompts_);
  EXPECT_EQ(studio.LoadStudio(), 0);
  ASSERT_GE(prompts_.Log().size(), 3u);
  const auto log = prompts_.Log();
  EXPECT_NE(log[log.size() - 3].find("Failed to load Driver\\nPath and Filename follow"), std::string::npos)
      << log[log.size() - 3];
}

TEST_F(StudioTest, NewDataNeverSharesWithTheDriver) {
  ZKStudioDoc studio(paths(), prompts_);
  studio.LoadStudio();
  const ZKDrvList* driver = studio.GetDriverWithID(7);
  const DataFilePtr first = studio.GetNewDataFile(driver);
  ASSERT_TRUE(SetPatchName(first.get(), 2, "CHANGED"));
  first->synth->numVoices = 1;
  const DataFilePtr second = studio.GetNewDataFile(driver);
  EXPECT_EQ(GetPatchName(*second, 2), "Init");
  EXPECT_EQ(+second->synth->numVoices, 4u);
  EXPECT_EQ(FieldText(second->xtra->instrumentName), "Synth");
  EXPECT_TRUE(MapBit(second->emptyMap, second->emptyMapSize, 3)) << "nothing was received yet";
  EXPECT_EQ(DFGetName(*studio.GetNewDataFile(8, "Lead")), "Lead");
  EXPECT_EQ(studio.GetNewDataFile(99), nullptr);
}

// Names that fill their field without an end, with half a character at it, or that two instruments share.
TEST_F(StudioTest, PortsStayWithInstrumentsOfOddNames) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  studio.AddDrivers("Synth.ini");
  studio.GetInstrument(0)->SetOutPort(0, "Out A");
  studio.GetInstrument(1)->SetOutPort(0, "Out B");
  for (const std::string& name : {std::string(64, 'n'), std::string(62, 'n') + "\xC3\xBC", std::string(64, '\xBF'),
                                  std::string(300, 'n'), std::string("Synth")}) {
    for (int i = 0; i < 2; ++i) {
      studio.GetInstrument(i)->name = name;
      studio.GetInstrument(i)->instance = 0;
    }
    std::vector<std::uint8_t> bytes = studio.file().WriteStudio();
    for (const std::size_t record : {0, 3})
      std::copy_n(name.begin(), std::min<std::size_t>(name.size(), 64),
                  bytes.begin() + static_cast<std::ptrdiff_t>(6 + 740 * record + 596));
    ZKStudioDoc again(paths(), prompts_, &ports_);
    std::string error;
    ASSERT_EQ(again.ReadStudio(bytes, &error), 0) << name;
    EXPECT_EQ(again.GetInstrument(0)->outPortName, "Out A") << name;
    EXPECT_EQ(again.GetInstrument(1)->outPortName, "Out B") << name;
    const std::vector<std::uint8_t> written = again.file().WriteStudio();
    ASSERT_EQ(again.ReadStudio(written, &error), 0) << name;
    EXPECT_EQ(again.file().WriteStudio(), written) << name;
  }
}

TEST_F(StudioTest, StudioFileBringsEverythingBack) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  studio.AddDrivers("Synth.ini");
  ZKDrvList* second = studio.GetInstrument(1);
  second->SetSysExChannel(9);
  second->SetMidiChannel(5);
  second->SetOutPort(0, "Out A");
  second->SetPatchBay(kPatchBayOn | kPatchBayRevert, 3, 1, 64, "Out B");
  ASSERT_EQ(studio.DrvSaveSetup(0), 0);
  std::string text;
  ASSERT_TRUE(ReadWholeFile((paths().data / "Default.txt").string(), text).ok());
  EXPECT_EQ(text, studio.TextSummary());

  // The ports changed their order: names win.
  ports_.out = {"New", "Out A"};
  ZKStudioDoc again(paths(), prompts_, &ports_);
  ASSERT_EQ(again.DrvLoadSetup(0), 0);
  ASSERT_EQ(again.instruments().size(), 2u);
  const ZKDrvList* read = again.GetInstrument(1);
  EXPECT_EQ(read->midiOutPort, 1);
  EXPECT_EQ(read->outPortName, "Out A");
  EXPECT_EQ(read->drivers[1]->synth()->sysExChannel, 9);
  EXPECT_EQ(read->drivers[1]->synth()->midiOutPort, 1);
  EXPECT_EQ(read->drivers[1]->synth()->midiChannel, 5);
  EXPECT_EQ(read->drivers[1]->synth()->v40Value, 3);
  EXPECT_EQ(read->patchBayRevertPatch, 64);
  EXPECT_EQ(again.GetInstrument(0)->midiOutPort, 1) << "a name that is gone keeps its number";
  EXPECT_EQ(again.GetInstrument(0)->outPortName, "Out B");
}

TEST_F(StudioTest, StudioFilesThatAreNotWhole) {
  ZKStudioDoc studio(paths(), prompts_);
  studio.LoadStudio();
  const std::vector<std::uint8_t> bytes = studio.file().WriteStudio();
  std::string error;
  ZKStudioDoc other(paths(), prompts_);
  for (std::size_t n = 0; n < bytes.size(); n += 97)
    other.ReadStudio({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n)}, &error);
  EXPECT_EQ(other.ReadStudio({'6', 'V', 'R', 'D', 0, 0}, &error), 3);
  EXPECT_EQ(error.substr(0, 27), "This is an old Driver List!");
  fs::remove(paths().instruments / "Synth/bank.PV6");
  fs::remove(paths().instruments / "Synth/patch.PV6");
  EXPECT_EQ(other.ReadStudio(bytes, &error), 0);
  EXPECT_TRUE(other.instruments().empty()) << "an instrument without drivers goes";
}

TEST_F(StudioTest, DefaultsOfAnInstrument) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  ZKDrvList* instrument = studio.GetInstrument(0);
  instrument->SetSysExChannel(6);
  instrument->SetMidiChannel(1);
  instrument->drivers[1]->SetMidiChannel(11);
  instrument->SetInPort(0, "In A");
  ASSERT_TRUE(studio.WriteInstrumentDefaults(instrument).ok());
  ports_.in = {"X", "Y", "in a"};
  studio.LoadStudio();
  instrument = studio.GetInstrument(0);
  EXPECT_EQ(instrument->sysExChannel, 6);
  EXPECT_EQ(instrument->drivers[0]->midiChannel, 1);
  EXPECT_EQ(instrument->drivers[1]->synth()->midiChannel, 11);
  EXPECT_EQ(instrument->midiInPort, 2);
  EXPECT_EQ(instrument->drivers[1]->synth()->midiInPort, 2);
}

TEST_F(StudioTest, AChangeGoesToEveryDriverOrNowhere) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  ZKDrvList* instrument = studio.GetInstrument(0);
  Synth* synth = instrument->drivers[1]->synth();
  InstrumentChange change;
  change.inPort = "In B";
  change.outPort = "gone";
  change.device = 5;
  change.channel = 9;
  ASSERT_TRUE(ChangeInstrument(studio, instrument, change).ok());
  EXPECT_EQ(instrument->drivers[1]->inPortName, "In B");
  EXPECT_EQ(+synth->midiInPort, 1);
  EXPECT_EQ(instrument->outPortName, "gone") << "it waits for its port";
  EXPECT_EQ(+synth->sysExChannel, 5);
  EXPECT_EQ(+synth->midiChannel, 9);
  EXPECT_EQ(ShownDeviceId(synth, 5), 6);
  synth->sysExChannelZeroBased = 1;
  EXPECT_EQ(ShownDeviceId(synth, 5), 5);
  EXPECT_EQ(KeptDeviceId(synth, 5), 5);
  change = {};
  change.channel = 3;
  change.device = 16;
  EXPECT_FALSE(ChangeInstrument(studio, instrument, change).ok());
  EXPECT_EQ(instrument->midiChannel, 9) << "nothing is changed";
}

}  // namespace tonalith
