#include "collection/ui/collection_window.h"

#include <QApplication>
#include <QDropEvent>
#include <QHeaderView>
#include <QMenu>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "collection/collection_document.h"
#include "collection/ui/collection_list.h"
#include "platform/path_resolver.h"
#include "ui/command_glyphs.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/document_header.h"
#include "ui/style/empty_state.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/tool_row.h"

namespace tonalith {

namespace {

constexpr int kLeftColumns = 20;  // characters that the list is wide at least

ZKDBaseDoc& CollectionOf(Document& document) {
  return static_cast<ZKDBaseDoc&>(document);
}

}  // namespace

TZKDBase::TZKDBase(std::unique_ptr<ZKDBaseDoc> document, WindowContext& context, CollectionServices services,
                   QWidget* parent)
    : DocumentWindow(std::move(document), context, parent),
      collection_(CollectionOf(DocumentWindow::document())),
      services_(std::move(services)),
      adding_(collection_, context, this),
      names_(
          *this, context, [this] { return NamesOfChosen(); }, [this](const QString& text) { Say(text); }),
      header_(new DocumentHeader(this)),
      tools_(new ToolRow(this)),
      search_(new SearchField(tr("Search entries"), tools_)),
      body_(new QStackedWidget(this)),
      split_(new QSplitter(body_)),
      left_(new QStackedWidget(split_)),
      list_(new ZKDBaseListCtrl(collection_, left_)),
      empty_(new EmptyState(Glyph::Folder, tr("No entries yet"),
                            tr("Add Sets, banks, patches or whole folders, or drag them here."), body_)),
      none_(new EmptyState(Glyph::Search, tr("Nothing found"),
                           tr("No entry has all of these words. Try fewer of them."), left_)),
      nothing_(new EmptyState(Glyph::Bank, tr("No entry is selected"), tr("What it holds is shown here."), split_)),
      right_(new QStackedWidget(split_)),
      status_(new PlainLabel(this)) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap + kSmallGap);
  column->addWidget(header_);
  BuildTools();
  column->addWidget(tools_);
  BuildBody();
  column->addWidget(body_, 1);
  SetSecondaryText(status_);
  column->addWidget(status_);
  connect(&adding_, &CollectionAdding::Changed, this, [this] {
    Refresh();
    emit StateChanged();
  });
  connect(&adding_, &CollectionAdding::Over, this, [this](const QString& text, const std::vector<EntryId>& stored) {
    FollowList();
    if (!stored.empty()) list_->Select(stored);
    Say(text);
  });
  UpdateTitle();
  if (!collection_.Order().empty()) list_->Select({collection_.Order().front()});
  FollowList();
  resize(fontMetrics().averageCharWidth() * 160, fontMetrics().height() * 38);
}

TZKDBase::~TZKDBase() {
  // It works on the document, which goes before the children of this window would.
  delete std::exchange(page_, nullptr);
  delete body_;
}

// ---- how it is built ------------------------------------------------------------------------------------------------

void TZKDBase::AddTool(Glyph glyph, CommandId command, const QString& text, bool primary) {
  QToolButton* tool = tools_->Add(glyph, text, CommandTip(command), primary);
  connect(tool, &QToolButton::clicked, this, [this, command] { RunCommand(command); });
  buttons_.emplace_back(command, tool);
}

void TZKDBase::BuildTools() {
  AddTool(Glyph::Add, CommandId::CollectionAddFiles, tr("Add Files"), true);
  AddTool(Glyph::Folder, CommandId::CollectionAddFolder, tr("Add Folder"));
  AddTool(Glyph::Stop, CommandId::CollectionStop, tr("Stop"));
  AddTool(Glyph::Undo, CommandId::EditUndo, tr("Undo"));
  AddTool(Glyph::Redo, CommandId::EditRedo, tr("Redo"));
  AddTool(Glyph::Save, CommandId::FileSave, tr("Save"));
  for (const CommandId command : {CommandId::MidiGet, CommandId::MidiTransmit, CommandId::CollectionLink,
                                  CommandId::CollectionResolve, CommandId::CollectionDelete, CommandId::CollectionUp,
                                  CommandId::CollectionDown, CommandId::EditCopyNames, CommandId::FilePrint}) {
    if (command == CommandId::CollectionLink || command == CommandId::CollectionDelete ||
        command == CommandId::EditCopyNames)
      tools_->AddLineToMore();
    const QString text = command == CommandId::EditCopyNames
                             ? tr("Copy as Text")
                             : QString::fromLatin1(RowOf(command)->text).remove(QLatin1Char('&'));
    more_.emplace_back(command, tools_->AddToMore(GlyphOf(command), text, [this, command] { RunCommand(command); }));
  }
  tools_->SetSearch(search_);
  connect(search_, &SearchField::WordsChanged, this, [this](const QString& words) {
    list_->rows()->SetFilter(ToUtf8(words));
    FollowList();
  });
  const auto toList = [this] { list_->setFocus(); };
  connect(search_, &SearchField::GoToList, this, toList);
  connect(search_, &SearchField::Left, this, toList);
}

void TZKDBase::BuildBody() {
  const int character = fontMetrics().averageCharWidth();
  left_->addWidget(list_);
  left_->addWidget(none_);
  left_->setMinimumWidth(character * kLeftColumns);
  right_->addWidget(nothing_);
  split_->addWidget(left_);
  split_->addWidget(right_);
  split_->setChildrenCollapsible(false);
  split_->setStretchFactor(1, 1);
  split_->setSizes({character * 70, character * 90});
  body_->addWidget(split_);
  body_->addWidget(empty_);
  addFirst_ = empty_->AddButton(tr("&Add Files..."), [this] { RunCommand(CommandId::CollectionAddFiles); });
  empty_->AddButton(tr("Add F&older..."), [this] { RunCommand(CommandId::CollectionAddFolder); });
  none_->AddButton(tr("Sh&ow All"), [this] { search_->clear(); });
  list_->SetDrag(ListDrag());
  for (EmptyState* place : {empty_, none_}) {
    place->setAcceptDrops(true);
    place->installEventFilter(this);
  }
  connect(list_->rows(), &CollectionListModel::Explained, this, [this](const QString& text) { Say(text); });
  connect(list_->header(), &QHeaderView::sectionResized, this, [this] { list_->KeepWidths(); });
  connect(list_, &ZKDBaseListCtrl::ShownChanged, this, [this] {
    emit TakeEdits();
    ShowPage();
    Refresh();
    emit StateChanged();
    emit InspectChanged();
  });
  connect(list_, &ZKDBaseListCtrl::OpenWanted, this, [this] { RunCommand(CommandId::EditOpen); });
  connect(list_, &ZKDBaseListCtrl::DeleteWanted, this, [this] { RunCommand(CommandId::CollectionDelete); });
  connect(list_, &ZKDBaseListCtrl::SortWanted, this, &TZKDBase::SortBy);
  connect(list_, &ZKDBaseListCtrl::AskMenu, this, &TZKDBase::ShowQuickMenu);
}

void TZKDBase::ShowQuickMenu(const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->setToolTipsVisible(true);
  constexpr CommandId kEntries[] = {
      CommandId::EditOpen,         CommandId::MidiTransmit, CommandId::MidiGet,           CommandId::None,
      CommandId::EditCut,          CommandId::EditCopy,     CommandId::EditPaste,         CommandId::EditRename,
      CommandId::CollectionDelete, CommandId::None,         CommandId::CollectionResolve, CommandId::CollectionUp,
      CommandId::CollectionDown,   CommandId::None,         CommandId::FileSave,          CommandId::FileSaveAs};
  const bool set = Chosen().size() == 1 && collection_.Item(Chosen().front()).isSet;
  for (const CommandId command : kEntries) {
    const CommandRow* row = RowOf(command);
    if (!row) {
      menu->addSeparator();
      continue;
    }
    const QString text = command == CommandId::FileSave              ? tr("Save Collection")
                         : command == CommandId::FileSaveAs          ? tr("Save Collection As...")
                         : command == CommandId::MidiTransmit && set ? tr("Send Set to Instrument")
                         : command == CommandId::MidiGet             ? tr("Get From Instrument")
                                                                     : QString::fromLatin1(row->text);
    QAction* entry = menu->addAction(text);
    if (const Glyph glyph = GlyphOf(command); glyph != Glyph::None) entry->setIcon(IconOf(glyph));
    const QString refusal = RefusalOf(command);
    entry->setEnabled(refusal.isEmpty());
    SetToolTip(entry, refusal);
    SetStatusTip(entry, refusal.isEmpty() ? QString::fromLatin1(row->help) : refusal);
    connect(entry, &QAction::triggered, this, [this, command] { RunCommand(command); });
  }
  menu->popup(at);
}

// ---- what is shown --------------------------------------------------------------------------------------------------

QString TZKDBase::ShownName() const {
  if (!collection_.path().empty()) return ShownUtf8(WithoutExtension(collection_.FileName()));
  if (!collection_.OriginName().empty()) return ShownUtf8(collection_.OriginName());
  return tr("New Collection");
}

QString TZKDBase::TabText() const {
  return ShownName();
}

QString TZKDBase::TitleText() const {
  return tr("%1 - Collection").arg(ShownName());
}

void TZKDBase::DocumentChanged(const DocumentChange& change) {
  if (page_) page_->FollowState();
  if (change.kind == DocumentChange::Kind::State) return Refresh();
  if (page_) page_->Follow();
  FollowList();
}

void TZKDBase::FollowList() {
  list_->Follow();
  const CollectionListModel* rows = list_->rows();
  search_->SetHits(rows->Filters() ? rows->rowCount() : -1);
  Refresh();
  emit StateChanged();
}

void TZKDBase::ShowPage() {
  if (page_ && page_->IsBusy()) return;
  const EntryId wanted = list_->Current();
  if (page_ && page_->entry() == wanted) return;
  const bool focus = InPage();
  // It may be the page itself that has changed what is listed.
  if (CollectionPage* former = std::exchange(page_, nullptr)) {
    former->disconnect(this);
    right_->removeWidget(former);
    former->hide();
    former->deleteLater();
  }
  if (wanted != 0) {
    page_ = new CollectionPage(collection_, wanted, context(), *this, services_.pages, right_);
    right_->addWidget(page_);
    right_->setCurrentWidget(page_);
    connect(page_, &CollectionPage::Say, this, [this](const QString& text) { Say(text); });
    connect(page_, &CollectionPage::Changed, this, &TZKDBase::PageChanged);
    page_->FollowState();
  }
  if (focus) list_->setFocus();
}

// A transfer that has ended gives the place free for the current entry.
void TZKDBase::PageChanged() {
  if (page_ && !page_->IsBusy() && page_->entry() != list_->Current()) QTimer::singleShot(0, this, &TZKDBase::ShowPage);
  Refresh();
  emit StateChanged();
}

void TZKDBase::Refresh() {
  header_->SetTitle(ShownName());
  const std::size_t count = collection_.GetDataFileCount();
  std::size_t sets = 0;
  for (const EntryId entry : collection_.Order()) sets += collection_.Item(entry).isSet;
  QStringList parts{tr("Collection"), count == 1 ? tr("1 entry") : tr("%1 entries").arg(count)};
  if (sets > 0) parts << (sets == 1 ? tr("1 Set") : tr("%1 Sets").arg(sets));
  if (collection_.UnreadParts() > 0) parts << tr("%1 not readable").arg(collection_.UnreadParts());
  if (adding_.Running()) parts << tr("reading files");
  header_->SetSecondary(parts.join(QStringLiteral(" \u00B7 ")));
  header_->SetMark(Mark::Changed, collection_.IsModified(),
                   collection_.path().empty() ? tr("in no file yet") : QString());
  ShowBody();
  for (const auto& [command, button] : buttons_) {
    EnableUnless(button, RefusalOf(command));
    if (command == CommandId::CollectionStop) tools_->Show(button, adding_.Running());
  }
  for (const auto& [command, action] : more_) action->setEnabled(CommandEnabled(command));
}

// The keys go to what is shown.
void TZKDBase::ShowBody() {
  const bool empty = collection_.GetDataFileCount() == 0;
  left_->setCurrentWidget(list_->rows()->rowCount() > 0 ? static_cast<QWidget*>(list_) : none_);
  QWidget* keys = empty ? static_cast<QWidget*>(addFirst_) : list_;
  if (focusProxy() == keys) return;
  const QWidget* focused = QApplication::focusWidget();
  const bool here = focused && body_->isAncestorOf(focused);
  setFocusProxy(keys);
  body_->setCurrentWidget(empty ? static_cast<QWidget*>(empty_) : split_);
  if (here) keys->setFocus();
}

bool TZKDBase::eventFilter(QObject* watched, QEvent* event) {
  if (watched == empty_ || watched == none_) {
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove)
      return list_->DragOver(static_cast<QDropEvent*>(event)), true;
    if (event->type() == QEvent::Drop) return list_->Drop(static_cast<QDropEvent*>(event)), true;
  }
  return DocumentWindow::eventFilter(watched, event);
}

void TZKDBase::Say(const QString& text) {
  status_->setText(text);
  DocumentWindow::Say(text);
}

InspectorContent TZKDBase::Inspect() {
  ZKWindow* inner = page_ ? page_->Inner() : nullptr;
  return inner ? inner->Inspect() : InspectorContent();
}

std::optional<MidiRoute> TZKDBase::AuditionRoute() const {
  const ZKWindow* inner = page_ ? page_->Inner() : nullptr;
  return inner ? inner->AuditionRoute() : std::nullopt;
}

void TZKDBase::PortsChanged(int changes) {
  if (ZKWindow* inner = page_ ? page_->Inner() : nullptr) inner->PortsChanged(changes);
}

void TZKDBase::StudioChanged() {
  if (ZKWindow* inner = page_ ? page_->Inner() : nullptr) inner->StudioChanged();
}

void TZKDBase::SettingsChanged() {
  if (ZKWindow* inner = page_ ? page_->Inner() : nullptr) inner->SettingsChanged();
}

void TZKDBase::GiveUpWork() {
  if (page_) page_->GiveUpWork();
}

bool TZKDBase::VerifyClose() {
  if (adding_.Running()) {
    context().prompts().Say("Collection", "Files are being read.  Wait until they are, or stop it.");
    return false;
  }
  return DocumentWindow::VerifyClose();
}

}  // namespace tonalith
