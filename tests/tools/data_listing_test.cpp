#include "tools/data_listing.h"

#include <gtest/gtest.h>

#include <cstring>

#include "data/packed_bytes.h"
#include "tests/platform/files_fixture.h"
#include "tools/message_lines.h"
#include "tools/sysex_entry.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Counted(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

// A bank of one packing: a head of 6 bytes, 4 patches of 8 logical bytes, which are 10 * patch + index.
DataFilePtr Bank(int packing, bool bank = true) {
  constexpr std::uint32_t kHead = 6, kVoices = 4, kSlot = 40;
  DataFilePtr data(AllocDataFile());
  AllocChunk(&data->synth, &data->synthSize, kSynthSize);
  Synth& synth = *data->synth;
  synth.headerSize = kHead;
  synth.numVoices = bank ? kVoices : 1;
  synth.isBank = bank;
  synth.voiceSize = packing == 0 || packing == 2 ? 8 : 24;
  synth.voiceBytes = 8;
  SetStorageFormat(&synth, packing);
  synth.fileSize = kHead + kVoices * kSlot;
  AllocChunk(&data->body, &data->bodySize, synth.fileSize);
  data->body[0] = 0xF0;
  ImageView view(BodySpan(*data), synth);
  for (std::uint32_t v = 0; v < synth.numVoices; ++v)
    for (std::int64_t i = 0; i < 8; ++i) {
      const std::int64_t base = BankRealOfs(&synth, std::int64_t{synth.voiceSize} * v);
      if (bank)
        view.BankSet(kHead, base, i, 10 * v + i);
      else
        view.Set(kHead, i, 10 * v + i);
    }
  return data;
}

TEST(DataListing, LinesAreAsTheyArePrinted) {
  const Bytes bytes = {0xF0, 0x43, 0x00, 0x41, 0x7E, 0x7F, 0xF7};
  EXPECT_EQ(ViewBuildLine(1, bytes, 0, bytes.size()), "00010:  F0 43 00 41 7E 7F F7 ");
  EXPECT_EQ(ViewBuildLine(0, bytes, 5, 99), "00000:  7F F7 ");
  EXPECT_EQ(ViewBuildLine(0x10000, Counted(20), 0, 20), "100000:  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ");
  const DataListing listing{std::span<const std::uint8_t>(bytes)};
  EXPECT_EQ(ListingText(listing.LineAt(0, listing.Size())),
            "00000:  F0 43 00 41 7E 7F F7 " + std::string(9 * 3 + 1, ' ') + ".C.A~..");
  EXPECT_EQ(listing.Lines(), 1u);
  EXPECT_EQ(DataListing().Lines(), 0u);
  EXPECT_FALSE(listing.FormattedRefusal().empty());
}

TEST(DataListing, FormattedBytesOfEveryPacking) {
  for (const int packing : {0, 1, 2, 3, 4, 7, 11, 18, 22}) {
    const DataFilePtr data = Bank(packing);
    DataListing listing(*data);
    ASSERT_EQ(listing.FormattedRefusal(), "") << packing;
    ASSERT_TRUE(listing.SetMode(ListingMode::Formatted));
    ASSERT_EQ(listing.Size(), 32u);
    for (std::size_t i = 0; i < 32; ++i)
      EXPECT_EQ(listing.ByteAt(i), 10 * (i / 8) + i % 8) << "packing " << packing << ", byte " << i;
    EXPECT_EQ(listing.ByteAt(32), 0);
    const auto place = listing.ImagePosition(9);
    EXPECT_EQ(place.has_value(), packing == 0);
    if (place) {
      EXPECT_EQ(data->body[*place], 11);
    }
  }
  const DataFilePtr single = Bank(0, false);
  DataListing listing(*single);
  ASSERT_TRUE(listing.SetMode(ListingMode::Formatted));
  EXPECT_EQ(listing.Size(), 8u);
  EXPECT_EQ(listing.ByteAt(7), 7);
}

// Records that lie about themselves are listed raw, and only as far as they go.
TEST(DataListing, LiesAreListedRaw) {
  for (int lie = 0; lie < 4; ++lie) {
    const DataFilePtr data = Bank(0);
    Synth& synth = *data->synth;
    if (lie == 0) synth.voiceBytes = 0;
    if (lie == 1) synth.numVoices = 65535;
    if (lie == 2) synth.fileSize = kMaxFileSize;
    if (lie == 3) synth.headerSize = 0x7FFFFFFF;
    DataListing listing(*data);
    EXPECT_LE(listing.image().size(), data->bodySize);
    if (lie != 2) {
      EXPECT_FALSE(listing.SetMode(ListingMode::Formatted)) << lie;
      EXPECT_FALSE(listing.FormattedRefusal().empty());
    }
    for (std::size_t line = 0; line < listing.Lines(); ++line) listing.LineAt(line, 0);
    EXPECT_NE(listing.StatusText(0), "");
  }
  DataFilePtr empty(AllocDataFile());
  EXPECT_EQ(DataListing(*empty).Lines(), 0u);
}

TEST(DataListing, TheStatusLineSaysOffsetsAndValues) {
  const DataFilePtr data = Bank(0);
  const DataListing listing(*data);
  EXPECT_EQ(listing.StatusText(6),
            "Actual Offset: 6, Edit Offset: 0, Formatted Edit Offset: -1, Hex value: 0, "
            "Dec value: 0, ASCII value: .");
  data->body[16] = 'A';
  EXPECT_EQ(listing.StatusText(16),
            "Actual Offset: 16, Edit Offset: 10, Formatted Edit Offset: 8, Hex value: 41, "
            "Dec value: 65, ASCII value: A");
  EXPECT_EQ(listing.StatusText(5000), "Actual Offset: 5000, Edit Offset: 4994, Formatted Edit Offset: 4369");
}

TEST(DataListing, ComparingMarksWhatDiffers) {
  Bytes image = Counted(40);
  Bytes other = Counted(36);
  other[3] = 99;
  image[20] = other[20] = 0xF3;
  DataListing listing{std::span<const std::uint8_t>(image)};
  listing.Compare(other);
  EXPECT_FALSE(listing.SetMode(ListingMode::Formatted));
  EXPECT_FALSE(listing.LineAt(0, 40).matches);
  EXPECT_TRUE(listing.LineAt(0, 40).differs[3]);
  EXPECT_FALSE(listing.LineAt(1, 40).matches) << "a status byte";
  image[20] = other[20] = 20;
  EXPECT_TRUE(listing.LineAt(1, 40).matches);
  EXPECT_FALSE(listing.LineAt(1, 17).matches) << "the selected byte";
  EXPECT_TRUE(listing.LineAt(2, 99).differs[4]) << "the other has no such byte";

  EXPECT_EQ(MismatchText(FindMismatches(image, image)), "There are no mismatches!");
  Mismatches found = FindMismatches(image, other);
  EXPECT_TRUE(found.otherSize);
  EXPECT_EQ(MismatchText(found), "The first 10 mismatched byte offsets are:\n\n3 (0x0003)\n");
  found = FindMismatches(Bytes(5, 1), Bytes(300, 1));
  EXPECT_EQ(found.count, 295u) << "bytes that are not there are different";
  EXPECT_EQ(found.first.size(), kMismatchesTold);
  EXPECT_EQ(found.first.front(), 5u);
}

TEST(ListingSearch, TextsAndBytes) {
  const std::string text =
      "F0 BRASS 1 BRASS 2 \xDC"
      "bung BRASS";
  const Bytes bytes(text.begin(), text.end());
  DataListing listing{std::span<const std::uint8_t>(bytes)};
  const auto find = [&](const std::string& typed, std::size_t from) {
    return ListingSearch(listing, *ReadSearch(typed), from).Run();
  };
  EXPECT_EQ(find("BRASS", 0), std::optional<std::size_t>(3));
  EXPECT_EQ(find("BRASS", 4), std::optional<std::size_t>(11));
  EXPECT_EQ(find("BRASS", 12), std::nullopt) << "a text at the very end is not found";
  EXPECT_EQ(find("42 52 41 53 53", 12), std::optional<std::size_t>(text.size() - 5)) << "bytes are";
  EXPECT_EQ(find("\"F0\"", 0), std::optional<std::size_t>(0));
  EXPECT_EQ(find("F0", 0), std::nullopt) << "the byte F0";
  EXPECT_EQ(find("\xC3\x9C"
                 "bung",
                 0),
            std::optional<std::size_t>(19));
  EXPECT_EQ(find("brass", 0), std::nullopt);
  EXPECT_EQ(find(std::string(100, 'x'), 0), std::nullopt);
  EXPECT_FALSE(ReadSearch(""));
  EXPECT_FALSE(ReadSearch("\"\""));
  EXPECT_EQ(NotFoundText(*ReadSearch("x y")), "x y was not found in the SysEx.");
  // In small pieces as in one.
  for (std::size_t step = 1; step < 9; ++step) {
    ListingSearch search(listing, *ReadSearch("BRASS 2"), 0);
    while (!search.Step(step)) continue;
    EXPECT_EQ(search.found(), std::optional<std::size_t>(11)) << step;
  }
}

TEST(MessageLines, EveryByteBelongsToALine) {
  const Bytes bytes = {0x01, 0x02, 0xF0, 0x43, 0xF8, 0x01, 0xF7, 0x90, 0x3C, 0x40, 0xF8,
                       0xC0, 0x05, 0xF0, 0x41, 0x90, 0x3C, 0xB0, 0x07, 0x7F, 0x11};
  for (std::size_t step = 1; step < 30; ++step) {
    MessageLines lines;
    while (!lines.Step(bytes, step)) continue;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> found;
    std::size_t end = 0;
    for (const MessageLines::Line& line : lines.lines()) {
      EXPECT_EQ(line.offset, end);
      end = line.offset + line.length;
      found.emplace_back(line.offset, line.length);
    }
    EXPECT_EQ(end, bytes.size());
    ASSERT_EQ(found.size(), 9u) << "in steps of " << step;
    EXPECT_EQ(found[1], (std::pair<std::uint32_t, std::uint32_t>(2, 5)));
    EXPECT_EQ(lines.Text(bytes, 0), "01 02 Data bytes: 2");
    EXPECT_EQ(lines.Text(bytes, 2), "90 3C 40 Note On=C 4 Vel=64 Ch=1");
    EXPECT_EQ(lines.Text(bytes, 6), "90 3C Incomplete message: 2");
    EXPECT_EQ(lines.Text(bytes, 99), "");
    EXPECT_EQ(lines.Text({}, 1), "") << "the bytes are gone";
    for (std::size_t i = 0; i < lines.lines().size(); ++i)
      for (std::uint32_t at = 0; at < lines.lines()[i].length; ++at)
        EXPECT_EQ(lines.LineOf(lines.lines()[i].offset + at), i);
    EXPECT_EQ(lines.LineOf(bytes.size()), lines.lines().size());
  }
  EXPECT_TRUE(MessageLines().Step({}, 1));
}

TEST(SysExEntry, NumbersBecomeBytes) {
  const auto hex = [](const char* text) { return ParseSysExText(text, SysExNumbers::Hexadecimal); };
  const auto c = [](const char* text) { return ParseSysExText(text, SysExNumbers::CNotation); };
  EXPECT_EQ(hex("F0 43 10 4C 00 00 7E 00 F7"), (Bytes{0xF0, 0x43, 0x10, 0x4C, 0, 0, 0x7E, 0, 0xF7}));
  EXPECT_EQ(hex("F043"), (Bytes{0x43}));
  EXPECT_EQ(hex("F0,43;10"), (Bytes{0xF0, 0x43, 0x10}));
  EXPECT_EQ(hex("0xF0 f7 zz"), (Bytes{0xF0, 0xF7, 0}));
  EXPECT_EQ(c("240 0x43 16"), (Bytes{0xF0, 0x43, 0x10}));
  EXPECT_EQ(c("010"), (Bytes{8}));
  EXPECT_EQ(c("99999999999999999999999"), (Bytes{0xFF}));
  EXPECT_TRUE(hex(" ,;-\n").empty());
  EXPECT_EQ(ParseSysExText(std::string(kMostSysExText, '7'), SysExNumbers::Hexadecimal).size(), 1u);
  EXPECT_EQ(SysExWarning({0xF0, 1, 0xF7}), "");
  for (const Bytes& bytes : {Bytes{0xF0}, Bytes{1, 0xF7}, Bytes{0xF0, 0xF0, 0xF7}, Bytes{0xF0, 1}})
    EXPECT_NE(SysExWarning(bytes), "");
}

using SysExEntryFiles = FilesTest;

TEST_F(SysExEntryFiles, AUsersFileStays) {
  const std::string folder = Path("data");
  Write("data/temp-1.syx", "mine");
  DataFilePtr data;
  ASSERT_TRUE(MakeRawSysEx({0xF0, 0x43, 1, 0xF7}, folder, &data).ok());
  EXPECT_EQ(std::string(data->fileName), "Raw SysEx");
  EXPECT_EQ(data->xtra->hasNoSysEx, 0);
  EXPECT_EQ(Bytes(data->body, data->body + 4), (Bytes{0xF0, 0x43, 1, 0xF7}));
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) files += entry.is_regular_file();
  EXPECT_EQ(files, 1u) << "only the user's";
  Write("file", "x");
  EXPECT_EQ(MakeRawSysEx({0xF0}, Path("file"), &data).text, "Write failure!\nCancelling save");
}

}  // namespace
}  // namespace tonalith
