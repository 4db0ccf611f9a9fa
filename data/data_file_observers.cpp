#include <algorithm>

#include "data/data_records.h"

namespace tonalith {

struct DataFileObservers::State : std::enable_shared_from_this<DataFileObservers::State> {
  struct Entry {
    int id;
    std::shared_ptr<Callback> callback;
  };

  void Announce(const DataFile* released) {
    {
      const std::lock_guard lock(mutex);
      if (entries.empty()) return;
      if (poster && std::this_thread::get_id() != uiThread) {
        // Under the lock, so that the poster is not used once it was taken away.
        poster([self = shared_from_this(), released] { self->Deliver(released); });
        return;
      }
    }
    Deliver(released);
  }

  void Deliver(const DataFile* released) {
    std::vector<Entry> told;
    {
      const std::lock_guard lock(mutex);
      told = entries;
    }
    for (const Entry& entry : told) {
      {
        const std::lock_guard lock(mutex);
        const bool registered =
            std::any_of(entries.begin(), entries.end(), [&entry](const Entry& other) { return other.id == entry.id; });
        if (!registered) continue;
      }
      (*entry.callback)(released);
    }
  }

  std::mutex mutex;
  std::vector<Entry> entries;
  int nextId = 1;
  std::thread::id uiThread;
  Poster poster;
};

namespace {

// Those that live: nothing but where FreeDataFile finds whom to tell.
template <typename T>
class Living {
 public:
  void Join(std::shared_ptr<T> one) {
    const std::lock_guard lock(mutex_);
    all_.push_back(std::move(one));
  }
  void Leave(const std::shared_ptr<T>& one) {
    const std::lock_guard lock(mutex_);
    std::erase(all_, one);
  }
  std::vector<std::shared_ptr<T>> All() {
    const std::lock_guard lock(mutex_);
    return all_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::shared_ptr<T>> all_;
};

template <typename T>
Living<T>& TheLiving() {
  // Records may be freed while statics are torn down, so the list is never destroyed.
  static auto& living = *std::make_unique<Living<T>>().release();
  return living;
}

}  // namespace

DataFileObservers::DataFileObservers() : state_(std::make_shared<State>()) {
  TheLiving<State>().Join(state_);
}

DataFileObservers::~DataFileObservers() {
  TheLiving<State>().Leave(state_);
  const std::lock_guard lock(state_->mutex);
  state_->entries.clear();
  state_->poster = {};
}

int DataFileObservers::Add(Callback callback) {
  const std::lock_guard lock(state_->mutex);
  state_->entries.push_back({state_->nextId, std::make_shared<Callback>(std::move(callback))});
  return state_->nextId++;
}

void DataFileObservers::Remove(int id) {
  const std::lock_guard lock(state_->mutex);
  std::erase_if(state_->entries, [id](const State::Entry& entry) { return entry.id == id; });
}

void DataFileObservers::SetUiThread(std::thread::id thread, Poster poster) {
  const std::lock_guard lock(state_->mutex);
  state_->uiThread = thread;
  state_->poster = std::move(poster);
}

void DataFileObservers::Announce(const DataFile* released) {
  for (const auto& state : TheLiving<State>().All()) state->Announce(released);
}

DataFileWatch::DataFileWatch(DataFileObservers::Callback callback)
    : own_(std::make_unique<DataFileObservers>()), observers_(*own_), id_(observers_.Add(std::move(callback))) {}

DataFileWatch::DataFileWatch(DataFileObservers& observers, DataFileObservers::Callback callback)
    : observers_(observers), id_(observers_.Add(std::move(callback))) {}

DataFileWatch::~DataFileWatch() {
  observers_.Remove(id_);
}

}  // namespace tonalith
