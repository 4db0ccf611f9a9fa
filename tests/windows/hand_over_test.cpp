#include "app/hand_over.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/own_folder.h"
#include "platform/path_resolver.h"
#include "tests/platform/files_fixture.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

class HandOverTest : public FilesTest {
 protected:
  bool Given(const Folders& folders, const std::vector<std::string>& files) {
    std::atomic<bool> done = false;
    bool given = false;
    std::thread other([&] {
      given = FileHandOver(folders).Give(files);
      done = true;
    });
    EXPECT_TRUE(WaitFor([&] { return done.load(); }, 10000));
    other.join();
    return given;
  }
  std::string Socket() const {
    const auto names = ListFolder(Path("root/run"), "tonalith-*");
    for (const std::string& name : names)
      if (ExtensionOf(name) != ".lock") return Path("root/run/" + name);
    return {};
  }
};

TEST_F(HandOverTest, TheFirstTakesTheFilesOfTheOthers) {
  const Folders folders = Folders::Below(Path("root"));
  EXPECT_FALSE(Given(folders, {"a"})) << "nobody listens";
  std::vector<std::string> taken;
  std::string socket;
  {
    FileHandOver first(folders), second(folders);
    const auto take = [&](const std::vector<std::string>& files) { taken = files; };
    ASSERT_TRUE(first.Listen(take));
    EXPECT_TRUE(second.Listen([](const auto&) { ADD_FAILURE() << "the first is still there"; }));
    EXPECT_TRUE(Given(folders, {"ä", "b c"}));
    EXPECT_EQ(taken, (std::vector<std::string>{"ä", "b c"}));
    socket = Socket();
    struct stat info {};
    ASSERT_EQ(::stat(Path("root/run").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);
  }
  // A process that ends badly leaves its socket behind.
  const int dead = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  socket.copy(name.sun_path, sizeof name.sun_path - 1);
  ASSERT_EQ(::bind(dead, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
  ::close(dead);
  EXPECT_FALSE(Given(folders, {"c"}));
  FileHandOver third(folders);
  ASSERT_TRUE(third.Listen([&](const std::vector<std::string>& files) { taken = files; }));
  EXPECT_TRUE(Given(folders, {"d"}));
  EXPECT_EQ(taken, std::vector<std::string>{"d"});
}

TEST_F(HandOverTest, NothingIsGivenToWhatIsNotOurs) {
  ASSERT_TRUE(MakeFolders(Path("elsewhere")));
  ASSERT_TRUE(MakeFolders(Path("root")));
  ASSERT_EQ(::symlink(Path("elsewhere").c_str(), Path("root/run").c_str()), 0);
  FileHandOver listening(Folders::Below(Path("root")));
  const Result linked = listening.Listen([](const auto&) {});
  EXPECT_NE(linked.text.find("it is a link"), std::string::npos) << linked.text;
  EXPECT_FALSE(listening.Give({"a"}));
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can be two accounts";
  Folders theirs = Folders::Below(Path("other"));
  ASSERT_TRUE(MakeOwnFolder(theirs.runtime));
  ASSERT_EQ(::lchown(theirs.runtime.c_str(), 65534, 65534), 0);
  FileHandOver refused(theirs);
  EXPECT_NE(refused.Listen([](const auto&) {}).text.find("another account"), std::string::npos);
  EXPECT_FALSE(refused.Give({"a"}));
}

}  // namespace
}  // namespace tonalith
