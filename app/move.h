#pragma once

#include <cstddef>
#include <cstdint>

#include "document/move.h"
#include "platform/message_numbers.h"

namespace tonalith {

class ZKWindow;

// The record of a request to a window, as scripts and the numbered messages know it.  Made here only; everything else
// uses Move and the typed methods of the windows.  It holds numbers, never addresses: a move travels as the number of
// its offer.
struct Message {
  std::uint8_t kind = 0;    // WindowRequest
  std::uint8_t flags = 0;   // kMessageFromSet ...
  std::uint8_t action = 0;  // MoveAction
  std::uint8_t reserved3[5] = {};
  std::int32_t destination = -1;  // slot or row, from 0; -1: the receiver's selection
  std::int32_t sourceEntry = -1;
  std::uint64_t sourceDocument = 0;  // Document::Number
  std::int32_t sourceWindow = 0;     // WindowType
  std::uint8_t reserved28[20] = {};
  std::uint64_t p1 = 0;  // of a move: the number of its offer
  std::uint64_t p2 = 0;
  std::uint64_t p3 = 0;
  std::int64_t result = 0;
};
static_assert(sizeof(Message) == 80);
static_assert(offsetof(Message, p1) == 48 && offsetof(Message, p2) == 56 && offsetof(Message, p3) == 64 &&
              offsetof(Message, result) == 72);

inline constexpr std::uint8_t kMessageFromSet = 1;
inline constexpr std::uint8_t kMessageNoKeywords = 2;
inline constexpr std::uint8_t kMessageFromPluginClient = 4;

// A request without parameters.
Message RequestMessage(WindowRequest request);
// The message for a move on offer; kind 0 when there is no such offer.
Message MoveMessage(const MovesOnOffer& moves, std::uint64_t number);

// Does what a message asks of a window; the answer goes into its `result` and is returned.  A window type's code, 1 for
// what was taken, 0 for what was refused or is not known.
std::int64_t SendMessage(ZKWindow& window, MovesOnOffer& moves, Message& message);

}  // namespace tonalith
