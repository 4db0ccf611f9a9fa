#include "bank/bank_sync.h"

#include <algorithm>

#include "bank/bank_document.h"

namespace tonalith {

void SyncList::Add(unsigned patch) {
  if (patch >= has_.size()) has_.resize(std::size_t{patch} + 1);
  if (has_[patch]) return;
  has_[patch] = true;
  patches_.push_back(patch);
}

void SyncList::AddStateElements(const unsigned char* bits, std::size_t size) {
  for (std::size_t byte = 0; byte < size; ++byte)
    for (unsigned bit = 0; bit < 8; ++bit)
      if (bits[byte] & (1U << bit)) Add(static_cast<unsigned>(byte * 8) + bit);
}

void SyncList::Remove(unsigned patch) {
  if (patch >= has_.size() || !has_[patch]) return;
  has_[patch] = false;
  patches_.erase(std::find(patches_.begin(), patches_.end(), patch));
}

void SyncList::Clear() {
  patches_.clear();
  has_.clear();
}

void BankSync::ClearLocalSync() {
  local_ = false;
  if (!IsOn()) list_.Clear();
}

void BankSync::Changed(const std::vector<int>& patches) {
  if (!IsOn() || patches.empty()) return;
  for (const int patch : patches) list_.Add(static_cast<unsigned>(patch));
  RequestSynchronize();
}

void BankSync::NotSent(const std::vector<std::uint8_t>& patches) {
  if (!IsOn()) return;
  for (std::size_t patch = 0; patch < patches.size(); ++patch)
    if (patches[patch]) list_.Add(static_cast<unsigned>(patch));
}

void BankSync::RequestSynchronize() {
  if (sender_ && !list_.empty()) sender_->SynchronizeSoon();
}

std::vector<std::uint8_t> BankSync::Waiting() const {
  std::vector<std::uint8_t> waiting;
  for (const unsigned number : list_.patches()) {
    const int patch = static_cast<int>(number);
    if (patch >= bank_.PatchCount() || !bank_.IsPatchDefined(patch) || !bank_.DiffersFromInstrument(patch)) continue;
    waiting.resize(static_cast<std::size_t>(bank_.PatchCount()));
    waiting[number] = 1;
  }
  return waiting;
}

void BankSync::Synchronize(bool send) {
  const std::vector<std::uint8_t> waiting = send && IsOn() ? Waiting() : std::vector<std::uint8_t>();
  if (!waiting.empty() && (!sender_ || !sender_->SendPatches(waiting))) return;
  list_.Clear();
}

}  // namespace tonalith
