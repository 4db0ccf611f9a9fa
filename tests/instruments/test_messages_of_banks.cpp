#include <algorithm>

#include "data/checksums.h"
#include "data/hex_text.h"
#include "simulator/instrument.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Dump = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

Dump& operator+=(Dump& a, const Dump& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// "offset length type verdict first-slot..last-slot" of every piece, then what is said about the rest.
Texts FoundSlots(const Dump& file) {
  Recognition found;
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  const Result result = recognizer.Recognize(file, &found);
  Texts out;
  for (const RecognizedPiece& piece : found.pieces) {
    const auto lines = recognizer.Patches(*piece.data);
    out.push_back(std::to_string(piece.offset) + " " + std::to_string(piece.length) + " " + piece.dataType + " " +
                  ChecksumVerdictText(piece.checksum) + " " +
                  (lines.empty() ? "" : lines.front().number + ".." + lines.back().number));
  }
  if (!result.ok()) out.push_back(result.text);
  return out;
}

Dump Program(int seed) {
  Dump dump = *ParseHex("F0 42 35 03 40");
  for (int i = 0; i < 51; ++i) dump.push_back(static_cast<std::uint8_t>((seed + i) & 1));
  dump.push_back(0xF7);
  return dump;
}

Dump Stored(int place) {
  Dump dump = Program(place);
  dump += *ParseHex("F0 42 35 03 11 00 F7");
  dump[dump.size() - 2] = static_cast<std::uint8_t>(place);
  return dump;
}

Dump SimulatedDump(const char* key, const char* message, int item = 0) {
  std::string problem;
  const auto instrument = SimulatedInstrument::Create(key, &problem);
  return instrument ? instrument->DumpOf(message, item) : Dump();
}

}  // namespace

// The place of a program stands in the message that stores it, or nowhere.
TEST(MessagesOfBanks, ProgramsAndTheMessagesThatStoreThem) {
  Dump stored, changes, plain;
  for (int i = 0; i < 64; ++i) {
    stored += Stored(63 - i);
    plain += Program(i);
    changes += Program(i);
    changes += {0xC5, static_cast<std::uint8_t>(i)};
  }
  EXPECT_EQ(FoundSlots(stored), Texts{"0 4096 Program Bank none 11..88"});
  EXPECT_EQ(FoundSlots(plain), Texts{"0 3648 Program Bank none 11..88"});
  EXPECT_EQ(FoundSlots(changes), Texts{"0 3774 Program Bank none 11..88"});
  Recognition found;
  ASSERT_TRUE(InstalledModules::Instance().recognizer().Recognize(stored, &found).ok());
  const Dump last = Program(9);
  EXPECT_EQ(found.unknownMessages, 0u);
  EXPECT_TRUE(std::equal(last.begin(), last.end(), found.pieces[0].data->body + 9 * 57));
  Dump some = Stored(20);
  EXPECT_EQ(FoundSlots(some), Texts{"0 64 Program none 35..35"});
  some += Stored(7);
  EXPECT_EQ(FoundSlots(some), Texts{"0 128 Program Bank none 18..35"});
  some += Stored(20);
  EXPECT_EQ(FoundSlots(some), (Texts{"0 128 Program Bank none 18..35", "128 64 Program none 35..35"}));
  Dump two = Program(1);
  two += Program(2);
  EXPECT_EQ(FoundSlots(two), (Texts{"0 57 Program none 11..11", "57 57 Program none 11..11"}));
}

// What lacks a message or has one of another length is not called good.
TEST(MessagesOfBanks, LostBytesAreTold) {
  Dump bank;
  for (int i = 0; i < 64; ++i) bank += Stored(i);
  Dump torn = bank, shorter = bank;
  torn[64 * 5 + 56] = 0x11;
  shorter.erase(shorter.begin() + 64 * 5 + 20, shorter.begin() + 64 * 5 + 30);
  EXPECT_EQ(FoundSlots(torn), Texts{"0 4096 Program Bank bad 11..88"});
  EXPECT_EQ(FoundSlots(shorter), Texts{"0 4086 Program Bank bad 11..88"});
  Dump programs = SimulatedDump("korg-ms2000-microkorg", "programs");
  ASSERT_EQ(programs.size(), 37163u);
  EXPECT_EQ(FoundSlots(programs), Texts{"0 37163 Program Bank none A01..H16"});
  programs.erase(programs.begin() + 1000, programs.begin() + 1008);
  EXPECT_EQ(FoundSlots(programs),
            Texts{"The file holds no data that could be kept, only 1 Program Bank of the Korg MS2000 "
                  "microKORG with 37155 in place of 37163 bytes."});
  Dump junk = {1, 2, 0xF0};
  junk += SimulatedDump("kawai-k1", "upper");
  junk.insert(junk.begin() + 100, {0xF8, 0xF8});
  Recognition found;
  ASSERT_TRUE(InstalledModules::Instance().recognizer().Recognize(junk, &found).ok());
  EXPECT_EQ(found.outsideBytes, 2u);
  EXPECT_EQ(found.unterminated, 1u);
  EXPECT_EQ(found.realTimeBytes, 2u);
}

// Banks in one message: every block has its checksum, and the instrument's numbers tell the memories apart.
TEST(MessagesOfBanks, BlocksWithChecksums) {
  const struct {
    const char* key;
    const char* message;
    const char* type;
    const char* numbers;
    std::size_t touched[3];  // one byte of the first, of a middle and of the last block
  } cases[] = {{"kawai-k1", "upper", "Single Bank I Upper", "IA-1..ID-8", {20, 1500, 2800}},
               {"kawai-k1", "lower", "Single Bank I Lower", "iA-1..iD-8", {20, 1500, 2800}},
               {"kawai-k1", "card_lower", "Single Bank E Lower", "eA-1..eD-8", {20, 1500, 2800}},
               {"kawai-k1", "card_multis", "Multi Bank E", "EA-1..ED-8", {20, 1500, 2400}},
               {"yamaha-sy22-tg33", "bank", "TG33 Voice Bank", "11..88", {100, 20000, 37600}},
               {"yamaha-sy22-tg33", "sy_all", "SY22 Voices and Multis", "11..88", {100, 20000, 38300}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    const Dump dump = SimulatedDump(c.key, c.message);
    const std::string place = "0 " + std::to_string(dump.size()) + " " + c.type;
    EXPECT_EQ(FoundSlots(dump), Texts{place + " ok " + c.numbers});
    for (const std::size_t at : c.touched) {
      Dump damaged = dump;
      damaged[at] ^= 4;
      EXPECT_EQ(FoundSlots(damaged), Texts{place + " bad " + c.numbers}) << at;
    }
  }
  // A voice of the SY22 has a sum of its own: right for the message is not right for the voice.
  Dump voice = SimulatedDump("yamaha-sy22-tg33", "sy_voice");
  voice[200] ^= 4;
  CSum(voice, 0, 0, 6, 584, 590);
  EXPECT_EQ(FoundSlots(voice), Texts{"0 592 SY22 Voice bad 11..11"});
  // Singles of 32 known places are a bank, in whatever order.
  Dump singles;
  for (int i = 31; i >= 0; --i) singles += SimulatedDump("kawai-k1", "lower_single", i);
  EXPECT_EQ(FoundSlots(singles), Texts{"0 3104 Single Bank I Lower ok iA-1..iD-8"});
  EXPECT_EQ(FoundSlots(SimulatedDump("kawai-k1", "lower_single", 9)), Texts{"0 97 Single ok iB-2..iB-2"});
}

// Acknowledgements are no data, however alike they begin.
TEST(MessagesOfBanks, SequencesOfAnySize) {
  EXPECT_EQ(FoundSlots(SimulatedDump("ensoniq-esq1-sq80", "sequence")), Texts{"0 366 Sequence none  1.. 1"});
  EXPECT_EQ(FoundSlots(*ParseHex("F0 0F 02 00 04 F7")),
            Texts{"The file holds no data that could be kept, only 1 acknowledgements of the Ensoniq ESQ-1 SQ-80."});
}

}  // namespace tonalith
