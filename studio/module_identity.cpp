#include "studio/module_identity.h"

#include <sys/stat.h>

#include <algorithm>
#include <system_error>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/instrument_loader.h"
#include "studio/package.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestDriver = 16u << 20;

// Names that some file system takes for one another are one.
std::string FolderKey(const std::string& folder) {
  std::string key;
  for (const std::string& part : PathComponents(folder)) {
    const std::size_t last = part.find_last_not_of(". ");
    key += AsciiLower(part.substr(0, last == std::string::npos ? 0 : last + 1)) + "/";
  }
  return key;
}

// Whether two names in the instrument folder are one entry, whatever the file system makes equal.
bool IsOneEntry(const fs::path& instruments, const std::string& a, const std::string& b) {
  struct stat first {
  }, second{};
  return ::lstat((instruments / a).c_str(), &first) == 0 && ::lstat((instruments / b).c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::size_t CountFiles(const fs::path& folder) {
  std::size_t count = 0;
  std::error_code error;
  for (auto it = fs::recursive_directory_iterator(folder, error); !error && it != fs::recursive_directory_iterator();
       it.increment(error)) {
    std::error_code ignored;
    if (!it->is_directory(ignored)) ++count;
  }
  return count;
}

ModuleConflict Conflict(const fs::path& instruments, const ModuleIdentity& by, ModuleIdentity victim) {
  ModuleConflict conflict;
  conflict.byModule = by.moduleFile;
  conflict.byName = by.name;
  victim.drivers.clear();
  if (const auto folder = FindPath(instruments.string(), victim.folder, PathTrust::Untrusted);
      folder && !victim.folder.empty())
    conflict.files = CountFiles(*folder);
  conflict.victim = std::move(victim);
  return conflict;
}

// The module of a package that brings the INI of an installed one.
const IncomingModule* BringerOf(const fs::path& instruments, const std::vector<IncomingModule>& incoming,
                                const std::string& moduleFile) {
  for (const IncomingModule& module : incoming) {
    if (AsciiEqualNoCase(module.identity.moduleFile, moduleFile) ||
        IsOneEntry(instruments, module.identity.moduleFile, moduleFile))
      return &module;
  }
  return nullptr;
}

}  // namespace

std::optional<DriverFacts> ReadDriverFacts(std::span<const std::uint8_t> bytes) {
  DiskHooks quiet;
  FormReadOptions options;
  options.hooks = &quiet;
  DataFilePtr data(AllocDataFile());
  if (!data || ContainerReader(bytes).DiskReadForm(data.get(), options) != kDiskOk || !data->synth) return std::nullopt;
  return DriverFacts{data->synth->driverId, data->synth->manufacturerId};
}

ModuleIdentity IdentityOf(const std::string& moduleFile, const IniFile& ini,
                          const std::function<std::optional<DriverFacts>(const std::string& file)>& driver) {
  constexpr char kSection[] = "Instrument";
  ModuleIdentity identity;
  identity.moduleFile = moduleFile;
  identity.name = ini.GetString(kSection, "Name", WithoutExtension(moduleFile));
  identity.version = ini.GetString(kSection, "Version");
  const std::string folder = ReplaceAll(ini.GetString(kSection, "Dir"), "\\", "/");
  const auto parts = PathComponents(folder);
  if (!folder.empty() && folder.front() != '/' && std::find(parts.begin(), parts.end(), "..") == parts.end())
    identity.folder = folder;
  const int count = std::min(ini.GetInt(kSection, "NumDrivers"), kMaxModuleDrivers);
  for (int i = 0; i < count; ++i) {
    if (const auto facts = driver(ini.GetString(kSection, "ID" + std::to_string(i))))
      identity.drivers.push_back(*facts);
  }
  return identity;
}

ModuleIdentity InstalledIdentity(const fs::path& instruments, const std::string& moduleFile) {
  const IniFile ini((instruments / moduleFile).string());
  const std::string folder = ini.GetString("Instrument", "Dir");
  return IdentityOf(moduleFile, ini, [&](const std::string& file) -> std::optional<DriverFacts> {
    const auto found = FindPath(instruments.string(), JoinPath(folder, file), PathTrust::Untrusted);
    std::vector<std::uint8_t> bytes;
    if (file.empty() || !found || !ReadWholeFile(*found, bytes, kLargestDriver).ok()) return std::nullopt;
    return ReadDriverFacts(bytes);
  });
}

bool IsSameModule(const ModuleIdentity& a, const ModuleIdentity& b) {
  if (!AsciiEqualNoCase(a.moduleFile, b.moduleFile)) return false;
  if (!AsciiEqualNoCase(TrimmedView(a.name), TrimmedView(b.name))) return false;
  if (a.drivers.empty() || b.drivers.empty()) return true;
  return std::any_of(a.drivers.begin(), a.drivers.end(), [&](const DriverFacts& one) {
    return std::any_of(b.drivers.begin(), b.drivers.end(), [&](const DriverFacts& other) {
      return one.driverId == other.driverId && one.maker == other.maker;
    });
  });
}

bool FoldersOverlap(const std::string& a, const std::string& b) {
  const std::string first = FolderKey(a), second = FolderKey(b);
  if (first.empty() || second.empty()) return false;
  return first.starts_with(second) || second.starts_with(first);
}

std::string ConflictText(const ModuleConflict& conflict) {
  const ModuleIdentity& victim = conflict.victim;
  std::string text = "the installed module \"" + victim.name + "\"";
  if (!victim.version.empty()) text += ", version " + victim.version;
  text += " (" + victim.moduleFile;
  if (!victim.folder.empty()) {
    text += ", folder \"" + victim.folder + "\" with " + std::to_string(conflict.files) +
            (conflict.files == 1 ? " file" : " files");
  }
  return text + ")";
}

std::vector<ModuleConflict> FindConflicts(const fs::path& instruments, const std::vector<IncomingModule>& incoming) {
  std::vector<ModuleConflict> conflicts;
  for (const std::string& file : ListFolder(instruments.string(), "*.ini")) {
    const IniFile ini((instruments / file).string());
    if (!ini.HasSection("Instrument")) continue;
    if (const IncomingModule* bringer = BringerOf(instruments, incoming, file)) {
      if (bringer->updatesOwn) continue;
      ModuleIdentity installed = InstalledIdentity(instruments, file);
      // The INI may be one entry under two names; which of them is written does not matter then.
      ModuleIdentity renamed = bringer->identity;
      renamed.moduleFile = file;
      if (!IsSameModule(renamed, installed))
        conflicts.push_back(Conflict(instruments, bringer->identity, std::move(installed)));
      continue;
    }
    ModuleIdentity installed = IdentityOf(file, ini, [](const std::string&) { return std::nullopt; });
    for (const IncomingModule& module : incoming) {
      const std::string& folder = module.identity.folder;
      if (!FoldersOverlap(folder, installed.folder) && !IsOneEntry(instruments, folder, installed.folder)) continue;
      const auto own = FindPath(instruments.string(), module.identity.moduleFile, PathTrust::Untrusted);
      if (own) {
        const ModuleIdentity former = InstalledIdentity(instruments, FileNameOf(*own));
        if (FoldersOverlap(former.folder, installed.folder) &&
            (module.updatesOwn || IsSameModule(former, module.identity)))
          continue;
      }
      conflicts.push_back(Conflict(instruments, module.identity, std::move(installed)));
      break;
    }
  }
  return conflicts;
}

}  // namespace tonalith
