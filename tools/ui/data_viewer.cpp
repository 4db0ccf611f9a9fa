#include "tools/ui/data_viewer.h"

#include <QDropEvent>
#include <QKeyEvent>
#include <QLocale>
#include <QMimeData>
#include <QPushButton>
#include <QStackedLayout>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <memory>
#include <utility>

#include "data/hex_text.h"
#include "platform/file_bytes.h"
#include "platform/path_resolver.h"
#include "tools/raw_sysex_document.h"
#include "tools/ui/change_byte.h"
#include "tools/ui/listing_paper.h"
#include "tools/ui/listing_spoken.h"
#include "tools/ui/listing_view.h"
#include "tools/ui/message_view.h"
#include "tools/ui/raw_sysex_window.h"
#include "ui/clipboard.h"
#include "ui/instrument_window.h"
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

constexpr char kViewTitle[] = "View";
constexpr char kMismatchTitle[] = "Mismatched bytes";
constexpr char kNotComparing[] = "Must be comparing files!";
constexpr char kMoreThanFits[] = "At most %1 bytes are copied or printed at once: select fewer.";
// What is done between two looks at the user's keys.
constexpr std::size_t kRawPiece = std::size_t{1} << 20;
constexpr std::size_t kFormattedPiece = std::size_t{1} << 13;
constexpr std::size_t kLinesOfPiece = 1024;

}  // namespace

bool TZKView::CanShow(ZKWindow* window) {
  return qobject_cast<InstrumentWindow*>(window) || qobject_cast<RawSysExWindow*>(window);
}

TZKView::TZKView(DocumentWindow& data, WindowContext& context, ViewMemory& memory, const ZKStudioDoc& studio,
                 QWidget* parent)
    : ZKWindow(parent),
      data_(&data),
      context_(context),
      memory_(memory),
      timer_(new QTimer(this)),
      header_(new DocumentHeader(this)),
      words_(&studio),
      bytes_(new ListingView([this] { return Listing(); }, this)),
      messages_(new MessageView([this] { return Listing(); }, words_, this)),
      search_(new SearchField(tr("Find text or bytes"), this)),
      status_(new PlainLabel(this)) {
  setAcceptDrops(true);
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap + kSmallGap);
  column->addWidget(header_);
  BuildTools(column);
  BuildBytes(column);
  listener_ = data.document().AddListener([this](const DocumentChange&) { DataChanged(); });
  connect(&data, &ZKWindow::Closing, this, [this] {
    Release();
    CloseVerified();
  });
  timer_->setSingleShot(true);
  connect(timer_, &QTimer::timeout, this, [this] {
    // The last step may ask something, and what is done meanwhile may begin other work.
    std::function<bool()> step = std::exchange(step_, nullptr);
    if (step && !step() && !step_) Work(std::move(step));
  });
  Refresh();
  resize(bytes_->sizeHint().width() + 2 * kWideGap, fontMetrics().height() * 28);
}

TZKView::~TZKView() {
  Release();
}

// The data goes, or the viewer does.
void TZKView::Release() {
  Work({});
  if (data_) data_->document().RemoveListener(listener_);
  data_ = nullptr;
  bytes_->Renew();
  messages_->rows().Clear();
}

void TZKView::BuildTools(QBoxLayout* column) {
  auto* row = new ToolRow(this);
  const auto add = [&](Glyph glyph, const QString& text, const QString& tip, void (TZKView::*run)()) {
    QToolButton* tool = row->Add(glyph, text, tip);
    connect(tool, &QToolButton::clicked, this, run);
    return tool;
  };
  formatted_ = row->Add(Glyph::Filter, tr("Formatted"),
                        tr("Show the bytes of the patches without packing, heads and checksums"));
  formatted_->setCheckable(true);
  connect(formatted_, &QToolButton::clicked, this, &TZKView::ShowFormatted);
  asMessages_ = row->Add(Glyph::Monitor, tr("Messages"), tr("Show the bytes as MIDI messages, a line each"));
  asMessages_->setCheckable(true);
  connect(asMessages_, &QToolButton::clicked, this, &TZKView::ShowMessages);
  compare_ = add(Glyph::Compare, tr("Compare..."), tr("Show the bytes of a file beside these, or no longer"),
                 &TZKView::OnCompare);
  compare_->setCheckable(true);
  mismatches_ =
      add(Glyph::Info, tr("Mismatches"), tr("List the first bytes that differ"), &TZKView::ShowMismatchedBytes);
  change_ = add(Glyph::Rename, tr("Change Byte..."), tr("Give the current byte another value (Return)"),
                &TZKView::ChangeByte);
  get_ = row->Add(Glyph::Get, tr("Get"), tr("Request this data from its instrument"));
  connect(get_, &QToolButton::clicked, this, [this] { RunCommand(CommandId::MidiGet); });
  send_ = row->Add(Glyph::Send, tr("Send"), tr("Send all of this data"));
  connect(send_, &QToolButton::clicked, this, [this] { RunCommand(CommandId::MidiTransmit); });
  row->AddToMore(Glyph::Search, tr("Find &Next (F3)"), [this] { FindNext(); });
  row->AddToMore(Glyph::Right, tr("&Go to Offset..."), [this] { GoToOffset(); });
  row->AddLineToMore();
  row->AddToMore(Glyph::Copy, tr("&Copy as Listing"), [this] { CopyListing(); });
  row->AddToMore(Glyph::Print, tr("&Print..."), [this] { Print(); });
  row->SetSearch(search_);
  column->addWidget(row);
  // Offered again: what was searched for last, here or in another viewer.
  search_->setText(memory_.searched);
  connect(search_, &SearchField::WordsChanged, this, [this] { Find(bytes_->TopLine() * kListingLine, false); });
  connect(search_, &QLineEdit::returnPressed, this, &TZKView::FindNext);
  connect(search_, &SearchField::GoToList, this, [this] { Shown()->setFocus(); });
  connect(search_, &SearchField::Left, this, [this] { Shown()->setFocus(); });
}

void TZKView::BuildBytes(QBoxLayout* column) {
  ServeListingReaders(*bytes_);
  bytes_->setAccessibleName(tr("Bytes"));
  empty_ = new EmptyState(Glyph::SysEx, tr("There are no bytes yet"),
                          tr("What comes from the instrument, or is read from a file, is listed here."));
  if (Instrument()) empty_->AddButton(tr("Get from Instrument"), [this] { RunCommand(CommandId::MidiGet); });
  pages_ = new QStackedLayout;
  pages_->addWidget(bytes_);
  pages_->addWidget(messages_);
  pages_->addWidget(empty_);
  column->addLayout(pages_, 1);
  SetSecondaryText(status_);
  column->addWidget(status_);
  connect(bytes_, &ListingView::CurrentChanged, this, [this] {
    if (byMessage_) messages_->ShowByte(bytes_->Current());
    RefreshTools();
    emit StateChanged();
  });
  connect(messages_, &MessageView::BytesSelected, bytes_, &ListingView::Select);
  connect(messages_, &QTableView::activated, this, [this] {
    ShowMessages(false);
    bytes_->setFocus();
  });
  connect(&messages_->rows(), &MessageLinesModel::Found, this, [this] {
    if (byMessage_ && messages_->SelectedLines().second == 0) messages_->ShowByte(bytes_->Current());
    RefreshTools();
  });
  connect(bytes_, &ListingView::ChangeWanted, this, &TZKView::ChangeByte);
}

// ---- what is shown --------------------------------------------------------------------------------------------------

InstrumentWindow* TZKView::Instrument() const {
  return qobject_cast<InstrumentWindow*>(data_.data());
}

const DataFile* TZKView::Record() const {
  return Instrument() ? Instrument()->dataFile() : nullptr;
}

DataListing TZKView::Listing() const {
  DataListing listing;
  if (!data_ || data_->document().IsEmpty()) return listing;
  if (const DataFile* record = Record())
    listing = DataListing(*record);
  else
    listing = DataListing(static_cast<const RawSysExDocument&>(data_->document()).bytes());
  if (other_)
    listing.Compare(other_->Listing().image());
  else
    listing.SetMode(mode_);
  return listing;
}

QString TZKView::Name() const {
  if (!data_) return {};
  const Document& document = data_->document();
  if (!document.path().empty()) return ShownUtf8(document.FileName());
  return ShownUtf8(document.OriginName().empty() ? document.Title() : document.OriginName());
}

QWidget* TZKView::Shown() const {
  return byMessage_ ? static_cast<QWidget*>(messages_) : bytes_;
}

void TZKView::StudioChanged() {
  messages_->rows().WordsChanged();
}

QString TZKView::TabText() const {
  return tr("SysEx: %1").arg(Name());
}

QString TZKView::StatusText() const {
  const DataListing listing = Listing();
  const std::size_t at = bytes_->Current();
  if (listing.Size() == 0) return {};
  const auto image = listing.ImagePosition(at);
  QString text;
  if (image)
    text = ShownUtf8(listing.StatusText(*image));
  else
    text = tr("Formatted Offset: %1, Hex value: %2, Dec value: %3, ASCII value: %4")
               .arg(at)
               .arg(QString::number(listing.ByteAt(at), 16).toUpper())
               .arg(listing.ByteAt(at))
               .arg(QLatin1Char(ListingCharacter(listing.ByteAt(at))));
  if (listing.comparing())
    text += at < listing.other().size() ? tr(", compared: %1").arg(QString::number(listing.other()[at], 16).toUpper())
                                        : tr(", compared: no byte");
  const auto [first, last] = bytes_->Selection();
  if (!bytes_->HasRange()) return text;
  return tr("%1 bytes selected \u00B7 %2").arg(locale().toString(static_cast<qulonglong>(last - first + 1)), text);
}

void TZKView::DataChanged() {
  Work({});
  bytes_->Renew();
  if (byMessage_) messages_->rows().Begin();
  Refresh();
  emit StateChanged();
}

void TZKView::Refresh() {
  const DataListing listing = Listing();
  SetTitle(this, tr("SysEx View - %1").arg(Name()), true);
  setWindowModified(data_ && data_->document().IsModified());
  header_->SetTitle(Name());
  header_->SetMark(Mark::Changed, data_ && data_->document().IsModified());
  QStringList said = {data_ ? ShownUtf8(data_->document().Title()) : QString(),
                      tr("%1 bytes").arg(locale().toString(static_cast<qulonglong>(listing.Size()))),
                      byMessage_                                 ? tr("by message")
                      : listing.mode() == ListingMode::Formatted ? tr("formatted")
                                                                 : tr("as stored and sent")};
  if (other_) said << tr("compared with %1").arg(ShownUtf8(otherName_));
  header_->SetSecondary(said.join(QStringLiteral(" \u00B7 ")));
  QWidget* page = listing.Size() > 0 ? Shown() : empty_;
  pages_->setCurrentWidget(page);
  setFocusProxy(page != empty_ ? page : empty_->findChild<QPushButton*>());
  search_->setEnabled(page != empty_);
  RefreshTools();
}

void TZKView::RefreshTools() {
  const DataListing listing = Listing();
  const QString nothing = listing.Size() > 0 ? QString() : tr("There are no bytes yet.");
  QString refusal = nothing;
  if (refusal.isEmpty() && listing.comparing()) refusal = tr("A comparison shows the bytes as they are stored.");
  EnableUnless(asMessages_, refusal);
  asMessages_->setChecked(byMessage_);
  if (refusal.isEmpty()) refusal = ShownUtf8(listing.FormattedRefusal());
  EnableUnless(formatted_, refusal);
  formatted_->setChecked(listing.mode() == ListingMode::Formatted);
  EnableUnless(compare_, nothing);
  compare_->setChecked(listing.comparing());
  EnableUnless(mismatches_, listing.comparing() ? QString() : QString::fromLatin1(kNotComparing));
  EnableUnless(change_, ChangeRefusal());
  EnableUnless(get_, CommandEnabled(CommandId::MidiGet) ? QString() : RefusalOf(CommandId::MidiGet));
  EnableUnless(send_, SendRefusal());
  status_->setText(StatusText());
}

// ---- commands -------------------------------------------------------------------------------------------------------

bool TZKView::IsOfData(CommandId command) const {
  switch (command) {
    case CommandId::FileSave:
    case CommandId::EditUndo:
    case CommandId::EditRedo:
      return data_ != nullptr;
    case CommandId::FileSaveAs:
    case CommandId::FileExportSysEx:
    case CommandId::FileExportMidi:
    case CommandId::MidiGet:
    case CommandId::MidiTransmit:
    case CommandId::MidiSendChanged:
      return Instrument() != nullptr;
    default:
      return false;
  }
}

QString TZKView::SendRefusal() const {
  if (!data_) return tr("The data is gone.");
  if (const auto* raw = qobject_cast<RawSysExWindow*>(data_.data())) return raw->SendAllRefusal();
  return data_->RefusalOf(CommandId::MidiTransmit);
}

bool TZKView::CommandEnabled(CommandId command) const {
  if (IsOfData(command)) return data_->CommandEnabled(command);
  switch (command) {
    case CommandId::MidiTransmit:
      return SendRefusal().isEmpty();
    case CommandId::FileSaveAs:
      return data_ && data_->DocumentWindow::CommandEnabled(command);
    case CommandId::FilePrint:
    case CommandId::EditCopy:
    case CommandId::EditSelectAll:
    case CommandId::EditGoTo:
      return Listing().Size() > 0;
    default:
      return false;
  }
}

QString TZKView::CommandRefusal(CommandId command) const {
  if (IsOfData(command)) return data_->CommandRefusal(command);
  switch (command) {
    case CommandId::MidiTransmit:
      return SendRefusal();
    case CommandId::FileSaveAs:
      return data_ ? data_->DocumentWindow::CommandRefusal(command) : QString();
    case CommandId::MidiGet:
      return tr("These messages belong to no instrument that could be asked.");
    case CommandId::FilePrint:
    case CommandId::EditCopy:
    case CommandId::EditSelectAll:
    case CommandId::EditGoTo:
      return tr("There are no bytes yet.");
    default:
      return {};
  }
}

void TZKView::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  if (IsOfData(command)) return data_->RunCommand(command);
  if (command == CommandId::MidiTransmit) Send();
  // All of it: what is selected in the other window is not what is meant here.
  if (command == CommandId::FileSaveAs) data_->Save(true);
  if (command == CommandId::FilePrint) Print();
  if (command == CommandId::EditCopy) CopyBytes();
  if (command == CommandId::EditSelectAll) byMessage_ ? messages_->selectAll() : bytes_->SelectAll();
  if (command == CommandId::EditGoTo) GoToOffset();
}

void TZKView::Send() {
  if (auto* raw = qobject_cast<RawSysExWindow*>(data_.data())) raw->SendAll();
}

void TZKView::keyPressEvent(QKeyEvent* event) {
  if (event->key() != Qt::Key_F3) return ZKWindow::keyPressEvent(event);
  FindNext();
}

void TZKView::ShowFormatted(bool formatted) {
  Work({});
  DataListing listing = Listing();
  if (listing.SetMode(formatted ? ListingMode::Formatted : ListingMode::Raw)) {
    mode_ = listing.mode();
    byMessage_ = false;
  }
  bytes_->Renew();
  bytes_->Go(0);
  bytes_->ShowLine(0);
  Refresh();
}

void TZKView::ShowMessages(bool messages) {
  if (byMessage_ == messages || (messages && Listing().comparing())) return Refresh();
  Work({});
  // The current byte stays where it is in the image.
  const std::size_t at = Listing().ImagePosition(bytes_->Current()).value_or(0);
  const bool others = mode_ != ListingMode::Raw;
  byMessage_ = messages;
  mode_ = ListingMode::Raw;
  bytes_->Renew();
  if (others) bytes_->Go(at);
  if (messages)
    messages_->rows().Begin();
  else
    messages_->rows().Clear();
  Refresh();
}

void TZKView::GoToOffset() {
  const std::size_t size = Listing().Size();
  if (size == 0) return;
  TextPrompt prompt;
  prompt.title = "Go to Offset";
  prompt.label = "Offset, decimal or with 0x in front; the last is " + PlaceText(size - 1) + ":";
  std::string typed = std::to_string(bytes_->Current());
  for (;;) {
    prompt.text = typed;
    if (!context_.prompts().Text(prompt, typed)) return;
    const auto offset = ParseNumber(typed);
    if (offset && *offset >= 0 && static_cast<std::uint64_t>(*offset) < size) {
      bytes_->Go(static_cast<std::size_t>(*offset));
      Shown()->setFocus();
      return;
    }
    context_.prompts().Say(kViewTitle, "There is no such offset; the last is " + PlaceText(size - 1) + ".");
  }
}

// ---- changing a byte ------------------------------------------------------------------------------------------------

QString TZKView::ChangeRefusal() const {
  const DataListing listing = Listing();
  if (listing.Size() == 0) return tr("There are no bytes yet.");
  if (byMessage_) return tr("Show the bytes, not the messages, to change one.");
  if (const std::string reason = data_->document().ByteRefusal(); !reason.empty()) return ShownUtf8(reason);
  if (!listing.ImagePosition(bytes_->Current()))
    return tr("This byte is stored in parts: show the SysEx as it is stored to change it.");
  return {};
}

void TZKView::ChangeByte() {
  if (const QString refusal = ChangeRefusal(); !refusal.isEmpty()) return Say(refusal);
  const QPointer<TZKView> self(this);
  const auto document = [self]() -> Document* { return self && self->data_ ? &self->data_->document() : nullptr; };
  const auto listing = [self] { return self ? self->Listing() : DataListing(); };
  const std::string said = AskForByte(document, listing, bytes_->Current(), context_.prompts());
  if (self && !said.empty()) Say(ShownUtf8(said));
}

// ---- comparing ------------------------------------------------------------------------------------------------------

bool TZKView::ReadOther(const std::string& path) {
  std::vector<std::uint8_t> read;
  Result result = ReadWholeFile(path, read);
  if (result.ok() && read.empty()) result = Result::Failure("The file " + path + " is empty.");
  if (result.ok()) {
    ViewedFile file = ViewedFileOf(std::move(read));
    if (file.Listing().image().empty()) result = Result::Failure("The file " + path + " holds no SysEx.");
    if (result.ok()) other_ = std::move(file);
  }
  if (result.ok()) return true;
  context_.prompts().Say(kViewTitle, result.text);
  return false;
}

void TZKView::OnCompare() {
  Work({});
  if (other_) {
    other_.reset();
  } else if (Listing().Size() > 0) {
    FilePrompt prompt;
    prompt.title = "Select a Data File to Compare...";
    prompt.folder = context_.DataFolder();
    prompt.patterns = FilePatterns("All Files (*.DAT)|*.DAT|SysEx Files (*.SYX)|*.SYX|Every File (*.*)|*.*|");
    const std::string path = context_.prompts().File(prompt);
    if (!path.empty() && ReadOther(path)) {
      otherName_ = FileNameOf(path);
      mode_ = ListingMode::Raw;
      byMessage_ = false;
    }
  }
  bytes_->Renew();
  Refresh();
}

void TZKView::ShowMismatchedBytes() {
  if (!other_) return static_cast<void>(context_.prompts().Say(kMismatchTitle, kNotComparing));
  const DataListing listing = Listing();
  const Mismatches found = FindMismatches(listing.image(), listing.other());
  if (found.otherSize) context_.prompts().Say(kMismatchTitle, kCompareSizesDiffer);
  context_.prompts().Say(kMismatchTitle, MismatchText(found));
  if (!found.first.empty()) bytes_->Go(found.first.front());
}

// ---- searching ------------------------------------------------------------------------------------------------------

void TZKView::Work(std::function<bool()> step) {
  step_ = std::move(step);
  if (step_)
    timer_->start(0);
  else
    timer_->stop();
}

void TZKView::FindNext() {
  const std::size_t from = bytes_->HasRange() ? bytes_->Selection().first : bytes_->Current();
  Find(from + 1, true);
}

void TZKView::Find(std::size_t from, bool told) {
  Work({});
  run_.reset();
  const std::string typed = ToUtf8(search_->text());
  const auto wanted = ReadSearch(typed);
  search_->SetHits(-1);
  if (!wanted) return RefreshTools();
  memory_.searched = search_->text();
  if (wanted->bytes.empty()) return NotFound(told);
  searched_ = Listing();
  searchedFrom_ = from;
  run_.emplace(searched_, *wanted, from);
  Work([this, told] { return FindStep(told); });
}

// Behind the end it goes on at the beginning, once.
bool TZKView::FindStep(bool told) {
  if (!run_->Step(searched_.mode() == ListingMode::Raw ? kRawPiece : kFormattedPiece)) return false;
  if (const auto found = run_->found()) {
    bytes_->Select(*found, run_->wanted().bytes.size());
    bytes_->ShowLine(*found / kListingLine);
    if (told && *found < searchedFrom_) Say(tr("Found from the beginning on."));
    return true;
  }
  if (searchedFrom_ > 0) {
    const SearchBytes wanted = run_->wanted();
    searchedFrom_ = 0;
    run_.emplace(searched_, wanted, 0);
    return false;
  }
  NotFound(told);
  return true;
}

void TZKView::NotFound(bool told) {
  search_->SetHits(0);
  const auto wanted = ReadSearch(ToUtf8(search_->text()));
  if (!wanted) return;
  const std::string sentence = NotFoundText(*wanted);
  if (!told) return Say(ShownUtf8(sentence));
  context_.prompts().Say(kViewTitle, sentence);
}

// ---- copies and paper -----------------------------------------------------------------------------------------------

std::optional<ListingLines> TZKView::MessagesMeant() {
  const auto [first, end] = messages_->SelectedLines();
  const std::size_t all = messages_->rows().lines().lines().size();
  if (messages_->rows().Finding()) {
    Say(tr("The messages are still being found."));
    return std::nullopt;
  }
  const bool some = end > first + 1;
  ListingLines meant{ListingHead(Record(), ToUtf8(Name())), some ? first : 0, some ? end : all,
                     [this](std::size_t line) { return messages_->rows().LineText(line); }};
  if (meant.end - meant.first <= kMostCopied / kListingLine) return meant;
  Say(tr("At most %1 messages are copied or printed at once: select fewer.")
          .arg(locale().toString(static_cast<qulonglong>(kMostCopied / kListingLine))));
  return std::nullopt;
}

std::optional<ListingLines> TZKView::LinesMeant() {
  const std::size_t size = Listing().Size();
  if (size == 0) return std::nullopt;
  if (byMessage_) return MessagesMeant();
  const auto [first, last] =
      bytes_->HasRange() ? bytes_->Selection() : std::pair<std::size_t, std::size_t>{0, size - 1};
  if (last - first < kMostCopied)
    return ListingLines{ListingHead(Record(), ToUtf8(Name())), first / kListingLine, last / kListingLine + 1,
                        [this](std::size_t line) {
                          const DataListing listing = Listing();
                          return ListingText(listing.LineAt(line, listing.Size()));
                        }};
  Say(tr(kMoreThanFits).arg(locale().toString(static_cast<qulonglong>(kMostCopied))));
  return std::nullopt;
}

void TZKView::CopyBytes() {
  const DataListing listing = Listing();
  const auto [first, last] = bytes_->Selection();
  const std::size_t count = last - first + 1;
  if (count > kMostCopied) return Say(tr(kMoreThanFits).arg(locale().toString(static_cast<qulonglong>(kMostCopied))));
  std::vector<std::uint8_t> selected;
  for (std::size_t i = first; i <= last && i < listing.Size(); ++i) selected.push_back(listing.ByteAt(i));
  if (CopyText(context_.prompts(), QString::fromLatin1(HexText(selected).c_str())))
    Say(selected.size() == 1 ? tr("1 byte is copied.") : tr("%1 bytes are copied.").arg(selected.size()));
}

void TZKView::CopyListing() {
  auto lines = LinesMeant();
  if (!lines) return;
  auto text = std::make_shared<std::string>(lines->HeadText());
  const std::size_t first = lines->first;
  Work([this, text, meant = std::move(*lines), at = first]() mutable {
    for (const std::size_t stop = std::min(meant.end, at + kLinesOfPiece); at < stop; ++at)
      *text += meant.line(at) + "\n";
    if (at < meant.end) return false;
    if (CopyText(context_.prompts(), FromUtf8(*text))) Say(tr("The listing is copied."));
    return true;
  });
}

void TZKView::Print() {
  const auto lines = LinesMeant();
  if (!lines) return;
  PrintJob job;
  job.title = windowTitle().remove(QStringLiteral("[*]"));
  job.ask = "Print to PDF...";
  job.name = WithoutExtension(ToUtf8(Name())) + " SysEx.pdf";
  job.folder = context_.DataFolder();
  job.pages = [&lines] { return lines->Pages(); };
  tonalith::Print(job, context_.prompts(), this);
}

// ---- files from elsewhere -------------------------------------------------------------------------------------------

void TZKView::dragEnterEvent(QDragEnterEvent* event) {
  // What is dragged inside the program goes to windows that take data.
  if (event->mimeData()->hasUrls() && !event->source()) event->acceptProposedAction();
}

void TZKView::dropEvent(QDropEvent* event) {
  QStringList paths;
  for (const QUrl& url : event->mimeData()->urls())
    if (url.isLocalFile()) paths << url.toLocalFile();
  event->acceptProposedAction();
  // The drop is over before files are read.
  QMetaObject::invokeMethod(
      this, [this, paths] { emit FilesDropped(paths); }, Qt::QueuedConnection);
}

}  // namespace tonalith
