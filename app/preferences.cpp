#include "app/preferences.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

#include "midi/port_system.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr char kHelpProperty[] = "help";
constexpr int kMostPageCharacters = 112;  // a page that wants more puts controls below their labels
constexpr int kPortCharacters = 24;
constexpr int kNumberCharacters = 20;

// Ports by name; the setting is their number.
void FillPorts(QComboBox* box, Program& program, bool input) {
  int count = 0;
  if (input)
    count = program.in().InPorts();
  else
    program.out().OUTNUMPORTS(&count);
  for (int i = 0; i < count; ++i)
    box->addItem(ShownUtf8(input ? program.in().INGETPORTNAME(i) : program.out().OUTGETPORTNAME(i)), i);
}

}  // namespace

ZKPropPage::ZKPropPage(Program& program, QString tab, std::span<const PreferenceRow> rows)
    : program_(program), tab_(std::move(tab)), form_(new QFormLayout(this)) {
  form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
  form_->setRowWrapPolicy(QFormLayout::WrapLongRows);
  SetSpace(form_, kWideGap, kGap);
  form_->setHorizontalSpacing(kWideGap);
  for (const PreferenceRow& row : rows) {
    const SettingInfo& info = Info(row.id);
    QWidget* control = MakeControl(row, info);
    Watch(control, tr(row.help));
    QWidget* label = nullptr;
    if (row.control == PreferenceControl::Check) {
      form_->addRow(control);
    } else {
      auto* text = new PlainLabel(tr(info.label) + QLatin1Char(':'), this);
      text->setBuddy(control);
      form_->addRow(text, control);
      label = text;
    }
    lines_.push_back({&row, label, control, tr(info.label) + QLatin1Char('\n') + tr(row.help)});
  }
}

QWidget* ZKPropPage::MakeControl(const PreferenceRow& row, const SettingInfo& info) {
  if (row.control == PreferenceControl::Check) {
    auto* box = new QCheckBox(tr(info.label), this);
    connect(box, &QCheckBox::toggled, this, &ZKPropPage::Changed);
    return box;
  }
  if (row.control == PreferenceControl::Number || row.control == PreferenceControl::Channel) {
    auto* box = new QSpinBox(this);
    const int shift = row.control == PreferenceControl::Channel || info.rule == SettingRule::MinusOne ? 1 : 0;
    box->setRange(info.minimum + shift, info.maximum + shift);
    box->setMaximumWidth(fontMetrics().averageCharWidth() * kNumberCharacters);
    connect(box, &QSpinBox::valueChanged, this, &ZKPropPage::Changed);
    return box;
  }
  auto* box = new QComboBox(this);
  for (std::size_t i = 0; i < row.choices.size(); ++i) box->addItem(tr(row.choices[i]), static_cast<int>(i));
  if (row.control != PreferenceControl::Choice) {
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(kPortCharacters);
    FillPorts(box, program_, row.control == PreferenceControl::InPort);
  }
  connect(box, &QComboBox::currentIndexChanged, this, &ZKPropPage::Changed);
  return box;
}

void ZKPropPage::SetValue(const Line& line, int value) {
  if (auto* check = qobject_cast<QCheckBox*>(line.control)) {
    check->setChecked(value != 0);
  } else if (auto* number = qobject_cast<QSpinBox*>(line.control)) {
    number->setValue(value + number->minimum() - Info(line.row->id).minimum);
  } else if (auto* choice = qobject_cast<QComboBox*>(line.control)) {
    // A number without an entry (a port that is not there now) stays what it is.
    if (choice->findData(value) < 0) choice->addItem(tr("%1 (not present)").arg(value + 1), value);
    choice->setCurrentIndex(choice->findData(value));
  }
}

int ZKPropPage::Value(const Line& line) const {
  if (const auto* check = qobject_cast<const QCheckBox*>(line.control)) return check->isChecked() ? 1 : 0;
  if (const auto* number = qobject_cast<const QSpinBox*>(line.control))
    return number->value() - number->minimum() + Info(line.row->id).minimum;
  return qobject_cast<const QComboBox*>(line.control)->currentData().toInt();
}

void ZKPropPage::OnInitDialog() {
  for (const Line& line : lines_)
    if (line.row) SetValue(line, program_.settings().Access(line.row->id, -1));
}

void ZKPropPage::OnApply() {
  for (const Line& line : lines_)
    if (line.row) program_.settings().Access(line.row->id, Value(line));
}

void ZKPropPage::RestoreDefaults() {
  Config defaults;
  InitConfig(defaults, IniFile(program_.paths().MainGetPreferencesIni()), {});
  for (const Line& line : lines_)
    if (line.row) SetValue(line, ReadSetting(defaults, line.row->id));
}

QWidget* ZKPropPage::ControlOf(SettingId id) const {
  for (const Line& line : lines_)
    if (line.row && line.row->id == id) return line.control;
  return nullptr;
}

void ZKPropPage::AddLine(const QString& label, QWidget* control, const QString& help) {
  Watch(control, help);
  auto* text = label.isEmpty() ? nullptr : new PlainLabel(label, this);
  if (text) {
    text->setBuddy(control);
    form_->addRow(text, control);
  } else {
    form_->addRow(control);
  }
  lines_.push_back({nullptr, text, control, label + QLatin1Char('\n') + help});
}

void ZKPropPage::Watch(QWidget* control, const QString& help) {
  control->setProperty(kHelpProperty, help);
  SetToolTip(control, help);
  control->installEventFilter(this);
}

bool ZKPropPage::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::FocusIn || event->type() == QEvent::Enter)
    emit HelpShown(watched->property(kHelpProperty).toString());
  return QWidget::eventFilter(watched, event);
}

int ZKPropPage::Filter(const SearchWords& words) {
  int hits = 0;
  for (const Line& line : lines_) {
    const bool shown = words.Match(line.words);
    line.control->setVisible(shown);
    if (line.label) line.label->setVisible(shown);
    hits += shown ? 1 : 0;
  }
  return hits;
}

void ZKPropPage::FocusFirst() {
  for (const Line& line : lines_)
    if (line.control->isVisibleTo(this)) return line.control->setFocus(Qt::TabFocusReason);
}

PreferencesSheet::PreferencesSheet(Program& program, PreferencesHost& host, QWidget* parent)
    : QDialog(parent),
      program_(program),
      host_(host),
      search_(new SearchField(tr("Search preferences"), this)),
      tabs_(new QTabWidget(this)),
      help_(new PlainLabel(this)) {
  SetTitle(this, QStringLiteral("Preferences"));
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kWideGap, kGap);
  layout->addWidget(search_);
  layout->addWidget(tabs_, 1);
  help_->setWordWrap(true);
  SetSecondaryText(help_);
  help_->setMinimumHeight(help_->fontMetrics().lineSpacing() * 2);
  help_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  layout->addWidget(help_);
  // Before the buttons: the Tab key goes in the order of making.
  AddPage(new ZKPropBankEdit(program));
  AddPage(new ZKPropDrvList(program, host));
  AddPage(new ZKPropMidi(program));
  AddPage(new ZKPropTones(program));
  AddPage(new ZKPropMisc(program, host));
  auto* buttons = new QDialogButtonBox(this);
  auto* ok = buttons->addButton(QDialogButtonBox::Ok);
  apply_ = buttons->addButton(QDialogButtonBox::Apply);
  cancel_ = buttons->addButton(QDialogButtonBox::Cancel);
  auto* defaults = buttons->addButton(QDialogButtonBox::RestoreDefaults);
  layout->addWidget(buttons);
  EnableUnless(apply_, tr("Nothing was changed."));
  ok->setText(tr("&Keep"));
  SetPrimary(ok);
  connect(ok, &QPushButton::clicked, this, &PreferencesSheet::accept);
  connect(apply_, &QPushButton::clicked, this, &PreferencesSheet::Apply);
  connect(cancel_, &QPushButton::clicked, this, &PreferencesSheet::reject);
  connect(defaults, &QPushButton::clicked, this,
          [this] { pages_[static_cast<std::size_t>(tabs_->currentIndex())]->RestoreDefaults(); });
  connect(search_, &SearchField::WordsChanged, this, &PreferencesSheet::Search);
  connect(search_, &SearchField::GoToList, this,
          [this] { pages_[static_cast<std::size_t>(tabs_->currentIndex())]->FocusFirst(); });
  connect(search_, &SearchField::Left, this, &PreferencesSheet::reject);
  tabs_->setFocus();
  search_->ServeDialog(this);
  // As tall as the longest page, where the screen has room for it; the line is for the frames around the page.
  const int others = sizeHint().height() - tabs_->sizeHint().height() + fontMetrics().lineSpacing();
  const int room = screen() ? screen()->availableGeometry().height() * 9 / 10 : 600;
  resize(sizeHint().width(), std::min(room, tallest_ + tabs_->tabBar()->sizeHint().height() + others));
}

void PreferencesSheet::AddPage(ZKPropPage* page) {
  auto* scroll = new QScrollArea(tabs_);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->setWidget(page);
  SetGround(scroll->viewport(), Shade::Surface);
  SetGround(page, Shade::Surface);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  const int wanted = std::min(page->sizeHint().width(), fontMetrics().averageCharWidth() * kMostPageCharacters);
  scroll->setMinimumWidth(wanted + scroll->verticalScrollBar()->sizeHint().width() +
                          fontMetrics().averageCharWidth() * 6);
  scroll->setMinimumHeight(fontMetrics().lineSpacing() * 16);
  tallest_ = std::max(tallest_, page->sizeHint().height() + scroll->frameWidth() * 2);
  tabs_->addTab(scroll, page->tab());
  pages_.push_back(page);
  page->OnInitDialog();
  connect(page, &ZKPropPage::Changed, this, [this] { EnableUnless(apply_, {}); });
  connect(page, &ZKPropPage::HelpShown, help_, [this](const QString& text) { help_->setText(text); });
}

void PreferencesSheet::Search() {
  int first = -1;
  int hits = 0;
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    const int found = pages_[i]->Filter(search_->Words());
    tabs_->setTabEnabled(static_cast<int>(i), found > 0);
    if (found > 0 && first < 0) first = static_cast<int>(i);
    hits += found;
  }
  search_->SetHits(search_->Words().IsEmpty() ? -1 : hits);
  if (first >= 0 && !tabs_->isTabEnabled(tabs_->currentIndex())) tabs_->setCurrentIndex(first);
  help_->setText(first < 0 ? search_->NothingFound() : QString());
}

void PreferencesSheet::Apply() {
  for (ZKPropPage* page : pages_) page->OnApply();
  for (ZKPropPage* page : pages_) page->OnInitDialog();
  host_.PreferencesApplied();
  EnableUnless(apply_, tr("Nothing was changed."));
  // What was applied stays: there is nothing left to cancel.
  cancel_->setText(tr("&Close"));
}

void PreferencesSheet::accept() {
  Apply();
  if (const Result saved = program_.SaveConfig(); !saved.ok()) program_.prompts().Say("Preferences", saved.text);
  QDialog::accept();
}

void MainSetProperties(QWidget* parent, Program& program, PreferencesHost& owner) {
  PreferencesSheet sheet(program, owner, parent);
  sheet.exec();
}

}  // namespace tonalith
