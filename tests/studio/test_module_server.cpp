#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "../peer/ftp_server.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "studio/module_server.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

class ModuleServerTest : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/tonalith_ftp_XXXXXX";
    root_ = ::mkdtemp(name);
    fs::create_directories(root_ / "served/all modules");
    Put("served/all modules/Acme X1.pvz", "PVZ one");
    Put("served/all modules/b.PVZ", std::string(300000, 'b'));
    Put("served/all modules/readme.txt", "no package");
  }
  void TearDown() override { fs::remove_all(root_); }
  void Put(const std::string& name, const std::string& text) {
    ASSERT_TRUE(WriteFileAtomically((root_ / name).string(), std::string_view(text)).ok());
  }
  std::string Text(const fs::path& file) {
    std::string text;
    return ReadWholeFile(file.string(), text).ok() ? text : "-";
  }

  fs::path root_;
};

TEST_F(ModuleServerTest, ListsAndFetches) {
  FtpServerProcess ftp((root_ / "served").string(), "me", "secret word");
  if (!ftp.running()) GTEST_SKIP() << "no FTP server to test with";
  ModuleServer server{ftp.site(), "all modules", "me", "secret word"};
  ModuleServerSession session(server, CancelToken());
  std::vector<std::string> names;
  const Result listed = session.List(&names);
  ASSERT_TRUE(listed.ok()) << listed.text;
  EXPECT_EQ(names, (std::vector<std::string>{"Acme X1.pvz", "b.PVZ"}));
  fs::path file;
  std::uint64_t seen = 0;
  ASSERT_TRUE(session.Download("Acme X1.pvz", root_ / "to", {}, &file).ok());
  EXPECT_EQ(Text(file), "PVZ one");
  const auto progress = [&](std::uint64_t done, std::uint64_t) { seen = done; };
  ASSERT_TRUE(session.Download("b.PVZ", root_ / "to", progress, &file).ok());
  EXPECT_EQ(Text(file).size(), 300000u);
  EXPECT_EQ(seen, 300000u);

  ModuleServerLimits small;
  small.file = 1000;
  fs::path cut;
  Put("to/b.PVZ", "former");
  EXPECT_EQ(ModuleServerSession(server, {}, small)
                .Download("b.PVZ", root_ / "to", {}, &cut)
                .text.rfind(kServerDownloadError, 0),
            0u);
  EXPECT_EQ(Text(root_ / "to/b.PVZ"), "former") << "only a whole file takes its place";
  EXPECT_EQ(session.Download("gone.pvz", root_ / "to", {}, &file).text.rfind(kServerDownloadError, 0), 0u);
  EXPECT_EQ(session.Download("../b.PVZ", root_ / "to", {}, &file).text, kServerDownloadError);

  server.directory = "nowhere";
  EXPECT_EQ(ModuleServerSession(server, {}).List(&names).text.rfind(kServerDirectoryError, 0), 0u);
  EXPECT_EQ(ModuleServerSession(server, {})
                .Download("b.PVZ", root_ / "to", {}, &file)
                .text.rfind(kServerDownloadFolderError, 0),
            0u);
  server.password = "wrong";
  const std::string refused = ModuleServerSession(server, {}).List(&names).text;
  EXPECT_EQ(refused.rfind(kServerConnectError, 0), 0u);
  EXPECT_EQ(refused.find("wrong"), std::string::npos) << "a password is in no message";
}

TEST_F(ModuleServerTest, BadAddressesAndSilentServersEnd) {
  std::vector<std::string> names;
  for (const char* site : {"", "user:word@127.0.0.1", "127.0.0.1:1", "http://127.0.0.1", "file:///etc", "a b"}) {
    const Result result = ModuleServerSession({site, "", "", ""}, {}).List(&names);
    EXPECT_EQ(result.text.rfind(kServerConnectError, 0), 0u) << site << ": " << result.text;
  }
  // Takes connections and says nothing.
  const int silent = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(::bind(silent, reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(::listen(silent, 4), 0);
  ::getsockname(silent, reinterpret_cast<sockaddr*>(&address), &length);
  const std::string site = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  ModuleServerLimits quick;
  quick.connectSeconds = 1;
  EXPECT_EQ(ModuleServerSession({site, "", "", ""}, {}, quick).List(&names).text.rfind(kServerConnectError, 0), 0u);
  const CancelToken cancel;
  std::thread later([cancel] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    cancel.Cancel();
  });
  const Result cancelled = ModuleServerSession({site, "", "", ""}, cancel).List(&names);
  later.join();
  EXPECT_EQ(cancelled.code, kServerCancelledCode);
  EXPECT_EQ(cancelled.text, kServerCancelled);
  ::close(silent);
}

TEST_F(ModuleServerTest, IsNamedInThePreferencesFile) {
  const ModuleServer server = ModuleServer::FromIni(
      IniFile::FromBytes("[Module Server]\nSite=ftp.example.org\nDirectory=pub/modules\nUser=u\nPassword=p\n"));
  EXPECT_EQ(server.site + "|" + server.directory + "|" + server.user + "|" + server.password,
            "ftp.example.org|pub/modules|u|p");
  EXPECT_FALSE(ModuleServer::FromIni(IniFile(TONALITH_SOURCE_DIR "/resources/Preferences.ini")).Configured())
      << "no server is set up";
}

}  // namespace

}  // namespace tonalith
