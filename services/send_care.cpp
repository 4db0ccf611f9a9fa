#include "services/send_care.h"

#include <algorithm>

#include "platform/text.h"
#include "script/transfer_engine.h"

namespace tonalith {

namespace {

std::string InstrumentOf(const DataFile& data) {
  return Latin1ToUtf8(TransferInstrumentName(data));
}

}  // namespace

SendCare::SendCare(Places places) : places_(std::move(places)), history_(places_.historyFolder) {}

KeepBeforeSend SendCare::Keeps(const DataFile& data) const {
  return KeepBeforeSendOf(places_.settingsFile(), InstrumentOf(data));
}

Result SendCare::SetKeeps(const DataFile& data, KeepBeforeSend keep) {
  return SetKeepBeforeSend(places_.settingsFile(), InstrumentOf(data), keep);
}

bool SendCare::Verifies(const DataFile& data) const {
  return VerifiesAfterSend(places_.settingsFile(), InstrumentOf(data));
}

Result SendCare::SetVerifies(const DataFile& data, bool verifies) {
  return SetVerifiesAfterSend(places_.settingsFile(), InstrumentOf(data), verifies);
}

CarefulSend SendCare::WishesFor(const DataFile& data, std::vector<std::uint8_t> patches) const {
  CarefulSend wishes;
  wishes.patches = std::move(patches);
  const bool asked = CanBeAskedFor(data);
  wishes.keep = asked && Keeps(data) == KeepBeforeSend::kKeepAlways;
  wishes.verify = asked && Verifies(data);
  if (places_.checks) wishes.check = places_.checks(data);
  return wishes;
}

Result SendCare::LastKept(const DataFile& data, HistoryEntry* entry) const {
  const std::string key = InstrumentOf(data) + "\n" + FieldText(data.synth->typeName);
  auto known = std::find_if(known_.begin(), known_.end(), [&](const auto& one) { return one.first == key; });
  if (known == known_.end()) {
    HistoryEntry newest;
    for (HistoryEntry& kept : history_.ListOf(data)) {
      if (broughtBack_.count(kept.number)) continue;
      newest = std::move(kept);
      break;
    }
    known = known_.emplace(known_.end(), key, std::move(newest));
  }
  if (known->second.number == 0)
    return Result::Failure("Nothing is kept of what the " + InstrumentOf(data) + " held before something was sent.");
  *entry = known->second;
  return Result::Success();
}

void SendCare::BroughtBack(int number) {
  broughtBack_.insert(number);
  HistoryChanged();
}

void SendCare::HistoryChanged() {
  known_.clear();
  const auto listeners = listeners_;
  for (const auto& [id, listener] : listeners) listener();
}

int SendCare::AddListener(std::function<void()> listener) {
  listeners_.emplace_back(nextListener_, std::move(listener));
  return nextListener_++;
}

void SendCare::RemoveListener(int id) {
  std::erase_if(listeners_, [id](const auto& one) { return one.first == id; });
}

}  // namespace tonalith
