#include <algorithm>

#include "data/data_records.h"

namespace tonalith {

DataFileObservers& DataFileObservers::Instance() {
  // Records may be freed while statics are torn down, so the registry is never destroyed.
  static auto& registry = *std::make_unique<DataFileObservers>().release();
  return registry;
}

int DataFileObservers::Add(Callback callback) {
  const std::lock_guard lock(mutex_);
  entries_.push_back({nextId_, std::make_shared<Callback>(std::move(callback))});
  count_ = static_cast<int>(entries_.size());
  return nextId_++;
}

void DataFileObservers::Remove(int id) {
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [id](const Entry& entry) { return entry.id == id; });
  count_ = static_cast<int>(entries_.size());
}

void DataFileObservers::SetUiThread(std::thread::id thread, Poster poster) {
  const std::lock_guard lock(mutex_);
  uiThread_ = thread;
  poster_ = std::move(poster);
}

void DataFileObservers::Announce(const DataFile* released) {
  if (count_ == 0) return;
  Poster poster;
  {
    const std::lock_guard lock(mutex_);
    if (poster_ && std::this_thread::get_id() != uiThread_) poster = poster_;
  }
  if (poster) {
    poster([this, released] { Deliver(released); });
  } else {
    Deliver(released);
  }
}

void DataFileObservers::Deliver(const DataFile* released) {
  std::vector<Entry> entries;
  {
    const std::lock_guard lock(mutex_);
    entries = entries_;
  }
  for (const Entry& entry : entries) {
    {
      const std::lock_guard lock(mutex_);
      const bool registered =
          std::any_of(entries_.begin(), entries_.end(), [&entry](const Entry& other) { return other.id == entry.id; });
      if (!registered) continue;
    }
    (*entry.callback)(released);
  }
}

}  // namespace tonalith
