#include "data/patch_names.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "data/synth_fields.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct NumberCase {
  int format, n, voices;
  const char* text;
  int first = 0, nameFormat = 0;
};

TEST(PatchNumbers, EveryScheme) {
  const NumberCase cases[] = {
      {0, 0, 128, "A-11", 0, 2},  {0, 64, 128, "B-11", 0, 3}, {0, 0, 100, " 0"},        {0, 5, 64, " 5", 0, 1},
      {0, 5, 128, "  5", 0, 22},  {0, 5, 64, " 6"},           {0, 5, 101, "  6"},       {1, 70, 128, "B123"},
      {1, 17, 64, "212"},         {2, 63, 64, "88"},          {3, 65, 128, "B02"},      {4, 5, 8, "2B"},
      {5, 5, 8, "02-2"},          {6, 17, 32, "B02"},         {7, 17, 32, "02-02"},     {8, 13, 24, "B02"},
      {9, 0, 128, "A-11"},        {9, 127, 128, "B-88"},      {10, 6, 10, "02-2"},      {11, 81, 128, "2B-02"},
      {12, 4, 64, "05"},          {12, 4, 101, "005"},        {12, 4, 64, "091", 86},   {13, 73, 128, "2-22"},
      {14, 21, 64, "[02] 2-2"},   {15, 41, 64, "[02] B-2"},   {16, 17, 32, "B02"},      {17, 69, 128, "B02-D2"},
      {18, 69, 128, "B02-A2"},    {19, 17, 32, "02.02"},      {20, 73, 128, "2:2:2"},   {21, 1234, 2000, "1:2:3:4"},
      {22, 585, 1024, "2:2:2:2"}, {23, 49, 80, "2:2:2"},      {24, 123, 200, "1-23"},   {25, 73, 128, "B:2:2"},
      {26, 129, 256, "B002"},     {27, 9, 16, " 2:2"},        {28, 8, 64, " 9"},        {200, 8, 128, "  9"},
      {64, 9, 32, "IB-2"},        {64, 0, 32, "iA-1", 32},    {64, 31, 32, "eD-8", 96}, {65, 63, 128, "A88"},
      {65, 73, 128, "B22"},       {66, 127, 128, "A127"},     {66, 0, 128, "D0", 384},  {67, 127, 128, "U1 P128"},
      {67, 0, 128, "F2 P1", 640}, {68, 127, 128, "1-128"},    {68, 0, 128, "2-1", 128}, {69, 17, 64, "B-2"},
      {70, 7, 100, "I07"},        {71, 9, 32, "PF10"},        {72, 7, 100, "007"},
  };
  for (const NumberCase& c : cases) {
    Synth s{};
    s.numberFormat = static_cast<std::uint8_t>(c.format);
    s.numVoices = static_cast<std::uint32_t>(c.voices);
    s.bankNumberOffset = static_cast<std::int16_t>(c.first);
    s.nameFormat = static_cast<std::uint8_t>(c.nameFormat);
    EXPECT_EQ(MakeNumberStr(s, c.n), c.text) << "format " << c.format << " n " << c.n;
  }
  // Every one has a name and is inside of what a data type may have; plain numbers go without.
  const SynthField* field = FindSynthField("numberFormat");
  EXPECT_EQ(NumberFormats().size(), 28u + 9u);
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

struct NameCase {
  int format;
  const char* image;
  std::uint32_t length;
  const char* text;
};

TEST(PatchNames, DecodesKnownBytes) {
  const NameCase cases[] = {
      {0, "41 7F 00 C2", 4, "A  B"},
      {3, "01 1B 35 3E 3F", 5, "Aa10-"},  // raw codes into the first table
      {4, "41 00 42 00", 2, "AB"},
      {5, "01 21 30", 3, "A!0"},
      {6, "40 41 3E", 3, "AB "},
      {7, "01 04 02 04", 2, "AB"},
      {8, "10 01 63", 3, "A! "},
      {9, "08 03 03 08", 2, "AN"},
      {9, "78 13 03 08", 2, "IN"},  // what stands above a second nibble reaches into the first
      {12, "C1 42", 2, "AB"},
      {13, "0A 0B 00", 3, " A0"},
      {14, "21 00 00 00 00 00 00 22", 2, "AB"},
      {15, "21 22", 2, "AB"},
      {19, "41 00 00 00 00 00 00 00 42", 2, "AB"},
      {20, "00 11 0C 85 31 C0", 3, "ABCDEFGH"},
      {21, "41 02 05 00 30 80 89", 7, "A25 009"},
      {22, "41 42 00 43", 4, "AB"},
      {23, "41 42 43 44 45 46 47 00 48", 8, "ABCDEFGH"},
      {24, "00 00 00 00 44 4C 4D 31 41 42", 2, "AB"},
      {26, "04 01 04 02", 2, "AB"},
      {27, "41 21 00", 2, "AB"},
      {28, "00 01 01 00 01 02", 2, "AB"},
      {29, "04 05 02 04 0A 03", 4, "AB@\xA0"},
      {32, "04 F1 04 02", 2, "AB"},
      {34, "33 33 24 0B 0A 02 01 00", 8, "012AB[  "},
  };
  for (const NameCase& c : cases) {
    Synth s{};
    Bytes image = *ParseHex(c.image);
    if (c.format == 29) {
      EXPECT_EQ(BankDispString(s, image, 1, 0, 0, 29), "A");
      continue;
    }
    EXPECT_EQ(BankDispString(s, image, c.length, 0, 0, c.format), c.text) << "format " << c.format;
  }
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
      {26, 0, "\u00FC", "\xFC", ""},  // both halves of a byte
      {19, 1, "\u00FC", "\xFC", ""},
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

TEST(PatchNames, NegativeStartCountsFromTheLastEndByte) {
  Synth s{};
  s.voiceSize = 120;
  Bytes image(130, 'x');
  image[100] = 0xF7;
  std::memcpy(image.data() + 83, "FromTheEnd", 10);
  EXPECT_EQ(BankDispString(s, image, 10, 0, -17, 0), "FromTheEnd");
  image[100] = 'x';
  EXPECT_EQ(BankDispString(s, image, 10, 0, -37, 0), "FromTheEnd");
}

TEST(PatchNames, ZeroEndsSomeNamesOnly) {
  Bytes image = *ParseHex("00 41 00 42 00 43 00 44");
  Synth plain{};
  EXPECT_EQ(BankDispString(plain, image, 4, 0, 0, 0), " A B");
  Synth driver{};
  driver.driverId = 4011;
  EXPECT_EQ(BankDispString(driver, image, 3, 0, 1, 0), "A");
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
}

TEST(PatchNames, NamesForFilesAndLists) {
  EXPECT_STREQ(MakeDiskSafe("a/b\\c:d"), "a_b_c:d");
  EXPECT_EQ(FixInvalidFilenameCharacters(std::string("a/b:c\x01?")), "a_b_c__");
  EXPECT_EQ(FixInvalidFilenameCharacters(std::string("..")), "__");
  EXPECT_EQ(NameAlign(std::string("  x ")), "x ");
  EXPECT_EQ(NameAlign(std::string("   ")), "   ");
  EXPECT_EQ(GetVSChar('h'), 7);
  EXPECT_EQ(GetVSChar('@'), 31);
}

}  // namespace
}  // namespace tonalith
