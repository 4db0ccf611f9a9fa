#include <fcntl.h>
#include <signal.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <system_error>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/package.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

constexpr char kStagingPrefix[] = ".staging-";
constexpr char kManifestName[] = "Package.lst";
constexpr char kDefinitionContent[] = "TZED\x01\x00\x00\x00";

std::uint32_t BytesCrc(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint32_t>(crc32_z(0, bytes.data(), bytes.size()));
}

// What the former package brought: path below the module folder (lower case, '/') -> crc of the file.
using InstallManifest = std::map<std::string, std::uint32_t>;

InstallManifest ReadManifest(const fs::path& folder) {
  InstallManifest manifest;
  std::string text;
  if (!ReadWholeFile((folder / kManifestName).string(), text, 4u << 20).ok()) return manifest;
  for (const std::string& line : SplitText(text, '\n')) {
    unsigned crc = 0;
    int used = 0;
    if (std::sscanf(line.c_str(), "%8x %n", &crc, &used) == 1 && used > 0)
      manifest[AsciiLower(TrimmedView(std::string_view(line).substr(static_cast<std::size_t>(used))))] = crc;
  }
  return manifest;
}

// The parts of a package: its INI and the files below the module folder.
struct PackageParts {
  const PackageFile* ini = nullptr;
  std::string folder;                                             // "Dir"
  std::vector<std::pair<std::string, const PackageFile*>> files;  // below the folder, '/' between
};

Result SortPackage(const PackageFiles& files, PackageParts* parts, IniFile* ini) {
  for (const PackageFile& file : files) {
    if (!IsSafePackagePath(file.path)) return Result::Failure("The package holds a file name that is not allowed.");
    if (file.path.find_first_of("\\/") != std::string::npos) continue;
    if (!AsciiEndsWithNoCase(file.path, ".ini"))
      return Result::Failure("The package would write \"" + file.path + "\" outside the module's folder.");
    if (parts->ini) return Result::Failure("The package holds more than one module INI.");
    parts->ini = &file;
  }
  if (!parts->ini) return Result::Failure("The package holds no module INI.");
  *ini = IniFile::FromBytes(std::string(parts->ini->bytes.begin(), parts->ini->bytes.end()));
  parts->folder = ini->GetString("Instrument", "Dir");
  if (!IsSafePackagePath(parts->folder) || parts->folder.find_first_of("\\/") != std::string::npos ||
      parts->folder.front() == '.')
    return Result::Failure("The module INI names no folder of its own (\"Dir\").");
  for (const PackageFile& file : files) {
    if (&file == parts->ini) continue;
    const std::string path = ReplaceAll(file.path, "\\", "/");
    const std::size_t slash = path.find('/');
    if (!AsciiEqualNoCase(path.substr(0, slash), parts->folder))
      return Result::Failure("The package would write \"" + file.path + "\" outside the module's folder.");
    parts->files.emplace_back(path.substr(slash + 1), &file);
  }
  return Result::Success();
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

// A folder that goes away with all it holds.
class StagingFolder {
 public:
  explicit StagingFolder(const fs::path& instruments) {
    static int counter = 0;
    path_ = instruments / (kStagingPrefix + std::to_string(::getpid()) + "-" + std::to_string(++counter));
  }
  ~StagingFolder() {
    std::error_code error;
    fs::remove_all(path_, error);
  }
  StagingFolder(const StagingFolder&) = delete;
  StagingFolder& operator=(const StagingFolder&) = delete;
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

Result WriteStaged(const fs::path& folder, const std::string& name, std::span<const std::uint8_t> bytes) {
  std::string target;
  Result joined = SafeJoin(folder.string(), name, target);
  if (!joined.ok()) return joined;
  const Result made = MakeFolders(FolderOf(target));
  return made.ok() ? WriteFileAtomically(target, bytes) : made;
}

Result StagePackage(const PackageParts& parts, const fs::path& stage, InstallReport* report) {
  const fs::path folder = stage / "module";
  Result made = MakeFolders(folder.string());
  if (!made.ok()) return made;
  std::string manifest;
  for (const auto& [name, file] : parts.files) {
    const Result written = WriteStaged(folder, name, file->bytes);
    if (!written.ok()) return Result::Failure(std::string(kPackageTempError) + ": " + written.text, written.code);
    char crc[16];
    std::snprintf(crc, sizeof crc, "%08x ", BytesCrc(file->bytes));
    manifest += crc + name + "\n";
    report->written.push_back(parts.folder + "/" + name);
  }
  Result result =
      WriteStaged(folder, kManifestName, {reinterpret_cast<const std::uint8_t*>(manifest.data()), manifest.size()});
  if (result.ok()) result = WriteStaged(stage, "module.ini", parts.ini->bytes);
  report->written.push_back(parts.ini->path);
  return result;
}

// Copies what is the user's own from the former module folder into the staged one.
Result CarryUserFiles(const PackageParts& parts, const fs::path& former, const fs::path& staged,
                      InstallReport* report) {
  std::error_code error;
  if (!fs::is_directory(former, error)) return Result::Success();
  const InstallManifest manifest = ReadManifest(former);
  std::map<std::string, const PackageFile*> brought;
  for (const auto& [name, file] : parts.files) brought[AsciiLower(name)] = file;
  for (auto it = fs::recursive_directory_iterator(former, error); !error && it != fs::recursive_directory_iterator();
       it.increment(error)) {
    if (!it->is_regular_file(error) || it->is_symlink(error)) continue;
    const std::string name = it->path().lexically_relative(former).generic_string();
    const std::string key = AsciiLower(name);
    if (key == AsciiLower(kManifestName)) continue;
    std::vector<std::uint8_t> bytes;
    const Result read = ReadWholeFile(it->path().string(), bytes);
    if (!read.ok()) return read;
    const auto known = manifest.find(key);
    const bool unchanged = known != manifest.end() && known->second == BytesCrc(bytes);
    const auto replacement = brought.find(key);
    if (unchanged || (replacement != brought.end() && replacement->second->bytes == bytes)) continue;
    std::string target = name;
    if (replacement != brought.end()) {
      target += ".user";
      for (int n = 2; fs::exists(former / target, error) || fs::exists(staged / target, error); ++n)
        target = name + ".user" + std::to_string(n);
    }
    const Result written = WriteStaged(staged, target, bytes);
    if (!written.ok()) return written;
    report->kept.push_back(parts.folder + "/" + target);
  }
  return error ? Result::Failure("The former module folder cannot be read: " + error.message() + ".")
               : Result::Success();
}

// Puts the staged folder in the place of the former one; what was there ends in the staging folder.
Result SwapFolders(const fs::path& staged, const fs::path& target) {
  std::error_code error;
  if (!fs::exists(target, error)) {
    fs::rename(staged, target, error);
  } else if (::renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) != 0) {
    const fs::path aside = staged.parent_path() / "former";
    fs::rename(target, aside, error);
    if (!error) {
      fs::rename(staged, target, error);
      std::error_code ignored;
      if (error) fs::rename(aside, target, ignored);
    }
  }
  return error ? Result::Failure("The module folder cannot be put in place: " + error.message() + ".")
               : Result::Success();
}

// The name an entry of the instrument folder already has, whatever its case.
fs::path ExistingName(const fs::path& instruments, const std::string& name) {
  const auto found = FindPath(instruments.string(), name, PathTrust::Untrusted);
  return found ? fs::path(*found) : instruments / name;
}

}  // namespace

Result EnsureInstrumentFolder(const fs::path& instruments) {
  const Result made = MakeFolders(instruments.string());
  if (!made.ok()) return made;
  const std::string definition = (instruments / kInstrumentDefinitionFile).string();
  if (FileExists(definition)) return Result::Success();
  return WriteFileAtomically(definition, std::string_view(kDefinitionContent, sizeof kDefinitionContent - 1));
}

Result InstallPackageFiles(const PackageFiles& files, const fs::path& instruments, InstallReport* report) {
  *report = {};
  if (files.empty()) return Result::Success();
  PackageParts parts;
  IniFile ini;
  Result result = SortPackage(files, &parts, &ini);
  if (result.ok()) result = EnsureInstrumentFolder(instruments);
  if (!result.ok()) return result;
  if (ini.GetInt("Instrument", "NumDrivers") <= 0)
    return Result::Failure("Error!\nThere are no drivers in the file\n" + parts.ini->path + "\nto load!");
  SweepStaging(instruments);
  const fs::path folder = ExistingName(instruments, parts.folder);
  const fs::path iniPath = ExistingName(instruments, parts.ini->path);
  StagingFolder stage(instruments);
  result = StagePackage(parts, stage.path(), report);
  if (result.ok()) result = CarryUserFiles(parts, folder, stage.path() / "module", report);
  if (result.ok()) result = SwapFolders(stage.path() / "module", folder);
  if (!result.ok()) {
    *report = {};
    return result;
  }
  std::error_code error;
  fs::rename(stage.path() / "module.ini", iniPath, error);
  if (error) {
    *report = {};
    return Result::Failure("The module INI cannot be put in place: " + error.message() + ".");
  }
  report->moduleFile = iniPath.filename().string();
  report->name = ini.GetString("Instrument", "Name", WithoutExtension(parts.ini->path));
  return Result::Success();
}

Result InstallPackage(const fs::path& package, const fs::path& instruments, InstallReport* report) {
  PackageFiles files;
  const Result read = ReadPackage(package, &files);
  return read.ok() ? InstallPackageFiles(files, instruments, report) : read;
}

// True when the module folder came from these very files, whatever the user changed since.
static bool BroughtBefore(const PackageParts& parts, const fs::path& folder) {
  const InstallManifest manifest = ReadManifest(folder);
  for (const auto& [name, file] : parts.files) {
    const auto known = manifest.find(AsciiLower(name));
    if (known == manifest.end() || known->second != BytesCrc(file->bytes)) return false;
  }
  return true;
}

Result InstallShippedPackages(const fs::path& packages, const fs::path& instruments,
                              std::vector<InstallReport>* reports) {
  std::string problems;
  for (const std::string& name : ListFolder(packages.string(), "*.pvz")) {
    PackageFiles files;
    Result result = ReadPackage(packages / name, &files);
    PackageParts parts;
    IniFile ini;
    if (result.ok() && !files.empty()) result = SortPackage(files, &parts, &ini);
    if (result.ok() && parts.ini) {
      const IniFile installed(ExistingName(instruments, parts.ini->path).string());
      const bool present =
          installed.HasSection("Instrument") && FolderExists(ExistingName(instruments, parts.folder).string());
      const int change = installed.GetInt("Instrument", "Version") - ini.GetInt("Instrument", "Version");
      if (present && (change > 0 || (change == 0 && BroughtBefore(parts, ExistingName(instruments, parts.folder)))))
        continue;
      InstallReport report;
      result = InstallPackageFiles(files, instruments, &report);
      if (result.ok() && reports) reports->push_back(std::move(report));
    }
    if (!result.ok()) problems += (problems.empty() ? "" : "\n") + name + ": " + result.text;
  }
  return problems.empty() ? Result::Success() : Result::Failure(problems);
}

}  // namespace tonalith
