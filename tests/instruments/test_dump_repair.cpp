// Repair of damaged dumps: every dump of the shipped modules and every real dump, with every fault.

#include <filesystem>
#include <map>
#include <random>

#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "studio/file_form.h"
#include "tests/instruments/installed_modules.h"
#include "tools/dump_repair.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const DumpKnowledge& Knowledge() {
  static const DumpKnowledge knowledge(InstalledModules::Instance().studio());
  return knowledge;
}

Bytes Joined(const std::vector<Bytes>& messages) {
  Bytes file;
  for (const Bytes& message : messages) file.insert(file.end(), message.begin(), message.end());
  return file;
}

std::vector<Bytes> MessagesOf(const Bytes& file) {
  std::vector<Bytes> messages;
  for (const SysExPiece& piece : SplitSysEx(file)) messages.emplace_back(piece.bytes.begin(), piece.bytes.end());
  return messages;
}

// What a repair of damage must come to.
enum class Wanted {
  Original,     // the undamaged dump
  Without,      // the dump without the damaged message
  SameButData,  // as long as the dump, and its checksums right
  Either,       // Original where the instrument is known so well, else Without
};

struct Fault {
  const char* name;
  Wanted wanted;
  Bytes file;
};

Bytes Inserted(Bytes message, const Bytes& bytes) {
  message.insert(message.begin() + static_cast<std::ptrdiff_t>(message.size() / 2), bytes.begin(), bytes.end());
  return message;
}

std::vector<Fault> FaultsOf(const std::vector<Bytes>& dump, std::size_t at) {
  const auto with = [&](const Bytes& message) {
    std::vector<Bytes> changed = dump;
    changed[at] = message;
    return Joined(changed);
  };
  const Bytes& message = dump[at];
  const std::string text = "Subject: my sounds\r\n\r\nbest of 1987\n";
  Bytes headed(text.begin(), text.end());
  const Bytes all = Joined(dump);
  headed.insert(headed.end(), all.begin(), all.end());
  Bytes flipped = message;
  flipped[message.size() - 4] ^= 1;  // behind what says whose data it is
  std::vector<Bytes> doubled = dump;
  doubled.insert(doubled.begin() + static_cast<std::ptrdiff_t>(at), message);
  return {
      {"real time", Wanted::Original, with(Inserted(message, {0xFE, 0xF8}))},
      {"text", Wanted::Original, headed},
      {"doubled", Wanted::Original, Joined(doubled)},
      {"no F7", Wanted::Either, with({message.begin(), message.end() - 1})},
      {"no F0", Wanted::Either, with({message.begin() + 1, message.end()})},
      {"cut", Wanted::Without,
       with({message.begin(), message.begin() + static_cast<std::ptrdiff_t>(message.size() / 2)})},
      {"note inside", Wanted::Either, with(Inserted(message, {0x90, 0x3C, 0x40}))},
      {"checksum", Wanted::SameButData, with(flipped)},
  };
}

std::string Lines(const RepairReport& report) {
  std::string lines;
  for (const RepairFinding& finding : report.findings) lines += RepairLine(finding) + "\n";
  return lines;
}

// Every byte of the file is in the copy or kept aside: none may get lost.
void ExpectNothingLost(const Bytes& file, const RepairReport& report) {
  std::map<std::uint8_t, long> left;
  for (const std::uint8_t byte : file) --left[byte];
  for (const std::uint8_t byte : report.copy) ++left[byte];
  for (const QuarantinedBytes& entry : report.quarantine)
    for (const std::uint8_t byte : entry.bytes) ++left[byte];
  for (const auto& [byte, count] : left) EXPECT_GE(count, 0) << static_cast<int>(byte);
}

struct Counts {
  int dumps = 0, faults = 0, repaired = 0, quarantined = 0, unseen = 0;
};

void TryFault(const Fault& fault, const std::vector<Bytes>& dump, std::size_t at, Counts* counts) {
  SCOPED_TRACE(fault.name);
  const DumpKnowledge::Judgement known = Knowledge().Judge(dump[at]);
  const bool isExact = known.length == dump[at].size() && known.IsWhole();
  RepairReport report;
  const Result result = RepairDump(Knowledge(), fault.file, &report);
  ASSERT_TRUE(result.ok()) << result.text;
  ++counts->faults;
  ExpectNothingLost(fault.file, report);
  const Bytes original = Joined(dump);
  std::vector<Bytes> others = dump;
  others.erase(others.begin() + static_cast<std::ptrdiff_t>(at));
  if (report.findings.empty()) {
    // Only what nobody could see: damage without a checksum, a second message that says no place.
    ++counts->unseen;
    EXPECT_EQ(report.copy, fault.file);
    const bool canBeMeant = fault.wanted == Wanted::SameButData
                                ? known.verdict != DumpKnowledge::Verdict::Good
                                : std::string(fault.name) == "doubled" && !Knowledge().SaysItsPlace(dump[at]);
    EXPECT_TRUE(canBeMeant);
    return;
  }
  ++(report.Quarantined() ? counts->quarantined : counts->repaired);
  switch (fault.wanted) {
    case Wanted::Original:
      EXPECT_EQ(report.copy, original) << Lines(report);
      EXPECT_EQ(report.Quarantined(), 0u) << Lines(report);
      break;
    case Wanted::Without:
      EXPECT_EQ(report.copy, Joined(others)) << Lines(report);
      EXPECT_EQ(report.Quarantined(), 1u) << Lines(report);
      break;
    case Wanted::Either:
      EXPECT_TRUE(report.copy == original || (!isExact && report.copy == Joined(others))) << Lines(report);
      break;
    case Wanted::SameButData:
      EXPECT_EQ(report.copy.size(), original.size()) << Lines(report);
      break;
  }
  // The copy is whole now.
  RepairReport again;
  ASSERT_TRUE(report.copy.empty() || RepairDump(Knowledge(), report.copy, &again).ok());
  EXPECT_EQ(Lines(again), "");
}

void TryDump(const Bytes& file, Counts* counts) {
  RepairReport report;
  ASSERT_TRUE(RepairDump(Knowledge(), file, &report).ok());
  if (!report.findings.empty()) return;  // damaged as it is
  EXPECT_EQ(report.copy, file);
  const std::vector<Bytes> dump = MessagesOf(file);
  if (dump.empty() || Joined(dump) != file) return;
  ++counts->dumps;
  const std::size_t last = dump.size() - 1;
  std::vector<std::size_t> places{0};
  if (last / 2 != 0) places.push_back(last / 2);
  if (last > 1) places.push_back(last);
  for (const std::size_t at : places) {
    if (dump[at].size() < 16) continue;
    for (const Fault& fault : FaultsOf(dump, at)) TryFault(fault, dump, at, counts);
  }
}

}  // namespace

TEST(DumpRepair, EveryTypeOfEveryModuleWithEveryFault) {
  Counts counts;
  for (const auto& instrument : InstalledModules::Instance().studio().instruments()) {
    for (const auto& driver : instrument->drivers) {
      SCOPED_TRACE(instrument->name + " " + driver->TypeName());
      const DataFilePtr data = InstalledModules::Instance().studio().GetNewDataFile(driver.get());
      ASSERT_TRUE(data && data->xtra);
      data->xtra->hasNoSysEx = 0;
      if (data->emptyMap)
        for (std::uint32_t i = 3; i < data->synth->numVoices && data->synth->patchByPatch; ++i)
          SetMapBit(data->emptyMap, data->emptyMapSize, i, true);
      const Bytes dump = Joined(MessagesOfFile(InstalledModules::Instance().recognizer(), *data));
      if (!dump.empty()) TryDump(dump, &counts);
    }
  }
  RecordProperty("faults", counts.faults);
  EXPECT_GT(counts.dumps, 100);
  EXPECT_GT(counts.repaired, counts.quarantined);
}

TEST(DumpRepair, EveryRealDumpWithEveryFault) {
  const fs::path folder = TONALITH_SOURCE_DIR "/../shared/sysex";
  if (!fs::exists(folder)) GTEST_SKIP() << "the real dumps are not here";
  Counts counts;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    Bytes file;
    if (AsciiLower(entry.path().extension().string()) != ".syx") continue;
    SCOPED_TRACE(entry.path().string());
    ASSERT_TRUE(ReadWholeFile(entry.path().string(), file).ok());
    TryDump(file, &counts);
  }
  EXPECT_GT(counts.dumps, 100);
  EXPECT_GT(counts.repaired, 300);
}

TEST(DumpRepair, SeveralFaultsAtOnceAndAnyBytes) {
  const auto& studio = InstalledModules::Instance().studio();
  const auto dx7 = std::find_if(studio.instruments().begin(), studio.instruments().end(),
                                [](const auto& instrument) { return instrument->name == "Yamaha DX7"; });
  ASSERT_NE(dx7, studio.instruments().end());
  std::vector<Bytes> dump;  // a bank and a voice
  for (const int type : {0, 1}) {
    const DataFilePtr data = InstalledModules::Instance().studio().GetNewDataFile((*dx7)->drivers[type].get());
    data->xtra->hasNoSysEx = 0;
    for (Bytes& message : MessagesOfFile(InstalledModules::Instance().recognizer(), *data))
      dump.push_back(std::move(message));
  }
  ASSERT_EQ(dump.size(), 2u);
  const Bytes identity = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};
  const auto file = [&](std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  };
  const Bytes text = {'h', 'i', '\n'}, note = {0x90, 0x40, 0x40}, padding(100, 0);
  const Bytes bank = dump[0], voice = dump[1];
  const Bytes noEnd(bank.begin(), bank.end() - 1), noStart(voice.begin() + 1, voice.end());
  struct Case {
    Bytes file, copy;
    std::size_t findings, quarantined;
  };
  const Case cases[] = {
      {file({text, noEnd, text, noStart, padding}), file({bank, voice}), 5, 0},
      {file({Inserted(bank, identity), voice}), file({bank, identity, voice}), 1, 0},
      {file({Inserted(bank, note), note, voice, {0xF7}}), file({bank, voice}), 3, 1},
      {file({bank, voice, bank, voice}), file({bank, voice}), 2, 0},
      {file({bank, bank, voice}), file({bank, voice}), 1, 0},
      {file({voice, Bytes(bank.begin(), bank.begin() + 2000), voice}), file({voice, voice}), 1, 1},
      {file({identity, voice, {0xF8}}), file({identity, voice}), 1, 0},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(&one - cases);
    RepairReport report;
    ASSERT_TRUE(RepairDump(Knowledge(), one.file, &report).ok());
    EXPECT_EQ(report.copy, one.copy);
    EXPECT_EQ(report.findings.size(), one.findings) << Lines(report);
    EXPECT_EQ(report.Quarantined(), one.quarantined) << Lines(report);
    ExpectNothingLost(one.file, report);
  }
  RepairReport strange;
  ASSERT_TRUE(RepairDump(Knowledge(), identity, &strange).ok());
  EXPECT_EQ(UnknownSentence(strange),
            "No instrument here knows the messages: only beginning and end of them were looked at.");
  // In a MIDI file, too.
  Bytes bad = voice;
  bad[bad.size() - 2] ^= 1;
  const SmfMessage messages[] = {{bank, 0}, {bad, 10}};
  RepairReport report;
  ASSERT_TRUE(RepairDump(Knowledge(), WriteSmfSysEx(messages), &report).ok());
  EXPECT_EQ(report.findings.size(), 1u);
  EXPECT_EQ(report.copy, file({bank, voice}));

  std::mt19937 random(7);
  const Bytes whole = file({bank, voice, identity, voice});
  for (int turn = 0; turn < 2000; ++turn) {
    Bytes any = whole;
    for (int changes = 0; changes < 1 + turn % 5; ++changes) {
      const std::size_t at = random() % any.size();
      const std::size_t end = std::min<std::size_t>(any.size(), at + random() % 300);
      if (random() % 3 == 0)
        any.erase(any.begin() + static_cast<std::ptrdiff_t>(at), any.begin() + static_cast<std::ptrdiff_t>(end));
      else
        any[at] = static_cast<std::uint8_t>(random() % 2 ? random() : 0xF0 | (random() & 0xF));
      if (any.empty()) any = whole;
    }
    RepairReport mended, again;
    ASSERT_TRUE(RepairDump(Knowledge(), any, &mended).ok());
    ExpectNothingLost(any, mended);
    if (mended.copy.empty()) continue;
    ASSERT_TRUE(RepairDump(Knowledge(), mended.copy, &again).ok());
    // Messages that something stood between may be the same one twice now; nothing else is left to find.
    EXPECT_EQ(again.Quarantined(), 0u) << Lines(again) << Lines(mended);
    if (HasFailure()) break;
  }
}

}  // namespace tonalith
