// The lines of the icons, as the paths of SVG on a field of 24 x 24.
#pragma once

#include <QPainterPath>

#include "ui/style/icons.h"

namespace tonalith {

// The commands M L H V C Q A Z of SVG, absolute and relative; arcs of circles and upright ellipses.  What cannot be
// read ends the path.
QPainterPath PathOfSvg(const char* text);
const QPainterPath& ShapeOf(Glyph glyph);

}  // namespace tonalith
