#include "ui/style/colours.h"

#include <QGuiApplication>
#include <QWidget>
#include <algorithm>
#include <array>
#include <cmath>

namespace tonalith {

namespace {

struct ShadeRow {
  Shade shade;
  QRgb light;
  QRgb dark;
};

// In the order of Shade.
constexpr std::array<ShadeRow, kShades> kColours = {{
    {Shade::Window, 0xfff3f5f8, 0xff14171c},    {Shade::Surface, 0xffffffff, 0xff1b1f26},
    {Shade::Dock, 0xffeaedf2, 0xff171a20},      {Shade::Raised, 0xfff8f9fb, 0xff20252d},
    {Shade::Line, 0xffd3d8e0, 0xff303742},      {Shade::Edge, 0xff7d8798, 0xff6c7789},
    {Shade::Hover, 0xffeef3fb, 0xff242b36},     {Shade::Text, 0xff1c2330, 0xffe5e9f0},
    {Shade::Secondary, 0xff586375, 0xff9aa5b6}, {Shade::Faint, 0xff5f6a7c, 0xff8792a4},
    {Shade::Accent, 0xff2262ca, 0xff6aa4ff},    {Shade::OnAccent, 0xffffffff, 0xff0e1a2e},
    {Shade::Selection, 0xffdbe8fd, 0xff203a63}, {Shade::Ok, 0xff19743d, 0xff4fc07f},
    {Shade::Busy, 0xff2262ca, 0xff6aa4ff},      {Shade::Warning, 0xff915500, 0xffe0a040},
    {Shade::Danger, 0xffb92a27, 0xfff28a86},    {Shade::Changed, 0xff6b4fd8, 0xffad98ff},
    {Shade::Unsent, 0xff915500, 0xffe0a040},
}};

constexpr QRgb kWhiteKey = 0xfff6f4ec;
constexpr QRgb kBlackKey = 0xff262628;
constexpr QRgb kCases[] = {0xff3a322d, 0xff33373f, 0xff2c3b3f, 0xff413a46, 0xff2f3a31, 0xff3e3f42};

double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

}  // namespace

QColor ColourOf(Shade shade, bool dark) {
  const ShadeRow& row = kColours[static_cast<std::size_t>(shade)];
  return QColor(dark ? row.dark : row.light);
}

QColor ColourOf(Shade shade) {
  return ColourOf(shade, IsDark());
}

bool IsDark() {
  return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

QPalette PaletteOf(bool dark) {
  struct Role {
    QPalette::ColorRole role;
    Shade shade;
    Shade disabled;
  };
  constexpr Role kRoles[] = {
      {QPalette::Window, Shade::Window, Shade::Window},
      {QPalette::WindowText, Shade::Text, Shade::Faint},
      {QPalette::Base, Shade::Surface, Shade::Window},
      {QPalette::Text, Shade::Text, Shade::Faint},
      {QPalette::Button, Shade::Surface, Shade::Window},
      {QPalette::ButtonText, Shade::Text, Shade::Faint},
      {QPalette::BrightText, Shade::OnAccent, Shade::OnAccent},
      {QPalette::Highlight, Shade::Selection, Shade::Selection},
      {QPalette::HighlightedText, Shade::Text, Shade::Secondary},
      {QPalette::Link, Shade::Accent, Shade::Faint},
      {QPalette::LinkVisited, Shade::Accent, Shade::Faint},
      {QPalette::ToolTipBase, Shade::Raised, Shade::Raised},
      {QPalette::ToolTipText, Shade::Text, Shade::Text},
      {QPalette::PlaceholderText, Shade::Secondary, Shade::Faint},
      {QPalette::Light, Shade::Raised, Shade::Raised},
      {QPalette::Midlight, Shade::Dock, Shade::Dock},
      {QPalette::Mid, Shade::Line, Shade::Line},
      {QPalette::Dark, Shade::Edge, Shade::Line},
      {QPalette::Shadow, Shade::Edge, Shade::Edge},
  };
  QPalette palette;
  for (const Role& role : kRoles) {
    palette.setColor(QPalette::Active, role.role, ColourOf(role.shade, dark));
    palette.setColor(QPalette::Inactive, role.role, ColourOf(role.shade, dark));
    palette.setColor(QPalette::Disabled, role.role, ColourOf(role.disabled, dark));
  }
  palette.setColor(QPalette::AlternateBase,
                   Between(ColourOf(Shade::Surface, dark), ColourOf(Shade::Window, dark), 0.5));
  return palette;
}

void SetGround(QWidget* widget, Shade ground) {
  const QPalette::ColorRole role = ground == Shade::Surface  ? QPalette::Base
                                   : ground == Shade::Dock   ? QPalette::Midlight
                                   : ground == Shade::Raised ? QPalette::Light
                                                             : QPalette::Window;
  widget->setBackgroundRole(role);
  widget->setAutoFillBackground(true);
}

QColor Between(const QColor& from, const QColor& to, double part) {
  const auto mix = [part](float a, float b) { return a + (b - a) * static_cast<float>(part); };
  return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()), mix(from.blueF(), to.blueF()),
                          mix(from.alphaF(), to.alphaF()));
}

QColor ColourOfNumber(int number, int count) {
  return QColor::fromHsv(number * 360 / std::max(count, 1) % 360, 110, 245);
}

QColor WhiteKey() {
  return QColor(kWhiteKey);
}

QColor BlackKey() {
  return QColor(kBlackKey);
}

QColor CaseColour(int number) {
  return QColor(kCases[static_cast<std::size_t>(number) % std::size(kCases)]);
}

QColor CaseAccent(int degrees) {
  return QColor::fromHsv(degrees % 360, 150, 215);
}

double Contrast(const QColor& one, const QColor& other) {
  const double a = Luminance(one), b = Luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

}  // namespace tonalith
