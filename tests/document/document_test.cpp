#include "document/document.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "data/container.h"
#include "document/recovery.h"
#include "tests/document/note_document.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Put(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::size_t FilesIn(const fs::path& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(Document, SaysWhetherItDiffersFromItsFile) {
  const TestFolder folder;
  NoteDocument note("one");
  EXPECT_EQ(note.Save().code, kDocumentNoPath);
  note.Set("two");
  ASSERT_TRUE(note.Save(folder.At("a.syx")).ok());
  EXPECT_FALSE(note.IsModified());
  EXPECT_EQ(note.FileName(), "a.syx");
  ASSERT_TRUE(note.Undo().ok());
  EXPECT_EQ(note.text(), "one");
  EXPECT_TRUE(note.IsModified()) << "the file holds the later state";
  EXPECT_EQ(note.StatusText(), "Undo Set");
  ASSERT_TRUE(note.Redo().ok());
  EXPECT_FALSE(note.IsModified());
  EXPECT_EQ(note.Redo().code, kDocumentNothingToDo);
  std::string told;
  note.AddListener(
      [&](const DocumentChange& change) { told += change.kind == DocumentChange::Kind::Everything ? "E" : "S"; });
  note.Change("two");
  EXPECT_TRUE(note.IsModified());
  note.SetBusy(true, "A reason.");
  EXPECT_EQ(note.Save().text, "A reason.");
  note.SetBusy(false);
  EXPECT_EQ(told, "ESS");
  ASSERT_TRUE(note.SaveCopy(folder.At("copy.syx")).ok());
  EXPECT_TRUE(note.IsModified());
  EXPECT_EQ(note.path(), folder.At("a.syx"));
  NoteDocument again;
  ASSERT_TRUE(again.Load(folder.At("copy.syx")).ok());
  EXPECT_EQ(again.text(), "two");
  EXPECT_FALSE(again.IsModified() || again.CanUndo());
}

TEST(Document, AFailedSaveOrLoadChangesNothing) {
  const TestFolder folder;
  fs::create_directory(folder.path() / "closed");
  fs::create_directory(folder.path() / "is-a-folder");
  Put(folder.At("closed/old.syx"), "old");
  Put(folder.At("empty"), "");
  fs::permissions(folder.path() / "closed", fs::perms::owner_read | fs::perms::owner_exec);
  NoteDocument note("content");
  ASSERT_TRUE(note.Save(folder.At("own.syx")).ok());
  note.Set("changed");
  const bool root = ::geteuid() == 0;
  const struct {
    const char* what;
    int code;
    std::function<Result()> run;
  } rows[] = {
      {"no folder", kDiskCreateError, [&] { return note.Save(folder.At("none/x.syx")); }},
      {"a folder in the way", kDiskCreateError, [&] { return note.Save(folder.At("is-a-folder")); }},
      {"no permission", kDiskCreateError,
       [&] { return root ? Result::Failure("root may", kDiskCreateError) : note.Save(folder.At("closed/new.syx")); }},
      {"copy to nowhere", kDiskCreateError, [&] { return note.SaveCopy(folder.At("none/x.syx")); }},
      {"device that is full", kDiskWriteError, [&] { return note.Save("/dev/full"); }},
      {"missing file", kDiskNotFound, [&] { return note.Load(folder.At("none.syx")); }},
      {"folder read", kDiskReadError, [&] { return note.Load(folder.At("is-a-folder")); }},
      {"wrong content", 2, [&] { return note.Load(folder.At("empty")); }},
      {"cannot be written", 1,
       [&] {
         note.refuses = true;
         const Result result = note.Save();
         note.refuses = false;
         return result;
       }},
      {"busy", kDocumentBusy,
       [&] {
         note.SetBusy(true);
         EXPECT_FALSE(note.CanUndo());
         EXPECT_EQ(note.Undo().code, kDocumentBusy);
         EXPECT_EQ(note.Load(folder.At("own.syx")).code, kDocumentBusy);
         const Result result = note.Save();
         note.SetBusy(false);
         return result;
       }},
  };
  for (const auto& row : rows) {
    const Result result = row.run();
    EXPECT_EQ(result.code, row.code) << row.what << ": " << result.text;
    EXPECT_FALSE(result.text.empty()) << row.what;
    EXPECT_EQ(note.text(), "changed") << row.what;
    EXPECT_EQ(note.path(), folder.At("own.syx")) << row.what;
    EXPECT_EQ(note.writtenTo(), folder.At("own.syx")) << row.what;
    EXPECT_TRUE(note.IsModified() && note.CanUndo()) << row.what;
  }
  EXPECT_EQ(Contents(folder.At("own.syx")), "content");
  EXPECT_EQ(FilesIn(folder.path()), 4U) << "nothing is left beside";
  EXPECT_TRUE(note.Save().ok());
  EXPECT_EQ(Contents(folder.At("own.syx")), "changed");
}

TEST(Document, NoticesThatSomebodyElseChangedItsFile) {
  const struct {
    const char* what;
    bool changed;
    std::function<void(const std::string&)> act;
  } rows[] = {
      {"nothing", false, [](const std::string&) {}},
      {"written again with the same size", true,
       [](const std::string& path) {
         const auto later = fs::last_write_time(path) + std::chrono::seconds(1);
         Put(path, "abc");
         fs::last_write_time(path, later);
       }},
      {"replaced by a file of the same time", true,
       [](const std::string& path) {
         const auto time = fs::last_write_time(path);
         Put(path + "2", "abc");
         fs::last_write_time(path + "2", time);
         fs::rename(path + "2", path);
       }},
      {"longer", true, [](const std::string& path) { std::ofstream(path, std::ios::app) << "more"; }},
      {"removed", false, [](const std::string& path) { fs::remove(path); }},
  };
  for (const auto& row : rows) {
    const TestFolder folder;
    const std::string path = folder.At("a.syx");
    Put(path, "one");
    NoteDocument note;
    ASSERT_TRUE(note.Load(path).ok());
    row.act(path);
    const std::string there = Contents(path);
    note.Set("two");
    EXPECT_EQ(note.FileChangedOnDisk(), row.changed) << row.what;
    EXPECT_EQ(note.Save().code, row.changed ? kDocumentFileChanged : 0) << row.what;
    EXPECT_EQ(Contents(path), row.changed ? there : "two") << row.what;
    EXPECT_EQ(note.IsModified(), row.changed) << row.what;
    EXPECT_TRUE(note.Save(path, {true, {}}).ok()) << row.what;
    EXPECT_EQ(Contents(path), "two") << row.what;
    note.Set("three");
    EXPECT_TRUE(note.Save().ok()) << row.what << ": what was written here is known";
  }
}

TEST(Document, AFileThatWasNeverReadHereIsNotGuarded) {
  const TestFolder folder;
  Put(folder.At("a.syx"), "other");
  NoteDocument note("own");
  note.SetPath(folder.At("a.syx"));
  EXPECT_FALSE(note.FileChangedOnDisk());
  EXPECT_TRUE(note.Save().ok());
  EXPECT_EQ(Contents(folder.At("a.syx")), "own");
}

TEST(Document, WhatItSaysOfItself) {
  const TestFolder folder;
  NoteDocument note("one");
  std::string told;
  note.AddListener(
      [&](const DocumentChange& change) { told += change.kind == DocumentChange::Kind::State ? "S" : "E"; });
  EXPECT_EQ(note.Extension() + note.FileName() + note.BusyReason(), "SYX");
  EXPECT_EQ(note.Undo().text, "There is nothing to undo.");
  EXPECT_EQ(note.Redo().text, "There is nothing to redo.");
  EXPECT_EQ(note.Save().text, "This data has no file yet.");
  ASSERT_TRUE(note.Save(folder.At("a.syx")).ok());
  EXPECT_EQ(note.StatusText(), "Saved");
  note.Set("two");
  ASSERT_TRUE(note.Undo().ok() && note.Redo().ok());
  EXPECT_EQ(note.StatusText(), "Redo Set");
  note.SetBusy(true);
  const std::string busy = "This data is being transferred; please wait until the transfer has ended.";
  RecoveryFolder recovery(folder.At("auto"));
  RecoverableFile about;
  for (const Result& result : {note.Save(), note.SaveCopy(folder.At("b.syx")), note.Load(folder.At("a.syx")),
                               note.Undo(), note.Redo(), note.Recover(recovery, about)}) {
    EXPECT_EQ(result.text, busy);
    EXPECT_EQ(result.code, kDocumentBusy);
  }
  EXPECT_EQ(note.BusyReason(), busy);
  EXPECT_FALSE(note.CanUndo() || note.CanRedo());
  note.SetBusy(false);
  EXPECT_EQ(told, "SEEESS");
  ASSERT_TRUE(note.SaveCopy(folder.At("a.syx")).ok());
  EXPECT_FALSE(note.IsModified()) << "a copy in the place of its file is its file";
  EXPECT_TRUE(note.CanUndo());
  note.Set("three");
  Put(folder.At("a.syx"), "other");
  EXPECT_EQ(note.SaveCopy(folder.At("a.syx")).text,
            "The file " + folder.At("a.syx") + " was changed by somebody else since it was read or saved here.");
  ASSERT_TRUE(note.Load(folder.At("a.syx")).ok());
  EXPECT_EQ(note.text(), "other");
  EXPECT_FALSE(note.CanUndo() || note.IsModified() || note.FileChangedOnDisk());
  Put(folder.At("a.syx"), "longer than before");
  EXPECT_TRUE(note.FileChangedOnDisk());
  told.clear();
  note.SetPath(folder.At("a.syx"));
  EXPECT_EQ(told, "S");
  EXPECT_FALSE(note.FileChangedOnDisk()) << "nothing is known of a file that was only named";
}

TEST(Document, ListenersMayComeAndGoWhileTheyAreTold) {
  NoteDocument note("a");
  std::string told;
  int second = 0;
  int late = 0;
  const int first = note.AddListener([&](const DocumentChange&) {
    told += "1";
    note.RemoveListener(second);
    if (!late) late = note.AddListener([&](const DocumentChange&) { told += "3"; });
  });
  second = note.AddListener([&](const DocumentChange&) { told += "2"; });
  int self = 0;
  self = note.AddListener([&](const DocumentChange& change) {
    told += change.kind == DocumentChange::Kind::Everything ? "E" : "S";
    note.RemoveListener(self);
    self = -1;
  });
  note.Set("b");
  EXPECT_EQ(told, "1E");
  note.SetBusy(true);
  EXPECT_EQ(told, "1E13");
  note.RemoveListener(first);
  note.SetBusy(false);
  EXPECT_EQ(told, "1E133");
}

}  // namespace
}  // namespace tonalith
