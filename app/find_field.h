#pragma once

#include <QToolButton>

class QAction;

namespace tonalith {

// The place in the menu bar that looks like a field and opens the search for commands, instruments and documents.  It
// is there while its command is.
class FindField final : public QToolButton {
  Q_OBJECT

 public:
  // The action must outlive this.
  FindField(QAction* find, QWidget* parent);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QAction* find_;
};

}  // namespace tonalith
