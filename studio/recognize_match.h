#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "studio/file_messages.h"
#include "studio/recognize_rules.h"

namespace tonalith {

// Messages that together are one piece of a data type.
struct PieceMatch {
  std::vector<std::uint32_t> messages;  // indices, in file order
  std::vector<std::uint32_t> attached;  // further messages that only say where those belong
  std::size_t bytes = 0;                // of these messages
  std::vector<std::uint8_t> body;       // the image; empty while the match is only planned
  std::vector<std::uint32_t> slots;     // voice slots filled; empty: everything
  int patchNumber = -1;
  int channel = -1;
  int context = -1;               // the message before it that the form asks for
  std::uint32_t area = 0;         // of a rule by address
  std::uint32_t badMessages = 0;  // address messages with a wrong checksum

  // For the next match, in the same memory.
  void Clear() {
    std::vector<std::uint32_t> emptied = std::move(messages);
    emptied.clear();
    *this = {};
    messages = std::move(emptied);
  }
};

// Lets messages know the context message before them.  `families` are the beginnings of all such messages.
void LinkContexts(const std::vector<BytePattern>& families, std::vector<FileMessage>* messages);

// Tries one form of a data type on the messages from `first` on (which is unused).  False when it is not there.
// The match of a rule by address has its body; the body of a message rule is made by BuildMatchBody.
// `budget` counts down with the work done; rules that look further than their own message give up below 0.
bool MatchRule(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages,
               std::uint32_t first, std::int64_t* budget, PieceMatch* out);
// The image is the one message of the match, byte by byte.
bool IsWholeMessage(const RecognizeRule& rule, const Synth& synth);
// Makes the body.  What the messages do not cover is as in `initial`, the image of new data.
void BuildMatchBody(const RecognizeRule& rule, const Synth& synth, const std::vector<FileMessage>& messages,
                    std::span<const std::uint8_t> initial, PieceMatch* match);

}  // namespace tonalith
