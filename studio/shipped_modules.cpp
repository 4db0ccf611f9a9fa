#include "studio/shipped_modules.h"

#include "platform/lock_file.h"
#include "services/paths.h"

namespace tonalith {

namespace {

constexpr std::int64_t kInstallWaitMs = 10'000;

}  // namespace

std::unique_ptr<ZKStudioDoc> MakeStudio(const Paths& paths, Prompts& prompts, StudioPorts* ports) {
  StudioPaths folders;
  folders.instruments = paths.MainGetInstrPath();
  folders.data = paths.MainGetDataPath();
  folders.preferences = paths.CompanyConfigPath();
  folders.applicationIni = paths.GetZKIni();
  folders.locks = paths.folders().runtime;
  return std::make_unique<ZKStudioDoc>(std::move(folders), prompts, ports);
}

std::filesystem::path ShippedModulesFolder(const std::filesystem::path& resources) {
  return resources / "modules";
}

Result InstallShippedModules(const std::filesystem::path& resources, const std::filesystem::path& instruments,
                             const std::filesystem::path& locks, ShippedOutcome* outcome) {
  std::error_code error;
  const std::filesystem::path packages = ShippedModulesFolder(resources);
  if (!std::filesystem::is_directory(packages, error)) return Result::Success();
  if (Result folder = EnsureInstrumentFolder(instruments, resources); !folder.ok()) return folder;
  LockFile lock;
  if (!locks.empty()) {
    const Result taken = lock.Take(locks, LockFile::NameFor("install", instruments), kInstallWaitMs);
    if (!taken) return Result::Failure("The instruments were not brought up to date. " + taken.text, taken.code);
  }
  return InstallShippedPackages(packages, instruments, outcome);
}

Result InstallShippedModules(const Paths& paths, ShippedOutcome* outcome) {
  return InstallShippedModules(paths.MainGetResourcePath(), paths.MainGetInstrPath(), paths.folders().runtime, outcome);
}

Result LoadStudioWithShippedModules(ZKStudioDoc& studio, const std::filesystem::path& resources,
                                    ShippedOutcome* outcome) {
  ShippedOutcome own;
  if (!outcome) outcome = &own;
  Result result = InstallShippedModules(resources, studio.paths().instruments, studio.paths().locks, outcome);
  studio.DrvLoadSetup(0);
  for (const InstallReport& report : outcome->installed)
    if (!report.moduleFile.empty() && !studio.list().IsInstrumentInstalled(report.moduleFile))
      studio.AddDrivers(report.moduleFile);
  return result;
}

}  // namespace tonalith
