#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "simulator/engine_core.h"

namespace tonalith {

// Address based messages: one way (request, data) and with handshake.
class RolandEngine {
 public:
  explicit RolandEngine(EngineCore& core);

  // False when the message is none of this protocol for this instrument.
  bool Handle(std::span<const std::uint8_t> message);
  // A data message of a file, whatever its device number; false: not one, or its checksum or address is wrong.
  bool LoadData(std::span<const std::uint8_t> message, std::string* why);
  // Data messages that carry a range of linear addresses.
  std::vector<std::vector<std::uint8_t>> Messages(std::uint32_t address, std::uint32_t bytes,
                                                  std::uint8_t command) const;
  // The messages of one item of an area.
  std::vector<std::vector<std::uint8_t>> ItemMessages(int area, int item) const;

 private:
  struct Piece {
    std::uint32_t address = 0;
    int area = 0;
    int item = 0;
    int offset = 0;
    int bytes = 0;
  };
  struct Range {
    std::uint32_t address = 0;
    std::uint32_t bytes = 0;
  };
  enum class Talk : std::uint8_t { kNone, kSending, kReceiving };

  const RolandInfo& info() const { return *core_.description.roland; }
  std::size_t FindPiece(std::uint32_t address) const;  // the first piece that ends after the address
  std::optional<Range> ReadRange(std::span<const std::uint8_t> body) const;
  std::vector<std::uint8_t> Frame(std::uint8_t command, std::span<const std::uint8_t> addressed) const;
  void Signal(std::uint8_t command) { core_.Answer(Frame(command, {})); }
  // Puts data at its place; false when nothing of it may be written.
  bool Write(std::uint32_t address, std::span<const std::uint8_t> data, bool force);
  bool InOneArea(const Range& range) const;
  bool Writable(std::uint32_t address, std::uint32_t bytes);

  void OnRequest(std::span<const std::uint8_t> body);
  void OnData(std::span<const std::uint8_t> body);
  void OnRequestData(std::span<const std::uint8_t> body);
  void OnWantToSend(std::span<const std::uint8_t> body);
  void OnTalkData(std::span<const std::uint8_t> body);
  void OnAcknowledge();
  void OnRepeat();
  bool SumIsRight(std::span<const std::uint8_t> body) const;

  EngineCore& core_;
  std::vector<Piece> pieces_;  // sorted by address
  Talk talk_ = Talk::kNone;
  std::vector<std::vector<std::uint8_t>> outgoing_;
  std::size_t sent_ = 0;
  std::int64_t lastTalkUs_ = 0;
};

}  // namespace tonalith
