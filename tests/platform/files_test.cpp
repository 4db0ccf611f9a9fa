#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>

#include "platform/atomic_file.h"
#include "platform/folders.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "tests/platform/files_fixture.h"
#include "tests/platform/short_memory.h"

namespace tonalith {
namespace {

namespace fs = std::filesystem;

// Every save is stopped by SIGKILL somewhere; the reader must find one complete content, never a mixture or a stump.
TEST_F(FilesTest, SavedFileSurvivesKillAtAnyMoment) {
  const auto content = [](unsigned n) {
    const std::size_t size = 20'000 + n * 7919 % 300'000;
    return std::string(size, static_cast<char>('a' + n % 26)) + "#" + std::to_string(size);
  };
  ASSERT_TRUE(WriteFileAtomically(Path("bank.pvs"), content(0)));
  std::mt19937 random(12345);
  int killedWhileSaving = 0;
  for (int round = 0; round < 60; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (unsigned n = 1;; ++n) {
        if (!WriteFileAtomically(Path("bank.pvs"), content(n))) ::_exit(3);
      }
    }
    ::usleep(std::uniform_int_distribution<unsigned>(200, 12'000)(random));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    ++killedWhileSaving;
    const std::string text = Read("bank.pvs");
    const std::size_t mark = text.rfind('#');
    ASSERT_NE(mark, std::string::npos);
    ASSERT_EQ(text.substr(mark + 1), std::to_string(mark)) << "round " << round;
    ASSERT_EQ(text.find_first_not_of(text[0]), mark);
  }
  EXPECT_EQ(killedWhileSaving, 60);
}

TEST_F(FilesTest, SavingKeepsModeAndLinksAndLeavesNothingBehind) {
  Write("real/set.pvs", "old");
  ::chmod(Path("real/set.pvs").c_str(), 0640);
  ASSERT_EQ(::symlink("real/set.pvs", Path("link.pvs").c_str()), 0);
  ASSERT_EQ(::symlink("real/new.pvs", Path("dangling.pvs").c_str()), 0);
  ASSERT_TRUE(WriteFileAtomically(Path("link.pvs"), "new"));
  ASSERT_TRUE(WriteFileAtomically(Path("dangling.pvs"), "made"));
  struct stat info {};
  ASSERT_EQ(::lstat(Path("link.pvs").c_str(), &info), 0);
  EXPECT_TRUE(S_ISLNK(info.st_mode));
  EXPECT_EQ(Read("real/set.pvs"), "new");
  EXPECT_EQ(Read("real/new.pvs"), "made");
  ASSERT_EQ(::stat(Path("real/set.pvs").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  {
    AtomicFile dropped;
    ASSERT_TRUE(dropped.Open(Path("real/set.pvs")));
    ASSERT_TRUE(dropped.Write(std::string(200'000, 'x')));
  }
  EXPECT_EQ(Read("real/set.pvs"), "new");
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(Path("real"))) ++entries;
  EXPECT_EQ(entries, 2u);
}

TEST_F(FilesTest, FailuresSayWhy) {
  std::string text;
  EXPECT_EQ(ReadWholeFile(Path("none"), text).code, kFileMissing);
  EXPECT_FALSE(ReadWholeFile(root_, text));
  EXPECT_FALSE(WriteFileAtomically(root_, "x"));
  EXPECT_EQ(WriteFileAtomically(Path("no/folder"), "x").code, kFileMissing);
  Write("big", std::string(1001, 'x'));
  EXPECT_EQ(ReadWholeFile(Path("big"), text, 1000).code, kFileTooLarge);
  EXPECT_TRUE(text.empty());
  const Result full = WriteFileAtomically("/dev/full", "x");
  EXPECT_NE(full.text.find("the disk is full"), std::string::npos) << full.text;
  ASSERT_EQ(::mkfifo(Path("pipe").c_str(), 0600), 0);  // nobody at the other end: no waiting
  EXPECT_FALSE(WriteFileAtomically(Path("pipe"), "x"));
  Write("a.PV9", "bad");
  ASSERT_TRUE(SetAsideBroken(Path("a.PV9")));
  Write("a.PV9", "bad2");
  ASSERT_TRUE(SetAsideBroken(Path("a.PV9")));
  EXPECT_EQ(Read("a.PV9.broken"), "bad");
  EXPECT_EQ(Read("a.PV9.broken2"), "bad2");
}

TEST_F(FilesTest, OnlyOrdinaryFilesAreRead) {
  ASSERT_EQ(::mkfifo(Path("pipe").c_str(), 0600), 0);
  const int socketFd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, Path("socket").c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  Write("empty", "");
  fs::create_symlink("pipe", Path("link"));
  struct Row {
    std::string path;
    const char* why;
  } const rows[] = {{Path("pipe"), "it is a pipe"}, {Path("link"), "it is a pipe"},  {Path("socket"), "it is a socket"},
                    {root_, "it is a folder"},      {"/dev/zero", "it is a device"}, {"/dev/null", "it is a device"}};
  std::string text;
  for (const Row& row : rows) {
    const Result read = ReadWholeFile(row.path, text);
    EXPECT_EQ(read.code, kFileNotRegular) << row.path;
    EXPECT_NE(read.text.find(row.why), std::string::npos) << read.text;
  }
  ::close(socketFd);
  EXPECT_TRUE(ReadWholeFile(Path("empty"), text));
  EXPECT_TRUE(ReadWholeFile("/proc/self/status", text));  // says that it is empty
  EXPECT_FALSE(text.empty());
  std::istringstream stream(std::string(1001, 'x'));
  EXPECT_EQ(ReadWholeStream(stream, "Standard input", text, 1000).code, kFileTooLarge);
}

TEST_F(FilesTest, ShortMemoryIsSaid) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers need the memory themselves";
  Write("large", "");
  fs::resize_file(Path("large"), kMaxWholeFile);
  const int status = InChildWithMemory(64u << 20, [this] {
    std::string text;
    return ReadWholeFile(Path("large"), text).code;
  });
  EXPECT_EQ(status, kFileNoMemory);
}

TEST_F(FilesTest, SavingRemovesWhatKilledProgramsLeft) {
  const pid_t gone = ::fork();
  if (gone == 0) ::_exit(0);
  ::waitpid(gone, nullptr, 0);
  const std::string dead = std::to_string(gone), own = std::to_string(::getpid());
  const struct {
    std::string name;
    bool stays;
  } files[] = {{"." + std::string("a.dat.") + dead + "-1.part", false},
               {".other file." + dead + "-77.part", false},
               {".a.dat." + own + "-999999.part", true},  // of this program, which runs
               {"a.dat." + dead + "-1.part", true},
               {".a.dat." + dead + "-x.part", true},
               {".a.dat." + dead + ".part", true},
               {"." + dead + "-1.part", true},
               {".a.dat." + dead + "-1.party", true},
               {".a.dat." + dead + "-2.part", true}};  // locked
  for (const auto& file : files) std::ofstream(Path(file.name)) << "half";
  const std::string locked = Path(std::end(files)[-1].name);
  const int lock = ::open(locked.c_str(), O_RDONLY);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  ASSERT_TRUE(WriteFileAtomically(Path("b.dat"), "whole"));
  for (const auto& file : files) EXPECT_EQ(FileExists(Path(file.name)), file.stays) << file.name;
  ::close(lock);
  ASSERT_TRUE(WriteFileAtomically(Path("b.dat"), "whole"));
  EXPECT_FALSE(FileExists(locked));
}

// A file system without modes refuses to set them.
TEST_F(FilesTest, SavingWithoutModes) {
  ASSERT_TRUE(WriteFileAtomically(Path("a"), "old"));
  const pid_t child = ::fork();
  if (child == 0) {
    sock_filter code[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_fchmod, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program{std::size(code), code};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
      ::_exit(2);
    }
    ::_exit(WriteFileAtomically(Path("a"), "new").ok() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "system calls cannot be refused here";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Read("a"), "new");
}

TEST_F(FilesTest, ProfileReading) {
  const IniFile ini = IniFile::FromBytes(
      "lost=1\r\n; comment\r\n[ Main ]\r\nName = \" two words "
      "\"\r\nname=second\r\nQuote='x\"\r\nHex=0x1F\r\nNeg=-12abc\r\n"
      "Empty=\r\nOctal=010\r\nBig=99999999999\r\nnot an "
      "entry\r\n[broken\r\nUnder=7\r\n[main]\r\nLate=1\r\n[Other]\r\nk=1=2");
  const struct {
    const char *section, *key, *expected;
  } texts[] = {{"MAIN", "NAME", " two words "}, {"main", "quote", "'x\""}, {"main", "late", "-"}, {"", "lost", "-"},
               {"Main", "Under", "7"},          {"other", "K", "1=2"},     {"main", "empty", ""}, {"nope", "k", "-"}};
  for (const auto& row : texts) EXPECT_EQ(ini.GetString(row.section, row.key, "-"), row.expected) << row.key;
  const struct {
    const char* key;
    int expected;
  } numbers[] = {{"hex", 31}, {"neg", -12}, {"empty", 5}, {"octal", 10}, {"big", 2147483647}, {"name", 0}, {"gone", 5}};
  for (const auto& row : numbers) EXPECT_EQ(ini.GetInt("main", row.key, 5), row.expected) << row.key;
  EXPECT_EQ(ini.Sections(), (std::vector<std::string>{"Main", "Other"}));
}

TEST_F(FilesTest, ProfileWritingChangesOnlyItsLine) {
  const struct {
    const char *before, *section, *key, *value, *after;
  } rows[] = {
      {"; c\r\n[A]\r\n  Key  =old\r\nx\r\n\r\n[B]\r\n", "a", "KEY", "new",
       "; c\r\n[A]\r\n  Key  =new\r\nx\r\n\r\n[B]\r\n"},
      {"[A]\n\n[B]\nk=1", "a", "n", " v ", "[A]\nn=\" v \"\n\n[B]\nk=1"},
      {"[B]\nk=1", "B", "m", "2", "[B]\nk=1\nm=2\n"},
      {"", "S", "k", "\"q\"", "[S]\nk=\"\"q\"\"\n"},
      {"[A]\nk=\xE9\n", "A", "n", "\xC3\xA9\xE2\x82\xAC", "[A]\nk=\xE9\nn=\xE9\x80\n"},
      {"[A]\nk=\xE9\n", "A", "n", "\xCE\xA9", "[A]\nk=\xC3\xA9\nn=\xCE\xA9\n"},
      {"\xEF\xBB\xBF[A]\nk=1\n", "A", "k", "a\nb", "\xEF\xBB\xBF[A]\nk=a b\n"},
  };
  for (const auto& row : rows) {
    IniFile ini = IniFile::FromBytes(row.before);
    ASSERT_TRUE(ini.Set(row.section, row.key, row.value));
    EXPECT_EQ(ini.ToBytes(), row.after);
    std::string expected = row.value;
    if (expected == "a\nb") expected = "a b";
    EXPECT_EQ(ini.GetString(row.section, row.key), expected);
    EXPECT_EQ(IniFile::FromBytes(ini.ToBytes()).GetString(row.section, row.key), expected);
  }
  IniFile ini;
  EXPECT_FALSE(ini.Set("a]b", "k", "v"));
  EXPECT_FALSE(ini.Set("a", "k=x", "v"));
  EXPECT_FALSE(ini.Set("a", ";k", "v"));
  EXPECT_FALSE(ini.Set("a", "k\n[b]", "v"));
  EXPECT_FALSE(ini.Changed());
}

TEST_F(FilesTest, UnreadableSettingsAreNotReplaced) {
  ASSERT_TRUE(MakeFolders(Path("x.ini")));
  IniFile ini(Path("x.ini"));
  ASSERT_TRUE(ini.Set("a", "k", "v"));
  EXPECT_FALSE(ini.Save());
  EXPECT_FALSE(WritePrivateProfileString("a", "k", "v", Path("x.ini")));
}

TEST_F(FilesTest, PathsAreFoundWithoutCaseAndStayBelowTheirRoot) {
  Write("root/Yamaha DX7/Voice.PVT", "v");
  Write("root/Two/a.txt", "1");
  Write("root/Two/A.TXT", "2");
  Write("outside/secret", "s");
  ASSERT_EQ(::symlink("../outside", Path("root/out").c_str()), 0);
  ASSERT_EQ(::symlink("Two", Path("root/in").c_str()), 0);
  const std::string root = Path("root");
  const struct {
    const char* name;
    const char* trusted;    // below root; "" = not found
    const char* untrusted;  // likewise
  } rows[] = {
      {"YAMAHA dx7\\VOICE.pvt", "Yamaha DX7/Voice.PVT", "Yamaha DX7/Voice.PVT"},
      {"./Yamaha DX7//Voice.PVT", "./Yamaha DX7//Voice.PVT", "Yamaha DX7/Voice.PVT"},
      {"two/a.txt", "Two/a.txt", "Two/a.txt"},
      {"two/A.txt", "", ""},
      {"out/secret", "out/secret", ""},
      {"IN/a.txt", "in/a.txt", "in/a.txt"},
      {"../outside/SECRET", "../outside/secret", ""},
      {"Two/../Two/a.txt", "Two/../Two/a.txt", ""},
      {"C:\\Two\\a.txt", "", ""},
      {"Two:a.txt", "", ""},
      {"", "", ""},
      {"Two/a.txt\x01", "", ""},
  };
  for (const auto& row : rows) {
    const auto expected = [&](const char* path) { return *path ? std::optional(JoinPath(root, path)) : std::nullopt; };
    EXPECT_EQ(FindPath(root, row.name, PathTrust::Trusted), expected(row.trusted)) << row.name;
    EXPECT_EQ(FindPath(root, row.name, PathTrust::Untrusted), expected(row.untrusted)) << row.name;
  }
  EXPECT_FALSE(FindPath(root, Path("outside/secret"), PathTrust::Untrusted));
  std::string joined;
  ASSERT_TRUE(SafeJoin(root, "yamaha dx7\\new/Pic.bmp", joined));
  EXPECT_EQ(joined, root + "/Yamaha DX7/new/Pic.bmp");
  EXPECT_FALSE(SafeJoin(root, "out/new", joined));
  EXPECT_FALSE(SafeJoin(root, "..", joined));
  EXPECT_FALSE(SafeJoin(root, "/", joined));
}

TEST_F(FilesTest, ListingsAreSortedAndFiltered) {
  for (const char* name : {"b.PVS", "A.pvs", "c.pvc", ".hidden.pvs", "dir.pvs/x"}) Write(name, "x");
  using Names = std::vector<std::string>;
  EXPECT_EQ(ListFolder(root_, "*.pvs"), (Names{"A.pvs", "b.PVS"}));
  EXPECT_EQ(ListFolder(root_, "*.PVC; a*"), (Names{"A.pvs", "c.pvc"}));
  EXPECT_EQ(ListFolder(root_, "*.*", ListWhat::Both), (Names{"A.pvs", "b.PVS", "c.pvc", "dir.pvs"}));
  EXPECT_EQ(ListFolder(root_, "*", ListWhat::Folders), (Names{"dir.pvs"}));
  EXPECT_TRUE(ListFolder(Path("none")).empty());
  EXPECT_TRUE(MatchesPattern("a*b?c", "AxxbbXC"));
  EXPECT_FALSE(MatchesPattern("a*b?c", "Abc"));
}

TEST_F(FilesTest, FoldersFollowTheEnvironment) {
  Write("cfg/user-dirs.dirs", "# x\nXDG_DESKTOP_DIR=\"$HOME/D\"\nXDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
  ::setenv("XDG_CONFIG_HOME", Path("cfg").c_str(), 1);
  ::setenv("XDG_DATA_HOME", "relative/is/ignored", 1);
  const Folders folders = Folders::Standard();
  ::unsetenv("XDG_CONFIG_HOME");
  ::unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(folders.config, Path("cfg"));
  EXPECT_EQ(folders.support, HomeFolder() + "/.local/share");
  EXPECT_EQ(folders.documents, HomeFolder() + "/Papers");
  const Folders moved = Folders::Below(Path("x/../root"));
  for (const std::string& path : {moved.config, moved.support, moved.systemSupport, moved.documents, moved.runtime}) {
    EXPECT_EQ(path.compare(0, root_.size() + 6, Path("root/")), 0) << path;
  }
}

}  // namespace
}  // namespace tonalith
