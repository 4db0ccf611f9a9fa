#include "document/data_file_target.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tonalith {
namespace {

bool AllZero(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

TEST(DataFileTarget, EveryBufferTakesEverySize) {
  DataFilePtr data(AllocDataFile());
  DataFileTarget target(data.get());
  ASSERT_EQ(target.HistoryBuffers().size(), kDataBuffers);
  for (const BufferId id : target.HistoryBuffers()) {
    const std::size_t fixed = target.HistoryBytes(id).size();
    if (fixed != 0) {
      EXPECT_TRUE(target.ResizeHistoryBuffer(id, fixed));
      EXPECT_FALSE(target.ResizeHistoryBuffer(id, fixed + 1)) << "it is part of the record";
      continue;
    }
    std::size_t former = 0;
    for (const std::size_t size : {7, 300, 301, 40, 39, 600, 0, 2}) {
      ASSERT_TRUE(target.ResizeHistoryBuffer(id, size)) << id.buffer;
      const auto bytes = target.HistoryBytes(id);
      ASSERT_EQ(bytes.size(), size) << id.buffer;
      if (size == 0) {
        former = 0;
        continue;
      }
      const std::size_t kept = std::min(former, size);
      EXPECT_EQ(std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(kept), 0xAA),
                static_cast<std::ptrdiff_t>(kept));
      EXPECT_TRUE(AllZero(bytes.subspan(kept))) << id.buffer << " " << size;
      EXPECT_TRUE(AllZero({bytes.data() + size, kBufferSlack})) << "slack of " << id.buffer << " at " << size;
      std::fill(bytes.begin(), bytes.end(), std::uint8_t{0xAA});
      former = size;
    }
    EXPECT_FALSE(target.ResizeHistoryBuffer(id, std::size_t{kMaxFileSize} + 1));
    EXPECT_EQ(target.HistoryBytes(id).size(), 2U);
  }
  EXPECT_TRUE(target.HistoryBytes({1, 3}).empty()) << "another member";
  EXPECT_FALSE(target.ResizeHistoryBuffer({1, 3}, 5));
  EXPECT_TRUE(target.HistoryBytes({0, kDataBuffers}).empty());
  EXPECT_FALSE(target.ResizeHistoryBuffer({0, kDataBuffers}, 5));
  EXPECT_TRUE(DataFileTarget().HistoryBuffers().empty());
  EXPECT_TRUE(DataFileTarget().HistoryBytes({0, 3}).empty());
}

}  // namespace
}  // namespace tonalith
