#include "collection/collection_add.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <utility>

#include "data/patch_names.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "store/library/library_columns.h"

namespace tonalith {

namespace {

std::string FileNameOfRecord(const DataFile& data) {
  const std::string_view whole(data.fileName ? data.fileName : "", data.fileName ? data.fileNameSize : 0);
  return std::string(whole.substr(0, whole.find('\0')));
}

}  // namespace

StoreAnswer AskStoreQuestion(Prompts& prompts, const std::string& question) {
  MessagePrompt prompt;
  prompt.title = "File already exists in the Collection";
  prompt.text = question;
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.icon = PromptIcon::Question;
  const PromptAnswer answer = prompts.Message(prompt);
  return answer == PromptAnswer::Yes  ? StoreAnswer::Overwrite
         : answer == PromptAnswer::No ? StoreAnswer::AddNumbered
                                      : StoreAnswer::Nothing;
}

std::string NumberedName(const std::string& name, std::size_t length,
                         const std::function<bool(const std::string& name)>& taken) {
  if (!taken(name)) return name;
  for (std::uint32_t n = 1;; ++n) {
    const std::string number = std::to_string(n);
    if (number.size() > length) return name;
    std::string candidate = name + " " + number;
    if (candidate.size() > length) candidate = name.substr(0, std::min(name.size(), length - number.size())) + number;
    if (!taken(candidate)) return candidate;
  }
}

void AutoMakeFileName(DataFile* data) {
  if (!data->synth || !AsciiEqualNoCase(FileNameOfRecord(*data), "New")) return;
  std::string name;
  for (const char c : FieldText(data->synth->typeName))
    if (std::isalnum(static_cast<unsigned char>(c)) && static_cast<unsigned char>(c) < 0x80) name += c;
  SetFileName(data, name);
}

CollectionAdder::CollectionAdder(ZKDBaseDoc& collection, CollectionAddOptions options, const std::string& name)
    : collection_(collection), options_(std::move(options)), change_(collection.history(), name), name_(name) {}

bool CollectionAdder::Finish() {
  const bool changed = change_.Commit();
  collection_.ChangeTogether(name_, [] {});  // tells of it
  return changed;
}

std::vector<EntryId> CollectionAdder::Entries() const {
  std::vector<EntryId> entries;
  for (const CollectionAddOutcome& outcome : outcomes_)
    if (outcome.kind != CollectionAddOutcome::Kind::Refused) entries.push_back(outcome.entry);
  return entries;
}

const CollectionAddOutcome& CollectionAdder::Refuse(const std::string& name, std::string reason) {
  outcomes_.push_back({CollectionAddOutcome::Kind::Refused, 0, name, std::move(reason)});
  return outcomes_.back();
}

const CollectionAddOutcome& CollectionAdder::Took(CollectionAddOutcome::Kind kind, EntryId entry) {
  outcomes_.push_back({kind, entry, collection_.Facts(entry).Text(CollectionColumn::Name)});
  return outcomes_.back();
}

const CollectionAddOutcome& CollectionAdder::Store(const DataFile& data) {
  CollectionItem item;
  const Result made = MakeItem(data, &item);
  return made.ok() ? Store(std::move(item)) : Refuse({}, made.text);
}

EntryId CollectionAdder::Twin(const CollectionFacts& facts) const {
  for (const EntryId entry : collection_.Order()) {
    const CollectionFacts& other = collection_.Facts(entry);
    if (!other.isSet && other.driverId == facts.driverId && other.displayName == facts.displayName) return entry;
  }
  return 0;
}

bool CollectionAdder::VerifyName(const std::string& latin1) const {
  return std::any_of(collection_.Order().begin(), collection_.Order().end(), [&](EntryId entry) {
    return !collection_.Item(entry).isSet && collection_.Facts(entry).displayName == latin1;
  });
}

void CollectionAdder::AutoMakeUniqueFileName(DataFile* data) const {
  const std::string name = DFGetName(*data);
  const std::string unique =
      NumberedName(name, PatchNameLength(*data), [this](const std::string& wanted) { return VerifyName(wanted); });
  if (unique != name) SetPatchName(data, 0, unique);
}

const CollectionAddOutcome& CollectionAdder::Overwrite(EntryId entry, CollectionItem item) {
  const Result changed = collection_.Change(entry, std::move(item), name_);
  return changed.ok() ? Took(CollectionAddOutcome::Kind::Overwritten, entry) : Refuse({}, changed.text);
}

const CollectionAddOutcome& CollectionAdder::Store(CollectionItem item) {
  ZKGrpDoc set;
  if (collection_.IsBusy()) return Refuse({}, collection_.BusyReason());
  if (const Result opened = OpenItem(item, collection_.folder(), &set); !opened.ok()) return Refuse({}, opened.text);
  if (item.isSet) {
    const EntryId entry = collection_.Add(std::move(item));
    return entry == 0 ? Refuse({}, "The Set could not be added.") : Took(CollectionAddOutcome::Kind::Added, entry);
  }
  const CollectionFacts facts = FactsOf(item, collection_.folder());
  if (facts.isBank && collection_.PatchesOnly())
    return Refuse(facts.Text(CollectionColumn::Name), "Banks can't be added to this Collection");
  EntryId twin = collection_.DBaseStore() == StoreMode::AddNew ? 0 : Twin(facts);
  if (twin != 0 && collection_.DBaseStore() == StoreMode::Ask) {
    const std::string question =
        "A " + facts.typeName + " named " + Latin1ToUtf8(facts.displayName) +
        " already exists in your collection.\nHow should the program proceed?\n\nClick YES to overwrite.\n"
        "Click NO add as numbered name\nClick CANCEL to not store.";
    const StoreAnswer answer = options_.ask ? options_.ask(question) : StoreAnswer::AddNumbered;
    if (answer == StoreAnswer::Nothing) return Refuse(facts.Text(CollectionColumn::Name), "Not stored.");
    if (answer == StoreAnswer::AddNumbered) twin = 0;
  }
  DataFile* data = set.GetDataFile(0);
  if (!data->isReference && set.LinkPath(0).empty()) {
    SetEntryTime(data, std::time(nullptr));
    if (twin == 0 && options_.uniqueNames) AutoMakeUniqueFileName(data);
    AutoMakeFileName(data);
  }
  if (const Result made = TakeItemBack(set, &item); !made.ok())
    return Refuse(facts.Text(CollectionColumn::Name), made.text);
  if (twin != 0) return Overwrite(twin, std::move(item));
  const EntryId entry = collection_.Add(std::move(item));
  return entry == 0 ? Refuse(facts.Text(CollectionColumn::Name), kTooLargeToWrite)
                    : Took(CollectionAddOutcome::Kind::Added, entry);
}

}  // namespace tonalith
