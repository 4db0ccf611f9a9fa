#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/instrument.h"

namespace tonalith {

// A recorded exchange.  Text form, one step a line: "OUT hex" (what the program is expected to send), "IN hex" (what it
// then receives), "WAIT ms", "#" begins a comment.  Hex digits in pairs, with or without blanks; "??" in an OUT line
// stands for any byte.
struct ConversationStep {
  enum class Kind : std::uint8_t { kOut, kIn, kWait };
  Kind kind = Kind::kOut;
  int line = 0;
  std::vector<std::uint8_t> bytes;
  std::vector<bool> any;  // as long as bytes: true where "??" stood
  std::int64_t waitMs = 0;
};

struct Conversation {
  std::vector<ConversationStep> steps;

  // At most 16 MiB of text, 60 minutes a WAIT; nullopt and a sentence with the line number otherwise.
  static std::optional<Conversation> Parse(std::string_view text, std::string* problem);
};

// Plays the instrument's part of a conversation.
class ConversationPlayer {
 public:
  explicit ConversationPlayer(Conversation conversation);

  // What comes before the program has said anything.
  std::vector<Reply> Start();
  // What the program sent; pieces of a message may come one by one.  Empty once something did not match.
  std::vector<Reply> OnBytes(std::span<const std::uint8_t> bytes);

  // Everything expected has been sent and everything to be received was handed out.
  bool Finished() const { return problem_.empty() && step_ >= conversation_.steps.size(); }
  // Empty, or e.g. "Line 3: expected 43 at byte 2 of 5 but got 41."
  const std::string& problem() const { return problem_; }
  // As problem(), or a sentence about what was still expected when the exchange ended; empty when all is well.
  std::string Verdict() const;

 private:
  std::vector<Reply> Advance();

  Conversation conversation_;
  std::size_t step_ = 0;
  std::size_t matched_ = 0;  // bytes of the current OUT step
  std::int64_t waitUs_ = 0;
  std::string problem_;
};

}  // namespace tonalith
