#include "app/manual_dump_receiver.h"

#include <QMetaObject>
#include <QTimer>
#include <deque>
#include <mutex>

#include "app/child_windows.h"
#include "app/studio_commands.h"
#include "midi/midi_input.h"
#include "platform/clock.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/program.h"
#include "services/settings.h"
#include "ui/instrument_window.h"
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

ManualDumpReceiver::ManualDumpReceiver(const FrameContext& frame, StudioCommands& studio)
    : frame_(frame),
      studio_(studio),
      dumps_(frame.studio, *this),
      queue_(std::make_shared<Queue>()),
      timer_(new QTimer(this)) {
  timer_->setInterval(kLookMs);
  connect(timer_, &QTimer::timeout, this, &ManualDumpReceiver::Tick);
  queue_->receiver = this;
  Listen();
}

// Called on input threads.
void ManualDumpReceiver::Listen() {
  Program& program = frame_.program;
  monitor_ = program.in().AddMidiInMonitor([queue = queue_, &program](int port, std::span<const std::uint8_t> message) {
    if (message.size() < 3 || message.front() != 0xF0) return;
    const std::lock_guard lock(queue->mutex);
    if (!queue->receiver || queue->bytes + message.size() > kMostQueued) return;
    // Only now it is known whether somebody asked for the message.
    queue->entries.push_back({port,
                              program.transfers().portsInUse().Contains(port),
                              program.clock().NowUs(),
                              {message.begin(), message.end()}});
    queue->bytes += message.size();
    if (queue->entries.size() == 1)
      QMetaObject::invokeMethod(queue->receiver, &ManualDumpReceiver::TakeQueue, Qt::QueuedConnection);
  });
}

ManualDumpReceiver::~ManualDumpReceiver() {
  frame_.program.in().RemoveMidiInMonitor(monitor_);
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
  dumps_.Tick(frame_.program.clock().NowUs());
  if (!dumps_.Waiting()) timer_->stop();
}

ManualDumpMode ManualDumpReceiver::Mode() const {
  const int mode = frame_.program.settings().MainReceiveManualBulkDumps(-1);
  return mode <= 0 ? ManualDumpMode::kOff : mode == 1 ? ManualDumpMode::kAsk : ManualDumpMode::kTake;
}

InstrumentWindow* ManualDumpReceiver::WindowOf(const DataFile* dataFile) const {
  return qobject_cast<InstrumentWindow*>(frame_.children.FirstThat([dataFile](ZKWindow& child) {
    const auto* window = qobject_cast<InstrumentWindow*>(&child);
    return window && window->dataFile() == dataFile;
  }));
}

std::vector<DataFile*> ManualDumpReceiver::OpenData() {
  std::vector<DataFile*> open;
  const ZKWindow* active = frame_.children.Active();
  for (ZKWindow* child : frame_.children.All()) {
    auto* window = qobject_cast<InstrumentWindow*>(child);
    if (!window || !window->document().ReadOnlyReason().empty()) continue;
    open.insert(child == active ? open.begin() : open.end(), window->dataFile());
  }
  return open;
}

void ManualDumpReceiver::BeginChange(DataFile* dataFile) {
  if (InstrumentWindow* window = WindowOf(dataFile)) window->BeginReceive(kUndoText);
}

void ManualDumpReceiver::EndChange(DataFile* dataFile, bool more) {
  InstrumentWindow* window = WindowOf(dataFile);
  if (!window) return;
  if (more)
    window->PatchesArrived();
  else
    window->EndReceive();
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
  studio_.OpenData(std::move(dataFile));
}

void ManualDumpReceiver::Tell(const std::string& sentence) {
  frame_.Status(FromUtf8(sentence));
}

}  // namespace tonalith
