#include "data/data_records.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "data/synth_fields.h"

namespace tonalith {
namespace {

DataFilePtr BankOf(std::uint32_t voices, std::uint32_t voiceSize) {
  DataFilePtr df(AllocDataFile());
  AllocChunk(&df->synth, &df->synthSize, kSynthSize);
  Synth& s = *df->synth;
  s.headerSize = 6;
  s.numVoices = voices;
  s.voiceSize = s.voiceBytes = voiceSize;
  s.fileSize = 6 + voices * voiceSize;
  s.isBank = 1;
  s.namesSeparate = 1;
  ResizeBody(df.get(), s.fileSize);
  AllocChunk(&df->voiceNames, &df->voiceNamesSize, kVoiceNameSize * voices);
  std::strcpy(df->voiceNames, "First");
  return df;
}

TEST(Records, AllocChunkRules) {
  std::uint8_t* p = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(AllocChunk(&p, &size, 0), 0);
  EXPECT_EQ(p, nullptr);
  ASSERT_EQ(AllocChunk(&p, &size, 5, "hello"), 1);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(std::memcmp(p, "hello\0", 6), 0);
  EXPECT_EQ(AllocChunk(&p, &size, 6, "ignore"), 1);
  EXPECT_EQ(p[0], 'h');
  ASSERT_EQ(AllocChunk(&p, &size, 300), 1);
  EXPECT_EQ(std::memcmp(p, "hello\0\0", 7), 0);
  EXPECT_EQ(AllocChunk(&p, &size, 0xFFFFFFFF), 0);
  EXPECT_EQ(size, 300u);
  for (std::size_t i = 0; i < kBufferSlack; ++i) EXPECT_EQ(p[size + i], 0);
  FreeChunk(p, size);
  EXPECT_EQ(size, 0u);
}

TEST(Records, NewDataIsCompleteAndEmptiesTheDriversNames) {
  DataFilePtr driver = BankOf(20, 8);
  driver->synth->startsEmpty = 1;
  driver->body[6] = 77;
  const DataFilePtr fresh(AllocDataNew(driver.get()));
  ASSERT_TRUE(fresh);
  EXPECT_EQ(driver->voiceNames[0], 0);
  EXPECT_EQ(fresh->bodySize, driver->bodySize);
  EXPECT_EQ(fresh->body[6], 0);
  EXPECT_EQ(fresh->authorsSize, 20u * 256);
  EXPECT_EQ(fresh->emptyMapSize, 4u);
  EXPECT_EQ(fresh->emptyMap[2], 0xFF);
  EXPECT_EQ(fresh->tagMap[0], 0);
  EXPECT_EQ(fresh->xtra->hasNoSysEx, 1);
  driver->synth->patchByPatch = 1;
  EXPECT_EQ(DataFilePtr(AllocDataNew(driver.get()))->xtra->hasNoSysEx, 0);
  driver->synth->numVoices = 1;
  EXPECT_EQ(DataFilePtr(AllocDataNew(driver.get()))->authorsSize, 256u);
  driver->synth->numVoices = 0x40000000;
  EXPECT_FALSE(DataFilePtr(AllocDataNew(driver.get())));
}

TEST(Records, CopiesForUsersAreWholeOldCopiesAreCutTo16Bits) {
  DataFilePtr df = BankOf(2000, 8);
  std::strcpy(df->voiceNames + 1999 * kVoiceNameSize, "Last");
  df->chunkModes[1] = 9;
  df->isReference = 1;
  std::strcpy(df->refFileName, "bank.pvl");
  ASSERT_EQ(AllocChunk(&df->songs, &df->songsSize, 256, std::string(256, 's').data()), 1);
  const DataFilePtr user(DupForUser(df.get()));
  EXPECT_STREQ(user->voiceNames + 1999 * kVoiceNameSize, "Last");
  EXPECT_EQ(user->chunkModes[1], 9);
  const DataFilePtr old(AllocDataDup(df.get()));
  EXPECT_EQ(old->voiceNamesSize, df->voiceNamesSize);
  EXPECT_EQ(old->voiceNames[1999 * kVoiceNameSize], 0);
  EXPECT_EQ(old->chunkModes[1], 0);
  EXPECT_STREQ(old->refFileName, "bank.pvl");
  EXPECT_EQ(old->songs[255], 's');
  EXPECT_STREQ(df->voiceNames, "First");
}

TEST(Records, CompareLooksAtDriverSizeAndFirstVoice) {
  DataFilePtr a = BankOf(4, 8), b = BankOf(4, 8);
  EXPECT_EQ(MemCmp(a.get(), b.get()), 0);
  b->body[0] = 1;
  b->body[6 + 8] = 1;
  EXPECT_EQ(MemCmp(a.get(), b.get()), 0);
  b->body[6] = 1;
  EXPECT_NE(MemCmp(a.get(), b.get()), 0);
  b->synth->fileSize = a->synth->fileSize = 0x3FFFFFFF;
  a->synth->voiceBytes = 0x3FFFFFFF;
  EXPECT_NE(MemCmp(a.get(), b.get()), 0);
  b->synth->driverId = 3;
  EXPECT_EQ(MemCmp(a.get(), b.get()), -1);
}

TEST(Records, DefinitionTextMayEndOnTheTypeKey) {
  Synth s{};
  std::strcpy(s.typeKey, "KEY");
  for (const std::size_t n : {0u, 29u, 30u, 62u}) {
    const std::string text(n, 'd');
    SetDefn(&s, text.c_str());
    EXPECT_EQ(GetDefn(s), text);
    EXPECT_STREQ(s.typeKey, "KEY") << n;
  }
  SetDefn(&s, std::string(80, 'd').c_str());
  EXPECT_EQ(GetDefn(s), std::string(63, 'd'));
  EXPECT_EQ(s.typeKey[0], 0);
  char out[64];
  GetDefn(&s, out);
  EXPECT_EQ(std::strlen(out), 63u);
}

TEST(Records, ByteOrderDependsOnTheSizeRead) {
  Synth s{};
  s.fileSize = 0x01020304;
  s.patchNumber = 0x0102;
  s.bankNumberOffset = 0x0102;
  s.editorRect96[0] = s.editorRect96[1] = 0x0102;
  s.multiBankBase = s.localId = s.zoneId = 0x0102;
  Synth flipped = s;
  FlipSynth(&flipped, 206);
  EXPECT_EQ(+flipped.fileSize, 0x04030201u);
  EXPECT_EQ(flipped.patchNumber, 0x0102);
  EXPECT_EQ(flipped.bankNumberOffset, 0x0201);
  EXPECT_EQ(flipped.editorRect96[0], 0x0102);
  struct Case {
    std::uint32_t size;
    int rect0, rect1, multi, local, zone;
  };
  for (const Case& c : {Case{244, 0x102, 0x102, 0x102, 0x102, 0x102}, Case{245, 0x201, 0x102, 0x102, 0x102, 0x102},
                        Case{297, 0x201, 0x201, 0x201, 0x102, 0x102}, Case{364, 0x201, 0x201, 0x201, 0x201, 0x102},
                        Case{370, 0x201, 0x201, 0x201, 0x201, 0x201}, Case{1, 0x201, 0x201, 0x201, 0x201, 0x201}}) {
    flipped = s;
    FlipSynth(&flipped, c.size);
    EXPECT_EQ(flipped.editorRect96[0], c.rect0) << c.size;
    EXPECT_EQ(flipped.editorRect96[1], c.rect1) << c.size;
    EXPECT_EQ(flipped.multiBankBase, c.multi) << c.size;
    EXPECT_EQ(flipped.localId, c.local) << c.size;
    EXPECT_EQ(flipped.zoneId, c.zone) << c.size;
  }
}

TEST(Records, ValidationRefusesWhatDoesNotFit) {
  Synth good{};
  good.fileSize = 100;
  good.headerSize = 4;
  good.numVoices = 8;
  good.voiceSize = 12;
  good.voiceBytes = 10;
  good.voiceOffset = 2;
  good.nameLength = 10;
  EXPECT_TRUE(ValidateSynth(good, 100).editable);
  const auto broken = [&good](auto change, std::size_t body = 100) {
    Synth s = good;
    change(s);
    const VoiceLayout layout = ValidateSynth(s, body);
    EXPECT_EQ(layout.numVoices, 1u);
    EXPECT_EQ(layout.nameLength, 0u);
    EXPECT_FALSE(layout.problem.empty());
    return !layout.editable;
  };
  EXPECT_TRUE(broken([](Synth&) {}, 99));
  EXPECT_TRUE(broken([](Synth& s) { s.numVoices = 0x20000000; }));
  EXPECT_TRUE(broken([](Synth& s) { s.voiceSize = 0xFFFFFFFF; }));
  EXPECT_TRUE(broken([](Synth& s) { s.headerSize = 0xFFFFFFFF; }));
  EXPECT_TRUE(broken([](Synth& s) { s.voiceOffset = 3; }));
  EXPECT_TRUE(broken([](Synth& s) { s.nameLength = 257; }));
  EXPECT_TRUE(broken([](Synth& s) { s.fileSize = 1; }));
}

// Two registries (two programs), one of them with a user-interface thread of its own, and a watch without a program.
TEST(Records, ReleasedDataIsAnnounced) {
  using Seen = std::vector<const DataFile*>;
  Seen first, second, alone;
  std::vector<std::function<void()>> queued;
  DataFileObservers other;
  const DataFileWatch watchOther(other, [&second](const DataFile* released) { second.push_back(released); });
  const DataFileWatch watchAlone([&alone](const DataFile* released) { alone.push_back(released); });
  DataFile* df = AllocDataFile();
  {
    DataFileObservers observers;
    const DataFileWatch watch(observers, [&first](const DataFile* released) { first.push_back(released); });
    FreeDataFile(nullptr);
    FreeDataFile(df);
    EXPECT_EQ(first, (Seen{nullptr, df}));
    observers.SetUiThread(std::this_thread::get_id(),
                          [&queued](std::function<void()> call) { queued.push_back(call); });
    std::thread([] { FreeDataFile(AllocDataFile()); }).join();
    EXPECT_EQ(first.size(), 2u);
    ASSERT_EQ(queued.size(), 1u);
    queued[0]();
    EXPECT_EQ(first.size(), 3u);
    std::thread([] { FreeDataFile(AllocDataFile()); }).join();
  }
  ASSERT_EQ(queued.size(), 2u);
  queued[1]();
  FreeDataFile(nullptr);
  EXPECT_EQ(first.size(), 3u);
  EXPECT_EQ(second.size(), 5u);
  EXPECT_EQ(alone, second);
}

TEST(Records, LongListsAreFreedAndCopied) {
  ZKDataList* head = nullptr;
  for (int i = 0; i < 200000; ++i) {
    auto* node = std::make_unique<ZKDataList>().release();
    node->next = head;
    head = node;
  }
  EXPECT_EQ(head->row, -1);
  EXPECT_EQ(head->label.bottom, 96);
  FreeDataList(DupDataList(head));
  FreeDataList(head);
}

TEST(SynthFields, TextSetsEveryFieldAndReadsItBack) {
  Synth s{};
  std::string error;
  for (const char* assignment :
       {"shortName=DX7", "typeName=\"Voice Bank\"", "fileSize=4104", "nameOffset=-10", "dumpRequest=F0 43 20 09 F7",
        "rolandAddress=1,0x10,3", "patchMax=300", "bankSelectLsbDefault=-5", "protocolLetter=O", "editorRect96=1,2,3,4",
        "definition=Maker Model/Voice template that has a long name", "@194=5", "checksumStart=0x10"}) {
    EXPECT_TRUE(SetSynthField(&s, assignment, &error)) << assignment << ": " << error;
  }
  EXPECT_EQ(+s.fileSize, 4104u);
  EXPECT_EQ(+s.nameOffset, -10);
  EXPECT_EQ(s.dumpRequest[4], 0xF7);
  EXPECT_EQ(s.rolandAddress[1], 0x10);
  EXPECT_EQ(PatchMax(s), 300);
  EXPECT_EQ(s.bankSelectLsbDefault, -5);
  EXPECT_EQ(+s.timeStamp, 5u);
  EXPECT_EQ(GetDefn(s), "Maker Model/Voice template that has a long name");
  const Synth before = s;
  for (const char* wrong : {"nothing=1", "fileSize", "fileSize=12x", "patchMax=70000", "shortName=0123456789012345",
                            "sysExChannelMin=200", "dumpRequest=F", "editorRect96=1,2,3,4,5"}) {
    EXPECT_FALSE(SetSynthField(&s, wrong, &error)) << wrong;
    EXPECT_FALSE(error.empty());
  }
  EXPECT_EQ(std::memcmp(&before, &s, sizeof s), 0);
  for (const SynthField& field : SynthFields()) {  // what is printed can be set again
    Synth copy = s;
    EXPECT_TRUE(SetSynthField(&copy, field.name, SynthFieldText(s, field), &error)) << field.name << ": " << error;
    if (field.offset != offsetof(Synth, definition2)) {
      EXPECT_EQ(SynthFieldText(copy, field), SynthFieldText(s, field));
    }
  }
}

}  // namespace
}  // namespace tonalith
