// Distances in logical pixels, and fonts.  Rows and targets grow with the font where it is large.
#pragma once

#include <QFont>
#include <QFontMetrics>

class QLayout;
class QWidget;

namespace tonalith {

inline constexpr int kSmallGap = 4;
inline constexpr int kGap = 8;
inline constexpr int kWideGap = 16;
inline constexpr int kTarget = 28;     // least side of what is clicked
inline constexpr int kRowHeight = 24;  // of lists and trees
inline constexpr int kGlyph = 16;      // side of an icon beside text
inline constexpr int kRound = 6;       // radius of corners

// At least kRowHeight and kTarget, more for a large font.
int RowHeight(const QFontMetrics& metrics);
int TargetHeight(const QFontMetrics& metrics);

// Headings stand out by weight, not by size.
QFont HeadingFont(const QFont& font);
// The title of a document or a pane: heavier and a little larger.
QFont TitleFont(const QFont& font);
// All figures are equally wide: the font itself where it is so, else the desktop's fixed font at its size.
QFont TabularFont(const QFont& font);

// A layout with the given distance around and between.
void SetSpace(QLayout* layout, int margin, int gap);
// Text in the secondary colour, in both palettes.
void SetSecondaryText(QWidget* label);

}  // namespace tonalith
