#include "tools/ui/raw_sysex_window.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/short_memory.h"
#include "services/settings.h"
#include "services/transfer_files.h"
#include "tools/ui/message_drag.h"
#include "tools/ui/repair_copy.h"
#include "ui/beside.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/document_header.h"
#include "ui/style/list_delegate.h"
#include "ui/style/list_search.h"
#include "ui/style/row_filter.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/tool_row.h"

namespace tonalith {

namespace {

std::vector<std::uint8_t> BytesOfRows(const RawSysExDocument& document, std::span<const int> rows) {
  std::vector<std::uint8_t> bytes;
  for (const int row : rows) {
    const auto message = document.BytesOf(document.messages()[static_cast<std::size_t>(row)]);
    bytes.insert(bytes.end(), message.begin(), message.end());
  }
  return bytes;
}

}  // namespace

// ---- window ---------------------------------------------------------------------------------------------------------

RawSysExWindow::RawSysExWindow(std::unique_ptr<RawSysExDocument> document, WindowContext& context,
                               RawSysExServices services, QWidget* parent)
    : DocumentWindow(std::move(document), context, parent),
      services_(std::move(services)),
      drag_(std::make_unique<MessageDrag>(*this, context.moves(), [this] { return BytesOfSelection(); })),
      model_(new RawSysExModel(static_cast<RawSysExDocument&>(this->document()), services_.studio, this)),
      list_(new MessageTable(*drag_, this)),
      search_(new SearchField(tr("Search messages"), this)),
      filter_(new RowFilter(model_, this, [this](int row) { return model_->TextOf(row); })),
      found_(new ListSearch(search_, list_, filter_)),
      port_(new QComboBox(this)) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap + kSmallGap);
  BuildHeader(column);
  BuildTools(column);
  BuildList(column);
  RefreshTools();
  UpdateTitle();
  resize(fontMetrics().averageCharWidth() * 90, fontMetrics().height() * 24);
}

RawSysExWindow::~RawSysExWindow() {
  // The rows read the document, which goes before the children of this window would.
  delete list_;
  delete filter_;
}

const RawSysExDocument& RawSysExWindow::bytes() const {
  return static_cast<const RawSysExDocument&>(document());
}

QString RawSysExWindow::TitleText() const {
  return tr("Raw SysEx - %1").arg(ShownUtf8(NameOfFile()));
}

QString RawSysExWindow::Heading() const {
  const std::size_t count = bytes().messages().size();
  const std::size_t size = bytes().bytes().size();
  QString heading = count == 1 ? tr("1 message, %1 bytes").arg(size) : tr("%1 messages, %2 bytes").arg(count).arg(size);
  if (bytes().unlistedBytes() > 0) heading += tr("; the last %1 bytes are not listed").arg(bytes().unlistedBytes());
  if (bytes().otherBytes() > 0) heading += tr("; %1 bytes are no SysEx").arg(bytes().otherBytes());
  return tr("Raw SysEx") + QStringLiteral(" \u00B7 ") + heading;
}

void RawSysExWindow::BuildHeader(QBoxLayout* column) {
  header_ = new DocumentHeader(this);
  header_->SetTitle(ShownUtf8(NameOfFile()));
  header_->SetSecondary(Heading());
  auto* portLabel = new PlainLabel(tr("&Port:"), this);
  portLabel->setBuddy(port_);
  SetSecondaryText(portLabel);
  for (const auto& name : services_.outPorts) port_->addItem(ShownUtf8(name));
  port_->setCurrentIndex(std::clamp(services_.settings.MainMidiXPort(-1), 0, std::max(0, port_->count() - 1)));
  port_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  port_->setMinimumContentsLength(16);
  port_->setAccessibleName(tr("MIDI OUT port"));
  header_->AddRight(portLabel);
  header_->AddRight(port_);
  column->addWidget(header_);
}

void RawSysExWindow::BuildTools(QBoxLayout* column) {
  auto* row = new ToolRow(this);
  send_ = row->Add(Glyph::Send, tr("Send"), tr("Send the selected messages, or all that are shown, as they are"), true);
  QToolButton* open =
      row->Add(Glyph::Open, tr("Open as Data"), tr("Open the selected messages as data of their instrument"));
  open->setEnabled(services_.openData != nullptr);
  save_ = row->Add(Glyph::SaveAs, tr("Save As..."),
                   tr("Write the selected messages to a file; without a selection all that are shown, or every byte"));
  QToolButton* repair = row->Add(Glyph::Search, tr("Repair a Copy..."),
                                 tr("Look for damage; what can be repaired is repaired in a copy of the file"));
  row->SetSearch(search_);
  column->addWidget(row);
  connect(repair, &QToolButton::clicked, this, &RawSysExWindow::Repair);
  connect(send_, &QToolButton::clicked, this, &RawSysExWindow::Send);
  connect(open, &QToolButton::clicked, this, [this] { OpenRows(SelectedRows()); });
  connect(save_, &QToolButton::clicked, this, &RawSysExWindow::SaveSelection);
}

void RawSysExWindow::BuildList(QBoxLayout* column) {
  list_->setAccessibleName(tr("Messages"));
  list_->setSelectionBehavior(QAbstractItemView::SelectRows);
  list_->setAlternatingRowColors(true);
  DressList(list_);
  list_->setTabKeyNavigation(false);
  list_->setWordWrap(false);
  list_->horizontalHeader()->setStretchLastSection(true);
  const int width = fontMetrics().averageCharWidth();
  for (const int section : {RawSysExModel::kNumber, RawSysExModel::kOffset, RawSysExModel::kLength})
    list_->setColumnWidth(section, width * 11);
  list_->setColumnWidth(RawSysExModel::kHolds, width * 28);
  column->addWidget(list_, 1);
  found_->SetSummary([this] { return SearchSummary(); });
  column->addWidget(found_->Summary());
  connect(found_, &ListSearch::Changed, this, [this] {
    RefreshTools();
    emit StateChanged();
  });
  setFocusProxy(list_);
  connect(list_, &QTableView::activated, this,
          [this](const QModelIndex& index) { OpenRows({filter_->mapToSource(index).row()}); });
  connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    RefreshTools();
    emit StateChanged();
  });
}

bool RawSysExWindow::CommandEnabled(CommandId command) const {
  switch (command) {
    case CommandId::EditSelectAll:
      return true;
    case CommandId::FileSaveAs:
      return SaveRefusal().isEmpty();
    case CommandId::MidiTransmit:
      return SendRefusal().isEmpty();
    default:
      return DocumentWindow::CommandEnabled(command);
  }
}

QString RawSysExWindow::CommandRefusal(CommandId command) const {
  switch (command) {
    case CommandId::MidiTransmit:
      return SendRefusal();
    case CommandId::FileSaveAs:
      return SaveRefusal();
    default:
      return DocumentWindow::CommandRefusal(command);
  }
}

void RawSysExWindow::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  switch (command) {
    case CommandId::FileSaveAs:
      return SaveSelection();
    case CommandId::EditSelectAll:
      return list_->selectAll();
    case CommandId::MidiTransmit:
      return Send();
    default:
      return DocumentWindow::RunCommand(command);
  }
}

std::vector<int> RawSysExWindow::SelectedRows() const {
  std::vector<int> rows;
  for (const QModelIndex& index : list_->selectionModel()->selectedRows())
    rows.push_back(filter_->mapToSource(index).row());
  std::sort(rows.begin(), rows.end());
  return rows;
}

QString RawSysExWindow::SaveRefusal() const {
  if (!filter_->Filters() || list_->selectionModel()->hasSelection()) return {};
  if (filter_->Searching()) return tr("The search is still under way.");
  return filter_->rowCount() > 0 ? QString() : tr("The search hides every message.");
}

QString RawSysExWindow::SendRefusal() const {
  const QString refusal = SendAllRefusal();
  return refusal.isEmpty() ? SaveRefusal() : refusal;
}

QString RawSysExWindow::SearchSummary() const {
  if (filter_->Searching()) return tr("Searching...");
  return tr("%1 of %2 messages are shown. Without a selection Send and Save As take these.")
      .arg(locale().toString(found_->Shown()), locale().toString(model_->rowCount()));
}

void RawSysExWindow::RefreshTools() {
  EnableUnless(send_, SendRefusal());
  EnableUnless(save_, SaveRefusal());
}

// With nothing selected, what the search shows; without a search, everything.
std::vector<std::uint8_t> RawSysExWindow::SelectedBytes() const {
  std::vector<int> rows = SelectedRows();
  if (rows.empty() && !filter_->Filters()) return {bytes().bytes().begin(), bytes().bytes().end()};
  if (rows.empty()) rows = filter_->ShownRows();
  return BytesOfRows(bytes(), rows);
}

std::vector<std::uint8_t> RawSysExWindow::BytesOfSelection() const {
  return BytesOfRows(bytes(), SelectedRows());
}

std::vector<std::uint8_t> RawSysExWindow::PiecesOf(std::vector<int> rows) const {
  std::vector<std::size_t> taken;
  std::vector<std::uint8_t> part;
  std::sort(rows.begin(), rows.end());
  for (const int row : rows) {
    const SysExName* piece = model_->PieceAt(row);
    if (!piece || (!taken.empty() && taken.back() == piece->offset)) continue;
    taken.push_back(piece->offset);
    const auto span = bytes().bytes().subspan(piece->offset, piece->length);
    part.insert(part.end(), span.begin(), span.end());
  }
  return part;
}

std::string RawSysExWindow::MoveOutRefusal() const {
  const std::vector<int> rows = SelectedRows();
  if (rows.empty()) return ToUtf8(tr("No message is selected."));
  const bool known = std::any_of(rows.begin(), rows.end(), [this](int row) { return model_->PieceAt(row) != nullptr; });
  return known ? std::string() : ToUtf8(tr("No instrument of the studio knows these messages."));
}

MoveOffer RawSysExWindow::OfferOut() const {
  std::vector<DataFilePtr> found;
  MoveOffer offer;
  offer.source = {document().Window(), document().Number(), -1};
  if (context().DataIn(PiecesOf(SelectedRows()), &found).ok())
    for (const DataFilePtr& one : found) offer.types.push_back(MovedTypeOf(*one));
  return offer;
}

Result RawSysExWindow::MoveOut(Move* move) {
  if (std::string reason = MoveOutRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  std::vector<DataFilePtr> found;
  if (Result read = context().DataIn(PiecesOf(SelectedRows()), &found); !read.ok()) return read;
  move->source = {document().Window(), document().Number(), -1};
  if (found.size() == 1)
    move->payload = std::move(found.front());
  else
    move->payload = std::move(found);
  return Result::Success();
}

void RawSysExWindow::OpenRows(std::vector<int> rows) {
  const std::vector<std::uint8_t> part = PiecesOf(rows);
  if (part.empty())
    Say(rows.empty() ? tr("No message is selected.") : tr("No instrument of the studio knows these messages."));
  else if (services_.openData)
    services_.openData(part, NameOfFile());
}

// Of what it was taken out of when it is no file of its own.
std::string RawSysExWindow::NameOfFile() const {
  return document().path().empty() ? document().OriginName() : document().FileName();
}

void RawSysExWindow::Send() {
  services_.settings.MainMidiXPort(port_->currentIndex());
  services_.files.SendMidiX(SelectedBytes(), port_->currentIndex() + 1, NameOfFile());
}

QString RawSysExWindow::SendAllRefusal() const {
  return port_->count() > 0 ? QString() : tr("No MIDI OUT port is open.");
}

void RawSysExWindow::SendAll() {
  services_.settings.MainMidiXPort(port_->currentIndex());
  services_.files.SendMidiX(bytes().bytes(), port_->currentIndex() + 1, NameOfFile());
}

void RawSysExWindow::Repair() {
  const std::string said =
      RepairIntoCopy(services_.studio, bytes().bytes(), document().path(), context().DataFolder(), context().prompts());
  if (!said.empty()) Say(ShownUtf8(said));
}

void RawSysExWindow::DocumentChanged(const DocumentChange& change) {
  if (!header_) return;
  if (change.kind == DocumentChange::Kind::Everything) model_->BytesChanged();
  header_->SetTitle(ShownUtf8(NameOfFile()));
  header_->SetSecondary(Heading());
  header_->SetMark(Mark::Changed, document().IsModified());
  RefreshTools();
}

void RawSysExWindow::StudioChanged() {
  model_->StudioChanged();
}

void RawSysExWindow::SaveSelection() {
  // What is in no file yet gets its own.
  if (document().IsModified() && !filter_->Filters() && !list_->selectionModel()->hasSelection())
    return static_cast<void>(Save(true));
  FilePrompt prompt;
  prompt.title = SaveTitle();
  prompt.folder = document().path().empty() ? context().DataFolder() : FolderOf(document().path());
  prompt.name = document().path().empty() ? WithoutExtension(NameOfFile()) + ".SYX" : NameOfFile();
  prompt.patterns = FilePatterns("ZK MidiX File (*.SYX)|*.SYX|All Files (*.*)|*.*|");
  prompt.save = true;
  const std::string path = context().prompts().File(prompt);
  if (path.empty()) return;
  // A whole file may be large: it is not copied.
  const bool whole = !filter_->Filters() && !list_->selectionModel()->hasSelection();
  std::vector<int> rows = SelectedRows();
  if (rows.empty() && !whole) rows = filter_->ShownRows();
  std::vector<std::uint8_t> part;
  std::span<const std::uint8_t> selected = bytes().bytes();
  Result saved;
  const auto write = [&] {
    if (!whole) selected = part = BytesOfRows(bytes(), rows);
    saved = WriteFileAtomically(path, selected);
  };
  const bool large = selected.size() >= kWorthAThread;
  if (!WithMemory([&] { large ? RunBeside(write) : write(); })) saved = Result::Failure(path + "\n\n" + kShortMemory);
  if (!saved.ok()) {
    context().prompts().Say("File Error", saved.text);
    return;
  }
  context().FileUsed(path);
  Say(tr("%1 bytes were saved as %2.").arg(selected.size()).arg(ShownUtf8(path)));
}

}  // namespace tonalith
