#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tonalith {

// One window of a saved desktop.  Position and size are in units of 1/96 inch inside the main frame's client area.
struct DesktopWindow {
  int x = 0;
  int y = 0;
  int width = 0;  // 0: the window keeps its own size
  int height = 0;
  std::string directory;  // UTF-8, at most 255 bytes; both empty: the window has no file
  std::string name;
  int type = 0;  // WindowType
};

// A desktop file (".PVW"): the open windows, so that they can be opened together again.
std::vector<std::uint8_t> WriteDesktop(std::span<const DesktopWindow> windows);
// Nothing when the bytes are no desktop; windows behind a cut end are left out.
std::optional<std::vector<DesktopWindow>> ReadDesktop(std::span<const std::uint8_t> bytes);

}  // namespace tonalith
