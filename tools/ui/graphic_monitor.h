#pragma once

#include <array>

#include "tools/held_notes.h"
#include "tools/monitor_registry.h"
#include "ui/window_base.h"

class QAction;
class QScrollArea;
class QTimer;

namespace tonalith {

// A keyboard of nine octaves from C -1; keys that are held have the colour of their channel.
class KeyboardPicture final : public QWidget {
  Q_OBJECT

 public:
  explicit KeyboardPicture(const HeldNotes& held, QWidget* parent = nullptr);
  // Where a note's key stands; empty for a note that has none.
  QRect KeyRect(int note) const;
  static QColor ChannelColor(int channel);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor FillOf(int note, const QColor& resting) const;
  int KeyWidth() const;
  int LeastKeyWidth() const;

  const HeldNotes& held_;
};

inline constexpr int kMonitorOctaves = 9;

// The graphic monitor: which notes are held, on a picture of a keyboard.
class TZKMon final : public ZKWindow {
  Q_OBJECT

 public:
  explicit TZKMon(MonitorRegistry& registry, QWidget* parent = nullptr);
  ~TZKMon() override;

  // Takes one message into the picture; what the timer does with what comes in and goes out.
  void MonEvent(std::span<const std::uint8_t> message, int port);
  void MonClearNotes(int port);

  void OnOctave1() { ShowOctave(0); }
  void OnOctave2() { ShowOctave(1); }
  void OnOctave3() { ShowOctave(2); }
  void OnOctave4() { ShowOctave(3); }
  void OnOctave5() { ShowOctave(4); }
  void OnOctave6() { ShowOctave(5); }
  void OnOctave7() { ShowOctave(6); }
  void OnOctave8() { ShowOctave(7); }
  void OnOctave9() { ShowOctave(8); }
  // Scrolls so that the octave (0..8) stands at the left.
  void ShowOctave(int octave);

  HeldNotes& held() { return held_; }
  KeyboardPicture* keyboard() { return keyboard_; }

  WindowType TypeCode() const override { return WindowType::GraphicMonitor; }
  bool VerifyClose() override { return true; }
  bool CommandEnabled(CommandId) const override { return false; }
  void RunCommand(CommandId) override {}

 private:
  void Tick();

  MonitorRegistry& registry_;
  MonitorTap* tap_;
  HeldNotes held_;
  KeyboardPicture* keyboard_;
  QScrollArea* scroll_;
  QTimer* timer_;
  QAction* follow_;
};

// Opens the graphic monitor.
TZKMon* ZKMon(MonitorRegistry& registry, QWidget* parent);

}  // namespace tonalith
