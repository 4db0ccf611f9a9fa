#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "script/script_services.h"
#include "services/settings.h"

namespace tonalith {

// The preference that a script means; nullopt: it is none that is kept.
std::optional<SettingId> SettingOf(ScriptSetting setting);

// What scripts changed in the user's preferences, so that it can be told and taken back.  Any thread.
class ScriptChanges {
 public:
  explicit ScriptChanges(Settings& settings) : settings_(settings) {}
  ScriptChanges(const ScriptChanges&) = delete;
  ScriptChanges& operator=(const ScriptChanges&) = delete;

  // A script of that instrument and data (UTF-8) changed a preference.  Changes of the same data follow each other as
  // one; those of other data begin anew, and only they can be taken back then.
  void Note(const std::string& who, SettingId setting, int before, int after);
  // Called with each change as a sentence, on the script's thread; empty: nobody.
  using Listener = std::function<void(const std::string& sentence)>;
  void SetListener(Listener listener);
  // The sentences since the last call, for who cannot listen.
  std::vector<std::string> TakeNews();

  // Whether there is something to take back.
  bool CanUndo() const;
  // Puts the preferences back that the last scripts changed, but for those that somebody changed since.  A sentence
  // about what was done.
  std::string Undo();

 private:
  struct Change {
    SettingId setting;
    int before;
    int after;
  };

  Settings& settings_;
  mutable std::mutex mutex_;  // what follows
  std::string who_;
  std::vector<Change> changes_;  // of `who_`, one a setting
  std::vector<std::string> news_;
  Listener listener_;
};

// "A script of the Roland D-50 Patch changed "Default MIDI channel" from 1 to 4."
std::string SettingChangeSentence(std::string_view who, SettingId setting, int before, int after);

}  // namespace tonalith
