// Long lives of documents without a window, ended by a kill at any system call: the file holds the document whenever
// that says it is not modified, undo and redo lead to states that were there before, a failure changes nothing, and
// what the next program finds is the last that was saved and the last that was kept.
//
// TONALITH_STRESS_STEPS: edits, saves and so on of each kind of document; TONALITH_STRESS_SEED: another life.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

#include "bank/bank_document.h"
#include "bank/file_marks.h"
#include "data/container.h"
#include "document/recovery.h"
#include "platform/byte_window.h"
#include "tests/bank/small_bank.h"
#include "tests/document/killed_program.h"
#include "tests/document/note_document.h"
#include "tools/raw_sysex_document.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using Random = std::mt19937;

unsigned Setting(const char* name, unsigned usual) {
  const char* text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
}

int Upto(Random& random, int n) {
  return std::uniform_int_distribution<int>(0, n - 1)(random);
}

// The bytes that a document would write.
struct Peek : Document {
  using Document::WriteBytes;
};
Bytes ImageOf(Document& document) {
  Bytes bytes;
  if (!(document.*&Peek::WriteBytes)(document.path(), &bytes).ok()) bytes.clear();
  return bytes;
}

// The same without the marks of changed patches: those say what an instrument holds, which undo does not change.
Bytes Unmarked(Bytes image) {
  constexpr std::size_t kChunkOfFour = 2 + 8;
  if (FileMarksIn(image, 4).changed.empty()) return image;
  image.resize(image.size() - kChunkOfFour);
  StoreBe32(image.data() + 4, static_cast<std::uint32_t>(image.size() - 8));
  return image;
}

struct Content {
  bool there = false;
  std::uint32_t size = 0;
  std::uint8_t bytes[60000];
  void Set(const Bytes& from) {
    there = true;
    size = static_cast<std::uint32_t>(std::min(from.size(), sizeof bytes));
    std::copy_n(from.begin(), size, bytes);
  }
  bool Is(const Bytes& other) const { return there && std::equal(bytes, bytes + size, other.begin(), other.end()); }
};

// What a life had done when it ended.
struct Journal {
  Content file, fileNext;   // Next: while it is being written
  Content kept, keptNext;   // for recovery
  bool keptMayGo = false;   // while something removes it
  bool recovering = false;  // while there may be several
  bool savedSince = false;  // the file may be a later one than what is recovered knows of
  bool replacing = false;   // while an edit writes the file
  unsigned steps = 0;
  char problem[300] = {};
};

struct Kind {
  const char* name;
  std::unique_ptr<Document> (*make)();
  void (*edit)(Document& document, Random& random, const std::string& folder);
};

std::unique_ptr<Document> MakeBank() {
  DataFilePtr data = SmallBank();
  AddDataFileComponents(data.get(), 1);
  return std::make_unique<ZKBankDoc>(std::move(data));
}
std::unique_ptr<Document> MakePatch() {
  auto bank = std::make_unique<ZKBankDoc>(SmallBank());
  Synth& synth = *bank->dataFile()->synth;
  synth.isBank = 0;
  synth.numVoices = 1;
  synth.fileSize = 18;
  ResizeBody(bank->dataFile(), 18);
  return bank;
}

void EditData(Document& document, Random& random, const std::string&) {
  auto& bank = static_cast<ZKBankDoc&>(document);
  if (Upto(random, 5) < 3) {
    bank.Rename(Upto(random, bank.PatchCount()), "N" + std::to_string(Upto(random, 30)));
    return;
  }
  DataFile& data = *bank.dataFile();
  bank.BeginReceive();
  for (int i = Upto(random, 6); i-- > 0;)
    data.body[2 + Upto(random, 16)] = static_cast<std::uint8_t>(Upto(random, 128));
  if (Upto(random, 3) == 0)
    SetMapBit(data.emptyMap, data.emptyMapSize, static_cast<std::uint32_t>(Upto(random, 4)), true);
  if (Upto(random, 3) == 0 && data.comment) data.comment[0] = static_cast<char>('a' + Upto(random, 26));
  if (Upto(random, 4) == 0) ResizeBody(&data, static_cast<std::uint32_t>(66 + Upto(random, 500)));
  if (Upto(random, 4) == 0) FreeChunk(data.authors, data.authorsSize);
  bank.EndReceive();
}

// These are never changed: another file is read into the document.
void EditRaw(Document& document, Random& random, const std::string& folder) {
  Bytes bytes = {0xF0, 0x7D};
  for (int i = Upto(random, 40); i-- > 0;) bytes.push_back(static_cast<std::uint8_t>(Upto(random, 128)));
  bytes.push_back(0xF7);
  const std::string other = folder + "/other.syx", own = document.path();
  if (SaveDiskFile(other, bytes).ok() && document.Load(other).ok()) document.Save(own, {true});
}
std::unique_ptr<Document> MakeRaw() {
  return std::make_unique<RawSysExDocument>();
}

const Kind kKinds[] = {{"bank", MakeBank, EditData}, {"patch", MakePatch, EditData}, {"raw", MakeRaw, EditRaw}};

class Life {
 public:
  Life(const Kind& kind, const std::string& folder, Journal* journal, unsigned seed)
      : kind_(kind), folder_(folder), journal_(*journal), random_(seed), recovery_(folder + "/auto") {}

  bool Begin() {
    document_ = kind_.make();
    const auto leftovers = recovery_.Leftovers();
    if (leftovers.empty()) return Must(document_->Load(Path()).ok(), "load") && Check();
    journal_.recovering = true;
    if (!Must(document_->Recover(recovery_, leftovers.back()).ok(), "recover")) return false;
    for (std::size_t i = 0; i + 1 < leftovers.size(); ++i) recovery_.Remove(leftovers[i].file);
    journal_.recovering = false;
    return Must(document_->IsModified() && !document_->CanUndo() && document_->path() == Path() &&
                    journal_.kept.Is(ImageOf(*document_)),
                "what was recovered is not what was kept") &&
           Check();
  }

  bool Step(char what) {
    ++journal_.steps;
    const Bytes before = ImageOf(*document_);
    const bool modified = document_->IsModified();
    switch (what) {
      case 'e':
        return Edit() && Check();
      case 'u':
        return Must(document_->CanUndo() == document_->Undo().ok(), "undo") && Check();
      case 'r':
        return Must(document_->CanRedo() == document_->Redo().ok(), "redo") && Check();
      case 'l':
        journal_.keptMayGo = true;
        if (!Must(document_->Load(Path()).ok() && !document_->IsModified() && !document_->CanUndo(), "load"))
          return false;
        journal_.savedSince = false;
        return NothingIsKept() && Check();
      case 'f':
        return Must(!document_->Save(folder_ + "/none/x").ok() && document_->IsModified() == modified &&
                        ImageOf(*document_) == before && document_->path() == Path(),
                    "a failed save changed something") &&
               Check();
      case 's':
        return Save() && Must(ImageOf(*document_) == before, "saving changed the document") && Check();
      default:
        return Keep() && Check();
    }
  }
  char Any() { return "eeeeeuuurrsslfaaa"[Upto(random_, 17)]; }

 private:
  std::string Path() const { return folder_ + "/document"; }

  bool Must(bool good, const char* problem) {
    if (!good && !journal_.problem[0]) std::snprintf(journal_.problem, sizeof journal_.problem, "%s", problem);
    return good;
  }

  bool Edit() {
    const bool writes = kind_.edit == EditRaw;
    journal_.replacing = writes;
    journal_.keptMayGo = journal_.keptMayGo || writes;
    kind_.edit(*document_, random_, folder_);
    if (!writes) return true;
    journal_.file.Set(ImageOf(*document_));
    journal_.replacing = false;
    return NothingIsKept();
  }

  bool NothingIsKept() {
    journal_.kept.there = journal_.keptMayGo = false;
    return true;
  }

  bool Save() {
    journal_.fileNext.Set(ImageOf(*document_));
    journal_.keptMayGo = true;
    Result saved = document_->Save(Path());
    if (saved.code == kDocumentFileChanged && journal_.savedSince) saved = document_->Save(Path(), {true});
    if (!Must(saved.ok() && !document_->IsModified(), saved.text.c_str())) return false;
    journal_.savedSince = false;
    journal_.file = journal_.fileNext;
    journal_.fileNext.there = false;
    return NothingIsKept();
  }

  bool Keep() {
    if (document_->IsModified()) {
      journal_.keptNext.Set(ImageOf(*document_));
    } else {
      journal_.keptMayGo = true;
    }
    if (!Must(document_->Autosave(recovery_).ok(), "autosave")) return false;
    journal_.kept = journal_.keptNext;
    journal_.keptNext.there = journal_.keptMayGo = false;
    return true;
  }

  bool Check() {
    const Bytes image = Unmarked(ImageOf(*document_));
    const auto [known, isNew] = states_.try_emplace(document_->history().State(), image);
    if (!Must(known->second == image, "a state came back with other bytes")) return false;
    if (document_->IsModified()) return true;
    Bytes file;
    return Must(DiskLoadFile(Path(), &file) == 0 && Unmarked(file) == image, "the file is not the document");
  }

  const Kind& kind_;
  std::string folder_;
  Journal& journal_;
  Random random_;
  RecoveryFolder recovery_;
  std::unique_ptr<Document> document_;
  std::map<std::uint64_t, Bytes> states_;
};

// Programs are killed here, not machines: nothing needs to reach a disk.
fs::path InMemory() {
  return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : fs::temp_directory_path();
}

// A file, and programs that open it one after another.
class Lives {
 public:
  explicit Lives(const Kind& kind) : kind_(kind), folder_(InMemory()) {
    auto document = kind_.make();
    if (document->IsEmpty() && kind_.edit == EditRaw) {
      EXPECT_TRUE(SaveDiskFile(folder_.At("document"), Bytes{0xF0, 0x7D, 0xF7}).ok());
    } else {
      EXPECT_TRUE(document->Save(folder_.At("document")).ok());
    }
    Bytes file;
    EXPECT_EQ(DiskLoadFile(folder_.At("document"), &file), 0);
    journal_->file.Set(file);
  }

  unsigned steps() { return journal_->steps; }

  // `script`: the steps; empty: `count` steps at random.  With an odd seed it ends without closing its document.
  End Live(const std::string& script, unsigned count, unsigned seed, long killedAt) {
    Journal* journal = journal_.operator->();
    const End end = RunKilledAt(killedAt, [&] {
      Life life(kind_, folder_.path().string(), journal, seed);
      bool good = life.Begin();
      for (unsigned i = 0; good && i < (script.empty() ? count : script.size()); ++i) {
        good = life.Step(script.empty() ? life.Any() : script[i]);
      }
      if (good && seed % 2 != 0) ::_exit(0);
      journal->keptMayGo = true;  // it is closed in order
      return good;
    });
    EXPECT_NE(end, End::kFailed) << journal_->problem;
    return end;
  }

  // What the next program finds.
  void Check() {
    Bytes file;
    ASSERT_EQ(DiskLoadFile(folder_.At("document"), &file), 0);
    ASSERT_TRUE(journal_->file.Is(file) || journal_->fileNext.Is(file) || journal_->replacing);
    const auto leftovers = RecoveryFolder(folder_.At("auto")).Leftovers();
    const bool mayBeNone = !journal_->kept.there || journal_->keptMayGo;
    ASSERT_GE(leftovers.size(), mayBeNone ? 0U : 1U);
    ASSERT_TRUE(leftovers.size() <= 1 || journal_->recovering);
    Bytes last;
    for (const RecoverableFile& left : leftovers) {
      RecoverableFile about;
      ASSERT_TRUE(RecoveryFolder::Read(left.file, &about, &last).ok());
      ASSERT_TRUE(journal_->kept.Is(last) || journal_->keptNext.Is(last));
    }
    if (fs::exists(folder_.At("auto"))) {
      for (const auto& entry : fs::directory_iterator(folder_.At("auto")))
        ASSERT_NE(entry.path().extension(), ".broken");
    }
    journal_->file.Set(file);
    journal_->savedSince = journal_->savedSince || journal_->fileNext.there || journal_->replacing;
    journal_->kept.there = !leftovers.empty();
    if (journal_->kept.there) journal_->kept.Set(last);
    journal_->fileNext.there = journal_->keptNext.there = journal_->keptMayGo = journal_->recovering = false;
    journal_->replacing = false;
  }

  // A last program that saves and ends in order: nothing but the document is left of all the others.
  void Clean() {
    Life life(kind_, folder_.path().string(), journal_.operator->(), 1);
    ASSERT_TRUE(life.Begin() && life.Step('s')) << journal_->problem;
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      const std::string name = entry.path().filename().string();
      EXPECT_TRUE(name == "document" || name == "auto" || name == "other.syx") << name;
    }
  }

 private:
  const Kind& kind_;
  TestFolder folder_;
  Shared<Journal> journal_;
};

TEST(DocumentStress, KilledAtRandom) {
  const unsigned steps = Setting("TONALITH_STRESS_STEPS", 200), seed = Setting("TONALITH_STRESS_SEED", 1);
  std::printf("seed %u, %u steps of each kind\n", seed, steps);
  for (const Kind& kind : kKinds) {
    Random random(seed);
    Lives lives(kind);
    int kills = 0;
    while (lives.steps() < steps) {
      const auto life = static_cast<unsigned>(random());
      const long killedAt = Upto(random, 5) == 0 ? 0 : 1 + Upto(random, 1200);
      const End end = lives.Live("", 1 + static_cast<unsigned>(Upto(random, 40)), life, killedAt);
      if (end == End::kNotAllowed) GTEST_SKIP() << "a process may not watch another here";
      kills += end == End::kKilled;
      lives.Check();
      ASSERT_FALSE(::testing::Test::HasFailure())
          << kind.name << ", seed " << seed << ", life " << life << " to " << killedAt;
    }
    lives.Clean();
    std::printf("%s: %u steps, %d kills\n", kind.name, lives.steps(), kills);
    EXPECT_GT(kills, 0);
  }
}

// Every system call of recovering, keeping and saving in turn; the short run takes some of them.
TEST(DocumentStress, KilledAtEverySystemCall) {
  const long stride = std::getenv("TONALITH_STRESS_STEPS") ? 1 : 9;
  for (const Kind& kind : kKinds) {
    long at = 1;
    for (End end = End::kKilled; end == End::kKilled; at += stride) {
      Lives lives(kind);
      if (lives.Live("eae", 0, 5, 0) == End::kNotAllowed) GTEST_SKIP() << "a process may not watch another here";
      lives.Check();
      end = lives.Live("easea", 0, 1, at);
      lives.Check();
      lives.Clean();
      ASSERT_FALSE(::testing::Test::HasFailure()) << kind.name << " at " << at;
      ASSERT_LT(at, 5000);
    }
    EXPECT_GT(at, 100);
    std::printf("%s: %ld places\n", kind.name, at);
  }
}

}  // namespace
}  // namespace tonalith
