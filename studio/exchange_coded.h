#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "studio/coded_messages.h"
#include "studio/exchange_message.h"

namespace tonalith {

// Data that goes in pieces of coded text.
struct CodedExchange {
  CodedMessages coding;
  std::int64_t size = 0;                                         // bytes of the data
  std::vector<std::pair<std::int64_t, ExchangeMessage>> places;  // offset, and what stands there in what is sent
  ExchangeMessage answer;                                        // to each piece
};

// Statements that send all pieces, each when the one before was answered.  Empty, with a sentence, when a message would
// become too long.
std::string CodedPiecesText(const CodedExchange& exchange, std::string* error);

}  // namespace tonalith
