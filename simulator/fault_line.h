#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "simulator/fault_plan.h"
#include "simulator/instrument.h"

namespace tonalith {

// A fault plan at work on one cable: counts what passes and changes it.
class FaultLine {
 public:
  void Set(FaultPlan plan);
  void PlugInAgain();
  bool vanished() const { return vanished_; }

  // Bytes on their way to the instrument, as they arrive there.
  std::vector<std::uint8_t> Input(std::span<const std::uint8_t> bytes);
  // Messages on their way out, in order.  `devicePosition` is the byte of a message that holds the device number.
  std::vector<Reply> Output(std::vector<Reply> replies, std::size_t devicePosition);

  // Asked at each request or data message: true when it is to be passed over (busy) or refused.
  bool TakeBusy() { return TakeService(FaultKind::kBusyOnce, busyCount_); }
  bool TakeRefusal() { return TakeService(FaultKind::kRefuseOnce, refuseCount_); }

 private:
  bool TakeService(FaultKind kind, int& count);
  std::size_t TillVanishing(std::size_t bytes);
  void InputByte(std::uint8_t byte, std::vector<std::uint8_t>& out);
  static void Damage(const Fault& fault, Reply& reply, std::size_t devicePosition);

  FaultPlan plan_;
  std::int64_t passed_ = 0;
  bool vanished_ = false;
  int inputMessage_ = 0;
  std::size_t inputPosition_ = 0;
  int outputMessage_ = 0;
  int busyCount_ = 0;
  int refuseCount_ = 0;
};

}  // namespace tonalith
