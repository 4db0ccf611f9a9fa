#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "data/checksums.h"
#include "data/container.h"
#include "data/patch_names.h"
#include "data/sysex_split.h"

namespace tonalith {
namespace {

std::string DumpPath(const std::string& name) {
  const char* folder = std::getenv("TONALITH_SYSEX_DIR");
  return (folder ? std::string(folder) : std::string(TONALITH_SOURCE_DIR) + "/../shared/sysex") + "/" + name;
}

struct DumpCase {
  const char* file;
  std::size_t messages;
  int checksumType;  // -1: the messages carry none
  int start;         // of the sum in a message; it ends before the checksum, which stands `tail` bytes before the end
  int tail;
};

// Checksums that instruments themselves wrote.
TEST(RealDumps, ChecksumsVerify) {
  const DumpCase cases[] = {{"yamaha-dx7/Yamaha_TX7_rom1a.syx", 1, 0, 6, 2},
                            {"roland-d50/RobsColl.syx", 136, 0, 5, 2},
                            {"roland-jd800/JDBOOK.SYX", 96, 0, 5, 2},
                            {"roland-jv1080/JV1080_AGSOUND1.SYX", 230, 0, 5, 2},
                            {"oberheim-matrix1000/OberheimMatrix1000.syx", 1, 2, 5, 2},
                            {"kawai-k4/KawaiK4.syx", 1, 3, 8, 2}};
  for (const DumpCase& c : cases) {
    std::vector<std::uint8_t> bytes;
    if (DiskLoadFile(DumpPath(c.file), &bytes) != kDiskOk) GTEST_SKIP() << "no real dumps at " << DumpPath("");
    const auto messages = SplitSysEx(bytes);
    EXPECT_EQ(messages.size(), c.messages) << c.file;
    for (const SysExPiece& m : messages) {
      const auto size = static_cast<int>(m.bytes.size());
      const int summed = size - c.tail - c.start;
      const int count = c.checksumType == 2 ? summed / 2 : summed;
      EXPECT_EQ(VerifyChecksum(m.bytes, c.checksumType, c.start, count, size - c.tail), ChecksumVerdict::kOk)
          << c.file << " at " << m.offset;
    }
  }
}

TEST(RealDumps, NamesReadAndRenamingLosesNothing) {
  std::vector<std::uint8_t> bytes;
  if (DiskLoadFile(DumpPath("roland-alphajuno/FACTORYA.SYX"), &bytes) != kDiskOk) {
    GTEST_SKIP() << "no real dumps at " << DumpPath("");
  }
  // Tones of 64 nibbles, four a message; the two upper bits of each name byte belong to other parameters.
  const auto messages = SplitSysEx(bytes);
  ASSERT_EQ(messages.size(), 16u);
  DataFilePtr df = CreateMidiXFile(messages[0].bytes);
  Synth& s = *df->synth;
  s.headerSize = 9;
  s.numVoices = 4;
  s.voiceSize = 64;
  s.voiceBytes = 32;
  s.nameLength = 10;
  s.nameOffset = 21;
  s.nameFormat = 6;
  SetStorageFormat(&s, 1);
  const std::vector<std::uint8_t> before(df->body, df->body + df->bodySize);
  for (int i = 0; i < 4; ++i) {
    const std::string name = GetPatchName(*df, i);
    EXPECT_FALSE(name.empty());
    EXPECT_TRUE(SetPatchName(df.get(), i, "Other name"));
    EXPECT_EQ(GetPatchName(*df, i), "Other name");
    EXPECT_TRUE(SetPatchName(df.get(), i, name));
  }
  EXPECT_EQ(std::vector<std::uint8_t>(df->body, df->body + df->bodySize), before);
}

}  // namespace
}  // namespace tonalith
