#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/engine_core.h"

namespace tonalith {

// Additive synthesizers whose singles differ in size: a common part, two to six sources, and a kit with a checksum of
// its own for every additive source.  Banks are a map of the singles that are there and these.  There is no edit
// buffer: what comes in is in working memory, and in flash memory after a backup.
class KitEngine {
 public:
  // Gives the factory contents their sizes.
  explicit KitEngine(EngineCore& core);

  // A complete message F0..F7; false when it is none of this protocol.
  bool Handle(std::span<const std::uint8_t> message);
  // A message of a file, whatever its device number.
  bool LoadData(std::span<const std::uint8_t> message, std::string* why);
  // The message of a single or multi; empty: no such item, or nothing in it.
  std::vector<std::uint8_t> ItemMessage(int area, int item) const;
  // A program change; `bank` is the value of the controller that chose it.  Parameters change the single that it chose.
  void Select(int bank, int program);
  void ArrangeFactory();

 private:
  using Bytes = std::vector<std::uint8_t>;
  enum class Verdict : std::uint8_t { kTaken, kWrong, kProtected, kFull };

  const KitInfo& info() const { return *core_.description.kits; }
  const KitInfo::Bank* FindBank(int code) const;
  Bytes Head(int function) const;
  void Say(int reply);
  // The bytes of a single on the wire, with its checksums; and the size without making it.
  static Bytes WithSums(std::span<const std::uint8_t> single);
  static std::size_t WireSize(std::span<const std::uint8_t> single);
  // Takes a single off the front of wire bytes; nothing when it is not whole or a checksum is wrong.
  static std::optional<Bytes> TakeSingle(std::span<const std::uint8_t>& wire);
  // Bytes of a bank that are in use, but for one item.
  std::size_t UsedBytes(int area, int without) const;
  Bytes BankMessage(const KitInfo::Bank& bank) const;

  void OnRequest(std::span<const std::uint8_t> message, bool block);
  // Looks at everything first, then writes.
  Verdict TakeData(std::span<const std::uint8_t> message, bool force);
  Verdict TakeOne(const KitInfo::Bank& bank, int item, std::span<const std::uint8_t> wire, bool force);
  Verdict TakeBank(const KitInfo::Bank& bank, std::span<const std::uint8_t> wire, bool force);
  Verdict TakeMultis(int first, int count, std::span<const std::uint8_t> wire, bool force);
  static std::optional<std::size_t> CommonPlace(int group, std::size_t block, std::size_t number);
  static std::optional<std::size_t> KitPlace(int group, std::size_t index, std::size_t number);
  void OnParameter(std::span<const std::uint8_t> message);

  EngineCore& core_;
  Bytes flash_;
  std::int64_t deafUntilUs_ = 0;
  const KitInfo::Bank* currentBank_ = nullptr;
  int current_ = 0;
};

}  // namespace tonalith
