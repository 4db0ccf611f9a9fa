#include "services/pacing_calibration.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "data/container.h"
#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "script/transfer_engine.h"

namespace tonalith {

namespace {

constexpr int kMostRestores = 3;
constexpr std::uint32_t kShortestName = 4;

std::shared_ptr<DataFile> Copy(const DataFile& data) {
  return {DupForUser(&data), [](DataFile* copy) { DataFilePtr frees(copy); }};
}

// Capitals, which every instrument with names has.
std::string NameOf(int number, int patch) {
  const auto letters = [](int value) {
    return std::string{static_cast<char>('A' + value / 26 % 26), static_cast<char>('A' + value % 26)};
  };
  return letters(number) + letters(patch);
}

// As a file of its own beside what is there.
Result KeepIn(const std::string& folder, const DataFile& data, std::string* place) {
  std::vector<std::uint8_t> bytes;
  const std::string name = TransferTitle(data) + " before calibration";
  std::error_code none;
  for (int number = 1;; ++number) {
    const std::string file =
        FixInvalidFilenameCharacters(name + (number == 1 ? "" : " " + std::to_string(number))) + ".DAT";
    *place = folder + "/" + file;
    if (std::filesystem::exists(*place, none)) continue;
    if (!DiskWriteFormAs(&bytes, data, file)) return Result::Failure("There is not enough memory.");
    return WriteFileAtomically(*place, std::span<const std::uint8_t>(bytes));
  }
}

}  // namespace

PacingCalibration::PacingCalibration(TransferDesk& desk, MidiPortSystem& midi, const PacingProfile& profile,
                                     Options options)
    : desk_(desk), midi_(midi), profile_(profile), options_(std::move(options)) {}

TransferDesk::Job PacingCalibration::Begin(const DataFile& type, std::function<void(const Report&)> ended) {
  ended_ = std::move(ended);
  former_ = Copy(type);
  what_ = former_ && former_->synth ? TransferTitle(*former_) : std::string();
  DeskRequest request;
  request.showWindow = 0;
  request.steps.push_back(Step(DeskStep::Kind::kGet, former_));
  if (former_ && former_->synth) {
    instrument_ = Latin1ToUtf8(TransferInstrumentName(*former_));
    const TransferPorts ports = desk_.PortsFor(*former_, DeskStep::Kind::kSend);
    outSlot_ = ports.out;
    inSlot_ = desk_.PortsFor(*former_, DeskStep::Kind::kGet).in;
    outPort_ = midi_.out().OUTGETPORTNAME(outSlot_);
  }
  request.next = [this](const DeskResult& result) { return Next(result); };
  request.observer = [this](const DeskEvent& event) {
    if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded) End(event.result);
  };
  Tell("Getting what the " + what_ + " is now.");
  TransferDesk::Job job = desk_.Submit(std::move(request));
  if (job->Ended()) End(job->result());  // refused: its observer hears nothing
  return job;
}

bool PacingCalibration::Suits(const DataFile& type) {
  return LayoutOf(type).editable && PatchNameLength(type) >= kShortestName;
}

DeskStep PacingCalibration::Step(DeskStep::Kind kind, std::shared_ptr<DataFile> data) const {
  DeskStep step;
  step.kind = kind;
  step.owned = std::move(data);
  return step;
}

DeskStep PacingCalibration::Settle() const {
  DeskStep step;
  step.kind = DeskStep::Kind::kTask;
  step.title = what_;
  step.outPort = outSlot_;
  step.inPort = inSlot_;
  step.task = [&clock = midi_.clock(), ms = options_.settleMs](const CancelToken& stop, const DeskStep::TaskProgress&) {
    clock.SleepMs(ms, &stop);
  };
  return step;
}

std::optional<DeskStep> PacingCalibration::Next(const DeskResult& result) {
  const bool broken = result.cause == TransferCause::kCancelled || result.cause == TransferCause::kPortLost;
  const bool restoring =
      phase_ == Phase::kRestoring || phase_ == Phase::kRestoreSettling || phase_ == Phase::kRestoreChecking;
  if (phase_ == Phase::kFormer) return HaveFormer(result);
  if (broken && !restoring) {
    failure_ = result.cause == TransferCause::kCancelled ? "The calibration was cancelled." : result.sentence;
    return Restore();
  }
  switch (phase_) {
    case Phase::kSending:
      // What was refused is no reason to give up: it was sent too fast.
      if (!result.ok) return Judge(false);
      phase_ = Phase::kSettling;
      return Settle();
    case Phase::kSettling:
      phase_ = Phase::kChecking;
      back_ = Copy(*former_);
      return Step(DeskStep::Kind::kGet, back_);
    case Phase::kChecking:
      return Judge(CameBack(result));
    case Phase::kRestoring:
      if (!result.ok) return Restore();
      phase_ = Phase::kRestoreSettling;
      return Settle();
    case Phase::kRestoreSettling:
      phase_ = Phase::kRestoreChecking;
      back_ = Copy(*former_);
      return Step(DeskStep::Kind::kGet, back_);
    case Phase::kRestoreChecking:
      report_.restored = CameBack(result);
      if (!report_.restored) return Restore();
      phase_ = Phase::kOver;
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

std::optional<DeskStep> PacingCalibration::HaveFormer(const DeskResult& result) {
  phase_ = Phase::kOver;
  if (!result.ok) {
    failure_ = result.sentence;
    return std::nullopt;
  }
  if (!Suits(*former_)) {
    failure_ = "The " + what_ + " has no names that tell one try from another; choose other data of the instrument.";
    return std::nullopt;
  }
  if (!options_.keepIn.empty()) {
    if (const Result kept = KeepIn(options_.keepIn, *former_, &place_); !kept.ok()) {
      failure_ = "What the instrument holds could not be kept: " + kept.text;
      return std::nullopt;
    }
  }
  if (!place_.empty()) Tell("What the instrument holds is kept in " + place_ + " until it has it again.");
  return Try();
}

bool PacingCalibration::NameAll(DataFile& data, int number) const {
  const auto patches = static_cast<int>(LayoutOf(data).numVoices);
  for (int patch = 0; patch < patches; ++patch)
    if (!SetPatchName(&data, patch, NameOf(number, patch))) return false;
  return true;
}

std::optional<DeskStep> PacingCalibration::Try() {
  const std::optional<MidiPacing> pacing = search_.Candidate();
  if (!pacing) return Restore();
  ++report_.tries;
  sent_ = Copy(*former_);
  if (!NameAll(*sent_, report_.tries)) {
    failure_ = "The " + what_ + " could not be named.";
    return Restore();
  }
  phase_ = Phase::kSending;
  report_.touched = true;
  DeskStep step = Step(DeskStep::Kind::kSend, sent_);
  step.pacing = pacing;
  return step;
}

// Names as they were sent, and every byte but those that the instrument makes itself: these are what differed when it
// had all the time it needs.
bool PacingCalibration::CameBack(const DeskResult& result) {
  if (!result.ok || !sent_ || !back_ || back_->bodySize != sent_->bodySize) return false;
  if (LoadPatchNames(*back_) != LoadPatchNames(*sent_)) return false;
  const std::size_t size = std::min<std::size_t>(+sent_->synth->fileSize, sent_->bodySize);
  if (+back_->synth->fileSize != +sent_->synth->fileSize) return false;
  const auto sent = BodySpan(*sent_).first(size);
  const auto back = BodySpan(*back_).first(size);
  if (!freeKnown_ && phase_ == Phase::kRestoreChecking) return std::equal(sent.begin(), sent.end(), back.begin());
  if (!freeKnown_) {
    free_.assign(size, false);
    for (std::size_t i = 0; i < size; ++i) free_[i] = sent[i] != back[i];
    return freeKnown_ = true;
  }
  for (std::size_t i = 0; i < size; ++i)
    if (sent[i] != back[i] && !(i < free_.size() && free_[i])) return false;
  return true;
}

std::optional<DeskStep> PacingCalibration::Judge(bool right) {
  Tell(Printf("Try %d: ", report_.tries) + PacingText(search_.Candidate().value_or(MidiPacing{})) + ": " +
       (right ? "whole." : "damaged."));
  search_.Tell(right);
  if (search_.Beginning() && !right) freeKnown_ = false;
  if (!search_.Over()) return Try();
  if (!search_.Found()) failure_ = "The " + what_ + " did not come back as it was sent, however slowly.";
  return Restore();
}

std::optional<DeskStep> PacingCalibration::Restore() {
  if (!report_.touched || ++restores_ > kMostRestores) {
    phase_ = Phase::kOver;
    return std::nullopt;
  }
  phase_ = Phase::kRestoring;
  Tell("Sending back what the instrument held.");
  sent_ = Copy(*former_);
  DeskStep step = Step(DeskStep::Kind::kSend, sent_);
  step.pacing = search_.Safe();
  return step;
}

void PacingCalibration::End(const DeskResult& result) {
  if (!ended_) return;
  if (failure_.empty() && phase_ != Phase::kOver) failure_ = result.sentence;
  report_.pacing = search_.Found();
  if (failure_.empty() && report_.pacing) {
    const PacingProfile::Entry entry{instrument_, outPort_, *report_.pacing};
    const bool plain = *report_.pacing == MidiPacing{};
    Result kept;
    if (!plain) {
      kept = profile_.Keep(entry);
    } else if (profile_.Of(instrument_, outPort_)) {
      kept = profile_.Remove(instrument_, outPort_);
    }
    if (!kept.ok()) failure_ = "What was found was not saved. " + kept.text;
    report_.sentence = plain ? "The " + instrument_ + " takes everything as fast as the cable carries it."
                             : "Sends to the " + instrument_ + " now have " + PacingText(*report_.pacing) + ".";
  }
  // The file was for the time in between.
  std::error_code none;
  if (report_.restored && !place_.empty()) std::filesystem::remove(place_, none);
  if (!failure_.empty()) report_.sentence = failure_;
  report_.ok = failure_.empty() && report_.pacing && report_.restored;
  if (report_.touched && !report_.restored) {
    report_.sentence += " The instrument could not be given back what it held";
    report_.sentence += place_.empty() ? "." : "; that is kept in " + place_ + ".";
  }
  former_.reset();
  sent_.reset();
  back_.reset();
  std::exchange(ended_, {})(report_);
}

}  // namespace tonalith
