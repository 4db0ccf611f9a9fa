#pragma once

#include <QWidget>
#include <cstdint>
#include <optional>
#include <string>

#include "services/desktop_file.h"
#include "ui/commands.h"
#include "ui/inspector.h"

namespace tonalith {

class SearchField;

// An instrument on a MIDI output.
struct MidiRoute {
  int outPort = 0;
  int channel = 0;  // from 0
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
  // Why the command is off now, a sentence; empty: the window knows no better than that it is.
  virtual QString CommandRefusal(CommandId command) const {
    (void)command;
    return {};
  }
  // Empty when the command is on, else a sentence.
  QString RefusalOf(CommandId command) const;
  // Whether a command with a check mark is chosen.
  virtual bool CommandChecked(CommandId command) const {
    (void)command;
    return false;
  }
  // Where words are typed that the rows must hold; null: the window has no such field.
  virtual SearchField* Search() const { return nullptr; }
  // The file the window shows (UTF-8); empty: none.
  virtual std::string FilePath() const { return {}; }
  // What the window's tab says, as it stands; empty: the title.
  virtual QString TabText() const { return {}; }
  // Which of several windows whose tabs would say the same; the first of them, and a window that is alone, have none.
  void SetTwin(int number) { twin_ = number; }
  int Twin() const { return twin_; }
  // A name of the window with that number: "Yamaha DX7, 22 Nov (2)".
  QString WithTwin(const QString& name) const {
    return twin_ > 1 ? tr("%1 (%2)").arg(name, QString::number(twin_)) : name;
  }
  // Messages that go to every window; the answer is the window's own.
  virtual std::int64_t WindowProc(std::uint32_t message, std::uint64_t wParam, std::int64_t lParam) {
    (void)message, (void)wParam, (void)lParam;
    return 0;
  }
  // The instrument that audition notes go to while the window is active; none: the program's own port.
  virtual std::optional<MidiRoute> AuditionRoute() const { return std::nullopt; }
  // MIDI ports came or went; `changes` holds kPortsRemoved and kPortsAdded.
  virtual void PortsChanged(int changes) { (void)changes; }
  // Instruments of the studio came, went or got other ports or channels.
  virtual void StudioChanged() {}
  // What there is to know of the selection.  Links and edits of it are used only while the window lives.
  virtual InspectorContent Inspect() { return {}; }
  // Settings were stored.
  virtual void SettingsChanged() {}
  // Closes with the frame around it, after asking VerifyClose; false: it stays.
  bool CloseAsked();
  // Closes without asking again what VerifyClose was asked for already.
  void CloseVerified();

 signals:
  // The state of the commands or the title changed.
  void StateChanged();
  // What Inspect gives is another now.
  void InspectChanged();
  // What is being typed elsewhere for this window has to be taken now: it is about to be used.
  void TakeEdits();
  // A question about the window follows: it should be seen.
  void Asking();
  // For the frame's status line.
  void StatusMessage(const QString& text);
  // The window is about to close; its place is still what the user made it.
  void Closing();

 protected:
  // Asks VerifyClose.
  void closeEvent(QCloseEvent* event) override;

 private:
  bool verified_ = false;
  int twin_ = 0;
};

}  // namespace tonalith
