#include <algorithm>

#include "simulator/wire_codecs.h"
#include "tests/simulator/simulator_test_tools.h"

namespace tonalith::simulator_test {
namespace {

// The names that belong to a file in expected/names.json; empty when it has none.
std::vector<std::string> ExpectedNames(const std::string& file) {
  const Bytes raw = ReadWhole(SysExFolder() / "expected/names.json");
  const std::string text(raw.begin(), raw.end());
  std::size_t at = text.find("\"file\": \"" + file + "\"");
  if (at == std::string::npos) return {};
  at = text.find("\"names\": [", at);
  if (at == std::string::npos) return {};
  std::vector<std::string> names;
  for (at = text.find('[', at) + 1; at < text.size() && text[at] != ']'; ++at) {
    if (text[at] != '"') continue;
    std::string name;
    for (++at; at < text.size() && text[at] != '"'; ++at) {
      if (text[at] == '\\') ++at;
      name.push_back(text[at]);
    }
    names.push_back(name);
  }
  return names;
}

struct RealDump {
  const char* key;
  const char* file;
  int taken;                          // messages that fit this instrument
  const char* area;                   // names of its items are compared; "" = none
  std::vector<const char*> requests;  // joined answers equal `expected`
  int firstMessage;                   // the messages of the file the answers must equal
  int messages;
  int device;
};

class RealDumpTest : public testing::TestWithParam<RealDump> {};

Bytes Joined(const std::vector<Bytes>& messages, int first, int count) {
  Bytes all;
  for (int i = first; i < first + count; ++i)
    all.insert(all.end(), messages[static_cast<std::size_t>(i)].begin(), messages[static_cast<std::size_t>(i)].end());
  return all;
}

TEST_P(RealDumpTest, ComesBackByteForByte) {
  const RealDump& test = GetParam();
  const auto path = SysExFolder() / test.file;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real dumps at " << path;
  const auto messages = ScanSysEx(ReadWhole(path));
  auto instrument = Make(test.key);
  instrument->SetDevice(test.device);
  const LoadResult loaded = instrument->LoadDump(ReadWhole(path));
  EXPECT_EQ(loaded.taken, test.taken) << (loaded.notes.empty() ? "" : loaded.notes.front());
  EXPECT_EQ(loaded.notes.size(), static_cast<std::size_t>(loaded.messages - loaded.taken));

  // Asked for, it is the dump; sent to another instrument of the kind, that one has the same memory.
  Host host(*instrument);
  Bytes answers;
  for (const char* request : test.requests) {
    const Bytes answer = host.Ask(request);
    answers.insert(answers.end(), answer.begin(), answer.end());
  }
  const Bytes expected = Joined(messages, test.firstMessage, test.messages);
  EXPECT_TRUE(answers == expected) << answers.size() << " bytes instead of " << expected.size();

  auto other = Make(test.key);
  other->SetDevice(test.device);
  Host sender(*other);
  for (const Bytes& message : ScanSysEx(answers)) sender.Ask(message);
  if (other->SelectPatch(test.area, 0))  // a bank: the edit buffers play no part
    for (auto* both : {instrument.get(), other.get()})
      for (const AreaInfo& area : both->description().areas) both->SelectPatch(area.key, 0);
  EXPECT_TRUE(other->Memory() == instrument->Memory());
}

TEST_P(RealDumpTest, IsRecognisedAndItsNamesAreShown) {
  const RealDump& test = GetParam();
  const auto path = SysExFolder() / test.file;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real dumps at " << path;
  std::string problem;
  const auto instrument = SimulatedInstrument::CreateForDump(ReadWhole(path), &problem);
  ASSERT_NE(instrument, nullptr) << problem;
  EXPECT_EQ(instrument->description().key, test.key);
  const auto names = ExpectedNames(test.file);
  const auto list = instrument->PanelList(test.area);
  if (names.size() == 1) {  // a single patch, wherever it belongs
    EXPECT_TRUE(std::any_of(list.begin(), list.end(), [&](const PanelEntry& entry) { return entry.name == names[0]; }));
    return;
  }
  ASSERT_GE(list.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(list[i].name, names[i]) << list[i].number;
}

const std::vector<RealDump> kRealDumps = {
    {"kawai-k1", "kawai-k1/KawaiK1.syx", 1, "upper", {"F0 40 00 00 00 03 00 00 F7"}, 0, 1, 0},
    {"kawai-k1", "kawai-k1/KawaiK1Multi.syx", 1, "multis", {"F0 40 00 00 00 03 00 5F F7"}, 0, 1, 0},
    {"korg-ms2000-microkorg", "korg-ms2000/OriginalPatches_v3.syx", 1, "programs", {"F0 42 30 58 1C F7"}, 0, 1, 0},
    {"korg-ms2000-microkorg",
     "korg-microkorg/KorgMicroKorgVocoder.syx",
     1,
     "edit_program",
     {"F0 42 30 58 10 F7"},
     0,
     1,
     0},
    {"ensoniq-esq1-sq80", "ensoniq-esq1/BASIC.syx", 1, "current", {"F0 0F 02 01 09 F7"}, 0, 1, 1},
    {"yamaha-dx7", "yamaha-dx7/SynprezFM_01.syx", 1, "voices", {"F0 43 20 09 F7"}, 0, 1, 0},
    {"yamaha-dx7", "yamaha-dx7/SynprezFM_02.syx", 1, "voices", {"F0 43 20 09 F7"}, 0, 1, 0},
    {"yamaha-dx7", "yamaha-dx7/SynprezFM_05.syx", 1, "voices", {"F0 43 20 09 F7"}, 0, 1, 0},
    {"yamaha-dx7", "yamaha-dx7/Yamaha_TX7_rom1a.syx", 1, "voices", {"F0 43 20 09 F7"}, 0, 1, 0},
    {"yamaha-dx7", "yamaha-dx7/YamahaDX7.syx", 1, "edit", {"F0 43 20 00 F7"}, 0, 1, 0},
    {"yamaha-tx81z",
     "yamaha-tx81z/YamahaTX81Z.syx",
     2,
     "vced",
     {"F0 43 20 7E 4C 4D 20 20 38 39 37 36 41 45 F7"},
     0,
     2,
     0},
    {"yamaha-tx81z",
     "yamaha-tx81z/Yamaha4Op.syx",
     2,
     "aced",
     {"F0 43 20 7E 4C 4D 20 20 38 39 37 36 41 45 F7"},
     2,
     2,
     0},
    {"roland-d50", "roland-d50/RobsColl.syx", 136, "patches", {"F0 41 00 14 11 02 00 00 02 0F 00 6D F7"}, 0, 136, 0},
    {"roland-d50",
     "roland-d50/vibraphone_edit_buffer.syx",
     7,
     "temporary",
     {"F0 41 00 14 11 00 00 00 00 00 40 40 F7", "F0 41 00 14 11 00 00 40 00 00 40 00 F7",
      "F0 41 00 14 11 00 01 00 00 00 40 3F F7", "F0 41 00 14 11 00 01 40 00 00 40 7F F7",
      "F0 41 00 14 11 00 02 00 00 00 40 3E F7", "F0 41 00 14 11 00 02 40 00 00 40 7E F7",
      "F0 41 00 14 11 00 03 00 00 00 40 3D F7"},
     0,
     7,
     0},
    {"roland-jv1080",
     "roland-jv1080/JV1080_AGSOUND1.SYX",
     230,
     "patches",
     {"F0 41 10 6A 11 11 00 00 00 00 2E 00 00 41 F7"},
     0,
     230,
     0},
    {"roland-jv1080",
     "roland-jv1080/Super_JV_Pad.syx",
     5,
     "patches",
     {"F0 41 10 6A 11 11 6B 00 00 00 00 18 00 6C F7"},
     0,
     5,
     0},
    {"korg-m1", "korg-m1/bank21.syx", 1, "programs", {"F0 42 30 19 1C 00 F7"}, 0, 1, 0},
    {"korg-m1", "korg-m1/M1EX.mid", 2, "programs", {"F0 42 30 19 1C 00 F7", "F0 42 30 19 1D 00 F7"}, 0, 2, 0},
    {"kawai-k4", "kawai-k4/KawaiK4.syx", 1, "singles", {"F0 40 00 00 00 04 00 00 F7"}, 0, 1, 0},
    {"kawai-k4", "kawai-k4/KawaiK4Multi.syx", 1, "multis", {"F0 40 00 00 00 04 00 40 F7"}, 0, 1, 0},
    {"kawai-k4", "kawai-k4/KawaiK4Drum.syx", 1, "drum", {"F0 40 00 00 00 04 01 20 F7"}, 0, 1, 0},
    {"kawai-k4", "kawai-k4/KawaiK4Effect.syx", 1, "effects", {"F0 40 00 00 00 04 01 00 F7"}, 0, 1, 0},
    {"oberheim-matrix1000",
     "oberheim-matrix1000/OberheimMatrix1000.syx",
     1,
     "patches",
     {"F0 10 06 04 01 00 F7"},
     0,
     1,
     0},
    {"sequential-prophet08", "sequential-prophet08/DSIProphet08.syx", 1, "programs", {"F0 01 23 05 00 00 F7"}, 0, 1, 0},
    {"sequential-rev2", "sequential-rev2/SequentialProphetRev2.syx", 1, "programs", {"F0 01 2F 05 00 00 F7"}, 0, 1, 0},
    {"waldorf-blofeld", "waldorf-blofeld/Blofeld.syx", 1, "sounds", {"F0 3E 13 00 00 00 00 F7"}, 0, 1, 0},
    {"waldorf-blofeld", "waldorf-blofeld/BlofeldMulti.syx", 1, "multis", {"F0 3E 13 00 01 00 00 F7"}, 0, 1, 0},
    {"waldorf-blofeld",
     "waldorf-blofeld/Waldorf_Blofeld_Blo_Factory_2008.syx",
     1024,
     "sounds",
     {"F0 3E 13 00 00 40 00 F7"},
     0,
     1024,
     0},
    {"roland-jd800", "roland-jd800/JDBOOK.SYX", 96, "patches", {"F0 41 10 3D 11 05 00 00 01 40 00 3A F7"}, 0, 96, 0},
    {"roland-jd800",
     "roland-jd800/JD800_InitialPatch.syx",
     2,
     "temporary",
     {"F0 41 10 3D 11 00 00 00 00 03 00 7D F7"},
     0,
     2,
     0},
    {"emu-proteus2000",
     "emu-proteus2000/EmuProteus2000.syx",
     8,
     "presets",
     {"F0 18 0F 00 55 11 04 7F 03 00 00 F7"},
     0,
     8,
     0},
    {"kawai-k5000", "kawai-k5000/WizooIni.syx", 1, "singles_a", {"F0 40 00 00 00 0A 00 00 00 F7"}, 0, 1, 0},
    {"kawai-k5000",
     "kawai-k5000/single_sound_bank_A_patch_1.syx",
     1,
     "singles_a",
     {"F0 40 00 00 00 0A 00 00 00 F7"},
     0,
     1,
     0},
    {"yamaha-fb01", "yamaha-fb01/YamahaFB01.syx", 1, "instruments", {"F0 43 75 00 28 00 00 F7"}, 0, 1, 0},
    {"yamaha-fb01", "yamaha-fb01/YamahaFB01Multi.syx", 1, "current", {"F0 43 75 01 20 01 00 F7"}, 0, 1, 1},
    {"oberheim-matrix1000",
     "oberheim-matrix1000/OberheimMatrix1000Global.syx",
     1,
     "master",
     {"F0 10 06 04 03 00 F7"},
     0,
     1,
     0},
};

INSTANTIATE_TEST_SUITE_P(All, RealDumpTest, testing::ValuesIn(kRealDumps), [](const auto& test) {
  std::string name = std::filesystem::path(test.param.file).stem().string();
  std::replace_if(
      name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
  return name;
});

// Casio tones come and go byte by byte inside an open frame.
TEST(RealCasioTones, ComeBackThroughTheExchange) {
  const auto path = SysExFolder() / "casio-cz101/PRESETS1.SYX";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real dumps at " << path;
  auto instrument = Make("casio-cz101");
  EXPECT_EQ(instrument->LoadDump(ReadWhole(path)).taken, 16);
  EXPECT_TRUE(instrument->Dump() == ReadWhole(path));
  auto other = Make("casio-cz101");
  Host from(*instrument);
  Host to(*other);
  for (std::uint8_t tone = 0x20; tone < 0x30; ++tone) {
    EXPECT_EQ(from.Ask(Bytes{0xF0, 0x44, 0, 0, 0x70, 0x10, tone}), Hex("F0 44 00 00 70 30"));
    const Bytes data = from.Ask("70 31", 1);
    ASSERT_EQ(data.size(), 257U);
    EXPECT_TRUE(from.Ask("F7", 1).empty());
    EXPECT_EQ(from.Ask("F0 44 00 00 70 10 60 F7"), Hex("F0 44 00 00 70 30"));  // left at once
    EXPECT_EQ(to.Ask(Bytes{0xF0, 0x44, 0, 0, 0x70, 0x20, tone}), Hex("F0 44 00 00 70 30"));
    EXPECT_TRUE(to.Ask(data, 1).empty());
    EXPECT_EQ(other->display(), "OK");
  }
  EXPECT_TRUE(other->Dump() == ReadWhole(path));
  // Tones beyond the sixteen of this model are named in the notes.
  const auto more = instrument->LoadDump(ReadWhole(SysExFolder() / "casio-cz101/cz10001.syx"));
  EXPECT_EQ(more.messages, 32);
  EXPECT_EQ(more.taken, 16);
  EXPECT_EQ(more.notes.front(), "Message 17 of the dump is for a tone number that this instrument does not have.");
}

// What an instrument sends by itself: the file comes back message by message, in its order.
TEST(RealPanelDumps, StandInTheDumpOfEverything) {
  struct Case {
    const char* key;
    const char* file;
    int taken;
    const char* area;  // names of its items are compared; "" = none
  };
  const Case cases[] = {
      {"roland-alphajuno-mks50", "roland-alphajuno/FACTORYA.SYX", 16, "tones"},
      {"roland-alphajuno-mks50", "roland-alphajuno/x-PatchParameters-MKS50-FACTORYA.SYX", 16, "patches"},
      {"roland-alphajuno-mks50", "roland-alphajuno/x-ChordMemory-MKS50.SYX", 1, ""},
      {"roland-juno106", "roland-juno106/bank_A1x.mid", 8, ""},
      {"roland-juno106", "roland-juno106/bank_A4x.mid", 8, ""},
      {"roland-d110-mt32", "roland-d110/RolandD110Tone_v3.syx", 1, ""},
      {"yamaha-dx7ii-tx802", "yamaha-dx7ii/yamahaDX7II-STUDIOREINE_BANK.syx", 10, "voices"},
      {"roland-jx8p", "roland-jx8p/Roland_JX_8P_FACTORY_BANK_1-32.syx", 64, "tones"},
  };
  for (const Case& test : cases) {
    const auto path = SysExFolder() / test.file;
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real dumps at " << path;
    SCOPED_TRACE(test.file);
    std::string problem;
    const auto instrument = SimulatedInstrument::CreateForDump(ReadWhole(path), &problem);
    ASSERT_NE(instrument, nullptr) << problem;
    EXPECT_EQ(instrument->description().key, test.key);
    EXPECT_EQ(Make(test.key)->LoadDump(ReadWhole(path)).taken, test.taken);
    const auto messages = ScanSysEx(ReadWhole(path));
    const Bytes wanted = Joined(messages, 0, static_cast<int>(messages.size()));
    const Bytes dump = instrument->Dump();
    EXPECT_NE(std::search(dump.begin(), dump.end(), wanted.begin(), wanted.end()), dump.end());
    const auto names = ExpectedNames(test.file);
    const auto list = instrument->PanelList(test.area);
    for (std::size_t i = 0; i < names.size() && *test.area; ++i) EXPECT_EQ(list[i].name, names[i]) << i;
  }
}

// Every patch of a file is asked for by its number, and sent to another instrument that acknowledges it.
TEST(RealBanks, ComeBackPatchByPatch) {
  struct Case {
    const char* key;
    const char* file;
    const char* request;  // what stands before the number
    std::size_t number;   // where it stands in the dump, and its bytes
    std::size_t bytes;
    const char* taken;
  };
  const Case cases[] = {
      {"novation-bassstation2", "novation-bassstation2/NovationBassStationII_FactoryPack.syx",
       "F0 00 20 29 00 33 00 41", 8, 1, ""},
      {"behringer-pro800", "behringer-pro800/PRO-800_Presets_v1.4.4.syx", "F0 00 20 32 00 01 24 00 77", 9, 2,
       "F0 00 20 32 00 01 24 00 01 00 F7"},
  };
  for (const Case& test : cases) {
    const auto path = SysExFolder() / test.file;
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real dumps at " << path;
    SCOPED_TRACE(test.file);
    std::string problem;
    auto from = SimulatedInstrument::CreateForDump(ReadWhole(path), &problem);
    ASSERT_NE(from, nullptr) << problem;
    ASSERT_EQ(from->description().key, test.key);
    auto to = Make(test.key);
    Host sender(*from);
    Host taker(*to);
    for (const Bytes& message : ScanSysEx(ReadWhole(path))) {
      Bytes request = Hex(test.request);
      const auto number = message.begin() + static_cast<std::ptrdiff_t>(test.number);
      request.insert(request.end(), number, number + static_cast<std::ptrdiff_t>(test.bytes));
      request.push_back(0xF7);
      EXPECT_TRUE(sender.Ask(request) == message);
      EXPECT_EQ(taker.Ask(message), Hex(test.taken));
    }
    const std::string area = from->PanelList().front().area;
    for (int item = 0; item < 100; ++item) EXPECT_EQ(to->Item(area, item), from->Item(area, item)) << item;
    const auto names = ExpectedNames(test.file);
    const auto list = from->PanelList(area);
    for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(list[i].name, names[i]) << i;
  }
}

// All tones of one MKS-50 go to another, block by block, and damage on the way is told.
TEST(FileTransfer, BlocksAreAcknowledged) {
  auto from = Make("roland-alphajuno-mks50");
  auto to = Make("roland-alphajuno-mks50");
  to->SetMemoryProtect(true);
  ASSERT_TRUE(from->Rename("tones", 63, "LastTone"));
  Host sender(*from);
  Host taker(*to);
  const Bytes acknowledge = Hex("F0 41 43 00 23 F7");
  EXPECT_EQ(taker.Ask("F0 41 40 00 23 F7"), Hex("F0 41 4F 00 23 F7"));
  to->SetMemoryProtect(false);
  EXPECT_EQ(taker.Ask("F0 41 40 00 23 F7"), acknowledge);
  Bytes block = sender.Ask("F0 41 41 00 23 F7");
  for (int n = 0; n < 16; ++n, block = sender.Ask(acknowledge)) {
    ASSERT_EQ(block.size(), 267U);
    Bytes damaged = block;
    damaged[20] ^= 1;
    EXPECT_EQ(taker.Ask(damaged), Hex("F0 41 4E 00 23 F7"));
    EXPECT_TRUE(sender.Ask("F0 41 4E 00 23 F7") == block);
    EXPECT_EQ(taker.Ask(block), acknowledge);
  }
  EXPECT_EQ(block, Hex("F0 41 45 00 23 F7"));
  EXPECT_EQ(taker.Ask(block), acknowledge);
  EXPECT_EQ(to->display(), "COMPLETE");
  EXPECT_EQ(to->PanelList("tones").back().name, "LastTone");
  EXPECT_EQ(to->Item("tones", 7), from->Item("tones", 7));
  EXPECT_EQ(taker.Ask(block), Bytes());  // nothing is going on any more
  EXPECT_EQ(taker.Ask(Hex("F0 41 42 00 23 F7")), Hex("F0 41 4F 00 23 F7"));
}

// Values that a bank keeps in bits of several bytes are whole in the edit buffer.
TEST(AlphaJuno, ToneBecomesItsParameters) {
  auto juno = Make("roland-alphajuno-mks50");
  Host host(*juno);
  host.Ask("C0 05");
  const Bytes packed = juno->Item("tones", 5);
  const Bytes edit = juno->Item("edit", 0);
  EXPECT_EQ(edit[0], packed[5] >> 7 << 1 | packed[6] >> 7);  // envelope mode
  EXPECT_EQ(edit[13], packed[0] >> 4 << 3);                  // aftertouch depth
  EXPECT_EQ(edit[34], packed[27] >> 6 << 5 | packed[28] >> 6 << 3 | packed[29] >> 6 << 1 | (packed[30] >> 6 & 1));
  ASSERT_TRUE(juno->StorePatch("tones", 5));
  EXPECT_EQ(juno->Item("tones", 5), packed);
}

// A patch comes in acknowledged pieces; what a file wrote is what is read, but for the kind of the record.
TEST(RealHydrasynthPatch, ComesBackPieceByPiece) {
  const auto path = SysExFolder() / "asm-hydrasynth/ASMHydrasynth_v2.syx";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real dumps at " << path;
  const auto messages = ScanSysEx(ReadWhole(path));
  auto instrument = Make("asm-hydrasynth");
  EXPECT_EQ(instrument->LoadDump(ReadWhole(path)).taken, 25);
  EXPECT_EQ(instrument->PanelList("patches").front().name, "Init");
  EXPECT_TRUE(instrument->DumpOf("patches", 0) == ReadWhole(path));
  Host host(*instrument);
  EXPECT_TRUE(host.Ask("F0 00 20 2B 00 6F 74 4C 66 5A 55 51 51 41 41 41 41 3D F7").empty()) << "it is not locked";
  EXPECT_EQ(host.Ask(messages[0]), Hex("F0 00 20 2B 00 6F 47 45 51 6D 4A 52 6B 41 F7"));
  EXPECT_EQ(host.Ask("F0 00 20 2B 00 6F 74 4C 66 5A 55 51 51 41 41 41 41 3D F7").size(), 191U);
  EXPECT_EQ(host.Ask("F0 00 20 2B 00 6F 6C 50 71 68 35 78 63 41 41 42 59 3D F7"), messages[2]);
  EXPECT_EQ(host.Ask("F0 00 20 2B 00 6F 31 63 75 36 2F 68 63 41 41 52 59 3D F7"), messages[3]);
  EXPECT_EQ(host.Ask("F0 00 20 2B 00 6F 32 78 63 4C 44 68 6F 41 F7"),
            Hex("F0 00 20 2B 00 6F 6D 69 59 51 46 78 73 41 F7"));
  // Written message by message, into another: every piece is acknowledged.
  auto other = Make("asm-hydrasynth");
  Host to(*other);
  for (const Bytes& message : messages) EXPECT_FALSE(to.Ask(message).empty());
  EXPECT_EQ(other->display(), "RECEIVED");
  EXPECT_TRUE(other->DumpOf("patches", 0) == ReadWhole(path));
}

}  // namespace
}  // namespace tonalith::simulator_test
