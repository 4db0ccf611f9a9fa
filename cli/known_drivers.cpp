#include "cli/known_drivers.h"

#include "cli/session.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/module_check.h"
#include "studio/package.h"
#include "studio/shipped_modules.h"

namespace tonalith {

std::map<int, std::string> KnownDrivers(CliEnvironment& environment, const std::string& except) {
  std::map<int, std::string> known;
  const auto add = [&](const PackageFiles& files) {
    for (const auto& [id, name] : DriverIdsOf(files))
      if (!AsciiEqualNoCase(name, except.substr(0, 31))) known.emplace(id, name);
  };
  const std::string shipped = ShippedModulesFolder(environment.folders.resources).string();
  for (const std::string& name : ListFolder(shipped, "*.pvz")) {
    PackageFiles files;
    if (ReadPackage(JoinPath(shipped, name), &files).ok()) add(files);
  }
  // A program that was never started has no folders, and looking is no reason to make them.
  if (!FileExists(RegistryFile(environment.folders))) return known;
  const std::string own = Session(environment).instruments().string();
  for (const std::string& name : ListFolder(own)) {
    if (!FolderExists(JoinPath(own, name))) continue;
    PackageFiles files;
    for (const std::string& driver : ListFolder(JoinPath(own, name), "*.PV6")) {
      PackageFile file{driver, {}};
      if (ReadWholeFile(JoinPath(JoinPath(own, name), driver), file.bytes, 16u << 20).ok())
        files.push_back(std::move(file));
    }
    add(files);
  }
  return known;
}

int FreeDriverBase(const std::map<int, std::string>& known, int wanted, int count) {
  for (int base = wanted; base + count <= 65000; ++base) {
    const auto next = known.lower_bound(base);
    if (next == known.end() || next->first >= base + count) return base;
  }
  return wanted;
}

}  // namespace tonalith
