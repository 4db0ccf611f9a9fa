// What the commands of a Collection's window do.

#include <QApplication>
#include <algorithm>
#include <iterator>
#include <utility>

#include "collection/collection_document.h"
#include "collection/collection_listing.h"
#include "collection/collection_sources.h"
#include "collection/ui/collection_list.h"
#include "collection/ui/collection_window.h"
#include "platform/path_resolver.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/printing.h"
#include "ui/qt_text.h"
#include "ui/style/search_field.h"

namespace tonalith {

namespace {

// Always of the Collection.
constexpr CommandId kOfCollection[] = {
    CommandId::CollectionAddFiles, CommandId::CollectionAddFolder,      CommandId::CollectionLink,
    CommandId::CollectionStop,     CommandId::CollectionDelete,         CommandId::CollectionUp,
    CommandId::CollectionDown,     CommandId::CollectionSortInstrument, CommandId::CollectionSortType,
    CommandId::CollectionSortSize, CommandId::CollectionSortDate,       CommandId::CollectionSortFile,
    CommandId::CollectionResolve,  CommandId::CollectionStoreNew,       CommandId::CollectionStoreOver,
    CommandId::CollectionStoreAsk, CommandId::CollectionPatchesOnly,    CommandId::EditFind};
// Of what stands beside the list while the keys go there.
constexpr CommandId kOfList[] = {CommandId::EditCut,       CommandId::EditCopy,  CommandId::EditPaste,
                                 CommandId::EditRename,    CommandId::EditOpen,  CommandId::EditSelectAll,
                                 CommandId::EditQuickMenu, CommandId::FilePrint, CommandId::EditCopyNames};
// Of every document.
constexpr CommandId kShared[] = {CommandId::FileSave, CommandId::FileSaveAs, CommandId::EditUndo, CommandId::EditRedo};

template <std::size_t count>
bool IsIn(const CommandId (&commands)[count], CommandId command) {
  return std::find(std::begin(commands), std::end(commands), command) != std::end(commands);
}

bool IsTransfer(CommandId command) {
  return command == CommandId::MidiGet || command == CommandId::MidiTransmit;
}

bool IsExport(CommandId command) {
  return ExportFormatOf(command) || command == CommandId::ExportCopyText || command == CommandId::ExportCopyNames;
}

bool NeedsEntry(CommandId command) {
  constexpr CommandId kNeeds[] = {CommandId::CollectionDelete,  CommandId::CollectionUp, CommandId::CollectionDown,
                                  CommandId::CollectionResolve, CommandId::EditCut,      CommandId::EditCopy,
                                  CommandId::EditRename,        CommandId::EditOpen,     CommandId::EditCopyNames};
  return IsIn(kNeeds, command) || IsExport(command);
}

// Commands that change nothing of the document.
bool LooksOnly(CommandId command) {
  constexpr CommandId kLooks[] = {CommandId::EditCopy,      CommandId::EditOpen,  CommandId::EditSelectAll,
                                  CommandId::EditQuickMenu, CommandId::FilePrint, CommandId::EditCopyNames,
                                  CommandId::EditFind};
  return IsIn(kLooks, command) || IsExport(command);
}

}  // namespace

std::vector<EntryId> TZKDBase::Chosen() const {
  return list_->Selected();
}

bool TZKDBase::InPage() const {
  const QWidget* focused = QApplication::focusWidget();
  return page_ && focused && page_->isAncestorOf(focused);
}

bool TZKDBase::IsOwn(CommandId command) const {
  if (IsIn(kOfCollection, command)) return true;
  return (IsIn(kOfList, command) || IsExport(command)) && !InPage();
}

// A Set's commands for all of it are meant while the keys go to the list.
ZKWindow* TZKDBase::InnerFor(CommandId command) const {
  if (!page_ || page_->Has(command)) return nullptr;
  return page_->Inner();
}

QString TZKDBase::OwnRefusal(CommandId command) const {
  if (command == CommandId::CollectionStop) return adding_.Running() ? QString() : tr("No files are being read.");
  if (adding_.Running() && !LooksOnly(command)) return tr("Files are being read.");
  if (collection_.IsBusy() && !LooksOnly(command)) return ShownUtf8(collection_.BusyReason());
  const std::vector<EntryId> chosen = Chosen();
  if (NeedsEntry(command) && chosen.empty()) return tr("No entry is selected.");
  switch (command) {
    case CommandId::CollectionUp:
    case CommandId::CollectionDown: {
      if (chosen.size() != 1) return tr("Select one entry for this.");
      if (list_->rows()->Filters()) return tr("Entries are moved while all of them are listed.");
      const bool up = command == CommandId::CollectionUp;
      const EntryId last = up ? collection_.Order().front() : collection_.Order().back();
      return chosen.front() != last ? QString()
             : up                   ? tr("The entry is the first already.")
                                    : tr("The entry is the last already.");
    }
    case CommandId::CollectionResolve:
      return std::any_of(chosen.begin(), chosen.end(), [this](EntryId one) { return collection_.IsResolvable(one); })
                 ? QString()
                 : tr("No selected entry is linked to a file.");
    case CommandId::EditRename:
      return ShownUtf8(collection_.TextRefusal(chosen.front(), CollectionColumn::Name));
    case CommandId::EditPaste:
      return CollectionClipboard().empty() ? tr("No entry of a Collection was cut or copied.") : QString();
    case CommandId::CollectionSortInstrument:
    case CommandId::CollectionSortType:
    case CommandId::CollectionSortSize:
    case CommandId::CollectionSortDate:
    case CommandId::CollectionSortFile:
    case CommandId::EditSelectAll:
    case CommandId::FilePrint:
      return collection_.GetDataFileCount() > 0 ? QString() : tr("The Collection has no entries yet.");
    default:
      return {};
  }
}

QString TZKDBase::TransferRefusal(CommandId command) const {
  if (adding_.Running()) return tr("Files are being read.");
  if (!page_) return tr("No entry is selected.");
  if (page_->Has(command)) return page_->Refusal(command);
  ZKWindow* inner = page_->Inner();
  if (!inner) return tr("The entry shows nothing that this works on.");
  return InPage() ? inner->RefusalOf(command)
                  : inner->RefusalOf(command == CommandId::MidiGet ? CommandId::SetGetAll : CommandId::SetSendAll);
}

bool TZKDBase::CommandEnabled(CommandId command) const {
  if (IsOwn(command)) return OwnRefusal(command).isEmpty();
  if (IsTransfer(command)) return TransferRefusal(command).isEmpty();
  if (IsIn(kShared, command)) return !adding_.Running() && DocumentWindow::CommandEnabled(command);
  if (page_ && page_->Has(command)) return page_->Refusal(command).isEmpty();
  const ZKWindow* inner = InnerFor(command);
  return inner && !adding_.Running() && inner->CommandEnabled(command);
}

QString TZKDBase::CommandRefusal(CommandId command) const {
  if (IsOwn(command)) return OwnRefusal(command);
  if (IsTransfer(command)) return TransferRefusal(command);
  if (adding_.Running()) return tr("Files are being read.");
  if (IsIn(kShared, command)) return DocumentWindow::CommandRefusal(command);
  if (page_ && page_->Has(command)) return page_->Refusal(command);
  const ZKWindow* inner = InnerFor(command);
  return inner ? inner->CommandRefusal(command) : tr("The selected entry shows nothing that this works on.");
}

bool TZKDBase::CommandChecked(CommandId command) const {
  switch (command) {
    case CommandId::CollectionStoreNew:
      return collection_.DBaseStore() == StoreMode::AddNew;
    case CommandId::CollectionStoreOver:
      return collection_.DBaseStore() == StoreMode::Overwrite;
    case CommandId::CollectionStoreAsk:
      return collection_.DBaseStore() == StoreMode::Ask;
    case CommandId::CollectionPatchesOnly:
      return collection_.PatchesOnly();
    default:
      break;
  }
  const ZKWindow* inner = InnerFor(command);
  return inner && inner->CommandChecked(command);
}

void TZKDBase::RunCommand(CommandId command) {
  emit TakeEdits();
  if (!CommandEnabled(command)) return;
  if (IsOwn(command)) return IsExport(command) ? RunExport(command) : RunOwn(command);
  if (IsIn(kShared, command)) return DocumentWindow::RunCommand(command);
  if (page_ && page_->Has(command)) return page_->Run(command);
  ZKWindow* inner = InnerFor(command);
  if (!inner) return;
  if (IsTransfer(command) && !InPage())
    return inner->RunCommand(command == CommandId::MidiGet ? CommandId::SetGetAll : CommandId::SetSendAll);
  inner->RunCommand(command);
}

void TZKDBase::Take(const Result& result) {
  Say(ShownUtf8(result.ok() ? collection_.StatusText() : result.text));
}

void TZKDBase::RunOwn(CommandId command) {
  switch (command) {
    case CommandId::CollectionAddFiles:
    case CommandId::CollectionAddFolder:
      return AskSources(command == CommandId::CollectionAddFolder);
    case CommandId::CollectionLink:
      return AddLink();
    case CommandId::CollectionStop:
      return adding_.Stop();
    case CommandId::CollectionDelete:
      return Take(collection_.RemoveDataList(Chosen()));
    case CommandId::CollectionUp:
    case CommandId::CollectionDown:
      return Take(collection_.ShiftInList(Chosen().front(), command == CommandId::CollectionUp));
    case CommandId::CollectionSortInstrument:
      return Take(collection_.DBaseSort(CollectionSort::Instrument));
    case CommandId::CollectionSortType:
      return Take(collection_.DBaseSort(CollectionSort::Type));
    case CommandId::CollectionSortSize:
      return Take(collection_.DBaseSort(CollectionSort::Size));
    case CommandId::CollectionSortDate:
      return Take(collection_.DBaseSort(CollectionSort::Time));
    case CommandId::CollectionSortFile:
      return Take(collection_.DBaseSort(CollectionSort::FileName));
    case CommandId::CollectionResolve:
      return Resolve();
    case CommandId::CollectionStoreNew:
    case CommandId::CollectionStoreOver:
    case CommandId::CollectionStoreAsk:
      return SetStore(static_cast<int>(command) - static_cast<int>(CommandId::CollectionStoreNew));
    case CommandId::CollectionPatchesOnly:
      Take(collection_.SetPatchesOnly(!collection_.PatchesOnly()));
      return emit StateChanged();
    case CommandId::EditCut:
    case CommandId::EditCopy:
      return Copy(command == CommandId::EditCut);
    case CommandId::EditPaste:
      return Store(CollectionClipboard(), "Paste", tr("1 entry pasted"), tr("%1 entries pasted"));
    case CommandId::EditRename:
      return list_->edit(list_->currentIndex().siblingAtColumn(0));
    case CommandId::EditOpen:
      return page_ ? page_->setFocus() : void();
    case CommandId::EditSelectAll:
      return list_->selectAll();
    case CommandId::EditFind:
      return search_->Begin();
    case CommandId::EditQuickMenu:
      return ShowQuickMenu(list_->viewport()->mapToGlobal(list_->visualRect(list_->currentIndex()).bottomLeft()));
    case CommandId::FilePrint:
    case CommandId::EditCopyNames:
      return RunExport(command);
    default:
      return;
  }
}

// ---- adding ---------------------------------------------------------------------------------------------------------

CollectionAddOptions TZKDBase::AddOptions() {
  CollectionAddOptions options;
  options.ask = [this](const std::string& question) { return AskStoreQuestion(context().prompts(), question); };
  return options;
}

void TZKDBase::AskSources(bool folder) {
  if (folder) {
    const std::string path = services_.askFolder(context().DataFolder());
    return path.empty() ? void() : AddFiles({path});
  }
  FilePrompt prompt;
  prompt.title = "Load Data File...";
  prompt.folder = context().DataFolder();
  prompt.patterns =
      FilePatterns("Data File (*.DAT)|*.DAT|Set (*.PVS)|*.PVS|MIDIX File (*.syx)|*.syx|All Files (*.*)|*.*|");
  const std::vector<std::string> paths = context().prompts().Files(prompt);
  if (!paths.empty()) AddFiles(paths);
}

void TZKDBase::AddFiles(const std::vector<std::string>& sources) {
  if (const QString refusal = OwnRefusal(CommandId::CollectionAddFiles); !refusal.isEmpty()) return Say(refusal);
  adding_.Start(sources, services_.reader(), AddOptions());
}

void TZKDBase::AddLink() {
  FilePrompt prompt;
  prompt.title = "Load Set or Data File";
  prompt.folder = context().DataFolder();
  prompt.patterns = FilePatterns("Data File (*.DAT)|*.DAT|All Files (*.*)|*.*|");
  const std::string path = context().prompts().File(prompt);
  if (path.empty()) return;
  CollectionItem item;
  if (const Result made = MakeLinkItem(path, &item); !made.ok()) {
    context().prompts().Say("Collection", made.text);
    return;
  }
  std::vector<CollectionItem> one;
  one.push_back(std::move(item));
  Store(std::move(one), "Link", tr("Linked to %1").arg(ShownUtf8(path)), {});
}

void TZKDBase::Store(std::vector<CollectionItem> items, const std::string& name, const QString& one,
                     const QString& many) {
  CollectionAdder adder(collection_, AddOptions(), name);
  for (CollectionItem& item : items) adder.Store(std::move(item));
  adder.Finish();
  const std::vector<EntryId> stored = adder.Entries();
  if (!stored.empty()) list_->Select(stored);
  const auto refused = std::find_if(
      adder.outcomes().begin(), adder.outcomes().end(),
      [](const CollectionAddOutcome& outcome) { return outcome.kind == CollectionAddOutcome::Kind::Refused; });
  if (refused != adder.outcomes().end()) return Say(ShownUtf8(refused->note));
  Say(stored.size() == 1 ? one : many.arg(stored.size()));
}

// ---- order, links, storing ------------------------------------------------------------------------------------------

// A click on the same column again turns the order round.
void TZKDBase::SortBy(int column) {
  if (const QString refusal = OwnRefusal(CommandId::CollectionSortType); !refusal.isEmpty()) return Say(refusal);
  sortedDown_ = sortedBy_ == column && !sortedDown_;
  sortedBy_ = column;
  const auto wanted = static_cast<CollectionColumn>(column);
  const auto before = [&](EntryId a, EntryId b) {
    if (sortedDown_) std::swap(a, b);
    const CollectionFacts &one = collection_.Facts(a), &other = collection_.Facts(b);
    if (wanted == CollectionColumn::Date) return one.time < other.time;
    if (wanted == CollectionColumn::Size) return one.size < other.size;
    return FoldForFilter(one.Text(wanted)) < FoldForFilter(other.Text(wanted));
  };
  std::vector<EntryId> order = collection_.Order();
  std::stable_sort(order.begin(), order.end(), before);
  Take(collection_.SetOrder(std::move(order), "Sort"));
}

void TZKDBase::Resolve() {
  std::vector<EntryId> left;
  const Result resolved = collection_.ResolveLinks(Chosen(), &left);
  if (!resolved.ok() || left.empty()) return Take(resolved);
  std::string text = "Links that stay, as there is no data for them:\n";
  for (const EntryId entry : left) text += "\n" + collection_.Facts(entry).linkPath;
  context().prompts().Say("Collection", text);
}

void TZKDBase::SetStore(int mode) {
  Take(collection_.SetDBaseStore(mode));
  emit StateChanged();
}

// ---- out of it ------------------------------------------------------------------------------------------------------

void TZKDBase::Copy(bool cut) {
  const std::vector<EntryId> chosen = Chosen();
  CollectionClipboard().clear();
  for (const EntryId entry : chosen) CollectionClipboard().push_back(collection_.Item(entry));
  if (cut) return Take(collection_.RemoveDataList(chosen, "Cut"));
  Say(chosen.size() == 1 ? tr("1 entry copied") : tr("%1 entries copied").arg(chosen.size()));
  emit StateChanged();
}

ExportSource TZKDBase::NamesOfChosen() {
  ExportSource source;
  exported_.clear();
  for (const EntryId entry : Chosen()) {
    ZKGrpDoc& set = exported_.emplace_back();
    if (!collection_.Open(entry, &set).ok()) continue;
    for (int i = 0; i < set.GetDataFileCount(); ++i)
      if (set.StateOf(i).content == EntryContent::kDefined) source.data.push_back(set.GetDataFile(i));
  }
  return source;
}

void TZKDBase::RunExport(CommandId command) {
  if (const auto format = ExportFormatOf(command)) {
    names_.Write(*format);
  } else if (command == CommandId::ExportCopyText || command == CommandId::ExportCopyNames) {
    names_.Copy(command == CommandId::ExportCopyText ? ExportFormat::Text : ExportFormat::Names);
  } else if (command == CommandId::EditCopyNames) {
    std::string text;
    if (const Result made = EntriesAsText(collection_, Chosen(), &text); !made.ok())
      context().prompts().Say("Collection", made.text);
    else if (CopyText(context().prompts(), FromUtf8(text)))
      Say(tr("Copied as text."));
  } else if (command == CommandId::FilePrint) {
    PrintJob job;
    job.title = ShownName();
    job.ask = "Print Collection to PDF...";
    job.folder = context().DataFolder();
    job.name = names_.SuggestedName() + ".pdf";
    job.pages = [this] { return CollectionListing(collection_, kLinesOfPage); };
    Print(job, context().prompts(), this);
  }
  exported_.clear();
}

}  // namespace tonalith
