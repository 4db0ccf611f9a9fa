#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "services/settings.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

class SettingsTest : public FilesTest {
 protected:
  std::string Ini(const std::string& text) {
    EXPECT_TRUE(WriteFileAtomically(Path("Preferences.ini"), text));
    return Path("Preferences.ini");
  }
};

// Every row of the table, once: storing, reading and both ends of its range, without touching any other row.
TEST_F(SettingsTest, EveryAccessorStoresItsOwnFieldInItsRange) {
  std::set<std::string> names;
  for (const SettingInfo& row : SettingsTable()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_TRUE(row.minimum <= row.maximum && row.maximum <= (row.type == SettingType::U8 ? 255 : 65535)) << row.name;
    EXPECT_NE(std::string(row.label), "") << row.name;
    EXPECT_EQ(row.key == nullptr, row.section == nullptr) << row.name;
    Settings settings;
    const Config before = settings.Copy();
    EXPECT_EQ(settings.Access(row.id, 1'000'000), row.maximum) << row.name;
    EXPECT_EQ(settings.Access(row.id, -1), row.maximum) << row.name;
    EXPECT_EQ(settings.Access(row.id, 0), row.minimum) << row.name;
    settings.Access(row.id, ReadSetting(before, row.id));
    const Config after = settings.Copy();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0) << row.name;
  }
  EXPECT_EQ(names.size(), SettingsTable().size());
}

// The shipped file must say for every key what the program takes when the file is missing.
TEST_F(SettingsTest, ShippedPreferencesAgreeWithTheTable) {
  IniFile ini;
  ASSERT_TRUE(ini.Load(std::string(TONALITH_SOURCE_DIR) + "/resources/Preferences.ini"));
  std::map<std::string, std::set<std::string>> known;
  for (const SettingInfo& row : SettingsTable()) {
    if (!row.key) continue;
    EXPECT_EQ(ini.GetInt(row.section, row.key, -999), row.fallback) << row.key;
    known[row.section].insert(row.key);
  }
  known["Preferences"].insert({"MIDIDelay", "Background File", "Default Font"});
  for (const auto& [section, keys] : known) {
    for (const std::string& key : ini.Keys(section)) EXPECT_TRUE(keys.count(key)) << section << " " << key;
  }
  Config shipped, bare;
  InitConfig(shipped, ini, "");
  InitConfig(bare, IniFile(), "");
  EXPECT_EQ(std::memcmp(&shipped, &bare, sizeof shipped), 0);
  EXPECT_EQ(ini.GetString("Application", "Company"), "Corvane");
  for (const char* section : {"Version", "Version 13", "Manuals"}) EXPECT_TRUE(ini.HasSection(section)) << section;
}

TEST_F(SettingsTest, KeysBecomeFieldsByTheirRules) {
  const struct {
    const char* line;
    SettingId id;
    int expected;
  } rows[] = {{"Bank Audition Enable=0", SettingId::MainBankAuditionDisabled, 1},
              {"Bank Audition Enable=1", SettingId::MainBankAuditionDisabled, 0},
              {"Bank Audition Enable=7", SettingId::MainBankAuditionDisabled, 0},
              {"Notes to Play=4", SettingId::MainNotesToPlay, 3},
              {"Notes to Play=0", SettingId::MainNotesToPlay, 0},
              {"Playback Speed=-3", SettingId::MainPlaybackSpeed, 0},
              {"Mouse Sensitivity=999", SettingId::MainMouseSens, 255},
              {"Popup Info=-1", SettingId::MainDisplayParameterHelp, 0},
              {"Mouse Direction=0", SettingId::MainMouseEdit, 0},
              {"Mouse Direction=0", SettingId::MainMouseDirection, 0},
              {"use synchronized editing=0", SettingId::MainUseSynchronizedEditing, 0},
              {"Unknown=1", SettingId::MainNotesToPlay, 3}};
  for (const auto& row : rows) {
    Config config;
    InitConfig(config, IniFile::FromBytes(std::string("[Preferences]\n") + row.line + "\n"), "");
    EXPECT_EQ(ReadSetting(config, row.id), row.expected) << row.line;
  }
}

TEST_F(SettingsTest, SavedRecordOverridesTheShippedDefaults) {
  const std::string ini = Ini("[Preferences]\nMIDIDelay=77\nKnob Edit=0\n[MidiX Control]\nMidiX Delay=5\n");
  Settings first;
  std::vector<int> pushed;
  first.AddPacingSink([&](const std::int16_t values[5]) { pushed.assign(values, values + 5); });
  first.MainLoadConfig(Path("ZK.cfg"), ini, Path("prefs"));
  EXPECT_EQ(pushed, (std::vector<int>{5, 0, 0, 1, 3125}));
  EXPECT_EQ(first.MidiDelay(), 77);
  EXPECT_EQ(first.MainVSTPaths(0), Path("Audio/Plug-Ins/VST"));
  EXPECT_EQ(first.MainVST3Paths(0), Path("Audio/Plug-ins/VST3"));
  EXPECT_TRUE(FolderExists(first.MainVST3Paths(0)));
  first.MainDelay(9);
  EXPECT_EQ(pushed[0], 9);
  first.MainKnobEdit(3);
  first.MainGetAltFtpPassword("secret");
  first.MainSonarFiles(0, "a");
  first.MainTonesData(0, 61);
  ASSERT_TRUE(first.SaveConfig(Path("ZK.cfg")));
  struct stat info {};
  ASSERT_EQ(::stat(Path("ZK_v2.cfg").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  EXPECT_EQ(static_cast<std::size_t>(info.st_size), sizeof(Config));
  Settings second;
  second.MainLoadConfig(Path("ZK.cfg"), ini, Path("prefs"));
  const Config a = first.Copy(), b = second.Copy();
  EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
  EXPECT_EQ(second.MainDelay(-1), 9);
}

TEST_F(SettingsTest, ForeignAndDamagedRecordsAreIgnoredOrMadeSafe) {
  const std::string ini = Ini("[Preferences]\nKnob Edit=2\n");
  Settings saved;
  saved.MainKnobEdit(9);
  Config image = saved.Copy();
  const auto load = [&](std::size_t bytes) {
    EXPECT_TRUE(WriteFileAtomically(Path("ZK_v2.cfg"), std::string_view(reinterpret_cast<char*>(&image), bytes)));
    Settings settings;
    settings.MainLoadConfig(Path("ZK.cfg"), ini);
    return settings.Copy();
  };
  EXPECT_EQ(load(sizeof image).knobEdit, 9);
  EXPECT_EQ(load(sizeof image - 1).knobEdit, 9);
  image.magic[0] = 'X';
  EXPECT_EQ(load(sizeof image).knobEdit, 2);
  image = saved.Copy();
  image.version = 9;
  EXPECT_EQ(load(sizeof image).knobEdit, 2);
  std::memset(reinterpret_cast<char*>(&image) + 8, 0xFF, sizeof image - 8);
  image.version = kConfigVersion;
  const Config safe = load(sizeof image);
  for (const SettingInfo& row : SettingsTable()) EXPECT_EQ(ReadSetting(safe, row.id), row.maximum) << row.name;
  EXPECT_EQ(safe.vstPathsCount, 16);
  EXPECT_EQ(strnlen(safe.logFont, 256), 255u);
  EXPECT_EQ(strnlen(safe.seqPathFile[9], 256), 255u);
  EXPECT_EQ(safe.seqChannel[15], 15);
}

// Records of every size: what lies whole in them counts, everything behind keeps its default.
TEST_F(SettingsTest, RecordsAreReadAsFarAsTheyGo) {
  const std::string ini = Ini("[Preferences]\nKnob Edit=2\n");
  Settings defaults;
  defaults.MainLoadConfig(Path("ZK.cfg"), ini);
  const Config fresh = defaults.Copy();
  Settings chosen;
  for (const SettingInfo& row : SettingsTable()) {
    const int former = ReadSetting(fresh, row.id);
    chosen.Access(row.id, former == row.maximum ? row.minimum : row.maximum);
  }
  chosen.MainVSTPaths(0, "/some/folder");
  chosen.MainDefaultFont("Sans");
  chosen.MainSetSeqPathFile(9, "last");
  const Config own = chosen.Copy();
  const std::string whole(reinterpret_cast<const char*>(&own), sizeof own);
  const auto load = [&](std::string record) {
    EXPECT_TRUE(WriteFileAtomically(Path("ZK_v2.cfg"), record));
    Settings settings;
    settings.MainLoadConfig(Path("ZK.cfg"), ini);
    return settings.Copy();
  };
  std::vector<std::size_t> sizes = {kConfigHeader,
                                    offsetof(Config, startUpOption),
                                    offsetof(Config, vstPathsCount) + 1,
                                    offsetof(Config, defaultFont) + 2,
                                    sizeof own - 1,
                                    sizeof own};
  for (const SettingInfo& row : SettingsTable()) sizes.insert(sizes.end(), {row.offset, row.offset + 1});
  for (const std::size_t size : sizes) {
    for (const bool cutFile : {true, false}) {
      std::string record = whole.substr(0, cutFile ? size : whole.size());
      if (!cutFile) {
        record[6] = static_cast<char>(size & 0xFF);
        record[7] = static_cast<char>(size >> 8);
      }
      const Config got = load(record);
      EXPECT_EQ(std::memcmp(&got, &fresh, kConfigHeader), 0);
      for (const SettingInfo& row : SettingsTable()) {
        const bool isThere = row.offset + (row.type == SettingType::U8 ? 1 : 2) <= size;
        EXPECT_EQ(ReadSetting(got, row.id), ReadSetting(isThere ? own : fresh, row.id)) << row.name << " in " << size;
      }
      const bool hasPaths = size >= offsetof(Config, vstPathsCount) + 1 + sizeof own.vstPaths;
      EXPECT_EQ(std::string(got.vstPaths[0]), hasPaths ? "/some/folder" : "");
      EXPECT_EQ(got.vstPathsCount, hasPaths ? 1 : 0);
      const bool hasSequences = size >= offsetof(Config, seqPathFile) + sizeof own.seqPathFile;
      EXPECT_EQ(std::string(got.seqPathFile[9]), hasSequences ? "last" : "");
    }
  }
  std::string older = whole, longer = whole + std::string(300, 'n');
  older[4] = 0;
  longer[6] = static_cast<char>((sizeof own + 300) & 0xFF);
  longer[7] = static_cast<char>((sizeof own + 300) >> 8);
  for (const std::string& record : {older, longer, whole + "rest"}) {
    const Config got = load(record);
    EXPECT_EQ(std::memcmp(&got, &own, sizeof own), 0);
  }
  EXPECT_FALSE(FileExists(Path("ZK_v2.cfg.broken")));
}

TEST_F(SettingsTest, RecordsThatCannotBeReadAreKept) {
  Settings saved;
  saved.MainKnobEdit(9);
  Config image = saved.Copy();
  const std::string good(reinterpret_cast<const char*>(&image), sizeof image);
  std::string magic = good, later = good;
  magic[0] = 'X';
  later[4] = 2;
  int count = 0;
  for (const std::string& record : {magic, later, std::string(), std::string("TZCF"), good.substr(0, 7)}) {
    ASSERT_TRUE(WriteFileAtomically(Path("ZK_v2.cfg"), record));
    Settings settings;
    const Result loaded = settings.MainLoadConfig(Path("ZK.cfg"), Ini(""));
    EXPECT_NE(settings.MainKnobEdit(-1), 9);
    ++count;
    std::string kept;
    const std::string aside = Path("ZK_v2.cfg.broken") + (count > 1 ? std::to_string(count) : "");
    ASSERT_TRUE(ReadWholeFile(aside, kept));
    EXPECT_NE(loaded.text.find(aside + "."), std::string::npos) << loaded.text;
    EXPECT_TRUE(settings.MainLoadConfig(Path("ZK.cfg"), Ini("")).ok()) << "it is told once";
    EXPECT_EQ(kept, record);
    EXPECT_FALSE(FileExists(Path("ZK_v2.cfg")));
    ASSERT_TRUE(settings.SaveConfig(Path("ZK.cfg")));
  }
  // What stands in the way without being a file stays.
  std::filesystem::remove(Path("ZK_v2.cfg"));
  ASSERT_TRUE(MakeFolders(Path("ZK_v2.cfg/inside")));
  Settings settings;
  settings.MainLoadConfig(Path("ZK.cfg"), Ini(""));
  EXPECT_TRUE(FolderExists(Path("ZK_v2.cfg/inside")));
}

TEST_F(SettingsTest, ConfigurationNames) {
  EXPECT_EQ(VersionedConfigName("/p/ZK.cfg"), "/p/ZK_v2.cfg");
  EXPECT_EQ(VersionedConfigName("/p/ZK_v2.cfg"), "/p/ZK_v2.cfg");
  EXPECT_EQ(VersionedConfigName("abc"), "_v2abc");
}

TEST_F(SettingsTest, ListsAndTexts) {
  Settings settings;
  EXPECT_TRUE(settings.MainCubaseFiles(0, "one"));
  EXPECT_TRUE(settings.MainCubaseFiles(1, "two"));
  EXPECT_FALSE(settings.MainCubaseFiles(3, "gap"));
  EXPECT_FALSE(settings.MainCubaseFiles(1, std::string(256, 'x')));
  for (const auto& [asked, count] : {std::pair(-1, 2), {1, 1}, {8, 1}})
    EXPECT_EQ(settings.MainCubaseFilesCount(asked), count);
  EXPECT_EQ(settings.MainCubaseFiles(1), "");
  settings.MainDefaultFont(std::string(125, 'x') + "\xC3\xA9");
  EXPECT_EQ(settings.MainDefaultFont().size(), 125u);
  EXPECT_EQ(settings.MainSeqPort(16, 3), 0);
  EXPECT_EQ(settings.MainSeqChannel(3, 99), 15);
}

}  // namespace
}  // namespace tonalith
