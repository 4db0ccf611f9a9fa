// What the commands of a Library's window do.

#include <algorithm>
#include <memory>
#include <utility>

#include "library/ui/library_list.h"
#include "library/ui/library_window.h"
#include "platform/text.h"
#include "services/settings.h"
#include "services/transfer_sentences.h"
#include "store/library/keyword_file.h"
#include "store/library/library_ask.h"
#include "store/library/library_document.h"
#include "store/library/library_sort.h"
#include "store/patch_exchange.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/search_field.h"

namespace tonalith {

namespace {

constexpr CommandId kOwn[] = {CommandId::LibraryAddFiles,  CommandId::LibraryAddFolder,  CommandId::LibraryStop,
                              CommandId::LibraryDelete,    CommandId::LibraryRenameAll,  CommandId::LibraryNumber,
                              CommandId::LibraryMergeKeys, CommandId::LibraryMoveKeys,   CommandId::LibraryNameKeys,
                              CommandId::LibraryHide,      CommandId::LibraryShowAll,    CommandId::LibraryDeleteHidden,
                              CommandId::LibrarySortName,  CommandId::LibrarySortKeys,   CommandId::LibrarySortComment,
                              CommandId::LibrarySortDate,  CommandId::LibraryDuplicates, CommandId::LibrarySimilar,
                              CommandId::LibraryNewBank,   CommandId::LibraryPlay,       CommandId::LibraryChooseKeys,
                              CommandId::EditCut,          CommandId::EditCopy,          CommandId::EditPaste,
                              CommandId::EditRename,       CommandId::EditOpen,          CommandId::EditSelectAll,
                              CommandId::EditFind,         CommandId::EditQuickMenu};

bool IsLibraryCommand(CommandId command) {
  return std::find(std::begin(kOwn), std::end(kOwn), command) != std::end(kOwn);
}

// What was cut or copied in any Library.
std::vector<DataFilePtr>& Clip() {
  static std::vector<DataFilePtr> clip;
  return clip;
}

// Commands that change nothing of the document.
bool OnlyLooks(CommandId command) {
  constexpr CommandId kLooks[] = {CommandId::EditCopy, CommandId::EditOpen,      CommandId::EditSelectAll,
                                  CommandId::EditFind, CommandId::EditQuickMenu, CommandId::LibraryPlay};
  return std::find(std::begin(kLooks), std::end(kLooks), command) != std::end(kLooks);
}

bool NeedsSelection(CommandId command) {
  constexpr CommandId kNeeds[] = {CommandId::LibraryDelete,   CommandId::LibraryNumber,   CommandId::LibraryMergeKeys,
                                  CommandId::LibraryMoveKeys, CommandId::LibraryNameKeys, CommandId::LibraryHide,
                                  CommandId::LibrarySimilar,  CommandId::LibraryNewBank,  CommandId::LibraryPlay,
                                  CommandId::EditCut,         CommandId::EditCopy,        CommandId::EditRename,
                                  CommandId::EditOpen};
  return std::find(std::begin(kNeeds), std::end(kNeeds), command) != std::end(kNeeds);
}

}  // namespace

std::vector<EntryId> TZKLib::Chosen() const {
  return view_.Selected();
}

QString TZKLib::OwnRefusal(CommandId command) const {
  if (command == CommandId::LibraryStop) return adding_.Running() ? QString() : tr("Nothing is being added.");
  if (!library_.driver()) return tr("The Library is of no data type.");
  if (adding_.Running() && !OnlyLooks(command)) return tr("Patches are being added.");
  if (searching_ && !OnlyLooks(command)) return tr("The Library is being searched.");
  if (library_.IsBusy() && !OnlyLooks(command)) return ShownUtf8(library_.BusyReason());
  if (NeedsSelection(command) && view_.SelectedCount() == 0) return tr("No patch is selected.");
  if (LibraryExport::Has(command)) return exports_.Refusal(command);
  switch (command) {
    case CommandId::LibraryShowAll:
      return view_.ShowsSome() || library_.HiddenCount() > 0 ? QString() : tr("Every patch is shown.");
    case CommandId::LibraryDeleteHidden:
      return library_.HiddenCount() > 0 ? QString() : tr("No patch is hidden.");
    case CommandId::EditPaste:
      return Clip().empty() ? tr("No patch of a Library was cut or copied.") : QString();
    case CommandId::LibrarySimilar:
      return view_.SelectedCount() == 1 ? QString() : tr("Select the one patch that others should be like.");
    case CommandId::LibraryRenameAll:
      if (library_.NameLength() == 0) return tr("These patches have no names.");
      [[fallthrough]];
    case CommandId::LibrarySortName:
    case CommandId::LibrarySortKeys:
    case CommandId::LibrarySortComment:
    case CommandId::LibrarySortDate:
    case CommandId::LibraryDuplicates:
    case CommandId::LibraryChooseKeys:
    case CommandId::EditSelectAll:
      return library_.GetDataFileCount() > 0 ? QString() : tr("The Library has no patches yet.");
    default:
      return {};
  }
}

bool TZKLib::CommandEnabled(CommandId command) const {
  if (IsLibraryCommand(command) || LibraryExport::Has(command)) return OwnRefusal(command).isEmpty();
  return !adding_.Running() && !searching_ && DocumentWindow::CommandEnabled(command);
}

QString TZKLib::CommandRefusal(CommandId command) const {
  if (IsLibraryCommand(command) || LibraryExport::Has(command)) return OwnRefusal(command);
  if (adding_.Running()) return tr("Patches are being added.");
  return DocumentWindow::CommandRefusal(command);
}

void TZKLib::RunCommand(CommandId command) {
  emit TakeEdits();
  if (!CommandEnabled(command)) return;
  if (LibraryExport::Has(command)) return exports_.Run(command);
  if (IsLibraryCommand(command)) return RunOwn(command);
  DocumentWindow::RunCommand(command);
}

void TZKLib::Take(const Result& result) {
  Say(ShownUtf8(result.ok() ? library_.StatusText() : result.text));
}

void TZKLib::RunOwn(CommandId command) {
  switch (command) {
    case CommandId::LibraryAddFiles:
    case CommandId::LibraryAddFolder:
      return AskSources(command == CommandId::LibraryAddFolder);
    case CommandId::LibraryStop:
      return adding_.Stop();
    case CommandId::LibraryDelete:
      return Take(library_.RemoveDataList(Chosen()));
    case CommandId::LibraryRenameAll:
      return RenameAll();
    case CommandId::LibraryNumber:
      return Number();
    case CommandId::LibraryMergeKeys:
      return Take(library_.MergeKeywords(Chosen()));
    case CommandId::LibraryMoveKeys:
      return MoveKeywords();
    case CommandId::LibraryNameKeys:
      return Take(library_.AnalyseNames(Chosen(), *services_.keywords()));
    case CommandId::LibraryHide:
      return Take(library_.SetHidden(Chosen(), true));
    case CommandId::LibraryShowAll:
      view_.ShowAll();
      Take(library_.SetHidden(std::vector<EntryId>(library_.Order()), false));
      return FollowView();
    case CommandId::LibraryDeleteHidden:
      return Take(library_.DeleteHidden());
    case CommandId::LibrarySortName:
      return Take(doLibSort(library_, *LibrarySortKeyOf(0)));
    case CommandId::LibrarySortKeys:
      return Take(doLibSort(library_, *LibrarySortKeyOf(1)));
    case CommandId::LibrarySortComment:
      return Take(doLibSort(library_, *LibrarySortKeyOf(2)));
    case CommandId::LibrarySortDate:
      return Take(doLibSort(library_, *LibrarySortKeyOf(11)));
    case CommandId::LibraryDuplicates: {
      LibraryCriteria criteria;
      criteria.duplicates = true;
      return Search(criteria, tr("No patch sounds like another one."));
    }
    case CommandId::LibrarySimilar:
      return FindSimilar();
    case CommandId::LibraryChooseKeys: {
      TextPrompt prompt{"Library", "Keywords, with And, Or, AndNot, XOr and parentheses:", {}};
      LibraryCriteria criteria;
      if (context().prompts().Text(prompt, criteria.keys) && !criteria.keys.empty())
        Search(criteria, tr("No patch has these keywords."));
      return;
    }
    case CommandId::LibraryNewBank:
      return NewBank();
    case CommandId::LibraryPlay:
      if (const Result played = player_.Play(Chosen().front()); !played.ok()) Say(ShownUtf8(played.text));
      return;
    case CommandId::EditCut:
    case CommandId::EditCopy:
      return Copy(command == CommandId::EditCut);
    case CommandId::EditPaste:
      return Paste();
    case CommandId::EditRename:
      return list_->EditCurrent();
    case CommandId::EditOpen:
      return OpenSelected();
    case CommandId::EditSelectAll:
      return list_->selectAll();
    case CommandId::EditFind:
      return search_->Begin();
    case CommandId::EditQuickMenu:
      return ShowQuickMenu(list_->viewport()->mapToGlobal(list_->visualRect(list_->currentIndex()).bottomLeft()));
    default:
      return;
  }
}

// ---- adding ---------------------------------------------------------------------------------------------------------

LibraryAddOptions TZKLib::AddOptions(bool withKeywords) {
  LibraryAddOptions options;
  options.mode = static_cast<LibraryAddMode>(context().settings().Value(SettingId::MainLibAddMode));
  options.ask = [this](const LibraryQuestion& question) { return AskLibraryQuestion(context().prompts(), question); };
  options.moduleFolder = services_.moduleFolder;
  keywords_ = services_.keywords();
  if (withKeywords) options.keywords = keywords_.get();
  return options;
}

void TZKLib::AskSources(bool folder) {
  if (folder) {
    const std::string path = services_.askFolder(context().DataFolder());
    return path.empty() ? void() : AddFiles({path});
  }
  FilePrompt prompt;
  prompt.title = "Add to Library";
  prompt.folder = context().DataFolder();
  prompt.patterns = FilePatterns("All Files (*.*)|*.*|");
  const std::vector<std::string> paths = context().prompts().Files(prompt);
  if (!paths.empty()) AddFiles(paths);
}

void TZKLib::AddFiles(const std::vector<std::string>& sources) {
  if (const QString refusal = OwnRefusal(CommandId::LibraryAddFiles); !refusal.isEmpty()) return Say(refusal);
  adding_.Start(sources, services_.reader(), AddOptions(true));
}

// ---- texts and order ------------------------------------------------------------------------------------------------

// A click on the same column again turns the order round.
void TZKLib::SortBy(int column) {
  if (const QString refusal = OwnRefusal(CommandId::LibrarySortName); !refusal.isEmpty()) return Say(refusal);
  sortedDown_ = sortedBy_ == column && !sortedDown_;
  sortedBy_ = column;
  LibrarySortKey key;
  key.column = static_cast<LibraryColumn>(column);
  key.descending = sortedDown_;
  Take(doLibSort(library_, key));
}

void TZKLib::RenameAll() {
  TextPrompt prompt{"Library", "Name of all patches, a number follows:", {}, static_cast<int>(library_.NameLength())};
  std::string base;
  if (context().prompts().Text(prompt, base) && !base.empty()) Take(library_.RenameLibrary(base));
}

void TZKLib::Number() {
  ChoicePrompt where{"Library", "Number the selected patches in:", {}};
  std::vector<LibraryColumn> columns;
  for (int i = 0; i < kLibraryColumns; ++i) {
    const auto column = static_cast<LibraryColumn>(i);
    if (column == LibraryColumn::Date || (column == LibraryColumn::Name && library_.NameLength() == 0)) continue;
    columns.push_back(column);
    where.items.push_back(LibraryColumnLabel(column));
  }
  const int chosen = context().prompts().Choose(where);
  if (chosen < 0) return;
  TextPrompt first{"Library", "First number:", "1", 9};
  std::string text = "1";
  if (!context().prompts().Text(first, text)) return;
  const auto number = ParseInteger(text);
  if (!number || *number < 0) return Say(tr("The first number is a whole number from 0 on."));
  Take(library_.Number(Chosen(), *number, columns[static_cast<std::size_t>(chosen)]));
}

void TZKLib::MoveKeywords() {
  const auto ask = [this](const char* label) {
    ChoicePrompt prompt{"Library", label, {}};
    for (int slot = 0; slot < kKeywordSlots; ++slot) prompt.items.push_back(LibraryColumnLabel(KeywordColumn(slot)));
    return context().prompts().Choose(prompt);
  };
  const int from = ask("Move the keywords of:");
  const int to = from < 0 ? -1 : ask("To, in exchange for what is there:");
  if (to >= 0 && to != from) Take(library_.MoveKeywords(Chosen(), from, to));
}

// ---- searches -------------------------------------------------------------------------------------------------------

void TZKLib::Search(const LibraryCriteria& criteria, const QString& nothing) {
  struct Work {
    LibrarySnapshot snapshot;
    LibrarySearchResult result;
  };
  auto work = std::make_shared<Work>();
  work->snapshot = SnapshotOf(library_, criteria, Chosen());
  searching_ = true;
  Refresh();
  emit StateChanged();
  context().InBackground(
      searchReceiver_, [work, criteria] { return LibProcessRequest(work->snapshot, criteria, {}, &work->result); },
      [this, work, nothing](const Result& result) {
        searching_ = false;
        if (!result.ok()) {
          Say(ShownUtf8(result.text));
        } else if (work->result.found.empty()) {
          Say(nothing);
        } else {
          view_.ShowOnly(work->result.found);
          view_.ClearSelection();
          const std::size_t found = work->result.found.size();
          Say((found == 1 ? tr("1 patch was found") : tr("%1 patches were found").arg(found)) +
              tr("; Show All brings the others back."));
        }
        FollowView();
      });
}

void TZKLib::FindSimilar() {
  TextPrompt prompt{"Library", "At least how similar, in percent:", "90", 3};
  std::string text = "90";
  if (!context().prompts().Text(prompt, text)) return;
  const auto percent = ParseInteger(text);
  if (!percent || *percent < 0 || *percent > 100) return Say(tr("This is a number from 0 to 100."));
  LibraryCriteria criteria;
  criteria.similar = true;
  criteria.useFirstSelected = true;
  criteria.similarity = static_cast<int>(*percent);
  Search(criteria, tr("No patch is as similar as that."));
}

// ---- patches out of it ----------------------------------------------------------------------------------------------

void TZKLib::Copy(bool cut) {
  const std::vector<EntryId> chosen = Chosen();
  Clip().clear();
  for (const EntryId entry : chosen) Clip().emplace_back(DupForUser(library_.Data(entry)));
  std::erase_if(Clip(), [](const DataFilePtr& one) { return !one; });
  if (cut) return Take(library_.RemoveDataList(chosen, "Cut"));
  Say(chosen.size() == 1 ? tr("1 patch copied") : tr("%1 patches copied").arg(chosen.size()));
  emit StateChanged();
}

void TZKLib::Paste() {
  LibraryAddOptions options = AddOptions(false);
  options.mode = LibraryAddMode::Everything;
  LibraryAdder adder(library_, options, "Paste");
  for (const DataFilePtr& one : Clip()) adder.AddData(*one, {});
  adder.Finish();
  ShowAdded(adder.added());
  const auto refused = std::find_if(adder.outcomes().begin(), adder.outcomes().end(),
                                    [](const LibraryAddOutcome& outcome) { return !outcome.added; });
  const std::size_t pasted = adder.AddedCount();
  const QString done = pasted == 1 ? tr("1 patch pasted") : tr("%1 patches pasted").arg(pasted);
  Say(refused == adder.outcomes().end() ? done : ShownUtf8(refused->note));
}

void TZKLib::OpenSelected() {
  constexpr std::size_t kMostWindows = 10;
  const std::vector<EntryId> chosen = Chosen();
  if (chosen.size() > kMostWindows) return Say(tr("Select at most %1 patches to open them.").arg(kMostWindows));
  for (const EntryId entry : chosen)
    if (DataFilePtr copy{DupForUser(library_.Data(entry))})
      context().ShowData(std::move(copy), library_.FileName().empty() ? library_.Title() : library_.FileName());
}

void TZKLib::NewBank() {
  DataFilePtr bank = services_.newBank(*library_.driver());
  if (!bank) {
    context().prompts().Say("Library",
                            "To build a new bank, the " + TransferTitle(*library_.driver()) + " module must be loaded");
    return;
  }
  const std::vector<EntryId> chosen = Chosen();
  std::size_t slot = 0;
  for (; slot < chosen.size() && slot < bank->synth->numVoices; ++slot) {
    const DataFilePtr patch(DupForUser(library_.Data(chosen[slot])));
    const Result put = patch ? PutPatch(*patch, bank.get(), static_cast<int>(slot), context().ModuleFolder(*bank))
                             : Result::Failure("There is not enough memory.");
    if (!put.ok()) return Say(ShownUtf8(put.text));
  }
  if (bank->xtra) bank->xtra->hasNoSysEx = 0;
  context().ShowData(std::move(bank), library_.FileName().empty() ? library_.Title() : library_.FileName());
  if (slot < chosen.size()) Say(tr("The bank holds the first %1 of the %2 patches.").arg(slot).arg(chosen.size()));
}

}  // namespace tonalith
