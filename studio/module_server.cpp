#include "studio/module_server.h"

#include <curl/curl.h>

#include <algorithm>
#include <mutex>
#include <span>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/settings.h"
#include "studio/package.h"

namespace tonalith {

namespace {

constexpr int kPollMs = 50;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

// "folder name/a b" -> "folder%20name/a%20b/"
std::string EscapedPath(CURL* easy, const std::string& path) {
  std::string escaped;
  for (const std::string& part : PathComponents(path)) {
    char* text = curl_easy_escape(easy, part.c_str(), static_cast<int>(part.size()));
    if (!text) continue;
    escaped += std::string("/") + text;
    curl_free(text);
  }
  return escaped;
}

}  // namespace

struct ModuleServerSession::Handles {
  std::unique_ptr<CURL, EasyDeleter> easy{curl_easy_init()};
  std::unique_ptr<CURLM, MultiDeleter> multi{curl_multi_init()};
};

// Where the bytes go and how many may come.
struct ModuleServerSession::Transfer {
  std::function<bool(std::string_view)> take;
  std::function<void(std::uint64_t, std::uint64_t)> progress;
  std::uint64_t limit = 0;
  int seconds = 0;
  std::uint64_t taken = 0;
  bool tooLarge = false;
  Result failed;

  static std::size_t Write(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto* transfer = static_cast<Transfer*>(self);
    const std::size_t length = size * count;
    transfer->taken += length;
    transfer->tooLarge = transfer->taken > transfer->limit;
    if (transfer->tooLarge || !transfer->take({bytes, length})) return length + 1;
    return length;
  }
  static int Progress(void* self, curl_off_t all, curl_off_t done, curl_off_t, curl_off_t) {
    auto* transfer = static_cast<Transfer*>(self);
    if (transfer->progress) transfer->progress(static_cast<std::uint64_t>(done), static_cast<std::uint64_t>(all));
    return 0;
  }
};

ModuleServer ModuleServer::FromIni(const IniFile& ini) {
  constexpr char kSection[] = "Module Server";
  return {ini.GetString(kSection, "Site"), ini.GetString(kSection, "Directory"), ini.GetString(kSection, "User"),
          ini.GetString(kSection, "Password"), false};
}

ModuleServer ChosenModuleServer(const Settings& settings, const std::string& preferencesIni) {
  if (settings.MainGetAltFtpSite().empty()) return ModuleServer::FromIni(IniFile(preferencesIni));
  return {settings.MainGetAltFtpSite(), settings.MainGetAltFtpDirectory(), settings.MainGetAltFtpUsername(),
          settings.MainGetAltFtpPassword(), false};
}

MessagePrompt PlainPasswordQuestion(const ModuleServer& server) {
  MessagePrompt prompt;
  prompt.title = "Password in Plain Text";
  prompt.text =
      "The server " + server.site + " does not encrypt the connection (TLS).\nThe password of \"" + server.user +
      "\" would be sent in plain text: anybody on the way to the server can read it.\n\nSend it all the same?";
  prompt.icon = PromptIcon::Warning;
  prompt.buttons = PromptButtons::OkCancel;
  prompt.labels = {"&Send Password", "Cancel"};
  return prompt;
}

ModuleServerSession::ModuleServerSession(ModuleServer server, CancelToken cancel, ModuleServerLimits limits)
    : server_(std::move(server)), cancel_(std::move(cancel)), limits_(limits) {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  handles_ = std::make_unique<Handles>();
}

ModuleServerSession::~ModuleServerSession() = default;

Result ModuleServerSession::Prepare(const std::string& path, Transfer* transfer) {
  CURL* easy = handles_->easy.get();
  if (!easy || !handles_->multi) return Result::Failure(kServerConnectError);
  curl_easy_reset(easy);
  std::string host = server_.site;
  std::string scheme = "ftp://";
  for (const char* known : {"ftp://", "ftps://"}) {
    if (!AsciiStartsWithNoCase(host, known)) continue;
    scheme = known;
    host.erase(0, scheme.size());
  }
  while (!host.empty() && host.back() == '/') host.pop_back();
  // Accounts inside an address would end in messages, and anything else is no host.
  if (host.empty() || host.find_first_of("@/\\?# \t\r\n") != std::string::npos)
    return Result::Failure(std::string(kServerConnectError) + "\n\"" + scheme + host + "\" is no server name.");
  curl_easy_setopt(easy, CURLOPT_URL, (scheme + host + path).c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "ftp,ftps");
  // Whatever a server or a proxy answers, no other place is asked instead.
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FTP_SKIP_PASV_IP, 1L);
  // Through a proxy as through a wire: it never gets the password to hand on.
  curl_easy_setopt(easy, CURLOPT_HTTPPROXYTUNNEL, 1L);
  const bool needsTls = scheme == "ftps://" || (!server_.password.empty() && !server_.plainPassword);
  curl_easy_setopt(easy, CURLOPT_USE_SSL, static_cast<long>(needsTls ? CURLUSESSL_ALL : CURLUSESSL_TRY));
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  if (!server_.user.empty()) {
    curl_easy_setopt(easy, CURLOPT_USERNAME, server_.user.c_str());
    curl_easy_setopt(easy, CURLOPT_PASSWORD, server_.password.c_str());
  }
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(limits_.connectSeconds));
  curl_easy_setopt(easy, CURLOPT_SERVER_RESPONSE_TIMEOUT, static_cast<long>(limits_.stallSeconds));
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits_.stallSeconds));
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, static_cast<long>(transfer->seconds));
  curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(transfer->limit));
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::Write);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &Transfer::Progress);
  curl_easy_setopt(easy, CURLOPT_XFERINFODATA, transfer);
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
  return Result::Success();
}

// The transfer in slices that see Cancel; its curl code.
int ModuleServerSession::Run(Transfer* transfer) {
  CURLM* multi = handles_->multi.get();
  curl_multi_add_handle(multi, handles_->easy.get());
  int code = CURLE_ABORTED_BY_CALLBACK;
  int running = 1;
  while (running != 0 && !cancel_.Cancelled()) {
    if (curl_multi_perform(multi, &running) != CURLM_OK) break;
    if (running != 0) curl_multi_poll(multi, nullptr, 0, kPollMs, nullptr);
  }
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
    if (message->msg == CURLMSG_DONE) code = message->data.result;
  }
  curl_multi_remove_handle(multi, handles_->easy.get());
  if (transfer->tooLarge) code = CURLE_FILESIZE_EXCEEDED;
  return code;
}

Result ModuleServerSession::Failure(int code, const char* folderMessage, const char* otherMessage) const {
  if (cancel_.Cancelled()) return Result::Failure(kServerCancelled, kServerCancelledCode);
  if (code == CURLE_USE_SSL_FAILED) return Result::Failure(kServerNoTls, kServerNoTlsCode);
  const char* message = otherMessage;
  switch (code) {
    case CURLE_REMOTE_ACCESS_DENIED:
      message = folderMessage;
      break;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_LOGIN_DENIED:
    case CURLE_FTP_ACCEPT_FAILED:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
      message = kServerConnectError;
      break;
    default:
      break;
  }
  std::string reason = std::string(curl_easy_strerror(static_cast<CURLcode>(code))) + ".";
  if (code == CURLE_PEER_FAILED_VERIFICATION)
    reason = "The certificate of the server is not one that can be trusted; nothing was sent to it.";
  return Result::Failure(std::string(message) + "\n" + reason);
}

Result ModuleServerSession::List(std::vector<std::string>* names, std::size_t* leftOut) {
  names->clear();
  if (leftOut) *leftOut = 0;
  std::string text;
  Transfer transfer;
  transfer.limit = limits_.listing;
  transfer.seconds = limits_.listingSeconds;
  transfer.take = [&text](std::string_view bytes) {
    text += bytes;
    return true;
  };
  CURL* easy = handles_->easy.get();
  if (Result ready = Prepare(EscapedPath(easy, server_.directory) + "/", &transfer); !ready.ok()) return ready;
  curl_easy_setopt(easy, CURLOPT_DIRLISTONLY, 1L);
  const int code = Run(&transfer);
  // Some servers answer the listing of an empty folder with "not found".
  if (code != CURLE_OK && code != CURLE_REMOTE_FILE_NOT_FOUND)
    return Failure(code, kServerDirectoryError, kServerConnectError);
  for (const std::string& line : SplitText(text, '\n')) {
    const std::string name = FileNameOf(TrimmedView(line));
    if (!name.empty() && name.front() != '.' && AsciiEndsWithNoCase(name, ".pvz") && IsSafePackagePath(name) &&
        IsValidUtf8(name))
      names->push_back(name);
  }
  std::sort(names->begin(), names->end(), [](const auto& a, const auto& b) { return AsciiCompareNoCase(a, b) < 0; });
  names->erase(std::unique(names->begin(), names->end()), names->end());
  if (names->size() > limits_.names) {
    if (leftOut) *leftOut = names->size() - limits_.names;
    names->resize(limits_.names);
  }
  return Result::Success();
}

Result ModuleServerSession::Download(const std::string& name, const std::filesystem::path& folder,
                                     const std::function<void(std::uint64_t, std::uint64_t)>& progress,
                                     std::filesystem::path* file) {
  if (!IsSafePackagePath(name) || name.find_first_of("\\/") != std::string::npos)
    return Result::Failure(kServerDownloadError);
  if (const Result made = MakeFolders(folder.string()); !made.ok()) return made;
  *file = folder / name;
  AtomicFile out;
  Transfer transfer;
  transfer.limit = limits_.file;
  transfer.seconds = limits_.totalSeconds;
  transfer.progress = progress;
  transfer.take = [&](std::string_view bytes) {
    transfer.failed = out.Write(bytes);
    return transfer.failed.ok();
  };
  CURL* easy = handles_->easy.get();
  Result result = Prepare(EscapedPath(easy, server_.directory + "/" + name), &transfer);
  if (result.ok()) result = out.Open(file->string());
  if (!result.ok()) return result;
  const int code = Run(&transfer);
  if (!transfer.failed.ok()) return transfer.failed;
  if (code != CURLE_OK) return Failure(code, kServerDownloadFolderError, kServerDownloadError);
  return out.Commit();
}

}  // namespace tonalith
