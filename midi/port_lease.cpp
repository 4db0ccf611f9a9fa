#include "midi/port_lease.h"

#include <algorithm>

#include "midi/midi_output.h"

namespace tonalith {

struct PortLeases::Lease::State {
  std::mutex mutex;
  std::uint64_t last = 0;
  std::function<void()> returned;
};

PortLeases::Lease::Lease(std::shared_ptr<State> state, std::uint64_t id, Ports ports)
    : state_(std::move(state)), id_(id), ports_(std::move(ports)) {}

PortLeases::Lease::~Lease() {
  std::function<void()> returned;
  {
    std::lock_guard guard(state_->mutex);
    for (const auto& port : ports_) port->SetLease(0);
    returned = state_->returned;
  }
  if (returned) returned();
}

PortLeases::PortLeases() : state_(std::make_shared<Lease::State>()) {}

PortLeases::Handle PortLeases::Take(Ports ports) {
  std::erase(ports, nullptr);
  std::lock_guard guard(state_->mutex);
  if (std::any_of(ports.begin(), ports.end(), [](const auto& port) { return port->lease() != 0; })) return nullptr;
  const std::uint64_t id = ++state_->last;
  for (const auto& port : ports) port->SetLease(id);
  return Handle(new Lease(state_, id, std::move(ports)));
}

void PortLeases::SetReturned(std::function<void()> returned) {
  std::lock_guard guard(state_->mutex);
  state_->returned = std::move(returned);
}

}  // namespace tonalith
