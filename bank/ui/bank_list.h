#pragma once

#include "bank/ui/bank_view.h"

namespace tonalith {

// The patches of a bank, number and name, in columns that fill the width.  Patches run down a column and on to the
// next; what does not fit on a page of columns follows below.
class ZKBankListCtrl final : public BankPatchView {
  Q_OBJECT

 public:
  explicit ZKBankListCtrl(ZKBankDoc& document, QWidget* parent = nullptr);

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
  int verticalOffset() const override;

 private:
  void Paint(QPainter* painter, int place) const;
  void PaintAside(QPainter* painter, const QString& text, const QRect& name, int used) const;

  int numberWidth_ = 0;
  int leastWidth_ = 0;  // of a column
  int rowHeight_ = 24;
  int rows_ = 1;  // of a column
  int columns_ = 1;
  int columnWidth_ = 1;
};

}  // namespace tonalith
