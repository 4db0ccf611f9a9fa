#pragma once

#include <QPixmap>
#include <QString>
#include <array>
#include <filesystem>
#include <string>

class QPainter;

namespace tonalith {

// Characters in a picture: 128 columns of one width, with the width of each character's own.
class BitmapFont {
 public:
  static constexpr int kCharacters = 128;

  // A picture "name.bmp" of the folder with the widths beside it in "name.ini" (section "Kern", a key for each code).
  // False, and the font is empty, when there is no such picture.
  bool LoadBitmapFont(const std::filesystem::path& folder, const std::string& name);
  bool IsEmpty() const { return picture_.isNull(); }
  int Width(const QString& text) const;
  int Height() const { return picture_.height(); }
  void Draw(QPainter* painter, int x, int y, const QString& text) const;

 private:
  QPixmap picture_;
  int cell_ = 0;  // width of a column
  std::array<int, kCharacters> widths_{};
};

// A picture of the folder, found without regard to case; null: there is none, or its name leads elsewhere.
QPixmap BitmapOf(const std::filesystem::path& folder, const std::string& name);

}  // namespace tonalith
