#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

#include "../peer/ftp_server.h"
#include "platform/ini_file.h"
#include "studio/module_server.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

class ModuleServerTest : public FilesTest {
 protected:
  ModuleServerTest() {
    Write("served/all modules/Acme X1.pvz", "PVZ one");
    Write("served/all modules/b.PVZ", std::string(300000, 'b'));
    Write("served/all modules/readme.txt", "no package");
  }
  static std::string Text(const fs::path& file) {
    std::string text;
    return ReadWholeFile(file.string(), text).ok() ? text : "-";
  }
};

TEST_F(ModuleServerTest, ListsAndFetches) {
  FtpServerProcess ftp(Path("served"), "me", "secret word");
  if (!ftp.running()) GTEST_SKIP() << "no FTP server to test with";
  ModuleServer server{ftp.site(), "all modules", "me", "secret word", true};
  ModuleServerSession session(server, CancelToken());
  std::vector<std::string> names;
  const Result listed = session.List(&names);
  ASSERT_TRUE(listed.ok()) << listed.text;
  EXPECT_EQ(names, (std::vector<std::string>{"Acme X1.pvz", "b.PVZ"}));
  fs::path file;
  std::uint64_t seen = 0;
  ASSERT_TRUE(session.Download("Acme X1.pvz", Path("to"), {}, &file).ok());
  EXPECT_EQ(Text(file), "PVZ one");
  const auto progress = [&](std::uint64_t done, std::uint64_t) { seen = done; };
  ASSERT_TRUE(session.Download("b.PVZ", Path("to"), progress, &file).ok());
  EXPECT_EQ(Text(file).size(), 300000u);
  EXPECT_EQ(seen, 300000u);

  ModuleServerLimits small;
  small.file = 1000;
  fs::path cut;
  Write("to/b.PVZ", "former");
  EXPECT_EQ(ModuleServerSession(server, {}, small)
                .Download("b.PVZ", Path("to"), {}, &cut)
                .text.rfind(kServerDownloadError, 0),
            0u);
  EXPECT_EQ(Text(Path("to/b.PVZ")), "former") << "only a whole file takes its place";
  EXPECT_EQ(session.Download("gone.pvz", Path("to"), {}, &file).text.rfind(kServerDownloadError, 0), 0u);
  EXPECT_EQ(session.Download("../b.PVZ", Path("to"), {}, &file).text, kServerDownloadError);

  server.directory = "nowhere";
  EXPECT_EQ(ModuleServerSession(server, {}).List(&names).text.rfind(kServerDirectoryError, 0), 0u);
  EXPECT_EQ(ModuleServerSession(server, {})
                .Download("b.PVZ", Path("to"), {}, &file)
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

// What a server did to us, and what it was told.
struct Attack {
  Result listed, fetched;
  std::vector<std::string> names;
  std::size_t leftOut = 0;
  std::string commands;
  double seconds = 0;
};

class HostileServerTest : public ModuleServerTest {
 protected:
  Attack Run(const std::string& mode, ModuleServer server, const std::string& certificate = {}) {
    Attack attack;
    const std::string log = Path("log " + mode);
    FtpServerProcess ftp(std::vector<std::string>{"hostile_ftp.py", mode, log, certificate});
    EXPECT_TRUE(ftp.running());
    server.site = ftp.site();
    ModuleServerLimits limits;
    limits.connectSeconds = limits.stallSeconds = limits.listingSeconds = limits.totalSeconds = 1;
    limits.listing = limits.file = 1u << 20;
    ModuleServerSession session(server, {}, limits);
    fs::path file;
    const auto begin = std::chrono::steady_clock::now();
    attack.listed = session.List(&attack.names, &attack.leftOut);
    attack.fetched = session.Download("good.pvz", Path("to"), {}, &file);
    attack.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    attack.commands = FileExists(log) ? Text(log) : "";
    return attack;
  }
  // A certificate that nobody signed.
  std::string Certificate() {
    const std::string file = Path("server.pem");
    const std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 -keyout " +
                                file + " -out " + file + ".crt 2>/dev/null && cat " + file + ".crt >> " + file;
    return std::system(command.c_str()) == 0 ? file : "";
  }
};

TEST_F(HostileServerTest, NothingEscapesAndNothingWaitsForEver) {
  const struct {
    const char* mode;
    bool lists, fetches;
  } rows[] = {
      {"plain", true, true},           {"endless-list", false, true}, {"drip-list", false, true},
      {"drip-greeting", false, false}, {"no-answer", false, false},   {"size-small", true, true},
      {"size-large", true, false},     {"huge", true, false},         {"drip-file", true, false},
      {"names", true, true},           {"many-names", true, true},    {"elsewhere", true, true},
      {"texts", false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.mode);
    fs::remove_all(Path("to"));
    const Attack attack = Run(row.mode, {});
    EXPECT_EQ(attack.listed.ok(), row.lists) << attack.listed.text;
    EXPECT_EQ(attack.fetched.ok(), row.fetches) << attack.fetched.text;
    EXPECT_LT(attack.seconds, 20) << "each of the two ends by itself";
    for (const Result& result : {attack.listed, attack.fetched}) {
      EXPECT_EQ(result.ok(), result.text.empty());
      for (const char c : result.text) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 32) << result.text;
    }
    if (!row.fetches) {
      EXPECT_TRUE(!fs::exists(Path("to")) || fs::is_empty(Path("to"))) << "nothing is left";
    }
    EXPECT_EQ(attack.commands.find("PASS secret"), std::string::npos);
    for (const std::string& name : attack.names)
      EXPECT_TRUE(name.find_first_of("/\\") == std::string::npos && name.front() != '.') << name;
  }
  const Attack names = Run("names", {});
  EXPECT_EQ(std::set<std::string>(names.names.begin(), names.names.end()),
            (std::set<std::string>{"dot..pvz", "evil.pvz", "good.pvz", "GOOD.pvz", "passwd.pvz"}));
  const Attack many = Run("many-names", {});
  EXPECT_EQ(many.names.size(), ModuleServerLimits().names);
  EXPECT_EQ(many.leftOut, 20000 - many.names.size());
}

TEST_F(HostileServerTest, APasswordIsSentOnlyEncryptedOrWhenAllowed) {
  ModuleServer server{"", "", "me", "secret", false};
  const Attack refused = Run("plain", server);
  EXPECT_EQ(refused.listed.code, kServerNoTlsCode);
  EXPECT_EQ(refused.listed.text, kServerNoTls);
  EXPECT_EQ(refused.fetched.code, kServerNoTlsCode);
  EXPECT_NE(refused.commands.find("AUTH"), std::string::npos) << "TLS is tried";
  EXPECT_EQ(refused.commands.find("PASS"), std::string::npos) << refused.commands;
  EXPECT_EQ(refused.commands.find("USER"), std::string::npos) << refused.commands;
  server.plainPassword = true;
  const Attack allowed = Run("plain", server);
  EXPECT_TRUE(allowed.listed.ok()) << allowed.listed.text;
  EXPECT_NE(allowed.commands.find("AUTH"), std::string::npos) << "TLS is tried all the same";
  EXPECT_NE(allowed.commands.find("PASS secret"), std::string::npos);
  EXPECT_TRUE(Run("plain", {}).listed.ok()) << "without a password there is nothing to hide";
  const std::string certificate = Certificate();
  if (certificate.empty()) GTEST_SKIP() << "no openssl to make a certificate with";
  for (const bool plain : {false, true}) {
    server.plainPassword = plain;
    const Attack untrusted = Run("tls", server, certificate);
    EXPECT_EQ(untrusted.listed.text.rfind(kServerConnectError, 0), 0U);
    EXPECT_NE(untrusted.listed.text.find("certificate"), std::string::npos) << untrusted.listed.text;
    EXPECT_EQ(untrusted.commands.find("PASS"), std::string::npos) << "a certificate nobody signed is no server";
  }
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
