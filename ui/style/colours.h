// Named colours of both palettes.  Nothing else holds a colour of its own.
#pragma once

#include <QColor>
#include <QPalette>

class QWidget;

namespace tonalith {

enum class Shade {
  Window,     // behind everything
  Surface,    // documents, lists, fields
  Dock,       // the panes at the sides
  Raised,     // what lies on a surface: strips, chips, groups
  Line,       // quiet lines between things
  Edge,       // borders that tell what can be used: fields, boxes to check
  Hover,      // under the pointer
  Text,       //
  Secondary,  // what explains the text beside it
  Faint,      // numbers of rows, what is switched off; still to be read
  Accent,     // links, the one main button, the focus
  OnAccent,   // text on it
  Selection,  // behind what is selected
  Ok,
  Busy,
  Warning,
  Danger,
  Changed,  // differs from its file
  Unsent,   // differs from the instrument
};
inline constexpr int kShades = 19;

// In the palette that is shown, or in one of the two.
QColor ColourOf(Shade shade);
QColor ColourOf(Shade shade, bool dark);
// Whether the palette that is shown is the dark one.
bool IsDark();

// The palette of widgets made from the named colours.
QPalette PaletteOf(bool dark);

// Fills a widget with Window, Surface, Dock or Raised, in whichever palette is shown.
void SetGround(QWidget* widget, Shade ground);

// `part` of the way from one colour to another, 0 to 1.
QColor Between(const QColor& from, const QColor& to, double part);
// Numbers that have to be told apart, MIDI channels for instance: as many tones around the circle, dark text on them.
QColor ColourOfNumber(int number, int count);
// Keys of a keyboard look the same in both palettes.
QColor WhiteKey();
QColor BlackKey();
// Of drawn instruments: tones of cases, and the one accent, in degrees around the circle.
QColor CaseColour(int number);
QColor CaseAccent(int degrees);
// How far two colours stand apart, 1 to 21; text needs 4.5, lines and pictures 3.
double Contrast(const QColor& one, const QColor& other);

}  // namespace tonalith
