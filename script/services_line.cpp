#include "script/services_line.h"

namespace tonalith {

int ServicesLine::Send(std::span<const std::uint8_t> bytes) {
  return services_.SendDataPort(bytes, outPort_, context_);
}

int ServicesLine::SendBare(std::span<const std::uint8_t> bytes) {
  return services_.SendBare(bytes, outPort_, context_);
}

void ServicesLine::Stage(std::span<const std::uint8_t> bytes) {
  context_.staged = TransferContext::Staged{{bytes.begin(), bytes.end()}, outPort_, false};
}

void ServicesLine::StageBare(std::span<const std::uint8_t> bytes) {
  context_.staged = TransferContext::Staged{{bytes.begin(), bytes.end()}, outPort_, true};
}

int ServicesLine::Receive(std::span<std::uint8_t> into) {
  const int received = services_.GetDataPort(into, inPort_, context_);
  context_.staged.reset();
  if (received == transfer_code::kQuiet) context_.timedOut = context_.unanswered = true;
  return received;
}

void ServicesLine::Delay(std::uint32_t ms) {
  services_.CreateDelayEvent(outPort_, ms, context_);
}

bool ServicesLine::Cancelled() const {
  const TransferState state = context_.state.load();
  return context_.cancel.Cancelled() || state == TransferState::Cancel || state == TransferState::CancelAll ||
         context_.portGone || services_.Quitting();
}

void ServicesLine::Report(const std::string& text) {
  services_.MonitorLine(text);
  if (context_.display) context_.display(text);
}

}  // namespace tonalith
