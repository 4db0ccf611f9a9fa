#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "data/data_records.h"
#include "midi/receive_options.h"

namespace tonalith {

struct TransferContext;

// One message of an answer and where it goes in the image, or in the patch of a bank that is got patch by patch.
struct AnswerPart {
  AnswerMessage message;
  std::uint32_t at = 0;
  std::uint32_t address = 0;  // of forms by address: how far behind the address that is asked for
};

// One way in which the data of a type comes.
struct AnswerForm {
  std::vector<AnswerPart> parts;
  int slotByte = -1;  // byte of the first message that is the patch's place in the bank plus slotFirst; -1: none
  int slotFirst = 0;
  int slotHigh = -1;     // byte with the bits of that above the lower seven; -1: slotByte is all of it
  int addressByte = -1;  // where the address stands in request and answer; -1: none
  int addressBytes = 0;
};

// How a data type looks when it comes: what the module says of its messages.
struct AnswerRules {
  std::vector<AnswerForm> forms;
  AnswerMessage empty;  // what is answered for a place of a bank that holds nothing; length 0: nothing is known of it
};

// Whether these bytes, all that came, say that the place holds nothing.
bool SaysEmpty(const AnswerRules& rules, std::span<const std::uint8_t> bytes);

// What the next receive takes for its answer.
struct AwaitedAnswer {
  std::vector<AnswerStep> steps;  // empty: anything
  bool every = false;             // the one step holds for any number of messages
  bool wholePatch = false;        // it brings one patch of a bank
  bool numbered = false;          // it says which
};

// What a transfer knows of the requests before.
struct AnswerHistory {
  std::vector<std::uint8_t> answer;  // the last patch that came
  int patch = -1;                    // and where it belongs
  int askedPatch = -1;
  int owed = 0;           // requests for it that nobody answered; the answers may still come
  int owedBefore = 0;     // the same of other patches
  bool heard = false;     // something came after a request
  bool restless = false;  // what comes late has to pass by before the next request
};

// What answers the staged request of the context and fills `size` bytes of the image (or patch) from `at` on; -1: bytes
// that go elsewhere.  Without rules for that, any message of the maker when `byMaker`.
AwaitedAnswer AnswerTo(const Synth& synth, const TransferContext& context, std::int64_t at, std::int64_t size,
                       bool byMaker);

}  // namespace tonalith
