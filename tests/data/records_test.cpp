#include "data/data_records.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "data/data_text.h"
#include "data/hex_text.h"
#include "data/maker_names.h"
#include "data/packed_bytes.h"
#include "data/synth_fields.h"
#include "tests/data/bank_record.h"

namespace tonalith {
namespace {

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
  EXPECT_EQ(AllocMem(0x7FFFFFFF), nullptr);
  EXPECT_EQ(AllocMem(0), nullptr);
  FreeChunk(p, size);
  EXPECT_EQ(size, 0u);
}

TEST(Records, NewDataIsCompleteAndEmptiesTheDriversNames) {
  DataFilePtr driver = BankRecord(20, 8);
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
  driver->synth->namesSeparate = 0;
  FreeChunk(driver->voiceNames, driver->voiceNamesSize);
  EXPECT_EQ(DataFilePtr(AllocDataNew(driver.get()))->voiceNames, nullptr);
  driver->synth->numVoices = 0x40000000;
  EXPECT_FALSE(DataFilePtr(AllocDataNew(driver.get())));
}

TEST(Records, CopiesForUsersAreWholeOldCopiesAreCutTo16Bits) {
  DataFilePtr df = BankRecord(2000, 8);
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
  DataFilePtr a = BankRecord(4, 8), b = BankRecord(4, 8);
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
  DataFilePtr c = BankRecord(4, 8), d = BankRecord(4, 8);
  d->body[6 + 7] = 9;
  EXPECT_LT(MemCmp(c.get(), d.get()), 0) << "the last byte of the first voice";
  d->synth->fileSize = 37;
  EXPECT_EQ(MemCmp(c.get(), d.get()), -1);
  EXPECT_EQ(MemCmp(c.get(), nullptr), -1);
  EXPECT_EQ(MemCmp(DataFilePtr(AllocDataFile()).get(), d.get()), -1);
}

TEST(Records, NumbersInTwoPieces) {
  Synth s{};
  SetPatchMin(&s, 0x1234);
  SetPatchMax(&s, 0xFEDC);
  EXPECT_EQ(s.patchMin << 8 | s.patchMinHigh, 0x3412);
  EXPECT_EQ(PatchMin(s) << 16 | PatchMax(s), static_cast<int>(0x1234FEDCu));
  for (int format = 0; format < 30; ++format) {
    SetStorageFormat(&s, format);
    EXPECT_EQ(s.storageFormatCopy, format == 2 || format == 17 || format == 22 ? format : 0);
  }
  const std::pair<std::vector<std::uint8_t>, std::string_view> makers[] = {{{0x43}, "Yamaha"},
                                                                           {{0x43, 0, 0}, "Yamaha"},
                                                                           {{0, 0x20, 0x29}, "Novation"},
                                                                           {{0, 0, 0x0E}, "Alesis"},
                                                                           {{0x10}, "Oberheim"},
                                                                           {{0, 1, 5}, "M-Audio"},
                                                                           {{0, 0x20}, ""},
                                                                           {{}, ""},
                                                                           {{2}, ""},
                                                                           {{0, 0x20, 0x28}, ""}};
  for (const auto& [id, name] : makers) EXPECT_EQ(MakerName(id), name);
  std::vector<std::uint8_t> known;
  for (std::uint8_t id = 0; id < 0x80; ++id) {
    if (!MakerName(std::span(&id, 1)).empty()) known.push_back(id);
  }
  EXPECT_EQ(HexText(known), "01 04 06 07 08 0F 10 11 18 2F 31 33 36 3E 40 41 42 43 44 47 4C 52 54 7D");
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
  EXPECT_TRUE(broken([](Synth& s) { s.fileSize = 0x40000000; }));
  EXPECT_TRUE(broken([](Synth& s) { s.numVoices = 65536, s.voiceSize = 0; }));
  EXPECT_TRUE(broken([](Synth& s) { s.numVoices = 2, s.voiceSize = s.voiceBytes = s.voiceOffset = 0; }));
  for (const auto& change : std::vector<std::function<void(Synth&)>>{
           [](Synth& s) { s.nameLength = 256; }, [](Synth& s) { s.fileSize = 2; },
           [](Synth& s) { s.fileSize = 0x3FFFFFFF; },
           [](Synth& s) { s.numVoices = 65535, s.voiceSize = 0, s.numVoices = 1; }, [](Synth& s) { s.numVoices = 0; },
           [](Synth& s) { s.numVoices = 1, s.voiceSize = 0, s.voiceBytes = 5000; }}) {
    Synth s = good;
    change(s);
    const VoiceLayout layout = ValidateSynth(s, 100);
    EXPECT_EQ(layout.problem, "");
    EXPECT_EQ(layout.numVoices, std::max<std::uint32_t>(1, +s.numVoices));
    EXPECT_EQ(layout.headerSize + layout.voiceOffset, 6u);
    EXPECT_EQ(layout.nameLength, +s.nameLength);
  }
  EXPECT_EQ(ValidateSynth(Synth{}, 77).voiceBytes, 77u);
  EXPECT_EQ(LayoutOf(DataFile{}).problem, "the data has no descriptor");
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

TEST(Records, MapsAndComponentsFollowTheVoices) {
  std::uint8_t map[3] = {0, 0, 0};
  for (const std::uint32_t voice : {0u, 7u, 8u, 15u, 16u, 23u}) SetMapBit(map, 2, voice, true);
  EXPECT_EQ(map[0] << 16 | map[1] << 8 | map[2], 0x818100);
  EXPECT_TRUE(MapBit(map, 2, 15) && MapBit(map, 2, 0));
  map[2] = 0xFF;
  EXPECT_FALSE(MapBit(map, 2, 16) || MapBit(map, 2, 14) || MapBit(nullptr, 2, 0));
  SetMapBit(map, 2, 15, false);
  EXPECT_EQ(map[1], 1);
  SetMapBit(nullptr, 2, 0, true);
  struct Case {
    std::uint32_t voices, size, texts, bits;
  };
  for (const Case& c :
       {Case{1, 7, 1, 2}, Case{2, 7, 2, 2}, Case{16, 7, 16, 2}, Case{17, 7, 17, 4}, Case{1024, 1, 1024, 128},
        Case{1025, 7, 1, 130}, Case{1025, 8, 1025, 130}, Case{10000, 8, 10000, 1250}, Case{10001, 8, 1, 1252}}) {
    DataFilePtr df = BankRecord(c.voices, c.size);
    FreeChunk(df->voiceNames, df->voiceNamesSize);
    AllocChunk(&df->comment, &df->commentSize, 300, nullptr);
    AllocChunk(&df->emptyMap, &df->emptyMapSize, 2, nullptr);
    ASSERT_EQ(AddDataFileComponents(df.get(), 0), 1);
    EXPECT_EQ(df->authorsSize, 256 * c.texts) << c.voices;
    EXPECT_EQ(df->longNamesSize, 256 * c.texts) << c.voices;
    EXPECT_EQ(df->emptyMapSize, c.bits) << c.voices;
    EXPECT_EQ(df->tagMapSize, c.bits) << c.voices;
    EXPECT_EQ(df->voiceNamesSize, c.voices * 33 + (c.voices & 1)) << c.voices;
    EXPECT_EQ(df->commentSize, 300u) << "what is larger stays";
    EXPECT_EQ(df->patchBayPortNameSize, 256u);
  }
  DataFilePtr patch = BankRecord(1, 8);
  patch->synth->isBank = patch->synth->namesSeparate = 0;
  FreeChunk(patch->voiceNames, patch->voiceNamesSize);
  ASSERT_EQ(AddDataFileComponents(patch.get(), 0), 1);
  EXPECT_TRUE(!patch->emptyMap && !patch->tagMap && !patch->voiceNames);
  EXPECT_EQ(AddDataFileComponents(nullptr, 0), 0);
}

TEST(Records, WhatEachCopyTakes) {
  DataFilePtr df = BankRecord(4, 8);
  AddDataFileComponents(df.get(), 0);
  df->body[9] = 1, df->emptyMap[0] = 2, df->tagMap[0] = 3, df->comment[0] = 'c', df->findText[0] = 'f',
  df->fileName[0] = 'n';
  df->xtra->isInactive = 4, df->authors[0] = 5, df->midiInPortName[0] = 'p', df->refBankNumber = 6, df->isReference = 1;
  df->refReserved = 7;
  AllocChunk(&df->transmitScript, &df->transmitScriptSize, 2, "tt");
  AllocChunk(&df->receiveScript, &df->receiveScriptSize, 2, "rr");
  AllocChunk(&df->auditionScript, &df->auditionScriptSize, 2, "aa");
  const auto digits = [](const DataFilePtr& copy) {
    std::string out;
    for (const int value : std::initializer_list<int>{
             +copy->body[9], copy->emptyMap ? copy->emptyMap[0] : 9, copy->tagMap ? copy->tagMap[0] : 9,
             copy->comment[0] == 'c', copy->findText[0] == 'f', copy->fileName[0] == 'n',
             copy->xtra ? copy->xtra->isInactive : 9, copy->authors ? copy->authors[0] : 9,
             copy->midiInPortName ? copy->midiInPortName[0] == 'p' : 9, +copy->refBankNumber, +copy->refReserved,
             copy->voiceNames[0] == 'F'}) {
      out += std::to_string(value);
    }
    return out + reinterpret_cast<char*>(copy->transmitScript) + reinterpret_cast<char*>(copy->receiveScript) +
           reinterpret_cast<char*>(copy->auditionScript);
  };
  EXPECT_EQ(digits(DataFilePtr(DupForUser(df.get()))), "123111451671ttrraa");
  EXPECT_EQ(digits(DataFilePtr(AllocDataDup(df.get()))), "123111451671ttrraa");
  EXPECT_EQ(digits(DataFilePtr(AllocDataDup1(df.get(), 0))), "023000499000ttrraa");
  EXPECT_EQ(df->voiceNames[0], 0);
  df->synth->isBank = 0;
  EXPECT_EQ(digits(DataFilePtr(AllocDataDup(df.get()))).substr(0, 3), "199");
  EXPECT_EQ(digits(DataFilePtr(DupForUser(df.get()))).substr(0, 3), "123");
  EXPECT_TRUE(!DupForUser(nullptr) && !AllocDataDup(nullptr) && !AllocDataNew(nullptr));
  df->synth->numVoices = 1;
  df->synth->fileSize = 0x40000000;
  EXPECT_FALSE(DataFilePtr(AllocDataNew(df.get())));

  ZKDataList first(DupForUser(df.get())), second;
  first.next = &second;
  ZKDataList* copies = DupDataList(&first);
  ASSERT_TRUE(copies && copies->next && !copies->next->next);
  EXPECT_NE(copies->dataFile, first.dataFile);
  EXPECT_EQ(copies->dataFile->body[9], 1);
  EXPECT_EQ(copies->next->dataFile, nullptr);
  FreeDataListAndFiles(copies);
  FreeDataFile(first.dataFile);
  first.dataFile = nullptr;
  first.next = nullptr;
}

// The extension record's numbers turn as far as the record in the file reaches.
TEST(Records, ExtensionByteOrder) {
  struct Case {
    std::uint32_t size;
    bool slot, number, table;
  };
  for (const Case& c : {Case{54, false, false, false}, Case{55, true, false, false}, Case{56, true, false, false},
                        Case{57, true, true, false}, Case{96, true, true, false}, Case{97, true, true, true}}) {
    DFXtra x{};
    x.timeStamp = x.driverNumber = x.foreignMark = x.table[0] = x.table[127] = 0x01020304;
    x.windowX = x.windowY = x.windowWidth = x.windowHeight = x.windowExtra = x.foreignSlot = 0x0102;
    FlipDFXtra(&x, c.size);
    EXPECT_EQ(+x.timeStamp, 0x04030201u);
    for (const int value : {+x.windowX, +x.windowY, +x.windowWidth, +x.windowHeight, +x.windowExtra})
      EXPECT_EQ(value, 0x0201);
    EXPECT_EQ(x.foreignSlot == 0x0201, c.slot) << c.size;
    EXPECT_EQ(x.driverNumber == 0x04030201, c.number) << c.size;
    EXPECT_EQ(x.foreignMark == 0x04030201, c.number) << c.size;
    EXPECT_EQ(x.table[0] == 0x04030201 && x.table[127] == 0x04030201, c.table) << c.size;
  }
}

// Old place, new place and length of what an old descriptor holds.
TEST(Records, OldDescriptorsAreMoved) {
  DataFilePtr df(AllocDataFile());
  EXPECT_EQ(DiskMSFixSynth(df.get()), -6);
  AllocChunk(&df->synth, &df->synthSize, kSynthSize);
  auto* old = reinterpret_cast<std::uint8_t*>(df->synth);
  for (std::uint8_t i = 0; i < 250; ++i) old[i] = i < 16 ? 'S' : i < 44 ? 'T' : i;
  ASSERT_EQ(DiskMSFixSynth(df.get()), 0);
  Synth wanted{};
  auto* record = reinterpret_cast<std::uint8_t*>(&wanted);
  std::memset(wanted.shortName, 'S', 15);
  std::memset(wanted.typeName, 'T', sizeof wanted.typeName - 1);
  constexpr int kMoves[][3] = {{44, 42, 16},  {60, 58, 8},   {68, 66, 2},   {72, 68, 4},   {76, 72, 1},   {77, 73, 24},
                               {104, 98, 8},  {112, 106, 4}, {116, 110, 1}, {120, 177, 1}, {124, 116, 4}, {128, 120, 4},
                               {132, 124, 1}, {133, 125, 1}, {134, 126, 4}, {138, 130, 2}, {140, 132, 1}};
  for (const auto& [from, to, n] : kMoves) {
    for (int i = 0; i < n; ++i) record[to + i] = static_cast<std::uint8_t>(from + i);
  }
  EXPECT_EQ(std::memcmp(df->synth, &wanted, kSynthSize), 0);
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
  EXPECT_EQ(head->rect.left + head->rect.top + head->rect.right + head->rect.bottom, 0);
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

// Every number takes what its bytes hold and nothing beyond, every text what fits.
TEST(SynthFields, RangesOfNumbersAndTexts) {
  for (const SynthField& field : SynthFields()) {
    const bool isWide = field.offset == offsetof(Synth, patchMin) || field.offset == offsetof(Synth, patchMax);
    std::int64_t low = 0, high = 255;
    switch (field.type) {
      case FieldType::kI8:
        low = -128, high = 127;
        break;
      case FieldType::kU16:
        high = 65535;
        break;
      case FieldType::kI16:
        low = -32768, high = 32767;
        break;
      case FieldType::kU32:
        high = 0xFFFFFFFF;
        break;
      case FieldType::kI32:
        low = -2147483648LL, high = 2147483647;
        break;
      case FieldType::kU8:
      case FieldType::kChar:
        high = isWide ? 65535 : 255;
        break;
      case FieldType::kText: {
        Synth s{};
        std::string error, text(static_cast<std::size_t>(field.high), 'x');
        ASSERT_GT(field.high, 0) << field.name;
        EXPECT_TRUE(SetSynthField(&s, std::string(field.name) + "=" + text, &error)) << error;
        EXPECT_EQ(SynthFieldText(s, field), text);
        EXPECT_FALSE(SetSynthField(&s, std::string(field.name) + "=x" + text, &error)) << field.name;
        continue;
      }
      default:
        continue;
    }
    Synth s{};
    std::string error;
    for (const std::int64_t value : {low, high}) {
      ASSERT_TRUE(SetSynthField(&s, field.name, std::to_string(value), &error)) << field.name;
      EXPECT_EQ(isWide ? value : SynthNumber(s, field), value) << field.name;
      ASSERT_EQ(&field, FindSynthField(std::string("@") + std::to_string(field.offset)));
    }
    const Synth before = s;
    for (const std::int64_t value : {low - 1, high + 1}) {
      EXPECT_FALSE(SetSynthField(&s, field.name, std::to_string(value), &error)) << field.name;
      EXPECT_EQ(error, std::string("The value of ") + field.name + " is out of range.");
    }
    EXPECT_EQ(std::memcmp(&before, &s, sizeof s), 0);
  }
}

TEST(SynthFields, TextsAndLists) {
  const struct {
    const char *assignment, *field, *text;  // an error when the field is empty
  } rows[] = {
      {"protocolLetter=O", "protocolLetter", "O"},
      {"protocolLetter=\"!\"", "protocolLetter", "!"},
      {"protocolLetter=7", "protocolLetter", "7"},
      {"protocolLetter=", "protocolLetter", "0"},
      {"protocolLetter=32", "protocolLetter", "32"},
      {"protocolLetter=126", "protocolLetter", "~"},
      {"protocolLetter=127", "protocolLetter", "127"},
      {"protocolLetter=/", "protocolLetter", "/"},
      {"protocolLetter=:", "protocolLetter", ":"},
      {"protocolLetter=57", "protocolLetter", "9"},
      {" shortName = 012345678901234 ", "shortName", "012345678901234"},
      {"shortName=\"", "shortName", "\""},
      {"shortName=\"\"", "shortName", ""},
      {"rolandAddress=255, 0 ,1", "rolandAddress", "FF 00 01"},
      {"rolandAddress=1,", "rolandAddress", "01 00 00"},
      {"rolandAddress=7F", "rolandAddress", "7F 00 00"},
      {"editorRect96=1,65535,", "editorRect96", "1,65535,0,0"},
      {"patchMax=65535", "patchMax", "65535"},
      {"rolandAddress=256,0,0", "", "The value of rolandAddress is not a list of bytes."},
      {"rolandAddress=-1,0,0", "", "The value of rolandAddress is not a list of bytes."},
      {"rolandAddress=1,2,3,4", "", "The value of rolandAddress has too many bytes."},
      {"editorRect96=65536", "", "The value of editorRect96 is not a list of at most four numbers."},
      {"editorRect96=-1", "", "The value of editorRect96 is not a list of at most four numbers."},
      {"shortName=0123456789012345", "", "The value of shortName is too long."},
      {"protocolLetter=OO", "", "The value of protocolLetter is not a number."},
      {"fileSize", "", "\"fileSize\" is not FIELD=VALUE."},
      {"@43=1", "", "There is no descriptor field named \"@43\"."},
      {"@x=1", "", "There is no descriptor field named \"@x\"."},
      {"@=1", "", "There is no descriptor field named \"@\"."},
      {"=1", "", "There is no descriptor field named \"\"."},
  };
  for (const auto& row : rows) {
    Synth s{};
    std::string error;
    EXPECT_EQ(SetSynthField(&s, row.assignment, &error), *row.field != 0) << row.assignment;
    EXPECT_EQ(*row.field ? SynthFieldText(s, *FindSynthField(row.field)) : error, row.text) << row.assignment;
  }
}

TEST(SynthFields, SizesThatAreLeftOut) {
  struct Case {
    std::uint32_t file, header, voices, size, bytes, offset;  // as given
    std::uint32_t sizeAfter, bytesAfter;
  };
  for (const Case& c : {Case{0, 6, 0, 0, 0, 0, 94, 94}, Case{0, 4, 4, 0, 0, 2, 24, 22}, Case{50, 50, 2, 0, 0, 0, 0, 0},
                        Case{50, 51, 2, 0, 0, 0, 0, 0}, Case{0, 0, 2, 8, 0, 8, 8, 0}, Case{0, 0, 2, 8, 3, 0, 8, 3}}) {
    Synth s{};
    s.fileSize = c.file, s.headerSize = c.header, s.numVoices = c.voices, s.voiceSize = c.size;
    s.voiceBytes = c.bytes, s.voiceOffset = c.offset, s.storageFormat = 17;
    CompleteSynth(&s, 100);
    EXPECT_EQ(+s.fileSize, c.file ? c.file : 100);
    EXPECT_EQ(+s.numVoices, c.voices);
    EXPECT_EQ(+s.voiceSize, c.sizeAfter);
    EXPECT_EQ(+s.voiceBytes, c.bytesAfter);
    EXPECT_EQ(s.storageFormatCopy * 100 + s.sysExChannelMax, 1715);
  }
}

TEST(DataText, EverythingThatIsThere) {
  DataFilePtr df = BankRecord(2, 8);
  AddDataFileComponents(df.get(), 0);
  std::strcpy(df->synth->shortName, "A \"b\\\x1F\xFC");
  SetPatchMin(df->synth, 0x100);
  df->synth->checksumLength = 2;
  df->synth->checksumOffset = 20;
  df->comment[0] = 'c', df->findText[16] = 'f', df->authors[0] = 'a', df->body[16] = 0xAB, df->chunkModes[3] = 9;
  AllocChunk(&df->receiveScript, &df->receiveScriptSize, 2, "rr");
  df->isReference = 1, df->refBankNumber = 3, std::strcpy(df->refFileName, "file");
  df->xtra->windowY = 7, std::strcpy(df->xtra->instrumentName, "Name"), df->xtra->foreignMark = 5;
  EXPECT_EQ(
      DataFileText(*df),
      "shortName=A \\x22b\\x5C\\x1F\xFC\nfileSize=22\nheaderSize=6\nnumVoices=2\nvoiceSize=8\nchecksumLength=2\n"
      "checksumOffset=20\nisBank=1\nnamesSeparate=1\npatchMin=256\nvoiceBytes=8\nbody 22 bytes\nchecksum ok\n"
      "comment 256 bytes \"c\"\nfindText 128 bytes \"f\"\nfileName 256 bytes \"\"\nreceiveScript 2 bytes\n"
      "xtra 4704 bytes\nxtra.windowY=7\nxtra.instrumentName=Name\nxtra.foreignMark=5\nvoiceNames 66 bytes\n"
      "emptyMap 2 bytes\ntagMap 2 bytes\nauthors 512 bytes \"a\"\nrightsNotices 512 bytes \"\"\nsongs 512 bytes \"\"\n"
      "musicians 512 bytes \"\"\nbands 512 bytes \"\"\nlongNames 512 bytes \"\"\nmidiInPortName 256 bytes \"\"\n"
      "midiOutPortName 256 bytes \"\"\npatchBayPortName 256 bytes \"\"\nchunkModes 00 00 00 09\nrefBankNumber=3\n"
      "refFileName=file\nrefDirectory=\nvoice 0  1 \"First\"\nvoice 1  2 \"\"\n"
      "000000  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n000010  AB 00 00 00 00 00\n");
  EXPECT_EQ(DataFileText(*df, false).find("000000"), std::string::npos);
  df->synth->numVoices = 3;
  EXPECT_NE(DataFileText(*df).find("problem: header and 3 voices of 8 bytes need 30 bytes, the image has 22\n"),
            std::string::npos);
  EXPECT_EQ(DataFileText(DataFile{}), "body 0 bytes\nchunkModes 00 00 00 00\nproblem: the data has no descriptor\n");
}

}  // namespace
}  // namespace tonalith
