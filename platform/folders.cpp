#include "platform/folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "platform/atomic_file.h"
#include "platform/own_folder.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string WithoutTrailingSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The base folders of the desktop rules count only when they are absolute.
std::string BaseFolder(const char* variable, const std::string& fallback) {
  const std::string value = Environment(variable);
  return !value.empty() && value.front() == '/' ? WithoutTrailingSlash(value) : fallback;
}

// user-dirs.dirs holds lines like XDG_DOCUMENTS_DIR="$HOME/Documents".
std::string DocumentsFolder(const std::string& config, const std::string& home) {
  std::string text;
  ReadWholeFile(JoinPath(config, "user-dirs.dirs"), text, std::size_t{1} << 20);
  for (const std::string& line : SplitText(text, '\n')) {
    const std::string_view body = TrimmedView(line);
    constexpr std::string_view kKey = "XDG_DOCUMENTS_DIR=";
    if (body.substr(0, kKey.size()) != kKey) continue;
    std::string_view value = TrimmedView(body.substr(kKey.size()));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    std::string path(value);
    if (path.compare(0, 5, "$HOME") == 0) path = home + path.substr(5);
    path = WithoutTrailingSlash(path);
    // "$HOME/" alone means that the user wants no such folder.
    if (!path.empty() && path.front() == '/' && path != home) return path;
  }
  return JoinPath(home, "Documents");
}

bool IsOwned(const std::string& folder) {
  struct stat info {};
  return ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid();
}

// The runtime folder of somebody else (kept in the environment by su and sudo) is not used.
std::string RuntimeFolder(const std::string& cache) {
  for (const std::string& base :
       {BaseFolder("XDG_RUNTIME_DIR", ""), Printf("/run/user/%u", static_cast<unsigned>(::geteuid()))})
    if (!base.empty() && IsOwned(base)) return JoinPath(base, "tonalith");
  return JoinPath(cache, "tonalith-run");
}

}  // namespace

std::string HomeFolder() {
  const std::string home = Environment("HOME");
  if (!home.empty() && home.front() == '/') return WithoutTrailingSlash(home);
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
      found->pw_dir[0] == '/') {
    return WithoutTrailingSlash(found->pw_dir);
  }
  return FirstOwnFolder(Printf("/tmp/tonalith-%u", static_cast<unsigned>(::geteuid())));
}

std::string ExecutablePath() {
  return RealPath("/proc/self/exe").value_or("");
}

std::string AbsolutePath(const std::string& path) {
  std::string start = path;
  if (path.empty() || path.front() != '/') {
    char buffer[4096];
    const char* here = ::getcwd(buffer, sizeof buffer);
    start = JoinPath(here ? here : "/", path);
  }
  std::vector<std::string> parts;
  for (std::string& part : SplitText(start, '/')) {
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(std::move(part));
    }
  }
  std::string out;
  for (const std::string& part : parts) out += '/' + part;
  return out.empty() ? "/" : out;
}

std::string FindResourceFolder(const std::string& executable) {
  const std::string named = Environment("TONALITH_RESOURCES");
  if (!named.empty()) return WithoutTrailingSlash(AbsolutePath(named));
  if (!executable.empty()) {
    const std::string folder = FolderOf(executable);
    const std::string installed = AbsolutePath(JoinPath(folder, "../share/tonalith"));
    if (FolderExists(installed)) return installed;
    // Started from the build folder: the sources are above it.
    for (const char* above : {"resources", "../resources", "../../resources", "../../../resources"}) {
      const std::string source = AbsolutePath(JoinPath(folder, above));
      if (FileExists(JoinPath(source, "Preferences.ini"))) return source;
    }
  }
  return AbsolutePath("resources");
}

Folders Folders::Standard() {
  const std::string home = HomeFolder();
  Folders folders;
  folders.config = BaseFolder("XDG_CONFIG_HOME", JoinPath(home, ".config"));
  folders.support = BaseFolder("XDG_DATA_HOME", JoinPath(home, ".local/share"));
  folders.systemSupport = "/var/lib";
  folders.documents = DocumentsFolder(folders.config, home);
  folders.cache = BaseFolder("XDG_CACHE_HOME", JoinPath(home, ".cache"));
  folders.runtime = RuntimeFolder(folders.cache);
  folders.executable = ExecutablePath();
  folders.resources = FindResourceFolder(folders.executable);
  return folders;
}

Folders Folders::Below(const std::string& configRoot) {
  const std::string root = AbsolutePath(configRoot);
  Folders folders;
  folders.config = JoinPath(root, "config");
  folders.support = JoinPath(root, "share");
  folders.systemSupport = JoinPath(root, "system");
  folders.documents = JoinPath(root, "Documents");
  folders.cache = JoinPath(root, "cache");
  folders.runtime = JoinPath(root, "run");
  if (FolderExists(folders.runtime) && !IsOwned(folders.runtime))
    folders.runtime += Printf("-%u", static_cast<unsigned>(::geteuid()));
  folders.executable = ExecutablePath();
  folders.resources = FindResourceFolder(folders.executable);
  return folders;
}

}  // namespace tonalith
