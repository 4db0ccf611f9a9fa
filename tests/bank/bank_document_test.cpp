#include "bank/bank_document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include "data/container.h"
#include "data/data_size.h"
#include "document/recovery.h"
#include "platform/text.h"
#include "tests/bank/small_bank.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

TEST(BankDocument, RenamesInPlaceAndTakesItBack) {
  ZKBankDoc bank(SmallBank());
  ASSERT_EQ(bank.PatchCount(), 4);
  EXPECT_EQ(bank.GetPatchName(2), "VOICE 2");
  int told = 0;
  bank.AddListener([&](const DocumentChange&) { ++told; });
  EXPECT_EQ(bank.Rename(2, "A VERY LONG NAME").fit.Sentence(),
            "The name was written as \"A VERY LON\": a name has at most 10 characters.");
  EXPECT_EQ(bank.GetPatchName(2), "A VERY LON") << "cut to what the instrument holds";
  EXPECT_EQ(bank.GetPatchName(1), "VOICE 1");
  EXPECT_EQ(bank.GetPatchName(3), "VOICE 3");
  EXPECT_TRUE(bank.IsModified());
  EXPECT_EQ(bank.StatusText(), "Rename");
  EXPECT_GT(told, 0);
  const DataFile* before = bank.dataFile();
  EXPECT_LT(bank.history().MemoryBytes(), 1000U);
  EXPECT_TRUE(bank.CmEditUndo());
  EXPECT_EQ(bank.dataFile(), before) << "the record stays where others point to";
  EXPECT_EQ(bank.GetPatchName(2), "VOICE 2");
  EXPECT_FALSE(bank.IsModified());
  EXPECT_EQ(told, 2);
  SetMapBit(bank.dataFile()->emptyMap, bank.dataFile()->emptyMapSize, 1, true);
  EXPECT_FALSE(bank.IsPatchDefined(1));
  EXPECT_TRUE(bank.IsPatchDefined(0) && bank.IsPatchDefined(2));
  EXPECT_TRUE(bank.IsPatchDefined(8000)) << "outside the map";
  EXPECT_FALSE(bank.Rename(4, "X").ok());
  EXPECT_FALSE(bank.Rename(-1, "X").ok());
  EXPECT_TRUE(bank.Rename(0, "VOICE 0").ok());
  EXPECT_FALSE(bank.CanUndo()) << "the same name is no change";
  EXPECT_EQ(bank.Rename(0, "V\u00D6ICE 0").fit.name, "VOICE 0");
  EXPECT_FALSE(bank.CanUndo()) << "nor is one that is written as it";
}

TEST(BankDocument, TextsAndKeywordsOfAPatchAreItsOwn) {
  ZKBankDoc bank(SmallBank());
  for (std::size_t i = 0; i < kPatchTextKinds; ++i) {
    const auto which = static_cast<PatchText>(i);
    const std::string label = PatchTextLabel(which);
    EXPECT_TRUE(bank.SetText(2, which, label + " K\u00F6ln").ok());
    EXPECT_EQ(bank.Text(2, which), label + " K\u00F6ln");
    EXPECT_EQ(bank.Text(1, which) + bank.Text(3, which), "") << label;
    EXPECT_EQ(bank.UndoText(), label);
    EXPECT_TRUE(bank.SetText(2, which, label + " K\u00F6ln").ok());
    EXPECT_EQ(bank.history().Count(), i + 1) << "the same text is no change";
  }
  EXPECT_EQ(bank.SetText(3, PatchText::Author, std::string(300, 'x')).text,
            "The text was cut: it has at most 255 characters.");
  EXPECT_EQ(bank.Text(3, PatchText::Author).size(), kLongestPatchText);
  EXPECT_NE(bank.SetText(0, PatchText::Song, "\u263A").text, "");
  EXPECT_FALSE(bank.SetText(4, PatchText::Song, "X").ok());
  while (bank.CanUndo()) bank.Undo();
  EXPECT_EQ(bank.Text(2, PatchText::Comment) + bank.Text(2, PatchText::LongName), "");
  EXPECT_FALSE(bank.IsModified());
  EXPECT_TRUE(bank.GoTo(1).ok());
  EXPECT_EQ(bank.Text(2, PatchText::Comment), "Comment K\u00F6ln");
  EXPECT_FALSE(bank.GoTo(99).ok());

  using Words = std::vector<std::string>;
  const struct {
    Words typed, kept;
    const char* sentence;
  } rows[] = {
      {{"Pad", "Warm", "pad", ""}, {"Pad", "Warm"}, ""},
      {{"Warm", "Bass"}, {"Bass", "Warm"}, ""},  // a word that is there keeps its slot
      {{"warm", "Bass"}, {"Bass", "warm"}, ""},
      {{"1", "2", "3", "4", "5", "6", "7", "8", "9"},
       {"1", "2", "3", "4", "5", "6", "7", "8"},
       "A patch has at most 8 keywords; the others were left out."},
      {{"A word of 17 char"}, {"A word of 17 ch"}, "The text was cut: it has at most 15 characters."},
      {{}, {}, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(bank.SetKeywords(3, row.typed).text, row.sentence);
    EXPECT_EQ(bank.Keywords(3), row.kept);
    EXPECT_EQ(bank.Keywords(2), Words());
  }
  bank.SetBusy(true);
  EXPECT_FALSE(bank.SetKeywords(3, {"X"}).ok() || bank.SetText(3, PatchText::Song, "X").ok() || bank.GoTo(0).ok());
}

TEST(BankDocument, FailuresOfFilesSayWhy) {
  ZKBankDoc bank(SmallBank());
  EXPECT_EQ(
      bank.Save("/tmp").text,
      "The file /tmp could not be written; the former file was left as it is.  Cannot write /tmp: it is a folder.");
  EXPECT_EQ(bank.Load("/tmp").text, "The file /tmp could not be read.  Cannot open /tmp: it is a folder.");
  EXPECT_EQ(bank.Load("/none/such").text,
            "The file /none/such could not be read.  Cannot open /none/such: there is no such file or folder.");
  EXPECT_EQ(bank.GetPatchName(2), "VOICE 2");
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
  std::string told;
  bank.AddListener(
      [&](const DocumentChange& change) { told += change.kind == DocumentChange::Kind::Everything ? "E" : "S"; });
  EXPECT_TRUE(bank.EndReceive());
  EXPECT_EQ(told, "SE");
  EXPECT_TRUE(bank.CanUndo());
  EXPECT_TRUE(bank.IsModified());
}

// Everything a file would hold of the document, but the name of the file.
std::vector<std::uint8_t> Image(const ZKBankDoc& bank) {
  std::vector<std::uint8_t> bytes;
  DataFile copy = *bank.dataFile();
  copy.fileName = nullptr;
  EXPECT_TRUE(DiskWriteForm(&bytes, copy, WriteBuffers::kAll));
  return bytes;
}

TEST(BankDocument, UndoAndRedoBringBackAllThatAReceiveChanged) {
  ZKBankDoc bank(SmallBank());
  DataFile& data = *bank.dataFile();
  AddDataFileComponents(&data, 1);
  ASSERT_TRUE(data.comment && data.findText && data.emptyMap && data.tagMap && data.authors && data.xtra);
  const struct {
    const char* what;
    std::function<void()> change;
  } rows[] = {
      {"bytes", [&] { data.body[10] ^= 1; }},
      {"shorter image", [&] { ResizeBody(&data, 34); }},
      {"longer image", [&] { ResizeBody(&data, 5000); }},
      {"descriptor", [&] { data.synth->timeStamp = data.synth->timeStamp + 12345; }},
      {"separate names", [&] { AllocChunk(&data.voiceNames, &data.voiceNamesSize, 4 * kVoiceNameSize); }},
      {"comment", [&] { std::strcpy(data.comment, "A comment"); }},
      {"keywords", [&] { std::strcpy(data.findText + 16, "Brass"); }},
      {"undefined bit", [&] { SetMapBit(data.emptyMap, data.emptyMapSize, 3, true); }},
      {"transmit bit", [&] { SetMapBit(data.tagMap, data.tagMapSize, 2, true); }},
      {"tag", [&] { data.authors[256] = 'M'; }},
      {"tag gone", [&] { FreeChunk(data.songs, data.songsSize); }},
      {"extension record", [&] { data.xtra->hasNoSysEx ^= 1; }},
      {"port name", [&] { std::strcpy(data.midiInPortName, "Port"); }},
      {"script", [&] { AllocChunk(&data.transmitScript, &data.transmitScriptSize, 10, "0123456789"); }},
      {"link", [&] { std::strcpy(data.refFileName, "other.dat"), data.isReference = 1; }},
      {"modes of chunks", [&] { data.chunkModes[2] = 9; }},
  };
  std::vector<std::vector<std::uint8_t>> images = {Image(bank)};
  for (const auto& row : rows) {
    bank.BeginReceive(row.what);
    EXPECT_FALSE(bank.CanUndo());
    row.change();
    EXPECT_TRUE(bank.EndReceive()) << row.what;
    EXPECT_EQ(bank.UndoText(), row.what);
    images.push_back(Image(bank));
    EXPECT_NE(images[images.size() - 2], images.back()) << row.what;
  }
  for (int round = 0; round < 2; ++round) {
    for (std::size_t i = images.size() - 1; i-- > 0;) {
      ASSERT_TRUE(bank.CmEditUndo());
      EXPECT_EQ(Image(bank), images[i]) << "undo of " << rows[i].what;
      EXPECT_EQ(bank.IsModified(), i > 0);
    }
    for (std::size_t i = 1; i < images.size(); ++i) {
      ASSERT_TRUE(bank.CmEditRedo());
      EXPECT_EQ(Image(bank), images[i]) << "redo of " << rows[i - 1].what;
    }
  }
  EXPECT_EQ(bank.dataFile(), &data);
}

// A bank whose type leaves the size open has as many patches as came; what else there is follows along, and comes back.
TEST(BankDocument, HasAsManyPatchesAsCame) {
  ZKBankDoc bank(SmallBank());
  DataFile& data = *bank.dataFile();
  data.synth->optionBits = 1;
  AddDataFileComponents(&data, 1);
  const auto receive = [&](std::uint32_t patches) {
    bank.BeginReceive("Receive");
    ResizeBody(&data, 2 + patches * 16);
    AdoptSize(data.synth, 2 + patches * 16);
    for (std::uint32_t i = 0; i < patches; ++i) SetPatchName(&data, static_cast<int>(i), "CAME " + std::to_string(i));
    EXPECT_TRUE(bank.EndReceive());
  };
  const auto names = [&] {
    std::string text;
    for (int i = 0; i < bank.PatchCount(); ++i) text += std::string(TrimmedView(bank.GetPatchName(i))) + ";";
    return text;
  };
  const std::string four = "VOICE 0;VOICE 1;VOICE 2;VOICE 3;";
  EXPECT_EQ(names(), four);
  for (const std::uint32_t patches : {2u, 1u, 9u}) {
    receive(patches);
    EXPECT_EQ(bank.PatchCount(), static_cast<int>(patches));
    EXPECT_EQ(bank.DefinedPatches(), static_cast<int>(patches));
    const int last = static_cast<int>(patches) - 1;
    EXPECT_TRUE(bank.Rename(last, "LAST").ok()) << patches;
    EXPECT_FALSE(bank.Rename(last + 1, "NONE").ok()) << patches;
    ASSERT_TRUE(bank.CmEditUndo());
    ASSERT_TRUE(bank.CmEditUndo());
    EXPECT_EQ(names(), four) << patches;
    EXPECT_FALSE(bank.IsModified());
  }
}

TEST(BankDocument, AFileThatEndsEarlyIsOpenedAndKept) {
  const TestFolder own;
  const fs::path folder = own.path();
  const std::string path = (folder / "b\u00E4nk.dat").string();
  ASSERT_TRUE(ZKBankDoc(SmallBank()).Save(path));
  std::vector<std::uint8_t> cut, kept;
  ASSERT_TRUE(LoadDiskFile(path, &cut));
  const std::string chunk = "BODY";
  const auto body = std::search(cut.begin(), cut.end(), chunk.begin(), chunk.end()) - cut.begin();
  cut.resize(static_cast<std::size_t>(body) + 8 + 2 + 2 * 16 + 5);  // into the third voice
  fs::resize_file(path, cut.size());
  std::ofstream(path + "~") << "better";
  std::unique_ptr<ZKBankDoc> bank;
  ASSERT_TRUE(ZKBankDoc::Open(path, &bank));
  EXPECT_EQ(bank->LoadNotice(), MissingSentence(path, cut));
  EXPECT_FALSE(bank->LoadNotice().empty());
  EXPECT_EQ(bank->GetPatchName(1), "VOICE 1");
  EXPECT_TRUE(bank->IsPatchDefined(1));
  EXPECT_FALSE(bank->IsPatchDefined(2));
  EXPECT_EQ(bank->ReadOnlyReason(), "");
  // A program that is killed here leaves its changes for the next start, which finds the file as it was.
  ASSERT_TRUE(bank->Rename(1, "NEW").ok());
  RecoveryFolder former((folder / "recovery").string());
  ASSERT_TRUE(bank->Autosave(former).ok());
  bank->LeaveAutosave();
  const auto left = fs::directory_iterator(folder / "recovery");
  bank = std::make_unique<ZKBankDoc>(nullptr);
  for (const auto& entry : left) {
    RecoverableFile about;
    std::vector<std::uint8_t> content;
    about.file = entry.path().string();
    if (RecoveryFolder::Read(about.file, &about, &content)) {
      ASSERT_TRUE(bank->Recover(former, about).ok());
    }
  }
  ASSERT_EQ(bank->GetPatchName(1), "NEW");
  ASSERT_TRUE(bank->Save().ok());
  EXPECT_NE(bank->StatusText().find(path + "~2"), std::string::npos) << bank->StatusText();
  ASSERT_TRUE(LoadDiskFile(path + "~2", &kept));
  EXPECT_EQ(kept, cut);
  EXPECT_EQ(fs::file_size(path + "~"), 6u);
  ASSERT_TRUE(bank->Rename(0, "AGAIN").ok());
  ASSERT_TRUE(bank->Save().ok());
  EXPECT_EQ(bank->StatusText(), "Saved");
  EXPECT_FALSE(fs::exists(path + "~3"));
  ASSERT_TRUE(ZKBankDoc::Open(path, &bank));
  EXPECT_EQ(bank->LoadNotice(), "");
}

TEST(BankDocument, SavesAndLoadsTheSameBank) {
  const TestFolder own;
  const fs::path folder = own.path();
  const std::string path = (folder / "four.dat").string();
  {
    ZKBankDoc bank(SmallBank());
    ASSERT_TRUE(bank.Rename(3, "LAST").ok());
    ASSERT_TRUE(bank.Save(path).ok());
    EXPECT_FALSE(bank.IsModified());
    const std::vector<std::uint8_t> saved = Image(bank);
    EXPECT_FALSE(bank.Save((folder / "none" / "x.dat").string()).ok());
    EXPECT_EQ(bank.path(), path);
    EXPECT_STREQ(bank.dataFile()->fileName, path.c_str()) << "the record names the file that was written";
    ASSERT_TRUE(bank.SaveCopy((folder / "copy.dat").string()).ok());
    EXPECT_STREQ(bank.dataFile()->fileName, path.c_str());
    EXPECT_TRUE(bank.CmEditUndo());
    EXPECT_TRUE(bank.IsModified()) << "the file holds the later name";
    EXPECT_TRUE(bank.CmEditRedo());
    EXPECT_FALSE(bank.IsModified());
    EXPECT_EQ(Image(bank), saved);
  }
  DataFilePtr read;
  ASSERT_TRUE(ZKBankDoc::Load(path, &read).ok());
  ZKBankDoc again(std::move(read));
  EXPECT_EQ(again.GetPatchName(3), "LAST");
  EXPECT_EQ(again.PatchCount(), 4);
  const char* const ours = " is not a bank or patch of this program.";
  const std::pair<std::string, const char*> bad[] = {
      {"", " is empty."},
      {"not a data file", ours},
      {{"FORM\0\0\0\14BANKCOMM\0\0\0\0", 20}, ours},
      {{"FORM\0\0\1\0BANKSHDR\0\0\0\x90", 20}, " is damaged; what is left of it is too little to be opened."}};
  for (const auto& [bytes, reason] : bad) {
    const std::string file = (folder / "junk.dat").string();
    std::ofstream(file, std::ios::binary) << bytes;
    DataFilePtr junk;
    EXPECT_EQ(ZKBankDoc::Load(file, &junk).text, "The file " + file + reason);
    EXPECT_FALSE(again.Load(file).ok());
    EXPECT_EQ(again.GetPatchName(3), "LAST");
  }
  EXPECT_EQ(again.Title(), "Test Bank");
  EXPECT_EQ(again.Extension(), "DAT");
  EXPECT_EQ(again.FolderName(), "");
  EXPECT_FALSE(again.IsEmpty());
  again.dataFile()->xtra->hasNoSysEx = 1;
  EXPECT_TRUE(again.IsEmpty());
  SetDefn(again.dataFile()->synth, "Mäker/Bank.tpl");
  EXPECT_EQ(again.FolderName(), Latin1ToUtf8("Mäker"));
  std::strcpy(again.dataFile()->synth->reserved206, "../x");
  std::strcpy(again.dataFile()->synth->reserved238, "S/X");
  EXPECT_EQ(again.FolderName(), "") << "no way out of the data folder";
  EXPECT_EQ(again.Extension(), "S_X");
}

TEST(BankDocument, PatchesAtTheEndsOfABank) {
  DataFilePtr data = SmallBank();
  data->synth->numVoices = 17;
  data->synth->fileSize = 2 + 17 * 16;
  ResizeBody(data.get(), data->synth->fileSize);
  FreeChunk(data->emptyMap, data->emptyMapSize);
  ZKBankDoc bank(std::move(data));
  EXPECT_TRUE(bank.IsPatchDefined(0) && bank.IsPatchDefined(16)) << "without a map everything is";
  bank.dataFile()->xtra->hasNoSysEx = 1;
  EXPECT_FALSE(bank.IsPatchDefined(0)) << "unless there is nothing at all";
  AllocChunk(&bank.dataFile()->emptyMap, &bank.dataFile()->emptyMapSize, 2);
  bank.dataFile()->emptyMap[0] = 0x81;
  bank.dataFile()->emptyMap[1] = 0x80;
  std::string undefined;
  for (int patch = 0; patch < 17; ++patch) undefined += bank.IsPatchDefined(patch) ? "" : std::to_string(patch) + " ";
  EXPECT_EQ(undefined, "0 7 15 16 ");
  EXPECT_EQ(bank.NumberText(0) + bank.NumberText(16), "117");
  for (const int patch : {-1, 17}) EXPECT_EQ(bank.Rename(patch, "X").text, "There is no such patch.");
  EXPECT_TRUE(bank.Rename(16, "LAST  ").ok());
  EXPECT_EQ(bank.GetPatchName(16), "LAST");
  EXPECT_EQ(bank.NameLength(), 10u);
  bank.dataFile()->synth->nameLength = 0;
  EXPECT_EQ(bank.Rename(0, "X").text, "The patches of this data type have no names.");
  bank.dataFile()->synth->nameLength = 10;
  bank.SetBusy(true, "Wait.");
  EXPECT_EQ(bank.ReadOnlyReason() + bank.Rename(0, "X").text, "Wait.Wait.");
  bank.SetBusy(false);
  EXPECT_EQ(bank.ReadOnlyReason(), "");
  bank.CreateBackup("Command");
  EXPECT_FALSE(bank.EndBackup());
  bank.CreateBackup("Command");
  bank.dataFile()->body[3] ^= 1;
  EXPECT_TRUE(bank.EndBackup());
  EXPECT_EQ(bank.StatusText() + bank.UndoText(), "CommandCommand");
  std::strcpy(bank.dataFile()->xtra->instrumentName, "Own");
  EXPECT_EQ(bank.Description(), "Own Bank");
  for (const char* folder : {".", "..", "a/b", "a:b", "a\\b"}) {
    std::strcpy(bank.dataFile()->synth->reserved206, folder);
    EXPECT_EQ(bank.FolderName(), folder[0] == 'a' ? "a" : "");
  }
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
