#include "bank/bank_document.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "data/patch_names.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

// Four voices of 16 bytes behind a header of 2, a ten character name at 4.
DataFilePtr SmallBank() {
  DataFilePtr driver(AllocDataFile());
  AllocChunk(&driver->synth, &driver->synthSize, kSynthSize);
  Synth& synth = *driver->synth;
  std::strcpy(synth.shortName, "Test");
  std::strcpy(synth.typeName, "Bank");
  synth.fileSize = 2 + 4 * 16;
  synth.headerSize = 2;
  synth.numVoices = 4;
  synth.voiceSize = 16;
  synth.voiceBytes = 16;
  synth.nameLength = 10;
  synth.nameOffset = 4;
  synth.isBank = 1;
  DataFilePtr data(AllocDataNew(driver.get()));
  for (int i = 0; i < 4; ++i) SetPatchName(data.get(), i, "VOICE " + std::to_string(i));
  return data;
}

TEST(BankDocument, RenamesInPlaceAndTakesItBack) {
  ZKBankDoc bank(SmallBank());
  ASSERT_EQ(bank.PatchCount(), 4);
  EXPECT_EQ(bank.GetPatchName(2), "VOICE 2");
  int told = 0;
  bank.AddListener([&](const DocumentChange&) { ++told; });
  EXPECT_TRUE(bank.Rename(2, "A VERY LONG NAME").ok());
  EXPECT_EQ(bank.GetPatchName(2), "A VERY LON") << "cut to what the instrument holds";
  EXPECT_EQ(bank.GetPatchName(1), "VOICE 1");
  EXPECT_EQ(bank.GetPatchName(3), "VOICE 3");
  EXPECT_TRUE(bank.IsModified());
  EXPECT_GT(told, 0);
  const DataFile* before = bank.dataFile();
  EXPECT_TRUE(bank.CmEditUndo());
  EXPECT_EQ(bank.dataFile(), before) << "the record stays where others point to";
  EXPECT_EQ(bank.GetPatchName(2), "VOICE 2");
  EXPECT_FALSE(bank.IsModified());
  EXPECT_FALSE(bank.Rename(4, "X").ok());
  EXPECT_TRUE(bank.Rename(0, "VOICE 0").ok());
  EXPECT_FALSE(bank.CanUndo()) << "the same name is no change";
}

TEST(BankDocument, RefusesWhileBusyAndKnowsWhetherAReceiveChangedAnything) {
  ZKBankDoc bank(SmallBank());
  bank.BeginReceive();
  EXPECT_FALSE(bank.Rename(0, "X").ok());
  EXPECT_FALSE(bank.Save("/nonexistent/x").ok());
  EXPECT_FALSE(bank.CmEditUndo());
  EXPECT_FALSE(bank.EndReceive());
  EXPECT_FALSE(bank.CanUndo());
  EXPECT_FALSE(bank.IsModified());
  bank.BeginReceive();
  bank.dataFile()->body[10] ^= 1;
  EXPECT_TRUE(bank.EndReceive());
  EXPECT_TRUE(bank.CanUndo());
  EXPECT_TRUE(bank.IsModified());
}

TEST(BankDocument, SavesAndLoadsTheSameBank) {
  const fs::path folder = fs::temp_directory_path() / ("tonalith-bank-" + std::to_string(getpid()));
  fs::create_directories(folder);
  const std::string path = (folder / "four.dat").string();
  {
    ZKBankDoc bank(SmallBank());
    ASSERT_TRUE(bank.Rename(3, "LAST").ok());
    ASSERT_TRUE(bank.Save(path).ok());
    EXPECT_FALSE(bank.IsModified());
    EXPECT_FALSE(bank.Save((folder / "none" / "x.dat").string()).ok());
    EXPECT_EQ(bank.path(), path);
  }
  DataFilePtr read;
  ASSERT_TRUE(ZKBankDoc::Load(path, &read).ok());
  ZKBankDoc again(std::move(read));
  EXPECT_EQ(again.GetPatchName(3), "LAST");
  EXPECT_EQ(again.PatchCount(), 4);
  std::ofstream(folder / "junk.dat") << "not a data file";
  DataFilePtr junk;
  EXPECT_FALSE(ZKBankDoc::Load((folder / "junk.dat").string(), &junk).ok());
  fs::remove_all(folder);
}

TEST(BankDocument, DataThatDoesNotFitItsDescriptorIsShownButNotEdited) {
  auto data = SmallBank();
  data->synth->numVoices = 4000;
  ZKBankDoc bank(std::move(data));
  EXPECT_EQ(bank.PatchCount(), 1);
  EXPECT_FALSE(bank.ReadOnlyReason().empty());
  EXPECT_FALSE(bank.Rename(0, "X").ok());
}

}  // namespace
}  // namespace tonalith
