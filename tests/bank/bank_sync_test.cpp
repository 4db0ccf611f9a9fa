// An instrument is kept in step with a bank that is changed.

#include <gtest/gtest.h>

#include <array>

#include "bank/bank_commands.h"
#include "bank/bank_document.h"
#include "bank/bank_sync.h"
#include "tests/bank/small_bank.h"

namespace tonalith {
namespace {

using Patches = std::vector<std::uint8_t>;

// Stands for whoever sends, and for what the bank is part of.
struct Recorder final : BankSender, BankOwner {
  void SynchronizeSoon() override { ++requests; }
  bool SendPatches(const Patches& patches) override {
    if (accepts) sent.push_back(patches);
    return accepts;
  }
  bool IsSynchronized(const ZKBankDoc&) const override { return synchronized; }
  int requests = 0;
  bool accepts = true, synchronized = false;
  std::vector<Patches> sent;
};

struct BankInStep : ::testing::Test {
  BankInStep() : bank(ByPatch()), commands(bank) {
    bank.sync().SetSender(&recorder);
    bank.sync().SetOwner(&recorder);
  }
  static DataFilePtr ByPatch() {
    DataFilePtr data = SmallBank();
    data->synth->patchByPatch = 1;
    data->synth->startsEmpty = 1;
    return data;
  }
  std::vector<unsigned> Waiting() const { return bank.sync().syncList().patches(); }
  Recorder recorder;
  ZKBankDoc bank;
  BankCommands commands;
};

TEST(SyncList, TakesEachPatchOnceAndAnySize) {
  SyncList list;
  std::array<unsigned char, 128> bits{};
  bits[0] = 0x81;
  bits[127] = 0x80;
  list.Add(7);
  list.AddStateElements(bits.data());
  list.Add(5000);
  list.Add(5000);
  EXPECT_EQ(list.patches(), (std::vector<unsigned>{7, 0, 1023, 5000}));
  const std::array<unsigned char, 130> more{{0, 1}};
  list.Remove(1023);
  list.Remove(6000);
  list.AddStateElements(more.data(), more.size());
  EXPECT_EQ(list.patches(), (std::vector<unsigned>{7, 0, 5000, 8}));
}

TEST_F(BankInStep, OnlyWhatChangedWaitsAndIsSentOnce) {
  ASSERT_TRUE(commands.Rename(1, "OFF").ok());
  EXPECT_TRUE(Waiting().empty()) << "nobody wants it";
  bank.WasSent({});
  for (const bool own : {true, false}) {
    own ? bank.sync().SetLocalSync() : bank.sync().ClearLocalSync();
    recorder.synchronized = !own;
    EXPECT_EQ(bank.sync().GetIsSynchronized(), !own);
    recorder.requests = 0;
    recorder.sent.clear();
    ASSERT_TRUE(commands.Swap(0, 2).ok());
    ASSERT_TRUE(commands.Rename(2, own ? "A" : "B").ok());
    EXPECT_EQ(Waiting(), (std::vector<unsigned>{0, 2}));
    EXPECT_EQ(recorder.requests, 2);
    bank.sync().Synchronize(true);
    EXPECT_EQ(recorder.sent, (std::vector<Patches>{{1, 0, 1, 0}}));
    bank.WasSent({1, 0, 1, 0}, bank.Sounds());
    bank.sync().Synchronize(true);
    EXPECT_EQ(recorder.sent.size(), 1U);
    // Texts beside the sound are not the instrument's.
    ASSERT_TRUE(bank.SetText(0, PatchText::Comment, own ? "x" : "y").ok());
    EXPECT_TRUE(Waiting().empty());
  }
}

TEST_F(BankInStep, UndoGoesToTheInstrumentAndWhatIsAsItWasDoesNot) {
  bank.sync().SetLocalSync();
  ASSERT_TRUE(commands.Rename(3, "NEW").ok());
  ASSERT_TRUE(bank.CmEditUndo());
  bank.sync().Synchronize(true);
  EXPECT_TRUE(recorder.sent.empty()) << "the instrument holds that already";
  ASSERT_TRUE(bank.CmEditRedo());
  bank.sync().Synchronize(true);
  bank.WasSent({0, 0, 0, 1}, bank.Sounds());
  ASSERT_TRUE(bank.CmEditUndo());
  bank.sync().Synchronize(true);
  EXPECT_EQ(recorder.sent, (std::vector<Patches>{{0, 0, 0, 1}, {0, 0, 0, 1}}));
}

TEST_F(BankInStep, WhatIsNotAcceptedOrDoesNotArriveStays) {
  bank.sync().SetLocalSync();
  recorder.accepts = false;
  ASSERT_TRUE(commands.Rename(1, "ONE").ok());
  bank.sync().Synchronize(true);
  EXPECT_EQ(Waiting(), std::vector<unsigned>{1});
  EXPECT_TRUE(bank.DiffersFromInstrument(1));
  recorder.accepts = true;
  ASSERT_TRUE(commands.Rename(2, "TWO").ok());
  bank.sync().Synchronize(true);
  EXPECT_EQ(recorder.sent, (std::vector<Patches>{{0, 1, 1, 0}}));
  EXPECT_TRUE(Waiting().empty());
  bank.sync().NotSent({0, 0, 1, 0});
  EXPECT_EQ(Waiting(), std::vector<unsigned>{2});
  // What changed while it was sent is not what was sent.
  const std::vector<std::uint64_t> sounds = bank.Sounds();
  ASSERT_TRUE(commands.Rename(1, "LATER").ok());
  bank.WasSent({0, 1, 0, 0}, sounds);
  EXPECT_TRUE(bank.DiffersFromInstrument(1));
  bank.sync().Synchronize(false);
  EXPECT_TRUE(Waiting().empty());
  ASSERT_TRUE(commands.Rename(1, "LAST").ok());
  bank.sync().ClearLocalSync();
  EXPECT_TRUE(Waiting().empty());
}

TEST_F(BankInStep, WhatComesFromTheInstrumentDoesNotGoBack) {
  bank.sync().SetLocalSync();
  bank.BeginReceive();
  SetPatchName(bank.dataFile(), 0, "CAME");
  bank.PatchesArrived();
  SetPatchName(bank.dataFile(), 1, "TOO");
  bank.EndReceive(true);
  EXPECT_TRUE(Waiting().empty());
  ASSERT_TRUE(commands.DeleteSlots({2}, false, nullptr).ok());
  bank.sync().Synchronize(true);
  EXPECT_TRUE(recorder.sent.empty()) << "nothing stands there";
}

}  // namespace
}  // namespace tonalith
