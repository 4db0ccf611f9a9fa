#pragma once

#include <QListView>
#include <QStyledItemDelegate>
#include <vector>

#include "ui/style/search_field.h"

namespace tonalith {

class BankListModel;
class ZKBankDoc;

// Edits a name where it stands, limited to the characters the instrument can hold.  Enter goes on to the next name, as
// Tab does.
class BankNameDelegate final : public QStyledItemDelegate {
  Q_OBJECT

 public:
  BankNameDelegate(ZKBankDoc& document, QObject* parent) : QStyledItemDelegate(parent), document_(document) {}
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 protected:
  bool eventFilter(QObject* editor, QEvent* event) override;

 private:
  ZKBankDoc& document_;
};

// The patches of a bank, number and name, in columns that fill the width.  Patches run down a column and on to the
// next; what does not fit on a page of columns follows below.
class ZKBankListCtrl final : public QListView {
  Q_OBJECT

 public:
  explicit ZKBankListCtrl(ZKBankDoc& document, QWidget* parent = nullptr);
  BankListModel* bankModel() const { return model_; }
  // Starts editing the name of the current patch.
  void RenameCurrent();
  // A name that is being edited becomes the patch's.
  void TakeName();
  int CurrentPatch() const;
  // From the first, in order.
  std::vector<int> SelectedPatches() const;
  // Shows only patches whose number and name fit; gives how many that are.
  int SetFilter(const SearchWords& words);
  // What stands in the place of patches when none is shown.
  void SetNothingFound(const QString& text) { nothingFound_ = text; }

  QRect visualRect(const QModelIndex& index) const override;
  QModelIndex indexAt(const QPoint& point) const override;
  void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
  void doItemsLayout() override;
  void selectAll() override;

 protected:
  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  int horizontalOffset() const override { return 0; }
  int verticalOffset() const override;
  bool isIndexHidden(const QModelIndex& index) const override;
  void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) override;
  QRegion visualRegionForSelection(const QItemSelection& selection) const override;
  void updateGeometries() override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void dataChanged(const QModelIndex& first, const QModelIndex& last, const QVector<int>& roles) override;

 private:
  void Arrange();
  void Measure();
  void Filter();
  int Shown() const { return static_cast<int>(patches_.size()); }
  // Place of a patch among those shown; -1: it is hidden.
  int PlaceOf(int patch) const;
  QRect CellOf(int place) const;  // in the viewport
  QRect NumberIn(const QRect& cell) const;
  QRect NameIn(const QRect& cell) const;
  int NearestPlace(const QPoint& point) const;
  void Paint(QPainter* painter, int place) const;
  void SetHover(int patch);

  ZKBankDoc& document_;
  BankListModel* model_;
  SearchWords words_;
  QString nothingFound_;
  std::vector<int> patches_;  // that are shown
  std::vector<int> places_;   // by patch
  int numberWidth_ = 0;
  int leastWidth_ = 0;  // of a column
  int rowHeight_ = 24;
  int rows_ = 1;  // of a column
  int columns_ = 1;
  int columnWidth_ = 1;
  int hover_ = -1;
};

}  // namespace tonalith
