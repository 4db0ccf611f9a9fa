// Colours of the small lights in windows.
#pragma once

#include <QColor>
#include <QPalette>

namespace tonalith {

inline constexpr QRgb kLedOn = 0xff3cb043;           // something passes through a port
inline constexpr QRgb kLedPortThere = 0xff3aa05a;    // the ports of an instrument are there
inline constexpr QRgb kLedPortMissing = 0xffd0524a;  // one of them is not

// A light that is off has the tone of its window.
inline QColor LedColor(bool on, const QPalette& palette) {
  return on ? QColor(kLedOn) : palette.color(QPalette::Window).darker(115);
}

}  // namespace tonalith
