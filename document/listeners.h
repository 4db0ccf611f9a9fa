#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tonalith {

// Several listeners of one matter.  Adding and removing while they are told is safe: one that is removed is not told
// any more, one that is added is told from the next time.
template <class... Arguments>
class Listeners {
 public:
  using Listener = std::function<void(Arguments...)>;

  // Returns a number for Remove.
  int Add(Listener listener) {
    entries_.push_back({++last_, std::make_shared<Listener>(std::move(listener))});
    return last_;
  }
  void Remove(int id) {
    std::erase_if(entries_, [id](const Entry& entry) { return entry.id == id; });
  }
  void Tell(Arguments... arguments) const {
    const std::vector<Entry> now = entries_;
    for (const Entry& entry : now) {
      if (Has(entry.id)) (*entry.listener)(arguments...);
    }
  }

 private:
  struct Entry {
    int id;
    std::shared_ptr<Listener> listener;
  };
  bool Has(int id) const {
    for (const Entry& entry : entries_) {
      if (entry.id == id) return true;
    }
    return false;
  }

  std::vector<Entry> entries_;
  int last_ = 0;
};

}  // namespace tonalith
