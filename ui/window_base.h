#pragma once

#include <QWidget>

#include "ui/commands.h"

namespace tonalith {

// Codes of the window kinds, as desktop files keep them.
enum class WindowType : int {
  BankEditor = 17000,
  PatchEditor = 17001,
  Library = 17002,
  Set = 17003,
  Creator = 17004,
  View = 17005,
  Monitor = 17006,
  FileConversion = 17007,
  Studio = 17008,
  Tips = 17009,
  Controller = 17010,
  Sequencer = 17011,
  Collection = 17012,
  GraphicMonitor = 17013,
  Remote = 17014,
  FolderView = 17015,
  OscEditor = 17016,
  Zone = 17017,
};

// A child window of the main frame.
class ZKWindow : public QWidget {
  Q_OBJECT

 public:
  using QWidget::QWidget;

  virtual WindowType TypeCode() const = 0;
  // Asks to save what is unsaved; false keeps the window open.
  virtual bool VerifyClose() = 0;
  virtual bool CommandEnabled(CommandId command) const = 0;
  virtual void RunCommand(CommandId command) = 0;

 signals:
  // The state of the commands or the title changed.
  void StateChanged();
  // For the frame's status line.
  void StatusMessage(const QString& text);
  // The window is about to close; its place is still what the user made it.
  void Closing();

 protected:
  // Asks VerifyClose.
  void closeEvent(QCloseEvent* event) override;
};

}  // namespace tonalith
