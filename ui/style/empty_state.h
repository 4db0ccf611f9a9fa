// What an empty place says: what it is for, what to do next, and the button for it.
#pragma once

#include <QWidget>
#include <functional>

#include "ui/style/icons.h"

class QHBoxLayout;
class QPushButton;

namespace tonalith {

class PlainLabel;

class EmptyState : public QWidget {
  Q_OBJECT

 public:
  EmptyState(Glyph glyph, const QString& title, const QString& hint, QWidget* parent = nullptr);

  void SetTexts(const QString& title, const QString& hint);
  // The first button is the main one.  `run` is called when it is pressed.
  QPushButton* AddButton(const QString& text, std::function<void()> run);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Glyph glyph_;
  QWidget* picture_;
  PlainLabel* title_;
  PlainLabel* hint_;
  QWidget* row_;
  QHBoxLayout* buttons_;
};

}  // namespace tonalith
