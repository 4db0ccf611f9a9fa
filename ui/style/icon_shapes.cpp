#include "ui/style/icon_shapes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <numbers>

namespace tonalith {

namespace {

struct ShapeRow {
  Glyph glyph;
  const char* path;
};

// In the order of Glyph.
constexpr std::array<ShapeRow, kGlyphs> kShapes = {{
    {Glyph::None, ""},
    {Glyph::Get, "M12 4v11M7 10.5l5 5 5-5M5 20h14"},
    {Glyph::Send, "M12 15.5V4M7 9l5-5 5 5M5 20h14"},
    {Glyph::Undo, "M8.5 5L4 9.5 8.5 14M4 9.5h10a5 5 0 0 1 0 10H9"},
    {Glyph::Redo, "M15.5 5L20 9.5 15.5 14M20 9.5H10a5 5 0 0 0 0 10h5"},
    {Glyph::Open, "M3.5 18.5v-12h6l2 2.5h8v2.5M3.5 18.5l3-7h15l-3 7h-15z"},
    {Glyph::Save, "M4.5 4.5h12l3 3v12h-15zM8 4.5v5h7v-5M7.5 19.5v-6h9v6"},
    {Glyph::SaveAs, "M11 19.5H4.5v-15h12l3 3V10M8 4.5v5h7v-5M7.5 19.5v-6H12M14 21l.6-2.6 5-5 2 2-5 5z"},
    {Glyph::New, "M13.5 3.5h-8v17h13v-12zM13.5 3.5v5h5M12 11.5v6M9 14.5h6"},
    {Glyph::Add, "M12 5v14M5 12h14"},
    {Glyph::Remove, "M4.5 6.5h15M9.5 6.5v-2h5v2M6.5 6.5l1 13h9l1-13M10.5 10.5v5.5M13.5 10.5v5.5"},
    {Glyph::Search, "M17 10.5a6.5 6.5 0 1 1-13 0 6.5 6.5 0 0 1 13 0M15.2 15.2L20 20"},
    {Glyph::Settings,
     "M4 7h8M16 7h4M16 7a2 2 0 1 1-4 0 2 2 0 0 1 4 0M4 17h3.5M11.5 17H20M11.5 17a2 2 0 1 1-4 0 2 2 0 0 1 4 0"},
    {Glyph::Close, "M6.5 6.5l11 11M17.5 6.5l-11 11"},
    {Glyph::Cancel, "M20 12a8 8 0 1 1-16 0 8 8 0 0 1 16 0M9 9l6 6M15 9l-6 6"},
    {Glyph::Print, "M7.5 8.5v-5h9v5M7.5 17h-4V8.5h17V17h-4M7.5 14h9v6.5h-9z"},
    {Glyph::Rename, "M4.5 19.5l1-4.5L15.5 5 19 8.5 9 18.5zM13 7.5l3.5 3.5"},
    {Glyph::Copy, "M8.5 8.5h11v11h-11zM8.5 15.5h-4v-11h11v4"},
    {Glyph::Cut,
     "M8.5 7a2.2 2.2 0 1 1-4.4 0 2.2 2.2 0 0 1 4.4 0M8.5 17a2.2 2.2 0 1 1-4.4 0 2.2 2.2 0 0 1 4.4 0"
     "M8.2 8.3L20 16.5M8.2 15.7L20 7.5"},
    {Glyph::Paste, "M9 5.5H5.5v15h13v-15H15M9 3.5h6v4H9zM9 12h6M9 15.5h6"},
    {Glyph::Export, "M12 14.5V4M7.5 8.5L12 4l4.5 4.5M8 11H5v9.5h14V11h-3"},
    {Glyph::Import, "M12 4v10.5M7.5 10l4.5 4.5 4.5-4.5M8 8H5v12.5h14V8h-3"},
    {Glyph::Studio, "M3.5 4.5h17v6h-17zM3.5 13.5h17v6h-17zM7 7.5h4M7 16.5h4M17 7.5h.01M17 16.5h.01"},
    {Glyph::Inspector, "M3.5 4.5h17v15h-17zM14 4.5v15M16.5 9h1.5M16.5 12h1.5"},
    {Glyph::Bank, "M4.5 4.5h6v6h-6zM13.5 4.5h6v6h-6zM4.5 13.5h6v6h-6zM13.5 13.5h6v6h-6z"},
    {Glyph::Patch, "M20 12a8 8 0 1 1-16 0 8 8 0 0 1 16 0M12 12l4-4.5"},
    {Glyph::Multi, "M12 4l8.5 4.5L12 13 3.5 8.5zM3.5 12.5L12 17l8.5-4.5M3.5 16.5L12 21l8.5-4.5"},
    {Glyph::Monitor, "M3 12h4l2.5-6.5 4.5 13L16.5 12H21"},
    {Glyph::SysEx, "M8.5 6L3 12l5.5 6M15.5 6L21 12l-5.5 6M13.5 5l-3 14"},
    {Glyph::AutoSense,
     "M13.5 12a1.5 1.5 0 1 1-3 0 1.5 1.5 0 0 1 3 0M8 16a5.6 5.6 0 0 1 0-8M16 8a5.6 5.6 0 0 1 0 8"
     "M5 19a9.9 9.9 0 0 1 0-14M19 5a9.9 9.9 0 0 1 0 14"},
    {Glyph::Connected,
     "M7 9V4.5M12 9V4.5M4.5 9h10v3.5a5 5 0 0 1-10 0zM9.5 17.5v1.5a2 2 0 0 0 2 2H14M16.5 13l2 2 3.5-4"},
    {Glyph::Missing, "M7 9V4.5M12 9V4.5M4.5 9h10v3.5a5 5 0 0 1-10 0zM9.5 17.5v3.5M17 12l4 4M21 12l-4 4"},
    {Glyph::Warning, "M12 4.5l8.5 15h-17zM12 10v4.5M12 17v.01"},
    {Glyph::Info, "M20 12a8 8 0 1 1-16 0 8 8 0 0 1 16 0M12 11v5M12 8v.01"},
    {Glyph::Question,
     "M20 12a8 8 0 1 1-16 0 8 8 0 0 1 16 0M9.5 9.8a2.5 2.5 0 1 1 3.6 2.2C12.3 12.4 12 13 12 14M12 16.5v.01"},
    {Glyph::Play, "M7.5 5l11 7-11 7z"},
    {Glyph::Stop, "M6.5 6.5h11v11h-11z"},
    {Glyph::Panic, "M8.5 4h7L20 8.5v7L15.5 20h-7L4 15.5v-7zM12 8v5M12 16v.01"},
    {Glyph::More,
     "M6.5 12a1 1 0 1 1-2 0 1 1 0 0 1 2 0M13 12a1 1 0 1 1-2 0 1 1 0 0 1 2 0M19.5 12a1 1 0 1 1-2 0 1 1 0 0 1 2 0"},
    {Glyph::Up, "M6 15l6-6 6 6"},
    {Glyph::Down, "M6 9l6 6 6-6"},
    {Glyph::Left, "M15 6l-6 6 6 6"},
    {Glyph::Right, "M9 6l6 6-6 6"},
    {Glyph::Check, "M5 12.5l4.5 4.5L19 7.5"},
    {Glyph::Refresh, "M19.5 5v4.5H15M4.5 19v-4.5H9M19 9.5a7.5 7.5 0 0 0-13.3-2M5 14.5a7.5 7.5 0 0 0 13.3 2"},
    {Glyph::Compare, "M4.5 5.5h6v13h-6zM13.5 5.5h6v13h-6zM15.5 10h2M6.5 10h2M6.5 13.5h2"},
    {Glyph::Audition,
     "M9.5 17.5V6l10-2v11.5M9.5 17.5a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0M19.5 15.5a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 "
     "0"},
    {Glyph::Sort, "M7 5v14M4 16l3 3 3-3M13 6.5h7.5M13 12h5.5M13 17.5h3.5"},
    {Glyph::Filter, "M4 5.5h16l-6.2 7.3v6.2l-3.6-2v-4.2z"},
    {Glyph::Folder, "M3.5 18.5v-13h6l2 2.5h9v10.5z"},
    {Glyph::Document, "M13.5 3.5h-8v17h13v-12zM13.5 3.5v5h5M9 13h6M9 16.5h6"},
    {Glyph::Keyboard, "M3.5 6.5h17v11h-17zM8 12v5.5M12 12v5.5M16 12v5.5M6.5 6.5V12h3V6.5M14.5 6.5V12h3V6.5"},
    {Glyph::Cable,
     "M20 12a8 8 0 1 1-16 0 8 8 0 0 1 16 0M8 13v.01M9.3 9.8v.01M12 8.5v.01M14.7 9.8v.01M16 13v.01M10.5 20v-2h3v2"},
    {Glyph::Light,
     "M16 12a4 4 0 1 1-8 0 4 4 0 0 1 8 0M12 3v2M12 19v2M3 12h2M19 12h2M5.6 5.6L7 7M17 17l1.4 1.4M5.6 18.4L7 17M17 "
     "7l1.4-1.4"},
    {Glyph::Dark, "M19.5 14.5A8 8 0 0 1 9.5 4.5a8 8 0 1 0 10 10z"},
    {Glyph::History, "M4.5 5v4.5H9M5 9.5A7.8 7.8 0 1 1 4.2 13M12 8v4.5l3 2"},
    {Glyph::Tag, "M4 4.5h8L20 12.5 12.5 20 4 11.5zM8 8.5v.01"},
    {Glyph::Link, "M10 14a4 4 0 0 0 5.7 0l3-3A4 4 0 0 0 13 5.3l-1 1M14 10a4 4 0 0 0-5.7 0l-3 3A4 4 0 0 0 11 18.7l1-1"},
    {Glyph::Lock, "M5.5 10.5h13v10h-13zM8.5 10.5V8a3.5 3.5 0 0 1 7 0v2.5"},
    {Glyph::Tabs, "M3.5 19.5v-15h7v4h10v11zM10.5 8.5h-7M15.5 8.5v-4h-5"},
    {Glyph::Windows, "M3.5 4.5h12v10h-12zM3.5 7.5h12M8.5 14.5v5h12v-10h-5"},
    {Glyph::Quit, "M10 4.5H4.5v15H10M9.5 12H20M16 8l4 4-4 4"},
    {Glyph::Help,
     "M20 12a8 8 0 1 1-16 0 8 8 0 0 1 16 0M15 12a3 3 0 1 1-6 0 3 3 0 0 1 6 0M6.5 6.5l3.4 3.4M14.1 14.1l3.4 3.4M17.5 6.5"
     "l-3.4 3.4M9.9 14.1l-3.4 3.4"},
    {Glyph::Effect, "M3.5 12C5.5 3.5 8.5 3.5 12 12C15.5 20.5 18.5 20.5 20.5 12M3.5 19.5h5M15.5 4.5h5"},
    {Glyph::Drum,
     "M20 9.5a8 3.5 0 1 1-16 0 8 3.5 0 0 1 16 0M4 9.5v6.5a8 3.5 0 0 0 16 0V9.5M13 9.5L20.5 3.5M11 9.5L3.5 3.5"},
    {Glyph::Sequence, "M3.5 7.5h6M9.5 12h5M14.5 16.5h6M3.5 4v16M20.5 4v16"},
    {Glyph::Tuning, "M8.5 3.5v7a3.5 3.5 0 0 0 7 0v-7M12 14v6.5"},
    {Glyph::Sample, "M4 10v4M7.2 7v10M10.4 9v6M13.6 4.5v15M16.8 8v8M20 10.5v3"},
    {Glyph::List, "M8.5 6.5h12M8.5 12h12M8.5 17.5h12M4 6.5h1M4 12h1M4 17.5h1"},
}};

class SvgReader {
 public:
  explicit SvgReader(const char* text) : at_(text) {}

  QPainterPath Read() {
    char command = 0;
    while (Skip(), *at_) {
      if (std::isalpha(static_cast<unsigned char>(*at_))) command = *at_++;
      if (!Step(command)) break;
      // More pairs behind a move are lines.
      if (command == 'M') command = 'L';
      if (command == 'm') command = 'l';
    }
    return path_;
  }

 private:
  void Skip() {
    while (*at_ == ' ' || *at_ == ',') ++at_;
  }

  // By hand: the locale of the program must not count.
  bool Number(double& value) {
    Skip();
    const bool minus = *at_ == '-';
    if (minus) ++at_;
    const char* begin = at_;
    double number = 0, place = 1;
    for (; std::isdigit(static_cast<unsigned char>(*at_)); ++at_) number = number * 10 + (*at_ - '0');
    if (*at_ == '.') {
      for (++at_; std::isdigit(static_cast<unsigned char>(*at_)); ++at_) number += (*at_ - '0') * (place /= 10);
    }
    value = minus ? -number : number;
    return at_ != begin;
  }

  bool Point(bool relative, QPointF& point) {
    double x = 0, y = 0;
    if (!Number(x) || !Number(y)) return false;
    point = relative ? here_ + QPointF(x, y) : QPointF(x, y);
    return true;
  }

  bool Step(char command) {
    const bool relative = std::islower(static_cast<unsigned char>(command)) != 0;
    QPointF a, b, c;
    double number = 0;
    switch (std::toupper(static_cast<unsigned char>(command))) {
      case 'M':
        if (!Point(relative, a)) return false;
        path_.moveTo(here_ = a);
        return true;
      case 'L':
        if (!Point(relative, a)) return false;
        return Line(a);
      case 'H':
        return Number(number) && Line(QPointF(relative ? here_.x() + number : number, here_.y()));
      case 'V':
        return Number(number) && Line(QPointF(here_.x(), relative ? here_.y() + number : number));
      case 'C':
        if (!Point(relative, a) || !Point(relative, b) || !Point(relative, c)) return false;
        path_.cubicTo(a, b, here_ = c);
        return true;
      case 'Q':
        if (!Point(relative, a) || !Point(relative, b)) return false;
        path_.quadTo(a, here_ = b);
        return true;
      case 'A':
        return Arc(relative);
      case 'Z':
        path_.closeSubpath();
        here_ = path_.currentPosition();
        return true;
      default:
        return false;
    }
  }

  bool Line(const QPointF& to) {
    path_.lineTo(here_ = to);
    return true;
  }

  bool Arc(bool relative) {
    double rx = 0, ry = 0, turned = 0, large = 0, sweep = 0;
    QPointF to;
    if (!Number(rx) || !Number(ry) || !Number(turned) || !Number(large) || !Number(sweep) || !Point(relative, to))
      return false;
    if (rx <= 0 || ry <= 0 || to == here_) return Line(to);
    // In a space where the ellipse is the unit circle, the middle lies on the line that halves the chord.
    const QPointF from(here_.x() / rx, here_.y() / ry), end(to.x() / rx, to.y() / ry);
    const QPointF chord = end - from;
    const double length = std::hypot(chord.x(), chord.y());
    const double grow = std::max(1.0, length / 2);
    const double away = std::sqrt(std::max(0.0, grow * grow - length * length / 4)) * (large == sweep ? -1 : 1);
    const QPointF middle = (from + end) / 2 + QPointF(-chord.y(), chord.x()) / length * away;
    const auto angle = [&](const QPointF& p) {
      return std::atan2(-(p.y() - middle.y()), p.x() - middle.x()) * 180 / std::numbers::pi;
    };
    double span = angle(end) - angle(from);
    if (sweep != 0 && span > 0) span -= 360;
    if (sweep == 0 && span < 0) span += 360;
    path_.arcTo(QRectF((middle.x() - grow) * rx, (middle.y() - grow) * ry, 2 * grow * rx, 2 * grow * ry), angle(from),
                span);
    here_ = to;
    return true;
  }

  const char* at_;
  QPainterPath path_;
  QPointF here_;
};

}  // namespace

QPainterPath PathOfSvg(const char* text) {
  return SvgReader(text).Read();
}

const QPainterPath& ShapeOf(Glyph glyph) {
  static std::array<QPainterPath, kGlyphs> shapes;
  const auto index = static_cast<std::size_t>(glyph);
  QPainterPath& shape = shapes[index];
  if (shape.isEmpty()) shape = PathOfSvg(kShapes[index].path);
  return shape;
}

}  // namespace tonalith
