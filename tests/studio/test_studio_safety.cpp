#include <functional>

#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "services/settings.h"
#include "studio/module_install.h"
#include "studio/module_version.h"
#include "studio/studio_generations.h"
#include "tests/studio/studio_fixture.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

class StudioSafety : public StudioTest {
 protected:
  fs::path Default() const { return paths().data / kStudioFileName; }
  static std::vector<std::uint8_t> Read(const fs::path& path) {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(ReadWholeFile(path.string(), bytes).ok()) << path;
    return bytes;
  }
  static void Write(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
    EXPECT_TRUE(WriteFileAtomically(path.string(), std::span<const std::uint8_t>(bytes)).ok());
  }
  // A studio of two instruments, saved twice, so that there is a former file.
  std::vector<std::uint8_t> SaveTwice() {
    ZKStudioDoc studio(paths(), prompts_, &ports_);
    studio.LoadStudio();
    studio.DrvSaveSetup(0);
    studio.AddDrivers(studio.InstalledModules().front());
    studio.GetInstrument(1)->SetMidiChannel(7);
    studio.UpdatePortReferences();
    EXPECT_EQ(studio.DrvSaveSetup(0), 0);
    return Read(Default());
  }
};

// Notes which boxes offered "don't show again", and takes the offer at the first.
class CountingPrompts final : public Prompts {
 public:
  PromptAnswer Message(const MessagePrompt& prompt) override {
    texts.push_back(prompt.text);
    offers += prompt.checked != nullptr;
    if (prompt.checked) *prompt.checked = true;
    return PromptAnswer::Ok;
  }
  std::string File(const FilePrompt&) override { return {}; }
  bool Text(const TextPrompt&, std::string&) override { return false; }
  std::vector<std::string> texts;
  int offers = 0;
};

}  // namespace

TEST_F(StudioSafety, TheFormerFileIsKept) {
  const std::vector<std::uint8_t> good = SaveTwice();
  const fs::path former = Default().string() + "~";
  EXPECT_EQ(Read(former).size(), 6 + 3 * 740 + 8 + Read(former)[6 + 3 * 740 + 12] + 8u);
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  ASSERT_EQ(studio.DrvLoadSetup(0), 0);
  ASSERT_EQ(studio.DrvSaveSetup(0), 0);
  const auto kept = Read(former);
  EXPECT_NE(kept, good) << "saving the same again keeps the former file";
  studio.SetHosted(true);
  studio.DeleteAllDrivers();
  ASSERT_EQ(studio.DrvSaveSetup(0), 0);
  EXPECT_EQ(Read(Default()).size(), good.size()) << "a host's program does not write";
}

TEST_F(StudioSafety, DamagedFilesCostNothing) {
  const std::vector<std::uint8_t> good = SaveTwice();
  const auto cut = [&](std::size_t n) {
    return std::vector<std::uint8_t>(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n));
  };
  const auto count = [&](int n) {
    auto bytes = good;
    StoreLe16(bytes.data() + 4, static_cast<std::uint16_t>(n));
    return bytes;
  };
  const struct {
    const char* what;
    std::vector<std::uint8_t> bytes;
    std::size_t instruments;
  } cases[] = {{"cut in a record", cut(6 + 740 * 4 + 9), 1},
               {"cut in the port names", cut(good.size() - 3), 2},
               {"cut behind the magic, made from the folder", cut(5), 1},
               {"count too large", count(7), 2},
               {"count too small", count(3), 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Write(Default(), c.bytes);
    const auto former = Read(Default().string() + "~");
    ScriptedPrompts no({"no"});
    ZKStudioDoc studio(paths(), no, &ports_);
    EXPECT_EQ(studio.DrvLoadSetup(0), 2);
    EXPECT_EQ(studio.instruments().size(), c.instruments);
    EXPECT_TRUE(Read(Default().string() + ".broken") == c.bytes);
    studio.AddDrivers("Synth.ini");
    studio.DrvSaveSetup(0);
    studio.AddDrivers("Synth.ini");
    studio.DrvSaveSetup(0);
    EXPECT_TRUE(Read(paths().data / kKeptStudioFile) == former) << "whatever is saved later";

    Write(Default(), c.bytes);
    Write(Default().string() + "~", good);
    ScriptedPrompts yes({"yes"});
    ZKStudioDoc recovered(paths(), yes, &ports_);
    EXPECT_EQ(recovered.DrvLoadSetup(0), 0);
    ASSERT_EQ(recovered.instruments().size(), 2u) << "the former file was used";
    EXPECT_EQ(recovered.GetInstrument(1)->midiChannel, 7);
    EXPECT_TRUE(Read(Default()) == good) << "and is the studio again";
    fs::remove(Default().string() + ".broken");
    fs::remove(Default().string() + ".broken2");
  }
}

TEST_F(StudioSafety, TheFormerStudioIsOfferedWhenTheFileCannotBeRead) {
  const std::vector<std::uint8_t> good = SaveTwice();
  const struct {
    const char* what;
    const char* sentence;
    std::function<void()> make;
  } cases[] = {{"empty", "is empty", [&] { Write(Default(), {}); }},
               {"foreign", "",
                [&] {
                  Write(Default(), {'R', 'I', 'F', 'F', 1, 2, 3, 4});
                }},
               {"a folder", "Default.PV9", [&] { fs::create_directory(Default()); }}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const bool use : {false, true}) {
      Write(Default().string() + "~", good);
      fs::remove_all(Default());
      fs::remove(paths().data / kKeptStudioFile);
      c.make();
      ScriptedPrompts prompts({use ? "yes" : "no"});
      ZKStudioDoc studio(paths(), prompts, &ports_);
      EXPECT_EQ(studio.DrvLoadSetup(0), 0);
      ASSERT_GE(prompts.Log().size(), 1U);
      EXPECT_NE(prompts.Log()[0].find("Use the studio as it was saved before"), std::string::npos);
      EXPECT_NE(prompts.Log()[0].find(c.sentence), std::string::npos);
      EXPECT_EQ(studio.instruments().size(), use ? 2U : 1U);
      if (use) {
        EXPECT_TRUE(Read(Default()) == good) << "it is the studio again";
      } else {
        EXPECT_TRUE(Read(paths().data / kKeptStudioFile) == good) << "whatever is saved later";
      }
    }
  }
  fs::remove_all(Default());
  fs::remove(Default().string() + "~");
  Write(Default(), {});
  ScriptedPrompts told({"ok"});
  ZKStudioDoc studio(paths(), told, &ports_);
  EXPECT_EQ(studio.DrvLoadSetup(0), 0);
  EXPECT_EQ(studio.instruments().size(), 1U) << "made from the instrument folder";
}

TEST_F(StudioSafety, FiveGenerationsAreKeptAndTheNewestThatReadsIsOffered) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  std::vector<std::vector<std::uint8_t>> saved;
  for (int channel = 1; channel <= 8; ++channel) {
    studio.GetInstrument(0)->SetMidiChannel(static_cast<std::uint8_t>(channel));
    for (int again = 0; again < 2; ++again) ASSERT_EQ(studio.DrvSaveSetup(0), 0);
    saved.push_back(Read(Default()));
  }
  const auto there = [this](int generation) { return fs::exists(StudioGeneration(Default(), generation)); };
  for (int n = 1; n <= kStudioGenerations; ++n)
    EXPECT_TRUE(Read(StudioGeneration(Default(), n)) == saved[7 - static_cast<std::size_t>(n)]) << n;
  EXPECT_FALSE(there(6));
  EXPECT_EQ(StudioGeneration(Default(), 1), Default().string() + "~");

  // What a crash between two steps leaves: a number is missing, and it is filled before an older one goes.
  fs::remove(StudioGeneration(Default(), 3));
  ASSERT_TRUE(KeepStudioGeneration(Default(), saved[0]).ok());
  EXPECT_TRUE(Read(StudioGeneration(Default(), 3)) == saved[5]);
  EXPECT_TRUE(Read(StudioGeneration(Default(), 5)) == saved[2]) << "the oldest stays";
  ASSERT_TRUE(KeepStudioGeneration(Default(), saved[0]).ok());
  EXPECT_TRUE(Read(StudioGeneration(Default(), 2)) == saved[6]) << "the same again changes nothing";

  // Damaged, missing, damaged: the fourth is offered.
  Write(StudioGeneration(Default(), 1), {'9', 'V', 'R', 'D', 9});
  fs::remove(StudioGeneration(Default(), 2));
  Write(StudioGeneration(Default(), 3), {});
  Write(Default(), {1, 2, 3});
  ScriptedPrompts yes({"yes"});
  ZKStudioDoc recovered(paths(), yes, &ports_);
  EXPECT_EQ(recovered.DrvLoadSetup(0), 0);
  ASSERT_EQ(yes.Log().size(), 1U);
  EXPECT_NE(yes.Log()[0].find("saved before that (Default.PV9~4) instead?"), std::string::npos) << yes.Log()[0];
  EXPECT_EQ(recovered.GetInstrument(0)->midiChannel, 4);
}

TEST_F(StudioSafety, EmptyAndForeignFiles) {
  const std::vector<std::uint8_t> good = SaveTwice();
  auto negative = good;
  StoreLe16(negative.data() + 4, 0x8000);
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  std::string error;
  EXPECT_EQ(studio.ReadStudio(negative, &error), 2) << "records are left over";
  EXPECT_TRUE(studio.instruments().empty());
  Write(Default(), {'9', 'V', 'R', 'D', 0, 0});
  EXPECT_EQ(studio.DrvLoadSetup(0), 0);
  EXPECT_TRUE(studio.instruments().empty()) << "the user wants none";
  fs::remove(Default());
  EXPECT_EQ(studio.DrvLoadSetup(0), 0);
  EXPECT_EQ(studio.instruments().size(), 1u) << "made from the instrument folder";
  Write(Default(), {'9', 'V', 'R', 'D', 0, 0});
  const fs::path other = root_ / "other.PV9";
  Write(other, {'N', 'V', 'R', 'D', 0, 0});
  EXPECT_EQ(studio.DrvLoadSetup(0, root_, "other.PV9"), 3);
  EXPECT_EQ(studio.instruments().size(), 1u) << "the studio stays";
  EXPECT_TRUE(fs::exists(other)) << "a file the user chose is left alone";
  EXPECT_EQ(studio.studioFile(), Default());
  EXPECT_EQ(studio.DrvLoadSetup(0, root_ / "gone", "x.PV9"), 5);
  EXPECT_NE(prompts_.Log().back().find("Error Setting Path to " + (root_ / "gone").string() + "!"), std::string::npos);
  Write(other, good);
  EXPECT_EQ(studio.DrvLoadSetup(0, root_, "other.PV9"), 0);
  EXPECT_EQ(studio.instruments().size(), 2u);
  EXPECT_EQ(studio.studioFile(), other);
  ScriptedPrompts answers({"cancel", "no", "yes"});
  ZKStudioDoc asking(paths(), answers, &ports_);
  EXPECT_EQ(asking.DrvSaveSetup(2), 9);
  EXPECT_EQ(asking.DrvSaveSetup(2), 0);
  EXPECT_EQ(Read(Default()).size(), 6u) << "not saved";
  EXPECT_EQ(asking.DrvSaveSetup(2), 0);
  EXPECT_GT(Read(Default()).size(), 6u);
}

TEST_F(StudioSafety, MovedFoldersAndLongNames) {
  const std::string longName = "A synthesizer whose module has a very long name.ini";
  fs::rename(paths().instruments / "Synth.ini", paths().instruments / longName);
  SaveTwice();
  const fs::path moved = root_.string() + "-moved";
  fs::remove_all(moved);
  fs::rename(root_, moved);
  const StudioPaths there{moved / "Instruments", moved / "Data", moved / "Preferences", moved / "ZK.ini"};
  ZKStudioDoc studio(there, prompts_, &ports_);
  EXPECT_EQ(studio.DrvLoadSetup(0), 0);
  ASSERT_EQ(studio.instruments().size(), 2u);
  EXPECT_EQ(studio.GetInstrument(1)->midiChannel, 7);
  EXPECT_EQ(studio.GetInstrument(1)->moduleFile, longName);
  EXPECT_EQ(studio.GetInstrument(1)->drivers[0]->path, (moved / "Instruments/Synth").string());

  // The modules are out of reach for one start: what is saved then does not cost the studio.
  const auto whole = Read(moved / "Data" / kStudioFileName);
  fs::rename(moved / "Instruments", moved / "Away");
  ZKStudioDoc without(there, prompts_, &ports_);
  EXPECT_EQ(without.DrvLoadSetup(0), 0);
  EXPECT_TRUE(without.instruments().empty());
  without.DrvSaveSetup(0);
  without.DrvSaveSetup(0);
  EXPECT_TRUE(Read(moved / "Data" / kKeptStudioFile) == whole);
  EXPECT_TRUE(prompts_.Log().empty()) << "missing drivers are dropped silently";
  fs::remove_all(moved);
}

TEST_F(StudioSafety, ManyBrokenModulesDoNotHoldTheUser) {
  for (int i = 0; i < 20; ++i)
    ASSERT_TRUE(
        WritePrivateProfileString("Instrument", "Name", "X", (paths().instruments / Printf("Bad %02d.ini", i)).string())
            .ok());
  ASSERT_TRUE(
      WritePrivateProfileString("Instrument", "NumDrivers", "999999999", (paths().instruments / "Bad 01.ini").string())
          .ok());
  CountingPrompts prompts;
  ZKStudioDoc studio(paths(), prompts, &ports_);
  EXPECT_EQ(studio.LoadStudio(), 1);
  EXPECT_EQ(prompts.offers, 1);
  EXPECT_EQ(prompts.texts.front(), "Error!\nThere are no drivers in the file\nBad 00.ini\nto load!");
  EXPECT_EQ(prompts.texts.back(), "Error!\nThere are no drivers in the file\nBad 02.ini\nto load!");
}

TEST_F(StudioSafety, APackageWithoutItsDriversReplacesNothing) {
  ASSERT_TRUE(EnsureInstrumentFolder(paths().instruments, TONALITH_SOURCE_DIR "/resources").ok());
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  const std::string module = studio.InstalledModules().front();
  const auto ini = Read(paths().instruments / module);
  const std::string dir = IniFile((paths().instruments / module).string()).GetString("Instrument", "Dir");
  const std::string driver = IniFile((paths().instruments / module).string()).GetString("Instrument", "ID0");
  const auto good = Read(paths().instruments / dir / driver);
  const std::string fresh = "[Instrument]\nName=Fresh\nDir=Fresh\nNumDrivers=1\nID0=none.PV6\n";
  const std::vector<std::pair<PackageFiles, std::string>> cases = {
      {{{module, ini}, {dir + "\\" + driver, {1, 2, 3}}}, "cannot be read"},
      {{{"Fresh.ini", {fresh.begin(), fresh.end()}}, {"Fresh\\other.PV6", good}}, "is not in its folder"},
  };
  for (const auto& [files, part] : cases) {
    std::vector<std::uint8_t> bytes;
    ASSERT_TRUE(PackFiles(files, &bytes).ok());
    InstallReport report;
    const Result result = InstallInstrumentModule(studio, PackageData::Of("broken.pvz", bytes), true, &report);
    EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
    EXPECT_EQ(Read(paths().instruments / dir / driver), good);
    EXPECT_FALSE(fs::exists(paths().instruments / "Fresh"));
  }
}

TEST_F(StudioSafety, RemovingAsksTheWindowsAndCanBeTakenBack) {
  ScriptedPrompts answers({"no", "yes"});
  ZKStudioDoc studio(paths(), answers, &ports_);
  studio.LoadStudio();
  studio.AddDrivers("Synth.ini");
  studio.AddDrivers("Synth.ini");
  bool allowed = false;
  std::size_t asked = 0;
  studio.SetCloseHook([&](std::span<ZKDrvList* const> instruments) {
    asked = instruments.size();
    return allowed;
  });
  const auto bytes = studio.file().WriteStudio();
  std::string error;
  ZKDrvList* second = studio.GetInstrument(1);
  studio.list().SetSelection(second->drivers[0].get());
  EXPECT_EQ(studio.GetSelDataFile(), second->drivers[0]->dataFile.get());
  EXPECT_FALSE(studio.DeleteInstrument(second));
  EXPECT_FALSE(studio.DeleteAllDrivers());
  EXPECT_EQ(asked, 3u);
  EXPECT_EQ(studio.LoadStudio(), -1);
  EXPECT_EQ(studio.ReadStudio(bytes, &error), 9);
  EXPECT_EQ(studio.instruments().size(), 3u) << "a window that stays open cancels everything";
  allowed = true;
  EXPECT_FALSE(studio.DeleteInstrument(second, true)) << "the user said no";
  int index = -1;
  second->SetMidiChannel(9);
  std::unique_ptr<ZKDrvList> taken = studio.TakeInstrument(second, &index);
  ASSERT_TRUE(taken);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(studio.GetSelDataFile(), nullptr);
  studio.AddDrivers("Synth.ini");
  EXPECT_EQ(studio.GetInstrument(2)->instance, 1) << "its number was free";
  ASSERT_EQ(studio.PutBack(std::move(taken), index), second);
  EXPECT_EQ(second->instance, 3);
  EXPECT_EQ(studio.GetInstrument(1), second);
  EXPECT_EQ(second->drivers[1]->synth()->midiChannel, 9);
  EXPECT_TRUE(studio.list().MoveInstrument(1, 3));
  EXPECT_EQ(studio.GetInstrument(3), second);
  EXPECT_TRUE(studio.list().MoveInstrument(3, 0));
  EXPECT_EQ(studio.GetInstrument(0), second);
  EXPECT_FALSE(studio.list().MoveInstrument(0, 4));
  EXPECT_TRUE(studio.DrvClearAll(true));
  EXPECT_TRUE(studio.instruments().empty());
}

TEST_F(StudioSafety, AutoSenseAndHostValues) {
  Settings settings;
  settings.MainAutoConfigInstruments(1);
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.SetSettings(&settings);
  std::vector<std::string> sensed;
  studio.SetAutoSenseHook([&](ZKDrvList* instrument) { sensed.push_back(instrument->DisplayKey()); });
  studio.AddDrivers("Synth.ini", true);
  studio.AddDrivers("Synth.ini");
  EXPECT_EQ(sensed, std::vector<std::string>{"Synth 1"});
  EXPECT_EQ(studio.TakeQueued(), std::vector<ZKDrvList*>{studio.GetInstrument(0)});
  EXPECT_TRUE(studio.TakeQueued().empty());

  const struct {
    DriverParm which;
    int value, id;
  } changes[] = {{DriverParm::DefaultPatch, 2, 7},
                 {DriverParm::SysExChannel, 6, 8},
                 {DriverParm::MidiChannel, 0x1C, 8},
                 {DriverParm::InPort, 0, 0},
                 {DriverParm::OutPort, 0, 8}};
  for (const auto& c : changes) studio.SetDriverParmValue(c.which, c.value, c.id);
  for (const auto& instrument : studio.instruments()) {
    const ZKDrvList &bank = *instrument->drivers[0], &patch = *instrument->drivers[1];
    EXPECT_EQ(bank.defaultPatch, 2);
    EXPECT_EQ(bank.synth()->patchNumber, 2);
    EXPECT_EQ(patch.sysExChannel, 6);
    EXPECT_EQ(patch.synth()->midiChannel, 12);
    EXPECT_EQ(bank.midiInPort, 0);
    EXPECT_EQ(patch.outPortName, "Out A");
    EXPECT_EQ(bank.midiOutPort, 1);
  }
}

// Which scripts data uses, by the version of its module, its layout and the setting; and that it is said.
TEST_F(StudioSafety, DataUsesTheScriptsOfTheInstalledModule) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  ZKDrvList* driver = studio.instruments().front()->drivers[1].get();
  const std::string module = "the module of the " + driver->instrument->name;
  AllocChunk(&driver->dataFile->transmitScript, &driver->dataFile->transmitScriptSize, 4, "new.");
  SetModuleVersion(driver->dataFile->xtra, 2);
  Settings settings;
  studio.SetSettings(&settings);
  const std::string installed = " was changed; the scripts of the installed one are used.";
  const std::string own = "; the scripts that came with the data are used.";
  struct Row {
    int version;  // of the data; -1: unknown
    const char* script;
    bool otherLayout;
    int update;
    const char* used;
    std::string says;
  };
  const Row rows[] = {
      {2, "new.", false, 1, "new.", ""},
      {-1, "new.", false, 1, "new.", ""},
      {1, "old.", false, 1, "new.", "The data was made before " + module + installed},
      {1, "new.", false, 1, "new.", "The data was made before " + module + installed},
      {-1, "old.", false, 1, "new.", "The data was made before " + module + installed},
      {2, "old.", false, 1, "new.", "The data was made before " + module + installed},  // changed without a new number
      {1, "old.", false, 0, "old.", "The data was made before " + module + " was changed" + own},
      {3, "old.", false, 1, "old.", "The data was made with a newer version of " + module + own},
      {1, "old.", true, 1, "old.", "The data has another layout than " + module + " says" + own},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.version);
    SCOPED_TRACE(row.script);
    settings.MainAutoUpdate(row.update);
    const DataFilePtr data = studio.GetNewDataFile(driver);
    ASSERT_TRUE(AllocChunk(&data->transmitScript, &data->transmitScriptSize, 6, "......"));
    ASSERT_TRUE(AllocChunk(&data->transmitScript, &data->transmitScriptSize, 4, row.script));
    if (row.version < 0)
      std::fill(std::begin(data->xtra->reserved64), std::end(data->xtra->reserved64), std::uint8_t{0});
    else
      SetModuleVersion(data->xtra, row.version);
    data->synth->headerSize += row.otherLayout;
    studio.DrvUpdateDataFile(data.get());
    EXPECT_EQ(std::string(data->transmitScript, data->transmitScript + 4), row.used);
    EXPECT_EQ(studio.ScriptsSentence(*data), row.says);
    // Once more, as before the next transfer, and after a save: it is said again.
    studio.UpdateScripts(data.get());
    EXPECT_EQ(studio.ScriptsSentence(*data), row.says);
    // Of an instrument that nobody has.
    data->xtra->driverNumber = data->synth->driverId = 64000;
    EXPECT_EQ(studio.ScriptsSentence(*data), "");
  }
  studio.SetSettings(nullptr);
}

TEST_F(StudioSafety, DataTakesWhatItsInstrumentSays) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  studio.AddDrivers("Synth.ini");
  const DataFilePtr data = studio.GetNewDataFile(studio.GetInstrument(1)->drivers[1].get());
  AllocChunk(&data->transmitScript, &data->transmitScriptSize, 4, "abcd");
  data->synth->patchNumber = 77;
  data->synth->bankNumberOffset = 33;
  data->synth->nameOffset = 2;
  ZKDrvList* driver = studio.GetInstrument(1)->drivers[1].get();
  AllocChunk(&driver->dataFile->transmitScript, &driver->dataFile->transmitScriptSize, 6, "newest");
  driver->synth()->nameOffset = 1;
  studio.GetInstrument(1)->SetMidiChannel(10);
  studio.GetInstrument(1)->SetPatchBay(kPatchBayOn, 2, 1, 5, "Out B");
  studio.GetInstrument(1)->SetPatchBayController(44);
  studio.DrvUpdateDataFile(data.get(), 0);
  EXPECT_EQ(data->synth->midiChannel, 10) << "of its own instance";
  EXPECT_EQ(data->synth->patchBayPatch, 44);
  EXPECT_EQ(+data->synth->nameOffset, 2);
  EXPECT_EQ(data->transmitScriptSize, 4u);
  Settings settings;
  studio.SetSettings(&settings);
  for (const int update : {0, 1}) {
    settings.MainAutoUpdate(update);
    studio.DrvUpdateDataFile(data.get());
    EXPECT_EQ(+data->synth->nameOffset, update ? 1 : 2);
  }
  studio.SetSettings(nullptr);
  EXPECT_EQ(data->synth->patchNumber, 77);
  EXPECT_EQ(data->synth->bankNumberOffset, 33);
  ASSERT_EQ(data->transmitScriptSize, 6u);
  EXPECT_EQ(std::string(data->transmitScript, data->transmitScript + 6), "newest");
  EXPECT_TRUE(studio.MainConfigDriver(0));
  EXPECT_TRUE(studio.MainConfigDriver(8));
  EXPECT_FALSE(studio.MainConfigDriver(9));
}

TEST_F(StudioSafety, WhatModulesSay) {
  const std::string module = (paths().instruments / "Synth.ini").string();
  const std::pair<const char*, const char*> keys[] = {
      {"NumGroups", "2"},          {"Group0", "Sets\\One.PVS"}, {"Group1.1", "1"},      {"PluginWidth", "640"},
      {"PluginScaling", "1.2500"}, {"Librarian Only", "1"},     {"Bitmap", "face.png"}, {"CustomLayout", "wide"}};
  for (const auto& [key, value] : keys) ASSERT_TRUE(WritePrivateProfileString("Instrument", key, value, module).ok());
  ScriptedPrompts prompts({});
  ZKStudioDoc studio(paths(), prompts, &ports_);
  studio.LoadStudio();
  ZKDrvList* instrument = studio.GetInstrument(0);
  const ZKDrvList* driver = instrument->drivers[1].get();
  EXPECT_EQ(studio.GetSetNamesForInstrument(driver), (std::vector<std::string>{"One", ""}));
  studio.AssignGroupForInstrument(instrument, 1);
  EXPECT_EQ(instrument->drivers[1]->setMember, 1);
  EXPECT_EQ(instrument->drivers[0]->setMember, 0);
  EXPECT_EQ(studio.facts().GetInstrumentWidthHeight(driver), (std::pair{640, 0}));
  EXPECT_EQ(studio.facts().UseScalingWithPlugins(driver), 1.25);
  EXPECT_TRUE(studio.facts().IsLibrarian(driver));
  EXPECT_FALSE(studio.facts().GetInstrumentNotPV(driver));
  EXPECT_EQ(studio.facts().GetInstrumentCustomLayout(driver), "wide");
  EXPECT_FALSE(studio.facts().InstrumentBitmap(driver));
  EXPECT_FALSE(studio.facts().InstrumentBitmap(driver));
  EXPECT_EQ(prompts.Log().size(), 1u) << "told once";
  EXPECT_NE(prompts.Log()[0].find("Failed to find the following instrument bitmap file"), std::string::npos);
  const fs::path folder = paths().instruments / "Synth";
  ASSERT_TRUE(WriteFileAtomically((folder / "face_ipad.jpg").string(), std::string_view("x")).ok());
  EXPECT_FALSE(studio.facts().InstrumentBitmap(driver));
  EXPECT_EQ(studio.facts().InstrumentBitmap(driver, true)->filename(), "face_ipad.jpg");
}

}  // namespace tonalith
