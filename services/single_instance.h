#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Names of windows that may exist once only.  Compared exactly.  Any thread.
class SingleInstanceManager {
 public:
  bool Exists(std::string_view name) const;
  // A name that is listed already stays listed once.
  void Add(std::string_view name);
  // Removes the first match; false when there was none.
  bool Remove(std::string_view name);

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> names_;
};

}  // namespace tonalith
