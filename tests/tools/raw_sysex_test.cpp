// Raw SysEx: bytes that are changed, one at a time, and what the messages around them are then.
#include "tools/raw_sysex_document.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "data/container.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string ListOf(const RawSysExDocument& document) {
  std::string list = std::to_string(document.otherBytes()) + " other";
  for (const auto& message : document.messages())
    list +=
        ", " + std::to_string(message.offset) + "+" + std::to_string(message.length) + (message.complete ? "" : "!");
  return list;
}

std::string ListAnew(const Bytes& bytes) {
  RawSysExDocument document;
  document.TakeBytes({bytes.begin(), bytes.end()});
  return ListOf(document);
}

TEST(RawSysEx, AChangedByteMakesTheMessagesThatAFileWithItHas) {
  constexpr std::uint8_t kValues[] = {0x00, 0x11, 0xF0, 0xF7, 0xF0, 0xF7, 0x90, 0xF8};
  for (unsigned seed = 0; seed < 40; ++seed) {
    std::mt19937 random(seed);
    const auto upto = [&](std::size_t count) {
      return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    };
    Bytes bytes(1 + upto(60));
    for (std::uint8_t& byte : bytes) byte = kValues[upto(std::size(kValues))];
    RawSysExDocument document;
    document.TakeBytes({bytes.begin(), bytes.end()});
    std::vector<Bytes> states = {bytes};
    for (int step = 0; step < 60; ++step) {
      const std::size_t at = upto(bytes.size());
      bytes[at] = kValues[upto(std::size(kValues))];
      ASSERT_TRUE(document.ChangeByte(at, bytes[at]).ok());
      ASSERT_EQ(ListOf(document), ListAnew(bytes)) << "seed " << seed << ", byte " << at;
      if (states.back() != bytes) states.push_back(bytes);
    }
    while (document.CanUndo()) {
      ASSERT_TRUE(document.Undo().ok());
      states.pop_back();
      ASSERT_EQ(ListOf(document), ListAnew(states.back())) << "seed " << seed;
    }
    EXPECT_EQ(states.size(), 1u);
    EXPECT_FALSE(document.IsModified());
    ASSERT_TRUE(document.GoTo(document.history().Count()).ok());
    EXPECT_EQ(ListOf(document), ListAnew(bytes));
  }
}

using RawSysExFiles = FilesTest;

TEST_F(RawSysExFiles, AChangeIsSavedAndRefusedWhereThereIsNoByte) {
  Write("raw.syx", "\xF0\x43\x01\xF7");
  RawSysExDocument document;
  EXPECT_FALSE(document.ChangeByte(0, 1).ok()) << "there is nothing";
  ASSERT_TRUE(document.Load(Path("raw.syx")).ok());
  EXPECT_FALSE(document.ChangeByte(4, 1).ok());
  EXPECT_TRUE(document.ChangeByte(2, 1).ok());
  EXPECT_FALSE(document.IsModified()) << "the same value";
  document.SetBusy(true);
  EXPECT_FALSE(document.ChangeByte(2, 2).ok());
  document.SetBusy(false);
  ASSERT_TRUE(document.ChangeByte(2, 2).ok());
  EXPECT_EQ(document.UndoText(), "Change Byte");
  ASSERT_TRUE(document.Save().ok());
  Bytes file;
  ASSERT_EQ(DiskLoadFile(Path("raw.syx"), &file), 0);
  EXPECT_EQ(file, (Bytes{0xF0, 0x43, 0x02, 0xF7}));
  ASSERT_TRUE(document.Undo().ok());
  EXPECT_TRUE(document.IsModified()) << "the file holds the other";
  ASSERT_TRUE(document.Load(Path("raw.syx")).ok());
  EXPECT_FALSE(document.CanUndo());
  EXPECT_EQ(document.bytes()[2], 2);
}

}  // namespace
}  // namespace tonalith
