#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/engine_core.h"

namespace tonalith {

// Messages and requests that a description spells out byte by byte.
class MessageEngine {
 public:
  explicit MessageEngine(EngineCore& core) : core_(core) {}

  // A complete message F0..F7 from the cable; false when nothing in the description matches.
  bool Handle(std::span<const std::uint8_t> message);
  // A message of a file, whatever its device number; commands that choose a bank are followed.
  bool LoadData(std::span<const std::uint8_t> message, std::string* why);
  // The message with the present contents of memory.  `item` is where the captured item number stands.
  std::vector<std::uint8_t> Encode(const MessageInfo& message, int item) const;
  // Sends messages, once for each item of a range.
  void SendAll(const std::vector<RuleInfo::Send>& sends, int item);
  // The messages of a list, for `item` where it names none.
  std::vector<std::vector<std::uint8_t>> Messages(const std::vector<RuleInfo::Send>& sends, int item) const;
  // What the instrument would say to be understood by another one of its kind: the messages
  // of the description's `file`, and those that choose a bank.
  std::vector<std::vector<std::uint8_t>> Everything() const;
  // Milliseconds for which the instrument is busy with a block, when the bytes of a message so far end one; else 0.
  int BlockPause(std::span<const std::uint8_t> begun) const;
  // The message that chooses the bank of an item; empty: the item's own message says it, or there are no banks.
  std::vector<std::uint8_t> BankChoice(const MessageInfo& message, int item) const;

 private:
  enum class Verdict : std::uint8_t { kTaken, kBadLength, kBadSum };
  struct DataMatch {
    const MessageInfo* message = nullptr;
    std::size_t headSize = 0;
    int item = 0;
  };
  struct PartRange {
    int area = 0;
    int first = 0;
    int count = 0;
    SumKind itemSum = SumKind::kNone;
    bool sumAhead = false;
    std::size_t offset = 0;  // the bytes of each item that are meant
    std::size_t bytes = 0;
    bool plain = false;
  };
  // The items a list means, one after the other.
  void EachItem(const std::vector<RuleInfo::Send>& sends, int item,
                const std::function<void(const MessageInfo& message, int item)>& use) const;
  // `count`: of the items that there may be fewer of; -1: as many as the instrument holds.
  std::vector<PartRange> Ranges(const MessageInfo& message, int item, int count = -1) const;
  int Held(const MessageInfo& message) const;
  // So many items a message of this size has, where there may be fewer; 0: no number of them has this size, -1: it has
  // always as many.
  int CountIn(const MessageInfo& message, std::size_t headSize, int item, std::size_t size) const;
  // What the head says of the number of items is so.
  bool HeadFits(const MessageInfo& message, int item, int count, std::span<const std::uint8_t> bytes) const;
  // Bytes of the data before packing.
  static std::size_t PlainSize(const std::vector<PartRange>& ranges);
  // Of these, at the end, the ones that are not packed.
  static std::size_t TailSize(const std::vector<PartRange>& ranges);
  // The message carries one item that may be shorter.
  bool LengthIsRight(const MessageInfo& message, std::size_t headSize, int item, std::size_t size) const;
  bool IsVariable(const std::vector<PartRange>& ranges) const;
  Verdict DecodeVariable(const MessageInfo& message, std::size_t headSize, const PartRange& range,
                         std::span<const std::uint8_t> bytes);
  // The data message that the bytes are: of several that begin alike the one of this length.  False: none.
  bool FindData(std::span<const std::uint8_t> bytes, int device, bool file, DataMatch* match) const;
  std::vector<std::uint8_t> Head(const MessageInfo& message, int item, int count = -1) const;
  std::size_t BodySize(const MessageInfo& message, const std::vector<PartRange>& ranges) const;
  std::vector<std::uint8_t> EncodeFrames(const MessageInfo& message, std::span<const std::uint8_t> plain,
                                         std::size_t itemBytes) const;
  // Checks and unpacks; on success writes into memory.
  Verdict DecodeFrames(const MessageInfo& message, std::span<const std::uint8_t> body, std::size_t itemBytes,
                       std::vector<std::uint8_t>* plain) const;
  // Sums of everything from a place of the head on, behind every block of the data.
  static std::size_t RunningSums(const MessageInfo& message, std::size_t body);
  static void AppendWithSums(const MessageInfo& message, std::span<const std::uint8_t> body,
                             std::vector<std::uint8_t>* bytes);
  // The data between the sums; nothing when one is wrong.
  static std::optional<std::vector<std::uint8_t>> WithoutSums(const MessageInfo& message, std::size_t headSize,
                                                              std::span<const std::uint8_t> bytes);
  // Blocks of several items, each with a checksum behind and, but for the first, a count in front: the first checksum
  // takes the end of the head in.
  std::vector<std::size_t> BlockSizes(const MessageInfo& message, const std::vector<PartRange>& ranges) const;
  static std::vector<std::uint8_t> EncodeBlocks(const MessageInfo& message, std::span<const std::uint8_t> head,
                                                std::span<const std::uint8_t> plain,
                                                const std::vector<std::size_t>& sizes);
  static Verdict DecodeBlocks(const MessageInfo& message, std::size_t headSize, std::span<const std::uint8_t> bytes,
                              const std::vector<std::size_t>& sizes, std::vector<std::uint8_t>* plain);
  Verdict Decode(const MessageInfo& message, std::size_t headSize, int item, std::span<const std::uint8_t> bytes);
  void OnData(const MessageInfo& message, int item, std::span<const std::uint8_t> bytes);
  void Apply(const RuleInfo& rule, const Captures& captures);
  // Every item in a block of its own: how many bytes follow (two 7-bit bytes, high first), the packed data, its sum.
  static std::vector<std::size_t> ItemSizes(const std::vector<PartRange>& ranges);
  static std::vector<std::uint8_t> EncodeCounted(const MessageInfo& message, std::span<const std::uint8_t> plain,
                                                 const std::vector<std::size_t>& sizes);
  static Verdict DecodeCounted(const MessageInfo& message, std::span<const std::uint8_t> body,
                               const std::vector<std::size_t>& sizes, std::vector<std::uint8_t>* plain);
  // What follows from data that was taken.
  void Follow(const MessageInfo& message, int item);
  void OnStore(const RuleInfo& rule, const Captures& captures);
  bool Store(const RuleInfo& rule, const Captures& captures);
  void OnParameter(const RuleInfo& rule, const Captures& captures);
  bool SetParameter(const RuleInfo& rule, const Captures& captures, int part);
  // A message that a rule matches, cut into several where pieces of it are repeated; empty: it does not match.
  std::vector<Captures> Matches(const RuleInfo& rule, std::span<const std::uint8_t> message, int device) const;
  int ItemNumber(int bankSize, const Captures& captures) const;

  EngineCore& core_;
};

}  // namespace tonalith
