#pragma once

#include <QObject>
#include <string>

#include "app/frame_context.h"
#include "platform/prompts.h"

namespace tonalith {

class Autosave;
class MidiCommands;
class ReceivedSoFar;
class WindowTransfers;

// How the program ends: as the user asks, with questions about what is being sent and what is not saved, or without
// questions, keeping what nobody saved.
class QuitSequence final : public QObject {
  Q_OBJECT

 public:
  // Registers the command.  All of it must outlive this.
  QuitSequence(const FrameContext& frame, WindowTransfers& transfers, MidiCommands& midi, Autosave& autosave,
               ReceivedSoFar& received);

  // From now on nothing is asked (end of the session): changes nobody saved are left to the next start.
  void SetQuitting() { quitting_ = true; }
  // The window was asked to close.  False: it stays.
  bool Close();

 private:
  bool OnClose();
  PromptAnswer AskWhileSending(const char* text, const char* second);
  bool MayBreakOff();
  bool WaitForOutput();
  void LetTransfersEnd();

  FrameContext frame_;
  WindowTransfers& transfers_;
  MidiCommands& midi_;
  Autosave& autosave_;
  ReceivedSoFar& received_;
  bool quitting_ = false;
  bool asking_ = false;
};

}  // namespace tonalith
