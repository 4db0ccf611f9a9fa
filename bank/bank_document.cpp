#include "bank/bank_document.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

#include "bank/clip_mark.h"
#include "bank/file_marks.h"
#include "data/container.h"
#include "data/not_opened.h"
#include "platform/text.h"
#include "script/received_check.h"

namespace tonalith {

namespace {

// Only what comes before the first separator.
std::string FirstComponent(const std::string& text) {
  return text.substr(0, text.find_first_of("/\\:"));
}

// `notice`: what the user should know of a file that was read, or empty.
Result ReadDataFile(std::span<const std::uint8_t> bytes, const std::string& path, DataFilePtr* dataFile,
                    std::string* notice) {
  if (bytes.empty()) return Result::Failure("The file " + path + " is empty.", kDiskReadError);
  DataFilePtr read(AllocDataFile());
  ContainerReader reader(bytes);
  FormReadOptions options;
  options.mode = 1;
  int code = read ? reader.DiskReadForm(read.get(), options) : static_cast<int>(kDiskNoMemory);
  if (code == kDiskOk && (!read->synth || !read->body)) code = MissingBytes(bytes) ? kDiskReadError : kDiskNotOurs;
  if (code != kDiskOk) return Result::Failure(NotOpenedSentence(path, code, "a bank or patch of this program"), code);
  *dataFile = std::move(read);
  *notice = MissingSentence(path, bytes);
  if (const std::uint32_t lost = reader.LostVoices(); lost > 0 && notice->empty())
    *notice = Printf("The image in the file %s ends before its last %u patches; their places hold nothing.",
                     path.c_str(), lost);
  return Result::Success();
}

std::string MakerAndModel(const DataFile& dataFile) {
  const std::string name = dataFile.xtra ? FieldText(dataFile.xtra->instrumentName) : std::string();
  return name.empty() ? FieldText(dataFile.synth->shortName) : name;
}

bool IsOneOf(const std::vector<std::uint8_t>& patches, int patch) {
  return patch >= 0 && static_cast<std::size_t>(patch) < patches.size() &&
         patches[static_cast<std::size_t>(patch)] != 0;
}

}  // namespace

ZKBankDoc::ZKBankDoc(DataFilePtr dataFile)
    : dataFile_(dataFile ? std::move(dataFile) : DataFilePtr(AllocDataFile())),
      target_(dataFile_.get()),
      rest_(history()) {
  history().SetTarget(&target_);
  TakenOver({});
  AddListener([this](const DocumentChange& change) {
    std::vector<int> changed;
    if (change.kind != DocumentChange::Kind::State) changed = states_.Read(*dataFile_);
    rest_.Follow();
    if (!IsModified() && !path().empty()) states_.FileHoldsAll();
    if (!keepsUndo_ && !history().IsOpen()) DeleteBackups();
    // What comes in meanwhile is the instrument's.
    if (!IsBusy()) sync_.Changed(changed);
  });
}

ZKBankDoc::~ZKBankDoc() {
  ClearClipMark(*this);
}

void ZKBankDoc::TakenOver(const std::vector<std::uint8_t>& changed) {
  states_.Read(*dataFile_);
  states_.InstrumentHolds([&](std::size_t patch) { return patch >= changed.size() || changed[patch] == 0; });
  original_.reset(DupForUser(dataFile_.get()));
}

std::vector<std::uint8_t> ZKBankDoc::ChangedPatches() const {
  std::vector<std::uint8_t> changed;
  for (int patch = 0; patch < PatchCount(); ++patch) {
    if (!states_.DiffersFromInstrument(patch)) continue;
    changed.resize(static_cast<std::size_t>(PatchCount()));
    changed[static_cast<std::size_t>(patch)] = 1;
  }
  return changed;
}

std::string ZKBankDoc::Title() const {
  return Latin1ToUtf8(Description());
}

std::string ZKBankDoc::FolderName() const {
  std::string folder = FirstComponent(FieldText(synth().reserved206));
  if (folder.empty()) folder = FirstComponent(GetDefn(synth()));
  return folder == "." || folder == ".." ? std::string() : Latin1ToUtf8(folder);
}

std::string ZKBankDoc::Extension() const {
  const std::string extension = FieldText(synth().reserved238);
  return extension.empty() ? Document::Extension() : Latin1ToUtf8(FixInvalidFilenameCharacters(extension));
}

std::string ZKBankDoc::Description() const {
  return MakerAndModel(*dataFile_) + " " + FieldText(synth().typeName);
}

std::string ZKBankDoc::InstrumentName() const {
  return Latin1ToUtf8(MakerAndModel(*dataFile_));
}

std::string ZKBankDoc::TypeName() const {
  return Latin1ToUtf8(FieldText(synth().typeName));
}

int ZKBankDoc::PatchCount() const {
  return static_cast<int>(LayoutOf(*dataFile_).numVoices);
}

std::string ZKBankDoc::NumberText(int patch) const {
  // A single patch that says where it belongs.
  const bool own = !synth().isBank && synth().patchNumberInImage && synth().patchNumber <= PatchMax(synth());
  const std::string text =
      MakeNumberStr(synth(), own ? patch + std::max(0, synth().patchNumber - PatchMin(synth())) : patch);
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

int ZKBankDoc::DefinedPatches() const {
  int defined = 0;
  for (int patch = 0; patch < PatchCount(); ++patch) defined += IsPatchDefined(patch);
  return defined;
}

std::vector<std::string> ZKBankDoc::NameLines(const std::vector<int>& patches) const {
  std::vector<std::string> lines;
  for (const int patch : patches) {
    if (IsPatchDefined(patch)) lines.push_back(Latin1ToUtf8(NumberText(patch) + "\t" + GetPatchName(patch)));
  }
  return lines;
}

bool ZKBankDoc::IsDamaged(int patch) const {
  return MarkedDamaged(*dataFile_, patch) || (PatchCount() == 1 && MarkedDamaged(*dataFile_, -1));
}

bool ZKBankDoc::DiffersFromInstrument(int patch) const {
  return states_.DiffersFromInstrument(patch) || IsOneOf(rest().notSent, patch);
}

bool ZKBankDoc::IsAwaited(int patch) const {
  return IsOneOf(rest().notReceived, patch);
}

int ZKBankDoc::CountDifferent(bool fromInstrument) const {
  int count = 0;
  for (int patch = 0; patch < PatchCount(); ++patch)
    count += fromInstrument ? DiffersFromInstrument(patch) : DiffersFromFile(patch);
  return count;
}

bool ZKBankDoc::IsEmpty() const {
  return dataFile_->xtra && dataFile_->xtra->hasNoSysEx != 0;
}

std::uint32_t ZKBankDoc::NameLength() const {
  return LayoutOf(*dataFile_).editable ? PatchNameLength(*dataFile_) : 0;
}

std::string ZKBankDoc::ReadOnlyReason() const {
  return IsBusy() ? BusyReason() : LayoutProblem();
}

const std::string& ZKBankDoc::LayoutProblem() const {
  static_assert(std::is_trivially_copyable_v<Synth>);
  if (!dataFile_->synth) {
    judged_.reset();
    layoutProblem_ = "This data cannot be edited: " + LayoutOf(*dataFile_).problem + ".";
    return layoutProblem_;
  }
  // Every item of a view asks; the answer changes with the descriptor and the size only.
  if (judged_ && judgedSize_ == dataFile_->bodySize && std::memcmp(&*judged_, dataFile_->synth, sizeof(Synth)) == 0)
    return layoutProblem_;
  judged_ = *dataFile_->synth;
  judgedSize_ = dataFile_->bodySize;
  const auto layout = LayoutOf(*dataFile_);
  if (!layout.editable)
    layoutProblem_ = "This data cannot be edited: " + layout.problem + ".";
  else  // the places of a bank are what its commands work on
    layoutProblem_ = layout.numVoices > 1 ? BankSlots(*dataFile_).Refusal() : std::string();
  return layoutProblem_;
}

RenameResult ZKBankDoc::Rename(int patch, const std::string& name) {
  if (const std::string reason = ReadOnlyReason(); !reason.empty()) return {Result::Failure(reason), {}};
  if (NameLength() == 0) return {Result::Failure("The patches of this data type have no names."), {}};
  if (patch < 0 || patch >= PatchCount()) return {Result::Failure("There is no such patch."), {}};
  NameFit fit = FitPatchName(*dataFile_, name);
  if (fit.name == GetPatchName(patch)) return {Result::Success(), std::move(fit)};
  HistoryGroup change(history(), "Rename");
  history().RememberWhole(IdOf(DataBuffer::Body));
  history().RememberWhole(IdOf(DataBuffer::VoiceNames));
  if (!SetPatchName(dataFile_.get(), patch, fit.name)) {
    return {Result::Failure("The name could not be written into this data."), {}};
  }
  change.Commit();
  SetStatus("Rename");
  Tell(DocumentChange::Kind::Item, patch);
  return {Result::Success(), std::move(fit)};
}

std::string ZKBankDoc::ByteRefusal() const {
  if (std::string reason = ReadOnlyReason(); !reason.empty()) return reason;
  return IsEmpty() ? "There is no SysEx yet." : "";
}

Result ZKBankDoc::ChangeByte(std::size_t position, std::uint8_t value) {
  if (std::string reason = ByteRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  HistoryGroup change(history(), "Change Byte");
  if (!history().Write(IdOf(DataBuffer::Body), position, {&value, 1})) return Result::Failure("There is no such byte.");
  if (!change.Commit()) return Result::Success();
  SetStatus("Change Byte");
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

Result ZKBankDoc::FindRoom(const std::vector<int>& slots, int* patches) const {
  if (std::string reason = ReadOnlyReason(); !reason.empty()) return Result::Failure(std::move(reason));
  const int count = PatchCount(), most = MostPatches();
  *patches = count;
  for (const int slot : slots) {
    if (slot < 0 || slot >= most)
      return Result::Failure(most == 1 ? "There is only slot 0." : Printf("There are the slots 0 to %d.", most - 1));
    *patches = std::max(*patches, slot + 1);
  }
  for (int slot = count; slot < *patches; ++slot)
    if (std::find(slots.begin(), slots.end(), slot) == slots.end())
      return Result::Failure(Printf("The bank has %d patches; the next one goes into slot %d.", count, slot));
  return Result::Success();
}

Result ZKBankDoc::ChangeSlots(const std::string& name, const std::string& status,
                              const std::function<Result(BankSlots&)>& change, int patches) {
  if (std::string reason = ReadOnlyReason(); !reason.empty()) return Result::Failure(std::move(reason));
  if (std::string reason = BankSlots(*dataFile_).Refusal(); !reason.empty()) return Result::Failure(std::move(reason));
  HistoryGroup entry(history(), name);
  history().RememberEverything();
  const int more = patches - PatchCount();
  if (more > 0 && !AddPatches(dataFile_.get(), growth_, static_cast<std::uint32_t>(more)))
    return Result::Failure("The bank cannot hold more patches; it stays as it is.");
  BankSlots slots(*dataFile_);
  if (Result result = change(slots); !result.ok()) return result;
  entry.Commit();
  SetStatus(status);
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

void ZKBankDoc::CreateBackup(const std::string& description) {
  history().Begin(description);
  history().RememberEverything();
}

bool ZKBankDoc::EndBackup() {
  const bool changed = history().End();
  if (changed) SetStatus(UndoText());
  return changed;
}

DataFilePtr ZKBankDoc::At(std::size_t position) {
  DataFilePtr copy(DupForUser(dataFile_.get()));
  DataFileTarget target(copy.get());
  return copy && history().BringCopy(position, target) ? std::move(copy) : nullptr;
}

void ZKBankDoc::KeepUndo(bool keep) {
  if (keepsUndo_ == keep) return;
  keepsUndo_ = keep;
  if (keep || history().IsOpen()) return;
  DeleteBackups();
  Tell(DocumentChange::Kind::State);
}

void ZKBankDoc::BeginReceive(const std::string& description) {
  soundsBefore_ = Sounds();
  CreateBackup(description);
  SetBusy(true);
}

void ZKBankDoc::BeginReceiveRest(const std::string& description) {
  BeginReceive(description);
  rest_.PutSetAside(dataFile_.get());
}

bool ZKBankDoc::EndReceive(bool all, const std::vector<std::uint8_t>& patches) {
  const bool changed = receiveChanged_ = EndBackup();
  SetBusy(false);
  states_.Read(*dataFile_);
  if (changed) original_.reset(DupForUser(dataFile_.get()));
  states_.InstrumentHolds([&](std::size_t patch) {
    const bool came = all && (patches.empty() || (patch < patches.size() && patches[patch] != 0));
    return came || patch >= soundsBefore_.size() || soundsBefore_[patch] != states_.Sound(static_cast<int>(patch));
  });
  Tell(DocumentChange::Kind::Everything);
  return changed;
}

void ZKBankDoc::WasSent(const std::vector<std::uint8_t>& patches) {
  states_.Read(*dataFile_);  // sending has made its checksums
  states_.InstrumentHolds(
      [&](std::size_t patch) { return patches.empty() || (patch < patches.size() && patches[patch] != 0); });
  Tell(DocumentChange::Kind::Everything);
}

void ZKBankDoc::WasSent(const std::vector<std::uint8_t>& patches, const std::vector<std::uint64_t>& sounds) {
  states_.InstrumentHolds(sounds, [&](std::size_t patch) { return patch < patches.size() && patches[patch] != 0; });
  Tell(DocumentChange::Kind::Everything);
}

void ZKBankDoc::InstrumentHolds(const DataFile& held) {
  const DataFilePtr copy(DupForUser(&held));
  if (!copy) return;
  // Separate names are not the instrument's.
  if (dataFile_->voiceNames && AllocChunk(&copy->voiceNames, &copy->voiceNamesSize, dataFile_->voiceNamesSize))
    std::copy_n(dataFile_->voiceNames, dataFile_->voiceNamesSize, copy->voiceNames);
  states_.InstrumentHolds(*copy);
  Tell(DocumentChange::Kind::Everything);
}

void ZKBankDoc::TakeHeldSounds(std::vector<std::uint64_t> sounds) {
  if (sounds == HeldSounds()) return;
  states_.TakeHeldSounds(std::move(sounds));
  Tell(DocumentChange::Kind::Everything);
}

// ---- files ----------------------------------------------------------------------------------------------------------

Result ZKBankDoc::Open(const std::string& path, std::unique_ptr<ZKBankDoc>* document) {
  auto made = std::make_unique<ZKBankDoc>(nullptr);
  if (Result result = made->Load(path); !result.ok()) return result;
  *document = std::move(made);
  return Result::Success();
}

Result ZKBankDoc::Load(const std::string& path, DataFilePtr* dataFile) {
  std::unique_ptr<ZKBankDoc> document;
  if (Result result = Open(path, &document); !result.ok()) return result;
  *dataFile = std::move(document->dataFile_);
  return Result::Success();
}

Result ZKBankDoc::ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  DataFilePtr read;
  std::string notice;
  if (Result result = ReadDataFile(bytes, path, &read, &notice); !result.ok()) return result;
  // Every buffer is taken over while the record itself, which others may point to, stays where it is.
  std::swap(*dataFile_, *read);
  SetLoadNotice(notice);
  FileMarks marks = FileMarksIn(bytes, PatchCount());
  TakenOver(marks.changed);
  rest_.Set(std::move(marks.rest));
  return Result::Success();
}

std::string ZKBankDoc::CannotRead(const std::string& path, const std::string& reason) const {
  return "The file " + path + " could not be read.  " + reason;
}

std::string ZKBankDoc::CannotWrite(const std::string& path, const std::string& reason) const {
  return "The file " + path + " could not be written; the former file was left as it is.  " + reason;
}

void ZKBankDoc::GetEnded(const std::vector<std::uint8_t>& patches, const DeskResult& result) {
  const bool taken = result.ok || result.changed || receiveChanged_;
  rest_.GetEnded(*dataFile_, patches, result, taken, receiveChanged_);
  Tell(DocumentChange::Kind::Everything);
}

void ZKBankDoc::SendEnded(const std::vector<std::uint8_t>& patches, const DeskResult& result) {
  rest_.SendEnded(*dataFile_, patches, result);
  if (result.ok) return WasSent(patches);
  if (result.sent.empty()) return Tell(DocumentChange::Kind::Everything);
  std::vector<std::uint8_t> sent(static_cast<std::size_t>(PatchCount()));
  for (const int patch : result.sent)
    if (patch >= 0 && patch < PatchCount()) sent[static_cast<std::size_t>(patch)] = 1;
  WasSent(sent);
}

void ZKBankDoc::NoteLeft(const std::vector<std::uint8_t>& patches, const DeskResult& result) {
  rest_.SendEnded(*dataFile_, patches, result);
  Tell(DocumentChange::Kind::Everything);
}

void ZKBankDoc::SetRest(TransferRest rest) {
  rest_.Set(std::move(rest));
  Tell(DocumentChange::Kind::Everything);
}

Result ZKBankDoc::WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) {
  const bool written = path.empty() ? DiskWriteForm(bytes, *dataFile_) : DiskWriteFormAs(bytes, *dataFile_, path);
  if (written) {
    states_.Read(*dataFile_);
    AddFileMarks(bytes, {ChangedPatches(), rest()}, PatchCount());
    return Result::Success();
  }
  return Result::Failure(dataFile_->synth ? kTooLargeToWrite : "There is no data that could be written.",
                         kDiskWriteError);
}

void ZKBankDoc::FileWritten(const std::string& path) {
  SetFileName(dataFile_.get(), path);
}

}  // namespace tonalith
