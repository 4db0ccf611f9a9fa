#include "document/recovery.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>

#include "document/recent_files.h"
#include "tests/document/note_document.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

// Runs in a process of its own that ends without any farewell.
template <class Run>
void InAProgramThatIsKilled(Run run) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    run();
    ::kill(::getpid(), SIGKILL);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
}

TEST(Recovery, BringsBackWhatAKilledProgramHad) {
  const TestFolder folder;
  const std::string kept = folder.At("auto");
  const std::string path = folder.At("päth.syx");
  std::ofstream(path) << "in the file";
  InAProgramThatIsKilled([&] {
    RecoveryFolder recovery(kept);
    NoteDocument saved, unsaved("typed"), clean, busy("busy");
    if (!saved.Load(path).ok() || !clean.Load(path).ok()) ::_exit(1);
    saved.Set("edited");
    if (!saved.Autosave(recovery).ok()) ::_exit(1);
    saved.Set("edited again");
    unsaved.Set("never saved");
    busy.Set("busy");
    busy.SetBusy(true);
    for (NoteDocument* note : {&saved, &unsaved, &clean, &busy})
      if (!note->Autosave(recovery).ok()) ::_exit(1);
    saved.Set("too late");
    ::kill(::getpid(), SIGKILL);
  });
  RecoveryFolder recovery(kept);
  const auto found = recovery.Leftovers();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].path, path);
  EXPECT_EQ(found[0].title, "Näme");
  EXPECT_EQ(found[0].kind, FileKind::SysEx);
  EXPECT_GT(found[0].time, 0);
  EXPECT_EQ(found[1].path, "");
  {
    NoteDocument note;
    ASSERT_TRUE(note.Recover(recovery, found[0]).ok());
    EXPECT_EQ(note.text(), "edited again");
    EXPECT_EQ(note.path(), path);
    EXPECT_TRUE(note.IsModified());
    EXPECT_FALSE(note.CanUndo());
    EXPECT_EQ(recovery.Leftovers().size(), 1U) << "what is open again is no leftover";
    // A second kill finds it again.
    EXPECT_EQ(RecoveryFolder(kept).Leftovers().size(), 1U);
    std::ofstream(path) << "by somebody else";
    EXPECT_EQ(note.Save().code, kDocumentFileChanged);
    EXPECT_TRUE(note.Save(path, {true, {}}).ok());
  }
  NoteDocument other;
  ASSERT_TRUE(other.Recover(recovery, found[1]).ok());
  EXPECT_EQ(other.text(), "never saved");
  other.RemoveAutosave();
  EXPECT_TRUE(RecoveryFolder(kept).Leftovers().empty());
}

TEST(Recovery, KeepsNothingOfDocumentsThatAreSafe) {
  const TestFolder folder;
  const auto count = [&] {
    std::size_t n = 0;
    for (const auto& entry : fs::directory_iterator(folder.path())) n += entry.path().extension() == ".autosave";
    return n;
  };
  auto recovery = std::make_unique<RecoveryFolder>(folder.path().string());
  auto note = std::make_unique<NoteDocument>("a");
  note->Set("b");
  ASSERT_TRUE(note->Autosave(*recovery).ok());
  EXPECT_EQ(count(), 1U);
  EXPECT_TRUE(RecoveryFolder(folder.path().string()).Leftovers().empty()) << "its program still runs";
  note->Set("c");
  ASSERT_TRUE(note->Save(folder.At("note.syx")).ok());
  EXPECT_EQ(count(), 0U);
  ASSERT_TRUE(note->Undo().ok());
  ASSERT_TRUE(note->Autosave(*recovery).ok());
  EXPECT_EQ(count(), 1U) << "also when this very state was kept before";
  ASSERT_TRUE(note->Redo().ok());
  ASSERT_TRUE(note->Autosave(*recovery).ok());
  EXPECT_EQ(count(), 0U) << "it is as in the file again";
  note->Set("f");
  ASSERT_TRUE(note->Autosave(*recovery).ok());
  EXPECT_EQ(count(), 1U);
  ASSERT_TRUE(note->Load(folder.At("note.syx")).ok());
  EXPECT_EQ(count(), 0U) << "the changes were given up";
  for (const char* text : {"d", "e"}) {
    note->Change(text);
    ASSERT_TRUE(note->Autosave(*recovery).ok());
    RecoverableFile about;
    std::vector<std::uint8_t> bytes;
    for (const auto& entry : fs::directory_iterator(folder.path())) {
      if (entry.path().extension() != ".autosave") continue;
      EXPECT_TRUE(RecoveryFolder::Read(entry.path().string(), &about, &bytes).ok());
    }
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), text) << "changes without history are kept as well";
  }
  note.reset();
  EXPECT_EQ(count(), 0U) << "closed in order";
  recovery.reset();
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1) << "only the note";
}

TEST(Recovery, CutAndStrangeFilesAreSetAside) {
  const TestFolder folder;
  std::string file;
  RecoveryFolder recovery(folder.path().string());
  RecoverableFile about{{}, FileKind::Data, "/x/y.dat", "Title", 0, {}};
  const std::vector<std::uint8_t> content(20, 7);
  ASSERT_TRUE(recovery.Keep(&about, content).ok());
  std::ifstream in(about.file, std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  RecoverableFile read;
  std::vector<std::uint8_t> bytes;
  ASSERT_TRUE(RecoveryFolder::Read(about.file, &read, &bytes).ok());
  EXPECT_EQ(bytes, content);
  RecoverableFile nothing{{}, FileKind::Data, {}, {}, 0, {}};
  ASSERT_TRUE(recovery.Keep(&nothing, {}).ok());
  EXPECT_TRUE(RecoveryFolder::Read(nothing.file, &nothing, &bytes).ok());
  EXPECT_TRUE(bytes.empty());
  NoteDocument note("mine");
  EXPECT_FALSE(note.Recover(recovery, read).ok()) << "another kind of document";
  EXPECT_EQ(note.text(), "mine");
  const std::string cut = folder.At("1-2-3-1.autosave");
  for (std::size_t n = 0; n < whole.size(); ++n) {
    std::ofstream(cut, std::ios::binary | std::ios::trunc) << whole.substr(0, n);
    ASSERT_FALSE(RecoveryFolder::Read(cut, &read, &bytes).ok()) << n;
  }
  std::ofstream(cut, std::ios::binary | std::ios::trunc) << "X" + whole.substr(1);
  EXPECT_FALSE(RecoveryFolder::Read(cut, &read, &bytes).ok());
  for (const std::string& other : {whole + "X", std::string(whole).replace(12, 4, "Dato")}) {
    std::ofstream(cut, std::ios::binary | std::ios::trunc) << other;
    EXPECT_FALSE(RecoveryFolder::Read(cut, &read, &bytes).ok()) << "longer, or of no kind";
  }
  EXPECT_TRUE(recovery.Leftovers().empty());
  EXPECT_TRUE(fs::exists(cut + ".broken"));
}

TEST(Recovery, EverythingAboutADocumentComesBack) {
  const TestFolder folder;
  RecoveryFolder recovery(folder.path().string());
  const FileStamp stamps[] = {{}, {true, false, 1, 2, 3, 4}, {false, true, 0x0102030405060708, 5, ~0ULL, -6}};
  for (const FileStamp& stamp : stamps) {
    for (const std::size_t length : {0U, 1U, 65536U, 65537U}) {
      RecoverableFile about{{}, FileKind::Data, std::string(length, 'p'), "Title", 0, stamp}, read;
      std::vector<std::uint8_t> bytes;
      ASSERT_TRUE(recovery.Keep(&about, {}).ok());
      ASSERT_TRUE(RecoveryFolder::Read(about.file, &read, &bytes).ok());
      EXPECT_EQ(read.path.size(), std::min<std::size_t>(length, 65536));
      EXPECT_EQ(read.title + read.file, "Title" + about.file);
      EXPECT_EQ(read.time, about.time);
      EXPECT_LT(std::abs(std::difftime(read.time, std::time(nullptr))), 3600);
      EXPECT_TRUE(read.stamp == stamp);
      EXPECT_EQ(read.stamp.known * 2 + read.stamp.exists, stamp.known * 2 + stamp.exists);
      EXPECT_EQ(fs::status(about.file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
      recovery.Remove(about.file);
    }
  }
}

// The kept state of one document stands in one file of one folder, and is written when there is something new.
TEST(Recovery, OneFileADocument) {
  const TestFolder folder;
  RecoveryFolder first(folder.At("1")), second(folder.At("2"));
  const auto files = [&](const char* name) {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder.At(name))) {
      if (entry.path().extension() == ".autosave") found.push_back(entry.path().string());
    }
    return found;
  };
  NoteDocument note("a");
  note.Set("b");
  note.history().Begin("Open");
  ASSERT_TRUE(note.Autosave(first).ok());
  EXPECT_FALSE(fs::exists(folder.At("1"))) << "not in the middle of a command";
  note.history().End();
  ASSERT_TRUE(note.Autosave(first).ok());
  const auto kept = files("1");
  ASSERT_EQ(kept.size(), 1U);
  const FileStamp stamp = StampOf(kept[0]);
  ASSERT_TRUE(note.Autosave(first).ok());
  EXPECT_TRUE(StampOf(kept[0]) == stamp) << "nothing new";
  note.Set("c");
  ASSERT_TRUE(note.Autosave(first).ok());
  EXPECT_EQ(files("1"), kept);
  EXPECT_FALSE(StampOf(kept[0]) == stamp);
  ASSERT_TRUE(note.Autosave(second).ok());
  EXPECT_TRUE(files("1").empty());
  EXPECT_EQ(files("2").size(), 1U);
  note.refuses = true;
  note.Set("d");
  EXPECT_FALSE(note.Autosave(second).ok());
  note.LeaveAutosave();
  EXPECT_EQ(files("2").size(), 1U);
  RecoverableFile about;
  ASSERT_TRUE(RecoveryFolder::Read(files("2")[0], &about, nullptr).ok());
  NoteDocument other;
  ASSERT_TRUE(other.Recover(second, about).ok());
  EXPECT_EQ(other.text() + other.StatusText(), "cRecovered");
  EXPECT_EQ(other.Recover(second, RecoverableFile{folder.At("none"), FileKind::SysEx, {}, {}, 0, {}}).code, 2);
  EXPECT_NE(files("2"), std::vector<std::string>{about.file});
  // Locks: one of a program that is gone goes, one that is held or still has files stays.
  std::ofstream(folder.At("2/gone-1-1.lock")) << "";
  std::ofstream(folder.At("2/left-1-1.lock")) << "";
  fs::copy_file(files("2")[0], folder.At("2/left-1-1-1.autosave"));
  EXPECT_EQ(second.Leftovers().size(), 1U);
  EXPECT_FALSE(fs::exists(folder.At("2/gone-1-1.lock")));
  EXPECT_TRUE(fs::exists(folder.At("2/left-1-1.lock")));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.At("2")), fs::directory_iterator()), 4);
}

// What another thread writes: the last of many states, nothing of what was saved meanwhile, and what failed once more.
TEST(Recovery, IsWrittenBesideTheDocuments) {
  const TestFolder folder;
  const std::string at = folder.At("auto");
  const auto count = [&] {
    return std::count_if(fs::directory_iterator(at), fs::directory_iterator(),
                         [](const auto& entry) { return entry.path().extension() == ".autosave"; });
  };
  const auto keptText = [&] {
    std::vector<std::uint8_t> bytes;
    RecoverableFile about;
    for (const auto& entry : fs::directory_iterator(at)) {
      if (entry.path().extension() != ".autosave") continue;
      EXPECT_TRUE(RecoveryFolder::Read(entry.path().string(), &about, &bytes).ok());
    }
    return std::string(bytes.begin(), bytes.end());
  };
  {
    RecoveryFolder recovery(at);
    NoteDocument note("a"), other("b");
    for (int i = 0; i < 50; ++i) {
      note.Set("state " + std::to_string(i));
      ASSERT_TRUE(note.AutosaveBeside(recovery).ok());
    }
    ASSERT_TRUE(note.Autosave(recovery).ok()) << "waits for what is under way";
    EXPECT_EQ(keptText(), "state 49");
    for (int i = 0; i < 20; ++i) {
      other.Set("saved " + std::to_string(i));
      ASSERT_TRUE(other.AutosaveBeside(recovery).ok());
      ASSERT_TRUE(other.Save(folder.At("other")).ok());
    }
    recovery.FinishAll();
    EXPECT_EQ(count(), 1) << "also what was being written when its document was saved";

    const std::string aside = folder.At("aside");
    fs::rename(at, aside);
    note.Set("nowhere");
    ASSERT_TRUE(note.AutosaveBeside(recovery).ok()) << "not known yet";
    recovery.FinishAll();
    EXPECT_FALSE(note.AutosaveBeside(recovery).ok());
    recovery.FinishAll();
    fs::rename(aside, at);
    EXPECT_FALSE(note.AutosaveBeside(recovery).ok()) << "the one before, and tries again";
    recovery.FinishAll();
    EXPECT_TRUE(note.AutosaveBeside(recovery).ok());
    EXPECT_EQ(keptText(), "nowhere");
    note.Set("at the end");
    ASSERT_TRUE(note.AutosaveBeside(recovery).ok());
    note.LeaveAutosave();
  }
  EXPECT_EQ(keptText(), "at the end") << "the end waits for it";
}

TEST(RecentFiles, KeepsTheOrderAndTheLimit) {
  const TestFolder folder;
  RecentFiles files(folder.At("ZK.ini"));
  files.Load(3);
  ASSERT_TRUE(files.Used("/only").ok());
  std::ifstream one(folder.At("ZK.ini"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(one), {}).find("File2"), std::string::npos);
  ASSERT_TRUE(files.Clear().ok());
  for (int i = 0; i < 12; ++i) ASSERT_TRUE(files.Used("/f" + std::to_string(i)).ok());
  ASSERT_TRUE(files.Used(files.paths()[6]).ok());
  RecentFiles again(folder.At("ZK.ini"));
  again.Load(0);
  EXPECT_EQ(again.paths(), files.paths());
  ASSERT_EQ(again.paths().size(), RecentFiles::kFewest);
  EXPECT_EQ(again.paths()[0], "/f5");
  EXPECT_EQ(again.paths()[1], "/f11");
  std::ifstream ini(folder.At("ZK.ini"));
  EXPECT_NE(std::string(std::istreambuf_iterator<char>(ini), {}).find("File1=/f5"), std::string::npos);
  ASSERT_TRUE(again.Clear().ok());
  files.Load(20);
  EXPECT_TRUE(files.paths().empty());
  for (int i = 0; i < 25; ++i) ASSERT_TRUE(files.Used("/g" + std::to_string(i)).ok());
  EXPECT_EQ(files.paths().size(), 20U);
  again.Load(20);
  EXPECT_EQ(again.paths(), files.paths());
  again.Load(10);
  EXPECT_EQ(again.paths().size(), 10U);
  ASSERT_TRUE(again.Clear().ok());
  again.Load(20);
  EXPECT_TRUE(again.paths().empty()) << "also what a longer list had";
}

}  // namespace
}  // namespace tonalith
