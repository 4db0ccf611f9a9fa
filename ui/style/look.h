// Which of the palettes is shown.
#pragma once

namespace tonalith {

enum class Look { System, Light, Dark };

// Gives the application its style and palette, at start and at any time later.  System takes what the desktop shows.
void SetLook(Look look);
Look ShownLook();

}  // namespace tonalith
