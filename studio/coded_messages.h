#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/ini_file.h"
#include "studio/recognize_rules.h"

namespace tonalith {

// How an instrument sends data in pieces of coded text.  Kept in section "Coded Messages" of the module INI:
//
//   Head=F0 00 20 2B 00 6F      how every such message begins; behind it the text and F7
//   Coding=base64-crc32         the text holds four check bytes (the inverted CRC-32, lowest byte first) and a payload
//   Piece=16 00 | index 2 | count 3 | data 4
//       payloads that carry data begin so; where their number (from 0), the number of pieces and the data stand
//
// All pieces of one transmission together are to the rules of data types one message: the head, the data of all pieces
// (8-bit bytes), F7.
struct CodedMessages {
  BytePattern head;
  BytePattern piece;
  std::uint32_t index = 0, count = 0, data = 0;  // places in the payload
};

// Nothing when the module has no such section, or with a sentence in *problem when it is wrong.
std::optional<CodedMessages> ReadCodedMessages(const IniFile& module, std::string* problem);

// What a coded message holds.
struct CodedPayload {
  std::vector<std::uint8_t> bytes;
  bool checked = false;  // the check bytes are right
  bool IsPiece(const CodedMessages& coding) const;
};
// Nothing when the message does not begin with the head or its text cannot be decoded.
std::optional<CodedPayload> DecodeMessage(const CodedMessages& coding, std::span<const std::uint8_t> message);

// Puts messages together, in the order of the file.
class CodedAssembler {
 public:
  explicit CodedAssembler(const CodedMessages& coding) : coding_(coding) {}

  // True when the message belongs to the coding.  `whole` gets the message that the rules see once the last piece is
  // there, and `bad` whether a check value was wrong.
  bool Add(std::span<const std::uint8_t> message, std::vector<std::uint8_t>* whole, bool* bad);
  // Pieces are there of what is not whole yet.
  bool collecting() const { return pending_ > 0; }
  // Pieces that never became whole.
  std::size_t lost() const { return lost_ + pending_; }

 private:
  const CodedMessages& coding_;
  std::vector<std::uint8_t> data_;
  std::uint32_t next_ = 0;
  std::size_t pending_ = 0;
  std::size_t lost_ = 0;
  bool bad_ = false;
};

}  // namespace tonalith
