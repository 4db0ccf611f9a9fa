#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// The files used last, newest first, kept in the section "Recent File List" of an INI file (File1, File2 ...).
class RecentFiles {
 public:
  static constexpr std::size_t kFewest = 9;  // that are always kept

  explicit RecentFiles(std::string iniPath) : iniPath_(std::move(iniPath)) {}

  // Reads the list.  `limit` below kFewest counts as that.
  void Load(int limit);
  // Paths (UTF-8).
  const std::vector<std::string>& paths() const { return paths_; }
  // Puts a file first and stores the list; the list in memory is right also when that fails.
  Result Used(const std::string& path);
  Result Clear();

 private:
  Result Store() const;

  std::string iniPath_;
  std::size_t limit_ = kFewest;
  std::vector<std::string> paths_;
};

}  // namespace tonalith
