#include "store/sets/set_transfer.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "script/started_at_panel.h"
#include "script/transfer_engine.h"
#include "services/transfer_chain.h"
#include "store/sets/set_document.h"

namespace tonalith {

namespace {

std::vector<int> Meant(const ZKGrpDoc& set, const std::vector<int>& chosen) {
  if (!chosen.empty()) return chosen;
  std::vector<int> all(static_cast<std::size_t>(set.GetDataFileCount()));
  std::iota(all.begin(), all.end(), 0);
  return all;
}

// Data with parts that play other data comes behind it.
int UsualRank(const DataFile& data) {
  constexpr int kMulti = 3, kMultiBank = 4;
  return data.synth->dataKind == kMulti || data.synth->dataKind == kMultiBank ? 1 : 0;
}

std::string WhyNotGot(const ZKGrpDoc& set, int component, bool chosen) {
  const DataFile& data = *set.GetDataFile(component);
  if (set.StateOf(component).linked)
    return "The " + set.TitleOf(component) + " is linked to " + set.LinkPath(component) + " and is not got.";
  if (UsesCommandSequence(*data.synth) && !data.receiveScript)
    return "The " + set.TitleOf(component) + " cannot be got from the instrument.";
  if (StartedAtPanel(data) && !chosen)
    return "The " + set.TitleOf(component) + " has to be started on the instrument; it is got on its own.";
  return {};
}

std::string WhyNotSent(const ZKGrpDoc& set, int component) {
  if (const std::string& problem = set.LinkProblem(component); !problem.empty()) return problem;
  if (set.StateOf(component).content != EntryContent::kDefined || HoldsNothing(*set.GetDataFile(component)))
    return "The " + set.TitleOf(component) + " holds nothing that could be sent.";
  if (!CanBeSent(*set.GetDataFile(component)))
    return "The " + set.TitleOf(component) + " cannot be sent to the instrument.";
  return {};
}

// `done`: how "all" and "not all" are called.
std::string Summary(const SetReport& report, const char* done) {
  const std::string count = std::to_string(report.Whole()) + " of " + std::to_string(report.planned);
  std::string text = count + (report.planned == 1 ? " component " : " components ") + done + ".";
  for (const SetReport::Outcome& outcome : report.outcomes)
    if (!outcome.whole) text += "  " + outcome.result.sentence;
  return text;
}

// Places in which the instrument itself holds nothing are no fault.
bool IsWhole(const DeskResult& result) {
  return result.ok && result.faults.empty();
}

DeskRequest MakeChain(std::vector<DeskRequest> requests, std::vector<int> components, std::shared_ptr<SetReport> report,
                      const char* done) {
  report->planned = requests.size();
  const auto ended = [report, components = std::move(components)](std::size_t request, const DeskResult& result) {
    report->outcomes.push_back({components[request], IsWhole(result), result});
  };
  return ChainRequests(std::move(requests), ended, [report, done](DeskResult* result) {
    const bool cancelled = result->cause == TransferCause::kCancelled;
    result->ok = report->Complete();
    if (!result->ok && result->cause == TransferCause::kNone) result->cause = TransferCause::kIncomplete;
    result->sentence = (cancelled ? "Cancelled; " : "") + Summary(*report, done);
  });
}

}  // namespace

std::size_t SetReport::Whole() const {
  return static_cast<std::size_t>(
      std::count_if(outcomes.begin(), outcomes.end(), [](const Outcome& outcome) { return outcome.whole; }));
}

std::string SetProgressText(const SetReport& report) {
  const std::size_t now = std::min(report.outcomes.size() + 1, report.planned);
  return std::to_string(now) + " of " + std::to_string(report.planned);
}

SetPlan PlanSetGet(const ZKGrpDoc& set, const std::vector<int>& chosen) {
  SetPlan plan;
  for (const int component : Meant(set, chosen)) {
    if (!set.Has(component)) continue;
    if (set.StateOf(component).inactive) {
      ++plan.skipped;
    } else if (std::string why = WhyNotGot(set, component, !chosen.empty()); !why.empty()) {
      plan.leftOut.push_back({component, std::move(why)});
    } else {
      plan.components.push_back(component);
    }
  }
  return plan;
}

SetPlan PlanSetSend(const ZKGrpDoc& set, const std::vector<int>& chosen, const SetRank& rank) {
  SetPlan plan;
  for (const int component : Meant(set, chosen)) {
    if (!set.Has(component)) continue;
    const EntryState state = set.StateOf(component);
    const bool nothing =
        chosen.empty() && state.content != EntryContent::kDefined && set.LinkProblem(component).empty();
    if (state.inactive || nothing) {
      ++plan.skipped;
    } else if (std::string why = WhyNotSent(set, component); !why.empty()) {
      plan.leftOut.push_back({component, std::move(why)});
    } else {
      plan.components.push_back(component);
    }
  }
  const auto rankOf = [&](int component) {
    return std::max(rank ? rank(component) : 0, UsualRank(*set.GetDataFile(component)));
  };
  std::stable_sort(plan.components.begin(), plan.components.end(), [&](int a, int b) { return rankOf(a) < rankOf(b); });
  return plan;
}

DeskRequest MakeSetGet(ZKGrpDoc& set, const SetPlan& plan, const GetOptions& get, std::shared_ptr<SetReport> report) {
  std::vector<DeskRequest> requests;
  for (const int component : plan.components) {
    DeskRequest request = DeskRequest::Of(DeskStep::Kind::kGet, set.GetDataFile(component));
    request.steps.front().get = get;
    // The others would wait behind data that the instrument does not have.
    request.steps.front().patience.forUser =
        plan.components.size() == 1 || StartedAtPanel(*request.steps.front().dataFile);
    requests.push_back(std::move(request));
  }
  return MakeChain(std::move(requests), plan.components, std::move(report), "came whole");
}

DeskRequest MakeSetSend(std::vector<SetPiece> pieces, InstrumentHistory& history, std::shared_ptr<SetReport> report) {
  std::vector<DeskRequest> requests;
  std::vector<int> components;
  for (SetPiece& piece : pieces) {
    components.push_back(piece.component);
    requests.push_back(
        MakeCarefulSend(std::move(piece.data), piece.wishes, history, std::make_shared<CarefulSendReport>()));
  }
  return MakeChain(std::move(requests), std::move(components), std::move(report), "sent");
}

}  // namespace tonalith
