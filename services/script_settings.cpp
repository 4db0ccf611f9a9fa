#include "services/script_settings.h"

#include <algorithm>
#include <utility>

#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::size_t kMostNews = 100;

// As the preferences show it: ports and channels count from 1.
std::string ShownValue(SettingId setting, int value) {
  const bool fromOne =
      setting == SettingId::MainPortOut || setting == SettingId::MainPortIn || setting == SettingId::MainMidiChannel;
  return std::to_string(fromOne ? value + 1 : value);
}

std::string Quoted(SettingId setting) {
  return std::string("\"") + Info(setting).label + "\"";
}

}  // namespace

std::optional<SettingId> SettingOf(ScriptSetting setting) {
  switch (setting) {
    case ScriptSetting::DefaultOutPort:
      return SettingId::MainPortOut;
    case ScriptSetting::DefaultInPort:
      return SettingId::MainPortIn;
    case ScriptSetting::DefaultMidiChannel:
      return SettingId::MainMidiChannel;
    case ScriptSetting::EchoMode:
      return SettingId::MainEchoMode;
    case ScriptSetting::IncludeRealTimeEvents:
      return SettingId::MainIncludeRealTimeEvents;
    case ScriptSetting::BankRespondToPatchChange:
      return SettingId::MainBankRespondToPatchChange;
    case ScriptSetting::UpdatePatch:
      return SettingId::MainUpdatePatch;
    case ScriptSetting::AutoSenseOnProgramExecution:
      return SettingId::MainAutoSenseOnProgramExecution;
    case ScriptSetting::UseSynchronizedEditing:
      return SettingId::MainUseSynchronizedEditing;
    case ScriptSetting::ActivateOnMouseOver:
      return SettingId::MainActivateOnMouseOver;
    case ScriptSetting::ReceiveManualBulkDumps:
      return SettingId::MainReceiveManualBulkDumps;
    case ScriptSetting::Delay:
      return SettingId::MainDelay;
    case ScriptSetting::ShowTransmitWindow:
      return SettingId::MainShowTransmitWindow;
    case ScriptSetting::MidiDelay:
    case ScriptSetting::ProgramType:
    case ScriptSetting::Environment:
    case ScriptSetting::DeleteStudioOnExit:
      break;
  }
  return std::nullopt;
}

std::string SettingChangeSentence(std::string_view who, SettingId setting, int before, int after) {
  return "A script of the " + std::string(who) + " changed " + Quoted(setting) + " from " +
         ShownValue(setting, before) + " to " + ShownValue(setting, after) + ".";
}

void ScriptChanges::Note(const std::string& who, SettingId setting, int before, int after) {
  const std::string sentence = SettingChangeSentence(who, setting, before, after);
  DebugLog("%s", sentence.c_str());
  Listener listener;
  {
    std::lock_guard guard(mutex_);
    if (who != who_) changes_.clear();
    who_ = who;
    const auto same = [setting](const Change& change) { return change.setting == setting; };
    const auto known = std::find_if(changes_.begin(), changes_.end(), same);
    if (known == changes_.end()) {
      changes_.push_back({setting, before, after});
    } else {
      known->after = after;
    }
    if (news_.size() < kMostNews) news_.push_back(sentence);
    listener = listener_;
  }
  if (listener) listener(sentence);
}

void ScriptChanges::SetListener(Listener listener) {
  std::lock_guard guard(mutex_);
  listener_ = std::move(listener);
}

std::vector<std::string> ScriptChanges::TakeNews() {
  std::lock_guard guard(mutex_);
  return std::exchange(news_, {});
}

bool ScriptChanges::CanUndo() const {
  std::lock_guard guard(mutex_);
  return !changes_.empty();
}

std::string ScriptChanges::Undo() {
  std::vector<Change> changes;
  {
    std::lock_guard guard(mutex_);
    changes = std::exchange(changes_, {});
  }
  std::string back, kept;
  const auto add = [](std::string* list, const std::string& text) { *list += (list->empty() ? "" : ", ") + text; };
  for (const Change& change : changes) {
    if (settings_.Value(change.setting) != change.after) {
      add(&kept, Quoted(change.setting));
    } else {
      settings_.Access(change.setting, change.before);
      add(&back, Quoted(change.setting) + " is " + ShownValue(change.setting, change.before));
    }
  }
  std::string text = back.empty() ? "Nothing was put back." : "Put back: " + back + ".";
  if (!kept.empty()) text += " Changed since, and left alone: " + kept + ".";
  return text;
}

}  // namespace tonalith
