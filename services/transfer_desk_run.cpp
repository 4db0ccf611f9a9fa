#include <algorithm>
#include <utility>

#include "platform/short_memory.h"
#include "platform/text.h"
#include "script/protocols/protocol_line.h"
#include "script/started_at_panel.h"
#include "services/transfer_desk.h"

namespace tonalith {

namespace {

constexpr std::int64_t kLookMs = 200;      // a port that died is noticed so late at the latest
constexpr std::size_t kLongSendMs = 1000;  // of the wire: before a longer one it is looked who else sends there
constexpr std::int64_t kStopMs = 1000;     // what was stopped leaves its port in this time

// As many as go over the wire, more or less.
std::size_t BytesOf(const DeskStep& step) {
  std::size_t bytes = 0;
  for (const DeskMessage& message : step.messages) bytes += message.bytes.size();
  if (!step.dataFile || !step.dataFile->synth) return bytes;
  const Synth& synth = *step.dataFile->synth;
  const auto chosen = std::count_if(step.patches.begin(), step.patches.end(), [](std::uint8_t on) { return on != 0; });
  if (step.patches.empty() || !PatchAddressable(synth)) return synth.fileSize;
  return static_cast<std::size_t>(chosen) * synth.voiceSize;
}

}  // namespace

// Brings the engine's news of one step to the desk.  The engine calls it on the owner's thread.
class DeskJob::Observer final : public TransferObserver {
 public:
  Observer(TransferDesk& desk, Receiver::Token life, std::weak_ptr<DeskJob> job)
      : desk_(desk), life_(std::move(life)), job_(std::move(job)) {}

  void progress(int done, int total) override {
    const auto job = Living();
    if (!job) return;
    if (done > 0 && !job->Sends()) desk_.Answered(job);
    desk_.Progress(job, done, total);
  }
  void bytes(std::int64_t received, std::int64_t) override {
    const auto job = received > 0 ? Living() : nullptr;
    if (job && !job->Sends()) desk_.Answered(job);
  }
  void message(const std::string& text) override {
    const auto job = Living();
    if (!job) return;
    DeskEvent event;
    event.kind = DeskEvent::Kind::kMessage;
    event.text = text;
    desk_.Tell(job, std::move(event));
  }
  void closed(const TransferResult& result) override {
    if (const auto job = Living()) desk_.TransferClosed(job, result);
  }

 private:
  std::shared_ptr<DeskJob> Living() const { return life_.expired() ? nullptr : job_.lock(); }

  TransferDesk& desk_;
  Receiver::Token life_;
  std::weak_ptr<DeskJob> job_;
};

// ---- beginning

void TransferDesk::BeginStep(const Job& job) {
  job->state_ = DeskState::kStarted;
  job->transfer_.reset();
  job->out_.reset();
  job->begun_ = job->cut_ = job->answered_ = job->told_ = false;
  job->outcome_ = {};
  job->stop_ = CancelToken();
  const DeskStep& step = job->request_.steps[job->step_];
  TransferRefusal refusal;
  const bool begun = step.kind == DeskStep::Kind::kMessages ? BeginMessages(job, step, &refusal)
                     : step.kind == DeskStep::Kind::kTask   ? BeginTask(job, step, &refusal)
                                                            : BeginTransfer(job, step, &refusal);
  if (!begun && job->out_) job->out_->SetPacing({});
  if (begun) {
    TellState(job, DeskState::kStarted, StartedSentence(FactsOf(*job)));
    // Cancelled while the user was asked something.
    if (job->cancelled_) StopWork(job, false);
    return;
  }
  TransferFacts facts = FactsOf(*job);
  facts.cause = refusal.cause == TransferCause::kNone ? TransferCause::kNoData : refusal.cause;
  facts.detail = refusal.text;
  EndJob(job, facts, {});
}

// What another program sends into the middle of a dump spoils it.  The user is asked once a job.
bool TransferDesk::LineIsFree(const Job& job, const DeskStep& step) {
  if (!askLine_ || !job->out_ || job->lineAsked_) return true;
  const std::size_t rate = job->out_->EffectiveRate() ? job->out_->EffectiveRate() : kMidiWireRate;
  if (BytesOf(step) < rate * kLongSendMs / 1000) return true;
  const MidiPortDevice& device = job->out_->device();
  const std::vector<std::string> others = device.backend->OtherWriters(device.info.id);
  if (others.empty()) return true;
  job->lineAsked_ = true;
  return askLine_(SharedLineSentence(others, job->out_->name()));
}

bool TransferDesk::BeginTransfer(const Job& job, const DeskStep& step, TransferRefusal* refusal) {
  *refusal = {TransferCause::kAbandoned, {}};
  if (!step.dataFile) return false;
  const bool receive = step.kind == DeskStep::Kind::kGet;
  TransferRequest request;
  request.operation = receive ? TransferOperation::kReceive : TransferOperation::kTransmit;
  request.dataFile = step.dataFile;
  request.observer = std::make_shared<DeskJob::Observer>(*this, receiver_.token(), job);
  request.showWindow = job->request_.showWindow;
  request.background = true;
  request.ports = {step.inPort, step.outPort};
  request.patches = step.patches;
  request.get = step.get;
  request.patience = step.patience;
  request.place = step.place;
  request.lease = job->lease_;
  const int out = engine_.PortsOf(*step.dataFile, request.operation, request.ports).out;
  job->out_ = out >= 0 ? midi_.out().GetMidiOutPort(out) : nullptr;
  job->failedBefore_ = job->out_ ? job->out_->failedMessages() : 0;
  job->cutBefore_ = job->out_ ? job->out_->cutSends() : 0;
  job->postedBefore_ = job->out_ ? job->out_->PostedBytes() : 0;
  job->leftBefore_ = job->out_ ? job->out_->PostedBytesLeft() : 0;
  if (!receive && !LineIsFree(job, step)) {
    *refusal = {TransferCause::kNotChosen, {}};
    return false;
  }
  if (!step.dataFile) return false;  // it may have gone while the user was asked
  if (!receive && job->out_) {
    const std::string instrument = Latin1ToUtf8(TransferInstrumentName(*step.dataFile));
    job->out_->SetPacing(step.pacing || !pacingOf_ ? step.pacing : pacingOf_(instrument, job->out_->name()));
  }
  std::shared_ptr<Transfer> transfer;
  engine_.MidiIODataFile(request, &transfer, refusal);
  job->transfer_ = std::move(transfer);
  return job->transfer_ != nullptr;
}

bool TransferDesk::BeginMessages(const Job& job, const DeskStep& step, TransferRefusal* refusal) {
  job->out_ = midi_.out().Slot(step.outPort);
  if (!job->out_) {
    *refusal = RefusalOf(step);
    return false;
  }
  if (!LineIsFree(job, step)) {
    *refusal = {TransferCause::kNotChosen, {}};
    return false;
  }
  job->failedBefore_ = job->out_->failedMessages();
  job->cutBefore_ = job->out_->cutSends();
  job->outcome_.operation = TransferOperation::kTransmit;
  WatchPort(job, std::make_shared<const std::vector<DeskMessage>>(step.messages));
  return true;
}

bool TransferDesk::BeginTask(const Job& job, const DeskStep& step, TransferRefusal* refusal) {
  job->out_ = midi_.out().Slot(step.outPort);
  if (!job->out_ || !step.task) {
    *refusal = RefusalOf(step);
    return false;
  }
  job->failedBefore_ = job->out_->failedMessages();
  job->cutBefore_ = job->out_->cutSends();
  job->outcome_.operation = TransferOperation::kTransmit;
  job->outcome_.ok = true;
  job->begun_ = true;
  const Receiver::Token life = receiver_.token();
  job->thread_ = WorkerThread(engine_.clock(), [this, &dispatcher = dispatcher_, life, job, task = step.task,
                                                stop = job->stop_, out = job->out_] {
    const auto progress = [&](int done, int total) {
      dispatcher.PostTo(life, [this, job, done, total] { Progress(job, done, total); });
    };
    if (!WithMemory([&] { task(stop, progress); })) stop.Cancel();
    if (stop.Cancelled()) out->WaitIdle(kStopMs, nullptr);
    dispatcher.PostTo(life, [this, job] { PortDone(job); });
  });
  return true;
}

// ---- the port's side

// Hands the messages over (null: the engine has done that) and waits until the port has sent everything.
void TransferDesk::WatchPort(const Job& job, std::shared_ptr<const std::vector<DeskMessage>> messages) {
  Dispatcher& dispatcher = dispatcher_;
  const Receiver::Token life = receiver_.token();
  const auto post = [&dispatcher, life](std::function<void()> call) { dispatcher.PostTo(life, std::move(call)); };
  const auto work = [this, job, messages, post, &midi = midi_.out(), &clock = engine_.clock(), out = job->out_,
                     lease = job->lease_, stop = job->stop_, settleMs = options_.settleMs] {
    if (messages) {
      SendOptions options;
      options.cancel = &stop;
      options.lease = lease->id();
      bool all = true;
      int sent = 0;
      const auto total = static_cast<int>(messages->size());
      const bool enough = WithMemory([&] {
        while (all && sent < total) {
          const DeskMessage& message = (*messages)[static_cast<std::size_t>(sent)];
          if (message.waitMs > 0) midi.MidiOutDelay(out->slot(), message.waitMs);
          all = out->Alive() && !stop.Cancelled() && midi.SendDataPort(message.bytes, out->slot(), options) > 0;
          if (all) post([this, job, done = ++sent, total] { Progress(job, done, total); });
        }
      });
      post([this, job, sent, total, enough] { HandedOver(job, sent, total, enough); });
    }
    while (out->Alive() && !stop.Cancelled() && !out->WaitIdle(kLookMs, &stop)) {
    }
    // What was stopped leaves the queue before anybody else may use the port.
    if (stop.Cancelled()) out->WaitIdle(kStopMs, nullptr);
    if (out->Alive()) clock.SleepMs(settleMs, &stop);
    post([this, job] { PortDone(job); });
  };
  job->thread_ = WorkerThread(engine_.clock(), work);
}

void TransferDesk::HandedOver(const Job& job, int messages, int total, bool enoughMemory) {
  const bool all = messages == total && enoughMemory;
  job->begun_ = messages > 0;
  job->outcome_.ok = all && !job->cut_;
  if (!all) job->outcome_.cause = enoughMemory ? TransferCause::kPortFailed : TransferCause::kCode;
  if (!enoughMemory) job->outcome_.code = transfer_code::kNoMemory;
  if (job->outcome_.ok) TellState(job, DeskState::kHandedOver);
}

void TransferDesk::TransferClosed(const Job& job, const TransferResult& result) {
  job->outcome_ = result;
  job->refusedPieces_ += result.refusedPieces;
  job->retriedPieces_ += result.retriedPieces;
  const bool receive = result.operation == TransferOperation::kReceive;
  if (job->transfer_) {
    const ReceiveWindowState state = job->transfer_->WindowState();
    job->begun_ = state.sent > 0;
    job->answered_ = state.received > 0;
  }
  if (receive) {
    if (job->answered_ && result.ok) Answered(job);
    return EndStep(job);
  }
  if (!job->out_) return EndStep(job);
  if (result.ok) TellState(job, DeskState::kHandedOver);
  // A transfer that was ended may have handed over something after its port was stopped.
  if (job->cut_ && job->out_->isBusy()) job->out_->StopTransmit();
  job->stop_ = CancelToken();
  WatchPort(job, nullptr);
}

void TransferDesk::PortDone(const Job& job) {
  job->thread_.Join();
  TransferResult& outcome = job->outcome_;
  const bool failed = job->out_->failedMessages() != job->failedBefore_;
  // Also when somebody else stopped what the port was sending.
  if (job->cut_ || (outcome.ok && job->out_->cutSends() != job->cutBefore_)) {
    outcome.cause = TransferCause::kCancelled;
  } else if (!job->out_->Alive() && (outcome.ok || outcome.cause == TransferCause::kPortFailed)) {
    outcome.cause = TransferCause::kPortLost;
  } else if (outcome.ok && failed) {
    outcome.cause = TransferCause::kPortFailed;
  }
  outcome.ok = outcome.ok && outcome.cause == TransferCause::kNone;
  outcome.port = job->out_->name();
  if (outcome.ok) {
    TellState(job, DeskState::kLeftPort);
    if (job->answered_) Answered(job);
  }
  EndStep(job);
}

// ---- news

void TransferDesk::Answered(const Job& job) {
  if (std::exchange(job->told_, true)) return;
  TellState(job, DeskState::kAnswered);
}

void TransferDesk::Progress(const Job& job, int done, int total) {
  DeskEvent event;
  event.kind = DeskEvent::Kind::kProgress;
  event.patchesDone = done;
  event.patchesToDo = total;
  if (job->transfer_) {
    const ReceiveWindowState state = job->transfer_->WindowState();
    event.bytes = job->Sends() ? state.sent : state.received;
    event.expected = state.expected;
  }
  Tell(job, std::move(event));
}

void TransferDesk::Tell(const Job& job, DeskEvent event) {
  if (!job->request_.observer) return;
  event.job = job;
  event.step = job->step_;
  event.state = job->state_;
  Post([event = std::move(event)] {
    const DeskJob& told = *event.job;
    if (told.silent_ || (told.receiver_ && told.receiver_->expired())) return;
    told.request_.observer(event);
  });
}

void TransferDesk::TellState(const Job& job, DeskState state, std::string text) {
  job->state_ = state;
  DeskEvent event;
  event.text = std::move(text);
  event.patchesToDo = job->outcome_.patchesToDo;
  event.patchesDone = job->outcome_.patchesDone;
  if (state == DeskState::kEnded) event.result = job->result_;
  Tell(job, std::move(event));
}

// ---- the end

TransferFacts TransferDesk::FactsOf(const DeskJob& job) const {
  TransferFacts facts = tonalith::FactsOf(job.outcome_);
  if (job.step_ < job.request_.steps.size()) {
    const DeskStep& step = job.request_.steps[job.step_];
    facts.what = step.title;
    facts.kind = step.kind == DeskStep::Kind::kGet ? TransferFacts::Kind::kGet : TransferFacts::Kind::kSend;
    facts.messages = static_cast<int>(step.messages.size());
    facts.atPanel = step.kind == DeskStep::Kind::kGet && step.dataFile && StartedAtPanel(*step.dataFile);
  }
  if (!job.request_.file.empty()) facts.what = job.request_.file;
  facts.begun = job.begun_;
  return facts;
}

DeskResult TransferDesk::ResultOf(const DeskJob& job, const TransferFacts& facts) const {
  DeskResult result;
  result.kind = facts.kind;
  result.ok = facts.cause == TransferCause::kNone;
  result.cause = facts.cause;
  result.code = facts.code;
  result.patch = job.outcome_.patch;
  result.patchesDone = facts.patchesDone;
  result.patchesToDo = facts.patchesToDo;
  result.changed = job.outcome_.changed;
  result.step = static_cast<int>(job.step_);
  result.refusedPieces = job.refusedPieces_;
  result.retriedPieces = job.retriedPieces_;
  result.faults = job.outcome_.faults;
  result.sent = SentPatches(job);
  result.setAside = job.outcome_.setAside;
  result.sentence = EndSentence(facts);
  if (job.step_ >= job.request_.steps.size()) return result;
  const DeskStep& step = job.request_.steps[job.step_];
  result.sentence += SaidText(step, job.outcome_.answers);
  if (!step.note.empty()) result.sentence += "  " + step.note;
  return result;
}

// What a port sends leaves it in the order it came, up to where it was stopped or went away.  What had left a port that
// went away may not have come through what lies between it and the instrument.
std::vector<int> TransferDesk::SentPatches(const DeskJob& job) {
  constexpr std::uint64_t kOnTheWay = 1024;  // bytes
  std::vector<int> sent;
  if (!job.out_) return sent;
  const bool lost = !job.out_->Alive();
  if (!lost && job.out_->failedMessages() != job.failedBefore_) return sent;
  std::uint64_t left = job.out_->PostedBytesLeft() - job.leftBefore_;
  if (lost) left -= std::min(left, kOnTheWay);
  for (const HandedPatch& handed : job.outcome_.handed)
    if (handed.bytes - job.postedBefore_ <= left) sent.push_back(handed.patch);
  return sent;
}

// What the instrument said, in its module's words.
std::string TransferDesk::SaidText(const DeskStep& step, const std::vector<std::vector<std::uint8_t>>& answers) const {
  std::string said;
  if (!refusalText_ || !step.dataFile || !step.dataFile->synth) return said;
  for (const auto& answer : answers) {
    const std::string text = refusalText_(step.dataFile->synth->driverId, answer);
    if (!text.empty() && said.find(text) == std::string::npos) said += " " + text;
  }
  return said;
}

void TransferDesk::EndStep(const Job& job) {
  const DeskStep& step = job->request_.steps[job->step_];
  TransferFacts facts = FactsOf(*job);
  DeskResult result = ResultOf(*job, facts);
  job->transfer_.reset();
  if (job->out_) job->out_->SetPacing({});
  DeskEvent event;
  event.kind = DeskEvent::Kind::kStepEnded;
  event.patchesDone = result.patchesDone;
  event.patchesToDo = result.patchesToDo;
  event.result = result;
  Tell(job, std::move(event));
  if (GoOn(job, result)) return;
  if (!result.ok || job->request_.next) return EndJob(job, facts, std::move(result));
  ++job->sent_;
  if (step.after && !job->silent_) {
    if (const Result goOn = step.after(result); !goOn.ok()) {
      facts.cause = TransferCause::kStopped;
      facts.detail = goOn.text;
      return EndJob(job, facts, {});
    }
  }
  if (job->step_ + 1 == job->request_.steps.size()) return EndJob(job, facts, std::move(result));
  ++job->step_;
  if (!job->cancelled_) return BeginStep(job);
  job->outcome_ = {};
  facts = FactsOf(*job);
  facts.cause = TransferCause::kNeverBegan;
  EndJob(job, facts, {});
}

bool TransferDesk::GoOn(const Job& job, const DeskResult& result) {
  if (!job->request_.next || job->silent_) return false;
  job->cancelled_ = false;  // from now on a cancel means the next step
  std::optional<DeskStep> step = job->request_.next(result);
  if (!step) return false;
  if (step->owned) step->dataFile = step->owned.get();
  if (step->title.empty() && step->dataFile) step->title = TransferTitle(*step->dataFile);
  DeskStep& former = job->request_.steps[job->step_];
  former.dataFile = nullptr;
  former.owned.reset();
  job->request_.steps.push_back(std::move(*step));
  ++job->step_;
  BeginStep(job);
  return true;
}

// `result` is made from the facts when it is empty.
void TransferDesk::EndJob(const Job& job, const TransferFacts& facts, DeskResult result) {
  if (result.sentence.empty()) result = ResultOf(*job, facts);
  const DeskRequest& request = job->request_;
  if (!request.file.empty()) {
    TransferFacts file = facts;
    file.kind = TransferFacts::Kind::kFile;
    file.what = request.file;
    file.detail = result.sentence;
    file.partsSent = job->sent_;
    file.partsInactive = request.inactive;
    result.kind = file.kind;
    result.sentence = EndSentence(file);
  }
  if (request.conclude) request.conclude(&result);
  job->result_ = std::move(result);
  ++totals_.jobs;
  totals_.failed += job->result_.ok ? 0 : 1;
  totals_.refusedPieces += job->result_.refusedPieces;
  totals_.retriedPieces += job->result_.retriedPieces;
  job->transfer_.reset();
  job->ports_ = {};
  job->lease_.reset();
  job->numbers_.reset();
  jobs_.remove(job);
  TellState(job, DeskState::kEnded, job->result_.sentence);
  // What belonged to the job goes after everybody was told.
  leaving_.push_back(job);
  Post([this, job] {
    leaving_.remove(job);
    for (DeskStep& step : job->request_.steps) {
      step.dataFile = nullptr;
      step.owned.reset();
    }
  });
  Pump();
}

}  // namespace tonalith
