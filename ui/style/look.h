// Which of the palettes is shown.
#pragma once

namespace tonalith {

// The numbers are those of the setting.
enum class Look { System = 0, Light = 1, Dark = 2 };

// Gives the application its style and palette, at start and at any time later.  System takes what the desktop shows.
void SetLook(Look look);
Look ShownLook();
// What the desktop says it is, at any time; System: it does not say, and what Qt found when the program started counts.
void SetDesktopLook(Look look);
bool DesktopTellsLook();

}  // namespace tonalith
