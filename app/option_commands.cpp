#include "app/option_commands.h"

#include <QMainWindow>
#include <algorithm>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/midi_commands.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "services/audition.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr const char* kKeyFile = "ZKKeys.ini";
constexpr int kMostCategories = 32;

}  // namespace

OptionCommands::OptionCommands(const FrameContext& frame, MidiCommands& midi) : frame_(frame), midi_(midi) {
  Settings& settings = frame_.program.settings();
  frame_.menus.Register(CommandId::OptionsPreferences,
                        {[this] { MainSetProperties(&frame_.window, frame_.program, *this); }});
  RegisterSwitch(
      CommandId::OptionsAudition, [&settings] { return PlaysWhatIsSelected(settings); },
      [this, &settings](bool on) {
        SetPlaysWhatIsSelected(settings, on);
        frame_.children.ForEach([](ZKWindow& child) { child.SettingsChanged(); });
      });
  RegisterSwitch(
      CommandId::OptionsReopenDesktop, [&settings] { return settings.MainAutoSaveLoadDesktop(-1) != 0; },
      [&settings](bool on) { settings.MainAutoSaveLoadDesktop(on ? 1 : 0); });
  RegisterSwitch(
      CommandId::ViewControlBar, [&settings] { return settings.MainApplicationControlBar(-1) != 0; },
      [&settings](bool on) { settings.MainApplicationControlBar(on ? 1 : 0); });
  const std::pair<CommandId, Look> looks[] = {{CommandId::ViewLookSystem, Look::System},
                                              {CommandId::ViewLookLight, Look::Light},
                                              {CommandId::ViewLookDark, Look::Dark}};
  for (const auto& [command, look] : looks)
    frame_.menus.Register(
        command,
        {[this, wanted = look] { ChooseLook(wanted); }, {}, [wanted = look] { return ShownLook() == wanted; }});
  frame_.menus.Register(CommandId::OptionsSavePreferences, {[this] { OnSavePreferences(); }});
  frame_.menus.Register(CommandId::OptionsUpdateKeyList, {[this] { OnUpdateKeyList(); }});
}

void OptionCommands::RegisterSwitch(CommandId command, const std::function<bool()>& isOn,
                                    const std::function<void(bool)>& set) {
  frame_.menus.Register(command, {[this, isOn, set] {
                                    set(!isOn());
                                    KeepSettings();
                                  },
                                  {},
                                  isOn});
}

void OptionCommands::ResetMidiInPorts() {
  midi_.ResetMidiInPorts();
}

void OptionCommands::PreferencesApplied() {
  frame_.children.ForEach([](ZKWindow& child) { child.SettingsChanged(); });
  frame_.menus.Update();
}

// At once: nobody looks for a command that keeps what is seen already.
bool OptionCommands::KeepSettings() {
  const Result saved = frame_.program.SaveConfig();
  if (!saved.ok()) frame_.prompts().Say("Preferences", saved.text);
  return saved.ok();
}

void OptionCommands::ChooseLook(Look look) {
  SetLook(look);
  frame_.program.settings().MainLook(static_cast<int>(look));
  KeepSettings();
  frame_.Status(look == Look::Dark    ? tr("The windows are dark.")
                : look == Look::Light ? tr("The windows are light.")
                : DesktopTellsLook()  ? tr("The windows are as the desktop, also when that changes.")
                                      : tr("The windows are as the desktop was when the program started."));
}

void OptionCommands::OnSavePreferences() {
  if (KeepSettings()) frame_.Status(tr("The preferences were saved."));
}

// The user's list stands in the data folder and begins as a copy of the one that came with the program.
void OptionCommands::OnUpdateKeyList() {
  const std::string own = JoinPath(frame_.program.paths().MainGetDataPath(), kKeyFile);
  if (!FileExists(own)) {
    const std::string first = JoinPath(frame_.program.paths().MainGetApplicationSupportPath(), kKeyFile);
    if (const Result copied = CopyFileAtomically(first, own); !copied.ok()) {
      frame_.prompts().Say("Keywords", copied.text);
      return;
    }
  }
  const IniFile list(own);
  const int categories = std::max(0, list.GetInt("Categories", "Number"));
  int keywords = 0;
  for (int i = 0; i < std::min(categories, kMostCategories); ++i)
    keywords += std::max(0, list.GetInt(list.GetString("Categories", "Cat" + std::to_string(i)), "Number"));
  frame_.Status(tr("The list of keywords was read: %1 keywords in %2 categories.").arg(keywords).arg(categories));
}

}  // namespace tonalith
