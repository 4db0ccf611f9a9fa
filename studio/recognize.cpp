#include "studio/recognize.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <unordered_map>

#include "data/container.h"
#include "data/data_size.h"
#include "platform/byte_window.h"
#include "platform/text.h"
#include "studio/file_messages.h"
#include "studio/patch_list.h"
#include "studio/recognize_match.h"
#include "studio/studio_document.h"
#include "studio/type_check.h"
#include "studio/type_forms.h"
#include "studio/unrecognized.h"

namespace tonalith {

namespace {

// Patches of a type as they are listed.
struct TypeListing {
  PatchNumbers numbers;
  // Of images in one message: those of the size before.
  std::uint32_t size = 0;
  Synth synth{};
  VoiceLayout layout;
};

// Marks every voice of a bank as empty but those in `slots`.
void MarkVoices(DataFile* data, const std::vector<std::uint32_t>& slots) {
  if (!data->emptyMap) return;
  for (std::uint32_t i = 0; i < data->synth->numVoices; ++i)
    SetMapBit(data->emptyMap, data->emptyMapSize, i, !slots.empty());
  for (const std::uint32_t slot : slots) SetMapBit(data->emptyMap, data->emptyMapSize, slot, false);
}

// Puts what was found into the image of new data; voices that were not found stay as they are there.
void CopyFound(const PieceMatch& match, const Synth& synth, std::span<std::uint8_t> image) {
  const std::size_t size = std::min(match.body.size(), image.size());
  const auto copy = [&](std::size_t from, std::size_t count) {
    if (from < size) std::copy_n(match.body.data() + from, std::min(count, size - from), image.data() + from);
  };
  // The body was begun with the image of new data; voices that do not lie in a row are taken with all between them.
  if (match.slots.empty() || synth.voiceAdjust) return copy(0, size);
  for (const std::uint32_t slot : match.slots)
    copy(synth.headerSize + std::size_t{synth.voiceSize} * slot, synth.voiceSize);
}

void SetChannel(Synth* synth, int channel) {
  if (channel < 0 || !synth->hasSysExChannel) return;
  if (channel >= synth->sysExChannelMin && channel <= synth->sysExChannelMax)
    synth->sysExChannel = static_cast<std::uint8_t>(channel);
}

bool HasNames(const Synth& synth) {
  return synth.nameLength != 0 || synth.namesSeparate != 0;
}

// The channel that an image was sent with; -1: its type has none.
int ChannelInImage(const DataFile& data) {
  const Synth& synth = *data.synth;
  if (!synth.hasSysExChannel || synth.sysExChannelOffset >= data.bodySize) return -1;
  return data.body[synth.sysExChannelOffset] >> (synth.sysExChannelShift & 7) & 0x0F;
}

// A data file of any kind: also one whose descriptor does not come first, and one in the old byte order.
bool IsDataFile(std::span<const std::uint8_t> file) {
  if (file.size() < 12) return false;
  const std::uint32_t id = LoadBe32(file.data());
  return id == ChunkId("FORM") || id == ChunkId("MROF") || id == ChunkId("PROP");
}

ChecksumVerdict VerifyImage(const RecognizeRule* rule, const Synth& synth, std::span<const std::uint8_t> body,
                            const std::function<bool(std::uint32_t)>& isEmpty) {
  return VerifyImage(rule ? std::span(rule->verify) : std::span<const VerifyRule>(), synth, body, isEmpty);
}

ChecksumVerdict VerifyData(const RecognizeRule* rule, const DataFile& data) {
  const auto body = BodySpan(data).first(std::min<std::size_t>(data.bodySize, data.synth->fileSize));
  return VerifyImage(rule, *data.synth, body, [&](std::uint32_t voice) { return VoiceIsEmpty(data, voice); });
}

}  // namespace

struct FoundFile::Contents {
  FileMessages messages;
  std::vector<PieceMatch> plans;  // without their bodies
  std::vector<DataFilePtr> records;
  std::deque<FoundType> recordTypes;
  std::unordered_map<std::uint32_t, TypeListing> listings;  // by type
  DataFilePtr listed;                                       // of the piece that was listed last
};

FoundFile::FoundFile() = default;
FoundFile::~FoundFile() = default;
FoundFile::FoundFile(FoundFile&&) noexcept = default;
FoundFile& FoundFile::operator=(FoundFile&&) noexcept = default;

struct Recognizer::Rules {
  const ZKStudioDoc& studio;
  TypeTable table;
  std::vector<FoundType> found;  // for each type of the table

  explicit Rules(const ZKStudioDoc& document);
  // What is found with the matches of the pieces before, whose memory is used again.
  struct Search {
    std::int64_t budget = 0;
    PieceMatch match, best;
  };
  bool TakePiece(FoundFile* file, std::uint32_t first, Search* search) const;
  void AddPiece(FoundFile* file, const FormIndex& form, PieceMatch* match) const;
  ChecksumVerdict VerifyMatch(const FoundFile& file, const FormIndex& form, PieceMatch* match) const;
  void TakeDataFile(DataFilePtr data, FoundFile* out) const;
  void TakeList(ListFile* list, FoundFile* out) const;
  // Of a piece of SysEx.
  FormIndex FormOf(const FoundPiece& piece) const {
    return {static_cast<std::uint32_t>(piece.type - found.data()), piece.form};
  }
  bool FillNew(const FoundFile& file, const FoundPiece& piece, DataFilePtr* data) const;
  std::span<const std::uint8_t> ImageInFile(const FoundFile& file, const FoundPiece& piece) const;
};

Recognizer::Rules::Rules(const ZKStudioDoc& document) : studio(document) {
  table.Load(studio);
  for (const TypeForms& type : table.types()) {
    const ZKDrvList& driver = *type.driver;
    const Synth& synth = *driver.synth();
    found.push_back({driver.instrument ? driver.instrument->name : Latin1ToUtf8(FieldText(synth.shortName)),
                     Latin1ToUtf8(driver.TypeName()), synth.driverId, HasNames(synth), &driver});
  }
}

// The checksums of what was matched, in the image that its data will have.
ChecksumVerdict Recognizer::Rules::VerifyMatch(const FoundFile& file, const FormIndex& form, PieceMatch* match) const {
  const TypeForms& type = table.types()[form.type];
  const RecognizeRule& rule = table.Form(form);
  const RecognizeRule* verify = rule.verify.empty() ? &type.forms.front() : &rule;
  const std::vector<FileMessage>& messages = file.contents_->messages.list;
  const Synth& synth = *type.driver->synth();
  if (IsWholeMessage(rule, synth)) {
    const std::span<const std::uint8_t> image = messages[match->messages.front()].bytes;
    const auto noneIsEmpty = [](std::uint32_t) { return false; };
    if (synth.fileSize == image.size()) return VerifyImage(verify, synth, image, noneIsEmpty);
    Synth adopted = synth;
    AdoptSize(&adopted, static_cast<std::uint32_t>(image.size()));
    return VerifyImage(verify, adopted, image, noneIsEmpty);
  }
  const std::span<const std::uint8_t> initial = BodySpan(*type.driver->dataFile);
  BuildMatchBody(rule, synth, messages, initial, match);
  std::vector<bool> filled(match->slots.empty() ? 0 : synth.numVoices);
  for (const std::uint32_t slot : match->slots)
    if (slot < filled.size()) filled[slot] = true;
  const auto isEmpty = [&](std::uint32_t voice) { return synth.isBank && voice < filled.size() && !filled[voice]; };
  if (match->slots.empty()) return VerifyImage(verify, synth, match->body, isEmpty);
  std::vector<std::uint8_t> image(synth.fileSize);
  std::copy_n(initial.begin(), std::min(initial.size(), image.size()), image.begin());
  CopyFound(*match, synth, image);
  return VerifyImage(verify, synth, image, isEmpty);
}

void Recognizer::Rules::AddPiece(FoundFile* file, const FormIndex& form, PieceMatch* match) const {
  FoundFile::Contents& contents = *file->contents_;
  const std::vector<FileMessage>& messages = contents.messages.list;
  const RecognizeRule& rule = table.Form(form);
  const std::uint32_t first = match->messages.front();
  const std::uint32_t last = std::max(match->messages.back(), match->attached.empty() ? 0 : match->attached.back());
  FoundPiece piece;
  piece.offset = messages[first].offset;
  piece.length = messages[last].offset + messages[last].length - messages[first].offset;
  piece.type = &found[form.type];
  piece.badMessages = match->badMessages;
  piece.checksum = VerifyMatch(*file, form, match);
  for (const std::uint32_t i : match->messages) {
    if (!messages[i].coded) continue;
    if (messages[i].bad) ++piece.badMessages;
    if (piece.checksum != ChecksumVerdict::kBad)
      piece.checksum = messages[i].bad ? ChecksumVerdict::kBad : ChecksumVerdict::kOk;
  }
  if (rule.byAddress()) {
    if (match->badMessages)
      piece.checksum = ChecksumVerdict::kBad;
    else if (piece.checksum == ChecksumVerdict::kNone)
      piece.checksum = ChecksumVerdict::kOk;
  }
  if (LacksMessage(table, contents.messages, first, last, piece.checksum)) piece.checksum = ChecksumVerdict::kBad;
  static_assert(sizeof(FoundPiece) <= 32);
  static_assert(kMostForms <= 256);
  piece.form = static_cast<std::uint8_t>(form.form);
  piece.planned = !IsWholeMessage(rule, *found[form.type].driver->synth());
  if (piece.planned) {
    piece.place = static_cast<std::uint32_t>(contents.plans.size());
    std::vector<std::uint8_t>().swap(match->body);
    contents.plans.push_back(std::move(*match));
  } else {
    piece.place = first;
    if (match->patchNumber >= 0) piece.patchNumber = static_cast<std::uint16_t>(match->patchNumber);
    piece.channel = static_cast<std::int16_t>(match->channel);
  }
  file->pieces.push_back(piece);
}

// The best piece that begins with a message: the one that explains most bytes, then the one whose context is there,
// then the one whose type comes first.
bool Recognizer::Rules::TakePiece(FoundFile* file, std::uint32_t first, Search* search) const {
  std::vector<FileMessage>& messages = file->contents_->messages.list;
  PieceMatch& best = search->best;
  PieceMatch& match = search->match;
  best.Clear();
  const FormIndex* bestForm = nullptr;
  for (const FormIndex& index : table.Candidates(messages[first])) {
    match.Clear();
    if (!MatchRule(table.Form(index), *table.types()[index.type].driver->synth(), messages, first, &search->budget,
                   &match) ||
        match.bytes < best.bytes || (match.bytes == best.bytes && (best.context >= 0 || match.context < 0)))
      continue;
    std::swap(best, match);
    bestForm = &index;
  }
  if (!bestForm) return false;
  for (const std::uint32_t i : best.messages) messages[i].used = true;
  for (const std::uint32_t i : best.attached) messages[i].used = true;
  if (best.context >= 0) messages[static_cast<std::size_t>(best.context)].used = true;
  AddPiece(file, *bestForm, &best);
  return true;
}

void Recognizer::Rules::TakeDataFile(DataFilePtr data, FoundFile* out) const {
  if (!data || !data->synth) return;
  FoundFile::Contents& contents = *out->contents_;
  FoundType type{
      {}, Latin1ToUtf8(FieldText(data->synth->typeName)), data->synth->driverId, HasNames(*data->synth), nullptr};
  const TypeForms* forms = table.TypeOf(type.driverId);
  if (forms) type.driver = forms->driver;
  if (forms && forms->driver->instrument) type.instrument = forms->driver->instrument->name;
  if (type.instrument.empty() && data->xtra) type.instrument = Latin1ToUtf8(FieldText(data->xtra->instrumentName));
  if (type.instrument.empty()) type.instrument = Latin1ToUtf8(FieldText(data->synth->shortName));
  FoundPiece piece;
  piece.length = std::min(data->bodySize, +data->synth->fileSize);
  piece.checksum = VerifyData(forms && !forms->forms.empty() ? &forms->forms.front() : nullptr, *data);
  contents.recordTypes.push_back(std::move(type));
  piece.type = &contents.recordTypes.back();
  piece.place = static_cast<std::uint32_t>(contents.records.size());
  contents.records.push_back(std::move(data));
  out->pieces.push_back(piece);
}

void Recognizer::Rules::TakeList(ListFile* list, FoundFile* out) const {
  for (ListMember& member : list->members) {
    if (member.data)
      TakeDataFile(std::move(member.data), out);
    else if (member.list)
      TakeList(member.list.get(), out);
  }
}

// Fills the data of a piece into `*data`: new data of its type, or that of a piece of the same type.
bool Recognizer::Rules::FillNew(const FoundFile& file, const FoundPiece& piece, DataFilePtr* data) const {
  const FormIndex form = FormOf(piece);
  const TypeForms& type = table.types()[form.type];
  const RecognizeRule& rule = table.Form(form);
  const Synth& fresh = *type.driver->synth();
  const std::span<const std::uint8_t> initial = BodySpan(*type.driver->dataFile);
  const FoundFile::Contents& contents = *file.contents_;
  if (*data && (*data)->synth->driverId == fresh.driverId && (*data)->synth->fileSize == fresh.fileSize) {
    std::copy_n(initial.begin(), std::min<std::size_t>(initial.size(), (*data)->bodySize), (*data)->body);
    (*data)->synth->sysExChannel = fresh.sysExChannel;
    (*data)->synth->patchNumber = fresh.patchNumber;
  } else {
    *data = studio.GetNewDataFile(type.driver);
  }
  DataFile* made = data->get();
  if (!made || !made->body) return false;
  PieceMatch match;
  if (piece.planned) {
    match = contents.plans[piece.place];
  } else {
    match.messages = {piece.place};
    match.channel = piece.channel;
    if (piece.patchNumber != FoundPiece::kNoPatchNumber) match.patchNumber = piece.patchNumber;
  }
  BuildMatchBody(rule, fresh, contents.messages.list, initial, &match);
  const auto size = static_cast<std::uint32_t>(match.body.size());
  if (made->synth->fileSize != size) {
    if (!ResizeBody(made, size)) return false;
    AdoptSize(made->synth, size);
  }
  CopyFound(match, *made->synth, {made->body, made->bodySize});
  SetChannel(made->synth, rule.byAnswer ? ChannelInImage(*made) : match.channel);
  if (match.patchNumber >= 0) made->synth->patchNumber = static_cast<std::uint16_t>(match.patchNumber);
  if (made->xtra) made->xtra->hasNoSysEx = 0;
  MarkVoices(made, match.slots);
  return true;
}

// The image of a piece where it stands in the file; empty when its data is more than these bytes.
std::span<const std::uint8_t> Recognizer::Rules::ImageInFile(const FoundFile& file, const FoundPiece& piece) const {
  const DataFile& fresh = *piece.type->driver->dataFile;
  if (piece.planned || fresh.synth->namesSeparate) return {};
  const std::span<const std::uint8_t> image = file.contents_->messages.list[piece.place].bytes;
  // What new data holds behind its image stays there when a message of the same size is put in.
  if (image.size() == fresh.synth->fileSize && image.size() != BodySpan(fresh).size()) return {};
  return image;
}

Recognizer::Recognizer(const ZKStudioDoc& studio) : rules_(std::make_unique<Rules>(studio)) {}
Recognizer::~Recognizer() = default;

Result Recognizer::Find(std::span<const std::uint8_t> file, FoundFile* out) const {
  *out = {};
  out->contents_ = std::make_unique<FoundFile::Contents>();
  if (IsDataFile(file) || IsListFile(file)) {
    ListFile list;
    const int code = ReadListOrForm(file, {}, &list);
    if (code != kDiskOk) return Result::Failure(std::string(TrimmedView(DiskErrorText(code))), code);
    rules_->TakeList(&list, out);
    return out->pieces.empty() ? Result::Failure("The file holds no instrument data.") : Result::Success();
  }
  FileMessages& messages = out->contents_->messages;
  if (const Result split = SplitFileMessages(file, &messages); !split.ok()) return split;
  out->messages = messages.list.size();
  out->unterminated = messages.unterminated;
  out->headless = messages.headless;
  out->outsideBytes = messages.outsideBytes;
  out->realTimeBytes = messages.realTimeBytes;
  out->skippedBytes = messages.skippedBytes;
  if (messages.list.empty())
    return Result::Failure(messages.unterminated
                               ? "The file holds only unfinished SysEx messages."
                               : "The file holds no SysEx and is neither a data file nor a Standard MIDI File.");
  JoinCodedMessages(rules_->table, &messages, &out->others);
  LinkContexts(rules_->table.contexts(), &messages.list);
  Rules::Search search;
  search.budget = 64 * static_cast<std::int64_t>(messages.list.size()) + 1'000'000;
  for (std::uint32_t i = 0; i < messages.list.size(); ++i)
    if (!messages.list[i].used) {
      ReserveByProgress(&out->pieces, i, messages.list.size());
      rules_->TakePiece(out, i, &search);
    }
  for (const FileMessage& message : messages.list)
    if (!message.used) ++out->unknownMessages;
  if (out->unknownMessages) NoteUnrecognized(rules_->table, messages, &out->others);
  const auto byOffset = [](const FoundPiece& a, const FoundPiece& b) { return a.offset < b.offset; };
  if (!std::is_sorted(out->pieces.begin(), out->pieces.end(), byOffset))
    std::stable_sort(out->pieces.begin(), out->pieces.end(), byOffset);
  if (!out->pieces.empty()) return Result::Success();
  if (out->others.empty()) return Result::Failure("No data of an installed instrument is in the file.");
  std::string found;
  for (const std::string& other : out->others) found += (found.empty() ? "" : ", ") + other;
  return Result::Failure("The file holds no data that could be kept, only " + found + ".");
}

bool Recognizer::Remake(FoundFile& found, const FoundPiece& piece, DataFilePtr* data) const {
  FoundFile::Contents& contents = *found.contents_;
  if (!contents.records.empty()) {
    *data = std::move(contents.records[piece.place]);
    return *data != nullptr;
  }
  if (rules_->FillNew(found, piece, data)) return true;
  data->reset();
  return false;
}

DataFilePtr Recognizer::Make(FoundFile& found, const FoundPiece& piece) const {
  DataFilePtr data;
  Remake(found, piece, &data);
  return data;
}

DataFilePtr Recognizer::MakeNew(const ZKDrvList& driver) const {
  return rules_->studio.GetNewDataFile(&driver);
}

void Recognizer::Seal(DataFile* data) const {
  const TypeForms* type = rules_->table.TypeOf(data->synth->driverId);
  if (!type || type->forms.empty() || type->forms.front().byAnswer) return;
  const std::span<std::uint8_t> image(data->body, std::min(data->bodySize, +data->synth->fileSize));
  FillFrame(type->forms.front(), *data->synth, image);
  StoreChecksums(type->forms.front(), *data->synth, image);
}

Result Recognizer::Recognize(std::span<const std::uint8_t> file, Recognition* out) const {
  *out = {};
  FoundFile found;
  const Result result = Find(file, &found);
  for (const FoundPiece& piece : found.pieces) {
    RecognizedPiece made{piece.offset,         piece.length,   piece.type->instrument, piece.type->dataType,
                         piece.type->driverId, piece.checksum, Make(found, piece),     piece.badMessages};
    if (!made.data) return Result::Failure("There is not enough memory for all the data of the file.");
    out->pieces.push_back(std::move(made));
  }
  static_cast<FileFindings&>(*out) = std::move(found);
  return result;
}

ChecksumVerdict Recognizer::Verify(const DataFile& data) const {
  if (!data.synth || !data.body) return ChecksumVerdict::kNone;
  const TypeForms* type = rules_->table.TypeOf(data.synth->driverId);
  return VerifyData(type && !type->forms.empty() ? &type->forms.front() : nullptr, data);
}

bool Recognizer::VisitPatches(FoundFile& found, const FoundPiece& piece, const PatchVisitor& visit) const {
  FoundFile::Contents& contents = *found.contents_;
  if (!contents.records.empty()) {
    if (!Remake(found, piece, &contents.listed)) return false;
    PatchNumbers numbers;
    ListPatches(*contents.listed, rules_->table, &numbers, visit);
    contents.listed.reset();
    return true;
  }
  const FormIndex form = rules_->FormOf(piece);
  TypeListing& listing = contents.listings[form.type];
  const std::span<const std::uint8_t> image = rules_->ImageInFile(found, piece);
  if (image.empty()) {
    if (!Remake(found, piece, &contents.listed)) return false;
    ListPatches(*contents.listed, rules_->table, &listing.numbers, visit);
    return true;
  }
  const Synth& fresh = *rules_->table.types()[form.type].driver->synth();
  if (listing.size != image.size()) {
    listing.size = static_cast<std::uint32_t>(image.size());
    listing.synth = fresh;
    if (fresh.fileSize != listing.size) AdoptSize(&listing.synth, listing.size);
    listing.layout = ValidateSynth(listing.synth, image.size());
  }
  const std::uint16_t number = piece.patchNumber == FoundPiece::kNoPatchNumber ? fresh.patchNumber : piece.patchNumber;
  ListPatchesOfImage(listing.synth, listing.layout, image, number, rules_->table, &listing.numbers, visit);
  return true;
}

std::vector<PatchLine> Recognizer::Patches(const DataFile& data) const {
  std::vector<PatchLine> lines;
  PatchNumbers numbers;
  ListPatches(data, rules_->table, &numbers, [&lines](const PatchView& patch) {
    lines.push_back({patch.slot, std::string(patch.number), std::string(patch.name)});
  });
  return lines;
}

std::span<const RecognizeRule> Recognizer::FormsOf(int driverId) const {
  const TypeForms* type = rules_->table.TypeOf(driverId);
  return type ? std::span<const RecognizeRule>(type->forms) : std::span<const RecognizeRule>();
}

const ZKDrvList* Recognizer::DriverOf(int driverId) const {
  const TypeForms* type = rules_->table.TypeOf(driverId);
  return type ? type->driver : nullptr;
}

const std::vector<std::string>& Recognizer::problems() const {
  return rules_->table.problems();
}

}  // namespace tonalith
