#include "services/desktop_file.h"

#include <gtest/gtest.h>

#include <cstring>

#include "data/container.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Two windows as they stand in a file, byte by byte.
Bytes HandWritten() {
  Bytes bytes(12 + 2 * 524, 0);
  const Bytes head = {'P', 'V', 'D', 'T', 0, 0, 0, 2, 0, 0, 0x02, 0x0C};
  std::copy(head.begin(), head.end(), bytes.begin());
  const Bytes place = {0x00, 0x0A, 0x01, 0x02, 0x02, 0x80, 0x01, 0xE0};
  std::copy(place.begin(), place.end(), bytes.begin() + 12);
  std::memcpy(bytes.data() + 12 + 8, "/data/a", 7);
  std::memcpy(bytes.data() + 12 + 264, "x.dat", 5);
  bytes[12 + 520] = 0x68;  // 17000, low byte first
  bytes[12 + 521] = 0x42;
  bytes[12 + 524 + 520] = 0x6E;  // 17006
  bytes[12 + 524 + 521] = 0x42;
  return bytes;
}

TEST(DesktopFile, ReadsAndWritesTheBytesOfTheFormat) {
  const Bytes file = HandWritten();
  std::vector<DesktopWindow> windows;
  ASSERT_TRUE(ReadDesktop(file, &windows).ok());
  ASSERT_EQ(windows.size(), 2U);
  EXPECT_EQ(windows[0].x, 10);
  EXPECT_EQ(windows[0].y, 258);
  EXPECT_EQ(windows[0].width, 640);
  EXPECT_EQ(windows[0].height, 480);
  EXPECT_EQ(windows[0].FilePath(), "/data/a/x.dat");
  EXPECT_EQ(windows[0].type, static_cast<int>(WindowType::BankEditor));
  EXPECT_EQ(windows[1].FilePath(), "");
  EXPECT_EQ(windows[1].type, static_cast<int>(WindowType::Monitor));
  EXPECT_EQ(WriteDesktop(windows), file);
}

TEST(DesktopFile, IsReadWholeOrNotAtAll) {
  const Bytes good = HandWritten();
  const auto changed = [&](std::size_t at, std::uint8_t value) {
    Bytes bytes = good;
    bytes[at] = value;
    return bytes;
  };
  const auto cut = [&](std::size_t size) {
    return Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
  };
  Bytes longName = good;
  std::fill(longName.begin() + 12 + 264, longName.begin() + 12 + 520, std::uint8_t{'n'});
  const struct {
    const char* what;
    Bytes bytes;
    int code;
    std::size_t windows;
  } rows[] = {
      {"nothing", {}, kDiskNotDesktop, 0},
      {"another magic", changed(3, 'X'), kDiskNotDesktop, 0},
      {"a cut magic", cut(3), kDiskNotDesktop, 0},
      {"a cut header", cut(11), kDiskReadError, 0},
      {"a cut record", cut(12 + 524 + 523), kDiskReadError, 0},
      {"more windows than there are", changed(7, 3), kDiskReadError, 0},
      {"a lying count", changed(6, 0x7F), kDiskReadError, 0},
      {"a negative count", changed(6, 0x80), kDiskOk, 0},
      {"high bits of the count", changed(4, 0x12), kDiskOk, 2},
      {"records of another size", changed(11, 0x0D), kDiskNotDesktop, 0},
      {"a name without end", longName, kDiskNotDesktop, 0},
  };
  for (const auto& row : rows) {
    std::vector<DesktopWindow> windows(7);
    const Result result = ReadDesktop(row.bytes, &windows);
    EXPECT_EQ(result.code, row.code) << row.what;
    EXPECT_EQ(result.ok(), result.text.empty()) << row.what;
    EXPECT_EQ(windows.size(), row.windows) << row.what;
  }
  Bytes trailing = good;
  trailing.resize(good.size() + 100);
  std::vector<DesktopWindow> windows;
  EXPECT_TRUE(ReadDesktop(trailing, &windows).ok());
}

TEST(DesktopFile, PlacesAreKeptInsideTheArea) {
  const struct {
    DesktopRect from, to;
  } rows[] = {
      {{10, 20, 300, 200}, {10, 20, 300, 200}},        {{1000, 20, 300, 200}, {700, 20, 300, 200}},
      {{10, 800, 300, 200}, {10, 600, 300, 200}},      {{999, 799, 1500, 900}, {999, 799, 1000, 800}},
      {{1000, 800, 1000, 800}, {700, 600, 1000, 800}},
  };
  for (const auto& row : rows) {
    const DesktopRect to = ClampedToArea(row.from, 1000, 800);
    EXPECT_EQ(to.x, row.to.x);
    EXPECT_EQ(to.y, row.to.y);
    EXPECT_EQ(to.width, row.to.width);
    EXPECT_EQ(to.height, row.to.height);
  }
  EXPECT_EQ(ClampedToArea({500, 500, 10, 10}, 100, 100).x, 0) << "an area smaller than the way in";
  EXPECT_EQ(DesktopUnits(200, 192), 100);
  EXPECT_EQ(DesktopPixels(100, 192), 200);
  EXPECT_EQ(DesktopPixels(100, 0), 100);
}

TEST(DesktopFile, EveryKindHasANameAndOnlyDataOpensAFile) {
  std::string opening;
  for (int type = 17000; type <= 17017; ++type) {
    EXPECT_NE(WindowTypeName(type), nullptr) << type;
    if (OpensItsFile(type)) opening += std::to_string(type - 17000) + " ";
  }
  EXPECT_EQ(opening, "0 1 2 3 8 12 ");
  EXPECT_EQ(WindowTypeName(17018), nullptr);
  EXPECT_FALSE(OpensItsFile(1));
}

}  // namespace
}  // namespace tonalith
