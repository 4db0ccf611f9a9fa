#include "tools/ui/monitor_window.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>
#include <QStackedLayout>
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
#include "ui/style/colours.h"
#include "ui/style/empty_state.h"
#include "ui/style/flow_layout.h"
#include "ui/style/list_delegate.h"
#include "ui/style/list_search.h"
#include "ui/style/row_filter.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/tool_row.h"

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

QColor MonitorModel::ColorOf(MonitorColor color) {
  switch (color) {
    case MonitorColor::Output:
      return ColourOf(Shade::Accent);
    case MonitorColor::SysEx:
      return ColourOf(Shade::Warning);
    case MonitorColor::Port:
      return ColourOf(Shade::Ok);
    default:
      return ColourOf(Shade::Text);
  }
}

const TextLine* MonitorModel::LineOf(int row) const {
  const auto gone = static_cast<std::size_t>(document_.dropped() - first_);
  const auto at = static_cast<std::size_t>(row);
  return at < gone || at - gone >= document_.lines().size() ? nullptr : document_.lines()[at - gone].get();
}

QString MonitorModel::TextOf(int row) const {
  RowPainter painter;
  if (const TextLine* line = LineOf(row)) line->Draw(painter);
  return ShownUtf8(painter.hex + " " + painter.description);
}

QVariant MonitorModel::data(const QModelIndex& index, int role) const {
  const TextLine* shown = LineOf(index.row());
  if (!shown) return {};
  const TextLine& line = *shown;
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
  if (role == kNumberRole) return index.column() <= kDelta;
  if (role == Qt::FontRole && index.column() <= kBytes) return QFontDatabase::systemFont(QFontDatabase::FixedFont);
  return {};
}

QVariant MonitorModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::TextAlignmentRole && section <= kDelta) return int(Qt::AlignRight | Qt::AlignVCenter);
  if (role != Qt::DisplayRole) return {};
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
      search_(new SearchField(tr("Search messages"), this)),
      filter_(new RowFilter(model_, this, [this](int row) { return model_->TextOf(row); })),
      found_(new ListSearch(search_, table_, filter_)),
      timer_(new QTimer(this)),
      lightRow_(new QWidget(this)),
      troubles_(new PlainLabel(this)) {
  SetTitle(this, tr("MIDI Monitor"));
  document_.SetDescriber([this](std::span<const std::uint8_t> message) { return words_.Words(message); });
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kGap, kGap);
  BuildBar(layout);
  DressList(table_);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setWordWrap(false);
  table_->setTabKeyNavigation(false);
  table_->setAccessibleName(tr("MIDI messages"));
  const QFontMetrics metrics(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  table_->horizontalHeader()->setStretchLastSection(true);
  const int digit = metrics.horizontalAdvance(QLatin1Char('0'));
  table_->setColumnWidth(MonitorModel::kTime, 12 * digit);
  table_->setColumnWidth(MonitorModel::kDelta,
                         std::max(9 * digit, fontMetrics().horizontalAdvance(tr("Delta (ms)")) + 4 * digit));
  table_->setColumnWidth(MonitorModel::kBytes, 30 * digit);
  BuildLines(layout);
  found_->SetSummary([this] { return SearchSummary(); });
  layout->addWidget(found_->Summary());
  layout->addWidget(lightRow_);
  layout->addWidget(troubles_);
  troubles_->hide();
  BuildLights();
  ShowLines();
  connect(timer_, &QTimer::timeout, this, &TZKMonText::Tick);
  timer_->start(kLookMs);
  resize(metrics.averageCharWidth() * 100, metrics.height() * 28);
}

TZKMonText::~TZKMonText() = default;

void TZKMonText::BuildBar(QBoxLayout* layout) {
  auto* tools = new ToolRow(this);
  QToolButton* show = tools->Add(Glyph::Filter, tr("Show"), tr("Which messages are shown"));
  BuildShowMenu(show);
  QToolButton* copy = tools->Add(Glyph::Copy, tr("Copy"), tr("Copy what is shown"));
  auto* copyMenu = new QMenu(copy);
  copyMenu->addAction(tr("&Text"), this, &TZKMonText::OnEditCopy);
  copyMenu->addAction(tr("&MIDI Data"), this, &TZKMonText::OnMonCopyMIDIData);
  copyMenu->addAction(tr("MIDI &IN Data"), this, &TZKMonText::OnMonCopyMIDIInData);
  copyMenu->addAction(tr("MIDI &OUT Data"), this, &TZKMonText::OnMonCopyMIDIOutData);
  copy->setMenu(copyMenu);
  connect(tools->Add(Glyph::SaveAs, tr("Save as"), tr("Keep the messages as a file")), &QToolButton::clicked, this,
          &TZKMonText::OnFileSaveAs);
  connect(tools->Add(Glyph::Remove, tr("Clear"), tr("Delete all lines")), &QToolButton::clicked, this,
          &TZKMonText::OnEditClear);
  const auto toggle = [&](Glyph glyph, const QString& text, const QString& tip, bool on) {
    auto* action = new QAction(text, this);
    action->setCheckable(true);
    action->setChecked(on);
    SetToolTip(action, tip);
    tools->Add(glyph, action);
    return action;
  };
  follow_ = toggle(Glyph::Down, tr("Scroll"), tr("Keep the newest line in view"), true);
  pause_ = toggle(Glyph::Stop, tr("Pause"), tr("Messages wait until this is switched off"), false);
  tools->SetSearch(search_);
  layout->addWidget(tools);
}

void TZKMonText::BuildShowMenu(QToolButton* show) {
  auto* menu = new QMenu(show);
  menu->setToolTipsVisible(true);
  showInput_ = menu->addAction(tr("MIDI &IN"), this, &TZKMonText::OnMonMidiInPorts);
  showOutput_ = menu->addAction(tr("MIDI &OUT"), this, &TZKMonText::OnMonMidiOutPorts);
  menu->addSeparator();
  for (std::size_t i = 0; i < kMonitorKinds; ++i) {
    auto* action = menu->addAction(QCoreApplication::translate("TZKMonText", kKindNames[i]));
    connect(action, &QAction::triggered, this, [this, i] { Toggle(static_cast<MonitorKind>(i)); });
    kinds_.push_back(action);
  }
  for (QAction* action : kinds_) action->setCheckable(true), action->setChecked(true);
  for (QAction* action : {showInput_, showOutput_}) action->setCheckable(true), action->setChecked(true);
  menu->addSeparator();
  auto* complete = menu->addAction(tr("&Keep complete SysEx"));
  complete->setCheckable(true);
  SetToolTip(complete, tr("Saved files then hold whole messages"));
  connect(complete, &QAction::toggled, this, [this](bool keep) { document_.KeepComplete(keep); });
  earlier_ = menu->addAction(tr("Earlier &lines of the program (%1)").arg(document_.Earlier()), this,
                             &TZKMonText::ShowEarlier);
  SetToolTip(earlier_, tr("What the program had to say before this monitor was opened"));
  earlier_->setEnabled(document_.Earlier() > 0);
  show->setMenu(menu);
}

// The lines, or what the empty place is for.
void TZKMonText::BuildLines(QBoxLayout* layout) {
  empty_ = new EmptyState(Glyph::Monitor, tr("Nothing has come in or gone out yet"),
                          tr("Play a note, or get and send data: every message of the open ports is listed here."));
  if (document_.Earlier() > 0)
    empty_->AddButton(tr("Show %1 earlier lines").arg(document_.Earlier()), [this] { ShowEarlier(); });
  lines_ = new QStackedLayout;
  lines_->addWidget(empty_);
  lines_->addWidget(table_);
  layout->addLayout(lines_, 1);
}

void TZKMonText::ShowLines() {
  QWidget* wanted = model_->rowCount() > 0 ? static_cast<QWidget*>(table_) : empty_;
  if (lines_->currentWidget() != wanted) lines_->setCurrentWidget(wanted);
  search_->setEnabled(wanted == table_);
}

void TZKMonText::ShowEarlier() {
  document_.ShowEarlier();
  earlier_->setEnabled(false);
}

void TZKMonText::BuildLights() {
  delete lightRow_->layout();
  qDeleteAll(lightRow_->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly));
  lights_.clear();
  auto* row = new FlowLayout(lightRow_, kSmallGap);
  int count = 0;
  registry_.out().OUTNUMPORTS(&count);
  row->addWidget(new PlainLabel(count ? tr("MIDI OUT") : tr("No MIDI OUT port is open."), lightRow_));
  for (int i = 0; i < count; ++i) {
    lights_.push_back(new ActivityLight(lightRow_));
    SetToolTip(lights_.back(), FromUtf8(registry_.out().OUTGETPORTNAME(i)));
    row->addWidget(lights_.back());
  }
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
  ShowLines();
  if (follow_->isChecked()) table_->scrollToBottom();
  emit StateChanged();
}

void TZKMonText::OnEditClear() {
  document_.OnEditClear();
  model_->Sync();
  ShowLines();
  table_->scrollToTop();
  emit StateChanged();
}

MonitorDocument::Lines TZKMonText::ShownLinesOf() const {
  return filter_->Filters() ? document_.LinesAt(filter_->ShownRows()) : document_.AllLines();
}

QString TZKMonText::SearchSummary() const {
  if (filter_->Searching()) return tr("Searching...");
  return tr("%1 of %2 lines are shown. Copy and Save as take these; Clear deletes the hidden ones as well.")
      .arg(locale().toString(found_->Shown()), locale().toString(model_->rowCount()));
}

// What is selected, when it is more than the current line; else everything that is shown.
void TZKMonText::OnEditCopy() {
  const QModelIndexList rows = table_->selectionModel()->selectedRows();
  std::vector<int> chosen;
  for (const QModelIndex& row : rows) chosen.push_back(filter_->mapToSource(row).row());
  std::sort(chosen.begin(), chosen.end());
  CopyText(prompts_, FromUtf8(MonitorDocument::TextOf(chosen.size() < 2 ? ShownLinesOf() : document_.LinesAt(chosen))));
}

void TZKMonText::CopyMidi(bool input, bool output) {
  CopyText(prompts_, FromLatin1(HexText(MonitorDocument::MidiDataOf(ShownLinesOf(), input, output))));
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
  const Result saved = WriteFileAtomically(path, MonitorDocument::FileBytesOf(ShownLinesOf(), &shortened));
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
