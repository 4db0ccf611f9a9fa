// What instruments held, on disk: names, numbers, patches that were not kept, damage, and a program that is killed.

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "platform/text.h"
#include "services/instrument_history.h"
#include "services/keep_before_send.h"
#include "tests/document/killed_program.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

struct InstrumentHistoryTest : FilesTest {
  DataFilePtr Bank(const std::string& instrument, const std::string& type, std::uint8_t fill) {
    DataFilePtr data(AllocDataFile());
    AllocChunk(&data->synth, &data->synthSize, sizeof(Synth));
    AllocChunk(&data->body, &data->bodySize, 64);
    AllocChunk(&data->voiceNames, &data->voiceNamesSize, 4 * kVoiceNameSize);
    std::fill_n(data->body, data->bodySize, fill);
    Synth& synth = *data->synth;
    synth.fileSize = 64;
    synth.isBank = synth.patchByPatch = 1;
    synth.numVoices = 4;
    synth.voiceSize = synth.voiceBytes = 16;
    CopyText(synth.shortName, sizeof synth.shortName, instrument);
    CopyText(synth.typeName, sizeof synth.typeName, type);
    return data;
  }
  InstrumentHistory history_{[this] { return Path("History"); }};
};

TEST_F(InstrumentHistoryTest, KeepsListsAndBringsBack) {
  const std::vector<std::string> names{"Yamaha DX7", "../A:B/", "", "K\xF6rg", std::string(200, 'x')};
  int kept = 0;
  for (const std::string& name : names) {
    HistoryEntry all, some;
    const DataFilePtr data = Bank(name, "Bank (old)", static_cast<std::uint8_t>(++kept));
    const Result first = history_.Keep(*data, {}, &all);
    ASSERT_TRUE(first.ok()) << first.text;
    ASSERT_TRUE(history_.Keep(*data, {0, 1, 0, 1}, &some).ok());
    EXPECT_EQ(some.number, 2 * kept);
    const std::vector<HistoryEntry> listed = history_.List(all.instrument);
    ASSERT_EQ(listed.size(), 2u) << all.instrument;
    EXPECT_EQ(listed[0].What(), some.What());
    EXPECT_EQ(listed[0].patches, 2);
    EXPECT_EQ(listed[1].patches, 0);
    EXPECT_EQ(listed[1].when, all.when);
    DataFilePtr back;
    ASSERT_TRUE(history_.Load(some.number, &back).ok());
    EXPECT_EQ(back->body[63], kept);
    EXPECT_EQ(back->emptyMap[0] & 0x0F, 0x05);
  }
  EXPECT_EQ(history_.List().size(), 2 * names.size());
  EXPECT_EQ(history_.Instruments().size(), names.size());
  EXPECT_TRUE(history_.Forget(3).ok());
  EXPECT_FALSE(history_.Forget(3).ok());
  HistoryEntry next;
  ASSERT_TRUE(history_.Keep(*Bank("Other", "", 1), {}, &next).ok());
  EXPECT_EQ(next.number, static_cast<int>(2 * names.size()) + 1);
}

TEST_F(InstrumentHistoryTest, DamageIsSaidAndLeft) {
  HistoryEntry entry;
  ASSERT_TRUE(history_.Keep(*Bank("DX7", "Bank", 7), {}, &entry).ok());
  std::filesystem::resize_file(entry.path, std::filesystem::file_size(entry.path) / 2);
  DataFilePtr data;
  const Result loaded = history_.Load(entry.number, &data);
  EXPECT_NE(loaded.text.find("is damaged"), std::string::npos) << loaded.text;
  EXPECT_TRUE(std::filesystem::exists(entry.path));
  // Files of others are passed over.
  std::ofstream(Path("History/DX7/notes.dat")) << "x";
  std::ofstream(Path("History/DX7/00001x 2026-01-01 000000 Bank.dat")) << "x";
  EXPECT_EQ(history_.List("dx7").size(), 1u);
  InstrumentHistory nowhere([] { return std::string(); });
  EXPECT_FALSE(nowhere.Keep(*Bank("DX7", "Bank", 7), {}, &entry).ok());
}

TEST_F(InstrumentHistoryTest, SurvivesAKill) {
  HistoryEntry first;
  ASSERT_TRUE(history_.Keep(*Bank("DX7", "Bank", 1), {}, &first).ok());
  Shared<int> noted;
  for (long stops = 1;; ++stops) {
    *noted.operator->() = 0;
    const End end = RunKilledAt(stops, [&] {
      HistoryEntry entry;
      if (!history_.Keep(*Bank("DX7", "Bank", 2), {}, &entry).ok()) return false;
      *noted.operator->() = entry.number;
      return true;
    });
    if (end == End::kNotAllowed) GTEST_SKIP() << "processes may not be traced here";
    ASSERT_NE(end, End::kFailed) << stops;
    std::set<int> numbers;
    for (const HistoryEntry& entry : history_.List()) {
      DataFilePtr data;
      ASSERT_TRUE(history_.Load(entry.number, &data).ok()) << stops;
      EXPECT_TRUE(numbers.insert(entry.number).second);
    }
    // Else every round would have more to list than the one before.
    for (const int number : numbers) EXPECT_TRUE(number == first.number || history_.Forget(number).ok());
    EXPECT_TRUE(numbers.count(first.number) && (!*noted.operator->() || numbers.count(*noted.operator->()))) << stops;
    if (end == End::kDone) break;
    ASSERT_LT(stops, 2000);
  }
}

TEST_F(InstrumentHistoryTest, TheChoiceIsKeptForEachInstrument) {
  const std::string ini = Path("ZK.ini");
  EXPECT_EQ(KeepBeforeSendOf(ini, "Yamaha DX7"), KeepBeforeSend::kDoNotKeep);
  const std::pair<const char*, KeepBeforeSend> choices[] = {{"Yamaha DX7", KeepBeforeSend::kAskFirst},
                                                            {"K\xC3\xB6rg=1", KeepBeforeSend::kKeepAlways},
                                                            {"[odd];", KeepBeforeSend::kKeepAlways}};
  for (const auto& [name, choice] : choices) EXPECT_TRUE(SetKeepBeforeSend(ini, name, choice).ok()) << name;
  for (const auto& [name, choice] : choices) EXPECT_EQ(KeepBeforeSendOf(ini, name), choice) << name;
  EXPECT_TRUE(SetKeepBeforeSend(ini, "Yamaha DX7", KeepBeforeSend::kDoNotKeep).ok());
  EXPECT_EQ(KeepBeforeSendOf(ini, "Yamaha DX7"), KeepBeforeSend::kDoNotKeep);
}

}  // namespace
}  // namespace tonalith
