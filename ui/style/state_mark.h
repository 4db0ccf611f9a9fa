// Marks of state: a small shape each, told apart by form and not by colour alone, and the words for it.
#pragma once

#include <QString>
#include <QWidget>
#include <optional>
#include <vector>

#include "ui/style/colours.h"

class QPainter;

namespace tonalith {

enum class Mark { Changed, Unsent, Damaged, Undefined, Locked, Found, Missing, Busy, Awaited };
inline constexpr int kMarks = 9;
inline constexpr int kMarkSize = 10;  // logical pixels

// "changed since saved", "not sent to the instrument", ...
QString MarkText(Mark mark);
Shade MarkShade(Mark mark);
// Into the largest square in the middle of `place`.
void PaintMark(QPainter* painter, const QRect& place, Mark mark);

// A mark beside text, with its words as tool tip and accessible name, or written out.
class MarkLabel : public QWidget {
  Q_OBJECT

 public:
  explicit MarkLabel(QWidget* parent = nullptr);
  explicit MarkLabel(Mark mark, bool withWords = false, QWidget* parent = nullptr);

  // Nothing: an empty place of the same size.  `words` replace those of the mark.
  void SetMark(std::optional<Mark> mark, const QString& words = {});
  std::optional<Mark> mark() const { return mark_; }
  void ShowWords(bool show);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::optional<Mark> mark_;
  QString words_;
  bool showWords_ = false;
};

}  // namespace tonalith
