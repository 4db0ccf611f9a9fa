// The program's side of a test against a real MIDI system.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "midi/port_system.h"

namespace peer {

using namespace tonalith;

inline void Pause(int ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

// The thread that owns the ports looks at them when told, as the program's does.
class Side {
 public:
  // Names of the ports of a client: its name with these behind it.
  Side(std::unique_ptr<MidiBackend> backend, std::string toOther, std::string fromOther)
      : to_(std::move(toOther)), from_(std::move(fromOther)), backend_(std::move(backend)), midi_(SystemClock()) {
    midi_.AddBackend(backend_);
    midi_.Start();
    midi_.MidiPortInOpenPorts();
    midi_.MidiPortOutOpenPorts();
    midi_.AddPortChangeListener([this] { news_.store(true); });
    midi_.CreatePortMonitorThread();
  }
  ~Side() { midi_.Stop(); }
  MidiPortSystem& midi() { return midi_; }
  MidiOut& out() { return midi_.out(); }
  // How often the server said that a period was not kept.
  std::uint64_t Xruns() const { return backend_->Xruns(); }
  void Look() {
    if (!news_.exchange(false)) return;
    midi_.MidiInPortsChanged();
    midi_.MidiOutPortsChanged();
  }
  bool Await(const std::function<bool()>& what, int ms) {
    for (int waited = 0; waited < ms; waited += 10) {
      Look();
      if (what()) return true;
      Pause(10);
    }
    return false;
  }
  bool AwaitPorts(const std::string& name, int ms = 5000) {
    return Await(
        [&] {
          const auto out = Find(name);
          const auto in = FindInput(name);
          return out && out->Alive() && in && in->Alive();
        },
        ms);
  }
  std::shared_ptr<MidiOutPort> Find(const std::string& name) {
    const int slot = out().FindPort(name + to_);
    const auto port = slot < 0 ? nullptr : out().Slot(slot);
    if (port) port->SetSpeed(100'000);
    return port;
  }
  std::shared_ptr<MidiInPort> FindInput(const std::string& name) {
    return midi_.in().GetMidiInPort(midi_.in().FindPort(name + from_));
  }

 private:
  const std::string to_;
  const std::string from_;
  std::shared_ptr<MidiBackend> backend_;
  MidiPortSystem midi_;
  std::atomic<bool> news_{false};
};

}  // namespace peer
