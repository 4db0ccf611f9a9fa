#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "simulator/engine_core.h"
#include "simulator/message_engine.h"

namespace tonalith {

// Files sent with handshake by instruments without addresses: announced or asked for, then block by block, each with a
// checksum and acknowledged.  The blocks are the one-way messages of the description with another command byte.
class FileTransferEngine {
 public:
  FileTransferEngine(EngineCore& core, MessageEngine& messages) : core_(core), messages_(messages) {}

  // A complete message F0..F7; false when it is not part of an exchange.
  bool Handle(std::span<const std::uint8_t> message);
  // A block of an exchange as the one-way message it stands for; anything else, and a block whose checksum is wrong, as
  // it is.
  std::vector<std::uint8_t> OneWay(std::span<const std::uint8_t> message) const;

 private:
  enum class Talk : std::uint8_t { kNone, kSending, kReceiving };
  std::size_t CommandPlace() const;
  std::size_t HeadSize() const;  // of the data messages
  std::vector<std::uint8_t> Frame(std::uint8_t command) const;
  std::vector<std::uint8_t> Block(std::vector<std::uint8_t> oneWay) const;
  void Signal(std::uint8_t command);
  void SendNext();
  void OnBlock(std::span<const std::uint8_t> message);

  EngineCore& core_;
  MessageEngine& messages_;
  Talk talk_ = Talk::kNone;
  std::int64_t lastTalkUs_ = 0;
  std::vector<std::vector<std::uint8_t>> outgoing_;
  std::size_t sent_ = 0;
};

}  // namespace tonalith
