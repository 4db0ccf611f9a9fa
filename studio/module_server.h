#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/cancel_token.h"
#include "platform/prompts.h"
#include "platform/result.h"

namespace tonalith {

class IniFile;
class Settings;

// A server that module packages are fetched from: FTP with TLS where the server offers it, or from the first byte on
// when the site begins with "ftps://".  The certificate is always checked.
struct ModuleServer {
  std::string site;       // host, host:port, or a ftp:// or ftps:// address; empty: none
  std::string directory;  // folder of the packages
  std::string user;       // empty: anonymous
  std::string password;   // never written to a log or a message
  // The user allows the password to go over a connection that is not encrypted.  Without that it never does.
  bool plainPassword = false;

  bool Configured() const { return !site.empty(); }
  // Section "Module Server": "Site", "Directory", "User", "Password".
  static ModuleServer FromIni(const IniFile& ini);
};
// The server that the user typed, else that of the preferences file.
ModuleServer ChosenModuleServer(const Settings& settings, const std::string& preferencesIni);
// Whether the password may go in plain text to a server that refused TLS; Ok allows it.
MessagePrompt PlainPasswordQuestion(const ModuleServer& server);

struct ModuleServerLimits {
  int connectSeconds = 15;
  int stallSeconds = 30;       // without a byte
  int listingSeconds = 120;    // one listing
  int totalSeconds = 30 * 60;  // one file
  std::uint64_t listing = 4u << 20;
  std::size_t names = 5000;  // packages of a listing
  std::uint64_t file = 256u << 20;
};

// Messages of a session; what exactly went wrong follows after a line end.
inline constexpr char kServerOpening[] = "Opening FTP Session...";
inline constexpr char kServerConnectError[] = "Failed to connect to FTP";
inline constexpr char kServerDirectoryError[] = "Failed to set directory";
inline constexpr char kServerDownloadFolderError[] = "Error setting FTP Download directory";
inline constexpr char kServerDownloadError[] = "GetFile failed to download file!";
inline constexpr char kServerCancelled[] = "Install from Web cancelled";
inline constexpr int kServerCancelledCode = 23;
inline constexpr char kServerNoTls[] =
    "The server does not encrypt the connection (TLS).  The password goes only over an encrypted connection, unless "
    "you "
    "allow it to be sent in plain text.";
inline constexpr int kServerNoTlsCode = 25;

// One conversation with a module server.  Used by one thread at a time; every call returns within a second after the
// token was cancelled (kServerCancelledCode).
class ModuleServerSession {
 public:
  ModuleServerSession(ModuleServer server, CancelToken cancel, ModuleServerLimits limits = {});
  ~ModuleServerSession();
  ModuleServerSession(const ModuleServerSession&) = delete;
  ModuleServerSession& operator=(const ModuleServerSession&) = delete;

  // The names of the folder that match "*.pvz" (without regard to case) and can be file names here, sorted; `leftOut`
  // (may be null) receives how many there are beyond the limit.
  Result List(std::vector<std::string>* names, std::size_t* leftOut = nullptr);
  // Fetches one of them into a folder (which is made) under its own name; a file of that name is only replaced by a
  // complete one.  `progress` gets bytes; `all` is 0 while the size is unknown.
  Result Download(const std::string& name, const std::filesystem::path& folder,
                  const std::function<void(std::uint64_t done, std::uint64_t all)>& progress,
                  std::filesystem::path* file);

 private:
  struct Transfer;
  Result Prepare(const std::string& path, Transfer* transfer);
  int Run(Transfer* transfer);
  Result Failure(int code, const char* folderMessage, const char* otherMessage) const;

  ModuleServer server_;
  CancelToken cancel_;
  ModuleServerLimits limits_;
  struct Handles;
  std::unique_ptr<Handles> handles_;
};

}  // namespace tonalith
