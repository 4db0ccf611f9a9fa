#pragma once

#include <QToolBar>
#include <span>
#include <string>

#include "ui/icon_bar.h"

namespace tonalith {

// A slot of the control bar; command -1: a separator.
struct ControlBarSlot {
  int command;
  int picture;  // number in the name of its file
};
std::span<const ControlBarSlot> ControlBarSlots();

// The main window's bar with buttons for the commands that are used most.
class ZKControlBar final : public QToolBar {
  Q_OBJECT

 public:
  // Pictures come from the resource folder (UTF-8).
  ZKControlBar(const std::string& resourcePath, QWidget* parent);

  TZKIconBar2* icons() { return icons_; }
  // 0 top left, 1 top right, 2 bottom left, 3 bottom right.
  void MoveToCorner(class QMainWindow* window, int corner);

 private:
  TZKIconBar2* icons_;
  int corner_ = -1;            // not yet in any
  QAction* spacer_ = nullptr;  // pushes the buttons to the right
};

}  // namespace tonalith
