#include "studio/package_stage.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <system_error>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

constexpr char kStagingPrefix[] = ".staging-";
constexpr char kBackupFolder[] = ".backup";
constexpr char kTrashFolder[] = ".trash";

Result WriteBelow(const fs::path& folder, const std::string& name, std::span<const std::uint8_t> bytes) {
  std::string target;
  Result result = MakeFolders(folder.string());
  if (result.ok()) result = SafeJoin(folder.string(), name, target);
  if (result.ok()) result = MakeFolders(FolderOf(target));
  if (!result.ok()) return result;
  // Made durable all together, before anything is put in its place.
  std::ofstream out(target, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return out ? result : FileFailure("write", target, errno);
}

Result CopyEntry(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::create_directories(to.parent_path(), error);
  if (!error && fs::is_symlink(from, error)) {
    fs::copy_symlink(from, to, error);
  } else if (!error) {
    fs::copy_file(from, to, fs::copy_options::none, error);
    // What was made executable by hand is none of a module's.
    if (!error) fs::permissions(to, fs::perms(0111), fs::perm_options::remove, error);
  }
  return error ? Result::Failure("\"" + from.string() + "\" cannot be kept: " + error.message() + ".")
               : Result::Success();
}

// Removes staging folders of installations that did not come to their end.
void SweepStaging(const fs::path& instruments) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(instruments, error)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(kStagingPrefix, 0) != 0) continue;
    const int pid = std::atoi(name.c_str() + sizeof kStagingPrefix - 1);
    if (pid > 0 && pid != ::getpid() && ::kill(pid, 0) != 0 && errno == ESRCH) fs::remove_all(entry.path(), error);
  }
}

// Puts `from` in the place of `to`; what was there is afterwards at `from`.
std::error_code Exchange(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::create_directories(to.parent_path(), error);
  if (!fs::exists(fs::symlink_status(to, error))) {
    error.clear();
    fs::rename(from, to, error);
    return error;
  }
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0) return {};
  // File systems that cannot exchange.
  const fs::path aside = from.string() + ".former";
  fs::rename(to, aside, error);
  if (error) return error;
  fs::rename(from, to, error);
  std::error_code ignored;
  if (error)
    fs::rename(aside, to, ignored);
  else
    fs::rename(aside, from, ignored);
  return error;
}

}  // namespace

bool IsUserKind(const std::string& name) {
  const std::string file = AsciiLower(FileNameOf(name));
  return MatchesPattern("initforid*.bin", file) || file.ends_with(".ini");
}

std::string PackagePathOnDisk(const std::string& path) {
  return ReplaceAll(IsValidUtf8(path) ? path : Cp1252ToUtf8(path), "\\", "/");
}

fs::path ExistingModulePath(const fs::path& instruments, const std::string& name) {
  const auto found = FindPath(instruments.string(), name, PathTrust::Untrusted);
  return found ? fs::path(*found) : instruments / name;
}

fs::path DatedFolder(const fs::path& folder) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  const std::string date = Printf("%04d-%02d-%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  std::error_code error;
  fs::path dated = folder / date;
  for (int n = 2; fs::exists(fs::symlink_status(dated, error)); ++n) dated = folder / (date + " " + std::to_string(n));
  return dated;
}

Result SortPackage(const std::vector<std::string>& paths, const std::function<std::string(const std::string&)>& readIni,
                   std::vector<PackageModule>* modules) {
  for (const std::string& path : paths) {
    if (path.find('/') != std::string::npos || !AsciiEndsWithNoCase(path, ".ini")) continue;
    if (path.front() == '.') return Result::Failure("The package holds a hidden module INI.");
    PackageModule module;
    module.iniName = path;
    module.baseName = WithoutExtension(path);
    module.ini = IniFile::FromBytes(readIni(path));
    const std::string folder = module.ini.GetString("Instrument", "Dir");
    if (!IsSafePackagePath(ReplaceAll(folder, "/", "\\")) || folder.front() == '.')
      return Result::Failure("The module INI " + path + " names no folder of its own (\"Dir\").");
    module.folder = ReplaceAll(folder, "\\", "/");
    for (const PackageModule& other : *modules) {
      if (AsciiEqualNoCase(other.folder, module.folder)) module.sharesFolder = true;
      if (AsciiStartsWithNoCase(module.folder, other.folder + "/") ||
          AsciiStartsWithNoCase(other.folder, module.folder + "/"))
        return Result::Failure("The folders of " + other.iniName + " and " + path + " lie one inside the other.");
    }
    modules->push_back(std::move(module));
  }
  if (modules->empty()) return Result::Failure("The package holds no module INI.");
  for (const std::string& path : paths) {
    bool placed = false;
    for (PackageModule& module : *modules) {
      if (placed || path == module.iniName) {
        placed = true;
        continue;
      }
      if (!AsciiStartsWithNoCase(path, module.folder + "/")) continue;
      // The files may spell the folder in another way than the INI.
      module.folder = path.substr(0, module.folder.size());
      module.files.push_back(path.substr(module.folder.size() + 1));
      placed = true;
    }
    if (!placed) return Result::Failure("The package would write \"" + path + "\" outside the module's folder.");
  }
  return Result::Success();
}

Result MainModule(const std::vector<PackageModule>& modules, const std::string& packageName, std::size_t* index) {
  *index = 0;
  for (std::size_t i = 0; i < modules.size(); ++i) {
    if (!AsciiEqualNoCase(modules[i].baseName, packageName)) continue;
    *index = i;
    return Result::Success();
  }
  if (modules.size() == 1) return Result::Success();
  return Result::Failure("The package holds more than one module INI, and none has the name of the package.");
}

std::vector<IncomingModule> IncomingModules(
    const std::vector<PackageModule>& modules, const fs::path& instruments, bool fromProgram,
    const std::function<std::optional<DriverFacts>(const std::string& path)>& driver) {
  std::vector<IncomingModule> incoming;
  for (const PackageModule& module : modules) {
    IncomingModule one;
    one.identity = IdentityOf(module.iniName, module.ini,
                              [&](const std::string& file) { return driver(module.folder + "/" + file); });
    one.identity.folder = module.folder;
    const InstalledFiles former = ReadInstalledFiles(instruments, module.baseName);
    one.updatesOwn = fromProgram && (former.origin == ModuleOrigin::Program ||
                                     (former.origin == ModuleOrigin::Unknown && !former.crcs.empty()));
    incoming.push_back(std::move(one));
  }
  return incoming;
}

StagedPackage::StagedPackage(const fs::path& instruments) : instruments_(instruments) {
  static std::atomic<int> counter{0};  // names in a folder that other threads and processes stage in as well
  SweepStaging(instruments);
  stage_ = instruments / (kStagingPrefix + std::to_string(::getpid()) + "-" + std::to_string(++counter));
}

StagedPackage::~StagedPackage() {
  std::error_code error;
  fs::remove_all(stage_, error);
}

// Folders that differ only in case are one folder, spelled as at first.
std::string StagedPackage::OneSpelling(const std::string& name) {
  std::string spelled;
  std::size_t begin = 0;
  for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', begin)) {
    spelled += name.substr(begin, end - begin);
    spelled = folderNames_.try_emplace(AsciiLower(spelled), spelled).first->second + "/";
    begin = end + 1;
  }
  return spelled + name.substr(begin);
}

Result StagedPackage::Add(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (!IsSafePackagePath(path)) return Result::Failure("The package holds a file name that is not allowed.");
  const std::string name = OneSpelling(PackagePathOnDisk(path));
  const Result written = WriteBelow(stage_ / "files", name, bytes);
  if (!written.ok()) return Result::Failure(std::string(kPackageTempError) + ": " + written.text, kPackageFault);
  crcs_[name] = PackageFileCrc(bytes);
  if (const auto facts = ReadDriverFacts(bytes)) drivers_[name] = *facts;
  lowerNames_[AsciiLower(name)] = name;
  return Result::Success();
}

Result StagedPackage::BackUp(const PackageModule& module, const fs::path& file, const std::string& name,
                             InstallReport* report) {
  copied_ = true;
  const Result copied = CopyEntry(file, stage_ / kBackupFolder / module.baseName / name);
  if (copied.ok()) report->backups.push_back(name);
  return copied;
}

Result StagedPackage::KeepFormerEntry(const PackageModule& module, const fs::path& former, const std::string& name,
                                      const InstalledFiles& installed, const InstallOptions& options,
                                      InstallReport* report) {
  const auto brought = lowerNames_.find(AsciiLower(module.folder + "/" + name));
  std::error_code error;
  const bool link = fs::is_symlink(former, error);
  std::uint32_t crc = 0;
  if (!link) {
    std::vector<std::uint8_t> bytes;
    if (const Result read = ReadWholeFile(former.string(), bytes); !read.ok()) return read;
    crc = PackageFileCrc(bytes);
  }
  const auto known = installed.crcs.find(AsciiLower(name));
  const bool changed = link || known == installed.crcs.end() || known->second != crc;
  const fs::path files = stage_ / "files";
  if (brought == lowerNames_.end()) {
    const fs::path target = files / module.folder / name;
    // The packaged form of a file that stays, put aside a moment ago, is newer.
    if (fs::exists(target, error)) return Result::Success();
    if (changed) report->kept.push_back(module.folder + "/" + name);
    copied_ = true;
    return CopyEntry(former, target);
  }
  if (!link && crcs_[brought->second] == crc) return Result::Success();
  const fs::path staged = files / brought->second;
  if (!link && changed && IsUserKind(name)) {
    fs::rename(staged, staged.string() + ".new", error);
    if (error) return Result::Failure("\"" + brought->second + "\" cannot be put aside: " + error.message() + ".");
    report->kept.push_back(brought->second);
    copied_ = true;
    return CopyEntry(former, staged);
  }
  return changed || options.backUpAll ? BackUp(module, former, name, report) : Result::Success();
}

Result StagedPackage::KeepFormerFolder(const PackageModule& module, const InstallOptions& options,
                                       InstallReport* report) {
  const fs::path former = ExistingModulePath(instruments_, module.folder);
  const InstalledFiles installed = ReadInstalledFiles(instruments_, module.baseName);
  std::error_code error;
  if (fs::is_directory(former, error)) {
    for (auto it = fs::recursive_directory_iterator(former, error); !error && it != fs::recursive_directory_iterator();
         it.increment(error)) {
      const bool link = it->is_symlink(error);
      if (MakesRoom(it->path()) || (!link && !it->is_regular_file(error))) continue;
      const std::string name = it->path().lexically_relative(former).generic_string();
      const Result kept = KeepFormerEntry(module, it->path(), name, installed, options, report);
      if (!kept.ok()) return kept;
    }
    if (error) return Result::Failure("The former module folder cannot be read: " + error.message() + ".");
  }
  return Result::Success();
}

Result StagedPackage::KeepFormer(const PackageModule& module, const InstallOptions& options, InstallReport* report) {
  if (!module.sharesFolder) {
    if (const Result kept = KeepFormerFolder(module, options, report); !kept.ok()) return kept;
  }
  const InstalledFiles installed = ReadInstalledFiles(instruments_, module.baseName);
  std::error_code error;
  const fs::path ini = ExistingModulePath(instruments_, module.iniName);
  std::vector<std::uint8_t> bytes;
  if (MakesRoom(ini) || !fs::is_regular_file(ini, error) || !ReadWholeFile(ini.string(), bytes).ok())
    return Result::Success();
  const std::uint32_t crc = PackageFileCrc(bytes);
  const auto known = installed.crcs.find("../" + AsciiLower(module.iniName));
  const bool changed = known == installed.crcs.end() || known->second != crc;
  if (crc == crcs_[module.iniName] || (!changed && !options.backUpAll)) return Result::Success();
  return BackUp(module, ini, module.iniName, report);
}

InstalledFiles StagedPackage::ListOf(const PackageModule& module, ModuleOrigin origin) {
  InstalledFiles list;
  list.origin = origin;
  for (const std::string& name : module.files) {
    const auto& staged = lowerNames_[AsciiLower(module.folder + "/" + name)];
    list.crcs[AsciiLower(name)] = crcs_[staged];
  }
  list.crcs["../" + AsciiLower(module.iniName)] = crcs_[module.iniName];
  return list;
}

Result StagedPackage::WriteList(const std::string& baseName, const InstalledFiles& files) {
  const std::string name = InstalledFilesName(baseName), text = files.ToText();
  const Result written = WriteBelow(stage_, name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  return written.ok() ? Plan(stage_ / name, ExistingModulePath(instruments_, name)) : written;
}

bool StagedPackage::MakesRoom(const fs::path& entry) const {
  return std::any_of(makingRoom_.begin(), makingRoom_.end(), [&](const fs::path& gone) {
    return entry == gone || entry.string().starts_with(gone.string() + "/");
  });
}

// Modules that lose their place go to the trash whole, when the user agreed to each of them.
Result StagedPackage::PlanReplaced(const InstallOptions& options, InstallReport* report) {
  const auto driver = [this](const std::string& path) {
    const auto found = drivers_.find(lowerNames_[AsciiLower(path)]);
    return found == drivers_.end() ? std::nullopt : std::optional(found->second);
  };
  const auto conflicts =
      FindConflicts(instruments_, IncomingModules(modules_, instruments_, options.fromProgram, driver));
  for (const ModuleConflict& conflict : conflicts) {
    const ModuleIdentity& victim = conflict.victim;
    const bool agreed = std::any_of(options.replace.begin(), options.replace.end(),
                                    [&](const std::string& name) { return AsciiEqualNoCase(name, victim.moduleFile); });
    if (!agreed) {
      return Result::Failure("\"" + conflict.byName + "\" would take the place of " + ConflictText(conflict) +
                                 ", which is another module.  Nothing was installed.",
                             kPackageConflict);
    }
  }
  for (const ModuleConflict& conflict : conflicts) {
    const ModuleIdentity& victim = conflict.victim;
    const std::string baseName = WithoutExtension(victim.moduleFile);
    const fs::path trash = DatedFolder(instruments_ / kTrashFolder / baseName);
    std::vector<fs::path> entries = {instruments_ / victim.moduleFile};
    const auto folder = FindPath(instruments_.string(), victim.folder, PathTrust::Untrusted);
    if (folder && !victim.folder.empty() && conflict.files > 0) entries.emplace_back(*folder);
    for (const fs::path& entry : entries) {
      if (MakesRoom(entry)) continue;
      if (Result planned = Plan(entry, trash / entry.filename()); !planned.ok()) return planned;
      makingRoom_.insert(entry);
    }
    report->replaced.push_back(victim.moduleFile);
    const bool hasOwnList = std::any_of(modules_.begin(), modules_.end(), [&](const PackageModule& module) {
      return AsciiEqualNoCase(module.baseName, baseName);
    });
    InstalledFiles gone;
    gone.origin = ModuleOrigin::Replaced;
    const Result noted = hasOwnList ? Result::Success() : WriteList(baseName, gone);
    if (!noted.ok()) return noted;
  }
  return Result::Success();
}

Result StagedPackage::PlanModule(const PackageModule& module, const InstallOptions& options, InstallReport* report) {
  std::error_code error;
  const fs::path folder = ExistingModulePath(instruments_, module.folder);
  const fs::path ini = ExistingModulePath(instruments_, module.iniName);
  if (!MakesRoom(folder) && fs::exists(folder, error) && !fs::is_directory(folder, error))
    return Result::Failure("The module's folder \"" + module.folder + "\" has the name of a file that is there.");
  if (!MakesRoom(ini) && fs::is_directory(ini, error))
    return Result::Failure("The module INI " + module.iniName + " has the name of a folder that is there.");
  fs::create_directories(stage_ / "files" / module.folder, error);
  Result result = KeepFormer(module, options, report);
  const fs::path backup = stage_ / kBackupFolder / module.baseName;
  const fs::path files = stage_ / "files";
  if (result.ok() && fs::exists(backup, error))
    result = Plan(backup, DatedFolder(instruments_ / kBackupFolder / module.baseName));
  if (result.ok() && !module.sharesFolder) result = Plan(files / module.folder, folder);
  if (result.ok()) result = Plan(files / module.iniName, ini);
  const ModuleOrigin origin = options.fromProgram ? ModuleOrigin::Program : ModuleOrigin::User;
  return result.ok() ? WriteList(module.baseName, ListOf(module, origin)) : result;
}

Result StagedPackage::Prepare(const std::string& packageName, const InstallOptions& options, InstallReport* report) {
  std::vector<std::string> paths;
  for (const auto& [path, crc] : crcs_) paths.push_back(path);
  const auto readIni = [this](const std::string& path) {
    std::string text;
    return ReadWholeFile((stage_ / "files" / path).string(), text).ok() ? text : std::string();
  };
  std::size_t main = 0;
  Result result = SortPackage(paths, readIni, &modules_);
  if (result.ok()) result = MainModule(modules_, packageName, &main);
  if (!result.ok()) return result;
  const PackageModule& module = modules_[main];
  if (module.ini.GetInt("Instrument", "NumDrivers") <= 0)
    return Result::Failure("Error!\nThere are no drivers in the file\n" + module.iniName + "\nto load!");
  result = PlanReplaced(options, report);
  for (const PackageModule& each : modules_) {
    if (result.ok()) result = PlanModule(each, options, report);
  }
  if (result.ok() && options.check) result = options.check(stage_ / "files" / module.folder, module.ini);
  if (!result.ok()) return result;
  report->written = paths;
  report->moduleFile = ExistingModulePath(instruments_, module.iniName).filename().string();
  report->name = module.ini.GetString("Instrument", "Name", module.baseName);
  return Result::Success();
}

Result StagedPackage::Plan(const fs::path& from, const fs::path& to) {
  const fs::path folder = to.parent_path().lexically_relative(instruments_);
  std::string inside;
  if (folder != "." && !SafeJoin(instruments_.string(), folder.generic_string(), inside).ok())
    return Result::Failure("\"" + to.parent_path().string() + "\" leads out of the instrument folder.");
  moves_.push_back({from, to});
  return Result::Success();
}

void StagedPackage::Sync() const {
  const int folder = ::open(stage_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return;
  ::syncfs(folder);
  ::close(folder);
}

Result StagedPackage::Commit(bool sync) {
  if (sync || copied_) Sync();
  for (std::size_t i = 0; i < moves_.size(); ++i) {
    const std::error_code error = Exchange(moves_[i].from, moves_[i].to);
    if (!error) continue;
    const std::string what = moves_[i].to.string();
    while (i-- > 0) {
      std::error_code ignored;
      const bool wasThere = fs::exists(fs::symlink_status(moves_[i].from, ignored));
      if (wasThere)
        Exchange(moves_[i].from, moves_[i].to);
      else
        fs::rename(moves_[i].to, moves_[i].from, ignored);
    }
    for (const Move& move : moves_) {
      // An empty folder that was made for it; never a file of that name.
      if (move.to.parent_path() != instruments_) ::rmdir(move.to.parent_path().c_str());
    }
    return Result::Failure("\"" + what + "\" cannot be put in place: " + error.message() + ".");
  }
  return Result::Success();
}

}  // namespace tonalith
