// Folders, places and counts of windows, and the limits of lists and desktops.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "services/desktop_file.h"
#include "services/paths.h"
#include "services/settings.h"
#include "services/transfer_sentences.h"
#include "services/window_counters.h"
#include "services/window_places.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

using SmallParts = FilesTest;

TEST_F(SmallParts, FoldersAreMadeAndRecorded) {
  Folders folders = Folders::Below(root_);
  folders.executable = Path("app/bin/tonalith");
  Registry registry(RegistryFile(folders), folders.runtime, "Tonalith", nullptr);
  Paths paths(folders, registry);
  paths.ConfigBasics();
  const std::string data = folders.documents + "/Corvane/Tonalith";
  const std::pair<std::string, std::string> rows[] = {
      {paths.GetZKIni(), folders.config + "/Corvane/Tonalith/v13/ZK.ini"},
      {paths.MidiPortsProfile(), folders.config + "/Corvane/Tonalith/v13/MidiPorts.ini"},
      {paths.CompanyConfigPath(), folders.config + "/Corvane"},
      {paths.MainGetInstrPath(), folders.support + "/Corvane/Tonalith/v13/Instruments"},
      {paths.MainGetDataPath(), data},
      {paths.DefaultStudioFile(), data + "/Default.PV9"},
      {paths.DefaultDesktopFile(), data + "/Default.PVW"},
      {paths.MainGetProgramPath(), Path("app/bin")},
      {paths.MainGetInstallPath(), Path("app")},
      {paths.MainGetApplicationName(), "Tonalith"},
      {paths.BuildConfigFilename(), folders.config + "/Corvane/Tonalith/v13/ZK.cfg"},
      {registry.GetRegistry("Program Path", true), Path("app/bin")},
      {registry.GetRegistry("Program Path(32)"), Path("app/bin")},
      {registry.GetRegistry("Instrument Path(32)"), paths.MainGetInstrPath()},
      {registry.GetRegistry("Data Path(32)"), data},
  };
  for (const auto& [there, wanted] : rows) EXPECT_EQ(there, wanted);
  const std::string own = Path("my data");
  paths.MainSetDataPath(own);
  EXPECT_EQ(registry.GetRegistry("Data Path(32)"), own);
  for (const std::string& folder : {data, own}) {
    for (const char* name : {"", "/Remote", "/OSC", "/Plugins", "/Collections"})
      EXPECT_TRUE(FolderExists(folder + name));
  }
  for (const auto& [given, value, name] :
       {std::tuple(-1, 0, "ZK"), {1, 1, "MFX"}, {6, 6, "AU"}, {7, 6, "AU"}, {0, 0, "ZK"}}) {
    EXPECT_EQ(paths.MainEnvironment(given), value);
    EXPECT_STREQ(paths.ConfigurationBaseName(), name);
  }
  registry.SetRegistry("Data Path(32)", "not/absolute");
  Paths again(folders, registry);
  again.ConfigBasics();
  EXPECT_EQ(again.MainGetDataPath(), data) << "what is no path of this machine is not used";
  char out[6] = "?????";
  CopyPathOut(out, 5, "a\xC3\xA4\xC3\xB6z");
  EXPECT_STREQ(out, "a\xC3\xA4");
  CopyPathOut(out, 0, "b");
  CopyPathOut(nullptr, 5, "b");
  CopyPathOut(out, 1, "b");
  EXPECT_STREQ(out, "");
}

TEST_F(SmallParts, PlacesOfWindows) {
  const Folders folders = Folders::Below(root_);
  Registry registry(RegistryFile(folders), folders.runtime, "Tonalith", nullptr);
  Paths paths(folders, registry);
  paths.ConfigBasics();
  WindowPlaces places(paths);
  WindowPlace place{9, 9, 9, 9};
  for (const char* text :
       {"", "1,2,3", "1,2,3,4,5", "1,2,0,4", "1,2,3,0", "1,2,3,x", "1,2,,4", "100001,2,3,4", "1,-100001,3,4"}) {
    ASSERT_TRUE(WritePrivateProfileString("Windows", "7", text, paths.GetZKIni()).ok());
    EXPECT_FALSE(places.Read(7, place)) << text;
    EXPECT_EQ(place.left * place.height, 81) << text;
  }
  for (const WindowPlace& kept : {WindowPlace{-100000, 100000, 1, 1}, WindowPlace{1, 2, 3, 4}}) {
    WindowPlace stored = kept;
    EXPECT_TRUE(places.MainGetLeftTop(0, 7, stored));
    EXPECT_TRUE(places.MainGetLeftTop(-1, 7, place));
    EXPECT_TRUE(place.left == kept.left && place.top == kept.top && place.width == kept.width &&
                place.height == kept.height);
  }
  EXPECT_FALSE(places.Read(8, place));
  WindowCounters counters;
  counters.Count(WindowType::Set);
  counters.Count(WindowType::Set);
  counters.Count(WindowType::Creator);
  counters.Count(WindowType::Studio);
  for (const auto& [kind, words] : WindowCounters::kKinds) {
    EXPECT_EQ(counters.Created(kind), kind == WindowType::Set ? 2 : kind == WindowType::Creator ? 1 : 0) << words;
  }
  EXPECT_EQ(counters.Created(WindowType::Studio), 0) << "not in the report";
}

TEST_F(SmallParts, DesktopsAtTheirLimits) {
  DesktopWindow window{1, 2, 3, 4, std::string(255, 'd'), std::string(255, 'n'), 17000};
  EXPECT_TRUE(FitsDesktop(window));
  const auto one = WriteDesktop(std::vector{window});
  std::vector<DesktopWindow> read;
  ASSERT_TRUE(ReadDesktop(one, &read).ok());
  EXPECT_EQ(read[0].FilePath(), window.directory + "/" + window.name);
  EXPECT_EQ(read[0].width * 10 + read[0].height, 34);
  for (std::string* text : {&window.directory, &window.name}) {
    *text += 'x';
    EXPECT_FALSE(FitsDesktop(window));
    text->pop_back();
  }
  EXPECT_EQ(WriteDesktop(std::vector<DesktopWindow>(32768)).size(), 12 + 32767 * 524U);
  DesktopWindow odd{-5, 70000, 1, 1, {}, std::string(254, 'a') + "\xC3\xA4", 17000};
  ASSERT_TRUE(ReadDesktop(WriteDesktop(std::vector{odd}), &read).ok());
  EXPECT_EQ(read[0].x, 0);
  EXPECT_EQ(read[0].y, 65535);
  EXPECT_EQ(read[0].name, std::string(254, 'a')) << "half of a character is left out";
  ASSERT_TRUE(WriteFileAtomically(Path("d.PVW"), std::span<const std::uint8_t>(one)).ok());
  EXPECT_TRUE(ReadDesktopFile(Path("d.PVW"), &read).ok());
  EXPECT_EQ(read.size(), 1U);
  ASSERT_TRUE(WriteFileAtomically(Path("d.PVW"), std::span<const std::uint8_t>(one).first(535)).ok());
  EXPECT_EQ(ReadDesktopFile(Path("d.PVW"), &read).text,
            Path("d.PVW") + "\n\nThe desktop file ends early: it announces 1 windows and holds 0.");
  EXPECT_TRUE(read.empty());
  EXPECT_EQ(ReadDesktopFile(Path("none"), &read).code, kFileMissing);
  EXPECT_EQ(DesktopUnits(7, 0) + DesktopUnits(96, 1) + DesktopPixels(96, 1), 7 + 9216 + 1);
}

TEST_F(SmallParts, ListsOfSettingsAndSentences) {
  Settings settings;
  for (int i = 0; i < 20; ++i) EXPECT_EQ(settings.MainVSTPaths(i, "/v" + std::to_string(i)), i < 16) << i;
  EXPECT_EQ(settings.MainVSTPaths(15), "/v15");
  EXPECT_EQ(settings.MainVSTPaths(16) + settings.MainVSTPaths(-1), "");
  EXPECT_FALSE(settings.MainVSTPaths(-1, "/x"));
  EXPECT_TRUE(settings.MainVSTPaths(0, std::string(255, 'p')));
  for (const int index : {-1, 0, 9, 10}) {
    settings.MainSetSeqPathFile(index, "s" + std::to_string(index));
    EXPECT_EQ(settings.MainGetSeqPathFile(index), index < 0 || index > 9 ? "" : "s" + std::to_string(index));
  }
  int told = 0, pushed = 0;
  const int listener = settings.AddListener([&](SettingId, int) { ++told; });
  const int sink = settings.AddPacingSink([&](const std::int16_t[5]) { ++pushed; });
  EXPECT_EQ(pushed, 1);
  settings.MainKnobEdit(settings.MainKnobEdit(-1) == 3 ? 2 : 3);
  EXPECT_EQ(told * 10 + pushed, 11);
  settings.RemoveListener(listener);
  settings.RemovePacingSink(sink);
  settings.MainDelay(settings.MainDelay(-1) == 9 ? 8 : 9);
  EXPECT_EQ(told * 10 + pushed, 11) << "nobody listens any more";
  for (const auto& [text, line] : {std::pair("", ""),
                                   {"a", "a."},
                                   {" a\r\nb\nc ", "a b c."},
                                   {"a!", "a!"},
                                   {"a.", "a."},
                                   {"**", "**"},
                                   {"?", "?."}}) {
    EXPECT_EQ(OneSentence(text), line);
  }
}

}  // namespace
}  // namespace tonalith
