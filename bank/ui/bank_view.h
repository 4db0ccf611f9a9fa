#pragma once

#include <QListView>
#include <QStyledItemDelegate>
#include <vector>

#include "ui/style/search_field.h"

namespace tonalith {

class BankDrag;
class BankListModel;
class ZKBankDoc;
struct DropCue;

// Edits a name where it stands, limited to the characters the instrument can hold.  Enter goes on to the next name, as
// Tab does.
class BankNameDelegate final : public QStyledItemDelegate {
  Q_OBJECT

 public:
  BankNameDelegate(ZKBankDoc& document, QObject* parent) : QStyledItemDelegate(parent), document_(document) {}
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const override;

 protected:
  bool eventFilter(QObject* editor, QEvent* event) override;

 private:
  ZKBankDoc& document_;
};

// The patches of a bank as cells: what its views have in common.  A filter leaves some of the patches; those have
// places, counted from 0, in the order of the patches.  A subclass says where the cell of a place is and draws it.
class BankPatchView : public QListView {
  Q_OBJECT

 public:
  BankListModel* bankModel() const { return model_; }
  // What is dragged and dropped here; without it nothing is.  Must outlive the view.
  void SetDrag(BankDrag* drag);
  // Starts editing the name of the current patch.
  void RenameCurrent();
  // A name that is being edited becomes the patch's.
  void TakeName();
  int CurrentPatch() const;
  // Selects this one alone, or all of these; the first of them becomes the current one and is seen.
  void SelectPatch(int patch) { SelectPatches({patch}); }
  void SelectPatches(const std::vector<int>& patches);
  // From the first, in order.
  std::vector<int> SelectedPatches() const;
  // Shows only patches whose number and name fit; gives how many that are.
  int SetFilter(const SearchWords& words);
  // What stands in the place of patches when none is shown.
  void SetNothingFound(const QString& text) { nothingFound_ = text; }

  QRect visualRect(const QModelIndex& index) const override;
  QModelIndex indexAt(const QPoint& point) const override;
  void doItemsLayout() override;
  void selectAll() override;

 signals:
  // The user asked for the patch itself: Return, or a double click beside the name.
  void OpenPatch();
  // The user asked for what can be done; a point of the screen.
  void AskMenu(const QPoint& at);
  // Ctrl and an arrow key: the patch goes to the place of another.
  void MovePatch(int from, int to);
  // The patch under the pointer; -1: none.
  void Pointed(int patch);

 protected:
  BankPatchView(ZKBankDoc& document, BankListModel* model, QWidget* parent);
  ~BankPatchView() override;

  // --- What a view supplies

  // Sizes from the font and the data, then places from the sizes and the room there is.
  virtual void Measure() = 0;
  virtual void Arrange() = 0;
  // In the viewport; empty when the place is not on what is shown now.
  virtual QRect CellOf(int place) const = 0;
  // Of a cell of that place, where its number and its name stand.
  virtual QRect NumberIn(const QRect& cell) const = 0;
  virtual QRect NameIn(const QRect& cell) const = 0;
  // The place whose cell holds the point; -1: none does.
  virtual int PlaceAt(const QPoint& point) const = 0;
  // The patch an arrow leads to from a place, itself where there is none.
  virtual int Neighbour(int place, CursorAction arrow) const = 0;
  virtual int PlacesOfPage() const = 0;
  // Draws what is shown, without the cue of a drag.
  virtual void PaintPatches(QPainter* painter, const QRect& place) = 0;
  // Where what is dropped between two patches would go: a line.
  virtual QRect LineBefore(int place) const = 0;
  // Before selecting on a press at a place; true: that is done already.
  virtual bool PressedBeside(const QPoint& /*point*/) { return false; }

  ZKBankDoc& bank() const { return document_; }
  int Shown() const { return static_cast<int>(patches_.size()); }
  int PatchOf(int place) const { return patches_[static_cast<std::size_t>(place)]; }
  // Place of a patch among those shown; -1: it is hidden.
  int PlaceOf(int patch) const;
  int hover() const { return hover_; }
  bool IsSelected(int patch) const;
  // To be called by a subclass when it is made.
  void Begin();
  void Filter();
  void SelectBetween(int onePlace, int otherPlace);
  QModelIndex IndexOf(int place) const;

  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  int horizontalOffset() const override { return 0; }
  bool isIndexHidden(const QModelIndex& index) const override;
  void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) override;
  QRegion visualRegionForSelection(const QItemSelection& selection) const override;
  void updateGeometries() override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void leaveEvent(QEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void dataChanged(const QModelIndex& first, const QModelIndex& last, const QVector<int>& roles) override;
  void startDrag(Qt::DropActions actions) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dragLeaveEvent(QDragLeaveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void SetHover(int patch);
  static CursorAction ActionOf(int way);
  bool MovesPatch(QKeyEvent* event);
  bool SelectsRange(QKeyEvent* event);
  void PaintCue(QPainter* painter) const;
  DropCue CueAt(const QDropEvent& event) const;

  ZKBankDoc& document_;
  BankListModel* model_;
  BankDrag* drag_ = nullptr;
  SearchWords words_;
  QString nothingFound_;
  std::vector<int> patches_;  // that are shown
  std::vector<int> places_;   // by patch
  bool ready_ = false;        // a subclass lays out from here on
  int hover_ = -1;
  int anchor_ = -1;    // patch that a range begins at
  QPoint pressed_;     // of a rubber band
  QRect band_;         // empty: none
  int cuePatch_ = -1;  // of a drag over the view; -1: none
  int cueCount_ = 0;
  int cueKind_ = 0;
};

}  // namespace tonalith
