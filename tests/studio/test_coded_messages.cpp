#include <gtest/gtest.h>

#include "data/checksums.h"
#include "script/hydrasynth.h"
#include "studio/coded_messages.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

CodedMessages Coding() {
  CodedMessages coding;
  std::string error;
  EXPECT_TRUE(ParseBytePattern("F0 00 20 2B 00 6F", &coding.head, &error));
  EXPECT_TRUE(ParseBytePattern("16 00", &coding.piece, &error));
  coding.index = 2;
  coding.count = 3;
  coding.data = 4;
  return coding;
}

Bytes Message(const Bytes& payload, std::uint32_t wrong = 0) {
  const std::uint32_t check = ~rc_crc32(0, payload.data(), static_cast<std::int64_t>(payload.size())) ^ wrong;
  Bytes record;
  for (unsigned i = 0; i < 4; ++i) record.push_back(static_cast<std::uint8_t>(check >> 8 * i));
  record.insert(record.end(), payload.begin(), payload.end());
  Bytes message = {0xF0, 0x00, 0x20, 0x2B, 0x00, 0x6F};
  const Bytes text = Base64::Encode(record);
  message.insert(message.end(), text.begin(), text.end());
  message.push_back(0xF7);
  return message;
}

// What becomes of a row of messages: the data of each whole, "!" in front when a check value was wrong.
std::vector<std::string> Wholes(const std::vector<Bytes>& messages, std::size_t* lost) {
  const CodedMessages coding = Coding();
  CodedAssembler assembler(coding);
  std::vector<std::string> wholes;
  for (const Bytes& message : messages) {
    Bytes whole;
    bool bad = false;
    EXPECT_EQ(assembler.Add(message, &whole, &bad), message[1] == 0x00);
    if (whole.empty()) continue;
    wholes.push_back((bad ? "!" : "") + std::string(whole.begin() + 6, whole.end() - 1));
  }
  *lost = assembler.lost();
  return wholes;
}

}  // namespace

TEST(CodedMessages, PiecesInOrderBecomeOne) {
  const Bytes lock = Message({0x18, 0}), first = Message({0x16, 0, 0, 2, 'a', 'b'}),
              second = Message({0x16, 0, 1, 2, 'c'}), torn = Message({0x16, 0, 1, 2, 'c'}, 1),
              alone = Message({0x16, 0, 0, 1, 'x'});
  Bytes noText = first;
  noText[8] = '*';
  const Bytes foreign = {0xF0, 0x43, 0x00, 0xF7};
  struct Case {
    const char* what;
    std::vector<Bytes> messages;
    std::vector<std::string> wholes;
    std::size_t lost;
  };
  const std::vector<Case> cases = {
      {"with commands and something else between", {lock, first, foreign, lock, second, lock}, {"abc"}, 0},
      {"one after another", {first, second, alone, first, second}, {"abc", "x", "abc"}, 0},
      {"a wrong check value", {first, torn, first, second}, {"!abc", "abc"}, 0},
      {"begun anew", {first, first, second}, {"abc"}, 1},
      {"the first is missing", {second, alone}, {"x"}, 1},
      {"the last is missing", {lock, first}, {}, 1},
      {"no base64", {noText, second}, {}, 2},
      {"twice the last", {first, second, second}, {"abc"}, 1},
      {"no payload", {{0xF0, 0x00, 0x20, 0x2B, 0x00, 0x6F, 0xF7}}, {}, 1},
  };
  for (const Case& c : cases) {
    std::size_t lost = 0;
    EXPECT_EQ(Wholes(c.messages, &lost), c.wholes) << c.what;
    EXPECT_EQ(lost, c.lost) << c.what;
  }
}

}  // namespace tonalith
