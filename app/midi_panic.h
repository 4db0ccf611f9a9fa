#pragma once

#include <QPointer>
#include <QTimer>

class QProgressDialog;
class QWidget;

namespace tonalith {

class MidiOut;

// Switches off every note on every open output port, without keeping anybody waiting: first "all notes off" on every
// channel, then each note of each channel, a message every two milliseconds on all ports at a time.  A note with a
// Cancel button shows how far it is.
class MidiPanic final : public QObject {
  Q_OBJECT

 public:
  // `out` must outlive this; the note belongs to `window`.
  MidiPanic(MidiOut& out, QWidget* window);
  ~MidiPanic() override;

  // Nothing when it runs already.
  void Start();
  void Cancel();
  bool Running() const { return timer_.isActive(); }

 signals:
  void Began();
  void Ended(bool complete);

 private:
  void Tick();
  void SendNext();
  void End(bool complete);

  MidiOut& out_;
  QWidget* window_;
  QPointer<QProgressDialog> note_;
  QTimer timer_;
  qint64 beganUs_ = 0;
  int ports_ = 0;
  int sent_ = 0;  // messages that every port got
};

}  // namespace tonalith
