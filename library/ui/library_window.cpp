#include "library/ui/library_window.h"

#include <QAction>
#include <QApplication>
#include <QDropEvent>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "library/ui/library_list.h"
#include "platform/path_resolver.h"
#include "services/transfer_sentences.h"
#include "store/library/keyword_file.h"
#include "store/library/library_document.h"
#include "store/library/library_sort.h"
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

constexpr int kListMs = 500;
constexpr std::size_t kWarmSlice = 100;  // entries whose texts are made at a time

ZKLibDoc& LibraryOf(Document& document) {
  return static_cast<ZKLibDoc&>(document);
}

QString Counter(const char* label, std::size_t count) {
  return QString::fromLatin1(label) + QString::number(count).leftJustified(8);
}

}  // namespace

TZKLib::TZKLib(std::unique_ptr<ZKLibDoc> document, WindowContext& context, LibraryServices services, QWidget* parent)
    : DocumentWindow(std::move(document), context, parent),
      library_(LibraryOf(DocumentWindow::document())),
      services_(std::move(services)),
      view_(library_),
      adding_(library_, context, this),
      player_(library_, context, this),
      exports_(*this, context, library_, view_, services_.ports, [this](const QString& text) { Say(text); }),
      header_(new DocumentHeader(this)),
      tools_(new ToolRow(this)),
      search_(new SearchField(tr("Search patches"), tools_)),
      body_(new QStackedWidget(this)),
      list_(new ZKLibListCtrl(library_, view_, body_)),
      empty_(new EmptyState(Glyph::Folder, tr("No patches yet"),
                            tr("Add banks, patches or whole folders, or drag patches here."), body_)),
      none_(new EmptyState(Glyph::Search, QString(), QString(), body_)),
      counters_(new PlainLabel(this)),
      status_(new PlainLabel(this)) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap + kSmallGap);
  column->addWidget(header_);
  BuildTools();
  column->addWidget(tools_);
  BuildBody();
  column->addWidget(body_, 1);
  auto* below = new QHBoxLayout;
  SetSecondaryText(counters_);
  SetSecondaryText(status_);
  counters_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
  status_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  status_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  below->addWidget(counters_);
  below->addWidget(status_, 1);
  column->addLayout(below);
  listedAdded_.setSingleShot(true);
  listedAdded_.setInterval(kListMs);
  warmUp_.setInterval(0);
  connect(&warmUp_, &QTimer::timeout, this, &TZKLib::WarmUp);
  connect(&adding_, &LibraryAdding::Changed, this, &TZKLib::ShowAdding);
  connect(&adding_, &LibraryAdding::Over, this, [this](const QString& text, const std::vector<EntryId>& added) {
    view_.Refresh();
    ShowAdded(added);
    Say(text);
  });
  connect(&player_, &LibraryPlayer::Say, this, [this](const QString& text) { Say(text); });
  UpdateTitle();
  FollowView();
  warmUp_.start();
  resize(fontMetrics().averageCharWidth() * 150, fontMetrics().height() * 36);
}

TZKLib::~TZKLib() {
  // It asks the view, which goes before the children of this window would.
  delete body_;
}

// ---- how it is built ------------------------------------------------------------------------------------------------

void TZKLib::AddTool(Glyph glyph, CommandId command, const QString& text, bool primary) {
  QToolButton* tool = tools_->Add(glyph, text, CommandTip(command), primary);
  connect(tool, &QToolButton::clicked, this, [this, command] { RunCommand(command); });
  buttons_.emplace_back(command, tool);
}

void TZKLib::BuildTools() {
  AddTool(Glyph::Add, CommandId::LibraryAddFiles, tr("Add Files"), true);
  AddTool(Glyph::Folder, CommandId::LibraryAddFolder, tr("Add Folder"));
  AddTool(Glyph::Stop, CommandId::LibraryStop, tr("Stop"));
  AddTool(Glyph::Audition, CommandId::LibraryPlay, tr("Play"));
  AddTool(Glyph::Undo, CommandId::EditUndo, tr("Undo"));
  AddTool(Glyph::Redo, CommandId::EditRedo, tr("Redo"));
  AddTool(Glyph::Save, CommandId::FileSave, tr("Save"));
  for (const CommandId command : {CommandId::LibraryNewBank, CommandId::LibraryDelete, CommandId::LibraryHide,
                                  CommandId::LibraryShowAll, CommandId::LibraryDuplicates, CommandId::LibrarySimilar,
                                  CommandId::LibraryRenameAll, CommandId::LibraryNumber}) {
    if (command == CommandId::LibraryHide || command == CommandId::LibraryDuplicates) tools_->AddLineToMore();
    const QString text = QString::fromLatin1(RowOf(command)->text).remove(QLatin1Char('&'));
    more_.emplace_back(command, tools_->AddToMore(GlyphOf(command), text, [this, command] { RunCommand(command); }));
  }
  tools_->SetSearch(search_);
  connect(search_, &SearchField::WordsChanged, this, [this](const QString& words) {
    view_.SetFilter(ToUtf8(words));
    FollowView();
  });
  const auto toList = [this] { list_->setFocus(); };
  connect(search_, &SearchField::GoToList, this, toList);
  connect(search_, &SearchField::Left, this, toList);
}

void TZKLib::BuildBody() {
  body_->addWidget(list_);
  body_->addWidget(empty_);
  addFirst_ = empty_->AddButton(tr("&Add Files..."), [this] { RunCommand(CommandId::LibraryAddFiles); });
  empty_->AddButton(tr("Add F&older..."), [this] { RunCommand(CommandId::LibraryAddFolder); });
  body_->addWidget(none_);
  showAll_ = none_->AddButton(tr("Sh&ow All"), [this] {
    if (view_.Filters()) return search_->clear();
    RunCommand(CommandId::LibraryShowAll);
  });
  list_->SetDrag(ListDrag());
  for (EmptyState* place : {empty_, none_}) {
    place->setAcceptDrops(true);
    place->installEventFilter(this);
  }
  list_->rows()->SetRefusal(
      [this] { return adding_.Running() ? tr("Patches are being added.") : ShownUtf8(library_.ReadOnlyReason()); });
  connect(list_->rows(), &LibraryListModel::Explained, this, [this](const QString& text) { Say(text); });
  connect(list_, &ZKLibListCtrl::ShownChanged, this, [this] {
    Refresh();
    player_.GoneTo(view_.SelectedCount() == 1 && list_->hasFocus() ? list_->Current() : 0);
    emit StateChanged();
  });
  connect(list_, &ZKLibListCtrl::OpenWanted, this, [this] { RunCommand(CommandId::EditOpen); });
  connect(list_, &ZKLibListCtrl::DeleteWanted, this, [this] { RunCommand(CommandId::LibraryDelete); });
  connect(list_, &ZKLibListCtrl::SortWanted, this, &TZKLib::SortBy);
  connect(list_, &ZKLibListCtrl::AskMenu, this, &TZKLib::ShowQuickMenu);
}

// What has come is listed from time to time: a list that is made anew takes longer than what is added meanwhile.
void TZKLib::ShowAdding() {
  if (adding_.Running() && !listedAdded_.isActive()) {
    view_.Refresh();
    FollowView();
    listedAdded_.start();
    return;
  }
  Refresh();
  emit StateChanged();
}

void TZKLib::ShowQuickMenu(const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->setToolTipsVisible(true);
  constexpr CommandId kEntries[] = {
      CommandId::EditOpen,      CommandId::LibraryPlay, CommandId::LibraryNewBank,    CommandId::None,
      CommandId::EditCut,       CommandId::EditCopy,    CommandId::EditPaste,         CommandId::LibraryDelete,
      CommandId::None,          CommandId::LibraryHide, CommandId::LibraryShowAll,    CommandId::LibraryMergeKeys,
      CommandId::LibraryNumber, CommandId::None,        CommandId::LibraryDuplicates, CommandId::LibrarySimilar,
      CommandId::None,          CommandId::FileSave,    CommandId::FileSaveAs};
  for (const CommandId command : kEntries) {
    const CommandRow* row = RowOf(command);
    if (!row) {
      menu->addSeparator();
      continue;
    }
    const QString text = command == CommandId::FileSave     ? tr("Save Library")
                         : command == CommandId::FileSaveAs ? tr("Save Library As...")
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

const DataFile* TZKLib::InstrumentData() const {
  return library_.driver();
}

QString TZKLib::TabText() const {
  return ShownName();
}

QString TZKLib::TitleText() const {
  const QString name = library_.path().empty() ? tr("not saved yet") : ShownUtf8(WithoutExtension(library_.FileName()));
  return tr("%1 - %2").arg(name, ShownUtf8(library_.Title()));
}

void TZKLib::DocumentChanged(const DocumentChange& change) {
  if (change.kind == DocumentChange::Kind::State) return Refresh();
  if (adding_.Running()) return Refresh();
  view_.Refresh();
  FollowView();
  warm_ = 0;
  warmUp_.start();
}

void TZKLib::FollowView() {
  list_->Follow();
  search_->SetHits(view_.Filters() ? static_cast<int>(view_.Listed().size()) : -1);
  Refresh();
  emit StateChanged();
}

void TZKLib::ShowAdded(const std::vector<EntryId>& added) {
  view_.SetSelected(added);
  FollowView();
  list_->GoToSelected();
}

// The first key in the search field must not wait for all texts.
void TZKLib::WarmUp() {
  const std::vector<EntryId>& order = library_.Order();
  const std::size_t end = std::min(warm_ + kWarmSlice, order.size());
  for (; warm_ < end; ++warm_) library_.FilterText(order[warm_]);
  if (warm_ >= order.size()) warmUp_.stop();
}

void TZKLib::Refresh() {
  if (header_->Title().isEmpty() && library_.driver()) {
    const QString instrument = ShownUtf8(TransferTitle(*library_.driver()));
    header_->SetPicture(InstrumentPicture(instrument.section(QLatin1Char(' '), 0, 0),
                                          instrument.section(QLatin1Char(' '), 1, 1), DocumentHeader::kPicture,
                                          devicePixelRatioF()));
  }
  header_->SetTitle(ShownName());
  const std::size_t count = library_.GetDataFileCount();
  QStringList parts{ShownUtf8(library_.Title()), count == 1 ? tr("1 patch") : tr("%1 patches").arg(count)};
  if (library_.UnreadParts() > 0) parts << tr("%1 not readable").arg(library_.UnreadParts());
  if (view_.ShowsSome()) parts << tr("what was found is shown");
  header_->SetSecondary(parts.join(QStringLiteral(" \u00B7 ")));
  header_->SetMark(Mark::Changed, library_.IsModified(), library_.path().empty() ? tr("in no file yet") : QString());
  counters_->setText(searching_ ? tr("Searching Library...")
                                : Counter("Displayed: ", view_.Listed().size()) +
                                      Counter("Selected: ", view_.SelectedCount()) +
                                      Counter("Hidden: ", library_.HiddenCount()).trimmed());
  if (adding_.Running()) status_->setText(adding_.Progress());
  ShowBody();
  for (const auto& [command, button] : buttons_) {
    EnableUnless(button, RefusalOf(command));
    if (command == CommandId::LibraryStop) tools_->Show(button, adding_.Running());
  }
  for (const auto& [command, action] : more_) action->setEnabled(CommandEnabled(command));
}

// The keys go to what is shown.
void TZKLib::ShowBody() {
  QWidget* wanted = list_;
  QWidget* keys = list_;
  if (!adding_.Running() && library_.GetDataFileCount() == 0) {
    wanted = empty_;
    keys = addFirst_;
  } else if (!adding_.Running() && view_.Listed().empty()) {
    wanted = none_;
    keys = showAll_;
    if (view_.Filters())
      none_->SetTexts(tr("Nothing found"), tr("No patch that is shown has all of these words. Try fewer of them."));
    else
      none_->SetTexts(tr("No patch is shown"), tr("All that were shown are gone or hidden."));
  }
  if (focusProxy() == keys) return;
  const QWidget* focused = QApplication::focusWidget();
  const bool here = focused && body_->isAncestorOf(focused);
  setFocusProxy(keys);
  body_->setCurrentWidget(wanted);
  if (here) keys->setFocus();
}

bool TZKLib::eventFilter(QObject* watched, QEvent* event) {
  if (watched == empty_ || watched == none_) {
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove)
      return list_->DragOver(static_cast<QDropEvent*>(event)), true;
    if (event->type() == QEvent::Drop) return list_->Drop(static_cast<QDropEvent*>(event)), true;
  }
  return DocumentWindow::eventFilter(watched, event);
}

void TZKLib::Say(const QString& text) {
  status_->setText(text);
  DocumentWindow::Say(text);
}

std::optional<MidiRoute> TZKLib::AuditionRoute() const {
  const DataFile* driver = library_.driver();
  if (!driver) return std::nullopt;
  return MidiRoute{driver->synth->midiOutPort, driver->synth->midiChannel};
}

bool TZKLib::VerifyClose() {
  if (adding_.Running() || searching_) {
    context().prompts().Say("Library", "Please wait until the Library has finished\nbackground processing then close");
    return false;
  }
  return DocumentWindow::VerifyClose();
}

}  // namespace tonalith
