#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "bank/bank_document.h"
#include "bank/file_marks.h"
#include "services/transfer_rest.h"
#include "tests/bank/small_bank.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

using Patches = std::vector<std::uint8_t>;

DataFilePtr BankByPatch() {
  DataFilePtr data = SmallBank();
  data->synth->patchByPatch = 1;
  data->synth->noChecksumOnFormat = 1;
  return data;
}

DeskResult Result(bool ok, const std::vector<int>& missing, const std::vector<int>& sent = {}) {
  DeskResult result;
  result.ok = ok;
  result.changed = true;
  result.patchesDone = ok ? 4 : 1;
  for (const int patch : missing) result.faults.push_back({patch});
  result.sent = sent;
  return result;
}

// A Get that changes these patches and leaves others.
void Get(ZKBankDoc& bank, const std::vector<int>& came, const std::vector<int>& missing, const Patches& asked = {}) {
  bank.BeginReceive("Get");
  for (const int patch : came) SetPatchName(bank.dataFile(), patch, "CAME");
  bank.EndReceive(missing.empty());
  bank.GetEnded(asked, Result(missing.empty(), missing));
}

TEST(TransferRest, IsWhatWasMeantAndNotDone) {
  const DataFilePtr data = BankByPatch();
  SetMapBit(data->emptyMap, data->emptyMapSize, 2, true);
  const struct {
    const char* what;
    bool get;
    Patches asked, former;
    DeskResult result;
    Patches left;
  } cases[] = {
      {"all came", true, {}, {0, 1, 0, 1}, Result(true, {}), {}},
      {"the last two did not", true, {}, {}, Result(false, {2, 3}), {0, 0, 1, 1}},
      {"of what was asked for", true, {0, 1, 1, 0}, {}, Result(false, {2}), {0, 0, 1, 0}},
      {"others were left before", true, {0, 0, 1, 0}, {0, 0, 1, 1}, Result(true, {}), {0, 0, 0, 1}},
      {"it was not begun", true, {}, {}, DeskResult{}, {1, 1, 1, 1}},
      {"a patch that does not exist", true, {}, {}, Result(false, {-1, 4, 99}), {}},
      {"a send of all: the third holds nothing", false, {}, {}, Result(false, {}, {0}), {0, 1, 0, 1}},
      {"nothing was sent", false, {}, {0, 1, 0, 0}, Result(false, {}), {0, 1, 0, 0}},
      {"all that was left", false, {0, 1, 0, 0}, {0, 1, 0, 0}, Result(true, {}, {1}), {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TransferRest rest;
    (c.get ? rest.notReceived : rest.notSent) = c.former;
    (c.get ? NoteGet : NoteSend)(*data, c.asked, c.result, &rest);
    EXPECT_EQ(c.get ? rest.notReceived : rest.notSent, c.left);
  }
  const DataFilePtr whole = SmallBank();
  TransferRest none;
  NoteGet(*whole, {}, Result(false, {1}), &none);
  EXPECT_TRUE(none.none()) << "it goes as a whole";
  EXPECT_EQ(SlotsText({1, 0, 1, 1, 1, 0, 1}), "0,2-4,6");
}

TEST(BankRest, GoesAndComesBackWithItsGet) {
  ZKBankDoc bank(BankByPatch());
  Get(bank, {0, 1}, {2, 3});
  EXPECT_TRUE(bank.IsAwaited(2) && bank.IsAwaited(3) && !bank.IsAwaited(1) && !bank.IsAwaited(-1));
  ASSERT_TRUE(bank.CmEditUndo());
  EXPECT_TRUE(bank.rest().none());
  ASSERT_TRUE(bank.CmEditRedo());
  EXPECT_TRUE(bank.IsAwaited(3));
  ASSERT_TRUE(bank.Rename(0, "LATER").ok());
  EXPECT_TRUE(bank.IsAwaited(3));
  ASSERT_TRUE(bank.CmEditUndo());
  EXPECT_TRUE(bank.IsAwaited(3)) << "only the later change was undone";
  ASSERT_TRUE(bank.CmEditUndo());
  ASSERT_TRUE(bank.Rename(0, "OTHER").ok());
  EXPECT_TRUE(bank.rest().none()) << "the Get was replaced by something else";
  Get(bank, {2}, {3});
  Get(bank, {3}, {}, bank.ToGet());
  EXPECT_TRUE(bank.rest().none());
  ASSERT_TRUE(bank.CmEditUndo());
  EXPECT_TRUE(bank.IsAwaited(3)) << "what the second Get brought is gone again";
}

TEST(BankRest, ACancelledGetChangesNothingAndGoesOn) {
  ZKBankDoc bank(BankByPatch());
  DeskResult cancelled = Result(false, {1, 2, 3});
  cancelled.changed = false;
  DataFilePtr other = BankByPatch();
  SetPatchName(other.get(), 0, "ASIDE");
  const auto came = std::make_shared<ReceivedPatches>();
  came->push_back({0, {other->body, other->body + 16}});
  cancelled.setAside = came;
  bank.BeginReceive();
  bank.EndReceive(false);
  bank.GetEnded({}, cancelled);
  EXPECT_EQ(bank.GetPatchName(0), "VOICE 0");
  EXPECT_TRUE(bank.rest().none()) << "the bank is as it was";
  EXPECT_EQ(bank.ToGet(), (Patches{0, 1, 1, 1}));
  bank.BeginReceiveRest("Get");
  bank.EndReceive(false);
  bank.GetEnded({0, 1, 1, 1}, DeskResult{});  // its port is gone
  EXPECT_NE(bank.GetPatchName(0), "VOICE 0") << "what had come is in its place";
  EXPECT_EQ(bank.ToGet(), (Patches{0, 1, 1, 1}));
  EXPECT_TRUE(bank.IsAwaited(1) && !bank.IsAwaited(0));
  ASSERT_TRUE(bank.CmEditUndo());
  EXPECT_EQ(bank.GetPatchName(0), "VOICE 0");
}

using BankRestFiles = FilesTest;

TEST_F(BankRestFiles, IsSavedWithTheData) {
  const std::string path = Path("rest.dat");
  ZKBankDoc bank(BankByPatch());
  Get(bank, {0}, {1, 3});
  ASSERT_TRUE(bank.Rename(2, "EDIT").ok());
  bank.SendEnded({0, 1, 0, 1}, Result(false, {}, {1}));
  ASSERT_TRUE(bank.Save(path).ok());
  const TransferRest rest = bank.rest();
  EXPECT_EQ(rest.notReceived, (Patches{0, 1, 0, 1}));
  EXPECT_EQ(rest.notSent, (Patches{0, 0, 0, 1}));
  std::unique_ptr<ZKBankDoc> opened;
  ASSERT_TRUE(ZKBankDoc::Open(path, &opened).ok());
  EXPECT_TRUE(opened->rest() == rest);
  EXPECT_TRUE(opened->DiffersFromInstrument(2) && opened->DiffersFromInstrument(3));
  EXPECT_FALSE(opened->IsModified());
  EXPECT_EQ(opened->ToGet(), rest.notReceived);
  opened->SendEnded(rest.notSent, Result(true, {}, {3}));
  Get(*opened, {1, 3}, {}, rest.notReceived);
  ASSERT_TRUE(opened->Save(path).ok());
  ASSERT_TRUE(ZKBankDoc::Open(path, &opened).ok());
  EXPECT_TRUE(opened->rest().none());
}

// Whatever stands at a file's end, marks are read as they were written, or not at all.
TEST(FileMarks, AreReadBack) {
  for (const int patches : {1, 4, 16, 17, 128, 1024, 3000}) {
    const auto some = [patches](int step) {
      Patches mask(static_cast<std::size_t>(patches));
      for (std::size_t i = 0; i < mask.size(); i += static_cast<std::size_t>(step)) mask[i] = 1;
      return mask;
    };
    for (const bool changed : {false, true}) {
      for (const bool rest : {false, true}) {
        FileMarks marks;
        if (changed) marks.changed = some(3);
        if (rest) marks.rest = {some(5), {}};
        std::vector<std::uint8_t> file(64, 0x11);
        AddFileMarks(&file, marks, patches);
        EXPECT_EQ(file.size() == 64, !changed && !rest);
        const FileMarks read = FileMarksIn(file, patches);
        EXPECT_EQ(read.changed, marks.changed);
        EXPECT_TRUE(read.rest == marks.rest);
        for (std::size_t cut = 0; cut < file.size(); cut += 7) FileMarksIn(std::span(file).first(cut), patches);
        EXPECT_TRUE(FileMarksIn(file, patches + 64).rest.none());
      }
    }
  }
}

}  // namespace
}  // namespace tonalith
