#include "services/careful_send.h"

#include <algorithm>
#include <utility>

#include "data/patch_names.h"
#include "platform/text.h"
#include "script/started_at_panel.h"
#include "services/transfer_rest.h"

namespace tonalith {

namespace {

const std::string kNothingSent = "Nothing was sent: what the instrument holds could not be kept.  ";
constexpr const char* kNoMemory = "There is not enough memory.";

// Shared by the steps of one job.
struct CarefulWork {
  CarefulSend wishes;
  std::shared_ptr<CarefulSendReport> report;
  std::string title;
  std::shared_ptr<DataFile> meant;  // a copy of what was sent, for comparing
  Synth synth{};
  std::vector<std::uint8_t> patches;  // that hold something; empty: the data goes as a whole
  int sendStep = 0;
};

std::shared_ptr<DataFile> SharedBlank(const DataFile& data) {
  return std::shared_ptr<DataFile>(BlankForGet(data).release(), DataFileDeleter());
}

DeskStep GetStep(const CarefulSend& wishes, std::shared_ptr<DataFile> into) {
  DeskStep step;
  step.kind = DeskStep::Kind::kGet;
  step.owned = std::move(into);
  step.patches = wishes.patches;
  step.patience = wishes.patience;
  return step;
}

// The bank came, but not all that was asked for: nothing that is there may be lost.
std::string NotAllCame(const DeskResult& got) {
  return got.faults.empty() ? std::string() : got.sentence;
}

std::string KeptText(const CarefulSendReport& report) {
  if (report.kept.number == 0) return {};
  return "  What was there before is kept as number " + std::to_string(report.kept.number) + " of the history.";
}

std::vector<std::uint8_t> NotSent(const CarefulWork& work, const DeskResult& result) {
  std::vector<std::uint8_t> notSent = work.patches;
  for (const int patch : result.sent) notSent[static_cast<std::size_t>(patch)] = 0;
  return notSent;
}

std::vector<int> PatchesOf(const std::vector<std::uint8_t>& mask) {
  std::vector<int> patches;
  for (std::size_t i = 0; i < mask.size(); ++i)
    if (mask[i]) patches.push_back(static_cast<int>(i));
  return patches;
}

// "3 patches of Korg DW-8000 Program Bank"; `one`: it is one thing.
std::string WhatWent(const CarefulWork& work, bool* one) {
  const std::vector<std::uint8_t>& patches = work.wishes.patches;
  const auto count = std::count(patches.begin(), patches.end(), 1);
  *one = true;
  if (!PatchAddressable(work.synth) || count == 0 || count >= static_cast<std::ptrdiff_t>(+work.synth.numVoices))
    return work.title;
  *one = count == 1;
  return (count == 1 ? "1 patch" : std::to_string(count) + " patches") + " of " + work.title;
}

// What is said in the end, by the step that was the last.
void Conclude(const CarefulWork& work, DeskResult* result) {
  CarefulSendReport& report = *work.report;
  report.sent = result->step > work.sendStep || (result->step == work.sendStep && result->ok);
  if (result->step < work.sendStep) {
    if (!result->sentence.starts_with(kNothingSent)) result->sentence = kNothingSent + result->sentence;
    result->kind = TransferFacts::Kind::kSend;
    return;
  }
  if (result->step == work.sendStep) {
    bool one = true;
    const std::string what = WhatWent(work, &one), all = work.title + " was sent.";
    if (!result->ok)
      report.notSent = NotSent(work, *result);
    else if (result->sentence.starts_with(all))
      result->sentence.replace(0, all.size(), what + (one ? " was sent." : " were sent."));
    result->sentence += KeptText(report);
    return;
  }
  result->sent = PatchesOf(work.patches);
  if (result->ok) {
    report.verified = true;
    bool one = true;
    result->sentence = WhatWent(work, &one) + " sent, read back and found the same.";
  } else if (report.difference.none()) {
    result->sentence =
        work.title + " was sent, but could not be compared with what the instrument holds.  " + result->sentence;
  }
  result->kind = TransferFacts::Kind::kSend;
  result->sentence += KeptText(report);
}

DeskRequest MakeRequest(DeskStep send, const DataFile& data, const CarefulSend& wishes, InstrumentHistory& history,
                        std::shared_ptr<CarefulSendReport> report) {
  auto work = std::make_shared<CarefulWork>();
  work->wishes = wishes;
  if (!wishes.check) work->wishes.check = std::make_shared<ReceivedCheck>();
  work->report = std::move(report);
  work->title = TransferTitle(data);
  work->synth = *data.synth;
  if (PatchAddressable(work->synth)) work->patches = PatchesToSend(data, wishes.patches);
  DeskRequest request;
  if (wishes.keep) {
    const std::shared_ptr<DataFile> before = SharedBlank(data);
    DeskStep step = GetStep(wishes, before);
    step.after = [work, before, &history](const DeskResult& got) {
      if (std::string missing = NotAllCame(got); !missing.empty()) return Result::Failure(kNothingSent + missing);
      Result kept = history.Keep(*before, work->wishes.patches, &work->report->kept);
      if (kept.ok()) return kept;
      work->report->kept = {};
      return Result::Failure(kNothingSent + kept.text);
    };
    request.steps.push_back(std::move(step));
  }
  work->sendStep = static_cast<int>(request.steps.size());
  send.patches = wishes.patches;
  send.patience = wishes.patience;
  request.steps.push_back(std::move(send));
  // Sending has made the checksums of the data.
  request.steps.back().after = [work, sent = request.steps.back().dataFile
                                                 ? request.steps.back().dataFile
                                                 : request.steps.back().owned.get()](const DeskResult&) {
    work->meant.reset(DupForUser(sent), DataFileDeleter());
    return work->meant ? Result::Success() : Result::Failure(kNoMemory);
  };
  if (wishes.verify) {
    const std::shared_ptr<DataFile> back = SharedBlank(data);
    DeskStep step = GetStep(wishes, back);
    step.after = [work, back](const DeskResult& got) {
      work->report->difference = CompareData(*work->meant, *back, work->wishes.patches, *work->wishes.check);
      if (!got.faults.empty())
        return Result::Failure(work->title + " was sent, but could not be read back whole.  " + got.sentence);
      if (work->report->difference.none()) return Result::Success();
      return Result::Failure(work->title + " was sent, but the instrument holds something else " +
                             Latin1ToUtf8(DifferenceText(work->synth, work->report->difference)) + ".");
    };
    request.steps.push_back(std::move(step));
  }
  request.conclude = [work](DeskResult* result) { Conclude(*work, result); };
  return request;
}

}  // namespace

bool CanBeSent(const DataFile& data) {
  return data.synth && (!UsesCommandSequence(*data.synth) || data.transmitScript);
}

bool CanBeAskedFor(const DataFile& data) {
  if (!data.synth || StartedAtPanel(data)) return false;
  return !UsesCommandSequence(*data.synth) || data.receiveScript;
}

std::vector<std::uint8_t> FaultyPatches(const Synth& synth, const std::vector<PatchFault>& faults) {
  std::vector<std::uint8_t> mask;
  for (const PatchFault& fault : faults) {
    if (fault.patch < 0 || fault.patch >= static_cast<int>(synth.numVoices)) continue;
    mask.resize(synth.numVoices);
    mask[static_cast<std::size_t>(fault.patch)] = 1;
  }
  return mask;
}

DeskRequest MakeCarefulSend(DataFile* data, const CarefulSend& wishes, InstrumentHistory& history,
                            std::shared_ptr<CarefulSendReport> report) {
  DeskStep send;
  send.kind = DeskStep::Kind::kSend;
  send.dataFile = data;
  return MakeRequest(std::move(send), *data, wishes, history, std::move(report));
}

DeskRequest MakeCarefulSend(std::shared_ptr<DataFile> data, const CarefulSend& wishes, InstrumentHistory& history,
                            std::shared_ptr<CarefulSendReport> report) {
  DeskStep send;
  send.kind = DeskStep::Kind::kSend;
  send.owned = data;
  return MakeRequest(std::move(send), *data, wishes, history, std::move(report));
}

}  // namespace tonalith
