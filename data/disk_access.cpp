#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/log.h"
#include "platform/text.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

DiskHooks& DefaultHooks() {
  static DiskHooks hooks;
  return hooks;
}

// "a Bank or Patch" and so on, for codes that say what was wanted instead.
const char* LooksLike(std::uint32_t fileId) {
  if (fileId == ChunkId("FORM")) return " Bank or Patch";
  if (fileId == ChunkId("LIST")) return " Set, Library, or Collection";
  return "n unknown type";
}

bool SaysWhatFileIs(int code, std::uint32_t fileId) {
  if (code == kDiskNotSingle) return fileId == ChunkId("LIST");
  return code == kDiskNotDriver || code == kDiskNotSet || code == kDiskNotLibrary || code == kDiskNotDesktop;
}

bool IsStudioFile(const std::string& name) {
  return AsciiEqualNoCase(name, "Default.PV8") || AsciiEndsWithNoCase(name, ".PV9");
}

bool HaveDescriptors(const ListFile& list) {
  return std::all_of(list.members.begin(), list.members.end(), [](const ListMember& member) {
    return (!member.data || member.data->synth) && (!member.list || HaveDescriptors(*member.list));
  });
}

// The name a record has once it was read from or saved as `name`.
std::string NameToKeep(const DataFile& df, const std::string& name) {
  if (!KeepsFileName(df)) return name;
  const std::string former(df.fileName, strnlen(df.fileName, df.fileNameSize));
  const bool isPath = name.find(':') != std::string::npos || name.find('\\') != std::string::npos;
  return isPath || AsciiEqualNoCase(former, name) ? former : name;
}

}  // namespace

const char* DiskErrorText(int code) {
  switch (code) {
    case kDiskOk:
      return "";
    case kDiskNotFound:
      return "File not found.\n";
    case kDiskReadError:
      return "File read error.\n";
    case kDiskNotOurs:
      return "Please choose or drop a Tonalith SysEx File.\n";
    case kDiskNotSingle:
      return "Please choose or drop a Bank or Patch File.\n";
    case kDiskNoDirectory:
      return "Directory not found.\n";
    case kDiskNoMemory:
      return "Insufficient memory.\n";
    case kDiskWriteError:
      return "File write error.\n";
    case kDiskCreateError:
      return "File creation error.\n";
    case kDiskCancelled:
      return "Save cancelled.\n";
    case kDiskNotDriver:
      return "Please select a Driver file.\n";
    case kDiskNotSet:
      return "Please choose or drop a Set or Collection file!\n";
    case kDiskWrongDriver:
      return "Invalid Data/Driver for this Editor.\n";
    case kDiskNotLibrary:
      return "Please choose or drop a Library file.\n";
    case kDiskNotDesktop:
      return "Please choose or drop a Desktop file.\n";
    case kDiskNotMidi:
      return "Please choose or drop another MIDI file.\n";
    default:
      return "Unknown Error.\n";
  }
}

namespace {

template <typename Bytes>
Result LoadInto(const std::string& path, Bytes* bytes, FileStamp* stamp) {
  // Noted first: a change while the file is read counts as a later one.
  if (stamp) *stamp = StampOf(path);
  Result result = ReadWholeFile(path, *bytes, static_cast<std::size_t>(kMaxContainerSize));
  if (!result.ok()) {
    const bool missing = result.code == kFileMissing || result.code == kFileDenied;
    result.code = missing ? kDiskNotFound : result.code == kFileNoMemory ? kDiskNoMemory : kDiskReadError;
  }
  return result;
}

}  // namespace

Result LoadDiskFile(const std::string& path, std::vector<std::uint8_t>* bytes, FileStamp* stamp) {
  return LoadInto(path, bytes, stamp);
}

Result LoadDiskFile(const std::string& path, FileBytes* bytes, FileStamp* stamp) {
  return LoadInto(path, bytes, stamp);
}

namespace {

// Keeps a file that ends early, whose rest may be found yet, before it is replaced.
Result KeepCutFile(const std::string& path, std::string* kept) {
  constexpr std::size_t kGroupHead = 8;  // alone it misses everything that the group holds
  std::vector<std::uint8_t> former;
  if (!ReadFileHead(path, former, kGroupHead).ok() || MissingBytes(former) == 0) return Result::Success();
  if (!ReadWholeFile(path, former, static_cast<std::size_t>(kMaxContainerSize)).ok() || MissingBytes(former) == 0)
    return Result::Success();
  Result result = KeepBeside(path, kept);
  if (!result.ok()) result.text += "  The file there ends early and would be lost; save under another name.";
  return result;
}

}  // namespace

Result SaveDiskFile(const std::string& path, std::span<const std::uint8_t> bytes, FileStamp* stamp, std::string* kept) {
  AtomicFile file;
  Result result = file.Open(path);
  if (!result.ok()) return Result::Failure(result.text, kDiskCreateError);
  result = file.Write(bytes);
  std::string beside;
  if (result.ok()) result = KeepCutFile(path, &beside);
  if (result.ok()) result = file.Commit();
  if (!result.ok()) {
    if (!beside.empty()) std::remove(beside.c_str());
    return Result::Failure(result.text, kDiskWriteError);
  }
  if (kept) *kept = beside;
  if (stamp) *stamp = StampOf(path);
  return result;
}

int DiskLoadFile(const std::string& path, std::vector<std::uint8_t>* bytes) {
  const Result result = LoadDiskFile(path, bytes);
  if (!result.ok()) DebugLog("%s", result.text.c_str());
  return result.code;
}

int DiskSaveFile(const std::string& path, std::span<const std::uint8_t> bytes) {
  const Result result = SaveDiskFile(path, bytes);
  if (!result.ok()) DebugLog("%s", result.text.c_str());
  return result.code;
}

DiskAccess::DiskAccess(DiskHooks* hooks) : hooks_(hooks ? hooks : &DefaultHooks()) {}

void DiskAccess::SetHooks(DiskHooks* hooks) {
  hooks_ = hooks ? hooks : &DefaultHooks();
}

FormReadOptions DiskAccess::Options(int mode) const {
  FormReadOptions options;
  options.mode = mode;
  options.hooks = hooks_;
  return options;
}

std::string DiskAccess::FullPath(const std::string& name) const {
  if (name.empty() || name[0] == '/' || base_.empty()) return name;
  std::string path = base_;
  if (path.back() != '/') path += '/';
  return path + name;
}

void DiskAccess::DiskDirectoryFix(const std::string& dir, bool set) {
  if (set) {
    remembered_.push_back(base_);
    if (!dir.empty()) base_ = FullPath(dir);
  } else if (!remembered_.empty()) {
    base_ = remembered_.back();
    remembered_.pop_back();
  }
}

void DiskAccess::DiskAccessClose(int& code, const std::string& dir, const std::string& name) {
  const bool quiet = code == kDiskOk || code == kDiskCancelled || code == kDiskKeywordAbsent;
  if (code == kDiskOk && !missing_.empty()) hooks_->ShowMessage("File Error", missing_);
  missing_.clear();
  if (code == kDiskNotSet && IsStudioFile(name)) {
    const Result aside = SetAsideBroken(FullPath(name));
    if (!aside.ok()) DebugLog("%s", aside.text.c_str());
    code = kDiskOk;
  } else if (!quiet) {
    if (code > kDiskUnknown) code = kDiskUnknown;
    std::string why = DiskErrorText(code);
    if (SaysWhatFileIs(code, fileId_)) why = std::string("File looks like a") + LooksLike(fileId_) + "!\n" + why;
    const std::string what = code == kDiskNoDirectory ? dir : dir + "\\" + name;
    hooks_->ShowMessage("File Error", "Attempting to access the file:\n    " + what +
                                          "\n\nCaused the following error:\n    " + why +
                                          (reason_.empty() ? std::string() : "    " + reason_ + "\n"));
  }
  reason_.clear();
  DiskDirectoryFix({}, false);
}

int DiskAccess::Load(const std::string& name, std::vector<std::uint8_t>* bytes) {
  const std::string path = FullPath(name);
  const Result result = LoadDiskFile(path, bytes);
  missing_ = result.ok() ? MissingSentence(path, *bytes) : std::string();
  endsEarly_ = !missing_.empty();
  // That a file is missing is said by the code.
  if (!result.ok() && (FileExists(path) || FolderExists(path))) reason_ = result.text;
  return result.code;
}

int DiskAccess::Save(const std::string& name, std::span<const std::uint8_t> bytes) {
  const Result result = SaveDiskFile(FullPath(name), bytes);
  reason_ = result.text;
  return result.code;
}

int DiskAccess::DiskRead(int kind, const std::string& dir, const std::string& name, const std::string& find,
                         DataFile* df, int mode) {
  DiskDirectoryFix(dir, true);
  fileId_ = 0;
  std::vector<std::uint8_t> bytes;
  int code = Load(name, &bytes);
  if (code == kDiskOk) {
    ContainerReader reader(bytes);
    FormReadOptions options = Options(mode);
    options.kind = kind == 1 ? 0 : kind;
    options.find = find;
    code = reader.DiskReadForm(df, options);
    fileId_ = reader.fileId();
  }
  if (code == kDiskOk) {
    SetFileName(df, NameToKeep(*df, name));
    if (!hooks_->MainConfigDriver(df->synth ? df->synth->driverId : std::uint16_t{0})) code = kDiskWrongDriver;
  }
  DiskAccessClose(code, dir, name);
  return code == kDiskOk ? 1 : 0;
}

int DiskAccess::DiskWrite(int /*kind*/, const std::string& dir, const std::string& name, DataFile* df) {
  DiskDirectoryFix(dir, true);
  int code = kDiskOk;
  std::vector<std::uint8_t> bytes;
  const std::string kept = NameToKeep(*df, name);
  if (!base_.empty() && !FolderExists(base_)) {
    code = kDiskNoDirectory;
  } else if (!DiskWriteFormAs(&bytes, *df, kept)) {
    code = kDiskWriteError;
    if (df->synth) reason_ = kTooLargeToWrite;
  } else {
    code = Save(name, bytes);
  }
  if (code == kDiskOk) SetFileName(df, kept);
  DiskAccessClose(code, dir, name);
  return code == kDiskOk ? 1 : 0;
}

int DiskAccess::DiskDataBaseReadFromOpenFile(std::span<const std::uint8_t> bytes, ListFile* list, int mode) {
  fileId_ = bytes.size() >= 4 ? LoadBe32(bytes.data()) : 0;
  const int code = ReadListOrForm(bytes, Options(mode), list);
  return code == kDiskNotOurs || code == kDiskNotDriver ? static_cast<int>(kDiskNotSet) : code;
}

int DiskAccess::DiskDataBaseRead(const std::string& dir, const std::string& name, ListFile* list, int mode) {
  DiskDirectoryFix(dir, true);
  fileId_ = 0;
  std::vector<std::uint8_t> bytes;
  int code = Load(name, &bytes);
  if (code == kDiskOk) code = DiskDataBaseReadFromOpenFile(bytes, list, mode);
  DiskAccessClose(code, dir, name);
  return code == kDiskOk ? 1 : 0;
}

int DiskAccess::DiskDataBaseWriteToOpenFile(std::vector<std::uint8_t>* out, const ListFile& list) {
  return WriteList(out, list) ? kDiskOk : kDiskWriteError;
}

int DiskAccess::DiskDataBaseWrite(const std::string& dir, const std::string& name, const ListFile& list) {
  DiskDirectoryFix(dir, true);
  std::vector<std::uint8_t> bytes;
  int code = DiskDataBaseWriteToOpenFile(&bytes, list);
  if (code != kDiskOk && HaveDescriptors(list)) reason_ = kTooLargeToWrite;
  if (code == kDiskOk) code = Save(name, bytes);
  DiskAccessClose(code, dir, name);
  return code == kDiskOk ? 1 : 0;
}

int DiskAccess::DiskLibraryRead(const std::string& dir, const std::string& name, DataFilePtr* header,
                                std::vector<DataFilePtr>* members, std::vector<std::uint8_t>* info, int mode,
                                const std::string& find) {
  DiskDirectoryFix(dir, true);
  fileId_ = 0;
  std::vector<std::uint8_t> bytes;
  int code = Load(name, &bytes);
  if (code == kDiskOk) {
    fileId_ = bytes.size() >= 4 ? LoadBe32(bytes.data()) : 0;
    FormReadOptions options = Options(mode);
    options.find = find;
    ListFile list;
    code = ReadList(bytes, options, &list);
    if (code == kDiskNotOurs) code = kDiskNotLibrary;
    *header = std::move(list.header);
    *info = std::move(list.info);
    for (ListMember& member : list.members) {
      if (member.data) members->push_back(std::move(member.data));
    }
  }
  DiskAccessClose(code, dir, name);
  return code == kDiskOk ? 1 : 0;
}

int DiskAccess::DiskLibraryWrite(const std::string& dir, const std::string& name, const DataFile* header,
                                 std::span<DataFile* const> members, std::span<const std::uint8_t> info) {
  DiskDirectoryFix(dir, true);
  std::vector<std::uint8_t> bytes(12);
  bool ok = !header || DiskWriteForm(&bytes, *header, WriteBuffers::kSkipEmpty, ChunkId("PROP"));
  for (DataFile* member : members) ok = ok && member && DiskWriteForm(&bytes, *member);
  if (!info.empty()) WriteFormSection(&bytes, ChunkId("INFO"), info.data(), info.size());
  int code = kDiskWriteError;
  if (ok && bytes.size() <= kMaxContainerSize) {
    StoreBe32(bytes.data(), ChunkId("LIST"));
    StoreBe32(bytes.data() + 4, static_cast<std::uint32_t>(bytes.size() - 8));
    StoreBe32(bytes.data() + 8, kListLibrary);
    code = Save(name, bytes);
  } else if (std::all_of(members.begin(), members.end(), [](const DataFile* m) { return m && m->synth; })) {
    reason_ = kTooLargeToWrite;
  }
  DiskAccessClose(code, dir, name);
  return code == kDiskOk ? 1 : 0;
}

// --- Keyword renaming ------------------------------------------------------------------------------------------------

namespace {

bool RenameInKeywords(std::span<std::uint8_t> entries, const std::string& from, const std::string& to) {
  bool changed = false;
  for (std::size_t at = 0; at + kKeywordSize <= entries.size(); at += kKeywordSize) {
    auto* entry = reinterpret_cast<char*>(entries.data() + at);
    if (!AsciiEqualNoCase(std::string_view(entry, strnlen(entry, kKeywordSize - 1)), from)) continue;
    char fresh[kKeywordSize] = {};
    std::memcpy(fresh, to.data(), std::min<std::size_t>(to.size(), kKeywordSize - 1));
    changed = changed || std::memcmp(entry, fresh, kKeywordSize) != 0;
    std::memcpy(entry, fresh, kKeywordSize);
  }
  return changed;
}

// Walks the chunks of a file where they stand, so that everything but the keywords stays byte for byte.
bool RenameInGroup(std::span<std::uint8_t> bytes, int depth, const std::string& from, const std::string& to) {
  if (bytes.size() < 12 || depth > 8) return false;
  const std::uint32_t group = LoadBe32(bytes.data());
  const bool little = group == ChunkId("MROF");
  const bool isList = group == ChunkId("LIST");
  if (!isList && !little && group != ChunkId("FORM") && group != ChunkId("PROP")) return false;
  const auto load = [&](std::size_t at) { return little ? LoadLe32(bytes.data() + at) : LoadBe32(bytes.data() + at); };
  bool changed = false;
  std::size_t at = 12;
  while (bytes.size() - at >= 8) {
    const std::uint32_t id = load(at);
    const std::size_t length = std::min<std::size_t>(load(at + 4), bytes.size() - at - 8);
    if (isList) {
      changed = RenameInGroup(bytes.subspan(at, 8 + length), depth + 1, from, to) || changed;
    } else if (id == ChunkId("FIND")) {
      changed = RenameInKeywords(bytes.subspan(at + 8, length), from, to) || changed;
    }
    at = std::min(bytes.size(), at + 8 + length + (length & 1));
  }
  return changed;
}

bool IsSkippedExtension(const std::string& name) {
  for (const char* ext : {".PVW", ".SYX", ".PV9", ".PV6", ".PV5", ".ini"}) {
    if (AsciiEndsWithNoCase(name, ext)) return true;
  }
  return false;
}

bool IsListExtension(const std::string& name) {
  for (const char* ext : {".PVL", ".PVS", ".PVG", ".PVC", ".PVD"}) {
    if (AsciiEndsWithNoCase(name, ext)) return true;
  }
  return false;
}

}  // namespace

bool DiskAccess::UpdateKeywordFile(const std::string& path, const std::string& oldKeyword,
                                   const std::string& newKeyword) {
  std::vector<std::uint8_t> bytes;
  if (DiskLoadFile(path, &bytes) != kDiskOk) return false;
  if (!IsListExtension(path) && !LooksLikeDataFile(bytes)) return false;
  if (!RenameInGroup(bytes, 0, oldKeyword, newKeyword)) return false;
  return DiskSaveFile(path, bytes) == kDiskOk;
}

int DiskAccess::DiskStructureUpdate(const std::string& dir, const std::string& oldKeyword,
                                    const std::string& newKeyword,
                                    const std::function<bool(const std::string& path)>& progress) {
  if (oldKeyword.empty()) return 0;
  int written = 0;
  std::error_code error;
  fs::recursive_directory_iterator it(FullPath(dir), fs::directory_options::skip_permission_denied, error);
  for (const fs::recursive_directory_iterator end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (it->is_symlink(ignored) || !it->is_regular_file(ignored)) continue;
    const std::string path = it->path().string();
    if (IsSkippedExtension(path)) continue;
    const auto permissions = it->status(ignored).permissions();
    if ((permissions & fs::perms::owner_write) == fs::perms::none) continue;
    if (progress && !progress(path)) break;
    if (UpdateKeywordFile(path, oldKeyword, newKeyword)) ++written;
  }
  return written;
}

// --- Small helpers ---------------------------------------------------------------------------------------------------

std::uint32_t IFFSize(const char* s) {
  return static_cast<std::uint32_t>((std::strlen(s) + 2) & ~std::size_t{1});
}

void FlipLong(std::uint32_t* value) {
  *value = __builtin_bswap32(*value);
}

void FlipWord(std::uint16_t* value) {
  *value = __builtin_bswap16(*value);
}

namespace {

constexpr std::size_t kMaxPathText = 255;

bool NeedsSlash(const std::string& path) {
  return !path.empty() && path.back() != '/' && path.back() != ':' && path.back() != '\\';
}

}  // namespace

void FileAppendPath(std::string* path, std::string_view name) {
  const std::size_t slash = NeedsSlash(*path) ? 1 : 0;
  if (name.empty() || path->size() + slash + name.size() > kMaxPathText) return;
  if (slash) *path += '/';
  *path += name;
}

void FileAppendDir(std::string* path, std::string_view dir) {
  constexpr std::size_t kWildcard = 6;
  if (dir.empty() || path->size() + dir.size() > kMaxPathText + 3) return;
  if (NeedsSlash(*path)) *path += '/';
  *path += dir.substr(0, dir.size() - std::min(kWildcard, dir.size()));
}

std::string FileCreateExt(std::string_view ext) {
  return ext.empty() ? "*.*" : "*." + std::string(ext);
}

DataFilePtr CreateMidiXFile(std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || bytes.size() > kMaxFileSize) return nullptr;
  const auto size = static_cast<std::uint32_t>(bytes.size());
  DataFilePtr df(AllocDataFile());
  if (!df || !AllocChunk(&df->synth, &df->synthSize, kSynthSize) || !AllocChunk(&df->body, &df->bodySize, size)) {
    return nullptr;
  }
  std::memcpy(df->body, bytes.data(), bytes.size());
  Synth& s = *df->synth;
  std::snprintf(s.shortName, sizeof s.shortName, "SysEx");
  std::snprintf(s.typeName, sizeof s.typeName, "Raw SysEx");
  s.fileSize = size;
  s.voiceSize = size;
  s.voiceBytes = size;
  s.numVoices = 1;
  s.sysExChannelMax = 15;
  s.allowsNonSysEx = 1;
  if (bytes.size() > 1 && bytes[0] == 0xF0 && bytes[1] < 0x80) s.manufacturerId = bytes[1];
  return df;
}

DataFilePtr CreateMidiXFile(const std::string& directory, const std::string& name) {
  std::string path = directory;
  if (NeedsSlash(path)) path += '/';
  std::vector<std::uint8_t> bytes;
  if (DiskLoadFile(path + name, &bytes) != kDiskOk) return nullptr;
  return CreateMidiXFile(bytes);
}

void GetMacFileTypeAndCreator(int kind, std::uint32_t& type, bool& creatorFlag) {
  static constexpr std::uint32_t kTypes[17] = {
      ChunkId("PVDA"), ChunkId("PVDR"), ChunkId("PVDB"), ChunkId("PVTM"), ChunkId("PVCV"), ChunkId("PVDL"),
      ChunkId("PVCF"), ChunkId("PVST"), ChunkId("PVLB"), ChunkId("PVDT"), ChunkId("PVIN"), ChunkId("SYSX"),
      ChunkId("TEXT"), ChunkId("Midi"), ChunkId("PICT"), ChunkId("PVHP"), ChunkId("PVZ ")};
  if (kind < 0 || kind > 16) kind = 15;
  type = kTypes[kind];
  creatorFlag = kind < 11 || kind > 14;
}

}  // namespace tonalith
