// A long life of one document without a window: whatever happens, the file holds the document whenever that says it is
// not modified, undo and redo lead to states that were there before, and a failure changes nothing.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "bank/bank_document.h"
#include "data/container.h"
#include "document/recovery.h"
#include "tests/bank/small_bank.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

class Life {
 public:
  explicit Life(unsigned seed)
      : random_(seed),
        folder_(fs::temp_directory_path() / ("tonalith-stress-" + std::to_string(::getpid()))),
        recovery_((folder_ / "auto").string()) {
    fs::create_directories(folder_ / "auto");
    DataFilePtr data = SmallBank();
    AddDataFileComponents(data.get(), 1);
    bank_ = std::make_unique<ZKBankDoc>(std::move(data));
    EXPECT_TRUE(bank_->Save(Path()).ok());
    Note();
  }
  ~Life() {
    bank_.reset();
    fs::remove_all(folder_);
  }

  void Step() {
    switch (Upto(12)) {
      case 0:
      case 1:
      case 2:
        ASSERT_TRUE(bank_->Rename(Upto(4), "N" + std::to_string(Upto(30))).ok());
        break;
      case 3:
      case 4:
        Receive();
        break;
      case 5:
      case 6:
      case 7:
        bank_->CmEditUndo();
        break;
      case 8:
      case 9:
        bank_->CmEditRedo();
        break;
      case 10:
        Files();
        return;
      default:
        AutosaveAndRecover();
        return;
    }
    Check();
  }

 private:
  int Upto(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
  std::string Path() const { return (folder_ / "bank.dat").string(); }

  Bytes Image() const {
    Bytes bytes;
    EXPECT_TRUE(DiskWriteForm(&bytes, *bank_->dataFile()));
    return bytes;
  }

  void Receive() {
    DataFile& data = *bank_->dataFile();
    bank_->BeginReceive();
    EXPECT_FALSE(bank_->Save().ok());
    for (int i = Upto(6); i-- > 0;) data.body[2 + Upto(64)] = static_cast<std::uint8_t>(Upto(128));
    if (Upto(3) == 0) SetMapBit(data.emptyMap, data.emptyMapSize, static_cast<std::uint32_t>(Upto(4)), Upto(2) != 0);
    if (Upto(3) == 0) data.comment[0] = static_cast<char>('a' + Upto(26));
    if (Upto(4) == 0) ResizeBody(&data, static_cast<std::uint32_t>(66 + Upto(500)));
    if (Upto(4) == 0) FreeChunk(data.authors, data.authorsSize);
    bank_->EndReceive();
  }

  void Files() {
    const Bytes before = Image();
    const bool modified = bank_->IsModified();
    switch (Upto(4)) {
      case 0:
        ASSERT_FALSE(bank_->Save((folder_ / "none" / "x.dat").string()).ok());
        ASSERT_EQ(bank_->IsModified(), modified);
        break;
      case 1:
        ASSERT_TRUE(bank_->Load(Path()).ok());
        ASSERT_FALSE(bank_->IsModified() || bank_->CanUndo());
        Check();
        return;
      default:
        ASSERT_TRUE(bank_->Save(Path()).ok());
        ASSERT_FALSE(bank_->IsModified());
    }
    ASSERT_EQ(Image(), before);
    Check();
  }

  // What a kill would leave is what the document holds.
  void AutosaveAndRecover() {
    ASSERT_TRUE(bank_->Autosave(recovery_).ok());
    RecoverableFile about;
    for (const auto& entry : fs::directory_iterator(folder_ / "auto")) {
      if (entry.path().extension() != ".autosave") continue;
      Bytes content;
      ASSERT_TRUE(RecoveryFolder::Read(entry.path().string(), &about, &content).ok());
      ASSERT_EQ(content, Image());
      about.file = entry.path().string();
    }
    ASSERT_EQ(about.file.empty(), !bank_->IsModified());
    if (about.file.empty() || Upto(3) != 0) return;
    auto other = std::make_unique<ZKBankDoc>(nullptr);
    const std::string kept = about.file + ".left";
    fs::copy_file(about.file, kept);
    about.file = kept;
    ASSERT_TRUE(other->Recover(recovery_, about).ok());
    bank_ = std::move(other);
    ASSERT_TRUE(bank_->IsModified());
    ASSERT_EQ(bank_->path(), Path());
    Note();
  }

  // The history begins anew.
  void Note() {
    states_.clear();
    Check();
  }

  void Check() {
    const Bytes image = Image();
    const auto [known, isNew] = states_.try_emplace(bank_->history().State(), image);
    ASSERT_EQ(known->second, image);
    if (bank_->IsModified()) return;
    Bytes file;
    ASSERT_EQ(DiskLoadFile(Path(), &file), 0);
    ASSERT_EQ(file, image);
  }

  std::mt19937 random_;
  fs::path folder_;
  RecoveryFolder recovery_;
  std::unique_ptr<ZKBankDoc> bank_;
  std::map<std::uint64_t, Bytes> states_;
};

TEST(DocumentStress, TheFileHoldsTheDocumentWheneverItIsNotModified) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    Life life(seed);
    for (int i = 0; i < 500; ++i) {
      life.Step();
      ASSERT_FALSE(::testing::Test::HasFatalFailure()) << "seed " << seed << " step " << i;
    }
  }
}

}  // namespace
}  // namespace tonalith
