#pragma once

#include <QDockWidget>

namespace tonalith {

class InspectorPane;
class ZKWindow;

// The dock at the right with what is known of the selection of the active window.  Hidden until it is wanted.
class InspectorDock final : public QDockWidget {
  Q_OBJECT

 public:
  explicit InspectorDock(QWidget* parent);

  // The window whose selection is shown; null: none.
  void SetWindow(ZKWindow* window);
  // Width in pixels while it is shown.
  int FullWidth() const { return fullWidth_; }
  void SetFullWidth(int width);
  InspectorPane* pane() { return pane_; }

 signals:
  void StatusMessage(const QString& text);
  // The cross was pressed.
  void CloseWanted();

 protected:
  void showEvent(QShowEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  InspectorPane* pane_;
  int fullWidth_;
};

}  // namespace tonalith
