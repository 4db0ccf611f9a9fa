#include "simulator/conversation.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "simulator/text_tools.h"

namespace tonalith {
namespace {

constexpr std::size_t kLongestConversation = 16U << 20;
constexpr int kLongestWaitMs = 3'600'000;

std::string TwoHexDigits(std::uint8_t byte) {
  std::array<char, 4> text{};
  std::snprintf(text.data(), text.size(), "%02X", byte);
  return text.data();
}

// Fills bytes and wildcards; false with the offending text in *bad.
bool ParseHexLine(std::string_view text, bool wildcards, ConversationStep& step, std::string* bad) {
  std::string digits;
  for (const char c : text)
    if (c != ' ' && c != '\t' && c != '\r') digits.push_back(c);
  if (digits.empty()) {
    *bad = "no bytes are given";
    return false;
  }
  if (digits.size() % 2 != 0) {
    *bad = "the hex digits do not come in pairs";
    return false;
  }
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const bool any = wildcards && digits[i] == '?' && digits[i + 1] == '?';
    const int high = SimHexDigit(digits[i]);
    const int low = SimHexDigit(digits[i + 1]);
    if (!any && (high < 0 || low < 0)) {
      *bad = "\"" + digits.substr(i, 2) + "\" is no pair of hex digits";
      return false;
    }
    step.bytes.push_back(any ? std::uint8_t{0} : static_cast<std::uint8_t>(high << 4 | low));
    step.any.push_back(any);
  }
  return true;
}

}  // namespace

std::optional<Conversation> Conversation::Parse(std::string_view text, std::string* problem) {
  if (text.size() > kLongestConversation) {
    *problem = "The conversation is longer than 16 MiB.";
    return std::nullopt;
  }
  Conversation conversation;
  int number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find('\n');
    std::string_view line = StripBlanks(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    line = StripBlanks(line.substr(0, line.find('#')));
    if (line.empty()) continue;
    const std::size_t blank = line.find_first_of(" \t");
    const std::string_view word = line.substr(0, blank);
    const std::string_view rest =
        blank == std::string_view::npos ? std::string_view() : StripBlanks(line.substr(blank));
    ConversationStep step;
    step.line = number;
    std::string bad;
    if (word == "OUT" || word == "IN") {
      step.kind = word == "OUT" ? ConversationStep::Kind::kOut : ConversationStep::Kind::kIn;
      ParseHexLine(rest, word == "OUT", step, &bad);
    } else if (word == "WAIT") {
      step.kind = ConversationStep::Kind::kWait;
      const auto wait = ReadSimNumber(rest);
      if (!wait || *wait < 0 || *wait > kLongestWaitMs) bad = "WAIT takes 0 to 3600000 milliseconds";
      step.waitMs = wait.value_or(0);
    } else {
      bad = "a line begins with OUT, IN or WAIT";
    }
    if (!bad.empty()) {
      *problem = "Line " + std::to_string(number) + ": " + bad + ".";
      return std::nullopt;
    }
    conversation.steps.push_back(std::move(step));
  }
  return conversation;
}

ConversationPlayer::ConversationPlayer(Conversation conversation) : conversation_(std::move(conversation)) {}

std::vector<Reply> ConversationPlayer::Advance() {
  std::vector<Reply> replies;
  while (step_ < conversation_.steps.size()) {
    const ConversationStep& step = conversation_.steps[step_];
    if (step.kind == ConversationStep::Kind::kOut) break;
    if (step.kind == ConversationStep::Kind::kWait)
      waitUs_ += step.waitMs * 1000;
    else
      replies.push_back({step.bytes, waitUs_});
    ++step_;
  }
  return replies;
}

std::vector<Reply> ConversationPlayer::Start() {
  waitUs_ = 0;
  return Advance();
}

std::vector<Reply> ConversationPlayer::OnBytes(std::span<const std::uint8_t> bytes) {
  std::vector<Reply> replies;
  waitUs_ = 0;
  for (const std::uint8_t byte : bytes) {
    if (!problem_.empty()) return {};
    if (step_ >= conversation_.steps.size()) {
      problem_ = "After the last line: " + TwoHexDigits(byte) + " was sent although nothing more was expected.";
      return {};
    }
    const ConversationStep& step = conversation_.steps[step_];
    if (step.kind != ConversationStep::Kind::kOut) {  // only before Start()
      problem_ =
          "Line " + std::to_string(step.line) + ": " + TwoHexDigits(byte) + " was sent before this line was played.";
      return {};
    }
    if (!step.any[matched_] && step.bytes[matched_] != byte) {
      problem_ = "Line " + std::to_string(step.line) + ": expected " + TwoHexDigits(step.bytes[matched_]) +
                 " at byte " + std::to_string(matched_ + 1) + " of " + std::to_string(step.bytes.size()) + " but got " +
                 TwoHexDigits(byte) + ".";
      return {};
    }
    if (++matched_ < step.bytes.size()) continue;
    matched_ = 0;
    ++step_;
    auto more = Advance();
    replies.insert(replies.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
  }
  return replies;
}

std::string ConversationPlayer::Verdict() const {
  if (!problem_.empty() || step_ >= conversation_.steps.size()) return problem_;
  const ConversationStep& step = conversation_.steps[step_];
  const std::string line = "Line " + std::to_string(step.line) + ": ";
  if (matched_ > 0)
    return line + "only " + std::to_string(matched_) + " of " + std::to_string(step.bytes.size()) +
           " expected bytes were sent.";
  return line + "what should have been sent here was never sent.";
}

}  // namespace tonalith
