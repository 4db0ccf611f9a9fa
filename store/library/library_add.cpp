#include "store/library/library_add.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "data/patch_texts.h"
#include "platform/log.h"
#include "platform/text.h"
#include "services/transfer_sentences.h"
#include "store/entry_state.h"
#include "store/library/keyword_file.h"
#include "store/patch_exchange.h"

namespace tonalith {

namespace {

constexpr char kNoMemory[] = "There is not enough memory.";
constexpr int kPlaceSlot = 6, kFileSlot = 7;  // of the keywords

std::string_view SoundOf(const DataFile& data) {
  const RawRange range = VoiceRange(data, 0);
  return {reinterpret_cast<const char*>(data.body) + range.first, data.body ? range.size : 0};
}

std::size_t PrintOfSound(const DataFile& data) {
  return std::hash<std::string_view>()(SoundOf(data));
}

std::string MakerAndType(const DataFile& data) {
  return Latin1ToUtf8(FieldText(data.synth->shortName) + " " + FieldText(data.synth->typeName));
}

// What a bank keeps once for all of its patches.
void TakeTextsOfBank(const DataFile& bank, DataFile* patch) {
  if (PatchTextBytes(bank, PatchText::Comment, 1).empty() && EntryText(*patch, LibraryColumn::Comment).empty())
    SetEntryText(patch, LibraryColumn::Comment, GetPatchText(bank, PatchText::Comment, 0));
  if (!PatchKeywordSlots(bank, 1) && GetPatchKeywords(*patch, 0).empty())
    SetPatchKeywords(patch, 0, GetPatchKeywords(bank, 0));
}

}  // namespace

LibraryDecision DecideWithoutAsking(const LibraryQuestion& question) {
  return {question.sameSound ? LibraryAnswer::Skip : LibraryAnswer::AddUnique};
}

LibraryAdder::LibraryAdder(ZKLibDoc& library, LibraryAddOptions options, const std::string& name)
    : library_(library), options_(std::move(options)), change_(library.history(), name) {
  for (const EntryId entry : library_.Order()) {
    names_.emplace(library_.NameOf(entry), entry);
    sounds_.emplace(PrintOfSound(*library_.Data(entry)), entry);
  }
}

LibraryAdder::~LibraryAdder() = default;

bool LibraryAdder::Finish() {
  if (!change_.Commit()) return false;
  // Tells everybody, once.
  library_.ChangeTogether("Add", [] {});
  return true;
}

void LibraryAdder::Note(const std::string& latin1Name, bool added, std::string note) {
  outcomes_.push_back({Latin1ToUtf8(latin1Name), added, std::move(note)});
}

std::filesystem::path LibraryAdder::FolderOf(const DataFile& data) const {
  return options_.moduleFolder ? options_.moduleFolder(data.synth->driverId) : std::filesystem::path();
}

std::string LibraryAdder::CreateUniqueName(const std::string& name) const {
  const std::size_t length = library_.NameLength();
  std::string candidate = name.substr(0, length);
  for (int n = 1;; ++n) {
    const std::string number = std::to_string(n);
    if (number.size() > length) return candidate;
    candidate.resize(length, ' ');
    candidate.replace(length - number.size(), number.size(), number);
    if (!names_.contains(candidate)) return candidate;
  }
}

bool LibraryAdder::RenameTo(DataFile* patch, const std::string& latin1, std::string* name, std::string* note) const {
  if (!SetEntryText(patch, LibraryColumn::Name, latin1)) return false;
  *name = EntryText(*patch, LibraryColumn::Name);
  *note = "There is a patch of that name; it is called \"" + Latin1ToUtf8(*name) + "\" here.";
  return true;
}

// False: all is cancelled.
bool LibraryAdder::Decide(DataFile* patch, std::string* name, std::string* note, bool* wanted) {
  const auto [first, last] = sounds_.equal_range(PrintOfSound(*patch));
  const auto sounds = [&](EntryId entry) { return SoundOf(*library_.Data(entry)) == SoundOf(*patch); };
  const bool named = names_.contains(*name);
  *wanted = true;
  switch (options_.mode) {
    case LibraryAddMode::Everything:
      return true;
    case LibraryAddMode::UniqueSound:
      *wanted = std::none_of(first, last, [&](const auto& row) { return sounds(row.second); });
      if (!*wanted) *note = "Patch not added to library - data identical";
      return true;
    case LibraryAddMode::UniqueName:
      *wanted = !named;
      if (named) *note = "Patch not added to library - name is not unique";
      return true;
    default:
      break;
  }
  if (!named) return true;
  LibraryQuestion question;
  const bool identical = options_.mode == LibraryAddMode::AskIdentical;
  question.name = Latin1ToUtf8(*name);
  question.text = std::string(identical ? "An identical Patch named \"" : "A Patch named \"") + question.name +
                  "\" already exists in " +
                  Latin1ToUtf8(std::string(TrimmedView(ZKLibDoc::LibType(*library_.driver())))) +
                  "!\nContinue to add to Library?";
  question.unique = Latin1ToUtf8(CreateUniqueName(*name));
  question.sameSound = std::any_of(
      first, last, [&](const auto& row) { return sounds(row.second) && library_.NameOf(row.second) == *name; });
  const LibraryDecision decision = options_.ask(question);
  switch (decision.answer) {
    case LibraryAnswer::CancelAll:
      *wanted = false;
      *note = "Cancelled.";
      return false;
    case LibraryAnswer::Skip:
      *wanted = false;
      *note = question.sameSound ? "A patch of that name with the same data is in the Library."
                                 : "A patch of that name is in the Library.";
      return true;
    case LibraryAnswer::AddUnique:
      RenameTo(patch, CreateUniqueName(*name), name, note);
      return true;
    case LibraryAnswer::AddEdited:
      RenameTo(patch, Utf8ToLatin1(decision.name), name, note);
      return true;
    default:
      return true;
  }
}

// Of the Library's type, and nobody else's.
bool LibraryAdder::AddPatch(DataFilePtr patch) {
  std::string name = EntryText(*patch, LibraryColumn::Name);
  if (library_.NameLength() > 0 && patch->synth->namesSeparate == 0 && TrimmedView(name).empty()) {
    ++unnamed_;
    return true;
  }
  if (options_.keywords) options_.keywords->ZKLibAnalyseName(patch.get(), name);
  const std::string given = name;
  std::string note;
  bool wanted = true;
  const bool goesOn = Decide(patch.get(), &name, &note, &wanted);
  if (!wanted) {
    if (options_.mode == LibraryAddMode::UniqueSound || options_.mode == LibraryAddMode::UniqueName)
      MonitorMsg("%s", note.c_str());
    Note(given, false, std::move(note));
    return goesOn;
  }
  const std::size_t print = PrintOfSound(*patch);
  const EntryId entry = library_.Add(std::move(patch));
  if (entry == 0) {
    Note(given, false, library_.IsBusy() ? library_.BusyReason() : kNoMemory);
    return false;
  }
  names_.emplace(name, entry);
  sounds_.emplace(print, entry);
  added_.push_back(entry);
  Note(given, true, std::move(note));
  return goesOn;
}

bool LibraryAdder::LibAddDataFileTest(const DataFile& data) {
  const DataFile* driver = library_.driver();
  const std::string name = data.synth ? EntryText(data, LibraryColumn::Name) : std::string();
  if (!driver || !data.synth) return true;
  if (StateOfEntry(data).content != EntryContent::kDefined) {
    Note(name, false, "The " + TransferTitle(data) + " holds nothing yet.");
    return true;
  }
  const bool sameType = data.synth->driverId == driver->synth->driverId;
  DataFilePtr patch(DupForUser(sameType ? &data : driver));
  if (!patch || !AddDataFileComponents(patch.get(), 0)) {
    Note(name, false, kNoMemory);
    return false;
  }
  if (!sameType) {
    const DataFilePtr copy(DupForUser(&data));
    const bool converted = copy && data.synth->manufacturerId == driver->synth->manufacturerId &&
                           TakePatch(*copy, 0, patch.get(), FolderOf(data)).ok();
    if (!converted) {
      Note(name, false, "The " + MakerAndType(data) + " SysEx is incompatible with this Library!");
      return true;
    }
    SetEntryTime(patch.get(), EntryTime(data));
  }
  if (patch->xtra) patch->xtra->hasNoSysEx = patch->xtra->isInactive = patch->xtra->hiddenInLibrary = 0;
  return AddPatch(std::move(patch));
}

bool LibraryAdder::LibAddBank(const DataFile& bank, const std::string& fileName) {
  const DataFile* driver = library_.driver();
  if (!driver || !bank.synth) return true;
  if (bank.synth->manufacturerId != driver->synth->manufacturerId) {
    Note(FieldText(bank.synth->typeName), false, "Bank and Patch SysEx are not from the same Company!");
    return true;
  }
  // Conversions want a record that they may write to.
  const DataFilePtr source(DupForUser(&bank));
  const std::filesystem::path folder = FolderOf(bank);
  for (std::uint32_t place = 0; source && place < bank.synth->numVoices; ++place) {
    if (MapBit(bank.emptyMap, bank.emptyMapSize, place)) continue;
    DataFilePtr patch(DupForUser(driver));
    if (!patch || !AddDataFileComponents(patch.get(), 0)) {
      Note(FieldText(bank.synth->typeName), false, kNoMemory);
      return false;
    }
    if (Result taken = TakePatch(*source, static_cast<int>(place), patch.get(), folder); !taken.ok()) {
      Note(FieldText(bank.synth->typeName), false, taken.text);
      return true;
    }
    TakeTextsOfBank(bank, patch.get());
    SetEntryTime(patch.get(), EntryTime(bank));
    if (patch->xtra) patch->xtra->hasNoSysEx = 0;
    if (EntryText(*patch, KeywordColumn(kPlaceSlot)).empty())
      SetEntryText(patch.get(), KeywordColumn(kPlaceSlot), Printf("%4.4u", place));
    if (EntryText(*patch, KeywordColumn(kFileSlot)).empty())
      SetEntryText(patch.get(), KeywordColumn(kFileSlot), Utf8ToLatin1(fileName));
    if (!AddPatch(std::move(patch))) return false;
  }
  return true;
}

bool LibraryAdder::AddData(const DataFile& data, const std::string& fileName) {
  if (!data.synth || data.synth->isBank == 0) return LibAddDataFileTest(data);
  if (StateOfEntry(data).content == EntryContent::kDefined) return LibAddBank(data, fileName);
  Note(FieldText(data.synth->typeName), false, "The " + TransferTitle(data) + " holds nothing yet.");
  return true;
}

}  // namespace tonalith
