#include "studio/shipped_modules.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/clock.h"
#include "services/paths.h"

namespace tonalith {

namespace {

constexpr char kInstallLock[] = ".install.lock";
constexpr std::int64_t kInstallWaitMs = 10'000;

// Held while packages are installed; taken over from a process that ended.
class InstallLock {
 public:
  explicit InstallLock(const std::filesystem::path& folder)
      : fd_(::open((folder / kInstallLock).c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644)) {
    const std::int64_t until = SystemClock().NowUs() + kInstallWaitMs * 1000;
    while (fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0 && SystemClock().NowUs() < until) SystemClock().SleepMs(20);
  }
  InstallLock(const InstallLock&) = delete;
  InstallLock& operator=(const InstallLock&) = delete;
  ~InstallLock() {
    if (fd_ >= 0) ::close(fd_);
  }

 private:
  int fd_;
};

}  // namespace

std::unique_ptr<ZKStudioDoc> MakeStudio(const Paths& paths, Prompts& prompts, StudioPorts* ports) {
  StudioPaths folders;
  folders.instruments = paths.MainGetInstrPath();
  folders.data = paths.MainGetDataPath();
  folders.preferences = paths.CompanyConfigPath();
  folders.applicationIni = paths.GetZKIni();
  return std::make_unique<ZKStudioDoc>(std::move(folders), prompts, ports);
}

std::filesystem::path ShippedModulesFolder(const std::filesystem::path& resources) {
  return resources / "modules";
}

Result InstallShippedModules(const std::filesystem::path& resources, const std::filesystem::path& instruments,
                             ShippedOutcome* outcome) {
  std::error_code error;
  const std::filesystem::path packages = ShippedModulesFolder(resources);
  if (!std::filesystem::is_directory(packages, error)) return Result::Success();
  if (Result folder = EnsureInstrumentFolder(instruments, resources); !folder.ok()) return folder;
  const InstallLock lock(instruments);
  return InstallShippedPackages(packages, instruments, outcome);
}

Result InstallShippedModules(const Paths& paths, ShippedOutcome* outcome) {
  return InstallShippedModules(paths.MainGetResourcePath(), paths.MainGetInstrPath(), outcome);
}

Result LoadStudioWithShippedModules(ZKStudioDoc& studio, const std::filesystem::path& resources,
                                    ShippedOutcome* outcome) {
  ShippedOutcome own;
  if (!outcome) outcome = &own;
  Result result = InstallShippedModules(resources, studio.paths().instruments, outcome);
  studio.DrvLoadSetup(0);
  for (const InstallReport& report : outcome->installed)
    if (!report.moduleFile.empty() && !studio.list().IsInstrumentInstalled(report.moduleFile))
      studio.AddDrivers(report.moduleFile);
  return result;
}

}  // namespace tonalith
