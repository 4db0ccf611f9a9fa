// Icons of one family: lines of 1.5 on a field of 24, drawn from the compiled-in shapes in the colours of the palette,
// so they are sharp at every scale and right in both palettes.
#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QRectF>
#include <QString>

#include "ui/style/colours.h"

class QPainter;

namespace tonalith {

enum class Glyph {
  None,
  Get,
  Send,
  Undo,
  Redo,
  Open,
  Save,
  SaveAs,
  New,
  Add,
  Remove,
  Search,
  Settings,
  Close,
  Cancel,
  Print,
  Rename,
  Copy,
  Cut,
  Paste,
  Export,
  Import,
  Studio,
  Inspector,
  Bank,
  Patch,
  Multi,
  Monitor,
  SysEx,
  AutoSense,
  Connected,
  Missing,
  Warning,
  Info,
  Question,
  Play,
  Stop,
  Panic,
  More,
  Up,
  Down,
  Left,
  Right,
  Check,
  Refresh,
  Compare,
  Audition,
  Sort,
  Filter,
  Folder,
  Document,
  Keyboard,
  Cable,
  Light,
  Dark,
  History,
  Tag,
  Link,
  Lock,
  Tabs,
  Windows,
  Quit,
  Help,
  Effect,
  Drum,
  Sequence,
  Tuning,
  Sample,
  List,
};
inline constexpr int kGlyphs = static_cast<int>(Glyph::List) + 1;

// Text of buttons, greyed where disabled, or one colour by its name.  Follows the palette while the program runs.
QIcon IconOf(Glyph glyph);
QIcon IconOf(Glyph glyph, Shade shade);
// Into the largest square in the middle of `place`.
void PaintGlyph(QPainter* painter, const QRectF& place, Glyph glyph, const QColor& colour);

// A flat picture of an instrument without one of its own: keyboard, rack or pads, one accent that differs from
// instrument to instrument and stays the same for one.  `size` in logical pixels.
QPixmap InstrumentPicture(const QString& maker, const QString& name, const QSize& size, qreal devicePixelRatio);

}  // namespace tonalith
