#include "script/transfer_engine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/log.h"
#include "platform/short_memory.h"
#include "script/interpreter.h"
#include "script/services_line.h"
#include "script/started_at_panel.h"
#include "script/transfer_engine_events.h"
#include "script/transfer_engine_run.h"

namespace tonalith {

namespace {

constexpr std::string_view kMidiErrorMsg[] = {
    "ERROR! MIDI Device did not respond!",
    "ERROR! End of SysX not received (TimeOut)!",
    "ERROR! After 3 attempts, SysX data is continually missing bytes! Continuing...",
    "ERROR! Unexpected end of Tonalith Macro!",
    "ERROR! Unexpected Tonalith Macro Command!",
    "ERROR! End of SysX transmission NOT found!",
    "ERROR! Incorrect SysX Company ID!",
    "ERROR! Unexpected Roland ACK recvd!",
    "ERROR! Roland Communication Error!",
    "ERROR! SysX Data Rejected!",
    "ERROR! Unrecognised Roland Error!",
    "ERROR! Incorrect # of bytes Received!",
    "ERROR! Dump Too large for allocated memory!",
    "ERROR! Memory Allocation Failed!",
    "After multiple attempts, no response from instrument! Continuing...",
};

}  // namespace

std::string_view MidiErrorMsg(int code) {
  const auto count = static_cast<int>(std::size(kMidiErrorMsg));
  return code <= -1 && code >= -count ? kMidiErrorMsg[-code - 1] : std::string_view();
}

bool HoldsNothing(const DataFile& dataFile) {
  return dataFile.xtra && dataFile.xtra->hasNoSysEx;
}

bool PatchAddressable(const Synth& synth) {
  return synth.isBank && synth.patchByPatch == 1;
}

bool UsesCommandSequence(const Synth& synth) {
  return synth.noChecksumOnFormat != 0;
}

std::string TransferInstrumentName(const DataFile& dataFile) {
  const std::string name = dataFile.xtra ? FieldText(dataFile.xtra->instrumentName) : std::string();
  return name.empty() && dataFile.synth ? FieldText(dataFile.synth->shortName) : name;
}

std::shared_ptr<const ReceivedCheck> TransferPreferences::CheckOf(const DataFile&) const {
  return nullptr;
}

std::optional<int> TransferPreferences::SelectPatchNumber(const std::string& title, int current, int minimum,
                                                          int maximum) {
  (void)title, (void)minimum, (void)maximum;
  return current;
}

// --- Transfer ---

bool Transfer::Wait(std::int64_t timeoutMs) const {
  std::unique_lock lock(mutex_);
  const std::int64_t deadline = timeoutMs < 0 ? kNever : clock_.NowUs() + timeoutMs * 1000;
  return changed_.WaitUntil(lock, deadline, [this] { return over_; });
}

bool Transfer::Running() const {
  std::lock_guard guard(mutex_);
  return !over_;
}

TransferResult Transfer::Result() const {
  std::lock_guard guard(mutex_);
  return result_;
}

void Transfer::Press(TransferState button) {
  if (button == TransferState::Running || !Running()) return;
  receivedSomething_ = context_.receivedBytes > 0;
  context_.state = button;
  // A script that pressed a button itself does not look at the state any more.
  if (button != TransferState::Ok) context_.cancel.Cancel();
  context_.wake.Cancel();
}

void Transfer::Cancel() {
  context_.cancel.Cancel();
  context_.wake.Cancel();
}

ReceiveWindowState Transfer::WindowState() const {
  ReceiveWindowState state;
  state.shortName = FieldText(synth_.shortName);
  state.typeName = FieldText(synth_.typeName);
  state.inPort = inPortName_;
  state.outPort = outPortName_;
  state.sysExChannel = synth_.sysExChannel;
  state.zeroBased = synth_.sysExChannelZeroBased != 0;
  state.received = context_.receivedBytes;
  state.sent = context_.sentBytes;
  state.expected = context_.expectedBytes;
  state.loops = context_.loops;
  state.patchesDone = context_.patchesDone;
  state.patchesToDo = patchesToDo_;
  std::lock_guard guard(mutex_);
  state.startedAtPanel = startedAtPanel_;
  state.messages = messages_;
  return state;
}

// --- Life of the engine ---

// Closures that wait in somebody's queue look here before they run.
struct TransferEngine::PosterGate {
  std::mutex mutex;
  bool open = true;
};

TransferEngine::TransferEngine(ScriptServices& services, Prompts& prompts, MidiOut* out,
                               TransferPreferences* preferences, Poster poster)
    : services_(services),
      prompts_(prompts),
      out_(out),
      preferences_(preferences ? preferences : &defaultPreferences_),
      poster_(std::move(poster)),
      clock_(services.clock()),
      portsInUse_(clock_),
      gate_(std::make_shared<PosterGate>()),
      showTransmitWindow_(preferences_->ShowTransmitWindow() ? 1 : 0) {
  watch_ = std::make_unique<DataFileWatch>([this](const DataFile* released) { Abandon(released); });
}

TransferEngine::~TransferEngine() {
  watch_.reset();
  CancelAll();
  std::vector<std::shared_ptr<Transfer>> all;
  {
    std::lock_guard guard(mutex_);
    all.swap(transfers_);
  }
  for (const auto& transfer : all) transfer->thread_.Join();
  {
    std::lock_guard guard(gate_->mutex);
    gate_->open = false;
  }
  for (const auto& transfer : all) {
    std::lock_guard guard(transfer->mutex_);
    transfer->dataFile_ = nullptr;
    transfer->lock_.Release();
    transfer->lease_.reset();
    transfer->over_ = true;
    transfer->changed_.NotifyAll();
  }
}

void TransferEngine::Post(std::function<void()> work) {
  if (!poster_) {
    work();
    return;
  }
  poster_([gate = gate_, run = std::move(work)] {
    {
      std::lock_guard guard(gate->mutex);
      if (!gate->open) return;
    }
    run();
  });
}

int TransferEngine::Refuse(const TransferRequest& request, TransferRefusal* refusal, TransferCause cause,
                           const std::string& text) {
  if (refusal) {
    *refusal = {cause, text};
  } else if (!request.quiet && !text.empty()) {
    prompts_.Say(kMidiIoTitle, text);
  }
  return 0;
}

std::shared_ptr<Transfer> TransferEngine::Create(const TransferRequest& request, TransferRefusal* refusal) {
  Reap();
  Synth synth = *request.dataFile->synth;
  if (const std::string missing = RoutePorts(*request.dataFile, request.operation, synth, request.ports);
      !missing.empty()) {
    Refuse(request, refusal, TransferCause::kPortMissing, missing);
    return nullptr;
  }
  if (request.place.device >= 0) synth.sysExChannel = static_cast<std::uint8_t>(std::min(request.place.device, 127));
  if (request.place.patchNumber >= 0)
    synth.patchNumber = static_cast<std::uint16_t>(std::min(request.place.patchNumber, 65535));
  PortLeases::Handle lease = request.lease;
  if (std::string taken; !lease && !TakeOutputs(synth, &lease, &taken)) {
    Refuse(request, refusal, TransferCause::kPortInUse, taken);
    return nullptr;
  }
  auto transfer = std::shared_ptr<Transfer>(new Transfer(clock_));
  transfer->operation_ = request.operation;
  transfer->observer_ = request.observer;
  transfer->showWindow_ = request.showWindow;
  transfer->synth_ = synth;
  transfer->what_ = TransferInstrumentName(*request.dataFile) + " " + FieldText(synth.typeName);
  transfer->inPortName_ = services_.PortName(MidiDirection::Input, synth.midiInPort);
  transfer->outPortName_ = services_.PortName(MidiDirection::Output, synth.midiOutPort);
  transfer->dataFile_ = request.dataFile;
  transfer->lock_ = TransferLock(locks_, request.dataFile, transfer->what_);
  if (!transfer->lock_.Taken()) {
    Refuse(request, refusal, TransferCause::kBusy, locks_.BusySentence(request.dataFile));
    return nullptr;
  }
  transfer->lease_ = std::move(lease);
  transfer->get_ = request.get;
  if (request.operation == TransferOperation::kReceive) {
    transfer->check_ = preferences_->CheckOf(*request.dataFile);
    if (!transfer->check_) transfer->check_ = std::make_shared<ReceivedCheck>();
    transfer->context_.answers = transfer->check_->Answers();
    if (preferences_->ReadTwice()) transfer->get_.twice = true;
    transfer->startedAtPanel_ = StartedAtPanel(*request.dataFile);
  }
  TransferContext& context = transfer->context_;
  context.lease = transfer->lease_ ? transfer->lease_->id() : 0;
  context.patienceMs = request.patience.answerMs;
  context.extraAttempts = request.patience.extraAttempts;
  if (context.extraAttempts < 0) context.extraAttempts = std::max(0, preferences_->ExtraAttempts());
  context.inPort = synth.midiInPort;
  context.outPort = synth.midiOutPort;
  context.inPortName = transfer->inPortName_;
  context.outPortName = transfer->outPortName_;
  context.quiet = request.quiet;
  context.hasIoWindow = !request.quiet && request.showWindow && request.patience.forUser && request.observer &&
                        request.operation == TransferOperation::kReceive;
  context.expectedBytes = synth.fileSize;
  if (!request.quiet && request.observer) ShowMessagesOf(transfer);
  std::lock_guard guard(mutex_);
  transfer->id_ = nextId_++;
  transfers_.push_back(transfer);
  return transfer;
}

void TransferEngine::ShowMessagesOf(const std::shared_ptr<Transfer>& transfer) {
  transfer->context_.display = [this, weak = std::weak_ptr<Transfer>(transfer)](const std::string& text) {
    const auto self = weak.lock();
    if (!self) return;
    {
      std::lock_guard guard(self->mutex_);
      self->messages_.push_back(text);
    }
    const auto tell = [observer = self->observer_, text] { observer->message(text); };
    if (self->direct_) {
      tell();
    } else {
      Post(tell);
    }
  };
}

void TransferEngine::Launch(const std::shared_ptr<Transfer>& transfer, std::function<void()> work) {
  std::lock_guard guard(mutex_);
  transfer->thread_ = WorkerThread(clock_, [transfer, run = std::move(work)] {
    run();
    transfer->finished_ = true;
  });
}

// Transfers whose work is done leave the list; their threads are joined here, never by themselves.
void TransferEngine::Reap() {
  std::vector<std::shared_ptr<Transfer>> done;
  {
    std::lock_guard guard(mutex_);
    for (auto it = transfers_.begin(); it != transfers_.end();) {
      if ((*it)->finished_ && !(*it)->Running()) {
        done.push_back(*it);
        it = transfers_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (const auto& transfer : done) transfer->thread_.Join();
}

// --- Starting ---

int TransferEngine::MidiIODataFile(const TransferRequest& request, std::shared_ptr<Transfer>* started,
                                   TransferRefusal* refusal) {
  if (services_.MidiBlocked()) return Refuse(request, refusal, TransferCause::kBlocked, {});
  if (!request.dataFile || !request.dataFile->synth) return Refuse(request, refusal, TransferCause::kNoData, {});
  switch (request.operation) {
    case TransferOperation::kTransmit:
      return StartTransmit(request, started, refusal);
    case TransferOperation::kReceive:
      return StartReceive(request, started, refusal);
    default:
      if (!GetNewPchNumber(request.dataFile, request.operation)) return 0;
      return Render(request.dataFile);
  }
}

namespace {

// Adds a call at the end to somebody's observer.
class DoneObserver final : public TransferObserver {
 public:
  DoneObserver(std::shared_ptr<TransferObserver> inner, std::function<void()> done)
      : inner_(std::move(inner)), done_(std::move(done)) {}
  void opened(const ReceiveWindowView& view, int showWindow) override {
    if (inner_) inner_->opened(view, showWindow);
  }
  void progress(int done, int total) override {
    if (inner_) inner_->progress(done, total);
  }
  void bytes(std::int64_t received, std::int64_t expected) override {
    if (inner_) inner_->bytes(received, expected);
  }
  void message(const std::string& text) override {
    if (inner_) inner_->message(text);
  }
  void closed(const TransferResult& result) override {
    if (inner_) inner_->closed(result);
    done_();
  }

 private:
  std::shared_ptr<TransferObserver> inner_;
  std::function<void()> done_;
};

}  // namespace

int TransferEngine::MidiIODataFile(std::shared_ptr<TransferObserver> requester, TransferOperation operation,
                                   DataFile* dataFile, int showWindow, std::function<void()> done) {
  TransferRequest request;
  request.operation = operation;
  request.dataFile = dataFile;
  request.showWindow = requester ? showWindow : 0;
  request.observer = std::move(requester);
  if (done) request.observer = std::make_shared<DoneObserver>(std::move(request.observer), std::move(done));
  return MidiIODataFile(request);
}

int TransferEngine::StartReceive(const TransferRequest& request, std::shared_ptr<Transfer>* started,
                                 TransferRefusal* refusal) {
  DataFile* df = request.dataFile;
  Synth routed = *df->synth;
  RoutePorts(*df, request.operation, routed, request.ports);
  const int port = routed.midiInPort;
  if (portsInUse_.Contains(port)) {
    return Refuse(request, refusal, TransferCause::kPortInUse,
                  "The MIDI IN port " + std::to_string(port + 1) + " (" +
                      services_.PortName(MidiDirection::Input, port) +
                      ")\nis currently in use with another MIDI device.\nPlease retry when the port is free.");
  }
  if (!request.quiet && !GetNewPchNumber(df, TransferOperation::kReceive))
    return Refuse(request, refusal, TransferCause::kNotChosen, {});
  const auto transfer = Create(request, refusal);
  if (!transfer) return 0;
  if (started) *started = transfer;
  auto run = std::make_shared<TransferRun>(*this, transfer, request.quiet);
  const bool prepared = run->Prepare(*df, request.patches);
  const bool reserves = request.observer != nullptr;
  if (reserves) portsInUse_.Add(port);
  if (request.observer && !request.quiet) request.observer->opened(transfer->View(), request.showWindow);
  const auto work = [this, run, prepared, reserves, port] {
    if (!prepared || !WithMemory([&run] { run->Receive(); })) run->ShortMemory();
    if (reserves) ClearPortReceiveState(port);
    run->Finish();
  };
  if (request.quiet) {
    work();
    transfer->finished_ = true;
    return run->result().result;
  }
  Launch(transfer, work);
  return 1;
}

int TransferEngine::StartTransmit(const TransferRequest& request, std::shared_ptr<Transfer>* started,
                                  TransferRefusal* refusal) {
  DataFile* df = request.dataFile;
  if (HoldsNothing(*df)) return Refuse(request, refusal, TransferCause::kNothingToSend, {});
  if (df->xtra && df->xtra->isInactive) return Refuse(request, refusal, TransferCause::kInactive, {});
  if (!GetNewPchNumber(df, TransferOperation::kTransmit))
    return Refuse(request, refusal, TransferCause::kNotChosen, {});
  const auto transfer = Create(request, refusal);
  if (!transfer) return 0;
  if (started) *started = transfer;
  const bool background = request.background && !request.quiet;
  auto run = std::make_shared<TransferRun>(*this, transfer, !background);
  const bool prepared = run->Prepare(*df, request.patches);
  if (request.observer && !request.quiet) request.observer->opened(transfer->View(), request.showWindow);
  const int port = transfer->outPort();
  const bool counts = request.showWindow && !request.quiet && out_;
  if (counts) {
    out_->MidiOutStartModal(port);
    OpenZKMidiOutStatus(port, df->synth->fileSize);
  }
  const auto work = [this, run, prepared, counts, port] {
    if (!prepared || !WithMemory([&run] { run->Transmit(); })) run->ShortMemory();
    if (counts) out_->MidiOutEndModal(port);
    run->Finish();
  };
  if (!background) {
    work();
    transfer->finished_ = true;
    if (run->result().cause == TransferCause::kNoScript && !request.quiet) SayNoScript();
    return run->result().result;
  }
  Launch(transfer, work);
  return 1;
}

int TransferEngine::MidiIODataFileFn(TransferOperation operation, DataFile* dataFile, int patchIndex) {
  if (!dataFile || !dataFile->synth) return 0;
  if (operation == TransferOperation::kRender) return Render(dataFile);
  TransferRequest request;
  request.operation = operation;
  request.dataFile = dataFile;
  const auto transfer = Create(request);
  if (!transfer) return 0;
  TransferRun run(*this, transfer, true);
  if (run.Prepare(*dataFile)) {
    if (operation == TransferOperation::kTransmit) {
      run.Transmit();
    } else if (patchIndex >= 0 && PatchAddressable(*dataFile->synth)) {
      run.ReceivePatch(patchIndex);
    } else {
      run.Receive();
    }
  }
  run.Finish();
  transfer->finished_ = true;
  return run.result().result;
}

}  // namespace tonalith
