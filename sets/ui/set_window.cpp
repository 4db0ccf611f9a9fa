#include "sets/ui/set_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QSplitter>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "bank/bank_document.h"
#include "bank/ui/bank_inspector.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_window.h"
#include "platform/path_resolver.h"
#include "services/send_care.h"
#include "services/settings.h"
#include "sets/ui/set_inspector.h"
#include "sets/ui/set_pane.h"
#include "sets/ui/set_texts.h"
#include "sets/ui/set_views.h"
#include "store/sets/set_document.h"
#include "ui/command_glyphs.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/document_header.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/tool_row.h"

namespace tonalith {

namespace {

constexpr CommandId kOwnCommands[] = {CommandId::SetGetAll,      CommandId::SetSendAll,  CommandId::SetActivate,
                                      CommandId::SetInitialize,  CommandId::SetClear,    CommandId::SetLoad,
                                      CommandId::SetTakeOut,     CommandId::SetLoadLink, CommandId::SetSaveLink,
                                      CommandId::SetResolve,     CommandId::MidiGet,     CommandId::MidiTransmit,
                                      CommandId::BankSendAtOnce, CommandId::FilePrint,   CommandId::SetSettings};

bool IsOwn(CommandId command) {
  return std::find(std::begin(kOwnCommands), std::end(kOwnCommands), command) != std::end(kOwnCommands);
}

// Commands of every document.
bool IsShared(CommandId command) {
  return command == CommandId::FileSave || command == CommandId::FileSaveAs || command == CommandId::EditUndo ||
         command == CommandId::EditRedo;
}

SetViewKind ViewKindOf(CommandId command) {
  return command == CommandId::SetViewPanel  ? SetViewKind::Panel
         : command == CommandId::SetViewTree ? SetViewKind::Tree
                                             : SetViewKind::List;
}

bool IsView(CommandId command) {
  return command == CommandId::SetViewList || command == CommandId::SetViewPanel || command == CommandId::SetViewTree;
}

// Characters that the view is wide at least; and it and the pane as a part of another window.
constexpr int kViewColumns = 40, kPartColumns = 22, kPartPaneColumns = 30;

ZKGrpDoc& SetOf(Document& document) {
  return static_cast<ZKGrpDoc&>(document);
}

}  // namespace

TZKGrp::TZKGrp(std::unique_ptr<ZKGrpDoc> document, WindowContext& context, SetServices services, QWidget* parent)
    : DocumentWindow(std::move(document), context, parent),
      set_(SetOf(DocumentWindow::document())),
      services_(std::move(services)),
      transfers_(set_, context, "Set", TransferHost()),
      links_(set_, context, LinkHost()),
      sync_(set_, context, [this](const QString& text) { Say(text); }),
      header_(new DocumentHeader(this)),
      tools_(new ToolRow(this)),
      split_(new QSplitter(this)),
      pane_(new SetPane(set_, context, *this, EditorHost())),
      status_(new PlainLabel(this)) {
  for (int i = 0; i < set_.GetDataFileCount(); ++i) context.UpdateFromStudio(set_.GetDataFile(i));
  care_ = context.sendCare().AddListener([this](const DataFile* held) {
    if (held) set_.InstrumentHolds(*held);
  });
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap + kSmallGap);
  column->addWidget(header_);
  BuildTools();
  column->addWidget(tools_);
  BuildBody();
  column->addWidget(split_, 1);
  SetSecondaryText(status_);
  column->addWidget(status_);
  UpdateTitle();
  Refresh();
  resize(fontMetrics().averageCharWidth() * 140, fontMetrics().height() * 36);
}

TZKGrp::~TZKGrp() {
  context().sendCare().RemoveListener(care_);
  // Both listen to the document, which goes before the children of this window would.
  delete pane_;
  delete std::exchange(view_, nullptr);
}

void TZKGrp::BecomePart(ZKWindow& owner) {
  owner_ = &owner;
  header_->hide();
  layout()->setContentsMargins({});
  view_->widget()->setMinimumWidth(fontMetrics().averageCharWidth() * kPartColumns);
  pane_->setMinimumWidth(fontMetrics().averageCharWidth() * kPartPaneColumns);
  for (const auto& [command, button] : buttons_)
    if (IsShared(command)) tools_->Show(button, false);
  Refresh();
}

// ---- how it is built ------------------------------------------------------------------------------------------------

SetTransfers::Host TZKGrp::TransferHost() {
  SetTransfers::Host host;
  host.say = [this](const std::string& sentence) { Say(ShownUtf8(sentence)); };
  host.progress = [this] { Refresh(); };
  host.soFar = [this](int component, DataFilePtr soFar, int done, int all) {
    if (SetEditor* editor = pane_->EditorOf(component)) editor->bank()->ShowSoFar(std::move(soFar), done, all);
  };
  return host;
}

SetLinkPart::Host TZKGrp::LinkHost() {
  SetLinkPart::Host host;
  host.say = [this](const QString& text) { Say(text); };
  host.show = [this](int component, std::uint32_t slot) { ShowPatch(component, slot); };
  return host;
}

SetEditor::Host TZKGrp::EditorHost() {
  SetEditor::Host host;
  // Behind what the command in the editor says.
  host.say = [this](const std::string& sentence) {
    QTimer::singleShot(0, this, [this, sentence] { Say(ShownUtf8(sentence)); });
  };
  host.put = [this](int component, DataFilePtr made, const std::string& name) {
    return links_.Put(component, std::move(made), name);
  };
  host.note = [this](int component, int patch) { return links_.Note(component, patch); };
  return host;
}

void TZKGrp::ShowPatch(int component, std::uint32_t slot) {
  view_->SetCurSel(component);
  if (TZKBank* bank = pane_->bank()) bank->Select({static_cast<int>(slot)});
}

QToolButton* TZKGrp::AddTool(Glyph glyph, CommandId command, const QString& text, bool primary) {
  QToolButton* tool = tools_->Add(glyph, text, CommandTip(command), primary);
  connect(tool, &QToolButton::clicked, this, [this, command] { RunCommand(command); });
  buttons_.emplace_back(command, tool);
  return tool;
}

void TZKGrp::BuildTools() {
  AddTool(Glyph::Get, CommandId::SetGetAll, tr("Get All"));
  AddTool(Glyph::Send, CommandId::SetSendAll, tr("Send All"), true);
  QToolButton* sync = AddTool(Glyph::Refresh, CommandId::BankSendAtOnce, tr("At Once"));
  sync->setCheckable(true);
  AddTool(Glyph::Undo, CommandId::EditUndo, tr("Undo"));
  AddTool(Glyph::Redo, CommandId::EditRedo, tr("Redo"));
  AddTool(Glyph::Save, CommandId::FileSave, tr("Save"));
  for (const CommandId command :
       {CommandId::MidiGet, CommandId::MidiTransmit, CommandId::SetInitialize, CommandId::SetClear, CommandId::SetLoad,
        CommandId::SetTakeOut, CommandId::SetLoadLink, CommandId::SetSaveLink, CommandId::SetResolve,
        CommandId::EditCopyNames, CommandId::FilePrint, CommandId::SetSettings}) {
    if (command == CommandId::SetInitialize || command == CommandId::SetLoad || command == CommandId::EditCopyNames)
      tools_->AddLineToMore();
    const QString text = command == CommandId::MidiGet         ? tr("Get Selected")
                         : command == CommandId::MidiTransmit  ? tr("Send Selected")
                         : command == CommandId::EditCopyNames ? tr("Copy as Text")
                                                               : QString::fromLatin1(RowOf(command)->text);
    more_.emplace_back(command, tools_->AddToMore(GlyphOf(command), text, [this, command] { RunCommand(command); }));
  }
}

void TZKGrp::BuildBody() {
  // Instruments stand apart in the tree only.
  const int kept = context().settings().Value(SettingId::MainGroupViewMode);
  kind_ = set_.InstrumentCount() > 1 ? SetViewKind::Tree
          : kept == 1                ? SetViewKind::Panel
          : kept == 2                ? SetViewKind::Tree
                                     : SetViewKind::List;
  split_->addWidget(pane_);
  ShowView(kind_);
  split_->setChildrenCollapsible(false);
  split_->setStretchFactor(1, 1);
  const int character = fontMetrics().averageCharWidth();
  split_->setSizes({character * 62, character * 78});
  connect(pane_, &SetPane::EditorChanged, this, &ZKWindow::StateChanged);
  connect(pane_, &SetPane::Say, this, [this](const QString& text) { Say(text); });
}

SetViewEvents TZKGrp::ViewEvents() {
  SetViewEvents events;
  events.changed = [this] {
    if (view_) SelectionChanged();
  };
  events.open = [this] { RunCommand(CommandId::EditOpen); };
  events.menu = [this](const QPoint& at) { ShowQuickMenu(at); };
  events.takes = [this](const QMimeData& mime, int component) { return TakesDrop(mime, component); };
  events.drop = [this](const QMimeData& mime, int component) { Drop(mime, component); };
  events.start = [this](int component) { Drag(component); };
  return events;
}

// What is selected stays.
void TZKGrp::ShowView(SetViewKind kind) {
  SetView* old = view_;
  const bool focus = old && old->widget()->hasFocus();
  SetView* view = MakeSetView(kind, set_, ViewEvents(), this);  // the splitter would give it a place of its own
  view->widget()->setMinimumWidth(fontMetrics().averageCharWidth() * (owner_ ? kPartColumns : kViewColumns));
  if (old)
    split_->replaceWidget(0, view->widget());
  else
    split_->insertWidget(0, view->widget());
  view->Select(old ? old->Selected() : std::vector<int>(), old ? old->GetCurSel() : 0);
  kind_ = kind;
  view_ = view;
  setFocusProxy(view->widget());
  SelectionChanged();
  if (focus) setFocus();
  delete old;
}

void TZKGrp::AddEntry(QMenu* menu, CommandId command, const QString& text) {
  const CommandRow* row = RowOf(command);
  QAction* entry = menu->addAction(text.isEmpty() ? QString::fromLatin1(row->text) : text);
  if (const Glyph glyph = GlyphOf(command); glyph != Glyph::None) entry->setIcon(IconOf(glyph));
  const QString refusal = RefusalOf(command);
  entry->setEnabled(refusal.isEmpty());
  SetToolTip(entry, refusal);
  SetStatusTip(entry, refusal.isEmpty() ? QString::fromLatin1(row->help) : refusal);
  entry->setCheckable(row->checkable);
  if (row->checkable) entry->setChecked(CommandChecked(command));
  connect(entry, &QAction::triggered, this, [this, command] { RunCommand(command); });
}

void TZKGrp::ShowQuickMenu(const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->setToolTipsVisible(true);
  const std::vector<int> chosen = Chosen();
  const int one = chosen.size() == 1 ? chosen.front() : -1;
  AddEntry(menu, CommandId::MidiGet,
           one < 0
               ? tr("Get Selected")
               : MenuText(tr("Get %1 from %2").arg(ShownUtf8(set_.TypeName(one)), ShownUtf8(set_.InstrumentOf(one)))));
  AddEntry(menu, CommandId::MidiTransmit,
           one < 0 ? tr("Send Selected") : MenuText(tr("Send %1").arg(ShownUtf8(set_.TypeName(one)))));
  AddEntry(menu, CommandId::SetSendAll, tr("Send Set to Instrument"));
  AddEntry(menu, CommandId::BankSendAtOnce);
  menu->addSeparator();
  for (const CommandId command : {CommandId::SetActivate, CommandId::SetInitialize, CommandId::SetClear})
    AddEntry(menu, command);
  menu->addSeparator();
  for (const CommandId command : {CommandId::SetLoad, CommandId::SetTakeOut, CommandId::SetLoadLink,
                                  CommandId::SetSaveLink, CommandId::SetResolve})
    AddEntry(menu, command);
  menu->addSeparator();
  AddEntry(menu, CommandId::EditCopyNames, tr("Copy as Text"));
  AddEntry(menu, CommandId::FilePrint);
  AddEntry(menu, CommandId::SetSettings);
  menu->addSeparator();
  AddEntry(menu, CommandId::FileSave, tr("Save Set..."));
  AddEntry(menu, CommandId::FileSaveAs, tr("Save Set As..."));
  menu->popup(at);
}

// ---- what is shown --------------------------------------------------------------------------------------------------

const DataFile* TZKGrp::InstrumentData() const {
  return set_.InstrumentCount() == 1 ? set_.GetDataFile(0) : nullptr;
}

bool TZKGrp::DiffersFromInstrument() const {
  for (int component = 0; component < set_.GetDataFileCount(); ++component)
    if (set_.unsent().Count(component) > 0) return true;
  return false;
}

QString TZKGrp::TabText() const {
  return ShownName();
}

QString TZKGrp::TitleText() const {
  const int current = view_->GetCurSel();
  const QString sync = sync_.IsOn() ? QStringLiteral(" [Synchronized]") : QString();
  const QString name = set_.path().empty() ? tr("not saved yet") : ShownUtf8(WithoutExtension(set_.FileName()));
  if (set_.IsEmpty()) return tr("%1 - Set").arg(name) + sync;
  if (set_.InstrumentCount() == 1) return tr("%1 - %2").arg(name, ShownUtf8(set_.GetSetName())) + sync;
  if (current < 0) return tr("%1 - Set").arg(name) + sync;
  return tr("%1 - Multi-Instrument Set (%2)").arg(name, ShownUtf8(set_.InstrumentOf(current))) + sync;
}

void TZKGrp::DocumentChanged(const DocumentChange& change) {
  if (change.kind == DocumentChange::Kind::Item) pane_->Follow(change.item);
  if (change.kind == DocumentChange::Kind::Everything) pane_->Follow(-1);
  pane_->FollowState();
  sync_.DocumentChanged();
  Refresh();
}

void TZKGrp::SelectionChanged() {
  emit TakeEdits();
  pane_->Show(view_->GetCurSel());
  UpdateTitle();
  Refresh();
  emit StateChanged();
  emit InspectChanged();
}

void TZKGrp::Refresh() {
  const QString instrument = ShownUtf8(set_.InstrumentOf(0));
  if (header_->Title().isEmpty()) {
    header_->SetPicture(InstrumentPicture(instrument.section(QLatin1Char(' '), 0, 0),
                                          instrument.section(QLatin1Char(' '), 1), DocumentHeader::kPicture,
                                          devicePixelRatioF()));
  }
  header_->SetTitle(ShownName());
  int undefined = 0, changed = 0, unsent = 0;
  for (int i = 0; i < set_.GetDataFileCount(); ++i) {
    undefined += set_.StateOf(i).content == EntryContent::kUndefined;
    changed += set_.IsChanged(i);
    unsent += set_.unsent().Count(i) > 0;
  }
  const int count = set_.GetDataFileCount();
  QStringList parts{ShownUtf8(set_.GetSetName())};
  // What a narrow window cuts off stands behind.
  if (sync_.IsOn()) parts.prepend(tr("changes are sent at once"));
  parts << (count == 1 ? tr("1 component") : tr("%1 components").arg(count));
  if (undefined > 0) parts << tr("%1 undefined").arg(undefined);
  if (changed > 0) parts << tr("%1 changed since saved").arg(changed);
  if (unsent > 0) parts << tr("%1 not sent to the instrument").arg(unsent);
  if (set_.UnreadParts() > 0) parts << tr("%1 not readable").arg(set_.UnreadParts());
  if (transfers_.Running()) parts << ShownUtf8(transfers_.ProgressText());
  header_->SetSecondary(parts.join(QStringLiteral(" \u00B7 ")));
  header_->SetMark(Mark::Changed, set_.IsModified(), set_.path().empty() ? tr("in no file yet") : QString());
  header_->SetMark(Mark::Unsent, unsent > 0);
  status_->setText(PlaceText());
  for (const auto& [command, button] : buttons_) {
    EnableUnless(button, RefusalOf(command));
    if (button->isCheckable()) button->setChecked(CommandChecked(command));
  }
  for (const auto& [command, action] : more_) action->setEnabled(CommandEnabled(command));
}

QString TZKGrp::PlaceText() const {
  const int current = view_->GetCurSel();
  const EntryState state = set_.StateOf(current);
  const QString title = ShownUtf8(set_.TitleOf(current));
  if (state.linked) return tr("%1 is a Linked File.").arg(title);
  if (state.content == EntryContent::kDefined) return tr("%1 is stored in the Set").arg(title);
  return tr("No link info available");
}

SearchField* TZKGrp::Search() const {
  TZKBank* bank = pane_->bank();
  return bank ? bank->Search() : nullptr;
}

InspectorContent TZKGrp::Inspect() {
  TZKBank* bank = pane_->bank();
  if (!bank) return InspectComponent(set_, view_->GetCurSel());
  InspectorContent content = InspectBank(bank->document(), bank->list()->CurrentPatch(), set_);
  const std::vector<int> patches = bank->SelectedPatches();
  const bool one = patches.size() == 1 || bank->document().PatchCount() == 1;
  if (one) links_.Describe(view_->GetCurSel(), patches.empty() ? 0 : patches.front(), &content);
  return content;
}

std::optional<MidiRoute> TZKGrp::AuditionRoute() const {
  const DataFile* held = set_.GetDataFile(std::max(view_->GetCurSel(), 0));
  if (!held) return std::nullopt;
  return MidiRoute{held->synth->midiOutPort, held->synth->midiChannel};
}

void TZKGrp::PortsChanged(int) {
  StudioChanged();
}

void TZKGrp::StudioChanged() {
  if (set_.IsBusy()) return;
  for (int i = 0; i < set_.GetDataFileCount(); ++i) context().UpdateFromStudio(set_.GetDataFile(i));
  pane_->ForEachEditor([](SetEditor& editor) { editor.bank()->StudioChanged(); });
}

void TZKGrp::SettingsChanged() {
  pane_->ForEachEditor([](SetEditor& editor) {
    editor.bank()->SettingsChanged();
    editor.RenewNotes();  // links can be switched off
  });
  emit InspectChanged();
}

// ---- commands -------------------------------------------------------------------------------------------------------

std::vector<int> TZKGrp::Chosen() const {
  std::vector<int> chosen = view_->Selected();
  if (chosen.empty() && view_->GetCurSel() >= 0) chosen.push_back(view_->GetCurSel());
  return chosen;
}

QString TZKGrp::OneRefusal(CommandId command) const {
  const std::vector<int> chosen = Chosen();
  if (chosen.size() != 1) return tr("Select one component for this.");
  const EntryState state = set_.StateOf(chosen.front());
  const bool takesOut = command == CommandId::SetTakeOut || command == CommandId::SetSaveLink;
  if (takesOut && state.content != EntryContent::kDefined) return tr("The component holds nothing yet.");
  if (state.linked && (command == CommandId::SetLoad || command == CommandId::SetSaveLink))
    return tr("The component is linked to a file already; resolve the links of the Set first.");
  return {};
}

QString TZKGrp::OwnRefusal(CommandId command) const {
  const bool always = command == CommandId::BankSendAtOnce || command == CommandId::FilePrint;
  if (always) return set_.IsEmpty() ? tr("The Set has no components.") : QString();
  if (set_.IsBusy()) return ShownUtf8(set_.BusyReason());
  if (set_.IsEmpty()) return tr("The Set has no components.");
  const std::vector<int> chosen = Chosen();
  const auto linked = [this](int component) { return set_.StateOf(component).linked; };
  switch (command) {
    case CommandId::SetSendAll:
      return set_.IsOneOrMoreDefined() ? QString() : tr("The Set holds nothing that could be sent.");
    case CommandId::SetGetAll:
      return {};
    case CommandId::SetResolve:
      return set_.IsResolvable() ? QString() : tr("No component is linked to a file.");
    case CommandId::SetLoad:
    case CommandId::SetTakeOut:
    case CommandId::SetLoadLink:
    case CommandId::SetSaveLink:
      return OneRefusal(command);
    case CommandId::SetInitialize:
      if (std::any_of(chosen.begin(), chosen.end(), linked)) return tr("A linked component is not initialized.");
      break;
    default:
      break;
  }
  return chosen.empty() ? tr("No component is selected.") : QString();
}

// Names are those of the selected patches while the user works in the pane.
bool TZKGrp::TakesOver(CommandId command) const {
  return IsOwn(command) || (command == CommandId::EditCopyNames && !pane_->isAncestorOf(QApplication::focusWidget()));
}

bool TZKGrp::CommandEnabled(CommandId command) const {
  if (TakesOver(command)) return OwnRefusal(command).isEmpty();
  if (IsShared(command)) return owner_ ? owner_->CommandEnabled(command) : DocumentWindow::CommandEnabled(command);
  if (IsView(command)) return true;
  if (view_->widget()->hasFocus()) {
    if (command == CommandId::EditSelectAll || command == CommandId::EditOpen || command == CommandId::EditQuickMenu)
      return !set_.IsEmpty();
  }
  const TZKBank* bank = pane_->bank();
  return bank && bank->CommandEnabled(command);
}

QString TZKGrp::CommandRefusal(CommandId command) const {
  if (TakesOver(command)) return OwnRefusal(command);
  if (IsShared(command)) return owner_ ? owner_->CommandRefusal(command) : DocumentWindow::CommandRefusal(command);
  const TZKBank* bank = pane_->bank();
  return bank ? bank->CommandRefusal(command) : tr("The selected component shows nothing that this works on.");
}

bool TZKGrp::CommandChecked(CommandId command) const {
  if (IsView(command)) return ViewKindOf(command) == kind_;
  if (command == CommandId::BankSendAtOnce) return sync_.IsOn();
  if (command == CommandId::SetActivate) {
    const std::vector<int> chosen = Chosen();
    return !chosen.empty() && std::none_of(chosen.begin(), chosen.end(),
                                           [this](int component) { return set_.StateOf(component).inactive; });
  }
  const TZKBank* bank = pane_->bank();
  return bank && !IsOwn(command) && bank->CommandChecked(command);
}

void TZKGrp::RunCommand(CommandId command) {
  emit TakeEdits();
  if (!CommandEnabled(command)) return;
  if (TakesOver(command)) return RunOwn(command);
  if (IsShared(command)) return owner_ ? owner_->RunCommand(command) : DocumentWindow::RunCommand(command);
  if (IsView(command)) {
    ShowView(ViewKindOf(command));
    context().settings().Access(SettingId::MainGroupViewMode, static_cast<int>(kind_));
    emit StateChanged();
    return;
  }
  if (view_->widget()->hasFocus()) {
    if (command == CommandId::EditSelectAll) return view_->widget()->selectAll();
    if (command == CommandId::EditOpen) return pane_->setFocus();
    if (command == CommandId::EditQuickMenu)
      return ShowQuickMenu(view_->widget()->viewport()->mapToGlobal(
          view_->widget()->visualRect(view_->widget()->currentIndex()).bottomLeft()));
  }
  if (TZKBank* bank = pane_->bank()) bank->RunCommand(command);
}

void TZKGrp::RunOwn(CommandId command) {
  const auto rank = [this] { return services_.rank ? services_.rank(set_) : SetRank(); };
  switch (command) {
    case CommandId::SetGetAll:
      return transfers_.StartGet({});
    case CommandId::MidiGet:
      return transfers_.StartGet(Chosen());
    case CommandId::SetSendAll:
      return transfers_.StartSend({}, rank());
    case CommandId::MidiTransmit:
      return transfers_.StartSend(Chosen(), rank());
    case CommandId::BankSendAtOnce:
      sync_.Toggle();
      UpdateTitle();
      Refresh();
      return emit StateChanged();
    case CommandId::SetActivate:
      return Activate();
    case CommandId::SetInitialize:
      return ForChosen("Initialize", [this](int component) { return set_.Initialize(component); });
    case CommandId::SetClear:
      return ForChosen("Clear", [this](int component) {
        return set_.ClearData(component, context().NewData(*set_.GetDataFile(component)));
      });
    case CommandId::SetLoad:
    case CommandId::SetLoadLink:
      return Load(command == CommandId::SetLoadLink);
    case CommandId::SetTakeOut:
    case CommandId::SetSaveLink:
      return TakeOut(command == CommandId::SetSaveLink);
    case CommandId::SetResolve:
      return Resolve();
    case CommandId::SetSettings:
      return context().ShowSettings(*set_.GetDataFile(Chosen().front()));
    case CommandId::FilePrint:
      return PrintSet(set_, context(), this);
    case CommandId::EditCopyNames:
      if (const QString said = CopyComponents(set_, Chosen(), context()); !said.isEmpty()) Say(said);
      return;
    default:
      return;
  }
}

// As one entry of the history.
void TZKGrp::ForChosen(const char* name, const std::function<Result(int component)>& change) {
  const std::vector<int> chosen = Chosen();
  std::string failed;
  set_.ChangeTogether(name, [&] {
    for (const int component : chosen) {
      const Result result = change(component);
      if (!result.ok()) failed += (failed.empty() ? "" : "  ") + result.text;
    }
  });
  Say(ShownUtf8(failed.empty() ? set_.StatusText() : failed));
}

void TZKGrp::Activate() {
  const bool active = !CommandChecked(CommandId::SetActivate);
  ForChosen(active ? "Activate" : "Deactivate",
            [this, active](int component) { return set_.SetActive(component, active); });
}

void TZKGrp::Load(bool link) {
  const int component = Chosen().front();
  FilePrompt prompt;
  prompt.title = link ? "Load Link..." : "Load new Data File...";
  prompt.folder = set_.path().empty() ? context().DataFolder() : FolderOf(set_.path());
  prompt.patterns = FilePatterns("All Files (*.*)|*.*|");
  const std::string path = context().prompts().File(prompt);
  if (path.empty() || set_.IsBusy()) return;
  if (!link) return LoadFile(component, path);
  if (const Result linked = set_.SetLink(component, path); !linked.ok()) return Refuse(linked);
  Say(tr("Linked to %1").arg(ShownUtf8(path)));
}

void TZKGrp::LoadFile(int component, const std::string& path) {
  std::string note;
  DataFilePtr read;
  Result result = services_.read(path, *set_.GetDataFile(component), &read, &note);
  if (result.ok()) result = set_.PutData(component, std::move(read));
  if (!result.ok()) return Refuse(result);
  const QString done = tr("Loaded from %1").arg(ShownUtf8(path));
  Say(note.empty() ? done : done + QStringLiteral(". ") + ShownUtf8(note));
}

void TZKGrp::TakeOut(bool link) {
  const int component = Chosen().front();
  DataFilePtr taken;
  Result result = set_.TakeData(component, &taken);
  if (!result.ok()) return Refuse(result);
  ZKBankDoc bank(std::move(taken));
  FilePrompt prompt;
  prompt.title = link ? "Save Link..." : "Save Data As ?";
  prompt.save = true;
  prompt.folder = set_.path().empty() ? context().DataFolder() : FolderOf(set_.path());
  prompt.name = FixInvalidFilenameCharacters(bank.Title()) + "." + bank.Extension();
  prompt.patterns = {"ZK Data (*." + bank.Extension() + ")", "All Files (*)"};
  const std::string path = context().prompts().File(prompt);
  if (path.empty()) return;
  result = bank.Save(path);
  if (result.ok() && link) result = set_.SetLink(component, path);
  if (!result.ok()) return Refuse(result);
  context().FileUsed(path);
  Say((link ? tr("Saved as %1 and linked") : tr("Saved as %1")).arg(ShownUtf8(path)));
}

void TZKGrp::Refuse(const Result& result) {
  context().prompts().Say("Set", result.text);
}

void TZKGrp::Resolve() {
  std::vector<int> left;
  const Result result = set_.ResolveLinks(&left);
  if (!result.ok()) return Refuse(result);
  if (left.empty()) return Say(tr("All data is in the Set now."));
  std::string text = "Links that stay, as there is no data for them:\n";
  for (const int component : left) text += "\n" + set_.TitleOf(component) + ": " + set_.LinkPath(component);
  context().prompts().Say("Set", text);
}

// ---- its end --------------------------------------------------------------------------------------------------------

void TZKGrp::GiveUpWork() {
  transfers_.Cancel();
  pane_->GiveUpWork();
}

void TZKGrp::closeEvent(QCloseEvent* event) {
  DocumentWindow::closeEvent(event);
  if (event->isAccepted()) GiveUpWork();
}

}  // namespace tonalith
