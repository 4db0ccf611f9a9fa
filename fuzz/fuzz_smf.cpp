// Feeds any bytes to the Standard MIDI File reader; whole messages must come back through the writer.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "data/standard_midi_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  SmfContents contents;
  std::string error;
  if (!ReadSmfSysEx({data, size}, &contents, &error)) return 0;
  const SmfClock clock(contents);
  std::vector<SmfMessage> messages;
  std::size_t bytes = 0;
  for (const SmfSysEx& message : contents.messages) {
    bytes += message.bytes.size();
    if (!(clock.Milliseconds(message.tick, message.track) >= 0)) __builtin_trap();
    if (message.isTerminated) messages.push_back({message.bytes, message.tick});
  }
  if (bytes > 2 * size) __builtin_trap();
  SmfContents again;
  if (!ReadSmfSysEx(WriteSmfSysEx(messages, "fuzz"), &again, &error)) __builtin_trap();
  if (again.messages.size() != messages.size()) __builtin_trap();
  for (std::size_t i = 0; i < messages.size(); ++i) {
    const auto& got = again.messages[i].bytes;
    if (!std::equal(got.begin(), got.end(), messages[i].bytes.begin(), messages[i].bytes.end())) __builtin_trap();
  }
  return 0;
}
