#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tonalith {

class MidiOutPort;

// Who alone may send data to an output: a transfer, from its first byte to its end.  MidiOut refuses what others send
// there meanwhile; their live messages (SendOptions::live) go between the messages of the transfer.  Any thread.
class PortLeases {
 public:
  using Ports = std::vector<std::shared_ptr<MidiOutPort>>;

  class Lease {
   public:
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease();  // gives the ports back

    std::uint64_t id() const { return id_; }  // what SendOptions::lease names it by

   private:
    friend class PortLeases;
    struct State;
    Lease(std::shared_ptr<State> state, std::uint64_t id, Ports ports);

    std::shared_ptr<State> state_;
    std::uint64_t id_;
    Ports ports_;
  };
  using Handle = std::shared_ptr<const Lease>;

  PortLeases();
  // All of the ports, or null when somebody else has one of them.
  Handle Take(Ports ports);
  // Called behind every lease that was given back, by whoever did that; must not block.  Empty: nobody is called.
  void SetReturned(std::function<void()> returned);

 private:
  std::shared_ptr<Lease::State> state_;
};

}  // namespace tonalith
