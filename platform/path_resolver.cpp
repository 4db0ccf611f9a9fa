#include "platform/path_resolver.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "platform/text.h"

namespace tonalith {

namespace {

bool PathExists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

std::vector<std::string> EntryNames(const std::string& folder) {
  std::vector<std::string> names;
  DIR* dir = ::opendir(folder.c_str());
  if (!dir) return names;
  while (const dirent* entry = ::readdir(dir)) names.emplace_back(entry->d_name);
  ::closedir(dir);
  return names;
}

// The entry of `folder` that `name` means; nullopt when there is none or more than one without case.
std::optional<std::string> FindEntry(const std::string& folder, const std::string& name) {
  if (PathExists(JoinPath(folder, name))) return name;
  std::optional<std::string> found;
  for (const std::string& entry : EntryNames(folder)) {
    if (!AsciiEqualNoCase(entry, name)) continue;
    if (found) return std::nullopt;
    found = entry;
  }
  return found;
}

bool IsBelow(const std::string& root, const std::string& path) {
  if (root == "/" || path == root) return true;
  return path.size() > root.size() && path.compare(0, root.size(), root) == 0 && path[root.size()] == '/';
}

const char* WhyUnsafe(std::string_view name) {
  if (name.empty()) return "it is empty";
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 32 || c == 127) return "it contains control characters";
  }
  if (name.front() == '/' || name.front() == '\\') return "it is absolute";
  if (name.find(':') != std::string_view::npos) return "it contains a ':'";
  const auto components = PathComponents(name);
  if (components.empty()) return "it names nothing";
  if (std::find(components.begin(), components.end(), "..") != components.end()) return "it contains '..'";
  return nullptr;
}

bool MatchesOnePattern(std::string_view pattern, std::string_view name) {
  if (pattern == "*.*") return true;
  std::size_t p = 0, n = 0, star = std::string_view::npos, mark = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      mark = n;
    } else if (p < pattern.size() && (pattern[p] == '?' || AsciiLower(pattern[p]) == AsciiLower(name[n]))) {
      ++p;
      ++n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++mark;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

}  // namespace

std::string JoinPath(std::string_view folder, std::string_view name) {
  if (folder.empty() || (!name.empty() && name.front() == '/')) return std::string(name);
  std::string out(folder);
  if (out.back() != '/') out += '/';
  return out.append(name);
}

std::string FolderOf(std::string_view path) {
  const std::size_t at = path.rfind('/');
  if (at == std::string_view::npos) return ".";
  return std::string(path.substr(0, at == 0 ? 1 : at));
}

std::string FileNameOf(std::string_view path) {
  const std::size_t at = path.rfind('/');
  return std::string(at == std::string_view::npos ? path : path.substr(at + 1));
}

std::string ExtensionOf(std::string_view path) {
  const std::string name = FileNameOf(path);
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot);
}

std::string WithoutExtension(std::string_view path) {
  return std::string(path.substr(0, path.size() - ExtensionOf(path).size()));
}

std::vector<std::string> PathComponents(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    const std::size_t at = path.find_first_of("/\\");
    const std::string_view part = path.substr(0, at);
    if (!part.empty() && part != ".") components.emplace_back(part);
    if (at == std::string_view::npos) break;
    path.remove_prefix(at + 1);
  }
  return components;
}

std::optional<std::string> RealPath(const std::string& path) {
  char* real = ::realpath(path.c_str(), nullptr);
  if (!real) return std::nullopt;
  std::string out(real);
  std::free(real);
  return out;
}

std::optional<std::string> FindPath(const std::string& root, std::string_view name, PathTrust trust) {
  if (trust == PathTrust::Untrusted) {
    std::string path;
    if (!SafeJoin(root, name, path) || !PathExists(path)) return std::nullopt;
    return path;
  }
  if (name.empty()) return std::nullopt;
  // A name given as it stands on this system may contain anything, a '\' too.
  if (std::string exact = JoinPath(root, name); PathExists(exact)) return exact;
  std::string path = name.front() == '/' || name.front() == '\\' ? "/" : root;
  for (const std::string& component : PathComponents(name)) {
    const auto entry = component == ".." ? std::optional<std::string>(component) : FindEntry(path, component);
    if (!entry) return std::nullopt;
    path = JoinPath(path, *entry);
  }
  return PathExists(path) ? std::optional<std::string>(path) : std::nullopt;
}

Result SafeJoin(const std::string& root, std::string_view name, std::string& out) {
  out.clear();
  const std::string shown = Latin1ToUtf8(CutUtf8(name, 80));
  if (const char* reason = WhyUnsafe(name)) {
    return Result::Failure(Printf("The file name \"%s\" is refused: %s.",
                                  IsValidUtf8(name) ? std::string(name).c_str() : shown.c_str(), reason));
  }
  if (!PathExists(root)) return Result::Failure(Printf("The folder %s does not exist.", root.c_str()));
  std::string path = root;
  bool exists = true;
  for (const std::string& component : PathComponents(name)) {
    const auto entry = exists ? FindEntry(path, component) : std::nullopt;
    path = JoinPath(path, entry ? *entry : component);
    struct stat info {};
    exists = ::lstat(path.c_str(), &info) == 0;
    if (!exists || !S_ISLNK(info.st_mode)) continue;
    // Only a link can lead out; following the root's own components for every name would cost more than all the rest.
    const auto realRoot = RealPath(root);
    const auto real = RealPath(path);
    if (!realRoot || !real || !IsBelow(*realRoot, *real)) {
      return Result::Failure(
          Printf("The file name \"%s\" is refused: it leads out of its folder.", std::string(name).c_str()));
    }
  }
  out = std::move(path);
  return Result::Success();
}

bool MatchesPattern(std::string_view pattern, std::string_view name) {
  for (;;) {
    const std::size_t at = pattern.find(';');
    if (MatchesOnePattern(TrimmedView(pattern.substr(0, at)), name)) return true;
    if (at == std::string_view::npos) return false;
    pattern.remove_prefix(at + 1);
  }
}

std::vector<std::string> ListFolder(const std::string& folder, std::string_view pattern, ListWhat what) {
  std::vector<std::string> names;
  for (std::string& name : EntryNames(folder)) {
    if (name.front() == '.' || !MatchesPattern(pattern, name)) continue;
    struct stat info {};
    if (::stat(JoinPath(folder, name).c_str(), &info) != 0) continue;
    const bool isFolder = S_ISDIR(info.st_mode);
    if ((what == ListWhat::Files && isFolder) || (what == ListWhat::Folders && !isFolder)) continue;
    names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    const int order = AsciiCompareNoCase(a, b);
    return order != 0 ? order < 0 : a < b;
  });
  return names;
}

}  // namespace tonalith
