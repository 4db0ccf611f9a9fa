// Any bytes through the listing, into one text and into small line buffers, and through the stepping of the
// interpreter.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "script/listing.h"
#include "script/statement_table.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  if (size > 20000) return 0;
  const std::vector<std::uint8_t> code(data, data + size);
  const ListingResult result = ListScript(code);
  if (result.stoppedAt > size) std::abort();
  std::vector<std::string> buffers(3, std::string(64, '\0'));
  std::vector<char*> lines;
  for (std::string& buffer : buffers) lines.push_back(buffer.data());
  SynUnCompile(lines, 64, code, nullptr);
  for (std::size_t at = 0; at < size;) {
    const std::size_t bytes = OperandBytes(code.data() + at, size - at);
    if (bytes == kBadStatement) break;
    if (bytes >= size - at) std::abort();
    at += 1 + bytes;
  }
  return 0;
}
