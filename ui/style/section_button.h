// The heading of a section that can be shown and hidden.
#pragma once

#include <QString>
#include <QToolButton>

class QWidget;

namespace tonalith {

class SectionButton final : public QToolButton {
  Q_OBJECT

 public:
  // `body` is shown and hidden by it, and must live as long.
  SectionButton(const QString& title, QWidget* body, QWidget* parent = nullptr);
  void SetOpen(bool open);
  bool IsOpen() const { return open_; }

 signals:
  // By the user.
  void Toggled(bool open);

 private:
  QString title_;
  QWidget* body_;
  bool open_ = true;
};

}  // namespace tonalith
