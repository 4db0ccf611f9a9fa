#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "services/desktop_file.h"

namespace tonalith {

// How panes with tabs share the centre of the workspace: a pane, or parts side by side or one above the other.
struct TabLayout {
  bool sideBySide = true;            // of parts
  std::vector<TabLayout> parts;      // empty: a pane
  std::vector<int> shares;           // width (height) of each part
  std::vector<std::size_t> windows;  // of a pane: places in the list, in order
};

// More panes than that would leave nothing to see in them.
inline constexpr std::size_t kMostPanes = 6;

// Panes for windows that stood in these places.  Windows of one place share a pane; places that overlap, or cannot be
// divided by straight cuts, give one pane for all.
TabLayout LayoutOf(std::span<const DesktopRect> places);

}  // namespace tonalith
