#include "document/recent_files.h"

#include <algorithm>

#include "platform/ini_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr const char* kSection = "Recent File List";

std::string KeyOf(std::size_t entry) {
  return "File" + std::to_string(entry + 1);
}

}  // namespace

void RecentFiles::Load(int limit) {
  limit_ = std::max(kFewest, static_cast<std::size_t>(std::max(limit, 0)));
  paths_.clear();
  const IniFile ini(iniPath_);
  for (std::size_t i = 0; i < limit_; ++i) {
    if (std::string path = ini.GetString(kSection, KeyOf(i)); !path.empty()) paths_.push_back(std::move(path));
  }
}

Result RecentFiles::Used(const std::string& path) {
  // `path` may be one of the list: nothing goes before the new first entry stands.
  paths_.insert(paths_.begin(), path);
  paths_.erase(std::remove(paths_.begin() + 1, paths_.end(), paths_.front()), paths_.end());
  if (paths_.size() > limit_) paths_.resize(limit_);
  return Store();
}

Result RecentFiles::Clear() {
  paths_.clear();
  return Store();
}

Result RecentFiles::Store() const {
  IniFile ini(iniPath_);
  // Also those of a longer list.
  for (const std::string& key : ini.Keys(kSection))
    if (AsciiLower(key).starts_with("file")) ini.RemoveKey(kSection, key);
  for (std::size_t i = 0; i < paths_.size(); ++i) ini.Set(kSection, KeyOf(i), paths_[i]);
  return ini.Save();
}

}  // namespace tonalith
