#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "midi/backend.h"
#include "platform/clock.h"

namespace tonalith {

class VirtualBackend;

// What goes wrong on one direction of a cable.  Byte numbers count from 0 over everything that is carried after the
// faults were set; -1: never.
struct VirtualFaults {
  std::int64_t loseByte = -1;
  std::int64_t loseEvent = -1;  // (to the program only) the piece with this byte is lost, and the program is told
  std::int64_t corruptByte = -1;
  std::uint8_t corruptMask = 0x01;  // exclusive-ored into that byte
  std::int64_t delayUs = 0;         // before each piece
  std::int64_t realTimeEvery = 0;   // a real-time byte inside SysEx after every so many bytes; 0: none
  std::uint8_t realTimeByte = 0xF8;
  std::int64_t vanishAfter = -1;  // the port goes away when so many bytes were carried
  int busyOpens = 0;              // so many attempts to open find the port in use
  int notReady = 0;               // so many long messages are refused as "not ready" (towards the peer only)
};

enum class CableDirection { ToPeer, ToProgram };

struct VirtualCableOptions {
  std::uint32_t bytesPerSecond = 0;         // wire rate both ways; 0: at once, pieces as they were given
  std::size_t slice = 256;                  // longest piece that is delivered while a rate holds
  bool input = true;                        // the program sees an input of this name
  bool output = true;                       // the program sees an output of this name
  std::string bridged{};                    // the port of another MIDI system that it stands for
  std::vector<std::string> otherWriters{};  // programs that are connected to it as well
};

// The far end of a cable: what a simulated instrument or a test holds.  The program sees an output and an input port of
// its name.  All functions may be called from any thread, also from the receiver.
class VirtualEndpoint {
 public:
  using Receiver = std::function<void(std::span<const std::uint8_t> bytes, std::int64_t timeUs)>;

  virtual ~VirtualEndpoint() = default;
  virtual const std::string& name() const = 0;
  // Gets what the program sends, in order, on the cable's own thread; sending from it is fine.  After this returned the
  // former receiver is not called again (unless called from itself).
  virtual void SetReceiver(Receiver receiver) = 0;
  // Queues bytes to the program; they leave after `delayUs`.  Lost when the program has not opened the port.
  virtual void Send(std::span<const std::uint8_t> bytes, std::int64_t delayUs = 0) = 0;
  // Waits until everything queued to the program was delivered; false after `timeoutMs`.
  virtual bool Flush(std::int64_t timeoutMs) = 0;
  virtual void SetFaults(CableDirection direction, const VirtualFaults& faults) = 0;
  virtual void SetRate(std::uint32_t bytesPerSecond) = 0;
  // The port goes away (handles die, what is under way is lost) and comes back.
  virtual void Unplug() = 0;
  virtual void Plug() = 0;
  virtual bool plugged() const = 0;
  // Bytes delivered so far.
  virtual std::uint64_t Carried(CableDirection direction) const = 0;
};

// In-process cables between the program and simulated instruments.
class VirtualBackend final : public MidiBackend {
 public:
  explicit VirtualBackend(Clock& clock);
  VirtualBackend(const VirtualBackend&) = delete;
  VirtualBackend& operator=(const VirtualBackend&) = delete;
  ~VirtualBackend() override;

  // A new cable, plugged in.  A name that exists already gets " (2)" and so on.  The endpoint must not be used after
  // the backend is gone.
  std::shared_ptr<VirtualEndpoint> CreateEndpoint(const std::string& name, const VirtualCableOptions& options = {});
  // Unplugs and forgets it.
  void RemoveEndpoint(const std::shared_ptr<VirtualEndpoint>& endpoint);

  std::string Name() const override { return "virtual"; }
  Result Start() override;
  void Stop() override;
  std::vector<MidiDeviceInfo> Devices(MidiDirection direction) override;
  Result OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) override;
  Result OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) override;
  std::vector<std::string> OtherWriters(const std::string& id) override;
  void SetChangeNotice(std::function<void()> changed) override;

 private:
  class Core;
  std::shared_ptr<Core> core_;
};

}  // namespace tonalith
