#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/engine_core.h"

namespace tonalith {

// Presets as a header that counts their words and packets with a number and a checksum each, every one of them
// acknowledged (closed loop) or sent with time between (open loop); parameters by their number.
class PacketEngine {
 public:
  explicit PacketEngine(EngineCore& core) : core_(core) {}

  // A complete message F0..F7; false when it is none of this protocol.
  bool Handle(std::span<const std::uint8_t> message);
  // A header or a packet of a file; the last packet puts the preset into memory.
  bool LoadData(std::span<const std::uint8_t> message, std::string* why);
  // A preset in the form files have: header and packets without handshake.  Empty: no such item.
  std::vector<std::vector<std::uint8_t>> FileMessages(int area, int item) const;

 private:
  using Bytes = std::vector<std::uint8_t>;
  struct Place {
    int area = -1;
    int item = 0;
  };
  struct Incoming {
    bool open = false;  // a header was taken
    Place place;
    int last = 0;  // number of the packet taken last
    Bytes data;
  };
  enum class Verdict : std::uint8_t { kTaken, kAgain, kDone, kWrong };

  const PacketInfo& info() const { return *core_.description.packets; }
  Bytes Frame(std::initializer_list<int> body) const;
  void Say(std::initializer_list<int> body) { core_.Answer(Frame(body)); }
  void SayNumber(int command, int packet) { Say({command, packet & 0x7F, packet >> 7 & 0x7F}); }
  Place FindPlace(int number, int rom) const;
  int DataBytes() const;
  std::vector<Bytes> Messages(const Place& place, bool closed) const;

  void OnRequest(std::span<const std::uint8_t> body);
  void OnDump(std::span<const std::uint8_t> body);
  Verdict OnHeader(std::span<const std::uint8_t> body, bool force);
  Verdict OnPacket(std::span<const std::uint8_t> body);
  void Store();
  void OnAcknowledge(int packet, bool right);
  void OnName(std::span<const std::uint8_t> body);
  void OnCopy(std::span<const std::uint8_t> body);
  // The bytes of a parameter in the chosen preset; empty: it is none of a preset.
  std::span<std::uint8_t> Word(int id);
  void OnParameter(std::span<const std::uint8_t> body, bool set);

  EngineCore& core_;
  Incoming incoming_;
  std::vector<Bytes> outgoing_;
  std::size_t sent_ = 0;  // messages of it that are acknowledged; the next one is out
  std::int64_t lastTalkUs_ = 0;
  std::int64_t lastOpenUs_ = INT64_MIN / 2;
  std::map<int, int> settings_;  // parameters outside presets that were set
};

}  // namespace tonalith
