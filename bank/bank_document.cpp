#include "bank/bank_document.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "data/container.h"
#include "data/patch_names.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxBackups = 50;

// Takes over every buffer of `from` while the record itself, which others may point to, stays where it is.
void TakeContents(DataFile& to, DataFile& from) {
  std::swap(to, from);
}

bool SameBytes(const void* a, std::uint32_t aSize, const void* b, std::uint32_t bSize) {
  if (!a || !b) return (!a || !aSize) && (!b || !bSize);
  return aSize == bSize && std::memcmp(a, b, aSize) == 0;
}

}  // namespace

ZKBankDoc::ZKBankDoc(DataFilePtr dataFile) : dataFile_(std::move(dataFile)) {}

ZKBankDoc::~ZKBankDoc() = default;

std::string ZKBankDoc::Description() const {
  std::string maker = dataFile_->xtra ? FieldText(dataFile_->xtra->instrumentName) : std::string();
  if (maker.empty()) maker = FieldText(synth().shortName);
  return maker + " " + FieldText(synth().typeName);
}

int ZKBankDoc::PatchCount() const {
  return static_cast<int>(LayoutOf(*dataFile_).numVoices);
}

std::string ZKBankDoc::NumberText(int patch) const {
  const std::string text = MakeNumberStr(synth(), patch);
  return std::string(TrimmedView(text));
}

std::string ZKBankDoc::GetPatchName(int patch) const {
  std::string name = tonalith::GetPatchName(*dataFile_, patch);
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name;
}

bool ZKBankDoc::IsPatchDefined(int patch) const {
  const auto byte = static_cast<std::uint32_t>(patch / 8);
  if (!dataFile_->emptyMap || byte >= dataFile_->emptyMapSize) return !IsEmpty();
  return (dataFile_->emptyMap[byte] & (1U << (patch % 8))) == 0;
}

bool ZKBankDoc::IsEmpty() const {
  return dataFile_->xtra && dataFile_->xtra->hasNoSysEx != 0;
}

std::uint32_t ZKBankDoc::NameLength() const {
  return LayoutOf(*dataFile_).editable ? PatchNameLength(*dataFile_) : 0;
}

std::string ZKBankDoc::ReadOnlyReason() const {
  if (busy_) return "This data is being transferred; please wait until the transfer has ended.";
  const auto layout = LayoutOf(*dataFile_);
  if (!layout.editable) return "This data cannot be edited: " + layout.problem;
  return {};
}

Result ZKBankDoc::Rename(int patch, const std::string& name) {
  if (const std::string reason = ReadOnlyReason(); !reason.empty()) return Result::Failure(reason);
  if (NameLength() == 0) return Result::Failure("The patches of this data type have no names.");
  if (patch < 0 || patch >= PatchCount()) return Result::Failure("There is no such patch.");
  std::string cut = name.substr(0, NameLength());
  if (cut == GetPatchName(patch)) return Result::Success();
  CreateBackup("Rename");
  if (!SetPatchName(dataFile_.get(), patch, cut)) {
    backups_.pop_back();
    return Result::Failure("The name could not be written into this data.");
  }
  modified_ = true;
  status_ = "Rename";
  Tell(Change::Patch, patch);
  return Result::Success();
}

void ZKBankDoc::CreateBackup(const std::string& description) {
  DataFilePtr copy(DupForUser(dataFile_.get()));
  if (!copy) return;
  if (backups_.size() >= kMaxBackups) backups_.erase(backups_.begin());
  backups_.push_back({std::move(copy), description.substr(0, 255), modified_});
}

void ZKBankDoc::DeleteBackups() {
  backups_.clear();
}

std::string ZKBankDoc::UndoText() const {
  return backups_.empty() ? std::string() : backups_.back().description;
}

bool ZKBankDoc::CmEditUndo() {
  if (busy_ || backups_.empty()) return false;
  Backup backup = std::move(backups_.back());
  backups_.pop_back();
  TakeContents(*dataFile_, *backup.dataFile);
  modified_ = backup.modified;
  status_ = "Undo " + backup.description;
  Tell(Change::All);
  return true;
}

bool ZKBankDoc::SameAs(const DataFile& other) const {
  const DataFile& own = *dataFile_;
  return SameBytes(own.body, own.bodySize, other.body, other.bodySize) &&
         SameBytes(own.synth, own.synthSize, other.synth, other.synthSize) &&
         SameBytes(own.voiceNames, own.voiceNamesSize, other.voiceNames, other.voiceNamesSize) &&
         SameBytes(own.emptyMap, own.emptyMapSize, other.emptyMap, other.emptyMapSize) &&
         SameBytes(own.xtra, own.xtraSize, other.xtra, other.xtraSize);
}

void ZKBankDoc::BeginReceive(const std::string& description) {
  CreateBackup(description);
  SetBusy(true);
}

bool ZKBankDoc::EndReceive() {
  const bool changed = backups_.empty() || !SameAs(*backups_.back().dataFile);
  if (!changed) {
    backups_.pop_back();
  } else {
    modified_ = true;
    status_ = backups_.empty() ? "Get from Instrument" : backups_.back().description;
  }
  busy_ = false;
  Tell(Change::All);
  return changed;
}

void ZKBankDoc::SetBusy(bool busy) {
  busy_ = busy;
  Tell(Change::State);
}

Result ZKBankDoc::Save(const std::string& path) {
  if (busy_) return Result::Failure(ReadOnlyReason());
  if (!dataFile_->fileName || dataFile_->fileNameSize < kFileNameSize) {
    FreeChunk(dataFile_->fileName, dataFile_->fileNameSize);
    AllocChunk(&dataFile_->fileName, &dataFile_->fileNameSize, kFileNameSize);
  }
  if (dataFile_->fileName) CopyText(dataFile_->fileName, kFileNameSize, CutUtf8(path, kFileNameSize - 1));
  std::vector<std::uint8_t> bytes;
  if (!DiskWriteForm(&bytes, *dataFile_)) return Result::Failure("This data cannot be written as a file.");
  if (const int code = DiskSaveFile(path, bytes); code != 0) {
    return Result::Failure("The file " + path + " could not be written; the former file was left as it is.", code);
  }
  path_ = path;
  modified_ = false;
  status_ = "Saved";
  Tell(Change::State);
  return Result::Success();
}

Result ZKBankDoc::Load(const std::string& path, DataFilePtr* dataFile) {
  std::vector<std::uint8_t> bytes;
  if (const int code = DiskLoadFile(path, &bytes); code != 0) {
    return Result::Failure("The file " + path + " could not be read.", code);
  }
  DataFilePtr read(AllocDataFile());
  ContainerReader reader(bytes);
  FormReadOptions options;
  options.mode = 1;
  const int code = read ? reader.DiskReadForm(read.get(), options) : 6;
  if (code != 0 || !read->synth || !read->body) {
    return Result::Failure("The file " + path + " is not a bank or patch of this program.", code ? code : 3);
  }
  *dataFile = std::move(read);
  return Result::Success();
}

int ZKBankDoc::AddListener(Listener listener) {
  listeners_.emplace_back(nextListener_, std::move(listener));
  return nextListener_++;
}

void ZKBankDoc::RemoveListener(int id) {
  std::erase_if(listeners_, [id](const auto& entry) { return entry.first == id; });
}

void ZKBankDoc::Tell(Change change, int patch) {
  const auto listeners = listeners_;
  for (const auto& [id, listener] : listeners) listener(change, patch);
}

}  // namespace tonalith
