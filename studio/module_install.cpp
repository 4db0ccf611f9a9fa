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

Result InstallInstrumentModule(ZKStudioDoc& studio, const std::filesystem::path& package, bool queue,
                               InstallReport* report, ModuleInStudio* outcome, const InstallOptions& options) {
  ModuleInStudio own;
  if (!outcome) outcome = &own;
  if (!HasInstrumentDefinition(studio.paths().instruments))
    return Result::Failure(DefinitionMissing(studio.paths().instruments));
  InstallOptions checked = options;
  checked.check = CheckDrivers;
  Result result = InstallPackage(package, studio.paths().instruments, report, checked);
  if (!result.ok() || report->moduleFile.empty()) return result;
  result = AddInstalledModule(studio, report->moduleFile, queue, outcome);
  if (result.ok() && studio.DrvSaveSetup(0) != 0) result = Result::Failure("The studio could not be saved.");
  return result;
}

Result DeleteModuleFiles(ZKStudioDoc& studio, const std::string& moduleFile) {
  for (ZKDrvList* instrument : InstrumentsOf(studio, moduleFile)) {
    if (!studio.DeleteInstrument(instrument))
      return Result::Failure("The module files stay: a window still uses the instrument.");
  }
  return TrashModule(studio.paths().instruments, moduleFile);
}

}  // namespace tonalith
