#include <algorithm>
#include <fstream>
#include <map>

#include "data/checksums.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

std::vector<std::uint8_t> DumpBytes(const std::filesystem::path& path) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(ReadWholeFile(path.string(), bytes).ok()) << path;
  return bytes;
}

std::string PieceText(const RecognizedPiece& piece) {
  return std::to_string(piece.offset) + " " + std::to_string(piece.length) + " " + piece.instrument + "/" +
         piece.dataType + " " + ChecksumVerdictText(piece.checksum);
}

std::vector<std::string> PieceTexts(const Recognition& found) {
  std::vector<std::string> texts;
  for (const RecognizedPiece& piece : found.pieces) texts.push_back(PieceText(piece));
  return texts;
}

// The strings of the JSON array that follows `key` behind `at`.
std::vector<std::string> JsonStrings(const std::string& json, std::size_t at, const std::string& key) {
  std::vector<std::string> out;
  at = json.find("\"" + key + "\"", at);
  if (at == std::string::npos) return out;
  at = json.find('[', at);
  while (++at < json.size() && json[at] != ']') {
    if (json[at] != '"') continue;
    std::string text;
    for (++at; at < json.size() && json[at] != '"'; ++at) {
      if (json[at] != '\\') {
        text += json[at];
      } else if (json[++at] == 'u') {
        AppendUtf8(text, static_cast<char32_t>(std::stoi(json.substr(at + 1, 4), nullptr, 16)));
        at += 4;
      } else {
        text += json[at];
      }
    }
    out.push_back(text);
  }
  return out;
}

}  // namespace

TEST(InstrumentModules, AllSourcesBuildAndInstall) {
  InstalledModules& modules = InstalledModules::Instance();
  EXPECT_EQ(modules.problem(), "");
  EXPECT_EQ(modules.studio().instruments().size(), 8u);
  EXPECT_TRUE(modules.recognizer().problems().empty());
  for (const auto& instrument : modules.studio().instruments())
    for (const auto& driver : instrument->drivers) {
      const DataFilePtr data = modules.studio().GetNewDataFile(driver.get());
      ASSERT_TRUE(data);
      EXPECT_TRUE(LayoutOf(*data).editable) << driver->TypeName();
      EXPECT_NE(modules.recognizer().Verify(*data), ChecksumVerdict::kBad)
          << instrument->name << " " << driver->TypeName();
    }
}

TEST(InstrumentModules, DriverNumbersAreTheirOwn) {
  std::map<int, std::string> seen;
  for (const auto& instrument : InstalledModules::Instance().studio().instruments())
    for (const auto& driver : instrument->drivers) {
      const int id = driver->synth()->driverId;
      EXPECT_TRUE(seen.emplace(id, instrument->name).second) << id << " " << seen[id] << " " << instrument->name;
    }
}

TEST(RealDumps, EveryFileOfTheShippedInstrumentsIsRecognised) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  struct Case {
    const char* file;
    std::vector<std::string> pieces;
  };
  std::string toneBank = "0 4224 Casio CZ-101/Tone Bank none";
  const std::vector<Case> cases = {
      {"yamaha-dx7/YamahaDX7.syx", {"0 163 Yamaha DX7/Voice ok"}},
      {"yamaha-dx7/Yamaha_TX7_rom1a.syx", {"0 4104 Yamaha DX7/Voice Bank ok"}},
      {"yamaha-tx81z/YamahaTX81Z.syx", {"0 142 Yamaha TX81Z/Voice ok"}},
      {"yamaha-tx81z/Yamaha4OpMulti.syx", {"0 128 Yamaha TX81Z/Performance ok"}},
      {"yamaha-tx81z/Yamaha4Op.syx",
       {"0 38 Yamaha TX81Z/Additional 3 (V50) ok", "38 28 Yamaha TX81Z/Additional 2 (DX11) ok",
        "66 142 Yamaha TX81Z/Voice ok"}},
      {"roland-d50/RobsColl.syx", {"0 36048 Roland D-50/Patches and Reverbs ok"}},
      {"roland-d50/vibraphone_edit_buffer.syx", {"0 518 Roland D-50/Patch ok"}},
      {"roland-jv1080/JV1080_AGSOUND1.SYX", {"0 29578 Roland JV-1080/Patch Bank ok"}},
      {"roland-jv1080/Super_JV_Pad.syx", {"0 643 Roland JV-1080/Patch ok"}},
      {"korg-m1/bank21.syx", {"0 16350 Korg M1/Program Bank none"}},
      {"korg-m1/M1EX.mid", {"90 16350 Korg M1/Program Bank none", "16444 14179 Korg M1/Combination Bank none"}},
      {"casio-cz101/Afterxylo.syx", {"0 264 Casio CZ-101/Tone none"}},
      {"casio-cz101/PRESETS0.SYX", {toneBank}},
      {"casio-cz101/PRESETS1.SYX", {toneBank}},
      {"casio-cz101/cz10001.syx", {"0 8448 Casio CZ-101/Tone Bank (32) none"}},
      {"kawai-k4/KawaiK4.syx", {"0 140 Kawai K4/Single ok"}},
      {"kawai-k4/KawaiK4Drum.syx", {"0 691 Kawai K4/Drum ok"}},
      {"kawai-k4/KawaiK4Effect.syx", {"0 44 Kawai K4/Effect ok"}},
      {"kawai-k4/KawaiK4Multi.syx", {"0 86 Kawai K4/Multi ok"}},
      {"oberheim-matrix1000/OberheimMatrix1000.syx", {"0 275 Oberheim Matrix-1000/Patch ok"}},
      {"oberheim-matrix1000/OberheimMatrix1000Global.syx", {"0 351 Oberheim Matrix-1000/Master ok"}},
  };
  for (const Case& c : cases) {
    Recognition found;
    const Result result = InstalledModules::Instance().recognizer().Recognize(DumpBytes(folder / c.file), &found);
    EXPECT_TRUE(result.ok()) << c.file << ": " << result.text;
    EXPECT_EQ(PieceTexts(found), c.pieces) << c.file;
  }
}

// The list of names made by somebody else from the same files.
TEST(RealDumps, NamesAreThoseOfTheInstrument) {
  const std::filesystem::path folder = RealDumps();
  std::string json;
  if (folder.empty() || !ReadWholeFile((folder / "expected/names.json").string(), json).ok())
    GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  int compared = 0;
  for (const char* maker : {"yamaha-dx7/", "yamaha-tx81z/", "roland-d50/", "roland-jv1080/", "korg-m1/", "kawai-k4/",
                            "oberheim-matrix1000/"}) {
    const std::string mark = "\"file\": \"" + std::string(maker);
    for (std::size_t at = json.find(mark); at != std::string::npos; at = json.find(mark, at + 1)) {
      const std::size_t begin = at + 9;
      const std::string file = json.substr(begin, json.find('"', begin) - begin);
      const std::vector<std::string> expected = JsonStrings(json, at, "names");
      Recognition found;
      ASSERT_TRUE(recognizer.Recognize(DumpBytes(folder / file), &found).ok()) << file;
      bool same = false;
      for (const RecognizedPiece& piece : found.pieces) {
        std::vector<std::string> names;
        for (const PatchLine& line : recognizer.Patches(*piece.data)) names.push_back(Latin1ToUtf8(line.name));
        same = same || names == expected;
      }
      EXPECT_TRUE(same) << file;
      ++compared;
    }
  }
  EXPECT_GE(compared, 13);
}

// Files of other instruments are left alone, except data that the instruments have in common.
TEST(RealDumps, OtherInstrumentsAreNotTaken) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  const std::vector<std::string> ours = {"yamaha-dx7",          "yamaha-dx7ii", "yamaha-tx81z", "roland-d50",
                                         "roland-jv1080",       "korg-m1",      "casio-cz101",  "kawai-k4",
                                         "oberheim-matrix1000", "expected"};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file() || entry.path().parent_path() == folder) continue;
    const std::string maker = entry.path().parent_path().filename().string();
    if (std::find(ours.begin(), ours.end(), maker) != ours.end()) continue;
    Recognition found;
    InstalledModules::Instance().recognizer().Recognize(DumpBytes(entry.path()), &found);
    EXPECT_EQ(PieceTexts(found), std::vector<std::string>()) << entry.path();
  }
}

}  // namespace tonalith
