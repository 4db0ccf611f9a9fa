#pragma once

#include <QObject>
#include <set>
#include <string>

class QWidget;

namespace tonalith {

// What is wrong with the controls of a window for somebody who does not see it, has no mouse or no steady hand: a line
// for each control without a name or a role, outside the Tab order, that keeps the Tab key, that is smaller than
// 28 x 28, or whose state (a mark in a list, why it is off) is not said in words.  Controls that are hidden, or inside
// another control, are left out.
std::string FaultsOfControls(const QWidget& window);
// Where the Tab key leaves the order of the eye in a window that is shown: a line for each step back to what stands
// above or before, and for each pane that is left and entered again.
std::string FaultsOfTabOrder(const QWidget& window);

// Walks every window, dialog and document of the program as soon as it is on the screen, and fails the test that showed
// it for each fault once.
class ControlWatch final : public QObject {
 public:
  explicit ControlWatch(QObject* parent);
  // Class names of what was walked so far, without namespaces.
  const std::set<std::string>& Walked() const { return walked_; }
  void Walk(QWidget& window);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  std::set<std::string> walked_, known_;
};
// The one of this program; null before it is made.
ControlWatch* TheControlWatch();

}  // namespace tonalith
