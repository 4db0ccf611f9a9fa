#include "services/program.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "data/container.h"
#include "platform/jobs.h"
#include "platform/prompts.h"
#include "services/hosts.h"
#include "services/paths.h"
#include "services/program_midi.h"
#include "services/registry.h"
#include "services/script_settings.h"
#include "services/settings.h"
#include "services/single_instance.h"
#include "services/window_counters.h"
#include "services/window_places.h"

namespace tonalith {

namespace {

constexpr char kDefaultApplicationName[] = "Tonalith";

}  // namespace

// Made from top to bottom and destroyed from bottom to top: what is below may use what is above.
struct Program::Parts final : DiskHooks {
  Parts(Program& program, Folders folders)
      : prompts(program.prompts_),
        registry(RegistryFile(folders), folders.runtime, kDefaultApplicationName, &program.prompts_),
        paths(std::move(folders), registry),
        places(paths),
        disk(this),
        jobs(program.clock_) {}

  // ---- DiskHooks
  bool MainConfigDriver(std::uint16_t driverId) override { return !studio || studio->MainConfigDriver(driverId); }
  void DrvCorrectIDForCollisions(DataFile* dataFile) override {
    if (studio) studio->DrvCorrectIDForCollisions(dataFile);
  }
  void DrvUpdateDataFile(DataFile* dataFile) override {
    if (studio) studio->DrvUpdateDataFile(dataFile);
  }
  void ShowMessage(const std::string& title, const std::string& text) override { prompts.Say(title, text); }

  Prompts& prompts;
  Registry registry;
  Paths paths;
  Settings settings;
  ScriptChanges scriptChanges{settings};
  SingleInstanceManager singleInstances;
  WindowPlaces places;
  WindowCounters counters;
  ZKAppVars appVars;
  ScriptAppState scriptState;
  DataFileObservers observers;
  DiskAccess disk;
  DocumentsHost* documents = nullptr;
  StudioHost* studio = nullptr;
  AnswerSource answers;
  TransferWindowsHost* windows = nullptr;
  std::unique_ptr<ProgramMidi> midi;
  Jobs jobs;
};

Program::Program(Folders folders, Clock& clock, Prompts& prompts, Dispatcher& dispatcher)
    : clock_(clock), prompts_(prompts), dispatcher_(dispatcher), basics_(MakeBasics(*this)) {
  parts_ = std::make_unique<Parts>(*this, std::move(folders));
  parts_->observers.SetUiThread(std::this_thread::get_id(),
                                [&dispatcher](std::function<void()> call) { dispatcher.Post(std::move(call)); });
}

Program::~Program() {
  StopWork();
}

// ---- components

Registry& Program::registry() {
  return parts_->registry;
}
Paths& Program::paths() {
  return parts_->paths;
}
const Paths& Program::paths() const {
  return parts_->paths;
}
Settings& Program::settings() {
  return parts_->settings;
}
SingleInstanceManager& Program::singleInstances() {
  return parts_->singleInstances;
}
WindowPlaces& Program::windowPlaces() {
  return parts_->places;
}
WindowCounters& Program::windowCounters() {
  return parts_->counters;
}
ZKAppVars& Program::appVars() {
  return parts_->appVars;
}
ScriptChanges& Program::scriptChanges() {
  return parts_->scriptChanges;
}
ScriptAppState& Program::scriptState() {
  return parts_->scriptState;
}
DataFileObservers& Program::dataFileObservers() {
  return parts_->observers;
}
DiskAccess& Program::disk() {
  return parts_->disk;
}
Jobs& Program::jobs() {
  return parts_->jobs;
}

// ---- ports, scripts and transfers

ProgramMidi& Program::midiSide() {
  if (!parts_->midi) {
    parts_->midi = std::make_unique<ProgramMidi>(Shared(), clock_, dispatcher_, ScriptPorts::kOfProfile);
    parts_->midi->scripts().SetDocuments(parts_->documents);
    parts_->midi->scripts().SetWindows(parts_->windows);
    parts_->midi->scripts().SetAnswerSource(parts_->answers);
  }
  return *parts_->midi;
}
MidiPortSystem& Program::midi() {
  return midiSide().midi();
}
MidiOut& Program::out() {
  return midi().out();
}
MidiIn& Program::in() {
  return midi().in();
}
ScriptBridge& Program::scripts() {
  return midiSide().scripts();
}
TransferEngine& Program::transfers() {
  return midiSide().transfers();
}
TransferFiles& Program::files() {
  return midiSide().files();
}
TransferDesk& Program::desk() {
  return midiSide().desk();
}
ScriptRouter& Program::router() {
  return midiSide().router();
}
MainWindowMessages& Program::mainWindow() {
  return midiSide().mainWindow();
}

std::unique_ptr<ProgramMidi> Program::MakeMidi(Clock& clock, Dispatcher& dispatcher) {
  auto midi = std::make_unique<ProgramMidi>(Shared(), clock, dispatcher, ScriptPorts::kChosen);
  midi->scripts().SetAnswerSource(parts_->answers);
  return midi;
}

ProgramShared Program::Shared() {
  return {parts_->settings, parts_->paths, parts_->scriptChanges, parts_->scriptState,
          parts_->appVars,  prompts_,      parts_->disk};
}

// ---- what the rooms above plug in

void Program::SetDocuments(DocumentsHost* documents) {
  parts_->documents = documents;
  if (parts_->midi) parts_->midi->scripts().SetDocuments(documents);
}

void Program::SetAnswerSource(AnswerSource source) {
  parts_->answers = std::move(source);
  if (parts_->midi) parts_->midi->scripts().SetAnswerSource(parts_->answers);
}

void Program::SetStudio(StudioHost* studio) {
  parts_->studio = studio;
}

void Program::SetTransferWindows(TransferWindowsHost* windows) {
  parts_->windows = windows;
  if (parts_->midi) parts_->midi->scripts().SetWindows(windows);
}

DocumentsHost* Program::documents() const {
  return parts_->documents;
}
StudioHost* Program::studio() const {
  return parts_->studio;
}

// ---- start and end

void Program::ConfigBasics() {
  parts_->paths.ConfigBasics();
}

Result Program::LoadConfig() {
  const Paths& paths = parts_->paths;
  Result loaded = parts_->settings.MainLoadConfig(paths.BuildConfigFilename(), paths.MainGetPreferencesIni(),
                                                  paths.MainGetPreferencesPath());
  if (parts_->midi) parts_->midi->LoadConfig();
  return loaded;
}

Result Program::SaveConfig() {
  return parts_->settings.SaveConfig(parts_->paths.BuildConfigFilename());
}

void Program::OpenMidiPorts() {
  midiSide().OpenMidiPorts();
}

void Program::CloseMidiPorts() {
  if (parts_->midi) parts_->midi->CloseMidiPorts();
}

bool Program::MainConfigDriver(std::uint16_t driverId) {
  return parts_->MainConfigDriver(driverId);
}

int Program::MainGetSynCompileSize(int size) {
  constexpr int kMost = 65535;
  if (size >= 1) synCompileSize_ = std::min(size, kMost);
  return synCompileSize_;
}

void Program::StopWork() {
  if (parts_->midi) parts_->midi->StopWork();
  parts_->jobs.StopAll();
}

}  // namespace tonalith
