#include "studio/shipped_files.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>

#include "platform/atomic_file.h"
#include "platform/file_stamp.h"
#include "platform/log.h"
#include "platform/parallel.h"
#include "platform/path_resolver.h"
#include "platform/sha256.h"
#include "platform/text.h"
#include "studio/package_stage.h"
#include "studio/shipped_manifest.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

constexpr char kMarksFile[] = ".installed/verified.marks";
constexpr std::size_t kLargestMarks = 16u << 20;
constexpr std::size_t kToldFiles = 3;

// How a file looked when it was found right.  Numbers of devices change from one start of the machine to the next.
struct FileMark {
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;
  bool operator==(const FileMark&) const = default;
};

std::optional<FileMark> MarkOf(const fs::path& file) {
  const FileStamp stamp = StampOf(file.string());
  if (!stamp.exists) return std::nullopt;
  return FileMark{stamp.inode, stamp.size, stamp.modified};
}

// What was found right of one package.
struct PackageMarks {
  std::string sha256;
  FileMark list;  // ".installed/MODULE.lst": who installed the module may have changed with it
  std::map<std::string, FileMark> files;
};
using Marks = std::map<std::string, PackageMarks>;

std::string MarksText(const Marks& marks) {
  std::ostringstream text;
  const auto line = [&text](const char* word, const FileMark& mark, const std::string& rest) {
    text << word << " " << mark.inode << " " << mark.size << " " << mark.modified << " " << rest << "\n";
  };
  for (const auto& [name, package] : marks) {
    line("package", package.list, package.sha256 + " " + name);
    for (const auto& [path, mark] : package.files) line("file", mark, path);
  }
  return text.str();
}

// What stands before the next blank, which is taken away with it.
std::string_view TakeWord(std::string_view* line) {
  const std::string_view word = line->substr(0, line->find(' '));
  line->remove_prefix(std::min(word.size() + 1, line->size()));
  return word;
}

template <typename T>
bool TakeNumber(std::string_view* line, T* value) {
  const std::string_view word = TakeWord(line);
  const char* end = word.data() + word.size();
  const auto [at, error] = std::from_chars(word.data(), end, *value);
  return error == std::errc() && at == end;
}

// Lines that are none are passed over: the files they stand for are read again.
Marks MarksFromText(const std::string& text) {
  Marks marks;
  PackageMarks* package = nullptr;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::string_view word = TakeWord(&line);
    FileMark mark;
    if (!TakeNumber(&line, &mark.inode) || !TakeNumber(&line, &mark.size) || !TakeNumber(&line, &mark.modified))
      continue;
    const std::string sha256(word == "package" ? TakeWord(&line) : std::string_view());
    if (line.empty()) continue;
    if (word == "package") {
      package = &marks[std::string(line)];
      *package = {sha256, mark, {}};
    } else if (word == "file" && package) {
      package->files[std::string(line)] = mark;
    }
  }
  return marks;
}

fs::path OnDisk(const fs::path& instruments, const std::string& path) {
  const fs::path exact = instruments / path;
  return FileExists(exact.string()) ? exact : ExistingModulePath(instruments, path);
}

// True when the module folder came from these very files, whatever was changed since.
bool BroughtBefore(const PackageModule& module, const PackageFiles& files, const InstalledFiles& installed) {
  return std::all_of(files.begin(), files.end(), [&](const PackageFile& file) {
    const std::string path = PackagePathOnDisk(file.path);
    const bool top = path.find('/') == std::string::npos;
    const auto known = installed.crcs.find(AsciiLower(top ? "../" + path : path.substr(module.folder.size() + 1)));
    return known != installed.crcs.end() && known->second == PackageFileCrc(file.bytes);
  });
}

// The module of a package in memory.
Result ModuleOf(const PackageFiles& files, const std::string& packageName, PackageModule* module, bool* alone) {
  std::vector<std::string> paths;
  for (const PackageFile& file : files) paths.push_back(PackagePathOnDisk(file.path));
  const auto readIni = [&](const std::string& path) {
    const auto& found = files[static_cast<std::size_t>(std::find(paths.begin(), paths.end(), path) - paths.begin())];
    return std::string(found.bytes.begin(), found.bytes.end());
  };
  std::vector<PackageModule> modules;
  std::size_t main = 0;
  Result result = SortPackage(paths, readIni, &modules);
  if (result.ok()) result = MainModule(modules, packageName, &main);
  if (!result.ok()) return result;
  *alone = modules.size() == 1;
  *module = std::move(modules[main]);
  return result;
}

// The work of one start.
class ShippedCheck {
 public:
  ShippedCheck(const fs::path& packages, const fs::path& instruments, ShippedOutcome* outcome)
      : packages_(packages), instruments_(instruments), outcome_(outcome) {
    std::string text;
    if (ReadWholeFile((instruments / kMarksFile).string(), text, kLargestMarks).ok()) marks_ = MarksFromText(text);
    former_ = std::move(text);
  }

  Result LoadManifest() { return ReadShippedManifest(packages_, &manifest_); }
  // True when nothing of the package or what was installed from it changed since it was found right.
  bool IsUnchanged(const std::string& name) const;
  Result Package(const std::string& name);
  void KeepMarks() const;

 private:
  const ShippedPackage* Listed(const std::string& name) const;
  Result Load(const std::string& name, const ShippedPackage* listed, PackageFiles* files) const;
  Result Install(const std::string& name, const ShippedPackage* listed, bool* ours);
  Result Verify(const ShippedPackage& listed, PackageMarks* marks);
  Result Restore(const ShippedPackage& listed, const std::vector<const ShippedFile*>& wrong, PackageMarks* marks);
  bool IsRight(const ShippedFile& file, PackageMarks* marks) const;
  bool IsGone(const ShippedPackage& listed) const;

  fs::path packages_, instruments_;
  ShippedOutcome* outcome_;
  ShippedManifest manifest_;
  Marks marks_;
  std::string former_;
};

Result ShippedCheck::Load(const std::string& name, const ShippedPackage* listed, PackageFiles* files) const {
  PackageData data;
  const Result read = LoadPackage(packages_ / name, &data);
  if (!read.ok()) return read;
  if (listed && data.sha256 != listed->sha256)
    return Result::Failure("The package is damaged: it is not the one that came with the program.");
  return UnpackFiles(data.bytes, files);
}

// `ours`: what is installed now came from this package, so its files may be verified.
Result ShippedCheck::Install(const std::string& name, const ShippedPackage* listed, bool* ours) {
  *ours = false;
  PackageFiles files;
  Result result = Load(name, listed, &files);
  if (!result.ok() || files.empty()) return result;
  PackageModule module;
  bool alone = false;
  const std::string packageName = WithoutExtension(name);
  result = ModuleOf(files, packageName, &module, &alone);
  if (!result.ok()) return result;
  const InstalledFiles known = ReadInstalledFiles(instruments_, module.baseName);
  if (known.origin == ModuleOrigin::Replaced) return result;
  const IniFile installed(ExistingModulePath(instruments_, module.iniName).string());
  const bool ini = installed.HasSection("Instrument");
  const bool folder = FolderExists(ExistingModulePath(instruments_, module.folder).string());
  const bool brought = alone && BroughtBefore(module, files, known);
  // What came from these files and lost a part is restored file by file.
  if (brought && listed && (ini || folder)) {
    *ours = true;
    return result;
  }
  const int change = installed.GetInt("Instrument", "Version") - module.ini.GetInt("Instrument", "Version");
  const bool usersOwn = change == 0 && known.origin == ModuleOrigin::User;
  if (ini && folder && (change > 0 || usersOwn || (change == 0 && brought))) return result;
  InstallOptions options;
  options.backUpAll = false;
  options.sync = false;
  options.fromProgram = true;
  InstallReport report;
  result = InstallPackageFiles(files, instruments_, &report, options, packageName);
  // The user was asked when that module took its place.
  if (result.code == kPackageConflict && known.origin == ModuleOrigin::User) return Result::Success();
  if (result.ok()) outcome_->installed.push_back(std::move(report));
  *ours = result.ok() && alone;
  return result;
}

bool ShippedCheck::IsGone(const ShippedPackage& listed) const {
  return std::none_of(listed.files.begin(), listed.files.end(),
                      [this](const ShippedFile& file) { return FileExists(OnDisk(instruments_, file.path).string()); });
}

const ShippedPackage* ShippedCheck::Listed(const std::string& name) const {
  const auto found = std::find_if(manifest_.begin(), manifest_.end(),
                                  [&](const ShippedPackage& package) { return package.fileName == name; });
  return found == manifest_.end() ? nullptr : &*found;
}

bool ShippedCheck::IsUnchanged(const std::string& name) const {
  const ShippedPackage* listed = Listed(name);
  const auto marks = marks_.find(name);
  if (!listed || listed->files.empty() || listed->ModuleFile().empty() || marks == marks_.end()) return false;
  const PackageMarks& known = marks->second;
  const std::string list = InstalledFilesName(WithoutExtension(listed->ModuleFile()));
  if (known.sha256 != listed->sha256 || MarkOf(instruments_ / list) != known.list) return false;
  return std::all_of(listed->files.begin(), listed->files.end(), [&](const ShippedFile& file) {
    const auto mark = known.files.find(file.path);
    return mark != known.files.end() && MarkOf(instruments_ / file.path) == mark->second;
  });
}

Result ShippedCheck::Package(const std::string& name) {
  const ShippedPackage* listed = Listed(name);
  const std::string list = listed ? InstalledFilesName(WithoutExtension(listed->ModuleFile())) : std::string();
  const auto marks = marks_.find(name);
  if (!listed || listed->ModuleFile().empty() || marks == marks_.end() || marks->second.sha256 != listed->sha256 ||
      MarkOf(OnDisk(instruments_, list)) != marks->second.list || IsGone(*listed)) {
    bool ours = false;
    marks_.erase(name);
    const Result result = Install(name, listed, &ours);
    const auto mark = listed ? MarkOf(OnDisk(instruments_, list)) : std::nullopt;
    if (!result.ok() || !ours || !mark) return result;
    marks_[name] = {listed->sha256, *mark, {}};
  }
  return Verify(*listed, &marks_[name]);
}

bool ShippedCheck::IsRight(const ShippedFile& file, PackageMarks* marks) const {
  const fs::path path = OnDisk(instruments_, file.path);
  const auto now = MarkOf(path);
  const auto known = marks->files.find(file.path);
  if (now && known != marks->files.end() && known->second == *now) return true;
  marks->files.erase(file.path);
  std::error_code error;
  std::vector<std::uint8_t> bytes;
  if (!now || !fs::is_regular_file(path, error) || !ReadWholeFile(path.string(), bytes).ok()) return false;
  const std::size_t slash = file.path.find('/');
  const bool users = slash != std::string::npos && IsUserKind(file.path.substr(slash + 1));
  if (!users && Sha256Hex(bytes) != file.sha256) return false;
  marks->files[file.path] = *now;
  return true;
}

Result ShippedCheck::Verify(const ShippedPackage& listed, PackageMarks* marks) {
  std::vector<const ShippedFile*> wrong;
  for (const ShippedFile& file : listed.files) {
    if (!IsRight(file, marks)) wrong.push_back(&file);
  }
  return wrong.empty() ? Result::Success() : Restore(listed, wrong, marks);
}

Result ShippedCheck::Restore(const ShippedPackage& listed, const std::vector<const ShippedFile*>& wrong,
                             PackageMarks* marks) {
  PackageFiles files;
  if (const Result loaded = Load(listed.fileName, &listed, &files); !loaded.ok()) {
    return Result::Failure("\"" + wrong.front()->path + "\" is damaged or missing and cannot be restored. " +
                           loaded.text);
  }
  Result failed;
  for (const ShippedFile* file : wrong) {
    const auto packed = std::find_if(files.begin(), files.end(),
                                     [&](const PackageFile& one) { return PackagePathOnDisk(one.path) == file->path; });
    if (packed == files.end()) continue;
    std::string target, kept;
    Result result = SafeJoin(instruments_.string(), file->path, target);
    std::error_code error;
    if (result.ok() && fs::exists(fs::symlink_status(target, error))) result = SetAsideBroken(target, &kept);
    if (result.ok()) result = MakeFolders(FolderOf(target));
    if (result.ok()) result = WriteFileAtomically(target, std::span<const std::uint8_t>(packed->bytes));
    if (!result.ok()) {
      failed = Result::Failure("\"" + file->path + "\" is damaged or missing and cannot be restored. " + result.text);
      continue;
    }
    if (const auto mark = MarkOf(target)) marks->files[file->path] = *mark;
    outcome_->restored.push_back({file->path, kept.empty() ? kept : FileNameOf(kept)});
    DebugLog("restored %s%s%s", target.c_str(), kept.empty() ? "" : ", the damaged file is ", kept.c_str());
  }
  return failed;
}

// A list that cannot be written costs reading the files again at the next start.
void ShippedCheck::KeepMarks() const {
  const std::string text = MarksText(marks_), path = (instruments_ / kMarksFile).string();
  if (text == former_ || !MakeFolders(FolderOf(path)).ok()) return;
  if (const Result written = WriteFileAtomically(path, text); !written.ok()) DebugLog("%s", written.text.c_str());
}

}  // namespace

std::string RestoredSentence(const ShippedOutcome& outcome) {
  std::vector<RestoredFile> files = outcome.restored;
  if (files.empty()) return {};
  // Where something was kept comes first: that is what the user may want to look at.
  std::stable_partition(files.begin(), files.end(), [](const RestoredFile& file) { return !file.kept.empty(); });
  std::string text = files.size() == 1
                         ? "A file that comes with the program was damaged or missing and has been restored: "
                         : std::to_string(files.size()) +
                               " files that come with the program were damaged or missing and have been restored: ";
  for (std::size_t i = 0; i < std::min(files.size(), kToldFiles); ++i) {
    text += (i ? ", " : "") + files[i].path;
    if (!files[i].kept.empty()) text += " (the damaged one is kept as " + files[i].kept + ")";
  }
  if (files.size() > kToldFiles) text += " and " + std::to_string(files.size() - kToldFiles) + " more";
  return text + ".";
}

Result InstallShippedPackages(const fs::path& packages, const fs::path& instruments, ShippedOutcome* outcome) {
  ShippedOutcome own;
  ShippedCheck check(packages, instruments, outcome ? outcome : &own);
  const Result listed = check.LoadManifest();
  std::string problems = listed.text;
  const std::vector<std::string> names = ListFolder(packages.string(), "*.pvz");
  std::vector<char> unchanged(names.size());
  InParallel(names.size(), [&](std::size_t i) { unchanged[i] = check.IsUnchanged(names[i]); });
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (unchanged[i]) continue;
    const Result result = check.Package(names[i]);
    if (!result.ok()) problems += (problems.empty() ? "" : "\n") + names[i] + ": " + result.text;
  }
  if (std::find(unchanged.begin(), unchanged.end(), 0) != unchanged.end()) check.KeepMarks();
  return problems.empty() ? Result::Success() : Result::Failure(problems);
}

}  // namespace tonalith
