#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "studio/exchange_message.h"

namespace tonalith {

// Script texts for exchanges in which the other side says what it thinks of what it got.

// What the instrument may say.
struct ExchangeAnswers {
  ExchangeMessage taken;
  std::optional<ExchangeMessage> refused;  // an answer like that which is not `taken`
  std::optional<ExchangeMessage> again;    // the same is to be sent once more
};

// Ends of a wait, in kVerdictVariable.
enum class ExchangeVerdict { kTaken = 0, kRefused = 1, kAgain = 2, kSilent = 3 };

// Nothing, with a sentence, when the answers are not of one kind: they have one length and differ in some bytes.
bool AnswersFit(const ExchangeAnswers& answers, std::string* error);

// Statements that wait for one of the answers to what was staged; they are kept apart from the data.
std::string AwaitText(const ExchangeAnswers& answers);

// One block of data that is received, checked and acknowledged.
struct ExchangeBlock {
  std::int64_t size = 0;
  std::optional<ExchangeMessage> request;  // asks for the first
  ExchangeMessage taken, again;            // what is said to a good and to a damaged one
  struct Sum {
    std::uint8_t type = 0;
    std::int64_t start = 0, count = 0, offset = 0;
  };
  std::optional<Sum> sum;
};
// Statements that get the block at kPlaceVariable and move that on; the answer `taken` is left staged for the next
// receive.  One that is damaged is asked for again as often as a piece is.
std::string BlockText(const ExchangeBlock& block);

// Statements that send `work` once more until its verdict is another than kAgain; at most as often as a piece is sent.
std::string SendAgainText(const std::string& work);

// Statements around those: how often something may be sent or asked for again, and what is left of it.
std::string BudgetText();

}  // namespace tonalith
