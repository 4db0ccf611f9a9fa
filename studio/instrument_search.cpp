#include "studio/instrument_search.h"

#include <algorithm>
#include <system_error>

#include "platform/text.h"
#include "studio/identity_call.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr int kWholePercent = 100;
constexpr int kMostHastyIds = 16;  // device IDs that a hasty search tries

bool Holds(const ZKStudioDoc& studio, const ZKDrvList* instrument) {
  const auto& all = studio.instruments();
  return std::any_of(all.begin(), all.end(), [instrument](const auto& one) { return one.get() == instrument; });
}

ZKDrvList* OfModule(const ZKStudioDoc& studio, const std::string& module) {
  for (const auto& instrument : studio.instruments())
    if (AsciiEqualNoCase(instrument->moduleFile, module)) return instrument.get();
  return nullptr;
}

}  // namespace

InstrumentSearch::InstrumentSearch(ZKStudioDoc& studio, const AutoConfigServices& services)
    : studio_(studio), services_(services) {}

InstrumentSearch::~InstrumentSearch() {
  if (control_) control_->Cancel(AutoConfigCancel::All);
}

void InstrumentSearch::Clear() {
  if (running_) return;
  rows_.clear();
  beside_.reset();
}

void InstrumentSearch::AddInstrument(ZKDrvList* instrument) {
  if (running_ || !instrument) return;
  SearchedInstrument row;
  row.name = instrument->DisplayKey();
  row.moduleFile = instrument->moduleFile;
  row.instrument = instrument;
  rows_.push_back(std::move(row));
}

void InstrumentSearch::AddInstalled() {
  if (running_) return;
  beside_ = std::make_unique<ZKStudioDoc>(studio_.paths(), *services_.prompts);
  for (const std::string& module : studio_.InstalledModules()) {
    if (OfModule(studio_, module) || !beside_->AddDrivers(module, true)) continue;
    SearchedInstrument row;
    row.name = beside_->instruments().back()->DisplayKey();
    row.moduleFile = module;
    rows_.push_back(std::move(row));
  }
}

int InstrumentSearch::Found() const {
  return static_cast<int>(std::count_if(rows_.begin(), rows_.end(), [](const SearchedInstrument& row) {
    return row.state == SearchedInstrument::State::Found;
  }));
}

void InstrumentSearch::Tell(std::size_t row) const {
  if (changed) changed(row);
}

ZKDrvList* InstrumentSearch::InstrumentOf(const SearchedInstrument& row) const {
  if (row.instrument) return Holds(studio_, row.instrument) ? row.instrument : nullptr;
  return beside_ ? OfModule(*beside_, row.moduleFile) : nullptr;
}

// ---- the row of searches --------------------------------------------------------------------------------------------

Result InstrumentSearch::Start(Pace pace) {
  if (running_) return Result::Success();
  const std::string missing = AutoConfigMissingPorts(services_.in->InPorts(), services_.out->MaxOutPorts());
  if (!missing.empty()) return Result::Failure(missing);
  queue_.clear();
  for (std::size_t i = 0; i < rows_.size(); ++i)
    if (rows_[i].state != SearchedInstrument::State::Found) queue_.push_back(i);
  if (queue_.empty()) return Result::Success();
  pace_ = pace;
  running_ = true;
  control_ = std::make_shared<AutoConfigControl>();
  receiver_.Forget();
  answers_.clear();
  for (const std::size_t row : queue_) {
    rows_[row].state = SearchedInstrument::State::Waiting;
    rows_[row].percent = 0;
    rows_[row].text.clear();
    Tell(row);
  }
  CallEverybody();
  return Result::Success();
}

// Runs `work` on a thread of the jobs; false when there is none.  The search outlives this object where it has to:
// it holds its own copies, and what it posts is dropped then.
bool InstrumentSearch::StartJob(std::function<void(AutoConfigSearch&)> work, AutoConfigTask task) {
  // Jobs take calls that can be copied; the task owns data that cannot.
  auto held = std::make_shared<AutoConfigTask>(std::move(task));
  const AutoConfigLine line{*services_.out, *services_.in, services_.transfers};
  try {
    services_.jobs->Start([work = std::move(work), held, line, control = control_](const CancelToken& stop) {
      AutoConfigSearch search(line, std::move(*held), control, {}, {}, stop);
      work(search);
    });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void InstrumentSearch::CallEverybody() {
  const auto call = [this, token = receiver_.token(), dispatcher = services_.dispatcher](AutoConfigSearch& search) {
    dispatcher->PostTo(token, [this, answers = CallIdentities(search)] {
      answers_ = answers;
      // Those that answered come first: the user sees something soon.
      std::stable_partition(queue_.begin(), queue_.end(), [this](std::size_t row) {
        const ZKDrvList* instrument = InstrumentOf(rows_[row]);
        if (!instrument) return false;
        const DeviceInquiry inquiry = ReadDeviceInquiry(IniFile(instrument->GetIniPath().string()));
        return inquiry.enabled && std::any_of(answers_.begin(), answers_.end(), [&](const AutoConfigAnswer& answer) {
                 return MatchIdentityReply(inquiry, answer.message) >= 0;
               });
      });
      Next();
    });
  };
  if (!StartJob(call, {})) Next();
}

void InstrumentSearch::Next() {
  if (queue_.empty() || control_->cancel.Cancelled()) return End();
  const std::size_t row = queue_.front();
  queue_.erase(queue_.begin());
  SearchRow(row);
}

void InstrumentSearch::SearchRow(std::size_t row) {
  SearchedInstrument& searched = rows_[row];
  ZKDrvList* instrument = InstrumentOf(searched);
  AutoConfigTask task, whole;
  std::string title;
  Result ready = Result::Failure("It is no longer in the studio.");
  const ZKStudioDoc& home = searched.instrument ? studio_ : *beside_;
  if (instrument) ready = PrepareAutoConfig(home, instrument, &task, &title);
  if (ready.ok()) ready = PrepareAutoConfig(home, instrument, &whole, &title);
  if (!ready.ok()) return Fail(row, ready.text);
  if (pace_ == Pace::Hasty) {
    whole.quick = true;
    whole.inquiry.chMax = std::min(whole.inquiry.chMax, whole.inquiry.chMin + kMostHastyIds - 1);
  }
  searched.state = SearchedInstrument::State::Searching;
  Tell(row);
  auto held = std::make_shared<AutoConfigTask>(std::move(whole));
  const AutoConfigLine line{*services_.out, *services_.in, services_.transfers};
  const auto work = [this, row, held, line, answers = answers_, control = control_, token = receiver_.token(),
                     dispatcher = services_.dispatcher](AutoConfigSearch& first) {
    const auto show = [&](const AutoConfigProgress& progress) {
      dispatcher->PostTo(token, [this, row, progress] { ShowProgress(row, progress); });
    };
    AutoConfigResult result;
    if (NarrowToAnswer(answers, &first)) result = PerformAutoConfig(first);
    // One that is not where it seemed to be, or said nothing to the call.
    if (result.outcome == AutoConfigOutcome::NotFound && !first.Cancelled()) {
      AutoConfigSearch search(line, std::move(*held), control, show);
      result = PerformAutoConfig(search);
    }
    if (first.Cancelled() && result.outcome == AutoConfigOutcome::NotFound)
      result.outcome = AutoConfigOutcome::Cancelled;
    dispatcher->PostTo(token, [this, row, result] { Finished(row, result); });
  };
  if (!StartJob(work, std::move(task))) Fail(row, "The search could not be started: the system gives no more threads.");
}

void InstrumentSearch::ShowProgress(std::size_t row, const AutoConfigProgress& progress) {
  rows_[row].percent = std::clamp(progress.position * kWholePercent / std::max(1, progress.range), 0, kWholePercent);
  rows_[row].inPort = progress.inPort;
  rows_[row].outPort = progress.outPort;
  Tell(row);
}

void InstrumentSearch::Finished(std::size_t row, const AutoConfigResult& result) {
  SearchedInstrument& searched = rows_[row];
  ZKDrvList* instrument = InstrumentOf(searched);
  if (!instrument) return Fail(row, "It is no longer in the studio.");
  searched.percent = kWholePercent;
  searched.text = AutoConfigResultText(result);
  if (result.outcome == AutoConfigOutcome::Found) {
    if (!searched.instrument) {
      // It joins the studio; where it is, is known already.
      if (!studio_.AddDrivers(searched.moduleFile, true)) return Fail(row, "It could not be added to the studio.");
      studio_.TakeQueued();
      instrument = searched.instrument = studio_.instruments().back().get();
    }
    const Result kept = ApplyAutoConfig(studio_, instrument, result);
    if (!kept.ok()) searched.text += "\n\n" + kept.text;
    searched.inPort = result.inPortName;
    searched.outPort = result.outPortName;
    searched.state = SearchedInstrument::State::Found;
    if (services_.edited) services_.edited(instrument);
  } else {
    searched.inPort.clear();
    searched.outPort.clear();
    searched.state = result.outcome == AutoConfigOutcome::Cancelled ? SearchedInstrument::State::Stopped
                                                                    : SearchedInstrument::State::NotFound;
  }
  Tell(row);
  Next();
}

void InstrumentSearch::Fail(std::size_t row, const std::string& text) {
  rows_[row].state = SearchedInstrument::State::Failed;
  rows_[row].text = text;
  Tell(row);
  Next();
}

void InstrumentSearch::Stop() {
  if (running_) control_->Cancel(AutoConfigCancel::All);
}

void InstrumentSearch::End() {
  for (const std::size_t row : queue_) {
    rows_[row].state = SearchedInstrument::State::Stopped;
    Tell(row);
  }
  queue_.clear();
  running_ = false;
  if (ended) ended();
}

}  // namespace tonalith
