#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "platform/clock.h"
#include "platform/folders.h"
#include "platform/ini_file.h"
#include "platform/key_store.h"
#include "platform/lock_file.h"
#include "platform/own_folder.h"
#include "platform/save_target.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

constexpr uid_t kStranger = 65534;

// The status of a child process that is another account.
int AsStranger(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::setgid(kStranger) == 0 && ::setuid(kStranger) == 0 ? work() : 99);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 98;
}

class LocksTest : public FilesTest {
 protected:
  unsigned ModeOf(const std::string& name) const {
    struct stat info {};
    return ::lstat(Path(name).c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
  }
  void Give(const std::string& name) const { ASSERT_EQ(::lchown(Path(name).c_str(), kStranger, kStranger), 0); }
};

// Tests in which a second account takes part.
class StrangersTest : public LocksTest {
 protected:
  void SetUp() override {
    LocksTest::SetUp();
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can be two accounts";
    ::chmod(root_.c_str(), 0755);
  }
};

TEST_F(LocksTest, AreTakenInTurnsAndEndWithTheirHolder) {
  const mode_t mask = ::umask(0);
  LockFile first, second;
  VirtualClock clock;
  ASSERT_TRUE(first.Take(Path("run"), "a.lock", 0));
  ::umask(mask);
  EXPECT_EQ(ModeOf("run"), 0700u);
  EXPECT_EQ(ModeOf("run/a.lock"), 0600u);
  const std::int64_t began = clock.NowUs();
  const Result held = second.Take(Path("run"), "a.lock", 500, clock);
  EXPECT_EQ(held.code, kLockHeld);
  EXPECT_NE(held.text.find(Path("run/a.lock")), std::string::npos) << held.text;
  EXPECT_EQ(clock.NowUs() - began, 500'000);
  EXPECT_TRUE(second.Take(Path("run"), "b.lock", 0));
  first.Release();
  EXPECT_TRUE(second.Take(Path("run"), "a.lock", 0));
  second.Release();
  int told[2];
  ASSERT_EQ(::pipe(told), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    LockFile lock;
    if (lock.Take(Path("run"), "a.lock", 0) && ::write(told[1], "x", 1) == 1) ::pause();
    ::_exit(1);
  }
  char c = 0;
  ASSERT_EQ(::read(told[0], &c, 1), 1);
  EXPECT_EQ(first.Take(Path("run"), "a.lock", 0).code, kLockHeld);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(first.Take(Path("run"), "a.lock", 0));
  ::close(told[0]);
  ::close(told[1]);
}

TEST_F(LocksTest, WhatStandsInTheWayIsNotTakenForALock) {
  Write("secret", "s");
  ::chmod(Path("secret").c_str(), 0644);
  ASSERT_TRUE(MakeOwnFolder(Path("run")));
  ASSERT_EQ(::symlink("../secret", Path("run/link").c_str()), 0);
  ASSERT_EQ(::mkfifo(Path("run/pipe").c_str(), 0600), 0);
  ASSERT_TRUE(MakeFolders(Path("run/folder")));
  ASSERT_EQ(::symlink("run", Path("elsewhere").c_str()), 0);
  const struct {
    const char *folder, *name;
  } rows[] = {{"run", "link"},    {"run", "pipe"}, {"run", "folder"},
              {"elsewhere", "a"}, {"secret", "a"}, {"secret/x", "a"}};
  for (const auto& row : rows) {
    LockFile lock;
    const Result taken = lock.Take(Path(row.folder), row.name, 10'000);
    EXPECT_FALSE(taken) << row.folder << " " << row.name;
    EXPECT_NE(taken.code, kLockHeld) << taken.text;
    EXPECT_FALSE(lock.Held());
  }
  EXPECT_EQ(ModeOf("secret"), 0644u);
  // A folder of ours that was open is closed.
  ASSERT_TRUE(MakeFolders(Path("open")));
  ::chmod(Path("open").c_str(), 0777);
  LockFile lock;
  EXPECT_TRUE(lock.Take(Path("open"), "a", 0));
  EXPECT_EQ(ModeOf("open"), 0700u);
}

TEST_F(LocksTest, KeyStoreIsSharedBetweenProcesses) {
  const std::string file = Path("sub/Registry.ini");
  for (int p = 0; p < 4; ++p) {
    if (::fork() == 0) {
      KeyStore store(file, Path("run"));
      for (int i = 0; i < 10; ++i) {
        // A busy machine may keep the others at work for longer than anybody waits.
        while (store.Write("SOFTWARE\\Corvane\\X", std::to_string(p) + "_" + std::to_string(i), "v").code ==
               kLockHeld) {
        }
      }
      ::_exit(0);
    }
  }
  for (int p = 0; p < 4; ++p) ::wait(nullptr);
  EXPECT_EQ(IniFile(file).Keys("software\\corvane\\x").size(), 40u);
  EXPECT_FALSE(FileExists(file + ".lock"));
  KeyStore store(file, Path("run"));
  EXPECT_EQ(store.Read("SOFTWARE\\CORVANE\\x", "3_9"), "v");
  EXPECT_TRUE(store.Remove("SOFTWARE\\Corvane\\X", "3_9"));
  EXPECT_EQ(store.Read("SOFTWARE\\Corvane\\X", "3_9"), std::nullopt);
}

TEST_F(LocksTest, AHeldKeyStoreDelaysOnceAndIsNotWritten) {
  VirtualClock clock;
  const std::string file = Path("Registry.ini");
  KeyStore store(file, Path("run"), clock);
  ASSERT_TRUE(store.Write("K", "old", "1"));
  LockFile other;
  ASSERT_TRUE(other.Take(Path("run"), LockFile::NameFor("keys", file), 0));
  const std::int64_t began = clock.NowUs();
  for (const char* name : {"a", "b", "c"}) EXPECT_EQ(store.Write("K", name, "2").code, kLockHeld);
  EXPECT_EQ(store.Remove("K", "old").code, kLockHeld);
  EXPECT_EQ(store.Read("K", "old"), "1");
  EXPECT_TRUE(store.Write("K", "old", "1")) << "what is there already needs no turn";
  EXPECT_EQ(clock.NowUs() - began, kKeyStoreWaitMs * 1000);
  EXPECT_EQ(IniFile(file).Keys("K").size(), 1u);
  other.Release();
  EXPECT_TRUE(store.Write("K", "a", "2"));
  ASSERT_TRUE(other.Take(Path("run"), LockFile::NameFor("keys", file), 0));
  EXPECT_EQ(store.Write("K", "b", "2").code, kLockHeld);
  EXPECT_EQ(clock.NowUs() - began, 2 * kKeyStoreWaitMs * 1000);
  // Without a place for the lock nothing is written either.
  Write("file", "x");
  KeyStore nowhere(file, Path("file/run"), clock);
  EXPECT_FALSE(nowhere.Write("K", "c", "3"));
  EXPECT_EQ(nowhere.Read("K", "c"), std::nullopt);
}

TEST_F(StrangersTest, CannotHoldWhatThisAccountWaitsFor) {
  LockFile lock;
  ASSERT_TRUE(lock.Take(Path("run"), "a.lock", 0));
  lock.Release();
  const std::string file = Path("run/a.lock");
  EXPECT_EQ(AsStranger([&] { return ::open(file.c_str(), O_RDONLY) >= 0 ? 1 : 0; }), 0);
  // A folder that the stranger made first, and a lock file in ours that is his, are refused at once, whoever holds
  // them.
  ASSERT_TRUE(MakeOwnFolder(Path("his")));
  Write("his/a.lock", "");
  Give("his/a.lock");
  Give("his");
  Write("run/b.lock", "");
  Give("run/b.lock");
  const int held = ::open(Path("run/b.lock").c_str(), O_RDWR);
  ASSERT_EQ(::flock(held, LOCK_EX), 0);
  VirtualClock clock;
  const std::int64_t began = clock.NowUs();
  for (const auto& [folder, name] : {std::pair("his", "a.lock"), std::pair("run", "b.lock")}) {
    const Result taken = lock.Take(Path(folder), name, 10'000, clock);
    EXPECT_EQ(taken.code, kFileDenied) << folder;
    EXPECT_NE(taken.text.find("account"), std::string::npos) << taken.text;
  }
  EXPECT_EQ(clock.NowUs(), began);
  ::close(held);
}

TEST_F(StrangersTest, FoldersOfOthersAreNotUsed) {
  for (const char* name : {"theirs", "base", "root/run", "run"}) ASSERT_TRUE(MakeFolders(Path(name)));
  for (const char* name : {"theirs", "base", "root/run"}) Give(name);
  ASSERT_EQ(::symlink("run", Path("base-2").c_str()), 0);
  EXPECT_EQ(FirstOwnFolder(Path("base")), Path("base-3"));
  EXPECT_EQ(ModeOf("base-3"), 0700u);
  for (int i = 3; i <= 9; ++i) {
    ::mkdir(Path("base-" + std::to_string(i)).c_str(), 0700);
    Give("base-" + std::to_string(i));
  }
  const std::string unknown = FirstOwnFolder(Path("base"));
  EXPECT_TRUE(FolderExists(unknown)) << unknown;
  EXPECT_EQ(unknown.size(), Path("base-").size() + 6);
  EXPECT_EQ(Folders::Below(Path("root")).runtime, Path("root/run-0"));
  const std::string before = std::getenv("XDG_RUNTIME_DIR") ? std::getenv("XDG_RUNTIME_DIR") : "";
  const struct {
    std::string folder;
    bool isUsed;
  } rows[] = {{Path("run"), true}, {Path("theirs"), false}, {Path("none"), false}, {"run", false}, {"", false}};
  for (const auto& row : rows) {
    ::setenv("XDG_RUNTIME_DIR", row.folder.c_str(), 1);
    const std::string runtime = Folders::Standard().runtime;
    EXPECT_EQ(runtime == JoinPath(row.folder, "tonalith"), row.isUsed) << row.folder << ": " << runtime;
    EXPECT_EQ(runtime.front(), '/') << row.folder;
  }
  before.empty() ? ::unsetenv("XDG_RUNTIME_DIR") : ::setenv("XDG_RUNTIME_DIR", before.c_str(), 1);
}

// What saving replaces, for this account and for the stranger; "" where it is refused.
TEST_F(StrangersTest, LayNoLinksForWhatIsSaved) {
  for (const char* name : {"shared", "common", "private", "private/sub", "shared/hisfolder", "shared/ours"})
    ASSERT_TRUE(MakeFolders(Path(name)));
  Write("private/real", "old");
  for (const char* folder : {"shared", "common"}) {
    const std::string at(folder);
    ASSERT_EQ(::symlink("../private/real", Path(at + "/own").c_str()), 0);
    ASSERT_EQ(::symlink("../private/real", Path(at + "/his").c_str()), 0);
    ASSERT_EQ(::symlink("../private/sub", Path(at + "/hisdir").c_str()), 0);
    ASSERT_EQ(::symlink("his", Path(at + "/chain").c_str()), 0);
    Write(at + "/hisfile", "x");
    for (const char* name : {"/his", "/hisdir", "/hisfile"}) Give(at + name);
  }
  Give("shared/hisfolder");
  ::chmod(Path("shared").c_str(), 01777);
  ::chmod(Path("common").c_str(), 0777);
  ::chmod(Path("private").c_str(), 0777);
  const struct {
    const char *path, *target, *hisTarget;
  } rows[] = {{"shared/own", "private/real", "private/real"},  // of the folder's owner
              {"shared/his", "", "private/real"},
              {"shared/./../shared/his", "", "private/real"},
              {"shared/chain", "", "private/real"},
              {"shared/hisdir/new", "", "private/sub/new"},
              {"shared/hisfile", "", "shared/hisfile"},
              {"shared/hisfolder/new", "shared/hisfolder/new", "shared/hisfolder/new"},
              {"shared/new", "shared/new", "shared/new"},
              {"common/his", "private/real", "private/real"},
              {"common/hisdir/new", "private/sub/new", "private/sub/new"},
              {"common/hisfile", "common/hisfile", "common/hisfile"}};
  for (const auto& row : rows) {
    const SaveTarget found = FindSaveTarget(Path(row.path));
    EXPECT_EQ(found.path, *row.target ? Path(row.target) : "") << row.path;
    EXPECT_EQ(found.strangers.empty(), *row.target != 0) << row.path;
    EXPECT_EQ(AsStranger([&] { return FindSaveTarget(Path(row.path)).path == Path(row.hisTarget) ? 0 : 1; }), 0)
        << row.path;
  }
  const Result refused = WriteFileAtomically(Path("shared/his"), "new");
  EXPECT_EQ(refused.text,
            "Cannot write " + Path("shared/his") + ": the link " + Path("shared/his") + " belongs to another account.");
  EXPECT_EQ(refused.code, kFileDenied);
  EXPECT_EQ(Read("private/real"), "old");
  EXPECT_TRUE(WriteFileAtomically(Path("shared/own"), "new"));
  EXPECT_EQ(Read("private/real"), "new");
}

}  // namespace
}  // namespace tonalith
