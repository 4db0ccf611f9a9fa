#include <cstddef>
#include <cstdint>
#include <string>

#include "studio/module.h"

// A module source: files one behind the other, each after a line "== NAME".
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  tonalith::ModuleSource source;
  std::string name = "module.ini";
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(at, end - at);
    if (line.rfind("== ", 0) == 0)
      name = line.substr(3);
    else
      source[name] += line + "\n";
    at = end + 1;
  }
  tonalith::ModuleImage image;
  const tonalith::Result result = tonalith::BuildModule(source, &image);
  if (!result.ok() && result.text.empty()) __builtin_trap();
  return 0;
}
