#include "app/raw_sysex_window.h"

#include <QComboBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>

#include "data/maker_names.h"
#include "data/sysex_split.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Bytes of a message that its row shows.
constexpr std::size_t kShownBytes = 24;

QString HexText(std::span<const std::uint8_t> bytes) {
  QString text;
  for (const std::uint8_t b : bytes.first(std::min(bytes.size(), kShownBytes))) {
    if (!text.isEmpty()) text += QLatin1Char(' ');
    text += QStringLiteral("%1").arg(b, 2, 16, QLatin1Char('0')).toUpper();
  }
  if (bytes.size() > kShownBytes) text += QStringLiteral(" ...");
  return text;
}

}  // namespace

// ---- messages -------------------------------------------------------------------------------------------------------

RawSysExModel::RawSysExModel(std::span<const std::uint8_t> bytes, std::vector<SysExName> names, QObject* parent)
    : QAbstractTableModel(parent), bytes_(bytes), names_(std::move(names)) {
  std::sort(names_.begin(), names_.end(), [](const SysExName& a, const SysExName& b) { return a.offset < b.offset; });
  other_ = bytes.size();
  for (const SysExPiece& piece : SplitSysEx(bytes, true)) {
    rows_.push_back({piece.offset, piece.bytes.size(), piece.isTerminated});
    other_ -= piece.bytes.size();
  }
}

int RawSysExModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int RawSysExModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

QString RawSysExModel::NameOf(const Row& row) const {
  auto after = std::upper_bound(names_.begin(), names_.end(), row.offset,
                                [](std::size_t at, const SysExName& name) { return at < name.offset; });
  if (after != names_.begin()) {
    const SysExName& name = *std::prev(after);
    if (row.offset < name.offset + name.length) return name.text;
  }
  const auto message = bytes_.subspan(row.offset, row.length);
  return message.size() < 2 ? QString() : FromUtf8(MakerName(message.subspan(1)));
}

QVariant RawSysExModel::data(const QModelIndex& index, int role) const {
  const Row& row = RowAt(index.row());
  const bool number = index.column() < kHolds;
  if (role == Qt::TextAlignmentRole && number) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  if (role == Qt::FontRole && index.column() == kBytes) return QFontDatabase::systemFont(QFontDatabase::FixedFont);
  if (role != Qt::DisplayRole) return {};
  switch (index.column()) {
    case kNumber:
      return index.row() + 1;
    case kOffset:
      return static_cast<qulonglong>(row.offset);
    case kLength:
      return static_cast<qulonglong>(row.length);
    case kHolds:
      return row.complete ? NameOf(row) : tr("incomplete");
    default:
      return HexText(bytes_.subspan(row.offset, row.length));
  }
}

QVariant RawSysExModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  const QString titles[] = {tr("Message"), tr("Offset"), tr("Length"), tr("Holds"), tr("Bytes")};
  return section < kColumns ? titles[section] : QString();
}

// ---- window ---------------------------------------------------------------------------------------------------------

RawSysExWindow::RawSysExWindow(std::vector<std::uint8_t> bytes, std::string path, RawSysExHost& host, QWidget* parent)
    : ZKWindow(parent),
      bytes_(std::move(bytes)),
      path_(std::move(path)),
      host_(host),
      model_(new RawSysExModel(bytes_, host.NameSysEx(bytes_), this)),
      list_(new QTableView(this)),
      port_(new QComboBox(this)) {
  setWindowTitle(tr("Raw SysEx - %1").arg(FromUtf8(FileNameOf(path_))));
  auto* column = new QVBoxLayout(this);
  const int count = model_->rowCount();
  QString heading = count == 1 ? tr("1 message, %1 bytes").arg(bytes_.size())
                               : tr("%1 messages, %2 bytes").arg(count).arg(bytes_.size());
  if (model_->otherBytes() > 0) heading += tr("; %1 bytes are no SysEx").arg(model_->otherBytes());
  column->addWidget(new QLabel(heading, this));

  auto* row = new QHBoxLayout;
  auto* portLabel = new QLabel(tr("&Port:"), this);
  portLabel->setBuddy(port_);
  for (const auto& name : host_.OutPortNames()) port_->addItem(FromUtf8(name));
  port_->setCurrentIndex(std::clamp(host_.RawSysExPort(-1), 0, std::max(0, port_->count() - 1)));
  port_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  port_->setMinimumContentsLength(16);
  auto* send = new QPushButton(tr("&Send"), this);
  send->setToolTip(tr("Send the selected messages, or all of them, as they are"));
  send->setEnabled(port_->count() > 0);
  auto* save = new QPushButton(tr("Save &As..."), this);
  save->setToolTip(tr("Write the selected messages, or all bytes, to a file"));
  row->addWidget(portLabel);
  row->addWidget(port_, 1);
  row->addWidget(send);
  row->addWidget(save);
  column->addLayout(row);

  list_->setModel(model_);
  list_->setAccessibleName(tr("Messages"));
  list_->setSelectionBehavior(QAbstractItemView::SelectRows);
  list_->verticalHeader()->hide();
  list_->setTabKeyNavigation(false);
  list_->setWordWrap(false);
  list_->horizontalHeader()->setStretchLastSection(true);
  const int width = fontMetrics().averageCharWidth();
  for (const int section : {RawSysExModel::kNumber, RawSysExModel::kOffset, RawSysExModel::kLength})
    list_->setColumnWidth(section, width * 11);
  list_->setColumnWidth(RawSysExModel::kHolds, width * 28);
  column->addWidget(list_, 1);
  setFocusProxy(list_);
  connect(send, &QPushButton::clicked, this, &RawSysExWindow::Send);
  connect(save, &QPushButton::clicked, this, &RawSysExWindow::SaveAs);
  connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { emit StateChanged(); });
  resize(width * 90, fontMetrics().height() * 24);
}

bool RawSysExWindow::CommandEnabled(CommandId command) const {
  return command == CommandId::FileSaveAs || command == CommandId::EditSelectAll ||
         (command == CommandId::MidiTransmit && port_->count() > 0);
}

void RawSysExWindow::RunCommand(CommandId command) {
  if (command == CommandId::FileSaveAs) SaveAs();
  if (command == CommandId::EditSelectAll) list_->selectAll();
  if (command == CommandId::MidiTransmit) Send();
}

// With nothing selected, everything.
std::vector<std::uint8_t> RawSysExWindow::SelectedBytes() const {
  QModelIndexList rows = list_->selectionModel()->selectedRows();
  if (rows.isEmpty()) return bytes_;
  std::sort(rows.begin(), rows.end());
  std::vector<std::uint8_t> bytes;
  for (const QModelIndex& index : rows) {
    const auto& row = model_->RowAt(index.row());
    bytes.insert(bytes.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(row.offset),
                 bytes_.begin() + static_cast<std::ptrdiff_t>(row.offset + row.length));
  }
  return bytes;
}

void RawSysExWindow::Send() {
  host_.RawSysExPort(port_->currentIndex());
  host_.SendRawSysEx(SelectedBytes(), port_->currentIndex(), FileNameOf(path_));
}

void RawSysExWindow::SaveAs() {
  FilePrompt prompt;
  prompt.title = "Save As";
  prompt.folder = FolderOf(path_);
  prompt.name = FileNameOf(path_);
  prompt.patterns = FilePatterns("ZK MidiX File (*.SYX)|*.SYX|All Files (*.*)|*.*|");
  prompt.save = true;
  const std::string path = host_.prompts().File(prompt);
  if (path.empty()) return;
  const auto bytes = SelectedBytes();
  if (const Result saved = WriteFileAtomically(path, std::span<const std::uint8_t>(bytes)); !saved.ok()) {
    host_.prompts().Say("File Error", saved.text);
    return;
  }
  host_.FileUsed(path);
  emit StatusMessage(tr("%1 bytes were saved as %2.").arg(bytes.size()).arg(FromUtf8(path)));
}

}  // namespace tonalith
