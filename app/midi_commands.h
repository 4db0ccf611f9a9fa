#pragma once

#include <QObject>

#include "app/audition_tones.h"
#include "app/frame_context.h"
#include "app/midi_panic.h"
#include "platform/jobs.h"

namespace tonalith {

// The commands of the MIDI menu that are no transfers: the choice of ports, audition notes, panic.
class MidiCommands final : public QObject {
  Q_OBJECT

 public:
  // Registers the commands.  With `panicOff` the panic command does nothing.
  MidiCommands(const FrameContext& frame, bool panicOff);
  ~MidiCommands() override;

  // Asks whether ports shall be chosen when none is.
  void AskForPorts();
  void OpenPortDialog(bool input);
  // Closes the MIDI inputs and opens them again.
  void ResetMidiInPorts();
  MidiPanic& panic() { return panic_; }

 private:
  void OnMidiInPorts();
  void OnMidiOutPorts();
  void OnMidiPanic();
  // Scripts that change preferences: told in the status line, and put back by a command.
  void RegisterScriptChanges();
  bool MayClosePorts();
  ToneTarget TonesGoTo() const;
  void RegisterTones();

  FrameContext frame_;
  MidiPanic panic_;
  AuditionTones tones_;
  bool panicOff_;
  Receiver receiver_;
};

// Why nothing can be sent: no output port is open; empty when one is.
QString NoOutputSentence(Program& program);

}  // namespace tonalith
