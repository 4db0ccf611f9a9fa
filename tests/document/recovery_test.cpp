#include "document/recovery.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

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
  const TestFolder folder("recovery");
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
    EXPECT_TRUE(note.Save(path, {true}).ok());
  }
  NoteDocument other;
  ASSERT_TRUE(other.Recover(recovery, found[1]).ok());
  EXPECT_EQ(other.text(), "never saved");
  other.RemoveAutosave();
  EXPECT_TRUE(RecoveryFolder(kept).Leftovers().empty());
}

TEST(Recovery, KeepsNothingOfDocumentsThatAreSafe) {
  const TestFolder folder("safe");
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
  const TestFolder folder("cut");
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
  EXPECT_TRUE(recovery.Leftovers().empty());
  EXPECT_TRUE(fs::exists(cut + ".broken"));
}

TEST(RecentFiles, KeepsTheOrderAndTheLimit) {
  const TestFolder folder("recent");
  RecentFiles files(folder.At("ZK.ini"));
  files.Load(3);
  for (int i = 0; i < 12; ++i) ASSERT_TRUE(files.Used("/f" + std::to_string(i)).ok());
  ASSERT_TRUE(files.Used(files.paths()[6]).ok());
  RecentFiles again(folder.At("ZK.ini"));
  again.Load(0);
  EXPECT_EQ(again.paths(), files.paths());
  ASSERT_EQ(again.paths().size(), RecentFiles::kFewest);
  EXPECT_EQ(again.paths()[0], "/f5");
  EXPECT_EQ(again.paths()[1], "/f11");
  ASSERT_TRUE(again.Clear().ok());
  files.Load(20);
  EXPECT_TRUE(files.paths().empty());
}

}  // namespace
}  // namespace tonalith
