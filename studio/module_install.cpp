#include "studio/module_install.h"

#include <algorithm>

#include "data/container.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// What the user set on an instrument goes over to the one that takes its place.
void CopySettings(const ZKDrvList& from, ZKDrvList* to) {
  to->SetSysExChannel(from.sysExChannel);
  to->SetMidiChannel(from.midiChannel);
  to->SetInPort(from.midiInPort, from.inPortName);
  to->SetOutPort(from.midiOutPort, from.outPortName);
  to->SetPatchBay(from.patchBayFlags, from.patchBayChannel, from.patchBayPort, from.patchBayRevertPatch,
                  from.patchBayPortName);
  to->SetPatchBayController(from.patchBayController);
  for (const auto& driver : to->drivers) {
    for (const auto& former : from.drivers) {
      if (!driver->synth() || !former->synth() || driver->synth()->driverId != former->synth()->driverId) continue;
      driver->defaultPatch = former->defaultPatch;
      driver->midiChannel = former->midiChannel;
      driver->CopyToDescriptors();
    }
  }
}

// False: the module could not be read (the former instrument is back).
bool Reload(ZKStudioDoc& studio, ZKDrvList* instrument, ModuleInStudio* outcome) {
  int index = 0;
  std::unique_ptr<ZKDrvList> former = studio.TakeInstrument(instrument, &index);
  if (!former) {
    outcome->kept = true;
    return true;
  }
  // Queued, so that it is not searched for: it is where it was.
  const std::size_t before = studio.instruments().size();
  const bool added = studio.AddDrivers(former->moduleFile, true) && studio.instruments().size() == before + 1;
  studio.TakeQueued();
  if (!added) {
    studio.PutBack(std::move(former), index);
    return false;
  }
  ZKDrvList* fresh = studio.instruments().back().get();
  fresh->instance = former->instance;
  CopySettings(*former, fresh);
  studio.list().MoveInstrument(static_cast<int>(before), index);
  if (!outcome->instrument) outcome->instrument = fresh;
  ++outcome->reloaded;
  return true;
}

std::vector<ZKDrvList*> InstrumentsOf(const ZKStudioDoc& studio, const std::string& moduleFile) {
  std::vector<ZKDrvList*> found;
  for (const auto& instrument : studio.instruments()) {
    if (AsciiEqualNoCase(instrument->moduleFile, moduleFile)) found.push_back(instrument.get());
  }
  return found;
}

// Instruments of modules that another one takes the place of: out of the studio while that is installed, back in their
// places when it is not.
class LeavingInstruments {
 public:
  explicit LeavingInstruments(ZKStudioDoc& studio) : studio_(studio) {}
  LeavingInstruments(const LeavingInstruments&) = delete;
  LeavingInstruments& operator=(const LeavingInstruments&) = delete;
  ~LeavingInstruments() {
    for (; !taken_.empty(); taken_.pop_back()) studio_.PutBack(std::move(taken_.back().first), taken_.back().second);
  }

  // What takes the place of an INI of the same name is read anew later, with the instruments of it.
  Result Take(const PackageData& package, const std::vector<std::string>& modules) {
    if (modules.empty()) return Result::Success();
    PackagePreview preview;
    if (Result looked = PreviewPackage(package, studio_.paths().instruments, &preview); !looked.ok()) return looked;
    for (const ModuleConflict& conflict : preview.conflicts) {
      const std::string& file = conflict.victim.moduleFile;
      const bool agreed = std::any_of(modules.begin(), modules.end(),
                                      [&](const std::string& one) { return AsciiEqualNoCase(one, file); });
      if (!agreed || AsciiEqualNoCase(file, preview.module.moduleFile)) continue;
      for (ZKDrvList* instrument : InstrumentsOf(studio_, file)) {
        int index = 0;
        auto taken = studio_.TakeInstrument(instrument, &index);
        if (!taken) return Result::Failure("Nothing was installed: a window still uses " + conflict.victim.name + ".");
        taken_.emplace_back(std::move(taken), index);
      }
    }
    return Result::Success();
  }
  void Drop() { taken_.clear(); }

 private:
  ZKStudioDoc& studio_;
  std::vector<std::pair<std::unique_ptr<ZKDrvList>, int>> taken_;
};

// A package whose drivers cannot be read must not take the place of a module that works.
Result CheckDrivers(const std::filesystem::path& folder, const IniFile& ini) {
  const int count = std::min(ini.GetInt("Instrument", "NumDrivers"), kMaxModuleDrivers);
  for (int i = 0; i < count; ++i) {
    const std::string file = ini.GetString("Instrument", "ID" + std::to_string(i));
    const auto found = FindPath(folder.string(), file, PathTrust::Untrusted);
    if (file.empty() || !found)
      return Result::Failure("The module's driver " + std::to_string(i) + ", \"" + file + "\", is not in its folder.");
    DiskHooks quiet;
    DataFilePtr data(AllocDataFile());
    DiskAccess disk(&quiet);
    if (!data || !disk.DiskRead(0, FolderOf(*found), FileNameOf(*found), {}, data.get(), 0) || disk.EndsEarly() ||
        !data->synth)
      return Result::Failure("The module's driver \"" + file + "\" cannot be read.");
  }
  return Result::Success();
}

}  // namespace

Result AddInstalledModule(ZKStudioDoc& studio, const std::string& moduleFile, bool queue, ModuleInStudio* outcome) {
  *outcome = {};
  const Result failed = Result::Failure("The instrument of " + moduleFile + " could not be added to the studio.");
  const auto former = InstrumentsOf(studio, moduleFile);
  for (ZKDrvList* instrument : former) {
    if (!Reload(studio, instrument, outcome)) return failed;
  }
  if (!former.empty()) return Result::Success();
  if (!studio.AddDrivers(moduleFile, queue) || studio.instruments().empty()) return failed;
  outcome->instrument = studio.instruments().back().get();
  studio.UpdatePortReferences();
  return Result::Success();
}

Result InstallIntoStudio(ZKStudioDoc& studio, const PackageData& package, bool queue, InstallReport* report,
                         ModuleInStudio* outcome, const InstallOptions& options, const PackageInstaller& install) {
  const std::filesystem::path instruments = studio.paths().instruments;
  if (!HasInstrumentDefinition(instruments)) return Result::Failure(DefinitionMissing(instruments));
  InstallOptions checked = options;
  checked.check = CheckDrivers;
  LeavingInstruments leaving(studio);
  Result result = leaving.Take(package, options.replace);
  if (result.ok())
    result = install ? install(package, checked, report) : InstallPackage(package, instruments, report, checked);
  if (!result.ok() || report->moduleFile.empty()) return result;
  leaving.Drop();
  return AddInstalledModule(studio, report->moduleFile, queue, outcome);
}

Result InstallInstrumentModule(ZKStudioDoc& studio, const PackageData& package, bool queue, InstallReport* report,
                               ModuleInStudio* outcome, const InstallOptions& options) {
  ModuleInStudio own;
  Result result = InstallIntoStudio(studio, package, queue, report, outcome ? outcome : &own, options);
  if (!result.ok() || report->moduleFile.empty()) return result;
  return studio.DrvSaveSetup(0) == 0 ? result : Result::Failure("The studio could not be saved.");
}

Result DeleteModuleFiles(ZKStudioDoc& studio, const std::string& moduleFile) {
  for (ZKDrvList* instrument : InstrumentsOf(studio, moduleFile)) {
    if (!studio.DeleteInstrument(instrument))
      return Result::Failure("The module files stay: a window still uses the instrument.");
  }
  return TrashModule(studio.paths().instruments, moduleFile);
}

}  // namespace tonalith
