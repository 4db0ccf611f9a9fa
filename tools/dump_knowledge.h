// What is known of single SysEx messages: which data of the installed instruments they are, how long they have to be,
// whether their checksums are right.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

class ZKStudioDoc;
class TypeTable;

class DumpKnowledge {
 public:
  // Reads how the data of every type in the studio looks; the studio must outlive this.
  explicit DumpKnowledge(const ZKStudioDoc& studio);
  ~DumpKnowledge();
  DumpKnowledge(const DumpKnowledge&) = delete;
  DumpKnowledge& operator=(const DumpKnowledge&) = delete;

  enum class Verdict {
    Unknown,      // of no data type that is known
    WrongLength,  // begins as data that has one length, and has another
    Fits,         // is data, without a checksum that could be looked at
    Good,         // is data, and its checksums are right
    BadChecksum,  // is data, but for its checksums
  };
  struct Judgement {
    Verdict verdict = Verdict::Unknown;
    std::string what;        // "Kawai K4 Single A-2", UTF-8; empty: unknown
    std::size_t length = 0;  // that such data has; 0: it has no one length
    bool IsData() const { return verdict >= Verdict::Fits; }
    bool IsWhole() const { return verdict == Verdict::Fits || verdict == Verdict::Good; }
  };
  // `message`: F0 to F7 without real-time bytes.
  Judgement Judge(std::span<const std::uint8_t> message) const;
  // Puts the right checksums into a message with bad ones.  False: it could not be done.
  bool Seal(std::vector<std::uint8_t>* message) const;
  // The lengths that messages with this beginning (F0 first) may have.
  std::vector<std::size_t> LengthsOf(std::span<const std::uint8_t> beginning) const;
  // All lengths of messages of data, the longest first.
  const std::vector<std::size_t>& Lengths() const { return lengths_; }
  // The message says itself which place of the instrument it fills: a second one like it adds nothing.
  bool SaysItsPlace(std::span<const std::uint8_t> message) const;

 private:
  struct Shape;
  // Those that the message fits, length and all.
  std::vector<const Shape*> ShapesOf(std::span<const std::uint8_t> message) const;
  Verdict VerdictOf(const Shape& shape, std::span<const std::uint8_t> message, std::vector<std::uint8_t>* sealed) const;
  static std::size_t LengthOf(const Shape& shape, std::span<const std::uint8_t> message);
  std::string NameOf(const Shape& shape, std::span<const std::uint8_t> message) const;

  std::unique_ptr<TypeTable> table_;
  std::vector<Shape> shapes_;
  std::map<std::size_t, std::vector<std::size_t>> byLength_;  // places in shapes_; 0: of any length, or by address
  std::vector<std::size_t> lengths_;
};

}  // namespace tonalith
