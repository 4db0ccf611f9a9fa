// One transfer in the strip at the bottom of the window.
#pragma once

#include <QWidget>

#include "ui/style/icons.h"

class QProgressBar;
class QPushButton;
class QToolButton;

namespace tonalith {

class PlainLabel;

struct StripState {
  enum class Phase { Waiting, Running, Done, Cancelled, Failed };
  Glyph glyph = Glyph::Get;
  Phase phase = Phase::Running;
  QString what = {};      // "Kawai K4 · Single Bank"
  QString progress = {};  // "patch 23 of 64", or what happened
  int done = 0;
  int total = 0;          // 0: not known
  QString timeLeft = {};  // "9 s left"; empty: not known
  bool canCancel = true;
};

class StripRow : public QWidget {
  Q_OBJECT

 public:
  explicit StripRow(QWidget* parent = nullptr);

  void SetState(const StripState& state);
  const StripState& state() const { return state_; }

 signals:
  void CancelPressed();
  // A click on the row, or Return on it.
  void DetailsPressed();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  StripState state_;
  PlainLabel* what_;
  PlainLabel* progress_;
  QProgressBar* bar_;
  PlainLabel* timeLeft_;
  QPushButton* cancel_;
};

// "9 s left", "2 min left"; empty below one second.
QString TimeLeftText(int seconds);

}  // namespace tonalith
