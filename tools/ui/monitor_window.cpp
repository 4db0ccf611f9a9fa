#include "tools/ui/monitor_window.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <filesystem>

#include "data/data_text.h"
#include "midi/port_report.h"
#include "midi/port_system.h"
#include "platform/atomic_file.h"
#include "ui/clipboard.h"
#include "ui/midi_activity.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kLookMs = 50;
constexpr int kTicksOfReport = 20;

constexpr const char* kKindNames[kMonitorKinds] = {
    QT_TRANSLATE_NOOP("TZKMonText", "Note O&ff"),         QT_TRANSLATE_NOOP("TZKMonText", "Note O&n"),
    QT_TRANSLATE_NOOP("TZKMonText", "&Poly Aftertouch"),  QT_TRANSLATE_NOOP("TZKMonText", "&Controllers"),
    QT_TRANSLATE_NOOP("TZKMonText", "P&rogram Change"),   QT_TRANSLATE_NOOP("TZKMonText", "Channel &Aftertouch"),
    QT_TRANSLATE_NOOP("TZKMonText", "Pitch &Wheel"),      QT_TRANSLATE_NOOP("TZKMonText", "&System"),
    QT_TRANSLATE_NOOP("TZKMonText", "System E&xclusive"),
};

// Keeps the parts of a line for the columns of a row.
class RowPainter final : public LinePainter {
 public:
  void SetTextColor(MonitorColor value) override { color = value; }
  void Hex(std::string_view text) override { hex = text; }
  void Description(std::string_view text) override { description = text; }

  MonitorColor color = MonitorColor::Message;
  std::string hex;
  std::string description;
};

}  // namespace

MonitorModel::MonitorModel(const MonitorDocument& document, QObject* parent)
    : QAbstractTableModel(parent), document_(document), first_(document.dropped()) {}

void MonitorModel::Sync() {
  if (document_.dropped() > first_) {
    const auto gone =
        static_cast<int>(std::min<std::uint64_t>(document_.dropped() - first_, static_cast<std::uint64_t>(rows_)));
    if (gone > 0) beginRemoveRows({}, 0, gone - 1);
    first_ = document_.dropped();
    rows_ -= gone;
    if (gone > 0) endRemoveRows();
  }
  const int now = static_cast<int>(document_.lines().size());
  if (now <= rows_) return;
  beginInsertRows({}, rows_, now - 1);
  rows_ = now;
  endInsertRows();
}

int MonitorModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : rows_;
}

int MonitorModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

QColor MonitorModel::ColorOf(MonitorColor color) const {
  const bool dark = palette_.color(QPalette::Base).lightness() < 128;
  switch (color) {
    case MonitorColor::Output:
      return dark ? QColor(0x8C, 0xC4, 0xFF) : QColor(0x00, 0x4C, 0x9C);
    case MonitorColor::SysEx:
      return dark ? QColor(0xF2, 0xC0, 0x6E) : QColor(0x80, 0x48, 0x00);
    case MonitorColor::Port:
      return dark ? QColor(0x8E, 0xD8, 0x8E) : QColor(0x10, 0x66, 0x20);
    default:
      return palette_.color(QPalette::Text);
  }
}

QVariant MonitorModel::data(const QModelIndex& index, int role) const {
  const auto gone = static_cast<std::size_t>(document_.dropped() - first_);
  const auto row = static_cast<std::size_t>(index.row());
  if (row < gone || row - gone >= document_.lines().size()) return {};
  const TextLine& line = *document_.lines()[row - gone];
  if (role == Qt::DisplayRole || (role == Qt::ToolTipRole && index.column() >= kBytes)) {
    if (index.column() == kTime)
      return QStringLiteral("%1.%2").arg(line.time() / 1000).arg(line.time() % 1000, 3, 10, QLatin1Char('0'));
    if (index.column() == kDelta) return line.delta();
    RowPainter painter;
    line.Draw(painter);
    const std::string& text = index.column() == kBytes ? painter.hex : painter.description;
    return role == Qt::ToolTipRole ? ToolTipText(FromUtf8(text)) : ShownUtf8(text);
  }
  if (role == Qt::ForegroundRole) {
    RowPainter painter;
    line.SetTextColor(painter);
    return ColorOf(painter.color);
  }
  if (role == Qt::TextAlignmentRole && index.column() <= kDelta) return int(Qt::AlignRight | Qt::AlignVCenter);
  if (role == Qt::FontRole && index.column() <= kBytes) return QFontDatabase::systemFont(QFontDatabase::FixedFont);
  return {};
}

QVariant MonitorModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  switch (section) {
    case kTime:
      return tr("Time (s)");
    case kDelta:
      return tr("Delta (ms)");
    case kBytes:
      return tr("Bytes");
    default:
      return tr("Message");
  }
}

TZKMonText::TZKMonText(MonitorRegistry& registry, Prompts& prompts, const ZKStudioDoc* studio, QWidget* parent)
    : ZKWindow(parent),
      registry_(registry),
      prompts_(prompts),
      words_(studio),
      document_(registry),
      model_(new MonitorModel(document_, this)),
      table_(new QTableView(this)),
      timer_(new QTimer(this)),
      lightRow_(new QWidget(this)),
      troubles_(new PlainLabel(this)) {
  SetTitle(this, tr("MIDI Monitor"));
  document_.SetDescriber([this](std::span<const std::uint8_t> message) { return words_.Words(message); });
  auto* layout = new QVBoxLayout(this);
  BuildBar(layout);
  model_->SetPalette(palette());
  table_->setModel(model_);
  table_->setShowGrid(false);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setWordWrap(false);
  table_->setTabKeyNavigation(false);
  table_->setAccessibleName(tr("MIDI messages"));
  table_->verticalHeader()->hide();
  const QFontMetrics metrics(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  table_->verticalHeader()->setDefaultSectionSize(std::max(metrics.height(), fontMetrics().height()) + 4);
  table_->horizontalHeader()->setStretchLastSection(true);
  const int digit = metrics.horizontalAdvance(QLatin1Char('0'));
  table_->setColumnWidth(MonitorModel::kTime, 12 * digit);
  table_->setColumnWidth(MonitorModel::kDelta,
                         std::max(9 * digit, fontMetrics().horizontalAdvance(tr("Delta (ms)")) + 4 * digit));
  table_->setColumnWidth(MonitorModel::kBytes, 30 * digit);
  layout->addWidget(table_, 1);
  layout->addWidget(lightRow_);
  layout->addWidget(troubles_);
  troubles_->hide();
  BuildLights();
  connect(timer_, &QTimer::timeout, this, &TZKMonText::Tick);
  timer_->start(kLookMs);
  resize(metrics.averageCharWidth() * 100, metrics.height() * 28);
}

TZKMonText::~TZKMonText() = default;

void TZKMonText::BuildBar(QBoxLayout* layout) {
  auto* row = new QHBoxLayout;
  const auto button = [&](const QString& text, const QString& tip) {
    auto* made = new QToolButton(this);
    made->setText(text);
    SetToolTip(made, tip);
    made->setFocusPolicy(Qt::TabFocus);
    row->addWidget(made);
    return made;
  };
  auto* show = button(tr("Sh&ow"), tr("Which messages are shown"));
  auto* showMenu = new QMenu(show);
  showInput_ = showMenu->addAction(tr("MIDI &IN"), this, &TZKMonText::OnMonMidiInPorts);
  showOutput_ = showMenu->addAction(tr("MIDI &OUT"), this, &TZKMonText::OnMonMidiOutPorts);
  showMenu->addSeparator();
  for (std::size_t i = 0; i < kMonitorKinds; ++i) {
    auto* action = showMenu->addAction(QCoreApplication::translate("TZKMonText", kKindNames[i]));
    connect(action, &QAction::triggered, this, [this, i] { Toggle(static_cast<MonitorKind>(i)); });
    kinds_.push_back(action);
  }
  showMenu->addSeparator();
  auto* complete = showMenu->addAction(tr("&Keep complete SysEx"));
  complete->setCheckable(true);
  SetToolTip(complete, tr("Saved files then hold whole messages"));
  connect(complete, &QAction::toggled, this, [this](bool keep) { document_.KeepComplete(keep); });
  auto* earlier = showMenu->addAction(tr("&Earlier lines of the program (%1)").arg(document_.Earlier()));
  SetToolTip(earlier, tr("What the program had to say before this monitor was opened"));
  earlier->setEnabled(document_.Earlier() > 0);
  connect(earlier, &QAction::triggered, this, [this, earlier] {
    document_.ShowEarlier();
    earlier->setEnabled(false);
  });
  for (QAction* action : kinds_) action->setCheckable(true), action->setChecked(true);
  for (QAction* action : {showInput_, showOutput_}) action->setCheckable(true), action->setChecked(true);
  show->setMenu(showMenu);
  show->setPopupMode(QToolButton::InstantPopup);

  auto* copy = button(tr("&Copy"), tr("Copy what is shown"));
  auto* copyMenu = new QMenu(copy);
  copyMenu->addAction(tr("&Text"), this, &TZKMonText::OnEditCopy);
  copyMenu->addAction(tr("&MIDI Data"), this, &TZKMonText::OnMonCopyMIDIData);
  copyMenu->addAction(tr("MIDI &IN Data"), this, &TZKMonText::OnMonCopyMIDIInData);
  copyMenu->addAction(tr("MIDI &OUT Data"), this, &TZKMonText::OnMonCopyMIDIOutData);
  copy->setMenu(copyMenu);
  copy->setPopupMode(QToolButton::InstantPopup);
  connect(button(tr("&Save As..."), tr("Keep the messages as a file")), &QToolButton::clicked, this,
          &TZKMonText::OnFileSaveAs);
  connect(button(tr("C&lear"), tr("Delete all lines")), &QToolButton::clicked, this, &TZKMonText::OnEditClear);
  const auto toggle = [&](const QString& text, const QString& tip, bool on) {
    auto* made = button(text, tip);
    auto* action = new QAction(text, this);
    action->setCheckable(true);
    action->setChecked(on);
    SetToolTip(action, tip);
    made->setDefaultAction(action);
    return action;
  };
  row->addStretch();
  follow_ = toggle(tr("Sc&roll"), tr("Keep the newest line in view"), true);
  pause_ = toggle(tr("&Pause"), tr("Messages wait until this is switched off"), false);
  layout->addLayout(row);
}

void TZKMonText::BuildLights() {
  delete lightRow_->layout();
  qDeleteAll(lightRow_->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly));
  lights_.clear();
  auto* row = new QHBoxLayout(lightRow_);
  row->setContentsMargins(0, 0, 0, 0);
  int count = 0;
  registry_.out().OUTNUMPORTS(&count);
  for (int i = 0; i < count; ++i) {
    lights_.push_back(new ActivityLight(lightRow_));
    SetToolTip(lights_.back(), FromUtf8(registry_.out().OUTGETPORTNAME(i)));
    row->addWidget(lights_.back());
  }
  row->addWidget(new PlainLabel(count ? tr("MIDI OUT") : tr("No MIDI OUT port is open."), lightRow_));
  row->addStretch();
}

void TZKMonText::PortsChanged(int changes) {
  BuildLights();
  if (changes & kPortsRemoved) document_.AddStatus("STATUS", "port(s) removed");
  if (changes & kPortsAdded) document_.AddStatus("STATUS", "port(s) added");
}

void TZKMonText::Toggle(MonitorKind kind) {
  const bool show = !document_.shows(kind);
  document_.Show(kind, show);
  kinds_[static_cast<std::size_t>(kind)]->setChecked(show);
}

void TZKMonText::OnMonMidiInPorts() {
  document_.ShowInput(!document_.showsInput());
  showInput_->setChecked(document_.showsInput());
}

void TZKMonText::OnMonMidiOutPorts() {
  document_.ShowOutput(!document_.showsOutput());
  showOutput_->setChecked(document_.showsOutput());
}

void TZKMonText::ShowTroubles() {
  if (!midi_) return;
  QString text;
  for (const PortReport& report : ReportPorts(*midi_))
    if (const std::string trouble = PortTrouble(report); !trouble.empty())
      text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + ShownUtf8(trouble);
  if (text == troubles_->text()) return;
  troubles_->setText(text);
  troubles_->setVisible(!text.isEmpty());
}

void TZKMonText::Tick() {
  if (++ticks_ % kTicksOfReport == 0) ShowTroubles();
  for (std::size_t i = 0; i < lights_.size(); ++i) lights_[i]->SetOn(document_.PortLit(static_cast<int>(i)));
  if (pause_->isChecked() || !document_.Process()) return;
  model_->Sync();
  if (follow_->isChecked()) table_->scrollToBottom();
  emit StateChanged();
}

void TZKMonText::OnEditClear() {
  document_.OnEditClear();
  model_->Sync();
  table_->scrollToTop();
  emit StateChanged();
}

void TZKMonText::OnEditCopy() {
  const QModelIndexList rows = table_->selectionModel()->selectedRows();
  if (rows.size() < 2) {
    CopyText(prompts_, FromUtf8(document_.Text()));
    return;
  }
  // What is selected, when it is more than the current line.
  std::vector<int> chosen;
  for (const QModelIndex& row : rows) chosen.push_back(row.row());
  std::sort(chosen.begin(), chosen.end());
  std::string text;
  for (const int row : chosen) {
    if (static_cast<std::size_t>(row) >= document_.lines().size()) break;
    document_.lines()[static_cast<std::size_t>(row)]->AppendString(text);
    text += "\r\n";
  }
  CopyText(prompts_, FromUtf8(text));
}

void TZKMonText::CopyMidi(bool input, bool output) {
  CopyText(prompts_, FromLatin1(HexText(document_.MidiData(input, output))));
}

void TZKMonText::OnFileSaveAs() {
  FilePrompt prompt;
  prompt.title = "Save MIDI Events As...";
  prompt.patterns = {"MIDIX (*.SYX)"};
  prompt.name = "Untitled.SYX";
  prompt.save = true;
  std::string path = prompts_.File(prompt);
  if (path.empty()) return;
  if (std::filesystem::path(path).extension().empty()) path += ".SYX";
  std::size_t shortened = 0;
  const Result saved = WriteFileAtomically(path, document_.FileBytes(&shortened));
  if (!saved.ok()) {
    prompts_.Say("MIDI Monitor", saved.text);
  } else if (shortened > 0) {
    prompts_.Say("MIDI Monitor", std::to_string(shortened) +
                                     " SysEx messages were saved without their end: the monitor keeps the first " +
                                     std::to_string(kSysXShown) +
                                     " bytes of each.\nSwitch \"Keep complete SysEx\" on in the Show menu before "
                                     "receiving to save whole messages.");
  }
}

void TZKMonText::changeEvent(QEvent* event) {
  ZKWindow::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) model_->SetPalette(palette());
}

bool TZKMonText::CommandEnabled(CommandId command) const {
  return command == CommandId::FileSaveAs || command == CommandId::EditCopy || command == CommandId::EditSelectAll;
}

void TZKMonText::RunCommand(CommandId command) {
  if (command == CommandId::FileSaveAs) OnFileSaveAs();
  if (command == CommandId::EditCopy) OnEditCopy();
  if (command == CommandId::EditSelectAll) table_->selectAll();
}

TZKMonText* ZKMonChild(MonitorRegistry& registry, Prompts& prompts, const ZKStudioDoc* studio, QWidget* parent) {
  return new TZKMonText(registry, prompts, studio, parent);
}

}  // namespace tonalith
