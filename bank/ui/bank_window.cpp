#include "bank/ui/bank_window.h"

#include <QAction>
#include <QApplication>
#include <QDateTime>
#include <QDialog>
#include <QLocale>
#include <QMenu>
#include <QPushButton>
#include <QStackedLayout>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "bank/bank_moves.h"
#include "bank/grid_settings.h"
#include "bank/ui/bank_grid.h"
#include "bank/ui/bank_inspector.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
#include "platform/path_resolver.h"
#include "services/settings.h"
#include "store/initial_patch.h"
#include "ui/clipboard.h"
#include "ui/command_glyphs.h"
#include "ui/plain_text.h"
#include "ui/printing.h"
#include "ui/qt_text.h"
#include "ui/style/document_header.h"
#include "ui/style/empty_state.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/tool_row.h"

namespace tonalith {

namespace {

ZKBankDoc& BankOf(Document& document) {
  return static_cast<ZKBankDoc&>(document);
}

}  // namespace

TZKBank::TZKBank(std::unique_ptr<ZKBankDoc> document, WindowContext& context, QWidget* parent)
    : InstrumentWindow(std::move(document), context, parent),
      bank_(BankOf(DocumentWindow::document())),
      header_(new DocumentHeader(this)),
      tools_(new ToolRow(this)),
      filter_(new SearchField(tr("Filter patches"), this)),
      pages_(new QStackedLayout),
      status_(new PlainLabel(this)),
      list_(new ZKBankListCtrl(bank_, this)),
      empty_(
          new EmptyState(Glyph::Get, tr("Nothing received yet"), tr("Get asks the instrument for this data."), this)) {
  context.UpdateFromStudio(dataFile());
  bank_.SetGrowth(context.GrowthOf(*dataFile()));
  parts_ = MakeBankParts(*this);
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap + kSmallGap);
  column->addWidget(header_);
  BuildTools();
  column->addWidget(tools_);
  BuildList();
  column->addLayout(pages_, 1);
  SetSecondaryText(status_);
  column->addWidget(status_);
  UpdateTitle();
  Refresh();
  resize(fontMetrics().averageCharWidth() * 110, fontMetrics().height() * 32);
}

TZKBank::~TZKBank() {
  // The rows listen to the document, which goes before the children of this window would.
  qDeleteAll(findChildren<QDialog*>(QString(), Qt::FindDirectChildrenOnly));
  delete grid_;
  grid_ = nullptr;
  delete list_;
  list_ = nullptr;
}

// ---- tools ----------------------------------------------------------------------------------------------------------

QToolButton* TZKBank::AddTool(Glyph glyph, CommandId command, const QString& text, bool primary) {
  QToolButton* tool = tools_->Add(glyph, text, CommandTip(command), primary);
  connect(tool, &QToolButton::clicked, this, [this, command] { RunCommand(command); });
  buttons_.emplace_back(command, tool);
  return tool;
}

void TZKBank::AddMore(Glyph glyph, CommandId command, const QString& text) {
  more_.emplace_back(command, tools_->AddToMore(glyph, text, [this, command] { RunCommand(command); }));
}

void TZKBank::BuildTools() {
  AddTool(Glyph::Get, CommandId::MidiGet, tr("Get"));
  send_ = tools_->Add(Glyph::Send, tr("Send"), CommandTip(CommandId::MidiTransmit), true);
  connect(send_, &QToolButton::clicked, this, [this] {
    emit TakeEdits();
    RunCommand(CommandEnabled(CommandId::MidiSendChanged) ? CommandId::MidiSendChanged : CommandId::MidiTransmit);
  });
  AddTool(Glyph::Undo, CommandId::EditUndo, tr("Undo"));
  AddTool(Glyph::Redo, CommandId::EditRedo, tr("Redo"));
  AddTool(Glyph::Rename, CommandId::EditRename, tr("Rename"));
  AddTool(Glyph::Save, CommandId::FileSave, tr("Save"));
  QToolButton* exports = tools_->Add(Glyph::Export, tr("Export"), tr("Write this data as a file for other programs"));
  auto* menu = exportMenu_ = new QMenu(exports);
  for (const CommandId command : {CommandId::FileExportSysEx, CommandId::FileExportMidi}) {
    QAction* entry = menu->addAction(command == CommandId::FileExportSysEx ? tr("SysEx File...") : tr("MIDI File..."));
    connect(entry, &QAction::triggered, this, [this, command] { RunCommand(command); });
    more_.emplace_back(command, entry);
  }
  // What the parts offer stands behind these, as it is when the menu opens.
  const qsizetype own = menu->actions().size();
  connect(menu, &QMenu::aboutToShow, this, [this, menu, own] {
    while (menu->actions().size() > own) delete menu->actions().back();
    FillBankMenu(menu, *this, BankMenu::Export);
  });
  exports->setMenu(menu);
  BuildMore();
  tools_->SetSearch(filter_);
}

void TZKBank::BuildMore() {
  AddMore(Glyph::Send, CommandId::MidiTransmit, tr("Send All"));
  AddMore(Glyph::SaveAs, CommandId::FileSaveAs, tr("Save As..."));
  tools_->AddLineToMore();
  AddMore(Glyph::Copy, CommandId::EditCopyNames, tr("Copy Names"));
  AddMore(Glyph::Print, CommandId::FilePrint, tr("Print..."));
  for (const auto& part : parts_) {
    const std::vector<CommandId> entries = part->EntriesOf(BankMenu::More);
    if (!entries.empty()) tools_->AddLineToMore();
    for (const CommandId command : entries)
      if (const CommandRow* row = RowOf(command)) AddMore(GlyphOf(command), command, QString::fromLatin1(row->text));
  }
}

void TZKBank::BuildList() {
  grid_ = new ZKBankGrid(bank_, *list_, this);
  for (BankPatchView* view : {static_cast<BankPatchView*>(list_), static_cast<BankPatchView*>(grid_)}) BuildView(view);
  ReadLook();
  ReadSettings();
  showsGrid_ = context().settings().Value(SettingId::MainBankViewMode) == 1;
  pages_->addWidget(empty_);
  empty_->AddButton(tr("Get"), [this] { RunCommand(CommandId::MidiGet); });
  connect(list_->bankModel(), &BankListModel::Explained, this, &TZKBank::Say);
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
    RefreshTools();
    emit InspectChanged();
  });
  // The selection is another when its signal comes; the current patch, at the signal before, has not got it yet.
  connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    for (const auto& part : parts_) part->SelectionChanged();
    RefreshTools();
    RefreshStatus();
    emit StateChanged();
  });
  connect(filter_, &SearchField::WordsChanged, this, [this] {
    int hits = 0;
    for (BankPatchView* view : {static_cast<BankPatchView*>(list_), static_cast<BankPatchView*>(grid_)})
      hits = view->SetFilter(filter_->Words());
    filter_->SetHits(filter_->Words().IsEmpty() ? -1 : hits);
    for (BankPatchView* view : {static_cast<BankPatchView*>(list_), static_cast<BankPatchView*>(grid_)})
      view->SetNothingFound(hits == 0 ? filter_->NothingFound() : QString());
    emit StateChanged();
  });
  connect(filter_, &SearchField::GoToList, this, [this] { view()->setFocus(); });
  connect(filter_, &SearchField::Left, this, [this] { view()->setFocus(); });
}

void TZKBank::BuildView(BankPatchView* view) {
  view->setAccessibleName(tr("Patches"));
  view->SetDrag(&drag_);
  pages_->addWidget(view);
  connect(this, &ZKWindow::TakeEdits, view, &BankPatchView::TakeName);
  connect(view, &BankPatchView::OpenPatch, this, [this] { RunCommand(CommandId::EditOpen); });
  connect(view, &BankPatchView::AskMenu, this, &TZKBank::ShowQuickMenu);
  connect(view, &BankPatchView::MovePatch, this, [this](int from, int to) {
    if (const QString reason = EditRefusal(); !reason.isEmpty()) return Say(reason);
    const BankOutcome outcome = Commands().MoveTo(from, to);
    Show(outcome);
    if (outcome.ok()) Select({to});
  });
}

// What the data type says of the grid.
void TZKBank::ReadLook() {
  const auto folder = context().ModuleFolder(*dataFile());
  const GridSettings look = folder.empty() ? GridSettings() : ReadGridSettings(DataTypeIni(folder, bank_.synth()));
  grid_->SetLook(look, folder.empty() ? folder : folder / "Bitmaps");
  tools_->setVisible(!look.noButtonBar);
}

void TZKBank::ReadSettings() {
  const Settings& settings = context().settings();
  if (grid_) grid_->SetInvertedWheel(settings.Value(SettingId::MainInvertScrollWheelInput) != 0);
  bank_.KeepUndo(settings.Value(SettingId::MainBackup) != 0);
}

BankPatchView* TZKBank::view() const {
  return showsGrid_ ? static_cast<BankPatchView*>(grid_) : static_cast<BankPatchView*>(list_);
}

void TZKBank::ShowGrid(bool grid) {
  emit TakeEdits();
  showsGrid_ = grid;
  Refresh();
  if (pages_->currentWidget() == view()) {
    view()->scrollTo(view()->currentIndex());
    view()->setFocus();
  }
  emit StateChanged();
}

std::string TZKBank::AcceptsMove(const MoveOffer& offer) const {
  return BankMoveRefusal(bank_, offer);
}

MoveResult TZKBank::ReceiveMove(Move&& move) {
  MoveResult result = PVMessage_MoveTo(bank_, std::move(move), SelectedPatches(), context().ModuleFolder(*dataFile()));
  // A drop that did nothing says so here as well as to whoever sent it.
  if (!result.text.empty()) Say(ShownUtf8(result.text));
  return result;
}

std::function<DataFilePtr(int driverId)> TZKBank::NewDataMaker() const {
  return [this](int driverId) { return context().NewDataOf(driverId, *dataFile()); };
}

std::string TZKBank::MoveOutRefusal() const {
  return tonalith::MoveOutRefusal(bank_, SelectedPatches());
}

MoveOffer TZKBank::OfferOut() const {
  return OfferPatches(bank_, SelectedPatches(), NewDataMaker());
}

Result TZKBank::MoveOut(Move* move) {
  return MovePatches(bank_, SelectedPatches(), NewDataMaker(), context().ModuleFolder(*dataFile()), move);
}

void TZKBank::Select(const std::vector<int>& patches) {
  if (!list_) return;
  view()->SelectPatches(patches);
  view()->scrollTo(view()->currentIndex());
}

void TZKBank::ShowQuickMenu(const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  FillBankMenu(menu, *this, BankMenu::Quick);
  menu->popup(at);
}

// ---- what is shown --------------------------------------------------------------------------------------------------

void TZKBank::DocumentChanged(const DocumentChange& change) {
  // Saving and sending change the marks of patches, and no patch.
  if (change.kind == DocumentChange::Kind::State) view()->viewport()->update();
  Refresh();
  for (const auto& part : parts_) part->DocumentChanged();
}

// What was done last, and how much is selected.
void TZKBank::RefreshStatus() {
  const std::size_t selected = SelectedPatches().size();
  QStringList parts;
  if (!bank_.IsBusy() && !bank_.ReadOnlyReason().empty()) parts << ShownUtf8(bank_.ReadOnlyReason());
  if (!bank_.StatusText().empty()) parts << ShownUtf8(bank_.StatusText());
  if (selected > 1) parts << tr("%1 selected").arg(selected);
  status_->setText(parts.join(QStringLiteral(" \u00B7 ")));
}

void TZKBank::Refresh() {
  RefreshHeader();
  RefreshStatus();
  RefreshTools();
  QWidget* page = bank_.IsEmpty() && !bank_.IsBusy() ? static_cast<QWidget*>(empty_) : view();
  // Also for the page that was there from the beginning.
  setFocusProxy(page != empty_ ? page : empty_->findChild<QPushButton*>());
  if (pages_->currentWidget() == page) return;
  const bool focus = pages_->currentWidget() && pages_->currentWidget()->isAncestorOf(QApplication::focusWidget());
  pages_->setCurrentWidget(page);
  filter_->setEnabled(page != empty_);
  if (focus) setFocus();
}

void TZKBank::ShowSoFar(DataFilePtr soFar, int done, int all) {
  progress_ = soFar ? tr("%1 of %2 patches received").arg(done).arg(all) : QString();
  if (list_) list_->bankModel()->ShowSoFar(std::move(soFar));
  RefreshHeader();
}

void TZKBank::BeginReceive(const std::string& undoName) {
  if (goesOn_) return bank_.BeginReceiveRest(undoName);
  bank_.BeginReceive(undoName);
}

void TZKBank::TransferEnded(bool get, const std::vector<std::uint8_t>& patches, const DeskResult& result) {
  if (get) return bank_.GetEnded(patches, result);
  bank_.NoteLeft(patches, result);
}

void TZKBank::GoOn(bool get) {
  if (!get) return StartTransmit(PatchesToSend(*dataFile(), bank_.rest().notSent));
  goesOn_ = true;
  StartGet(bank_.ToGet());
  goesOn_ = false;
}

// Of its file; of what it was taken out of; of the instrument and the day.
QString TZKBank::ShownName() const {
  const bool named = !bank_.path().empty() || !bank_.OriginName().empty();
  const QString received = named ? QString() : Received();
  return received.isEmpty() ? InstrumentWindow::ShownName() : tr("from %1").arg(received);
}

// The instrument and the day; empty: nothing was received.
QString TZKBank::Received() const {
  const auto stamp = bank_.synth().timeStamp;
  if (!stamp || bank_.IsEmpty()) return {};
  const QDate day = QDateTime::fromSecsSinceEpoch(stamp).date();
  return tr("%1, %2").arg(ShownUtf8(bank_.InstrumentName()), QLocale().toString(day, QStringLiteral("d MMM")));
}

QString TZKBank::TabText() const {
  const bool named = !bank_.path().empty() || !bank_.OriginName().empty();
  const QString received = named ? QString() : Received();
  return received.isEmpty() ? ShownName() : received;
}

QString TZKBank::Counts() const {
  const int count = bank_.PatchCount();
  const int defined = bank_.DefinedPatches();
  if (bank_.IsEmpty()) return {};
  if (defined < count) return tr("%1 of %2 patches").arg(defined).arg(count);
  return count == 1 ? tr("1 patch") : tr("%1 patches").arg(count);
}

void TZKBank::RefreshHeader() {
  const QString instrument = ShownUtf8(bank_.InstrumentName());
  if (header_->Title().isEmpty()) {
    header_->SetPicture(InstrumentPicture(instrument.section(QLatin1Char(' '), 0, 0),
                                          instrument.section(QLatin1Char(' '), 1), DocumentHeader::kPicture,
                                          devicePixelRatioF()));
  }
  header_->SetTitle(ShownName());
  const int changed = bank_.CountDifferent(false);
  const int unsent = bank_.IsEmpty() ? 0 : bank_.CountDifferent(true);
  QStringList parts{ShownUtf8(bank_.Title())};
  // What a narrow window cuts off stands behind.
  if (bank_.sync().IsOn()) parts.prepend(tr("changes are sent at once"));
  if (const QString counts = Counts(); !counts.isEmpty() && progress_.isEmpty()) parts << counts;
  if (bank_.IsBusy() && !bank_.IsSaving()) parts << (progress_.isEmpty() ? tr("being transferred") : progress_);
  const int awaited = CountPatches(bank_.rest().notReceived);
  if (awaited > 0) parts << tr("%1 not received").arg(awaited);
  if (!bank_.IsBusy() && !bank_.ReadOnlyReason().empty()) parts << tr("not editable");
  if (changed > 0 && bank_.PatchCount() > 1) parts << tr("%1 changed since saved").arg(changed);
  if (unsent > 0 && bank_.PatchCount() > 1) parts << tr("%1 not sent to the instrument").arg(unsent);
  header_->SetSecondary(parts.join(QStringLiteral(" \u00B7 ")));
  header_->SetMark(Mark::Changed, bank_.IsModified(), bank_.path().empty() ? tr("in no file yet") : QString());
  header_->SetMark(Mark::Unsent, unsent > 0);
}

void TZKBank::RefreshTools() {
  for (const auto& [command, button] : buttons_) EnableUnless(button, RefusalOf(command));
  for (const auto& [command, action] : more_) action->setEnabled(CommandEnabled(command));
  const bool some = CommandEnabled(CommandId::MidiSendChanged);
  const std::vector<std::uint8_t> changed = ChangedPatches();
  send_->setText(some ? tr("Send %1 changed").arg(std::count(changed.begin(), changed.end(), 1)) : tr("Send"));
  SetAccessibleName(send_, send_->text());
  EnableUnless(send_, RefusalOf(CommandId::MidiTransmit),
               CommandTip(some ? CommandId::MidiSendChanged : CommandId::MidiTransmit));
}

InspectorContent TZKBank::Inspect() {
  return InspectBank(bank_, list_ ? list_->CurrentPatch() : -1, bank_);
}

// ---- commands -------------------------------------------------------------------------------------------------------

std::vector<std::uint8_t> TZKBank::ChangedPatches() const {
  std::vector<std::uint8_t> mask;
  if (!bank_.PatchesGoAlone()) return mask;
  int count = 0;
  for (int patch = 0; patch < bank_.PatchCount(); ++patch) {
    mask.push_back(bank_.IsPatchDefined(patch) && bank_.DiffersFromInstrument(patch) ? 1 : 0);
    count += mask.back();
  }
  if (count == 0 || count == bank_.PatchCount()) mask.clear();
  return mask;
}

int TZKBank::CountUnsent(const std::vector<std::uint8_t>& patches) const {
  if (bank_.IsEmpty()) return 0;
  int count = 0;
  for (int patch = 0; patch < bank_.PatchCount(); ++patch) {
    const auto place = static_cast<std::size_t>(patch);
    const bool meant = patches.empty() || (place < patches.size() && patches[place] != 0);
    count += meant && bank_.IsPatchDefined(patch) && bank_.DiffersFromInstrument(patch);
  }
  return count;
}

void TZKBank::AddPart(std::unique_ptr<BankWindowPart> part) {
  parts_.insert(parts_.begin(), std::move(part));
  RefreshTools();
}

BankWindowPart* TZKBank::PartOf(CommandId command) const {
  for (const auto& part : parts_)
    if (part->Has(command)) return part.get();
  return nullptr;
}

QString TZKBank::CommandText(CommandId command) const {
  if (command == CommandId::MidiGet)
    return MenuText(tr("Get %1 from %2").arg(ShownUtf8(bank_.TypeName()), ShownUtf8(bank_.InstrumentName())));
  const BankWindowPart* part = PartOf(command);
  return part ? part->Text(command) : QString();
}

bool TZKBank::CommandChecked(CommandId command) const {
  const BankWindowPart* part = PartOf(command);
  return part && part->IsChecked(command);
}

void TZKBank::SettingsChanged() {
  ReadSettings();
  for (const auto& part : parts_) part->SettingsChanged();
}

QString TZKBank::EditRefusal() const {
  if (const std::string reason = bank_.ReadOnlyReason(); !reason.empty()) return ShownUtf8(reason);
  return bank_.IsEmpty() ? tr("Nothing was received yet.") : QString();
}

std::vector<int> TZKBank::SelectedPatches() const {
  return list_ ? list_->SelectedPatches() : std::vector<int>();
}

BankCommands TZKBank::Commands() {
  return BankCommands(bank_, context().ModuleFolder(*dataFile()));
}

void TZKBank::Show(const BankOutcome& outcome) {
  const std::string said = outcome.ok() ? outcome.status : outcome.text;
  Say(ShownUtf8(outcome.note.empty() ? said : said + ".  " + outcome.note));
}

bool TZKBank::CommandEnabled(CommandId command) const {
  if (const BankWindowPart* part = PartOf(command)) return part->Refusal(command).isEmpty();
  switch (command) {
    case CommandId::EditRename:
      return !bank_.IsBusy() && bank_.NameLength() > 0 && !bank_.IsEmpty() && list_ && list_->CurrentPatch() >= 0;
    case CommandId::EditCopyNames:
    case CommandId::FilePrint:
      return !bank_.IsEmpty();
    case CommandId::EditSelectAll:
      return true;
    default:
      return InstrumentWindow::CommandEnabled(command);
  }
}

QString TZKBank::CommandRefusal(CommandId command) const {
  if (const BankWindowPart* part = PartOf(command)) return part->Refusal(command);
  if (command == CommandId::EditRename && !bank_.IsBusy())
    return bank_.NameLength() == 0 ? tr("This data has no names.") : tr("There is no patch to rename yet.");
  if (command == CommandId::EditCopyNames || command == CommandId::FilePrint) return tr("Nothing was received yet.");
  return InstrumentWindow::CommandRefusal(command);
}

std::vector<int> TZKBank::MeantPatches() const {
  std::vector<int> patches = list_->SelectedPatches();
  if (patches.size() > 1) return patches;
  patches.clear();
  for (int patch = 0; patch < bank_.PatchCount(); ++patch) patches.push_back(patch);
  return patches;
}

std::vector<std::string> TZKBank::NameLines() const {
  return bank_.NameLines(MeantPatches());
}

void TZKBank::CopyNames() {
  const std::vector<std::string> lines = NameLines();
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  if (CopyText(context().prompts(), FromUtf8(text)))
    Say(lines.size() == 1 ? tr("1 name was copied.") : tr("%1 names were copied.").arg(lines.size()));
}

void TZKBank::RunCommand(CommandId command) {
  emit TakeEdits();
  if (!CommandEnabled(command)) return;
  if (BankWindowPart* part = PartOf(command)) return part->Run(command);
  switch (command) {
    case CommandId::EditRename:
      view()->setFocus();
      view()->RenameCurrent();
      break;
    case CommandId::EditSelectAll:
      view()->selectAll();
      break;
    case CommandId::EditCopyNames:
      CopyNames();
      break;
    case CommandId::FilePrint:
      PrintLines(ShownName() + QStringLiteral(" - ") + ShownUtf8(bank_.Title()), NameLines(), context().prompts(),
                 context().DataFolder(), this);
      break;
    default:
      InstrumentWindow::RunCommand(command);
      break;
  }
}

}  // namespace tonalith
