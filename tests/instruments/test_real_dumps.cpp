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
  for (const auto& [folder, problem] : modules.problems()) ADD_FAILURE() << folder << ": " << problem;
  EXPECT_GE(modules.keys().size(), 8u);
  EXPECT_EQ(modules.studio().instruments().size(), modules.keys().size());
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
      {"roland-alphajuno/FACTORYA.SYX", {"0 4256 Roland Alpha Juno/Tone Bank none"}},
      {"roland-alphajuno/x-PatchParameters-MKS50-FACTORYA.SYX", {"0 4256 Roland Alpha Juno/Patch Bank none"}},
      {"roland-alphajuno/x-ChordMemory-MKS50.SYX", {"0 202 Roland Alpha Juno/Chord Memory none"}},
      {"roland-juno106/bank_A2x.mid", {"30 745 Roland Juno-106/Patch Bank none"}},
      {"roland-juno106/sysex_param_test.mid",
       {"68 24 Roland Juno-106/Manual none", "725 24 Roland Juno-106/Manual none"}},
      {"roland-d110/RolandD110Multi.syx", {"0 138 Roland D-110/Patch D-110 ok"}},
      {"roland-d110/RolandD110Tone_v3.syx", {"0 266 Roland D-110/Tone ok"}},
      {"yamaha-dx7ii/yamahaDX7II-STUDIOREINE_BANK.syx",
       {"0 103 Yamaha DX7II/System ok", "110 16165 Yamaha DX7II/Fractional 1-32 ok",
        "16275 1128 Yamaha DX7II/Additional 1-32 ok", "17403 4104 Yamaha DX7II/Voices 1-32 ok",
        "21514 16165 Yamaha DX7II/Fractional 33-64 ok", "37679 1128 Yamaha DX7II/Additional 33-64 ok",
        "38807 4104 Yamaha DX7II/Voices 33-64 ok", "42911 1650 Yamaha DX7II/Performance Bank ok"}},
      {"korg-m1/bank21.syx", {"0 16350 Korg M1/Program Bank none"}},
      {"korg-m1/M1EX.mid", {"90 16350 Korg M1/Program Bank none", "16444 14179 Korg M1/Combination Bank none"}},
      {"casio-cz101/Afterxylo.syx", {"0 264 Casio CZ-101/Tone none"}},
      {"casio-cz101/PRESETS0.SYX", {toneBank}},
      {"casio-cz101/PRESETS1.SYX", {toneBank}},
      {"casio-cz101/cz10001.syx", {"0 8448 Casio CZ-101/Tone Bank (32) none"}},
      {"emu-proteus2000/EmuProteus2000.syx", {"0 1607 E-mu Proteus 2000/Preset ok"}},
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

// What happens with the files of one folder of dumps that belong to instruments with a module.
struct DumpFolder {
  const char* folder;
  std::vector<const char*> modules;  // whose data is in it; the first is the instrument itself
};

// Folders whose name is not that of the module, and those with data of several instruments.
const std::vector<DumpFolder> kDumpFolders = {
    {"yamaha-dx7ii", {"yamaha-dx7ii-tx802", "yamaha-dx7"}},
    {"yamaha-tg33", {"yamaha-sy22-tg33"}},
    {"korg-ms2000", {"korg-ms2000-microkorg"}},
    {"korg-microkorg", {"korg-ms2000-microkorg"}},
    {"ensoniq-esq1", {"ensoniq-esq1-sq80"}},
    {"roland-alphajuno", {"roland-alphajuno-mks50"}},
    {"roland-d110", {"roland-d110-mt32"}},
};

// Files with messages that no data type takes (changes of single parameters), and how many; 0: there is nothing else.
const std::map<std::string, std::size_t> kLooseMessages = {
    {"roland-juno106/bank_A1x_v2.mid", 0},       {"roland-juno106/bank_A2x_v2.mid", 0},
    {"roland-juno106/bank_A3x_v2.mid", 0},       {"roland-juno106/bank_A4x_v2.mid", 0},
    {"roland-juno106/sysex_param_test.mid", 46},
};

// The modules that a folder of dumps belongs to; empty: none is shipped.
std::vector<std::string> ModulesOf(const std::string& folder) {
  std::vector<std::string> wanted{folder};
  for (const DumpFolder& known : kDumpFolders)
    if (folder == known.folder) wanted.assign(known.modules.begin(), known.modules.end());
  std::vector<std::string> shipped;
  for (const auto& [name, key] : InstalledModules::Instance().keys())
    if (std::find(wanted.begin(), wanted.end(), key) != wanted.end()) shipped.push_back(name);
  const bool ours = std::any_of(shipped.begin(), shipped.end(), [&](const std::string& name) {
    return InstalledModules::Instance().keys().at(name) == wanted.front();
  });
  return ours ? shipped : std::vector<std::string>();
}

// Position of the entry of a file in a list of expectations, npos: none.
std::size_t EntryOf(const std::string& json, const std::string& file) {
  return json.find("\"file\": \"" + file + "\"");
}

std::string Expected(const std::filesystem::path& folder, const char* name) {
  std::string json;
  EXPECT_TRUE(ReadWholeFile((folder / "expected" / name).string(), json).ok()) << name;
  return json;
}

// Every file of an instrument with a module is taken whole, with the checksums that somebody else found in it.
TEST(RealDumps, EveryFileIsTakenWhole) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  const std::string checksums = Expected(folder, "checksums.json");
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string maker = entry.path().parent_path().filename().string();
    const std::vector<std::string> modules = ModulesOf(maker);
    if (!entry.is_regular_file() || modules.empty()) continue;
    const std::string file = maker + "/" + entry.path().filename().string();
    SCOPED_TRACE(file);
    Recognition found;
    const Result result = InstalledModules::Instance().recognizer().Recognize(DumpBytes(entry.path()), &found);
    const auto loose = kLooseMessages.find(file);
    if (loose != kLooseMessages.end() && loose->second == 0) {
      EXPECT_FALSE(result.ok());
      continue;
    }
    EXPECT_TRUE(result.ok()) << result.text;
    EXPECT_EQ(found.unknownMessages, loose == kLooseMessages.end() ? 0 : loose->second);
    const std::size_t at = EntryOf(checksums, file);
    const bool bad = at != std::string::npos && checksums.find("\"invalid\": 0", at) > checksums.find('}', at);
    bool sawBad = false, sawOk = false;
    for (const RecognizedPiece& piece : found.pieces) {
      EXPECT_TRUE(std::find(modules.begin(), modules.end(), piece.instrument) != modules.end()) << PieceText(piece);
      sawBad = sawBad || piece.checksum == ChecksumVerdict::kBad;
      sawOk = sawOk || piece.checksum == ChecksumVerdict::kOk;
    }
    EXPECT_EQ(sawBad, bad);
    EXPECT_TRUE(at == std::string::npos || bad || sawOk) << "checksums of this file were not looked at";
    ++files;
  }
  EXPECT_GE(files, 27);
}

// The list of names made by somebody else from the same files.
TEST(RealDumps, NamesAreThoseOfTheInstrument) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  const std::string json = Expected(folder, "names.json");
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  const std::string mark = "\"file\": \"";
  int compared = 0;
  for (std::size_t at = json.find(mark); at != std::string::npos; at = json.find(mark, at + 1)) {
    const std::size_t begin = at + mark.size();
    const std::string file = json.substr(begin, json.find('"', begin) - begin);
    if (ModulesOf(file.substr(0, file.find('/'))).empty()) continue;
    const std::vector<std::string> expected = JsonStrings(json, at, "names");
    Recognition found;
    ASSERT_TRUE(recognizer.Recognize(DumpBytes(folder / file), &found).ok()) << file;
    std::vector<std::string> all;
    bool same = false;
    for (const RecognizedPiece& piece : found.pieces) {
      std::vector<std::string> names;
      for (const PatchLine& line : recognizer.Patches(*piece.data)) names.push_back(Latin1ToUtf8(line.name));
      same = same || names == expected;
      all.insert(all.end(), names.begin(), names.end());
    }
    EXPECT_TRUE(same || all == expected) << file << ": " << (all.empty() ? "" : all.front());
    ++compared;
  }
  EXPECT_GE(compared, 13);
}

// The index of the files names the first patches of each.
TEST(RealDumps, FirstNamesAreThoseOfTheIndex) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  std::string index;
  ASSERT_TRUE(ReadWholeFile((folder / "INDEX.tsv").string(), index).ok());
  int compared = 0;
  for (const std::string& line : SplitText(index, '\n')) {
    const std::vector<std::string> fields = SplitText(line, '\t');
    constexpr std::size_t kNames = 6;
    if (fields.size() <= kNames || fields[kNames].empty() || ModulesOf(fields[1]).empty()) continue;
    Recognition found;
    Recognizer& recognizer = InstalledModules::Instance().recognizer();
    EXPECT_TRUE(recognizer.Recognize(DumpBytes(folder / fields[0]), &found).ok()) << fields[0];
    std::string names;
    for (const RecognizedPiece& piece : found.pieces)
      for (const PatchLine& patch : recognizer.Patches(*piece.data))
        if (!patch.name.empty()) names += Latin1ToUtf8(std::string(TrimmedView(patch.name))) + ", ";
    if (fields[kNames] == "(blank)") {
      EXPECT_EQ(names, "") << fields[0];
    } else {
      EXPECT_EQ(names.substr(0, fields[kNames].size()), fields[kNames]) << fields[0];
    }
    ++compared;
  }
  EXPECT_GE(compared, 10);
}

// Files of other instruments are left alone.
TEST(RealDumps, OtherInstrumentsAreNotTaken) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file() || entry.path().parent_path() == folder) continue;
    const std::string maker = entry.path().parent_path().filename().string();
    const bool shared = std::any_of(kDumpFolders.begin(), kDumpFolders.end(),
                                    [&](const DumpFolder& known) { return maker == known.folder; });
    if (shared || maker == "expected" || !ModulesOf(maker).empty()) continue;
    Recognition found;
    InstalledModules::Instance().recognizer().Recognize(DumpBytes(entry.path()), &found);
    EXPECT_EQ(PieceTexts(found), std::vector<std::string>()) << entry.path();
  }
}

}  // namespace tonalith
