#pragma once

#include <QObject>
#include <functional>

#include "app/frame_context.h"
#include "app/preferences.h"
#include "ui/commands.h"
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
  // A setting that its menu item turns on and off, and keeps.
  void RegisterSwitch(CommandId command, const std::function<bool()>& isOn, const std::function<void(bool)>& set);
  bool KeepSettings();
  void ChooseLook(Look look);
  void OnSavePreferences();
  void OnUpdateKeyList();

  FrameContext frame_;
  MidiCommands& midi_;
};

}  // namespace tonalith
