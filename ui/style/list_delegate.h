// How rows of lists, tables and trees are drawn: 24 high, marks at the left, figures in columns, weak hover, strong
// selection, no grid.
#pragma once

#include <QStyledItemDelegate>
#include <initializer_list>

#include "ui/style/state_mark.h"

class QAbstractItemView;

namespace tonalith {

// What a model may say beside the roles of Qt.
enum ListRole : int {
  kMarksRole = Qt::UserRole + 1000,  // MarksOf(...): drawn in the order of Mark, at the left
  kNumberRole,                       // true: figures of one width, right-aligned, secondary
  kQuietRole,                        // true: italics in the secondary colour, for what is empty
  kAsideRole,                        // text at the right end, secondary: "36 %", "no cable"
  kAsideMarksRole,                   // marks at the right end
  kProgressRole,                     // 0..100: a thin bar at the bottom of the row
};

// A set of marks as a model's data.
QVariant MarksOf(std::initializer_list<Mark> marks);
QVariant MarksOf(const std::vector<Mark>& marks);
std::vector<Mark> MarksIn(const QVariant& data);
// What marks say, for tool tips and accessible texts: "changed since saved, not sent to the instrument".
QString MarksText(const std::vector<Mark>& marks);

class ListDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  explicit ListDelegate(QObject* parent = nullptr);

  // Places for that many marks before the text, so that texts stand in one line; 0: marks take place where they are.
  void SetMarkPlaces(int places) { markPlaces_ = places; }

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                            const QModelIndex& index) const override;
  bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                 const QModelIndex& index) override;

 private:
  int PlacesOf(const QModelIndex& index) const;
  QRect TextPlace(const QStyleOptionViewItem& option, const QModelIndex& index) const;

  int markPlaces_ = 0;
};

// Gives a list, table or tree the delegate, and takes from it frame, grid and wide headers.  The view owns it.
ListDelegate* DressList(QAbstractItemView* view);

}  // namespace tonalith
