// The one door to a terminal: standard output and standard error of the command line tool and of the program.
#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

#include "platform/plain_text.h"

namespace tonalith {

// Text of the program itself, known when it is compiled: goes out as it is, line ends included.
class OwnText {
 public:
  consteval OwnText(const char* text) : text_(text) {}
  constexpr std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

// What goes out as one plain line.
template <typename Text>
concept StrangersText = std::same_as<Text, std::string> || std::same_as<Text, std::string_view>;
// What goes out as a decimal number.
template <typename Number>
concept WrittenNumber = std::integral<Number> && !std::same_as<Number, char> && !std::same_as<Number, bool> &&
                        !std::same_as<Number, char32_t>;

// Writes to a stream.  Literals and constants go out as they are; every other text is a stranger's and goes out as one
// line (PlainLine).  A choice between literals is written `cond ? OwnText("a") : OwnText("b")`; a `const char*` that is
// no constant goes out as std::string_view.  Cheap to copy; the stream must outlive it.
class TerminalText {
 public:
  TerminalText(std::ostream& stream) : stream_(&stream) {}

  const TerminalText& operator<<(OwnText text) const;
  // UTF-8; names of records go through Latin1ToUtf8 first.
  template <StrangersText Text>
  const TerminalText& operator<<(const Text& text) const {
    return Line(text);
  }
  template <WrittenNumber Number>
  const TerminalText& operator<<(Number number) const {
    return Line(std::to_string(number));
  }

  // Text of several lines that the program put together (help, reports, listings): line feeds and tabs stay.  What a
  // stranger gave to it must have gone through PlainLine.
  const TerminalText& Lines(std::string_view text) const;
  // Data for another program: as they are.
  const TerminalText& Bytes(std::span<const std::uint8_t> bytes) const;

  void Flush() const;
  bool Takes() const;  // false: what was written did not go out

 private:
  const TerminalText& Line(std::string_view text) const;

  std::ostream* stream_;
};

// For output of very many lines: takes what TerminalText takes, by the same rules, and hands it on in large blocks. The
// last one goes out at its end.
class TerminalBlocks {
 public:
  explicit TerminalBlocks(TerminalText out) : out_(out) {}
  TerminalBlocks(const TerminalBlocks&) = delete;
  TerminalBlocks& operator=(const TerminalBlocks&) = delete;
  ~TerminalBlocks() { HandOn(); }

  TerminalBlocks& operator<<(OwnText text) {
    collected_ += text.text();
    return *this;
  }
  template <StrangersText Text>
  TerminalBlocks& operator<<(const Text& text) {
    AppendPlainLine(collected_, text);
    if (collected_.size() >= kBlock) HandOn();
    return *this;
  }
  template <WrittenNumber Number>
  TerminalBlocks& operator<<(Number number) {
    char digits[24];
    collected_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    return *this;
  }

 private:
  static constexpr std::size_t kBlock = std::size_t{1} << 16;

  void HandOn();

  TerminalText out_;
  std::string collected_;
};

// One sentence of a stranger on standard error, ended by a line feed; used by the log and before there is a stream.
void WriteErrorLine(std::string_view text);

}  // namespace tonalith
