#include <algorithm>

#include "script/transfer_engine.h"

namespace tonalith {

// --- Who is busy ---

std::vector<std::shared_ptr<Transfer>> TransferEngine::Running() const {
  std::lock_guard guard(mutex_);
  std::vector<std::shared_ptr<Transfer>> running;
  for (const auto& transfer : transfers_) {
    if (transfer->Running()) running.push_back(transfer);
  }
  return running;
}

std::shared_ptr<Transfer> TransferEngine::TransferOf(const DataFile* dataFile) const {
  for (const auto& transfer : Running()) {
    std::lock_guard guard(transfer->mutex_);
    if (transfer->dataFile_ == dataFile) return transfer;
  }
  return nullptr;
}

bool TransferEngine::ReceiveRunning() const {
  const auto running = Running();
  return std::any_of(running.begin(), running.end(), [](const std::shared_ptr<Transfer>& transfer) {
    return transfer->operation() == TransferOperation::kReceive;
  });
}

void TransferEngine::Abandon(const DataFile* dataFile) {
  if (!dataFile || !locks_.Busy(dataFile)) return;
  const auto transfer = TransferOf(dataFile);
  if (!transfer) return;
  transfer->Cancel();
  std::lock_guard guard(transfer->mutex_);
  transfer->dataFile_ = nullptr;
  transfer->lock_.Release();
}

void TransferEngine::PortGone(MidiDirection direction, int port) {
  for (const auto& transfer : Running()) {
    const bool input = direction == MidiDirection::Input;
    if (input && transfer->operation() != TransferOperation::kReceive) continue;
    if ((input ? transfer->inPort() : transfer->outPort()) != port) continue;
    transfer->context_.portGone = true;
    transfer->Cancel();
  }
}

void TransferEngine::CancelAll() {
  for (const auto& transfer : Running()) transfer->Cancel();
}

// --- The transmit window ---

void TransferEngine::OpenZKMidiOutStatus(int port, std::uint32_t total) {
  {
    std::lock_guard guard(transmitMutex_);
    if (transmit_.open) {
      transmit_.total = total;
      return;
    }
    if (!showTransmitWindow_ || port < 0 || port >= services_.PortCount(MidiDirection::Output)) return;
    transmit_ = {};
    transmit_.open = true;
    transmit_.port = port;
    transmit_.portName = services_.PortName(MidiDirection::Output, port);
    transmit_.total = total;
  }
  // Looked at when it runs: whoever opens windows may be gone by then.
  Post([this] {
    if (openTransmitWindow_) openTransmitWindow_();
  });
}

int TransferEngine::ShowTransmitWindow(int show) {
  std::lock_guard guard(transmitMutex_);
  if (show >= 0) showTransmitWindow_ = show;
  return showTransmitWindow_;
}

bool TransferEngine::TransmitWindowOpen() const {
  std::lock_guard guard(transmitMutex_);
  return transmit_.open;
}

void TransferEngine::SetTransmitStayOpen(bool stay) {
  std::lock_guard guard(transmitMutex_);
  transmit_.stayOpen = stay;
}

TransmitWindowState TransferEngine::TransmitState() const {
  std::lock_guard guard(transmitMutex_);
  TransmitWindowState state = transmit_;
  if (!state.open || !out_) return state;
  const auto port = out_->GetMidiOutPort(state.port);
  state.idle = !port || !port->isBusy();
  for (const auto& transfer : Running()) {
    if (transfer->operation() == TransferOperation::kTransmit && transfer->outPort() == state.port) state.idle = false;
  }
  if (port) state.sent = port->counting() ? port->ProgressBytes() : (state.idle ? state.total : 0);
  return state;
}

void TransferEngine::CloseTransmitWindow() {
  std::lock_guard guard(transmitMutex_);
  transmit_ = {};
}

void TransferEngine::CancelTransmit() {
  int port = -1;
  {
    std::lock_guard guard(transmitMutex_);
    port = transmit_.port;
  }
  if (port >= 0) {
    std::vector<bool> ports(static_cast<std::size_t>(port) + 1, false);
    ports.back() = true;
    StopOutput(ports);
  }
  CloseTransmitWindow();
}

void TransferEngine::StopOutput(const std::vector<bool>& ports) {
  for (std::size_t i = 0; i < ports.size(); ++i) {
    if (!ports[i]) continue;
    for (const auto& transfer : Running()) {
      if (transfer->operation() == TransferOperation::kTransmit && transfer->outPort() == static_cast<int>(i)) {
        transfer->Cancel();
      }
    }
    const auto port = out_ ? out_->GetMidiOutPort(static_cast<int>(i)) : nullptr;
    if (port) port->StopTransmit();
  }
}

}  // namespace tonalith
