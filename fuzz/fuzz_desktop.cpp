// Feeds any bytes to the reader of desktop files; what it accepts must come back from the writer as it was read.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "services/desktop_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  std::vector<DesktopWindow> windows;
  const Result read = ReadDesktop({data, size}, &windows);
  if (!read.ok()) {
    if (!windows.empty() || read.text.empty()) __builtin_trap();
    return 0;
  }
  std::vector<DesktopWindow> again;
  if (!ReadDesktop(WriteDesktop(windows), &again).ok() || again.size() != windows.size()) __builtin_trap();
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const DesktopRect place =
        ClampedToArea({DesktopPixels(windows[i].x, 192), windows[i].y, windows[i].width, windows[i].height}, 800, 600);
    if (place.x < 0 || place.x >= 800 || place.width > 800) __builtin_trap();
    if (again[i].type != windows[i].type || again[i].x != windows[i].x) __builtin_trap();
    if (FitsDesktop(windows[i]) && again[i].FilePath() != windows[i].FilePath()) __builtin_trap();
  }
  return 0;
}
