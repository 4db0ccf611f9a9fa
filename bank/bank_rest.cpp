#include "bank/bank_rest.h"

namespace tonalith {

void BankRest::Set(TransferRest rest) {
  now_ = std::move(rest);
  isEntry_ = undone_ = false;
  setAside_.reset();
}

void BankRest::GetEnded(const DataFile& data, const std::vector<std::uint8_t>& patches, const DeskResult& result,
                        bool taken, bool isEntry) {
  if (taken) {
    before_ = now_.notReceived;
    NoteGet(data, patches, result, &now_);
    after_ = now_.notReceived;
    isEntry_ = isEntry;
    undone_ = false;
    entry_ = history_.Position();
    state_ = history_.State();
  }
  if (taken || result.setAside) setAside_.reset();
  if (!result.setAside) return;
  TransferRest left;
  NoteGet(data, patches, result, &left);
  if (left.notReceived.empty()) return;
  setAside_ = result.setAside;
  toGet_ = std::move(left.notReceived);
}

void BankRest::SendEnded(const DataFile& data, const std::vector<std::uint8_t>& patches, const DeskResult& result) {
  NoteSend(data, patches, result, &now_);
}

void BankRest::Follow() {
  if (!isEntry_) return;
  const std::size_t position = history_.Position();
  if (!undone_ && position < entry_) {
    undone_ = true;
    now_.notReceived = before_;
  } else if (undone_ && position >= entry_) {
    undone_ = false;
    // Another entry may have taken its place.
    isEntry_ = position > entry_ || history_.State() == state_;
    if (isEntry_) now_.notReceived = after_;
  }
}

void BankRest::PutSetAside(DataFile* data) {
  if (!setAside_) return;
  PutPatches(*data, *setAside_);
  setAside_.reset();
}

}  // namespace tonalith
