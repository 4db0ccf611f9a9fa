#include "app/manual_dump_receiver.h"

#include <QMetaObject>
#include <QStatusBar>
#include <QTimer>
#include <deque>
#include <mutex>

#include "app/main_frame.h"
#include "midi/port_system.h"
#include "platform/clock.h"
#include "script/transfer_engine.h"
#include "services/zkbasics.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kLookMs = 100;
constexpr std::size_t kMostQueued = std::size_t{64} << 20;
constexpr char kUndoText[] = "Data from the Instrument";

}  // namespace

// Shared with the input threads, which may still be in a call when the receiver goes away.
struct ManualDumpReceiver::Queue {
  struct Entry {
    int port;
    bool inTransfer;
    std::int64_t timeUs;
    std::vector<std::uint8_t> message;
  };
  std::mutex mutex;
  std::deque<Entry> entries;
  std::size_t bytes = 0;
  ManualDumpReceiver* receiver = nullptr;  // null: nobody takes them any more
};

ManualDumpReceiver::ManualDumpReceiver(CMainFrame& frame, ZKBasics& basics, ZKStudioDoc& studio)
    : QObject(&frame),
      frame_(frame),
      basics_(basics),
      dumps_(studio, *this),
      queue_(std::make_shared<Queue>()),
      timer_(new QTimer(this)) {
  timer_->setInterval(kLookMs);
  connect(timer_, &QTimer::timeout, this, &ManualDumpReceiver::Tick);
  queue_->receiver = this;
  monitor_ =
      basics_.midi().in().AddMidiInMonitor([queue = queue_, &basics](int port, std::span<const std::uint8_t> message) {
        if (message.size() < 3 || message.front() != 0xF0) return;
        const std::lock_guard lock(queue->mutex);
        if (!queue->receiver || queue->bytes + message.size() > kMostQueued) return;
        // Only now it is known whether somebody asked for the message.
        queue->entries.push_back({port,
                                  basics.transfers().portsInUse().Contains(port),
                                  basics.clock().NowUs(),
                                  {message.begin(), message.end()}});
        queue->bytes += message.size();
        if (queue->entries.size() == 1)
          QMetaObject::invokeMethod(queue->receiver, &ManualDumpReceiver::TakeQueue, Qt::QueuedConnection);
      });
}

ManualDumpReceiver::~ManualDumpReceiver() {
  basics_.midi().in().RemoveMidiInMonitor(monitor_);
  const std::lock_guard lock(queue_->mutex);
  queue_->receiver = nullptr;
}

void ManualDumpReceiver::TakeQueue() {
  std::deque<Queue::Entry> entries;
  {
    const std::lock_guard lock(queue_->mutex);
    entries.swap(queue_->entries);
    queue_->bytes = 0;
  }
  for (const Queue::Entry& entry : entries) dumps_.Message(entry.port, entry.message, entry.timeUs, entry.inTransfer);
  if (dumps_.Waiting() && !timer_->isActive()) timer_->start();
}

void ManualDumpReceiver::Tick() {
  dumps_.Tick(basics_.clock().NowUs());
  if (!dumps_.Waiting()) timer_->stop();
}

ManualDumpMode ManualDumpReceiver::Mode() const {
  const int mode = basics_.MainReceiveManualBulkDumps(-1);
  return mode <= 0 ? ManualDumpMode::kOff : mode == 1 ? ManualDumpMode::kAsk : ManualDumpMode::kTake;
}

TZKBank* ManualDumpReceiver::WindowOf(const DataFile* dataFile) const {
  for (ZKWindow* child : frame_.Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    if (bank && bank->document().dataFile() == dataFile) return bank;
  }
  return nullptr;
}

std::vector<DataFile*> ManualDumpReceiver::OpenData() {
  std::vector<DataFile*> open;
  const ZKWindow* active = frame_.ActiveChild();
  for (ZKWindow* child : frame_.Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    if (!bank || !bank->document().ReadOnlyReason().empty()) continue;
    open.insert(child == active ? open.begin() : open.end(), bank->document().dataFile());
  }
  return open;
}

void ManualDumpReceiver::BeginChange(DataFile* dataFile) {
  if (TZKBank* window = WindowOf(dataFile)) window->document().BeginReceive(kUndoText);
}

void ManualDumpReceiver::EndChange(DataFile* dataFile, bool more) {
  TZKBank* window = WindowOf(dataFile);
  if (!window) return;
  if (more)
    window->document().PatchesArrived();
  else
    window->document().EndReceive();
}

bool ManualDumpReceiver::Ask(const std::string& question) {
  MessagePrompt prompt;
  prompt.title = "Data from an Instrument";
  prompt.text = question;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  return frame_.prompts().Message(prompt) == PromptAnswer::Yes;
}

void ManualDumpReceiver::OpenNew(DataFilePtr dataFile) {
  // No file holds this data: closing the window has to ask.
  frame_.OpenBank(std::move(dataFile), {})->document().EndReceive();
}

void ManualDumpReceiver::Tell(const std::string& sentence) {
  frame_.statusBar()->showMessage(FromUtf8(sentence));
}

}  // namespace tonalith
