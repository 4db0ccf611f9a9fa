#pragma once

#include <QPixmap>
#include <vector>

#include "bank/grid_settings.h"
#include "bank/ui/bank_view.h"
#include "bank/ui/bitmap_font.h"

class QComboBox;
class QTabBar;

namespace tonalith {

// The patches of a bank in chunks, each a column or a row of cells, on one or more pages.  How it looks is said by the
// INI of the data type.
class ZKBankGrid final : public BankPatchView {
  Q_OBJECT

 public:
  // Shares the rows and the selection of another view of the same bank, which lives longer.
  ZKBankGrid(ZKBankDoc& document, BankPatchView& other, QWidget* parent = nullptr);

  // `bitmaps`: the folder of fonts and pictures; where a file is not there the grid does without.
  void SetLook(const GridSettings& look, const std::filesystem::path& bitmaps);
  // The wheel goes the other way.
  void SetInvertedWheel(bool inverted) { invertedWheel_ = inverted; }
  const GridLayout& layout() const { return layout_; }
  int Page() const { return page_; }
  void ShowPage(int page);
  // What the pages are called: the first and the last number of each.
  QStringList PageTexts() const;

  void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;

 protected:
  void Measure() override;
  void Arrange() override;
  QRect CellOf(int place) const override;
  QRect NumberIn(const QRect& cell) const override;
  QRect NameIn(const QRect& cell) const override;
  int PlaceAt(const QPoint& point) const override;
  int Neighbour(int place, CursorAction arrow) const override;
  int PlacesOfPage() const override;
  void PaintPatches(QPainter* painter, const QRect& place) override;
  QRect LineBefore(int place) const override;
  bool PressedBeside(const QPoint& point) override;
  int verticalOffset() const override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  int ChunkSize() const;
  QSize SizeOfChunk() const;          // with its margins
  QRect ChunkPlace(int chunk) const;  // of the page, in the viewport
  QRect FrameOf(int chunk) const;     // what is drawn of it
  void FillPages();
  void PlacePages();
  void DrawChunk(QPainter* painter, int chunk);
  void DrawCell(QPainter* painter, int place);
  void DrawMarks(QPainter* painter, const QRect& cell, const QModelIndex& name) const;
  void DrawCellText(QPainter* painter, const QRect& cell, int patch, bool selected) const;

  GridSettings look_;
  GridLayout layout_;
  BitmapFont font_, selectedFont_;
  QPixmap background_, selected_;
  QTabBar* tabs_;
  QComboBox* list_;
  bool invertedWheel_ = false;
  int page_ = 0;
  int numberWidth_ = 0;
  int cellWidth_ = 1;
  int cellHeight_ = 1;
};

}  // namespace tonalith
