#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr std::int64_t kKurzNameOffset = 13;
constexpr std::int64_t kKurzLongName = 32;
constexpr std::int64_t kKurzShortName = 16;
constexpr int kKurzPlainFormat = 6;
constexpr int kKurzPackedFormat = 16;

// Position of the F7 of the message in `slot`; its size when there is none.
std::int64_t EndOfMessage(std::span<const std::uint8_t> slot) {
  return std::find(slot.begin(), slot.end(), std::uint8_t{0xF7}) - slot.begin();
}

// Brings the name of a message to `length` characters; the rest of the message moves along, as far as the slot reaches.
void FitName(std::span<std::uint8_t> slot, std::int64_t end, std::int64_t length) {
  const auto nameStart = slot.begin() + kKurzNameOffset;
  const auto messageEnd = slot.begin() + std::min<std::int64_t>(end + 1, static_cast<std::int64_t>(slot.size()));
  const auto nameEnd = std::find_if(nameStart, messageEnd, [](std::uint8_t c) { return c == 0 || c == 0xF7; });
  const std::vector<std::uint8_t> rest(nameEnd, messageEnd);
  const std::int64_t nameLength = nameEnd - nameStart;
  const auto put = [slot](std::int64_t position, std::uint8_t value) {
    if (position < static_cast<std::int64_t>(slot.size())) slot[static_cast<std::size_t>(position)] = value;
  };
  for (std::int64_t i = nameLength; i < length; ++i) put(kKurzNameOffset + i, ' ');
  for (std::size_t i = 0; i < rest.size(); ++i) put(kKurzNameOffset + length + static_cast<std::int64_t>(i), rest[i]);
}

std::int64_t ExpectedLength(const Synth& synth, std::span<const std::uint8_t> slot, bool* known) {
  const auto at = [slot](std::size_t i) { return i < slot.size() ? std::int64_t{slot[i]} : 0; };
  const std::int64_t n = at(9) * 16384 + at(10) * 128 + at(11);
  *known = synth.storageFormat == kKurzPlainFormat || synth.storageFormat == kKurzPackedFormat;
  if (synth.storageFormat == kKurzPlainFormat) return n * 2 + 32;
  return *known ? n * 8 / 7 + 33 : 0;
}

std::string ShortMessageText(std::span<const std::uint8_t> slot, std::int64_t nameLength, std::int64_t index,
                             std::int64_t end, std::int64_t expected) {
  std::string name;
  for (std::int64_t i = 0; i < nameLength && kKurzNameOffset + i < static_cast<std::int64_t>(slot.size()); ++i) {
    const std::uint8_t c = slot[static_cast<std::size_t>(kKurzNameOffset + i)];
    if (c == 0) break;
    name += static_cast<char>(c);
  }
  return "The patch \"" + name + "\" (" + std::to_string(index) +
         ") of the dump appears to have been\n"
         "transmitted incorrectly from the instrument. This patch will not\n"
         "display properly and should not be sent back to the instrument!\n\n"
         "Bytes received = " +
         std::to_string(end) + "\nBytes expected = " + std::to_string(expected);
}

}  // namespace

int MacroStatements::Kurzweil(ZKMacro& m, const Op&) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  const std::span<std::uint8_t> data = FromCursor(Current(s));
  const std::int64_t stride = s.registers[2];
  if (stride <= 0 || data.empty()) return 0;
  const auto size = static_cast<std::int64_t>(data.size());
  const std::int64_t messages = std::clamp<std::int64_t>(s.registers[3], 0, (size + stride - 1) / stride);
  const auto slot = [&](std::int64_t i) {
    const std::int64_t first = i * stride;
    return data.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(std::min(stride, size - first)));
  };
  constexpr std::int64_t kMessageWork = 256;  // its text, when there is one to show
  const std::int64_t nameLength = Entry(s, 16) == 0 && Entry(s, 17) == 0 ? kKurzLongName : kKurzShortName;

  for (std::int64_t i = 0; i < messages; ++i) {
    const auto message = slot(i);
    if (const int stop = session.Work(static_cast<std::int64_t>(message.size()) + kMessageWork)) return stop;
    const std::int64_t end = EndOfMessage(message);
    if (end > kKurzNameOffset - 1 && static_cast<std::int64_t>(message.size()) > kKurzNameOffset) {
      FitName(message, end, nameLength);
    }
    bool known = false;
    const std::int64_t expected = ExpectedLength(*s.synth, message, &known);
    if (!known) session.Show("Warning! Invalid format for Kurzweil data!");
    const std::int64_t fittedEnd = EndOfMessage(message);
    if (fittedEnd < expected - 7) {
      session.Show(ShortMessageText(message, nameLength, i, fittedEnd, expected));
    }
  }

  const std::int64_t slots = s.registers[0];
  for (std::int64_t i = messages - 1; i >= 0; --i) {
    const auto message = slot(i);
    if (const int stop = session.Work(static_cast<std::int64_t>(message.size()))) return stop;
    if (message.size() < 9) continue;
    std::int64_t number = message[8] + 128 * message[7] - 100 * std::int64_t{s.registers[1]};
    if (slots > 100) --number;
    if (number == i || number < 0 || number >= slots || number * stride >= size) continue;
    const auto target = slot(number);
    const std::size_t count = std::min(target.size(), message.size());
    std::copy_n(message.begin(), count, target.begin());
    std::fill(message.begin(), message.end(), std::uint8_t{0});
  }
  return 0;
}

}  // namespace tonalith
