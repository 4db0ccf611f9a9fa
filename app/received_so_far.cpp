#include "app/received_so_far.h"

#include <string>
#include <utility>
#include <vector>

#include "data/container.h"
#include "platform/clock.h"
#include "platform/log.h"

namespace tonalith {

ReceivedSoFar::ReceivedSoFar(RecoveryFolder& folder, Clock& clock, std::function<void()> keepDocuments)
    : folder_(folder), clock_(clock), keepDocuments_(std::move(keepDocuments)) {}

ReceivedSoFar::~ReceivedSoFar() {
  for (const auto& entry : kept_) folder_.Remove(entry.second.file);
}

// Nobody is told of the end of a Get whose window was closed.
void ReceivedSoFar::Sweep(const DeskJob* over) {
  std::erase_if(kept_, [this, over](const auto& entry) {
    if (entry.first.get() != over && !entry.first->Ended()) return false;
    folder_.Remove(entry.second.file);
    return true;
  });
}

void ReceivedSoFar::Take(const DeskEvent& event) {
  if (leaving_) return;
  if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded) {
    if (kept_.count(event.job) != 0) keepDocuments_();
    Sweep(event.job.get());
    return;
  }
  if (event.kind != DeskEvent::Kind::kProgress || event.job->Ended() || event.job->Sends()) return;
  Kept& kept = kept_[event.job];
  const std::int64_t now = clock_.NowUs();
  if (kept.atUs != 0 && now - kept.atUs < kEveryMs * 1000) return;
  kept.atUs = now;
  Keep(event, &kept);
}

void ReceivedSoFar::Keep(const DeskEvent& event, Kept* kept) {
  const DataFilePtr soFar = event.job->transfer() ? event.job->transfer()->SoFar() : nullptr;
  std::vector<std::uint8_t> bytes;
  if (!soFar || !DiskWriteForm(&bytes, *soFar)) return;
  RecoverableFile about;
  about.file = kept->file;
  about.kind = FileKind::Data;
  about.title = TransferTitle(*soFar) + " (" + std::to_string(event.patchesDone) + " of " +
                std::to_string(event.patchesToDo) + " patches received)";
  Result result = kept->file.empty() ? Result::Success() : folder_.LastWrite(kept->file);
  if (const Result begun = folder_.KeepBeside(&about, std::move(bytes)); !begun.ok()) result = begun;
  kept->file = about.file;
  if (!result.ok()) MonitorMsg("What is being received cannot be kept for recovery: %s", result.text.c_str());
}

void ReceivedSoFar::Leave() {
  leaving_ = true;
  kept_.clear();
}

}  // namespace tonalith
