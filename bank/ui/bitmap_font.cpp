#include "bank/ui/bitmap_font.h"

#include <QPainter>
#include <algorithm>

#include "platform/ini_file.h"
#include "platform/text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kMostFontSide = 8192;

int CodeOf(QChar character) {
  return character.toLatin1() & 0x7F;
}

// The file of that name, in any case, in its folder; empty: there is none.
std::string FileIn(const std::filesystem::path& folder, const std::string& name) {
  if (folder.empty() || name.empty() || name.find_first_of("/\\") != std::string::npos) return {};
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(folder, none))
    if (AsciiEqualNoCase(entry.path().filename().string(), name)) return entry.path().string();
  return {};
}

}  // namespace

QPixmap BitmapOf(const std::filesystem::path& folder, const std::string& name) {
  const std::string path = FileIn(folder, name);
  if (path.empty()) return {};
  const QPixmap picture(FromUtf8(path));
  return picture.width() <= kMostFontSide && picture.height() <= kMostFontSide ? picture : QPixmap();
}

bool BitmapFont::LoadBitmapFont(const std::filesystem::path& folder, const std::string& name) {
  picture_ = BitmapOf(folder, name);
  cell_ = picture_.width() / kCharacters;
  if (cell_ == 0) picture_ = QPixmap();
  if (picture_.isNull()) return false;
  const IniFile kern(FileIn(folder, name.substr(0, name.rfind('.')) + ".ini"));
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
