#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "studio/auto_configuration.h"

// The module INI up to the first F0, behind it a reply: every number is inside its limits, and whatever fits is an
// identity reply.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  const std::span<const std::uint8_t> bytes(data, size);
  std::size_t split = 0;
  while (split < size && bytes[split] != 0xF0) ++split;
  const IniFile module = IniFile::FromBytes({reinterpret_cast<const char*>(data), split});
  const auto reply = bytes.subspan(split);
  const DeviceInquiry inquiry = ReadDeviceInquiry(module);
  if (inquiry.chMin < -1 || inquiry.chMax > 127 || inquiry.chMin > inquiry.chMax || inquiry.separationMs > 10'000 ||
      inquiry.repeats > 100 || inquiry.patterns.empty() || inquiry.patterns.size() > 200)
    std::abort();
  if (ReadPreDeviceInquiry(module).message.size() > 65'536) std::abort();
  const int pattern = MatchIdentityReply(inquiry, reply);
  if (pattern >= static_cast<int>(inquiry.patterns.size())) std::abort();
  if (pattern >= 0 && !ParseIdentityReply(reply)) std::abort();
  AutoConfigAnswer answer{"in", "out", {reply.begin(), reply.end()}, false};
  if (!reply.empty() && answer.Text().empty()) std::abort();
  (void)AutoConfigVersionText(inquiry.patterns);
  return 0;
}
