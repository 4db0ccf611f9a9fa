#include "services/hosts.h"

#include <algorithm>

namespace tonalith {

void ZKAppVars::SetAppVar(std::int32_t key, std::int32_t value) {
  for (Entry& entry : entries_) {
    if (entry.key == key) {
      entry.value = value;
      return;
    }
  }
  entries_.push_back({key, value});
}

std::int32_t ZKAppVars::GetAppVar(std::int32_t key) const {
  for (const Entry& entry : entries_) {
    if (entry.key == key) return entry.value;
  }
  return -1;
}

std::int32_t ZKAppVars::GetAppVarGUID() {
  std::vector<std::int32_t> used;
  for (const Entry& entry : entries_) used.push_back(entry.key);
  std::sort(used.begin(), used.end());
  std::int32_t free = 1;
  for (const std::int32_t key : used) free += key == free ? 1 : 0;
  entries_.push_back({free, 0});
  return free;
}

}  // namespace tonalith
