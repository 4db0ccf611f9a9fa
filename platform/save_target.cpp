#include "platform/save_target.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <optional>

#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr int kMostLinks = 40;

// Anyone may have put it there.
bool IsStrangersInSharedFolder(const struct stat& entry, const std::string& folder) {
  struct stat around {};
  if (::stat(folder.c_str(), &around) != 0 || (around.st_mode & S_ISVTX) == 0 || (around.st_mode & S_IWOTH) == 0)
    return false;
  return entry.st_uid != ::geteuid() && entry.st_uid != around.st_uid;
}

std::optional<std::string> ReadLink(const std::string& path) {
  char link[4096];
  const ssize_t length = ::readlink(path.c_str(), link, sizeof link);
  if (length <= 0 || static_cast<std::size_t>(length) >= sizeof link) return std::nullopt;
  return std::string(link, static_cast<std::size_t>(length));
}

std::string Absolute(const std::string& path) {
  char here[4096];
  return path.front() == '/' || !::getcwd(here, sizeof here) ? path : JoinPath(here, path);
}

bool IsFolder(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

SaveTarget FindSaveTarget(const std::string& path) {
  if (path.empty()) return {{}, ENOENT, {}};
  const auto piecesOf = [](const std::string& text) {
    const auto pieces = SplitText(text, '/');
    return std::deque<std::string>(pieces.begin(), pieces.end());
  };
  std::deque<std::string> left = piecesOf(Absolute(path));
  std::string folder = "/";
  int links = 0;
  while (!left.empty()) {
    const std::string name = left.front();
    left.pop_front();
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      folder = FolderOf(folder);
      continue;
    }
    const std::string entry = JoinPath(folder, name);
    struct stat info {};
    const bool exists = ::lstat(entry.c_str(), &info) == 0;
    const auto link = exists && S_ISLNK(info.st_mode) ? ReadLink(entry) : std::nullopt;
    if (exists && (link || left.empty()) && IsStrangersInSharedFolder(info, folder))
      return {{}, EACCES, (link ? "the link " : "the file ") + entry};
    if (!link) {
      folder = entry;
      continue;
    }
    if (++links > kMostLinks) return {{}, ELOOP, {}};
    if (link->front() == '/') folder = "/";
    const std::deque<std::string> onward = piecesOf(*link);
    left.insert(left.begin(), onward.begin(), onward.end());
  }
  // A name that ends in '/' is no file's.
  if (path.back() == '/' && !IsFolder(folder)) return {{}, ENOENT, {}};
  return {folder, 0, {}};
}

}  // namespace tonalith
