#include "script/script_services.h"

#include <sys/utsname.h>

#include <cstdio>

#include "platform/log.h"
#include "script/hydrasynth.h"

namespace tonalith {

int ScriptAppState::BasicsVar(int index) const {
  if (index < 0 || index >= kBasicsVars) return -1;
  std::lock_guard guard(mutex_);
  return basicsVars_[static_cast<std::size_t>(index)];
}

void ScriptAppState::SetBasicsVar(int index, int value) {
  if (index < 0 || index >= kBasicsVars) return;
  std::lock_guard guard(mutex_);
  basicsVars_[static_cast<std::size_t>(index)] = value;
}

bool ScriptAppState::TakeOneShot(int index) {
  if (index < 0 || index >= static_cast<int>(oneShots_.size()) * 32) return false;
  std::lock_guard guard(mutex_);
  std::uint32_t& word = oneShots_[static_cast<std::size_t>(index / 32)];
  const std::uint32_t bit = 1u << (index % 32);
  const bool set = (word & bit) != 0;
  word &= ~bit;
  return set;
}

ScriptServices::ScriptServices() : hydrasynthQueue_(std::make_unique<HydrasynthSendQueue>(SystemClock())) {}

ScriptServices::~ScriptServices() = default;

void ScriptServices::MonitorLine(const std::string& text) {
  MonitorMsg("%s", text.c_str());
}

void ScriptServices::PressTransferButton(int button, TransferContext& context) {
  if (button < 1 || button > 3) return;
  context.state.store(static_cast<TransferState>(button));
  context.wake.Cancel();
}

void ScriptServices::ScriptStopped(const Synth& synth, const std::string& text) {
  DebugLog("A script of the %s %s was %s", FieldText(synth.shortName).c_str(), FieldText(synth.typeName).c_str(),
           text.c_str());
}

int ScriptServices::OsVersion() {
  utsname system{};
  if (uname(&system) != 0) return 0;
  unsigned major = 0;
  unsigned minor = 0;
  unsigned build = 0;
  std::sscanf(system.release, "%u.%u.%u", &major, &minor, &build);
  return static_cast<int>((major & 0x7FFF) << 16 | (minor & 255) << 8 | (build & 255));
}

}  // namespace tonalith
