#include <algorithm>
#include <numeric>

#include "data/checksums.h"
#include "data/container.h"
#include "data/hex_text.h"
#include "data/patch_names.h"
#include "data/standard_midi_file.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Dump = std::vector<std::uint8_t>;

Dump operator+(Dump a, const Dump& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

DataFilePtr FreshData(const std::string& instrument, const std::string& type) {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();
  return studio.GetNewDataFile(studio.FindDriver(instrument, type));
}

Dump FreshImage(const std::string& instrument, const std::string& type, int device = -1) {
  const DataFilePtr data = FreshData(instrument, type);
  Dump image(data->body, data->body + data->synth->fileSize);
  if (device >= 0) image[2] = static_cast<std::uint8_t>((image[2] & 0xF0) | device);
  return image;
}

// A Roland data message.
Dump Dt1(const std::string& head, std::uint32_t address, int addressBytes, const Dump& data) {
  Dump message = *ParseHex(head);
  const std::size_t begin = message.size();
  message.resize(begin + static_cast<std::size_t>(addressBytes));
  RolandWrite(addressBytes, message.data() + begin, address);
  message.insert(message.end(), data.begin(), data.end());
  message.push_back(RolandCheckSum(message.data() + begin, static_cast<std::int64_t>(message.size() - begin)));
  message.push_back(0xF7);
  return message;
}

Dump Numbers(std::size_t n, int seed) {
  Dump bytes(n);
  for (std::size_t i = 0; i < n; ++i)
    bytes[i] = static_cast<std::uint8_t>((i * 5 + static_cast<std::size_t>(seed)) & 0x3F);
  return bytes;
}

Dump D50Memory(std::uint32_t from, std::uint32_t bytes, std::uint32_t chunk) {
  Dump dump;
  for (std::uint32_t at = 0; at < bytes; at += chunk)
    dump = dump + Dt1("F0 41 03 14 12", 0x8000 + from + at, 3,
                      Numbers(std::min(chunk, bytes - at), static_cast<int>(from + at)));
  return dump;
}

Dump JvPatch(std::uint32_t area, std::uint32_t slot, bool splitCommon = false) {
  const std::uint32_t base = (area << 21) + (slot << 14);
  const Dump common = Numbers(72, static_cast<int>(slot));
  Dump dump;
  if (splitCommon) {
    dump = Dt1("F0 41 10 6A 12", base + 40, 4, Dump(common.begin() + 40, common.end())) +
           Dt1("F0 41 10 6A 12", base, 4, Dump(common.begin(), common.begin() + 40));
  } else {
    dump = Dt1("F0 41 10 6A 12", base, 4, common);
  }
  for (std::uint32_t tone = 0; tone < 4; ++tone)
    dump = dump + Dt1("F0 41 10 6A 12", base + 0x800 + 0x100 * tone, 4, Numbers(129, static_cast<int>(slot + tone)));
  return dump;
}

Dump MatrixPatch(int number) {
  Dump patch = FreshImage("matrix", "Patch");
  patch[3] = 1;
  patch[4] = static_cast<std::uint8_t>(number);
  return patch;
}

Dump CasioTone(int memory) {
  Dump dump = *ParseHex("F0 44 00 00 75 20");
  dump.push_back(static_cast<std::uint8_t>(memory));
  dump.insert(dump.end(), 256, 3);
  dump.push_back(0xF7);
  return dump;
}

Dump K4Single(int number) {
  Dump single = FreshImage("k4", "Single");
  single[7] = static_cast<std::uint8_t>(number);
  single[20] = static_cast<std::uint8_t>(number);
  CSum(single, 0, 3, 8, 130, 138);
  return single;
}

// "offset length type verdict voices" of every piece.
std::vector<std::string> Pieces(const Dump& file) {
  Recognition found;
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  const Result result = recognizer.Recognize(file, &found);
  std::vector<std::string> out;
  if (!result.ok()) out.push_back(result.text);
  for (const RecognizedPiece& piece : found.pieces)
    out.push_back(std::to_string(piece.offset) + " " + std::to_string(piece.length) + " " + piece.dataType + " " +
                  ChecksumVerdictText(piece.checksum) + " " + std::to_string(recognizer.Patches(*piece.data).size()));
  return out;
}

using Texts = std::vector<std::string>;

}  // namespace

TEST(RecognizeVariants, WholeMessages) {
  const Dump bank = FreshImage("dx7", "Voice Bank", 5), voice = FreshImage("dx7", "Voice", 15);
  Dump bad = bank, cut(bank.begin(), bank.end() - 1), clocked = bank;
  bad[100] ^= 1;
  clocked.insert(clocked.begin() + 50, {0xF8, 0xFE});
  const Dump junk = {1, 2, 3, 0x90, 0x3C, 0x7F};
  EXPECT_EQ(Pieces(bank), Texts{"0 4104 Voice Bank ok 32"});
  EXPECT_EQ(Pieces(junk + bank + junk + voice + voice),
            (Texts{"6 4104 Voice Bank ok 32", "4116 163 Voice ok 1", "4279 163 Voice ok 1"}));
  EXPECT_EQ(Pieces(bad + FreshImage("tx81z", "Voice Bank")),
            (Texts{"0 4104 Voice Bank bad 32", "4104 4104 Voice Bank ok 32"}));
  EXPECT_EQ(Pieces(clocked), Texts{"0 4106 Voice Bank ok 32"});
  EXPECT_EQ(Pieces(cut + voice), Texts{"4103 163 Voice ok 1"});
  EXPECT_EQ(Pieces(cut), Texts{"The file holds only unfinished SysEx messages."});
  EXPECT_EQ(Pieces(junk), Texts{"The file holds no SysEx and is neither a data file nor a Standard MIDI File."});
  EXPECT_EQ(Pieces(*ParseHex("F0 7E 00 06 01 F7")), Texts{"No data of an installed instrument is in the file."});
  Recognition found;
  ASSERT_TRUE(InstalledModules::Instance().recognizer().Recognize(bank, &found).ok());
  EXPECT_EQ(found.pieces[0].data->synth->sysExChannel, 5);
  EXPECT_EQ(found.pieces[0].data->xtra->hasNoSysEx, 0);
}

TEST(RecognizeVariants, BanksOfSingles) {
  const Dump bank3 = *ParseHex("F0 10 06 0A 03 F7");
  Dump some, all;
  for (const int n : {7, 3, 99}) some = some + MatrixPatch(n);
  EXPECT_EQ(Pieces(some), Texts{"0 825 Patch Bank 0 ok 3"});
  EXPECT_EQ(Pieces(bank3 + some), Texts{"6 825 Patch Bank 3 ok 3"});
  EXPECT_EQ(Pieces(some + bank3 + some), (Texts{"0 825 Patch Bank 0 ok 3", "831 825 Patch Bank 3 ok 3"}));
  EXPECT_EQ(Pieces(some + some), (Texts{"0 825 Patch Bank 0 ok 3", "825 825 Patch Bank 0 ok 3"}));
  EXPECT_EQ(Pieces(MatrixPatch(42)), Texts{"0 275 Patch ok 1"});

  Dump tones, cartridge, area;
  for (int n = 0; n < 16; ++n) tones = CasioTone(0x20 + n) + tones, cartridge = cartridge + CasioTone(0x40 + n);
  for (int n = 0; n < 3; ++n) area = area + CasioTone(0x60);
  EXPECT_EQ(Pieces(tones), Texts{"0 4224 Tone Bank none 16"});
  EXPECT_EQ(Pieces(tones + cartridge), (Texts{"0 4224 Tone Bank none 16", "4224 4224 Tone Bank none 16"}));
  EXPECT_EQ(Pieces(area).size(), 3u);

  for (int n = 0; n < 64; ++n) all = all + K4Single(63 - n);
  EXPECT_EQ(Pieces(all), Texts{"0 8960 Single Bank ok 64"});
  EXPECT_EQ(Pieces(Dump(all.begin(), all.end() - 140)).size(), 63u)
      << "a bank that goes out as one block needs all its voices";
  Recognition found;
  ASSERT_TRUE(InstalledModules::Instance().recognizer().Recognize(all, &found).ok());
  const std::uint8_t* body = found.pieces[0].data->body;
  EXPECT_EQ(HexText({body, 8}), "F0 40 00 21 00 04 00 00");
  EXPECT_EQ(body[8392], 0xF7);
  EXPECT_EQ(body[8 + 131 * 5 + 12], 5);
}

TEST(RecognizeVariants, NumbersOfSinglePatches) {
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  const std::vector<std::pair<Dump, std::string>> cases = {{MatrixPatch(42), "042"},
                                                           {CasioTone(0x2F), "16"},
                                                           {K4Single(17), "B-2"},
                                                           {JvPatch(0x11, 107), "108"},
                                                           {D50Memory(448 * 9, 448, 256), "I-22"}};
  for (const auto& [dump, number] : cases) {
    Recognition found;
    ASSERT_TRUE(recognizer.Recognize(dump, &found).ok()) << number;
    ASSERT_EQ(found.pieces.size(), 1u) << number;
    const auto lines = recognizer.Patches(*found.pieces[0].data);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].number, number);
  }
}

// Places of single patches in one of several banks; and what the image does not keep of their messages.
TEST(RecognizeVariants, NumbersOverSeveralBanks) {
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  Dump sound = FreshImage("blofeld", "Sound"), single = FreshImage("virus", "Single");
  sound[5] = 2;
  sound[6] = 5;
  Dump anySum = sound, badSum = sound, sledge = sound;
  sledge[2] = 0x15;
  EXPECT_EQ(Pieces(sledge), Texts{"No data of an installed instrument is in the file."});
  anySum[390] = 0x7F;
  badSum[390] ^= 1;
  single[7] = 2;
  single[8] = 7;
  CSum(single, 0, 4, 5, 260, 265);
  const Dump edited = FreshImage("prophet 08", "Program");
  const Dump program = *ParseHex("F0 01 23 02 01 05") + Dump(edited.begin() + 4, edited.end());
  struct Case {
    Dump dump;
    const char *type, *number, *verdict, *head;
  };
  const std::vector<Case> cases = {
      {sound, "Sound", "C006", "ok", "F0 3E 13 00 10 02 05"},
      {anySum, "Sound", "C006", "ok", "F0 3E 13 00 10 02 05"},
      {badSum, "Sound", "C006", "bad", "F0 3E 13 00 10 02 05"},
      {single, "Single", "B7", "ok", "F0 00 20 33 01 00 10"},
      {program, "Program", "2-6", "none", "F0 01 23 03 00 00 00"},
      {edited, "Program", "1-1", "none", "F0 01 23 03 00 00 00"},
  };
  for (const Case& c : cases) {
    Recognition found;
    ASSERT_TRUE(recognizer.Recognize(c.dump, &found).ok()) << c.number;
    ASSERT_EQ(found.pieces.size(), 1u);
    const RecognizedPiece& piece = found.pieces[0];
    EXPECT_EQ(piece.dataType, c.type);
    EXPECT_EQ(recognizer.Patches(*piece.data).front().number, c.number);
    EXPECT_EQ(ChecksumVerdictText(piece.checksum), std::string(c.verdict)) << c.number;
    EXPECT_EQ(HexText({piece.data->body, 7}), c.head);
  }
}

TEST(RecognizeVariants, DataByAddress) {
  const Dump all = D50Memory(0, 34688, 256), bank = D50Memory(0, 28672, 128), ten = D50Memory(448 * 20, 4480, 256);
  EXPECT_EQ(Pieces(all), Texts{"0 36048 Patches and Reverbs ok 64"});
  EXPECT_EQ(Pieces(bank), Texts{"0 30912 Patch Bank ok 64"});
  EXPECT_EQ(Pieces(ten), Texts{"0 4660 Patch Bank ok 10"});
  EXPECT_EQ(Pieces(D50Memory(448 * 3, 448, 256)), Texts{"0 468 Patch ok 1"});
  Dump bad = bank;
  bad[500] ^= 1;
  EXPECT_EQ(Pieces(bad), Texts{"0 30912 Patch Bank bad 64"});
  Dump temporary, twice;
  for (std::uint32_t block = 0; block < 7; ++block) {
    temporary = temporary + Dt1("F0 41 00 14 12", 64 * block, 3, Numbers(64, static_cast<int>(block)));
    twice = twice + Dt1("F0 41 00 14 12", 64 * block, 3, Numbers(64, static_cast<int>(block) + 9));
  }
  EXPECT_EQ(Pieces(temporary + twice), (Texts{"0 518 Patch ok 1", "518 518 Patch ok 1"}));
  EXPECT_EQ(Pieces(all + temporary), (Texts{"0 36048 Patches and Reverbs ok 64", "36048 518 Patch ok 1"}));
}

TEST(RecognizeVariants, PatchesOfSeveralAddressedMessages) {
  const Dump three = JvPatch(0x21, 4) + JvPatch(0x21, 5) + JvPatch(0x21, 90);
  EXPECT_EQ(Pieces(three), Texts{"0 1929 Patch Bank ok 3"});
  EXPECT_EQ(Pieces(JvPatch(0x03, 0)), Texts{"0 643 Patch ok 1"});
  // The last patch misses its last tone.
  EXPECT_EQ(Pieces(Dump(three.begin(), three.end() - 140)), Texts{"0 1789 Patch Bank bad 2"});
  // A message of the bank that lost its first or last byte, or bytes of another kind between whole messages.
  Dump headless = three, endless = three;
  headless[643] = 0xF1;
  endless[642] = 0x77;
  EXPECT_EQ(Pieces(headless), Texts{"0 1929 Patch Bank bad 2"});
  EXPECT_EQ(Pieces(endless), Texts{"0 1929 Patch Bank bad 2"});
  EXPECT_EQ(Pieces(JvPatch(0x21, 4) + Dump{0xF7, 0x90, 0x3C, 0x7F} + JvPatch(0x21, 5)),
            Texts{"0 1290 Patch Bank ok 2"});
  // A relative's common part is longer: its last bytes have no place here.
  Dump relative;
  for (std::uint32_t slot = 0; slot < 3; ++slot) {
    const Dump patch = JvPatch(0x11, slot);
    relative = relative + Dt1("F0 41 10 6A 12", (0x11u << 21) + (slot << 14), 4, Numbers(74, 1)) +
               Dump(patch.begin() + 83, patch.end());
  }
  EXPECT_EQ(Pieces(relative), Texts{"No data of an installed instrument is in the file."});
  Recognition split, plain;
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  ASSERT_TRUE(recognizer.Recognize(JvPatch(0x11, 6, true), &split).ok());
  ASSERT_TRUE(recognizer.Recognize(JvPatch(0x11, 6), &plain).ok());
  EXPECT_TRUE(std::equal(split.pieces[0].data->body, split.pieces[0].data->body + 643, plain.pieces[0].data->body));
  const Dump patch = JvPatch(0x11, 6);
  EXPECT_TRUE(std::equal(patch.begin(), patch.end(), plain.pieces[0].data->body));
}

TEST(RecognizeVariants, OtherKindsOfFiles) {
  const Dump voice = FreshImage("tx81z", "Voice"), bank = FreshImage("k4", "Multi Bank");
  const Dump first(voice.begin(), voice.begin() + 41), second(voice.begin() + 41, voice.end());
  const std::vector<SmfMessage> events = {{first, 0}, {second, 20}, {bank, 20}};
  const Texts pieces = Pieces(WriteSmfSysEx(events));
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_NE(pieces[0].find(" Voice ok 1"), std::string::npos) << pieces[0];
  EXPECT_NE(pieces[1].find(" 4937 Multi Bank ok 64"), std::string::npos) << pieces[1];

  const DataFilePtr data = FreshData("dx7", "Voice Bank");
  SetPatchName(data.get(), 3, "RENAMED");
  Dump form;
  ASSERT_TRUE(DiskWriteForm(&form, *data));
  EXPECT_EQ(Pieces(form), Texts{"0 4104 Voice Bank bad 0"})
      << "renaming changes a byte that is summed; the voices are still marked empty";
  Dump longer = *ParseHex("F0 42 31 19 48 00 01 02 03 F7");
  EXPECT_EQ(Pieces(longer), Texts{"0 10 Sequences none 1"});
}

// Files made to be slow: many short messages that all could begin something.
TEST(RecognizeVariants, ManyLooseMessagesEndSoon) {
  Dump file;
  for (int i = 0; i < 60000; ++i) {
    const Dump one =
        Dt1("F0 41 00 14 12", static_cast<std::uint32_t>(i * 37 % 400), 3, {static_cast<std::uint8_t>(i & 0x7F)});
    file.insert(file.end(), one.begin(), one.end());
  }
  EXPECT_EQ(Pieces(file), Texts{"No data of an installed instrument is in the file."});
}

}  // namespace tonalith
