// When the SysEx of a Standard MIDI File is sent.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "data/standard_midi_file.h"
#include "platform/atomic_file.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Smf(int format, int division, const std::vector<Bytes>& tracks) {
  Bytes file = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0};
  for (const int value : {format, 0, static_cast<int>(tracks.size()), division >> 8, division}) {
    file.push_back(static_cast<std::uint8_t>(value));
  }
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
      {"29.97 frames, 100 ticks each", Smf(0, 0xE364, {first + after96 + end}), "0:4 32:3 "},
      {"30 frames of one tick", Smf(0, 0xE201, {first + after96 + end}), "0:4 3200:3 "},
      {"a tempo at the same tick",
       Smf(0, 96,
           {first + Bytes{96} + Bytes(kTempoSecond.begin() + 1, kTempoSecond.end()) + Bytes{0, 0xF0, 2, 0x7D, 0xF7} +
            after96 + end}),
       "0:4 500:3 1000:3 "},
      {"of two tempos at one tick the last",
       Smf(0, 96, {kTempoSecond + Bytes{0, 0xFF, 0x51, 3, 3, 0xD0, 0x90} + after96 + end}), "250:3 "},
      {"a tempo of a track that stands alone", Smf(2, 96, {after96 + end, kTempoSecond + after96 + end}),
       "500:3 1000:3 "},
      {"running status of one byte and of two",
       Smf(0, 96, {Bytes{48, 0xC0, 1, 0, 2, 0, 0xDF, 1, 0, 0xE0, 1, 2, 0, 3, 4, 48, 0xF0, 2, 0x7D, 0xF7} + end}),
       "500:3 "},
      {"no running status behind SysEx", Smf(0, 96, {first + Bytes{0, 0x40, 0x7F} + after96 + end}), "0:4 "},
      {"a status of the system", Smf(0, 96, {first + Bytes{0, 0xF1, 0} + after96 + end}), "0:4 "},
      {"nothing behind the end", Smf(0, 96, {first + end + after96}), "0:4 "},
      {"the longest wait", Smf(0, 96, {Bytes{0xFF, 0xFF, 0xFF, 0x7F, 0xF0, 2, 0x7D, 0xF7} + end}), "1398101328:3 "},
      {"a wait of five bytes", Smf(0, 96, {Bytes{0x80, 0x80, 0x80, 0x80, 0, 0xF0, 2, 0x7D, 0xF7} + end}), ""},
      {"no MIDI file", Bytes{0xF0, 0x7D, 0xF7}, "refused"},
  };
  for (const auto& row : rows) EXPECT_EQ(Times(row.file), row.times) << row.what;
}

// What is written has the shortest form of each wait and comes back, also inside a RIFF wrapper, behind a longer header
// and beside other chunks.
TEST(SmfTimes, WaitsAndWrappersComeBack) {
  const Bytes message = {0xF0, 0x7D, 1, 0xF7}, escaped = {0x7D, 0xF0, 0x7E, 0xF7};
  const std::size_t bare = WriteSmfSysEx({}, "").size();
  EXPECT_EQ(WriteSmfSysEx({}, "Name").size(), bare + 8);
  const Bytes empty = {'M', 'T', 'h', 'd', 0,  0, 0,    6,    0, 0, 0,    1,    1, 0xF4, 'M',  'T', 'r',
                       'k', 0,   0,   0,   11, 0, 0xFF, 0x51, 3, 7, 0xA1, 0x20, 0, 0xFF, 0x2F, 0};
  EXPECT_EQ(WriteSmfSysEx({}, ""), empty);
  EXPECT_EQ(WriteSmfSysEx(std::vector<SmfMessage>{{Bytes(), 5}}, "").size(), bare);
  for (const auto& [wait, length] : {std::pair(0u, 1u),
                                     {0x7Fu, 1u},
                                     {0x80u, 2u},
                                     {0x3FFFu, 2u},
                                     {0x4000u, 3u},
                                     {0x1FFFFFu, 3u},
                                     {0x200000u, 4u},
                                     {0x0FFFFFFFu, 4u},
                                     {0x10000000u, 4u}}) {
    const Bytes file = WriteSmfSysEx(std::vector<SmfMessage>{{message, wait}, {escaped, 1}}, "");
    EXPECT_EQ(file.size(), bare + length + 5 + 7) << wait;
    EXPECT_EQ(file[21] + file[20] * 256u, file.size() - 22);
    Bytes longHeader = file;
    longHeader[7] = 9;
    longHeader.insert(longHeader.begin() + 14, {1, 2, 3, 'j', 'u', 'n', 'k', 0, 0, 0, 1, 5});
    const std::string head("RIFF\0\0\0\0RMIDjunk\3\0\0\0\1\2\3\0data", 28);
    Bytes wrapped = Bytes(head.begin(), head.end()) + Bytes{static_cast<std::uint8_t>(file.size()), 0, 0, 0};
    wrapped.insert(wrapped.end(), file.begin(), file.end());
    for (const Bytes& form : {file, longHeader, wrapped}) {
      SmfContents contents;
      ASSERT_TRUE(ReadSmfSysEx(form, &contents, nullptr));
      ASSERT_EQ(contents.messages.size(), 2u);
      EXPECT_EQ(contents.trackCount, 1);
      EXPECT_EQ(contents.division, 500);
      EXPECT_EQ(contents.messages[0].bytes, message);
      EXPECT_EQ(contents.messages[0].tick, std::min(wait, 0x0FFFFFFFu));
      EXPECT_EQ(form[contents.messages[0].fileOffset], 0xF0);
      EXPECT_EQ(contents.messages[1].bytes, Bytes(escaped.begin() + 1, escaped.end()));
      EXPECT_EQ(form[contents.messages[1].fileOffset], 0xF7);
    }
    Bytes whole(wrapped.begin(), wrapped.begin() + 32);
    EXPECT_FALSE(IsStandardMidiFile(whole));
    EXPECT_FALSE(IsStandardMidiFile(std::span(file).first(13)));
    EXPECT_TRUE(IsStandardMidiFile(std::span(file).first(14)));
  }
}

// Every length of a file is a file that is read as far as it goes: a cut loses at most the message it falls into.
TEST(SmfTimes, CutFilesKeepWhatIsWhole) {
  const Bytes a = {0xF0, 0x7D, 1, 0xF7}, b = {0xF0, 0x7E, 2, 3, 0xF7};
  const Bytes file = WriteSmfSysEx(std::vector<SmfMessage>{{a, 0}, {b, 200}}, "N");
  for (std::size_t n = 14; n <= file.size(); ++n) {
    SmfContents contents;
    ASSERT_TRUE(ReadSmfSysEx(std::span(file).first(n), &contents, nullptr));
    std::size_t whole = 0;
    for (const SmfSysEx& message : contents.messages) whole += message.isTerminated;
    EXPECT_EQ(whole, (n >= 40u) + (n >= 48u)) << n;
    EXPECT_EQ(contents.trackCount, n >= 22u ? 1 : 0) << n;
  }
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
