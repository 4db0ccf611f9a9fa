#include "bank/ui/bitmap_font.h"

#include <QDir>
#include <QPainter>
#include <algorithm>

#include "platform/ini_file.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kMostFontSide = 8192;

int CodeOf(QChar character) {
  return character.toLatin1() & 0x7F;
}

// The file's own name in its folder; empty: there is none.
QString FileIn(const QString& folder, const QString& name) {
  if (folder.isEmpty() || name.isEmpty() || name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')))
    return {};
  for (const QString& entry : QDir(folder).entryList(QDir::Files))
    if (entry.compare(name, Qt::CaseInsensitive) == 0) return folder + QLatin1Char('/') + entry;
  return {};
}

}  // namespace

QPixmap BitmapOf(const QString& folder, const QString& name) {
  const QString path = FileIn(folder, name);
  if (path.isEmpty()) return {};
  QPixmap picture(path);
  return picture.width() <= kMostFontSide && picture.height() <= kMostFontSide ? picture : QPixmap();
}

bool BitmapFont::LoadBitmapFont(const QString& folder, const QString& name) {
  picture_ = BitmapOf(folder, name);
  cell_ = picture_.width() / kCharacters;
  if (cell_ == 0) picture_ = QPixmap();
  if (picture_.isNull()) return false;
  const IniFile kern(ToUtf8(FileIn(folder, name.section(QLatin1Char('.'), 0, -2) + QStringLiteral(".ini"))));
  for (int code = 0; code < kCharacters; ++code)
    widths_[static_cast<std::size_t>(code)] = std::clamp(kern.GetInt("Kern", std::to_string(code), cell_), 0, cell_);
  return true;
}

int BitmapFont::Width(const QString& text) const {
  int width = 0;
  for (const QChar character : text) width += widths_[static_cast<std::size_t>(CodeOf(character))];
  return width;
}

void BitmapFont::Draw(QPainter* painter, int x, int y, const QString& text) const {
  for (const QChar character : text) {
    const int code = CodeOf(character);
    const int width = widths_[static_cast<std::size_t>(code)];
    painter->drawPixmap(x, y, picture_, code * cell_, 0, width, picture_.height());
    x += width;
  }
}

}  // namespace tonalith
