#pragma once

#include <QObject>

#include "app/frame_context.h"
#include "app/preferences.h"
#include "ui/style/look.h"

namespace tonalith {

class MidiCommands;

// The Options menu: the preferences and what belongs to them.
class OptionCommands final : public QObject, public PreferencesHost {
  Q_OBJECT

 public:
  // Registers the commands.  The MIDI commands must outlive this.
  OptionCommands(const FrameContext& frame, MidiCommands& midi);

  // ---- PreferencesHost
  void ResetMidiInPorts() override;
  void PreferencesApplied() override;

 private:
  void ChooseLook(Look look);
  void OnSavePreferences();
  void OnUpdateKeyList();

  FrameContext frame_;
  MidiCommands& midi_;
};

}  // namespace tonalith
