#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "midi/receive_options.h"
#include "platform/result.h"
#include "studio/verify_rule.h"
#include "studio/volatile_places.h"

namespace tonalith {

// How the data of one data type looks in a file.  Kept in section "Recognize %d" of the module INI (%d = driver id);
// further forms of the same data type in "Recognize %d.1", "Recognize %d.2" ...  Numbers are decimal (0x.. for hex),
// bytes hex; '?' in a byte stands for any hex digit.
//
//   Message0=F0 43 0? 09 20 00 | length 4104 | at 0 | skip 0 | take 4104
//       a message that begins so.  length: bytes from F0 to F7 (default: the image; `length any`); at: where it goes in
//       the image (default: behind the message before); skip: bytes left out in front; take: bytes kept
//       with `length any` an answer of the instrument has: least N STEP: N bytes, and more only in groups of STEP (1);
//       counted AT FIXED EACH: the two seven-bit bytes at AT, the lower one first, say how many times EACH bytes follow
//       FIXED ones, packed seven in eight behind them; turns AT N: byte AT says how many groups there are, N in the
//       least size; sized AT N [low]: the two seven-bit bytes at AT, the higher (low: the lower) one first, count
//       bytes, N in the least size
//   Message1=...           more messages of the same piece, one behind the other in the file
//   Slots=BYTE FIRST COUNT the message (or the row of messages) fills one voice slot; byte BYTE of the first one minus
//                          FIRST is the slot
//   Slots=BYTE FIRST COUNT | behind F0 42 3? 03 11
//       the slot stands in the message behind it, which begins so (what stores the data in the instrument)
//   Slots=BYTE FIRST COUNT | high BYTE
//       the slot has 14 bits: those above the lower seven stand in this byte
//   Slots=BYTE FIRST COUNT | voices N
//       a message fills N voices from the slot on; the image keeps the messages whole, one behind the other
//   Slots=order COUNT      the messages say no place: they fill the slots in the order of the file
//   Context=F0 10 06 0A | 01 | default
//       the last message before that begins with the first part must go on with the second; `default`: also without
//       such a message
//   Address=F0 41 ?? 14 12 | 3
//       messages that carry data by address: how they begin, and the number of address bytes that follow (7 bits each,
//       highest first).  Behind the data stand a checksum over address and data and F7.
//   Area0=02 00 00 | step 00 03 40 | slots 64
//       where the image lies; with slots: one voice (a bank) or one patch number (a single patch) every step
//   Block0=00 00 00 | size 448 | at 0 | framed
//       what lies at an address inside the area (or slot), and where it goes in the image (or voice slot).  framed: the
//       image keeps whole messages
//   Complete=1             only when nothing is missing; else two voices of a bank are enough
//   PatchByte=N BANK FIRST | first VALUE | count VALUES
//                          byte that is the patch number of a single patch, counted over all messages of the form; with
//                          BANK, byte BANK of the first message counts banks of 128 from the value FIRST (0) on.  The
//                          number is what the byte has beyond VALUE (0); with a byte that is none of the VALUES (up to
//                          7F) the messages are no such data
//   NumberAs=ID            a single patch is numbered as in the bank with this driver id, numbers beyond it as in the
//                          banks that follow
//   EmptyAnswer=F0 F7      what the instrument answers when a place of the bank holds nothing
//   Volatile=5, 12..14
//       bytes of every patch, unpacked, that the instrument changes by itself: they are not compared
//   Verify0=TYPE START COUNT OFFSET | times N | step S | or BYTE
//       a checksum inside the image, in the terms of CSum; one that is BYTE (hex) is right whatever it should be.
//       Without any: the descriptor's own checksum
//       times any: as often as it fits; more AT EACH: byte AT of the image says how often EACH bytes more are counted;
//       behind AT EACH: how often EACH bytes further on it stands; size N: images of more than N bytes have so many
//       more to count.  A sum behind what it counts goes along with the end of that.

struct BytePattern {
  std::vector<std::uint8_t> value;
  std::vector<std::uint8_t> mask;  // bits that must agree

  std::size_t size() const { return value.size(); }
  bool Matches(std::span<const std::uint8_t> bytes) const;  // bytes may be longer
};

struct MessageRule {
  BytePattern pattern;
  std::uint32_t length = 0;  // 0: any
  std::uint32_t at = 0;
  std::uint32_t skip = 0;
  std::uint32_t take = 0;  // with length 0: what is left
  // Of answers with length 0.
  std::uint32_t least = 0, step = 1;
  std::uint32_t countAt = 0, countFixed = 0, countEach = 0;
  std::uint32_t turnsAt = 0, leastTurns = 0;
  std::uint32_t sizedAt = 0, sizedLeast = 0;
  bool sizedLowFirst = false;
  // The most bytes of a bank that has as many patches as there are.  Its messages in files are held to such a size as
  // well, as the patches follow from it.
  std::uint32_t most = 0;

  AnswerMessage Answer() const;
};

struct AreaRule {
  std::uint32_t base = 0;  // 7-bit groups put together
  std::uint32_t step = 0;
  std::uint32_t slots = 0;  // 0: the area is one image
};

struct BlockRule {
  std::uint32_t offset = 0;
  std::uint32_t size = 0;
  std::uint32_t at = 0;
  bool framed = false;
};

struct RecognizeRule {
  std::vector<MessageRule> messages;
  bool hasSlots = false;
  std::uint32_t slotByte = 0, slotFirst = 0, slotCount = 0;
  int slotHigh = -1;  // byte with the bits above those of slotByte; -1: it is the whole number
  bool slotsInOrder = false;
  std::uint32_t slotVoices = 1;  // that one message fills
  BytePattern slotMessage;       // the message behind holds slotByte; empty: it stands in the message itself
  BytePattern contextFamily, contextRest;
  bool hasContext = false, contextDefault = false;
  BytePattern address;
  std::uint32_t addressBytes = 0;
  std::vector<AreaRule> areas;
  std::vector<BlockRule> blocks;
  bool complete = false;
  int patchByte = -1;
  int patchBankByte = -1, patchFirstBank = 0;
  int patchFirst = 0, patchCount = 128;  // values that the byte may have
  int numberAs = -1;
  std::vector<VerifyRule> verify;
  std::vector<VolatilePlaces> changing;  // bytes of a patch that the instrument changes by itself
  BytePattern emptyAnswer;               // of a bank, for a place that holds nothing; no bytes: none is known
  bool byAnswer = false;                 // no rule of the module: FormsOfAnswer

  bool byAddress() const { return addressBytes != 0; }
  // The byte slotByte of the message itself says where it goes.
  bool slotInMessage() const { return hasSlots && !slotsInOrder && slotMessage.size() == 0; }
  // The number that a message says for a slot, and its bytes; false when there is no room for it.
  bool PutSlot(std::uint32_t slot, std::span<std::uint8_t> message) const;
  // The number less slotFirst; below 0 or slotCount and more: none of these slots.
  std::int64_t SlotIn(std::span<const std::uint8_t> message) const;
  // Where the messages that begin with a slot go in the image.
  std::uint64_t SlotPlace(const Synth& synth, std::uint32_t slot) const {
    if (slotVoices > 1) return std::uint64_t{slot} / slotVoices * messages.front().take;
    return synth.headerSize + std::uint64_t{synth.voiceSize} * slot;
  }
  // Image bytes of a framed block: header, address, data, checksum, F7.
  std::uint32_t FramedSize(const BlockRule& block) const {
    return static_cast<std::uint32_t>(address.size()) + addressBytes + block.size + 2;
  }
};

// An entry is parts with '|' between; the first is its value, the others are options: a word and what follows it.
struct RuleOption {
  std::string word, rest;  // the word in lower case
};
std::vector<RuleOption> SplitOptions(std::string_view value);
std::string_view FirstPart(std::string_view value);
// A number from 0 to 0x3FFFFFFF; up to four 7-bit bytes as one number (`bytes`, may be null: how many).
bool RuleNumber(std::string_view text, std::uint32_t* out);
// All numbers of a text with blanks between; false when one of them is none.
bool RuleNumbers(std::string_view text, std::vector<std::uint32_t>* out);
bool RuleAddress(std::string_view text, std::uint32_t* out, std::size_t* bytes = nullptr);

// "F0 4? ??"; nothing but hex digits, '?', blanks.  False with a sentence.
bool ParseBytePattern(std::string_view text, BytePattern* out, std::string* error);

// Reads one form of a data type from its entries (key and value, in order; keys without regard to case and with or
// without a number).  The descriptor fills in what is left out and bounds everything: all places lie inside the image.
// On failure Result::code is the index of the entry plus 1; one more than the last is about the form as a whole.
Result ParseRecognizeRule(const std::vector<std::pair<std::string, std::string>>& entries, const Synth& synth,
                          RecognizeRule* out);

// Writes what the messages of all data have alike into an image (open bits stay): message starts, slot numbers,
// addresses, F7s.  Makes an empty image one that the instrument would take.
void FillFrame(const RecognizeRule& rule, const Synth& synth, std::span<std::uint8_t> image);
// Stores every checksum of the rule (or the descriptor's own) into an image.
void StoreChecksums(const RecognizeRule& rule, const Synth& synth, std::span<std::uint8_t> image);

// Number of 7-bit bytes, highest first.
std::uint32_t SevenBitNumber(std::span<const std::uint8_t> bytes);

}  // namespace tonalith
