#include "data/patch_names.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "data/synth_fields.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Rows of "format slot voices first-number name-format=TEXT": inside of a bank, its last slot, and the one behind,
// where the first digit goes on or begins anew.
constexpr const char* kNumbers =
    "0 0 100 0 0= 0,0 0 128 0 2=A-11,0 5 64 0 0= 6,0 5 64 0 1= 5,0 5 100 0 5= 5,0 5 101 0 0=  6,0 5 101 0 14=  5,"
    "0 5 101 0 9=  5,0 5 128 0 22=  5,0 8 64 0 3=A-21,0 63 64 0 2=A-88,0 64 128 0 3=B-11,0 98 99 0 0=99,"
    "0 99 100 0 0=99,0 99 101 0 0=100,1 16 64 0 0=211,1 17 64 0 0=212,1 20 65 0 0=A221,1 63 64 0 0=444,"
    "1 63 65 0 0=A444,1 64 65 0 0=B111,1 70 128 0 0=B123,2 55 64 0 0=78,2 63 64 0 0=88,2 64 65 0 0=11,"
    "3 63 64 0 0=A64,3 64 128 0 0=B01,3 65 128 0 0=B02,3 128 129 0 0=C01,4 3 4 0 0=1D,4 4 8 0 0=2A,4 5 8 0 0=2B,"
    "5 3 4 0 0=01-4,5 4 8 0 0=02-1,5 5 8 0 0=02-2,6 15 16 0 0=A16,6 16 32 0 0=B01,6 17 32 0 0=B02,"
    "7 15 16 0 0=01-16,7 16 32 0 0=02-01,7 17 32 0 0=02-02,8 11 12 0 0=A12,8 12 24 0 0=B01,8 13 24 0 0=B02,"
    "9 0 128 0 0=A-11,9 63 64 0 0=A-88,9 72 128 0 0=B-21,9 127 128 0 0=B-88,10 4 5 0 0=01-5,10 5 10 0 0=02-1,"
    "10 6 10 0 0=02-2,11 63 64 0 0=1D-16,11 64 128 0 0=2A-01,11 81 128 0 0=2B-02,12 0 99 1 0=02,12 0 100 0 0=01,"
    "12 0 101 0 0=001,12 4 64 0 0=05,12 4 64 86 0=091,12 4 101 0 0=005,13 63 64 0 0=1-88,13 64 128 0 0=2-11,"
    "13 73 128 0 0=2-22,14 15 16 0 0=[01] 4-4,14 16 32 0 0=[02] 1-1,14 21 64 0 0=[02] 2-2,15 31 32 0 0=[01] D-8,"
    "15 32 64 0 0=[02] A-1,15 41 64 0 0=[02] B-2,16 15 16 0 0=A16,16 16 32 0 0=B01,16 17 32 0 0=B02,"
    "17 63 64 0 0=A16-D4,17 64 128 0 0=B01-D1,17 69 128 0 0=B02-D2,18 63 64 0 0=A16-A4,18 64 128 0 0=B01-A1,"
    "18 69 128 0 0=B02-A2,19 15 16 0 0=01.16,19 16 32 0 0=02.01,19 17 32 0 0=02.02,20 63 64 0 0=1:8:8,"
    "20 64 128 0 0=2:1:1,20 73 128 0 0=2:2:2,21 10 65535 0 0=0:0:1:0,21 1234 2000 0 0=1:2:3:4,"
    "21 9999 65535 0 0=9:9:9:9,22 511 512 0 0=1:8:8:8,22 512 1024 0 0=2:1:1:1,22 585 1024 0 0=2:2:2:2,"
    "23 39 40 0 0=1:5:8,23 40 80 0 0=2:1:1,23 49 80 0 0=2:2:2,24 99 100 0 0=0-99,24 100 200 0 0=1-00,"
    "24 123 200 0 0=1-23,25 63 64 0 0=A:8:8,25 64 128 0 0=B:1:1,25 73 128 0 0=B:2:2,26 127 128 0 0=A128,"
    "26 128 256 0 0=B001,26 129 256 0 0=B002,27 7 8 0 0= 1:8,27 8 16 0 0= 2:1,27 9 16 0 0= 2:2,28 8 64 0 0= 9,"
    "28 8 99 0 0= 9,28 8 100 0 0=  9,64 0 32 32 0=iA-1,64 7 32 0 0=IA-8,64 9 32 0 0=IB-2,64 31 32 96 0=eD-8,"
    "64 32 64 0 0=iA-1,64 63 64 0 0=iD-8,64 64 64 0 0=EA-1,65 63 128 0 0=A88,65 64 128 0 0=B11,65 73 128 0 0=B22,"
    "66 0 128 384 0=D0,66 127 128 0 0=A127,66 128 256 0 0=B0,67 0 128 640 0=F2 P1,67 127 128 0 0=U1 P128,"
    "67 128 256 0 0=U2 P1,67 511 512 0 0=U4 P128,67 512 513 0 0=F1 P1,67 639 640 0 0=F1 P128,68 0 128 128 0=2-1,"
    "68 127 128 0 0=1-128,68 128 256 0 0=2-1,69 15 16 0 0=A-16,69 16 32 0 0=B-1,69 17 64 0 0=B-2,"
    "70 7 100 0 0=I07,71 9 32 0 0=PF10,72 7 100 0 0=007,73 31 32 0 0=D8,74 127 128 0 0=127,75 511 512 0 0=3-127,76 399 "
    "400 0 0=D-99,200 8 128 0 0=  9,";

TEST(PatchNumbers, EveryScheme) {
  std::istringstream rows(kNumbers);
  for (std::string row; std::getline(rows, row, ',');) {
    int format = 0, n = 0, voices = 0, first = 0, nameFormat = 0;
    ASSERT_EQ(std::sscanf(row.c_str(), "%d %d %d %d %d", &format, &n, &voices, &first, &nameFormat), 5) << row;
    Synth s{};
    s.numberFormat = static_cast<std::uint8_t>(format);
    s.numVoices = static_cast<std::uint32_t>(voices);
    s.bankNumberOffset = static_cast<std::int16_t>(first);
    s.nameFormat = static_cast<std::uint8_t>(nameFormat);
    EXPECT_EQ(MakeNumberStr(s, n), row.substr(row.find('=') + 1)) << row;
  }
  // Every one has a name and is inside of what a data type may have; plain numbers go without.
  const SynthField* field = FindSynthField("numberFormat");
  EXPECT_EQ(NumberFormats().size(), 28u + 13u);
  for (const int format : NumberFormats()) {
    EXPECT_TRUE(field->low <= format && format <= field->high) << format;
    EXPECT_STRNE(NumberFormatName(format), "");
  }
  EXPECT_EQ(NumberFormatName(kNumberFormatPlain), nullptr);
  for (int format = 0; format < 256; ++format) {  // any number gives some text
    Synth s{};
    s.numberFormat = static_cast<std::uint8_t>(format);
    s.bankNumberOffset = -32768;
    EXPECT_FALSE(MakeNumberStr(s, 3).empty());
  }
}

// Rows of "format|bytes|characters|TEXT;".
constexpr const char* kNames =
    "0|417F00C2|4|A  B;3|011B353E3F|5|Aa10-;4|41004200|2|AB;5|012130|3|A!0;6|40413E|3|AB ;7|01040204|2|AB;"
    "8|100163|3|A! ;9|08030308|2|AN;9|78130308|2|IN;10|001A5758|4|Aa. ;11|00013435|4| A? ;17|004041FF|4| !  ;"
    "18|01213F40|4|!E  ;30|00010008|2|AB;30|01000400|2|##;34|0A232432330009FF|8| 90 ?[ZA;"
    "20|F5BE77DF067F|8|12345 AZ;1|4180|2|A;21|8041090A|4|0A9\n;16|417F|2|A\x7F;33|C17F|2|A ;35|4142|2|AB;"
    "-1|C142|2|AB;12|C142|2|AB;13|0A0B00|3| A0;14|2100000000000022|2|AB;15|2122|2|AB;"
    "19|410000000000000042|2|AB;20|00110C8531C0|3|ABCDEFGH;21|41020500308089|7|A25 009;22|41420043|4|AB;"
    "23|414243444546470048|8|ABCDEFGH;24|00000000444C4D314142|2|AB;26|04010402|2|AB;27|412100|2|AB;"
    "28|000101000102|2|AB;32|04F10402|2|AB;34|3333240B0A020100|8|012AB[  ;";

TEST(PatchNames, DecodesKnownBytes) {
  std::istringstream rows(kNames);
  for (std::string row, format, image, length; std::getline(rows, row, ';');) {
    std::istringstream fields(row);
    std::getline(std::getline(std::getline(fields, format, '|'), image, '|'), length, '|');
    std::string text;
    std::getline(fields, text, '\0');
    const Bytes bytes = *ParseHex(image);
    EXPECT_EQ(BankDispString(Synth{}, bytes, static_cast<std::uint32_t>(std::stoul(length)), 0, 0, std::stoi(format)),
              text)
        << row;
  }
  EXPECT_EQ(BankDispString(Synth{}, *ParseHex("04 05 02 04 0A 03"), 1, 0, 0, 29), "A");
}

// Whatever a format can hold comes back, and no byte outside the name's place changes.
TEST(PatchNames, WritingIsTheInverseOfReading) {
  for (int format = 0; format < kNameFormats; ++format) {
    const int storage = format == 25 ? 20 : 0;
    Synth s{};
    SetStorageFormat(&s, storage);
    s.voiceSize = 200;
    const std::string name = format == 34 || format == 20 ? "AB CD EF" : "AB CD2 F";
    Bytes image(200, 0x05);
    for (const std::string& text : {name, std::string("ZA")}) {
      BankWriteString(&s, image, text, 8, 40, 3, format);
      std::string got = BankDispString(s, image, 8, 40, 3, format);
      got.resize(got.find_last_not_of(' ') + 1);
      EXPECT_EQ(got, text) << "format " << format;
    }
    const std::size_t first = format == 24 ? 80 : 43;
    for (std::size_t i = 0; i < first; ++i) EXPECT_EQ(image[i], 5) << "format " << format << " at " << i;
    for (std::size_t i = 43 + 8 * 8; i < image.size(); ++i) EXPECT_EQ(image[i], 5) << "format " << format;
  }
}

// What the name formats make of letters that they do not have.
TEST(PatchNames, NearestLetter) {
  const struct {
    int format, storage;
    const char *text, *name, *sentence;
  } cases[] = {
      {0, 0, "Fl\u00FCgel", "Flugel", "The name was written as \"Flugel\": the instrument has no \u00FC."},
      {0, 0, "Fu\u00DF\x7F\u0141\u20AC", "Fus L",
       "The name was written as \"Fus L\": the instrument has no \u00DF, \\x7F, \u0141 or \u20AC."},
      {0, 0, "u\u0308b", "ub", "The name was written as \"ub\": the instrument has no \u0308."},
      {0, 0, "\xFF", "", "The name was written as \"\": the instrument has no \uFFFD."},
      {0, 0, "NINE CHARS", "NINE CHA", "The name was written as \"NINE CHA\": a name has at most 8 characters."},
      {0, 0, "plain", "plain", ""},
      {16, 0, "\u00FF\x7Fx", "y x", "The name was written as \"y x\": the instrument has no \u00FF or \\x7F."},
      {19, 0, "\u00E9", "e", "The name was written as \"e\": the instrument has no \u00E9."},
      {8, 0, "\u00E9b*", "EB", "The name was written as \"EB\": the instrument has no \u00E9, * or small letters."},
      {26, 0, "\u00FC", "u", "The name was written as \"u\": the instrument has no \u00FC."},  // both halves of a byte
      {19, 1, "\u00FC", "u", "The name was written as \"u\": the instrument has no \u00FC."},
      {22, 2, "\u00FC", "u", "The name was written as \"u\": the instrument has no \u00FC."},
  };
  for (const auto& c : cases) {
    DataFilePtr df(AllocDataFile());
    ASSERT_TRUE(AllocChunk(&df->synth, &df->synthSize, kSynthSize));
    Synth& s = *df->synth;
    s.fileSize = 400;
    s.voiceSize = s.voiceBytes = 100;
    s.numVoices = 1;
    s.nameLength = 8;
    s.nameFormat = static_cast<std::uint8_t>(c.format);
    SetStorageFormat(&s, c.storage);
    ASSERT_TRUE(AllocChunk(&df->body, &df->bodySize, 400));
    const NameFit fit = FitPatchName(*df, c.text);
    EXPECT_EQ(fit.Sentence(), c.sentence);
    ASSERT_TRUE(SetPatchName(df.get(), 0, fit.name));
    EXPECT_EQ(GetPatchName(*df, 0), c.name) << c.sentence;
    for (const std::uint8_t byte : BodySpan(*df)) ASSERT_LT(byte, 0x7F) << c.sentence;
  }
}

// How many of the 256 characters each format holds, and what becomes of the others.
TEST(PatchNames, CharactersOfEveryFormat) {
  Synth s{};
  s.voiceSize = 100;
  std::string counts;
  for (int format = 0; format < kNameFormats; ++format) {
    int held = 0;
    for (int c = 0; c < 256; ++c) {
      const auto fit = FitCharacter(s, format, static_cast<unsigned char>(c));
      held += fit == c;
      EXPECT_EQ(FitCharacter(s, format, fit), fit) << "format " << format << " of " << c;
    }
    counts += std::to_string(held) + (format % 10 == 9 ? "\n" : " ");
  }
  EXPECT_EQ(counts,
            "126 126 126 64 126 95 64 126 42 126\n"
            "88 53 126 41 95 95 126 65 53 126\n"
            "32 117 126 126 126 95 126 126 126 126\n"
            "73 126 126 126 52 ");
  for (const auto& [c, code] : {std::pair('A', 0),
                                {'1', 26},
                                {'5', 30},
                                {'z', 25},
                                {'a', 0},
                                {' ', 31},
                                {'!', 31},
                                {'[', 31},
                                {'{', 31},
                                {'`', 31},
                                {'6', 31}}) {
    EXPECT_EQ(GetVSChar(c), code) << c;
  }
}

TEST(PatchNames, NegativeStartCountsFromTheLastEndByte) {
  Synth s{};
  s.voiceSize = 120;
  Bytes image(130, 'x');
  image[100] = 0xF7;
  std::memcpy(image.data() + 83, "FromTheEnd", 10);
  EXPECT_EQ(BankDispString(s, image, 10, 0, -17, 0), "FromTheEnd");
  image[100] = 'x';
  EXPECT_EQ(BankDispString(s, image, 10, 0, -37, 0), "FromTheEnd");
  image[120] = 0xF7;
  EXPECT_EQ(BankDispString(s, image, 10, 0, -37, 0), "FromTheEnd") << "behind the voice";
  image[119] = 0xF7;
  EXPECT_EQ(BankDispString(s, image, 10, 0, -36, 0), "FromTheEnd") << "the last byte";
  image[119] = image[120] = 'x';
  image[84] = 0xF7;
  EXPECT_EQ(BankDispString(s, image, 2, 84, -1, 0), "Fw") << "the first byte";
}

TEST(PatchNames, ZeroEndsSomeNamesOnly) {
  Bytes image = *ParseHex("00 41 00 42 00 43 00 44");
  Synth plain{};
  EXPECT_EQ(BankDispString(plain, image, 4, 0, 0, 0), " A B");
  Synth driver{};
  driver.driverId = 4011;
  EXPECT_EQ(BankDispString(driver, image, 3, 0, 1, 0), "A");
  for (const auto& [id, text] : {std::pair(4009, "A B"), {4010, "A"}, {4013, "A"}, {4014, "A B"}}) {
    driver.driverId = static_cast<std::uint16_t>(id);
    EXPECT_EQ(BankDispString(driver, image, 3, 0, 1, 0), text) << id;
  }
  Synth packed{};
  SetStorageFormat(&packed, 2);
  packed.voiceSize = 8;
  Bytes zero = *ParseHex("01 00 41 00 00 00 00 00"), late = *ParseHex("02 41 00 00 00 00 00 00");
  EXPECT_EQ(BankDispString(packed, zero, 2, 0, 0, 21), "");
  EXPECT_EQ(BankDispString(packed, late, 2, 0, 0, 21), "A");
  Bytes middle = *ParseHex("00 41 00 42 00 00 00 00");
  char out[kNameBuffer];
  BankDispString(&packed, middle, out, 3, 0, 0, 0);
  EXPECT_EQ(std::string(out, 4), std::string("A\0\0\0", 4)) << "nothing behind the end";
  Synth named{};
  std::strcpy(named.shortName, "ASM Hydrasynth");
  EXPECT_EQ(BankDispString(named, image, 3, 0, 1, 0), "A");
}

TEST(PatchNames, StoredNamesAndNamesInTheImage) {
  DataFilePtr df(AllocDataFile());
  ASSERT_TRUE(AllocChunk(&df->synth, &df->synthSize, kSynthSize));
  Synth& s = *df->synth;
  s.fileSize = 6 + 4 * 16;
  s.headerSize = 6;
  s.numVoices = 4;
  s.voiceSize = s.voiceBytes = 16;
  s.nameLength = 10;
  s.nameOffset = 4;
  ASSERT_TRUE(ResizeBody(df.get(), s.fileSize));
  EXPECT_TRUE(SetPatchName(df.get(), 3, "Last one is too long"));
  EXPECT_EQ(GetPatchName(*df, 3), "Last one i");
  EXPECT_EQ(std::string(reinterpret_cast<char*>(df->body) + 6 + 48 + 4, 10), "Last one i");
  EXPECT_EQ(df->body[6 + 48 + 14], 0);
  EXPECT_FALSE(SetPatchName(df.get(), 4, "x"));
  EXPECT_EQ(LoadPatchNames(*df).size(), 4u);

  s.namesSeparate = 1;
  ASSERT_TRUE(AllocChunk(&df->voiceNames, &df->voiceNamesSize, 4 * kVoiceNameSize));
  EXPECT_TRUE(SetPatchName(df.get(), 2, std::string(40, 'n')));
  EXPECT_EQ(GetPatchName(*df, 2), std::string(32, 'n'));
  EXPECT_EQ(GetPatchName(*df, 3), "");
  EXPECT_EQ(GetPatchName(*df, 900), "");
  EXPECT_FALSE(SetPatchName(df.get(), 900, "x"));
  EXPECT_EQ(PatchNameLength(*df), 32u);
  EXPECT_EQ(DFGetName(*df), "");
  s.numVoices = 1;  // two names of a single patch
  EXPECT_TRUE(SetPatchName(df.get(), 1, "Second"));
  EXPECT_EQ(GetPatchName(*df, 1), "Second");
  EXPECT_EQ(GetPatchName(*df, 2), "");
  EXPECT_FALSE(SetPatchName(df.get(), 2, "x"));
  EXPECT_TRUE(SetPatchName(df.get(), 0, "First  "));
  EXPECT_EQ(DFGetName(*df), "First  ");

  s.namesSeparate = 0;
  const auto name = [&](std::uint32_t header, std::uint32_t length, const char* given) {
    char out[kNameBuffer] = "?";
    s.headerSize = header;
    s.nameLength = length;
    BuildName(&s, given, BodySpan(*df), out);
    return std::string(out);
  };
  std::memcpy(df->body + 10, "Whole     ", 10);
  EXPECT_EQ(DFGetName(*df), "Whole");
  EXPECT_EQ(name(6, 3, nullptr), "Who");
  EXPECT_EQ(name(6, 256, nullptr).substr(0, 5), "Whole");
  EXPECT_EQ(name(6, 0, nullptr) + name(6, 257, nullptr) + name(70, 4, nullptr), "");
  EXPECT_EQ(name(6, 3, "Given"), "Given");
  EXPECT_EQ(DFGetName(DataFile{}), "");
}

// Letters that Latin-1 does not have, in names of their own buffer.
TEST(PatchNames, SeparateNamesAreLatin1) {
  DataFilePtr df(AllocDataFile());
  EXPECT_EQ(FitPatchName(*df, "x").name, "");
  ASSERT_TRUE(AllocChunk(&df->synth, &df->synthSize, kSynthSize));
  df->synth->namesSeparate = 1;
  ASSERT_TRUE(AllocChunk(&df->voiceNames, &df->voiceNamesSize, kVoiceNameSize));
  const struct {
    const char *text, *name;
  } rows[] = {{"\u0100\u017F|\u0180\u0217\u0218\u021B\u021C\u1E9E|", "As|  St S|"},
              {"\x1F \x7E\x7F\u0080\u009F\u00A0\u00FF", "  ~   \xA0\xFF"},
              {"a\u02FFb\u0300c\u036Fd\u0370e", "a bcd e"},
              {"12345678901234567890123456789012\u0301", "12345678901234567890123456789012"}};
  for (const auto& row : rows) {
    const NameFit fit = FitPatchName(*df, row.text);
    EXPECT_EQ(fit.name, row.name);
    EXPECT_EQ(fit.cutTo, 0u);
  }
  EXPECT_EQ(FitPatchName(*df, std::string(33, 'x')).cutTo, 32u);
  EXPECT_EQ(FitPatchName(*df, "\x1F\u0080\u0180").Sentence(),
            "The name was written as \"\": the instrument has no \\x1F, \\x80 or \u0180.");
  EXPECT_EQ(FitPatchName(*df, "\u0180" + std::string(32, 'x')).Sentence(),
            "The name was written as \" " + std::string(31, 'x') +
                "\": the instrument has no \u0180, and a name has at most 32 characters.");
}

TEST(PatchNames, NamesForFilesAndLists) {
  EXPECT_STREQ(MakeDiskSafe("a/b\\c:d"), "a_b_c:d");
  EXPECT_EQ(FixInvalidFilenameCharacters(std::string("a/b:c\x01?")), "a_b_c__");
  EXPECT_EQ(FixInvalidFilenameCharacters(std::string("..")), "__");
  for (const auto& [name, safe] : {std::pair(".", "_"),
                                   {"..", "__"},
                                   {"...", "..."},
                                   {"\x1F\x20\x7F", "_ \x7F"},
                                   {"\"*/:<>?[\\]|", "___________"},
                                   {"a;b", "a;b"}}) {
    EXPECT_EQ(FixInvalidFilenameCharacters(std::string(name)), safe);
  }
  EXPECT_EQ(FixInvalidFilenameCharacters(std::string("a\0b", 3)), "a_b");
  EXPECT_STREQ(MakeDiskSafe(nullptr), "");
  for (const auto& [given, aligned] : {std::pair("  ab ", "ab "), {"ab", "ab"}, {"  ", "  "}, {"", ""}}) {
    char name[8];
    std::strcpy(name, given);
    NameAlign(name);
    EXPECT_STREQ(name, aligned);
    EXPECT_EQ(NameAlign(std::string(given)), aligned);
  }
  EXPECT_EQ(NameAlign(std::string("  x ")), "x ");
  EXPECT_EQ(NameAlign(std::string("   ")), "   ");
  EXPECT_EQ(GetVSChar('h'), 7);
  EXPECT_EQ(GetVSChar('@'), 31);
}

}  // namespace
}  // namespace tonalith
