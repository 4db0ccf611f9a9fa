#include "studio/recognize.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <map>

#include "data/container.h"
#include "data/patch_names.h"
#include "data/standard_midi_file.h"
#include "data/sysex_split.h"
#include "platform/byte_window.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "studio/coded_messages.h"
#include "studio/recognize_match.h"
#include "studio/recognize_rules.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

// Shorter messages are requests, acknowledgements, parameters.
constexpr std::size_t kShortestData = 16;

struct TypeForms {
  const ZKDrvList* driver = nullptr;
  std::vector<RecognizeRule> forms;
};

// A message that is no data: a parameter change, a button.
struct OtherMessage {
  std::string what;  // "parameter changes of ..."
  BytePattern pattern;
};

struct FormIndex {
  std::uint32_t type = 0;
  std::uint32_t form = 0;
};

// Bytes that begin like a message or end like one.
struct TornMessage {
  std::size_t offset = 0;
  std::size_t size = 0;
};

// The messages of a file with the bytes that had to be copied.
struct FileMessages {
  std::vector<FileMessage> list;
  std::deque<std::vector<std::uint8_t>> copies;
  SmfContents smf;
  std::size_t unterminated = 0;
  std::size_t headless = 0;
  std::size_t outsideBytes = 0;
  std::size_t realTimeBytes = 0;
  std::vector<TornMessage> damage;  // where messages without end or beginning stand, in order
};

void SplitRawStream(std::span<const std::uint8_t> file, FileMessages* out) {
  SysExSplitter splitter(file);
  SysExPiece piece;
  std::size_t at = 0;
  const auto skipTo = [&](std::size_t next) {
    const auto gap = file.subspan(at, next - at);
    out->outsideBytes += gap.size();
    const auto end = std::adjacent_find(
        gap.begin(), gap.end(), [](std::uint8_t byte, std::uint8_t after) { return byte < 0x80 && after == 0xF7; });
    if (end == gap.end()) return;
    ++out->headless;
    out->damage.push_back({at, gap.size()});
  };
  while (splitter.Next(&piece)) {
    skipTo(piece.offset);
    at = piece.offset + piece.bytes.size();
    if (!piece.isTerminated) {
      ++out->unterminated;
      out->damage.push_back({piece.offset, piece.bytes.size()});
      continue;
    }
    FileMessage message{piece.offset, piece.bytes.size(), piece.bytes, false};
    if (piece.hasRealTime) {
      out->copies.push_back(CleanSysEx(piece));
      message.bytes = out->copies.back();
      out->realTimeBytes += piece.bytes.size() - message.bytes.size();
    }
    if (message.bytes.size() >= 3) out->list.push_back(message);
  }
  skipTo(file.size());
}

Result SplitSmf(std::span<const std::uint8_t> file, FileMessages* out) {
  std::string error;
  if (!ReadSmfSysEx(file, &out->smf, &error)) return Result::Failure(error);
  for (const SmfSysEx& event : out->smf.messages) {
    if (!event.isTerminated) {
      ++out->unterminated;
      continue;
    }
    if (event.bytes.size() >= 3)
      out->list.push_back({event.fileOffset, event.bytes.size(), std::span<const std::uint8_t>(event.bytes), false});
  }
  return Result::Success();
}

// Marks every voice of a bank as empty but those in `slots`.
void MarkVoices(DataFile* data, const std::vector<std::uint32_t>& slots) {
  if (!data->emptyMap) return;
  for (std::uint32_t i = 0; i < data->synth->numVoices; ++i)
    SetMapBit(data->emptyMap, data->emptyMapSize, i, !slots.empty());
  for (const std::uint32_t slot : slots) SetMapBit(data->emptyMap, data->emptyMapSize, slot, false);
}

// Gives data of a type without fixed size the size of what was found.
void AdoptSize(DataFile* data, std::uint32_t size) {
  Synth* synth = data->synth;
  if (synth->fileSize == size || !ResizeBody(data, size)) return;
  synth->fileSize = size;
  if (synth->numVoices > 1 || synth->headerSize >= size) return;
  synth->voiceSize = size - synth->headerSize;
  synth->voiceBytes = synth->voiceSize;
}

// Puts what was found into new data; voices that were not found stay as the driver's initial image has them.
void CopyFound(const PieceMatch& match, DataFile* data) {
  const Synth& synth = *data->synth;
  const std::size_t size = std::min<std::size_t>(match.body.size(), data->bodySize);
  const auto copy = [&](std::size_t from, std::size_t count) {
    if (from < size) std::copy_n(match.body.data() + from, std::min(count, size - from), data->body + from);
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

// A data file of any kind: also one whose descriptor does not come first, and one in the old byte order.
bool IsDataFile(std::span<const std::uint8_t> file) {
  if (file.size() < 12) return false;
  const std::uint32_t id = LoadBe32(file.data());
  return id == ChunkId("FORM") || id == ChunkId("MROF") || id == ChunkId("PROP");
}

bool VoiceIsEmpty(const DataFile& data, std::uint32_t voice) {
  return data.synth->isBank && data.emptyMap && MapBit(data.emptyMap, data.emptyMapSize, voice);
}

}  // namespace

struct Recognizer::Rules {
  const ZKStudioDoc& studio;
  std::vector<TypeForms> types;
  std::array<std::vector<FormIndex>, 256> byMaker;  // by the second byte of a message
  std::vector<OtherMessage> others;
  std::vector<std::pair<std::string, CodedMessages>> codings;  // with the instrument's name
  std::vector<std::string> problems;

  explicit Rules(const ZKStudioDoc& document) : studio(document) {}

  void Load();
  void LoadDriver(const ZKDrvList* driver, const IniFile& ini);
  void LoadOthers(const ZKDrvList& instrument, const IniFile& ini);
  void NoteOthers(const FileMessages& file, Recognition* out) const;
  void JoinCodedMessages(FileMessages* file, Recognition* out) const;
  bool HasWrongLength(const FileMessage& message, FormIndex* form) const;
  bool LacksMessage(const FileMessages& file, std::uint32_t first, std::uint32_t last, ChecksumVerdict verdict) const;
  void NoteWrongLengths(const FileMessages& file, Recognition* out) const;
  const TypeForms* TypeOf(int driverId) const {
    for (const TypeForms& type : types)
      if (type.driver->synth()->driverId == driverId) return &type;
    return nullptr;
  }
  ChecksumVerdict VerifyWith(const RecognizeRule* rule, const DataFile& data) const;
  bool TakePiece(FileMessages* file, std::uint32_t first, std::int64_t* budget, Recognition* out) const;
  RecognizedPiece MakePiece(const TypeForms& type, const RecognizeRule& rule, const FileMessages& file,
                            PieceMatch match) const;
  void TakeDataFile(DataFilePtr data, Recognition* out) const;
  void TakeList(ListFile* list, Recognition* out) const;
};

void Recognizer::Rules::Load() {
  for (const auto& instrument : studio.instruments()) {
    const IniFile ini(instrument->GetIniPath().string());
    LoadOthers(*instrument, ini);
    std::string problem;
    if (auto coding = ReadCodedMessages(ini, &problem)) codings.emplace_back(instrument->name, std::move(*coding));
    if (!problem.empty()) problems.push_back(instrument->moduleFile + ": [Coded Messages]: " + problem);
    for (const auto& driver : instrument->drivers)
      if (driver->synth()) LoadDriver(driver.get(), ini);
  }
}

void Recognizer::Rules::LoadOthers(const ZKDrvList& instrument, const IniFile& ini) {
  for (const auto& [what, pattern] : ini.Entries("Other Messages")) {
    OtherMessage message{what + " of the " + instrument.name, {}};
    std::string error;
    if (ParseBytePattern(pattern, &message.pattern, &error))
      others.push_back(std::move(message));
    else
      problems.push_back(instrument.moduleFile + ": [Other Messages]: " + error);
  }
}

// Data in pieces of coded text becomes one message; what else belongs to such an exchange goes with it.
void Recognizer::Rules::JoinCodedMessages(FileMessages* file, Recognition* out) const {
  for (const auto& [instrument, coding] : codings) {
    CodedAssembler assembler(coding);
    std::vector<FileMessage> kept;
    std::size_t last = 0;  // of the messages put together, from 1
    std::size_t begin = 0;
    bool began = false;
    for (const FileMessage& message : file->list) {
      std::vector<std::uint8_t> whole;
      bool bad = false;
      if (!assembler.Add(message.bytes, &whole, &bad)) {
        kept.push_back(message);
        continue;
      }
      const std::size_t end = message.offset + message.length;
      if (whole.empty() && !assembler.collecting() && last && last == kept.size()) {
        kept.back().length = end - kept.back().offset;
        continue;
      }
      if (!began) begin = message.offset;
      began = whole.empty();
      if (began) continue;
      file->copies.push_back(std::move(whole));
      kept.push_back({begin, end - begin, file->copies.back(), false, true, bad});
      last = kept.size();
    }
    file->list = std::move(kept);
    if (assembler.lost())
      out->others.push_back(std::to_string(assembler.lost()) + " pieces of unfinished data of the " + instrument);
  }
}

void Recognizer::Rules::NoteOthers(const FileMessages& file, Recognition* out) const {
  std::vector<std::size_t> counts(others.size());
  for (const FileMessage& message : file.list) {
    if (message.used) continue;
    const auto known = std::find_if(others.begin(), others.end(), [&](const OtherMessage& other) {
      return message.bytes.size() == other.pattern.size() && other.pattern.Matches(message.bytes);
    });
    if (known != others.end()) ++counts[static_cast<std::size_t>(known - others.begin())];
  }
  for (std::size_t i = 0; i < counts.size(); ++i)
    if (counts[i]) out->others.push_back(std::to_string(counts[i]) + " " + others[i].what);
}

// The type and form of data that begins as this message does but has another length.  Short beginnings say too little.
bool Recognizer::Rules::HasWrongLength(const FileMessage& message, FormIndex* form) const {
  constexpr std::size_t kTelling = 5;
  if (message.bytes.size() < kShortestData) return false;
  std::size_t longest = kTelling - 1;
  for (const FormIndex& index : byMaker[message.bytes[1]]) {
    const RecognizeRule& rule = types[index.type].forms[index.form];
    if (rule.byAddress()) continue;
    const MessageRule& first = rule.messages.front();
    if (!first.pattern.Matches(message.bytes)) continue;
    // Data of this length begins so as well: it lacks something else.
    if (first.length == 0 || first.length == message.bytes.size()) return false;
    if (first.pattern.size() <= longest) continue;
    longest = first.pattern.size();
    *form = index;
  }
  return longest >= kTelling;
}

void Recognizer::Rules::NoteWrongLengths(const FileMessages& file, Recognition* out) const {
  constexpr std::size_t kMostNotes = 8;
  std::map<std::string, int> notes;
  for (const FileMessage& message : file.list) {
    FormIndex index;
    if (message.used || !HasWrongLength(message, &index)) continue;
    const TypeForms& type = types[index.type];
    const std::string& name = type.driver->instrument ? type.driver->instrument->name : type.driver->name;
    ++notes[Latin1ToUtf8(type.driver->TypeName()) + " of the " + name + " with " +
            std::to_string(message.bytes.size()) + " in place of " +
            std::to_string(type.forms[index.form].messages.front().length) + " bytes"];
    if (notes.size() >= kMostNotes) break;
  }
  for (const auto& [note, count] : notes) out->others.push_back(std::to_string(count) + " " + note);
}

void Recognizer::Rules::LoadDriver(const ZKDrvList* driver, const IniFile& ini) {
  const Synth& synth = *driver->synth();
  TypeForms type{driver, {}};
  for (int form = 0; form < 32; ++form) {
    char section[40];
    if (form == 0)
      std::snprintf(section, sizeof section, "Recognize %d", synth.driverId);
    else
      std::snprintf(section, sizeof section, "Recognize %d.%d", synth.driverId, form);
    const auto entries = ini.Entries(section);
    if (entries.empty()) break;
    RecognizeRule rule;
    const Result result = ParseRecognizeRule(entries, synth, &rule);
    if (!result.ok()) {
      problems.push_back(driver->moduleFile + ": [" + section + "]: " + result.text);
      continue;
    }
    type.forms.push_back(std::move(rule));
  }
  for (std::size_t i = 0; i < type.forms.size(); ++i) {
    const RecognizeRule& rule = type.forms[i];
    const BytePattern& pattern = rule.byAddress() ? rule.address : rule.messages.front().pattern;
    for (unsigned maker = 0; maker < 256; ++maker)
      if ((maker & pattern.mask[1]) == pattern.value[1])
        byMaker[maker].push_back({static_cast<std::uint32_t>(types.size()), static_cast<std::uint32_t>(i)});
  }
  types.push_back(std::move(type));
}

ChecksumVerdict Recognizer::Rules::VerifyWith(const RecognizeRule* rule, const DataFile& data) const {
  const Synth& synth = *data.synth;
  const std::span<const std::uint8_t> body = BodySpan(data).first(std::min<std::size_t>(data.bodySize, synth.fileSize));
  if (!rule || rule->verify.empty()) return VerifyChecksum(synth, body);
  ChecksumVerdict verdict = ChecksumVerdict::kNone;
  for (const VerifyRule& v : rule->verify) {
    const bool perVoice = v.times == synth.numVoices && v.step == synth.voiceSize;
    for (std::uint32_t i = 0; i < v.times; ++i) {
      if (perVoice && VoiceIsEmpty(data, i)) continue;
      const std::int64_t shift = std::int64_t{v.step} * i;
      const auto stored = static_cast<std::size_t>(v.offset + shift);
      if (v.always >= 0 && stored < body.size() && body[stored] == v.always) {
        verdict = ChecksumVerdict::kOk;
        continue;
      }
      const ChecksumVerdict one =
          VerifyChecksum(body, static_cast<int>(v.type), v.start + shift, v.count, v.offset + shift);
      if (one == ChecksumVerdict::kBad) return one;
      if (one == ChecksumVerdict::kOk) verdict = one;
    }
  }
  return verdict;
}

// A message between the messages of a piece that lost an end or its beginning, or that has a wrong length, is missing
// from the piece.  Short ones may belong to the exchange that moved data without checksums.
bool Recognizer::Rules::LacksMessage(const FileMessages& file, std::uint32_t first, std::uint32_t last,
                                     ChecksumVerdict verdict) const {
  const std::size_t smallest = verdict == ChecksumVerdict::kOk ? 0 : kShortestData;
  auto torn = std::lower_bound(file.damage.begin(), file.damage.end(), file.list[first].offset,
                               [](const TornMessage& one, std::size_t offset) { return one.offset < offset; });
  for (; torn != file.damage.end() && torn->offset < file.list[last].offset; ++torn)
    if (torn->size >= smallest) return true;
  FormIndex ignored;
  for (std::uint32_t i = first; i < last; ++i)
    if (!file.list[i].used && HasWrongLength(file.list[i], &ignored)) return true;
  return false;
}

RecognizedPiece Recognizer::Rules::MakePiece(const TypeForms& type, const RecognizeRule& rule, const FileMessages& file,
                                             PieceMatch match) const {
  RecognizedPiece piece;
  const FileMessage& firstMessage = file.list[match.messages.front()];
  const std::uint32_t last = match.attached.empty() ? 0 : match.attached.back();
  const FileMessage& lastMessage = file.list[std::max(match.messages.back(), last)];
  piece.offset = firstMessage.offset;
  piece.length = lastMessage.offset + lastMessage.length - firstMessage.offset;
  piece.badMessages = match.badMessages;
  piece.data = studio.GetNewDataFile(type.driver);
  if (!piece.data || !piece.data->body) return piece;
  BuildMatchBody(rule, *type.driver->synth(), file.list, BodySpan(*piece.data), &match);
  DataFile* data = piece.data.get();
  AdoptSize(data, static_cast<std::uint32_t>(match.body.size()));
  CopyFound(match, data);
  SetChannel(data->synth, match.channel);
  if (match.patchNumber >= 0) data->synth->patchNumber = static_cast<std::uint16_t>(match.patchNumber);
  if (data->xtra) data->xtra->hasNoSysEx = 0;
  MarkVoices(data, match.slots);
  const RecognizeRule* verify = rule.verify.empty() ? &type.forms.front() : &rule;
  piece.checksum = VerifyWith(verify, *data);
  for (const std::uint32_t i : match.messages) {
    if (!file.list[i].coded) continue;
    if (file.list[i].bad) ++piece.badMessages;
    if (piece.checksum != ChecksumVerdict::kBad)
      piece.checksum = file.list[i].bad ? ChecksumVerdict::kBad : ChecksumVerdict::kOk;
  }
  if (rule.byAddress()) {
    if (match.badMessages)
      piece.checksum = ChecksumVerdict::kBad;
    else if (piece.checksum == ChecksumVerdict::kNone)
      piece.checksum = ChecksumVerdict::kOk;
  }
  if (LacksMessage(file, match.messages.front(), std::max(match.messages.back(), last), piece.checksum))
    piece.checksum = ChecksumVerdict::kBad;
  return piece;
}

// The best piece that begins with a message: the one that explains most bytes, then the one whose context is there,
// then the one whose type comes first.
bool Recognizer::Rules::TakePiece(FileMessages* file, std::uint32_t first, std::int64_t* budget,
                                  Recognition* out) const {
  const FileMessage& message = file->list[first];
  PieceMatch best;
  const TypeForms* bestType = nullptr;
  const RecognizeRule* bestRule = nullptr;
  for (const FormIndex& index : byMaker[message.bytes[1]]) {
    const TypeForms& type = types[index.type];
    const RecognizeRule& rule = type.forms[index.form];
    PieceMatch match;
    if (!MatchRule(rule, *type.driver->synth(), file->list, first, budget, &match) || match.bytes < best.bytes ||
        (match.bytes == best.bytes && (best.context >= 0 || match.context < 0)))
      continue;
    best = std::move(match);
    bestType = &type;
    bestRule = &rule;
  }
  if (!bestType) return false;
  for (const std::uint32_t i : best.messages) file->list[i].used = true;
  for (const std::uint32_t i : best.attached) file->list[i].used = true;
  if (best.context >= 0) file->list[static_cast<std::size_t>(best.context)].used = true;
  RecognizedPiece piece = MakePiece(*bestType, *bestRule, *file, std::move(best));
  if (!piece.data) return false;
  const ZKDrvList* driver = bestType->driver;
  piece.instrument =
      driver->instrument ? driver->instrument->name : Latin1ToUtf8(FieldText(driver->synth()->shortName));
  piece.dataType = Latin1ToUtf8(driver->TypeName());
  piece.driverId = driver->synth()->driverId;
  out->pieces.push_back(std::move(piece));
  return true;
}

void Recognizer::Rules::TakeDataFile(DataFilePtr data, Recognition* out) const {
  if (!data || !data->synth) return;
  RecognizedPiece piece;
  piece.length = std::min<std::size_t>(data->bodySize, data->synth->fileSize);
  piece.dataType = Latin1ToUtf8(FieldText(data->synth->typeName));
  piece.driverId = data->synth->driverId;
  const TypeForms* type = TypeOf(piece.driverId);
  if (type && type->driver->instrument) piece.instrument = type->driver->instrument->name;
  if (piece.instrument.empty() && data->xtra) piece.instrument = Latin1ToUtf8(FieldText(data->xtra->instrumentName));
  if (piece.instrument.empty()) piece.instrument = Latin1ToUtf8(FieldText(data->synth->shortName));
  piece.checksum = VerifyWith(type && !type->forms.empty() ? &type->forms.front() : nullptr, *data);
  piece.data = std::move(data);
  out->pieces.push_back(std::move(piece));
}

void Recognizer::Rules::TakeList(ListFile* list, Recognition* out) const {
  for (ListMember& member : list->members) {
    if (member.data)
      TakeDataFile(std::move(member.data), out);
    else if (member.list)
      TakeList(member.list.get(), out);
  }
}

Recognizer::Recognizer(const ZKStudioDoc& studio) : rules_(std::make_unique<Rules>(studio)) {
  rules_->Load();
}
Recognizer::~Recognizer() = default;

Result Recognizer::Recognize(std::span<const std::uint8_t> file, Recognition* out) const {
  *out = {};
  if (IsDataFile(file) || IsListFile(file)) {
    ListFile list;
    const int code = ReadListOrForm(file, {}, &list);
    if (code != kDiskOk) return Result::Failure(std::string(TrimmedView(DiskErrorText(code))), code);
    rules_->TakeList(&list, out);
    return out->pieces.empty() ? Result::Failure("The file holds no instrument data.") : Result::Success();
  }
  FileMessages messages;
  if (IsStandardMidiFile(file)) {
    const Result result = SplitSmf(file, &messages);
    if (!result.ok()) return result;
  } else {
    SplitRawStream(file, &messages);
  }
  out->messages = messages.list.size();
  out->unterminated = messages.unterminated;
  out->headless = messages.headless;
  out->outsideBytes = messages.outsideBytes;
  out->realTimeBytes = messages.realTimeBytes;
  if (messages.list.empty())
    return Result::Failure(messages.unterminated
                               ? "The file holds only unfinished SysEx messages."
                               : "The file holds no SysEx and is neither a data file nor a Standard MIDI File.");
  rules_->JoinCodedMessages(&messages, out);
  std::int64_t budget = 64 * static_cast<std::int64_t>(messages.list.size()) + 1'000'000;
  for (std::uint32_t i = 0; i < messages.list.size(); ++i)
    if (!messages.list[i].used) rules_->TakePiece(&messages, i, &budget, out);
  for (const FileMessage& message : messages.list)
    if (!message.used) ++out->unknownMessages;
  rules_->NoteOthers(messages, out);
  rules_->NoteWrongLengths(messages, out);
  std::stable_sort(out->pieces.begin(), out->pieces.end(),
                   [](const RecognizedPiece& a, const RecognizedPiece& b) { return a.offset < b.offset; });
  if (!out->pieces.empty()) return Result::Success();
  if (out->others.empty()) return Result::Failure("No data of an installed instrument is in the file.");
  std::string found;
  for (const std::string& other : out->others) found += (found.empty() ? "" : ", ") + other;
  return Result::Failure("The file holds no data that could be kept, only " + found + ".");
}

ChecksumVerdict Recognizer::Verify(const DataFile& data) const {
  if (!data.synth || !data.body) return ChecksumVerdict::kNone;
  const TypeForms* type = rules_->TypeOf(data.synth->driverId);
  return rules_->VerifyWith(type && !type->forms.empty() ? &type->forms.front() : nullptr, data);
}

std::vector<PatchLine> Recognizer::Patches(const DataFile& data) const {
  std::vector<PatchLine> lines;
  if (!data.synth || !data.body) return lines;
  const VoiceLayout layout = LayoutOf(data);
  for (std::uint32_t i = 0; i < layout.numVoices; ++i) {
    if (layout.numVoices > 1 && VoiceIsEmpty(data, i)) continue;
    PatchLine line;
    line.slot = static_cast<int>(i);
    line.number = MakeNumberStr(*data.synth, line.slot);
    line.name = GetPatchName(data, line.slot);
    lines.push_back(std::move(line));
  }
  if (layout.numVoices != 1 || lines.empty()) return lines;
  const TypeForms* type = rules_->TypeOf(data.synth->driverId);
  const int bankId = type && !type->forms.empty() ? type->forms.front().numberAs : -1;
  const TypeForms* bank = bankId >= 0 ? rules_->TypeOf(bankId) : nullptr;
  if (!bank) return lines;
  int slot = data.synth->patchNumber;
  for (const RecognizeRule& form : bank->forms)
    if (form.hasSlots) {
      slot -= static_cast<int>(form.slotFirst);
      break;
    }
  // Numbers beyond a bank are those of the banks that follow.
  for (int voices = static_cast<int>(bank->driver->synth()->numVoices); bank != type && slot >= voices;
       slot -= voices) {
    const TypeForms* next = rules_->TypeOf(bank->driver->synth()->driverId + 1);
    if (!next || static_cast<int>(next->driver->synth()->numVoices) != voices) break;
    bank = next;
  }
  if (slot >= 0 && (bank == type || slot < static_cast<int>(bank->driver->synth()->numVoices)))
    lines.front().number = MakeNumberStr(*bank->driver->synth(), slot);
  return lines;
}

const std::vector<std::string>& Recognizer::problems() const {
  return rules_->problems;
}

}  // namespace tonalith
