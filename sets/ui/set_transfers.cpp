#include "sets/ui/set_transfers.h"

#include <algorithm>
#include <map>
#include <utility>

#include "services/send_care.h"
#include "store/sets/set_document.h"
#include "ui/keep_question.h"
#include "ui/window_context.h"

namespace tonalith {

bool SetTransfers::Begin(const SetPlan& plan, bool chosen, bool get) {
  sentences_.clear();
  std::string reasons;
  for (const SetPlan::LeftOut& left : plan.leftOut) {
    reasons += (reasons.empty() ? "" : "\n") + left.reason;
    sentences_.push_back(left.reason);
  }
  if (!plan.components.empty()) return true;
  if (chosen && plan.skipped > 0 && reasons.empty()) reasons = "What is selected is inactive; it takes no part.";
  if (reasons.empty())
    reasons = get ? "The Set has no components that could be got." : "The Set holds nothing that could be sent.";
  context_.prompts().Say(title_, reasons);
  return false;
}

std::vector<std::vector<int>> SetTransfers::ByPorts(const std::vector<int>& components, bool get) const {
  std::vector<std::vector<int>> groups;
  std::map<std::pair<int, int>, std::size_t> known;
  for (const int component : components) {
    const Synth& synth = *set_.GetDataFile(component)->synth;
    const std::pair<int, int> ports(get ? +synth.midiInPort : 0, +synth.midiOutPort);
    const auto [at, isNew] = known.emplace(ports, groups.size());
    if (isNew) groups.emplace_back();
    groups[at->second].push_back(component);
  }
  return groups;
}

void SetTransfers::StartGet(const std::vector<int>& chosen) {
  if (set_.IsBusy()) return;
  const SetPlan plan = PlanSetGet(set_, chosen);
  if (!Begin(plan, !chosen.empty(), true)) return;
  int unsent = 0;
  for (const int component : plan.components) unsent += set_.unsent().Count(component);
  if (!AskToReplace(context_, unsent, title_) || set_.IsBusy()) return;
  for (const int component : plan.components) context_.UpdateFromStudio(set_.GetDataFile(component));
  get_ = true;
  jobs_.clear();
  for (std::vector<int>& group : ByPorts(plan.components, true))
    jobs_.push_back({nullptr, std::make_shared<SetReport>(), std::move(group)});
  set_.BeginReceive(plan.components);
  starting_ = true;
  for (std::size_t i = 0; i < jobs_.size(); ++i) {
    SetPlan part;
    part.components = jobs_[i].components;
    Start(i, MakeSetGet(set_, part, {}, jobs_[i].report));
  }
  starting_ = false;
  AllEnded();
}

void SetTransfers::StartSend(const std::vector<int>& chosen, const SetRank& rank) {
  if (set_.IsBusy()) return;
  const SetPlan plan = PlanSetSend(set_, chosen, rank);
  if (!Begin(plan, !chosen.empty(), false)) return;
  SendCare& care = context_.sendCare();
  std::map<int, SetPiece> pieces;
  for (const int component : plan.components) {
    DataFilePtr data;
    if (const Result taken = set_.TakeData(component, &data); !taken.ok()) {
      context_.prompts().Say(title_, taken.text);
      return;
    }
    context_.UpdateFromStudio(data.get());
    SetPiece piece;
    piece.component = component;
    piece.wishes = care.WishesFor(*data, {});
    if (!AskToKeep(context_, *data, title_, &piece.wishes) || set_.IsBusy()) return;
    piece.data = std::shared_ptr<DataFile>(data.release(), DataFileDeleter());
    pieces.emplace(component, std::move(piece));
  }
  for (const auto& [component, piece] : pieces) context_.UpdateFromStudio(set_.GetDataFile(component));
  get_ = false;
  jobs_.clear();
  for (std::vector<int>& group : ByPorts(plan.components, false))
    jobs_.push_back({nullptr, std::make_shared<SetReport>(), std::move(group)});
  set_.SetBusy(true);
  starting_ = true;
  for (std::size_t i = 0; i < jobs_.size(); ++i) {
    std::vector<SetPiece> own;
    for (const int component : jobs_[i].components) own.push_back(std::move(pieces.at(component)));
    Start(i, MakeSetSend(std::move(own), care.history(), jobs_[i].report));
  }
  starting_ = false;
  AllEnded();
}

void SetTransfers::Start(std::size_t job, DeskRequest request) {
  const std::vector<int>& components = jobs_[job].components;
  if (components.size() > 1) request.title = set_.InstrumentOf(components.front()) + " Set";
  request.observer = [this, job](const DeskEvent& event) { Happened(job, event); };
  request.receiver = &receiver_;
  jobs_[job].handle = context_.Transfer(std::move(request));
  if (jobs_[job].handle->Ended() && !jobs_[job].ended) JobEnded(job, DeskResult(jobs_[job].handle->result()));
  host_.progress();
}

void SetTransfers::Happened(std::size_t job, const DeskEvent& event) {
  if (job >= jobs_.size() || event.job != jobs_[job].handle || jobs_[job].ended) return;
  Job& own = jobs_[job];
  const std::size_t at = own.report->outcomes.size();
  for (; get_ && own.arrived < at; ++own.arrived) {
    const SetReport::Outcome& outcome = own.report->outcomes[own.arrived];
    host_.soFar(outcome.component, nullptr, 0, 0);
    set_.Arrived(outcome.component, outcome.whole);
  }
  if (get_ && event.kind == DeskEvent::Kind::kProgress && at < own.components.size()) {
    const auto transfer = own.handle->transfer();
    if (DataFilePtr soFar = transfer ? transfer->SoFar() : nullptr)
      host_.soFar(own.components[at], std::move(soFar), event.patchesDone, event.patchesToDo);
  }
  if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded) JobEnded(job, event.result);
  host_.progress();
}

void SetTransfers::JobEnded(std::size_t job, const DeskResult& result) {
  jobs_[job].ended = true;
  sentences_.insert(sentences_.begin(), result.sentence);
  if (!starting_) AllEnded();
}

void SetTransfers::AllEnded() {
  if (jobs_.empty() || !std::all_of(jobs_.begin(), jobs_.end(), [](const Job& job) { return job.ended; })) return;
  const std::vector<Job> jobs = std::exchange(jobs_, {});
  const bool get = get_;
  for (const Job& job : jobs)
    for (const int component : job.components)
      if (get) host_.soFar(component, nullptr, 0, 0);
  std::vector<int> whole;
  for (const Job& job : jobs)
    for (const SetReport::Outcome& outcome : job.report->outcomes)
      if (outcome.whole) whole.push_back(outcome.component);
  if (get) {
    set_.EndReceive(whole);
  } else {
    set_.SetBusy(false);
    set_.WereSent(whole);
  }
  std::string text;
  for (const std::string& sentence : sentences_) text += (text.empty() ? "" : "  ") + sentence;
  host_.say(text);
  host_.progress();
}

std::string SetTransfers::ProgressText() const {
  if (jobs_.empty()) return {};
  SetReport all;
  for (const Job& job : jobs_) {
    all.planned += job.report->planned;
    all.outcomes.insert(all.outcomes.end(), job.report->outcomes.begin(), job.report->outcomes.end());
  }
  return (get_ ? "getting " : "sending ") + SetProgressText(all);
}

void SetTransfers::Cancel() {
  const std::vector<Job> jobs = jobs_;
  for (const Job& job : jobs) {
    if (!job.handle || job.ended) continue;
    context_.CancelTransfer(job.handle);
    if (get_)
      for (const int component : job.components) context_.AbandonTransfers(set_.GetDataFile(component));
  }
  for (Job& job : jobs_) job.ended = true;
  if (!jobs_.empty()) sentences_.insert(sentences_.begin(), "The transfer was given up.");
  AllEnded();
}

}  // namespace tonalith
