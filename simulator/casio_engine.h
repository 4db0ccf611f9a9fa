#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/engine_core.h"

namespace tonalith {

// The verified block exchange: both sides talk inside one open frame, so bytes are looked at one by one.
class CasioEngine {
 public:
  explicit CasioEngine(EngineCore& core) : core_(core) {}

  // Every byte but real time ones.  True while the byte belonged to an exchange.
  bool OnByte(std::uint8_t byte);
  // A tone of a file: the request to receive with the data behind it.
  bool LoadData(std::span<const std::uint8_t> message, std::string* why);
  // A tone in the form files have; the panel sends nothing by itself.
  std::vector<std::uint8_t> FileMessage(int area, int item) const;

 private:
  enum class Step : std::uint8_t { kIdle, kHeader, kWaitGo, kWaitEnd, kReceiving };
  struct Slot {
    int area = 0;
    int item = 0;
  };

  std::optional<Slot> FindSlot(int tone) const;
  void OnHeader();
  void OnReceived(std::uint8_t byte);
  void Ready();
  void Forget() { step_ = Step::kIdle; }
  std::uint8_t DeviceByte() const { return static_cast<std::uint8_t>(0x70 | (core_.device & 0x0F)); }

  EngineCore& core_;
  Step step_ = Step::kIdle;
  std::vector<std::uint8_t> header_;
  std::vector<std::uint8_t> go_;
  std::vector<std::uint8_t> data_;
  Slot slot_;
  std::int64_t lastUs_ = 0;
  std::int64_t readyAtUs_ = 0;
};

}  // namespace tonalith
