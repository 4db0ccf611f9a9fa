#include "services/single_instance.h"

#include <algorithm>

namespace tonalith {

bool SingleInstanceManager::Exists(std::string_view name) const {
  std::lock_guard guard(mutex_);
  return std::find(names_.begin(), names_.end(), name) != names_.end();
}

void SingleInstanceManager::Add(std::string_view name) {
  std::lock_guard guard(mutex_);
  if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.emplace_back(name);
}

bool SingleInstanceManager::Remove(std::string_view name) {
  std::lock_guard guard(mutex_);
  const auto found = std::find(names_.begin(), names_.end(), name);
  if (found == names_.end()) return false;
  names_.erase(found);
  return true;
}

}  // namespace tonalith
