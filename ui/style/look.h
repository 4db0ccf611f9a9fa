// Which of the palettes is shown.
#pragma once

namespace tonalith {

// The numbers are those of the setting.
enum class Look { System = 0, Light = 1, Dark = 2 };

// Gives the application its style and palette, at start and at any time later.  System takes what the desktop shows.
void SetLook(Look look);

// What the desktop says about itself; Unknown: it says nothing, the toolkit's own palette tells.
enum class DesktopScheme { Unknown, Light, Dark };
// Windows that look as the desktop does change at once.
void SetDesktopScheme(DesktopScheme scheme);
// Somebody said what the desktop is, and will say when it changes.
bool DesktopIsHeard();
// The desktop may look different now: gives windows that look as it does the palette they should have.
void FollowDesktop();
// The palette that is shown.
bool IsDarkShown();
Look ShownLook();

}  // namespace tonalith
