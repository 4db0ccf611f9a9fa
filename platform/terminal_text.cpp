#include "platform/terminal_text.h"

#include <cstdio>
#include <ostream>

namespace tonalith {

namespace {

void Write(std::ostream& stream, std::string_view text) {
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace

const TerminalText& TerminalText::operator<<(OwnText text) const {
  Write(*stream_, text.text());
  return *this;
}

const TerminalText& TerminalText::Line(std::string_view text) const {
  if (IsPlainAscii(text))
    Write(*stream_, text);
  else
    Write(*stream_, PlainLine(text));
  return *this;
}

const TerminalText& TerminalText::Lines(std::string_view text) const {
  Write(*stream_, PlainLines(text));
  return *this;
}

const TerminalText& TerminalText::Bytes(std::span<const std::uint8_t> bytes) const {
  Write(*stream_, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  return *this;
}

void TerminalText::Flush() const {
  stream_->flush();
}

bool TerminalText::Takes() const {
  return static_cast<bool>(*stream_);
}

void TerminalBlocks::HandOn() {
  out_.Bytes({reinterpret_cast<const std::uint8_t*>(collected_.data()), collected_.size()});
  collected_.clear();
}

void WriteErrorLine(std::string_view text) {
  const std::string line = PlainLine(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace tonalith
