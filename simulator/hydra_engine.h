#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/engine_core.h"

namespace tonalith {

// Patches in pieces: every message is base64 text of a checked record, every piece is acknowledged, and the exchange
// stands between a header and a footer.
class HydraEngine {
 public:
  explicit HydraEngine(EngineCore& core) : core_(core) {}

  // False when the message is none of this protocol.
  bool Handle(std::span<const std::uint8_t> message);
  // A message of a file; the last piece of a patch puts it into memory.
  bool LoadData(std::span<const std::uint8_t> message, std::string* why);
  // A patch in the form files have.
  std::vector<std::vector<std::uint8_t>> FileMessages(int item) const;

 private:
  using Bytes = std::vector<std::uint8_t>;

  const HydraInfo& info() const { return *core_.description.hydra; }
  int Chunks() const;
  static std::optional<Bytes> Unwrap(std::span<const std::uint8_t> message);
  static Bytes Wrap(std::span<const std::uint8_t> payload);
  // Piece `index` of an image as a payload.
  Bytes Chunk(std::span<const std::uint8_t> image, int index) const;
  // The image of an item with its place and the kind of the record.
  Bytes Image(int item, std::uint8_t kind) const;
  void Say(std::initializer_list<std::uint8_t> payload) { core_.Answer(Wrap(Bytes(payload))); }
  bool TakeChunk(std::span<const std::uint8_t> payload);
  // Puts the collected image into memory; false when it is not whole or may not be written.
  bool Store(bool force);
  void OnCommand(std::span<const std::uint8_t> payload);

  EngineCore& core_;
  bool locked_ = false;
  Bytes outgoing_;
  Bytes incoming_;
};

}  // namespace tonalith
