#pragma once

#include <QDialog>
#include <QPointer>
#include <QString>
#include <vector>

class QListWidget;

namespace tonalith {

class PlainLabel;
class ZKWindow;

// A window that data could go to.
struct MoveCandidate {
  QPointer<ZKWindow> window;  // may close while the list is shown
  QString title;
  QString refusal;  // why it would not take the data; empty: it would
};

// Which window the data goes to.
class ZKTrans final : public QDialog {
  Q_OBJECT

 public:
  explicit ZKTrans(std::vector<MoveCandidate> candidates, QWidget* parent = nullptr);

  QListWidget* list() { return list_; }
  // What the dialog has to say; empty: nothing.
  QString Said() const;
  // Null: none was chosen, or it has closed.
  ZKWindow* Chosen() const;

  void accept() override;

 private:
  std::vector<MoveCandidate> candidates_;
  QListWidget* list_;
  PlainLabel* said_;
};

}  // namespace tonalith
