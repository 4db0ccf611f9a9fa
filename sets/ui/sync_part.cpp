#include "sets/ui/sync_part.h"

#include <algorithm>
#include <utility>

#include "services/careful_send.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr int kWaitForMore = 300;  // ms: a run of changes is one transfer

}  // namespace

SetSyncPart::SetSyncPart(ZKGrpDoc& set, WindowContext& context, std::function<void(const QString& text)> say)
    : set_(set), say_(std::move(say)), send_(context) {
  wait_.setSingleShot(true);
  connect(&wait_, &QTimer::timeout, this, &SetSyncPart::SendNext);
}

void SetSyncPart::Toggle() {
  on_ = !on_;
  waiting_.clear();
  seen_.clear();
  if (!on_) return say_(tr("Changes go to the instrument when they are sent."));
  int before = 0;
  for (int i = 0; i < set_.GetDataFileCount(); ++i) before += set_.unsent().Count(i);
  Compare();
  const QString said = tr("What is changed goes to the instrument as soon as it is changed.");
  say_(before == 0 ? said : tr("%1  What was changed before (%2) goes with Send.").arg(said).arg(before));
}

bool SetSyncPart::Compare() {
  const bool first = seen_.empty();
  bool changed = false;
  seen_.resize(static_cast<std::size_t>(set_.GetDataFileCount()));
  for (int i = 0; i < set_.GetDataFileCount(); ++i) {
    std::vector<std::uint64_t> now = set_.unsent().Sounds(i);
    std::vector<std::uint64_t>& was = seen_[static_cast<std::size_t>(i)];
    if (!first && now != was) {
      std::vector<std::uint8_t>& waits = waiting_[i];
      waits.resize(now.size());
      changed = true;
      for (std::size_t patch = 0; patch < now.size(); ++patch)
        if (patch >= was.size() || was[patch] != now[patch]) waits[patch] = 1;
    }
    was = std::move(now);
  }
  return changed;
}

void SetSyncPart::DocumentChanged() {
  if (!on_ || set_.IsBusy()) return;
  if (Compare() && !wait_.isActive()) wait_.start(kWaitForMore);
}

std::vector<std::uint8_t> SetSyncPart::Waiting(int component) const {
  const EntryState state = set_.StateOf(component);
  if (state.inactive || state.linked || !CanBeSent(*set_.GetDataFile(component))) return {};
  std::vector<std::uint8_t> waiting = set_.unsent().Patches(component);
  const std::vector<std::uint8_t>& changed = waiting_.at(component);
  for (std::size_t patch = 0; patch < waiting.size(); ++patch)
    if (patch >= changed.size() || !changed[patch]) waiting[patch] = 0;
  if (std::find(waiting.begin(), waiting.end(), std::uint8_t{1}) == waiting.end()) waiting.clear();
  return waiting;
}

void SetSyncPart::SendNext() {
  if (!on_ || send_.IsRunning()) return;
  if (set_.IsBusy()) return wait_.start(kWaitForMore);
  while (!waiting_.empty()) {
    const int component = waiting_.begin()->first;
    const std::vector<std::uint8_t> patches = Waiting(component);
    waiting_.erase(component);
    if (patches.empty()) continue;
    const DataFile& data = *set_.GetDataFile(component);
    const bool alone = data.synth->isBank != 0 && data.synth->patchByPatch != 0;
    const std::vector<std::uint64_t> sounds = set_.unsent().Sounds(component);
    const Result started = send_.Start(
        data, alone ? patches : std::vector<std::uint8_t>(),
        [this, component, patches, sounds](const QuietSend::End& end) { Ended(component, patches, sounds, end); });
    if (started.ok()) return;
    waiting_[component] = patches;
    return say_(tr("Not sent: %1").arg(ShownUtf8(started.text)));
  }
}

void SetSyncPart::Ended(int component, const std::vector<std::uint8_t>& patches,
                        const std::vector<std::uint64_t>& sounds, const QuietSend::End& end) {
  if (!end.taken.empty()) set_.WereSent(component, end.taken, sounds);
  if (end.result.ok) return SendNext();
  say_(tr("Not sent: %1").arg(ShownUtf8(end.result.sentence)));
  // They go with the next change.
  std::vector<std::uint8_t>& waits = waiting_[component];
  waits.resize(std::max(waits.size(), patches.size()));
  for (std::size_t patch = 0; patch < patches.size(); ++patch) waits[patch] |= patches[patch];
}

}  // namespace tonalith
