#include "services/transfer_desk.h"

#include <algorithm>
#include <utility>

namespace tonalith {

// ---- requests and jobs

DeskRequest DeskRequest::Of(DeskStep::Kind kind, DataFile* dataFile) {
  DeskRequest request;
  request.steps.emplace_back();
  request.steps.back().kind = kind;
  request.steps.back().dataFile = dataFile;
  return request;
}

bool DeskJob::Sends() const {
  const auto sends = [](const DeskStep& step) { return step.kind != DeskStep::Kind::kGet; };
  if (state_ == DeskState::kQueued) return std::any_of(request_.steps.begin(), request_.steps.end(), sends);
  return step_ < request_.steps.size() && sends(request_.steps[step_]);
}

namespace {

template <typename Port>
bool SharesOne(const std::vector<Port>& a, const std::vector<Port>& b) {
  return std::any_of(a.begin(), a.end(), [&](const Port& port) { return std::count(b.begin(), b.end(), port) != 0; });
}

}  // namespace

bool DeskJob::Ports::Shares(const Ports& other) const {
  return SharesOne(in, other.in) || SharesOne(out, other.out);
}

void DeskJob::Ports::Add(const Ports& other) {
  in.insert(in.end(), other.in.begin(), other.in.end());
  out.insert(out.end(), other.out.begin(), other.out.end());
}

std::string DeskTotals::Text() const {
  std::string text = std::to_string(jobs) + (jobs == 1 ? " transfer" : " transfers");
  if (failed) text += ", " + std::to_string(failed) + " of them failed";
  if (refusedPieces || retriedPieces)
    text += ", pieces: " + std::to_string(refusedPieces) + " refused, " + std::to_string(retriedPieces) + " repeated";
  return text;
}

// ---- the desk

TransferDesk::TransferDesk(TransferEngine& engine, MidiPortSystem& midi, Dispatcher& dispatcher)
    : engine_(engine), midi_(midi), dispatcher_(dispatcher) {
  // The engine's own copies are freed on its threads; what was given to the desk is freed on the owner's.
  watch_ = std::make_unique<DataFileWatch>([this](const DataFile* released) {
    if (dispatcher_.OnTargetThread()) Abandon(released);
  });
  midi_.out().leases().SetReturned(
      [&dispatcher, life = receiver_.token(), this] { dispatcher.PostTo(life, [this] { Pump(); }); });
}

TransferDesk::~TransferDesk() {
  watch_.reset();
  midi_.out().leases().SetReturned({});
  receiver_.Forget();
  pumping_ = true;  // nothing is begun any more
  const std::list<Job> jobs = jobs_;
  for (const Job& job : jobs) {
    job->silent_ = true;
    job->stop_.Cancel();
    if (job->state_ != DeskState::kQueued) StopWork(job, true);
  }
  for (const Job& job : jobs) {
    job->thread_.Join();
    job->state_ = DeskState::kEnded;
    job->result_.cause = TransferCause::kAbandoned;
    job->transfer_.reset();
    job->ports_ = {};
    job->lease_.reset();
    job->numbers_.reset();
  }
}

TransferDesk::Job TransferDesk::Get(DataFile* dataFile, std::function<void(const DeskEvent&)> observer,
                                    const Receiver* receiver) {
  DeskRequest request = DeskRequest::Of(DeskStep::Kind::kGet, dataFile);
  request.observer = std::move(observer);
  request.receiver = receiver;
  return Submit(std::move(request));
}

TransferDesk::Job TransferDesk::Send(DataFile* dataFile, std::function<void(const DeskEvent&)> observer,
                                     const Receiver* receiver) {
  DeskRequest request = DeskRequest::Of(DeskStep::Kind::kSend, dataFile);
  request.observer = std::move(observer);
  request.receiver = receiver;
  return Submit(std::move(request));
}

TransferDesk::Job TransferDesk::Submit(DeskRequest request) {
  auto job = std::make_shared<DeskJob>();
  if (const Receiver* receiver = std::exchange(request.receiver, nullptr)) job->receiver_ = receiver->token();
  for (DeskStep& step : request.steps) {
    if (step.owned) step.dataFile = step.owned.get();
    if (step.title.empty() && step.dataFile && step.dataFile->synth) step.title = TransferTitle(*step.dataFile);
  }
  job->request_ = std::move(request);
  TransferRefusal refusal;
  if (job->request_.steps.empty()) refusal.cause = TransferCause::kNoData;
  for (const DeskStep& step : job->request_.steps)
    if (refusal.cause == TransferCause::kNone) refusal = RefusalOf(step);
  if (refusal.cause != TransferCause::kNone) {
    job->silent_ = true;
    TransferFacts facts = FactsOf(*job);
    facts.cause = refusal.cause;
    facts.detail = refusal.text;
    EndJob(job, facts, {});
    return job;
  }
  job->numbers_ = midi_.out().numbers().Take();
  jobs_.push_back(job);
  Pump();
  job->silent_ = job->silent_ || job->Ended();
  if (job->state_ == DeskState::kQueued) TellState(job, DeskState::kQueued, QueuedSentence(FactsOf(*job)));
  return job;
}

TransferRefusal TransferDesk::RefusalOf(const DeskStep& step) const {
  if (engine_.services().MidiBlocked()) return {TransferCause::kBlocked, {}};
  if (step.kind == DeskStep::Kind::kMessages || step.kind == DeskStep::Kind::kTask) {
    if (midi_.out().Slot(step.outPort)) return {};
    return {TransferCause::kPortMissing, "There is no MIDI OUT port " + std::to_string(step.outPort + 1) + "."};
  }
  if (!step.dataFile || !step.dataFile->synth) return {TransferCause::kNoData, {}};
  if (engine_.Busy(step.dataFile)) return {TransferCause::kBusy, "running"};
  if (Busy(step.dataFile)) return {TransferCause::kBusy, "waiting"};
  const auto operation = step.kind == DeskStep::Kind::kGet ? TransferOperation::kReceive : TransferOperation::kTransmit;
  std::string missing = engine_.MissingPort(*step.dataFile, operation, {step.inPort, step.outPort});
  if (missing.empty()) return {};
  return {TransferCause::kPortMissing, std::move(missing)};
}

// ---- who may begin

DeskJob::Ports TransferDesk::PortsOf(const DeskStep& step) const {
  DeskJob::Ports ports;
  const auto add = [](auto& list, auto port) {
    if (port) list.push_back(std::move(port));
  };
  if (step.kind == DeskStep::Kind::kMessages || step.kind == DeskStep::Kind::kTask) {
    add(ports.out, midi_.out().Slot(step.outPort));
    if (step.inPort >= 0) add(ports.in, midi_.in().GetMidiInPort(step.inPort));
    return ports;
  }
  if (!step.dataFile) return ports;
  const auto operation = step.kind == DeskStep::Kind::kGet ? TransferOperation::kReceive : TransferOperation::kTransmit;
  const TransferPorts numbers = engine_.PortsOf(*step.dataFile, operation, {step.inPort, step.outPort});
  if (numbers.in >= 0) add(ports.in, midi_.in().GetMidiInPort(numbers.in));
  if (numbers.out >= 0) add(ports.out, midi_.out().GetMidiOutPort(numbers.out));
  if (numbers.patchBay >= 0) add(ports.out, midi_.out().GetMidiOutPort(numbers.patchBay));
  return ports;
}

DeskJob::Ports TransferDesk::PortsOf(const DeskRequest& request) const {
  DeskJob::Ports ports;
  for (const DeskStep& step : request.steps) ports.Add(PortsOf(step));
  return ports;
}

// Nobody is overtaken by a later job that needs a port he waits for.  A question to the user may run in between, and
// with it anything else of the owner's thread.
void TransferDesk::Pump() {
  if (pumping_) {
    pumpAgain_ = true;
    return;
  }
  pumping_ = true;
  do {
    pumpAgain_ = false;
    DeskJob::Ports taken;
    const std::list<Job> jobs = jobs_;
    for (const Job& job : jobs) {
      if (job->Ended()) continue;
      if (job->state_ == DeskState::kQueued) {
        DeskJob::Ports needed = PortsOf(job->request_);
        const bool free = !needed.Shares(taken);
        if (free) job->lease_ = midi_.out().leases().Take(needed.out);
        if (!job->lease_) {
          taken.Add(needed);
          continue;
        }
        job->ports_ = std::move(needed);
        BeginStep(job);
      }
      taken.Add(job->ports_);
    }
  } while (pumpAgain_);
  pumping_ = false;
}

// ---- ending

void TransferDesk::Cancel(const Job& job, bool all) {
  if (!job || job->Ended() || std::find(jobs_.begin(), jobs_.end(), job) == jobs_.end()) return;
  job->cancelled_ = true;
  if (job->state_ != DeskState::kQueued) return StopWork(job, all);
  TransferFacts facts = FactsOf(*job);
  facts.cause = TransferCause::kNeverBegan;
  EndJob(job, facts, {});
}

void TransferDesk::CancelAll() {
  // From the last: a place that becomes free is for nobody.
  const std::vector<Job> jobs = Jobs();
  for (auto job = jobs.rbegin(); job != jobs.rend(); ++job) Cancel(*job, true);
}

void TransferDesk::CancelSends(int outPort) {
  const auto port = midi_.out().Slot(outPort);
  if (!port) return;
  const std::vector<Job> jobs = Jobs();
  for (auto job = jobs.rbegin(); job != jobs.rend(); ++job) {
    const DeskJob::Ports ports = (*job)->state_ == DeskState::kQueued ? PortsOf((*job)->request_) : (*job)->ports_;
    if ((*job)->Sends() && std::count(ports.out.begin(), ports.out.end(), port) != 0) Cancel(*job);
  }
}

void TransferDesk::Abandon(const DataFile* dataFile) {
  if (!dataFile) return;
  std::vector<Job> jobs = Jobs();
  jobs.insert(jobs.end(), leaving_.begin(), leaving_.end());
  for (const Job& job : jobs) {
    bool concerned = false;
    for (DeskStep& step : job->request_.steps) {
      if (step.dataFile != dataFile || step.owned) continue;
      step.dataFile = nullptr;
      concerned = true;
    }
    if (!concerned) continue;
    job->silent_ = true;
    if (job->Ended()) continue;
    if (job->state_ != DeskState::kQueued) engine_.Abandon(dataFile);
    Cancel(job);
  }
}

// Ends what runs; the job itself ends when transfer and port have let go.
void TransferDesk::StopWork(const Job& job, bool all) {
  const bool sends = job->Sends();
  const bool working = job->state_ == DeskState::kStarted;
  if (job->transfer_ && job->transfer_->Running()) {
    job->transfer_->Press(all ? TransferState::CancelAll : TransferState::Cancel);
    if (sends) job->transfer_->Cancel();
  }
  // Once the last byte has left the port, there is nothing to stop.
  if (!sends || !job->out_ || (!working && !job->out_->isBusy())) return;
  job->cut_ = true;
  job->stop_.Cancel();
  job->out_->StopTransmit();
}

// ---- looking

TransferPorts TransferDesk::PortsFor(const DataFile& dataFile, DeskStep::Kind kind) const {
  return engine_.PortsOf(dataFile,
                         kind == DeskStep::Kind::kGet ? TransferOperation::kReceive : TransferOperation::kTransmit, {});
}

bool TransferDesk::Wait(const Job& job, std::int64_t timeoutMs) {
  const std::int64_t deadline = timeoutMs < 0 ? kNever : engine_.clock().NowUs() + timeoutMs * 1000;
  return dispatcher_.RunUntil([&job] { return job->Ended(); }, deadline);
}

bool TransferDesk::Busy(const DataFile* dataFile) const {
  return JobOf(dataFile) != nullptr;
}

TransferDesk::Job TransferDesk::JobOf(const DataFile* dataFile) const {
  if (!dataFile) return nullptr;
  for (const Job& job : jobs_)
    for (const DeskStep& step : job->request_.steps)
      if (step.dataFile == dataFile) return job;
  return nullptr;
}

std::vector<TransferDesk::Job> TransferDesk::Jobs() const {
  return {jobs_.begin(), jobs_.end()};
}

bool TransferDesk::Sends() const {
  return std::any_of(jobs_.begin(), jobs_.end(), [](const Job& job) { return job->Sends(); });
}

}  // namespace tonalith
