#include "studio/package_install.h"

#include <algorithm>
#include <system_error>

#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/package_stage.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

// The number of files a package says it holds, for progress.
std::size_t ClaimedFiles(std::span<const std::uint8_t> bytes) {
  return bytes.size() < 8 ? 0 : LoadLe32(bytes.data() + 4);
}

Result Cancelled() {
  return Result::Failure("Nothing was installed: cancelled.", kPackageCancelled);
}

Result FinishInstall(StagedPackage& staged, const std::string& packageName, const InstallOptions& options,
                     InstallReport* report) {
  if (staged.empty()) return Result::Success();
  Result result = staged.Prepare(packageName, options, report);
  if (result.ok() && options.cancel.Cancelled()) result = Cancelled();
  if (result.ok()) result = staged.Commit(options.sync);
  if (!result.ok()) *report = {};
  return result;
}

}  // namespace

std::string DefinitionMissing(const fs::path& instruments) {
  return "The Instrument Definition file was not found at\n" + (instruments / kInstrumentDefinitionFile).string() +
         ".\n\nPlease re-install the application or log in and run with the installer's username.";
}

bool HasInstrumentDefinition(const fs::path& instruments) {
  return FileExists((instruments / kInstrumentDefinitionFile).string());
}

Result EnsureInstrumentFolder(const fs::path& instruments, const fs::path& resources) {
  if (const Result made = MakeFolders(instruments.string()); !made.ok()) return made;
  if (HasInstrumentDefinition(instruments)) return Result::Success();
  const Result copied = CopyFileAtomically((resources / kInstrumentDefinitionFile).string(),
                                           (instruments / kInstrumentDefinitionFile).string());
  return copied.ok() ? copied : Result::Failure(DefinitionMissing(instruments));
}

Result InstallPackage(const PackageData& package, const fs::path& instruments, InstallReport* report,
                      const InstallOptions& options) {
  *report = {};
  if (const Result made = MakeFolders(instruments.string()); !made.ok()) return made;
  StagedPackage staged(instruments);
  std::size_t done = 0;
  const Result result = UnpackEach(package.bytes, [&](const std::string& path, std::span<const std::uint8_t> file) {
    if (options.cancel.Cancelled()) return Cancelled();
    if (options.progress) options.progress(++done, ClaimedFiles(package.bytes));
    return staged.Add(path, file);
  });
  return result.ok() ? FinishInstall(staged, WithoutExtension(package.fileName), options, report) : result;
}

Result InstallPackage(const fs::path& package, const fs::path& instruments, InstallReport* report,
                      const InstallOptions& options) {
  *report = {};
  PackageData data;
  const Result read = LoadPackage(package, &data);
  return read.ok() ? InstallPackage(data, instruments, report, options) : read;
}

Result InstallPackageFiles(const PackageFiles& files, const fs::path& instruments, InstallReport* report,
                           const InstallOptions& options, const std::string& packageName) {
  *report = {};
  if (const Result made = MakeFolders(instruments.string()); !made.ok()) return made;
  StagedPackage staged(instruments);
  for (const PackageFile& file : files) {
    if (const Result added = staged.Add(file.path, file.bytes); !added.ok()) return added;
  }
  return FinishInstall(staged, packageName, options, report);
}

int DecompressFile(Prompts& prompts, const fs::path& instruments, const fs::path& package, InstallReport* report) {
  InstallReport own;
  const Result result = InstallPackage(package, instruments, report ? report : &own);
  if (result.ok()) return 1;
  prompts.Message(PackageMessage(result));
  return 0;
}

static PackagePreview::Module PreviewModule(const PackageModule& module, const fs::path& instruments) {
  PackagePreview::Module shown;
  shown.moduleFile = module.iniName;
  shown.name = module.ini.GetString("Instrument", "Name", module.baseName);
  shown.version = module.ini.GetString("Instrument", "Version");
  const fs::path installed = ExistingModulePath(instruments, module.iniName);
  shown.installed = FileExists(installed.string());
  if (shown.installed) shown.installedVersion = IniFile(installed.string()).GetString("Instrument", "Version");
  return shown;
}

Result PreviewPackage(const PackageData& package, const fs::path& instruments, PackagePreview* preview) {
  *preview = {};
  preview->packageSize = package.bytes.size();
  std::vector<std::string> paths;
  std::map<std::string, std::string> inis;
  std::map<std::string, DriverFacts> drivers;  // lower case
  Result result = UnpackEach(package.bytes, [&](const std::string& path, std::span<const std::uint8_t> file) {
    const std::string name = PackagePathOnDisk(path);
    preview->files.push_back({name, file.size()});
    preview->totalSize += file.size();
    paths.push_back(name);
    if (name.find('/') == std::string::npos && AsciiEndsWithNoCase(name, ".ini"))
      inis[name].assign(file.begin(), file.end());
    if (const auto facts = ReadDriverFacts(file)) drivers[AsciiLower(name)] = *facts;
    return Result::Success();
  });
  if (!result.ok() || paths.empty()) return result;
  std::vector<PackageModule> modules;
  std::size_t main = 0;
  result = SortPackage(
      paths, [&inis](const std::string& path) { return inis[path]; }, &modules);
  if (result.ok()) result = MainModule(modules, WithoutExtension(package.fileName), &main);
  if (!result.ok()) return result;
  for (std::size_t i = 0; i < modules.size(); ++i) {
    PackagePreview::Module shown = PreviewModule(modules[i], instruments);
    if (i == main)
      preview->module = std::move(shown);
    else
      preview->further.push_back(std::move(shown));
  }
  const auto driver = [&drivers](const std::string& path) {
    const auto found = drivers.find(AsciiLower(path));
    return found == drivers.end() ? std::nullopt : std::optional(found->second);
  };
  preview->conflicts = FindConflicts(instruments, IncomingModules(modules, instruments, false, driver));
  return Result::Success();
}

std::vector<std::string> ReplacedModules(const PackagePreview& preview) {
  std::vector<std::string> files;
  for (const ModuleConflict& conflict : preview.conflicts) files.push_back(conflict.victim.moduleFile);
  return files;
}

std::vector<std::string> OfferedPackages(const fs::path& folder) {
  std::vector<std::string> names = ListFolder(folder.string(), "*.pvz");
  std::erase_if(names, [](const std::string& name) { return AsciiEqualNoCase(WithoutExtension(name), "ZK"); });
  return names;
}

Result TrashModule(const fs::path& instruments, const std::string& moduleFile) {
  const auto found = FindPath(instruments.string(), moduleFile, PathTrust::Untrusted);
  if (!found) return Result::Failure("The module " + moduleFile + " is not installed.");
  const fs::path ini = *found;
  const std::string dir = IniFile(ini.string()).GetString("Instrument", "Dir");
  bool shared = false;
  for (const std::string& other : ListFolder(instruments.string(), "*.ini")) {
    if (other != ini.filename().string() &&
        AsciiEqualNoCase(IniFile((instruments / other).string()).GetString("Instrument", "Dir"), dir))
      shared = true;
  }
  std::error_code error;
  const fs::path trash = DatedFolder(instruments / ".trash" / ini.stem());
  fs::create_directories(trash, error);
  const auto folder = FindPath(instruments.string(), dir, PathTrust::Untrusted);
  const bool moveFolder = !shared && folder && *folder != instruments.string() && fs::is_directory(*folder, error);
  if (!error && moveFolder) fs::rename(*folder, trash / fs::path(*folder).filename(), error);
  if (!error) {
    fs::rename(ini, trash / ini.filename(), error);
    std::error_code ignored;
    if (error && moveFolder) fs::rename(trash / fs::path(*folder).filename(), *folder, ignored);
  }
  return error ? Result::Failure("The module files cannot be moved away: " + error.message() + ".") : Result::Success();
}

}  // namespace tonalith
