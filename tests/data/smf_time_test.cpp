// When the SysEx of a Standard MIDI File is sent.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include "data/standard_midi_file.h"
#include "platform/atomic_file.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Smf(int format, int division, const std::vector<Bytes>& tracks) {
  Bytes file = {'M',
                'T',
                'h',
                'd',
                0,
                0,
                0,
                6,
                0,
                static_cast<std::uint8_t>(format),
                0,
                static_cast<std::uint8_t>(tracks.size()),
                static_cast<std::uint8_t>(division >> 8),
                static_cast<std::uint8_t>(division)};
  for (const Bytes& track : tracks) {
    const Bytes head = {'M', 'T', 'r', 'k', 0, 0, 0, static_cast<std::uint8_t>(track.size())};
    file.insert(file.end(), head.begin(), head.end());
    file.insert(file.end(), track.begin(), track.end());
  }
  return file;
}

const Bytes kTempoSecond = {0, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40};  // a second a quarter, at once

// "wait:length" of each message.
std::string Times(const Bytes& file) {
  const std::string path = std::filesystem::temp_directory_path() / ("tonalith_smf_" + std::to_string(::getpid()));
  EXPECT_TRUE(WriteFileAtomically(path, std::span<const std::uint8_t>(file)).ok());
  ZKSMFFile smf;
  std::string text;
  const Result loaded = smf.LoadSMFFile(path);
  std::filesystem::remove(path);
  if (!loaded.ok()) return "refused";
  for (const auto& message : smf.ProcessSysXData())
    text += std::to_string(std::lround(message.waitMs)) + ":" + std::to_string(message.bytes.size()) + " ";
  return text;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(SmfTimes, FollowDivisionAndTempo) {
  const Bytes first = {0, 0xF0, 3, 0x7D, 1, 0xF7};
  const Bytes after96 = {96, 0xF0, 2, 0x7D, 0xF7};
  const Bytes end = {0, 0xFF, 0x2F, 0};
  const struct {
    const char* what;
    Bytes file;
    const char* times;
  } rows[] = {
      {"the usual tempo", Smf(0, 96, {first + after96 + end}), "0:4 500:3 "},
      {"a tempo of its own", Smf(0, 96, {kTempoSecond + first + after96 + end}), "0:4 1000:3 "},
      {"a tempo that changes between",
       Smf(0, 96, {first + Bytes{48, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40} + Bytes{48, 0xF0, 2, 0x7D, 0xF7} + end}),
       "0:4 750:3 "},
      {"the tempo track of another track", Smf(1, 96, {kTempoSecond + end, first + after96 + end}), "0:4 1000:3 "},
      {"tracks that stand alone", Smf(2, 96, {kTempoSecond + end, first + after96 + end}), "0:4 500:3 "},
      {"track after track", Smf(1, 96, {after96 + end, after96 + end}), "500:3 500:3 "},
      {"25 frames, 40 ticks each", Smf(0, 0xE728, {first + after96 + end}), "0:4 96:3 "},
      {"a division of nothing", Smf(0, 0, {first + after96 + end}), "0:4 500:3 "},
      {"frames of nothing", Smf(0, 0x8000, {first + after96 + end}), "0:4 96000:3 "},
      {"a message in two packets", Smf(0, 96, {Bytes{96, 0xF0, 2, 0x7D, 1} + Bytes{96, 0xF7, 2, 2, 0xF7} + end}),
       "500:5 "},
      {"a message without end", Smf(0, 96, {Bytes{0, 0xF0, 2, 0x7D, 1} + end}), ""},
      {"a tempo of another length", Smf(0, 96, {Bytes{0, 0xFF, 0x51, 1, 1} + first + after96 + end}), "0:4 500:3 "},
      {"no MIDI file", Bytes{0xF0, 0x7D, 0xF7}, "refused"},
  };
  for (const auto& row : rows) EXPECT_EQ(Times(row.file), row.times) << row.what;
}

TEST(SmfTimes, ManyTemposAreNoBurden) {
  SmfContents contents;
  contents.division = 96;
  for (std::uint32_t i = 0; i < 200000; ++i) contents.tempos.push_back({i * 2, i % 2 ? 1000000U : 500000U, 0});
  const SmfClock clock(contents);
  double last = 0;
  for (std::uint32_t tick = 0; tick < 400000; ++tick) {
    const double now = clock.Milliseconds(tick, 0);
    ASSERT_GE(now, last);
    last = now;
  }
  EXPECT_NEAR(last, 400000 * 750.0 / 96, 20);
}

}  // namespace
}  // namespace tonalith
