#include "studio/manual_dump_feed.h"

#include <deque>
#include <mutex>
#include <vector>

namespace tonalith {

// Shared with the input threads, which may still be in a call when the feed goes away.
struct ManualDumpFeed::Queue {
  explicit Queue(Clock& clock) : changed(clock) {}
  struct Entry {
    int port;
    bool inTransfer;
    std::int64_t timeUs;
    std::vector<std::uint8_t> message;
  };
  std::mutex mutex;  // what follows
  WaitPoint changed;
  std::deque<Entry> entries;
  std::size_t bytes = 0;
  bool look = false;    // a dump waits for its pause
  bool closed = false;  // nobody takes anything any more
};

ManualDumpFeed::ManualDumpFeed(MidiIn& in, PortsInUse& used, Clock& clock, Dispatcher& dispatcher, ManualDumps& dumps)
    : in_(in), clock_(clock), dumps_(dumps), queue_(std::make_shared<Queue>(clock)) {
  const Receiver::Token life = receiver_.token();
  monitor_ = in_.AddMidiInMonitor(
      [this, life, queue = queue_, &used, &clock, &dispatcher](int port, std::span<const std::uint8_t> message) {
        if (message.size() < 3 || message.front() != 0xF0) return;
        const std::lock_guard lock(queue->mutex);
        if (queue->closed || queue->bytes + message.size() > kMostQueued) return;
        // Known only now: whether somebody asked for the message.
        const bool inTransfer = used.ContainedWithin(port, ManualDumps::kPauseUs);
        queue->entries.push_back({port, inTransfer, clock.NowUs(), {message.begin(), message.end()}});
        queue->bytes += message.size();
        if (queue->entries.size() == 1) dispatcher.PostTo(life, [this] { TakeQueue(); });
      });
  watch_ = WorkerThread(clock, [this, life, queue = queue_, &clock, &dispatcher] {
    std::unique_lock lock(queue->mutex);
    for (;;) {
      queue->changed.Wait(lock, [&] { return queue->look || queue->closed; });
      queue->changed.WaitUntil(lock, clock.NowUs() + kLookMs * 1000, [&] { return queue->closed; });
      if (queue->closed) return;
      queue->look = false;
      dispatcher.PostTo(life, [this] { Tick(); });
    }
  });
}

ManualDumpFeed::~ManualDumpFeed() {
  in_.RemoveMidiInMonitor(monitor_);
  {
    const std::lock_guard lock(queue_->mutex);
    queue_->closed = true;
  }
  queue_->changed.NotifyAll();
  watch_.Join();
}

void ManualDumpFeed::TakeQueue() {
  std::deque<Queue::Entry> entries;
  {
    const std::lock_guard lock(queue_->mutex);
    entries.swap(queue_->entries);
    queue_->bytes = 0;
  }
  for (const Queue::Entry& entry : entries) dumps_.Message(entry.port, entry.message, entry.timeUs, entry.inTransfer);
  LookAgain();
}

void ManualDumpFeed::Tick() {
  dumps_.Tick(clock_.NowUs());
  LookAgain();
}

void ManualDumpFeed::LookAgain() {
  if (!dumps_.Waiting()) return;
  {
    const std::lock_guard lock(queue_->mutex);
    queue_->look = true;
  }
  queue_->changed.NotifyAll();
}

}  // namespace tonalith
