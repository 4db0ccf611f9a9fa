#include "ui/port_dialogs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <set>

#include "platform/ini_file.h"
#include "platform/log.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/list_search.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr int kMostBuffers = 1000;
constexpr int kLargestBuffer = 1 << 20;

}  // namespace

PVMidiPorts::PVMidiPorts(MidiPortSystem& midi, MidiDirection direction, QWidget* parent)
    : QDialog(parent),
      midi_(midi),
      direction_(direction),
      list_(new QListWidget(this)),
      search_(new SearchField(tr("Search ports"), this)),
      openAll_(new QCheckBox(tr("&Always open all MIDI ports"), this)) {
  const bool in = direction == MidiDirection::Input;
  SetTitle(this, in ? tr("MIDI IN Ports") : tr("MIDI OUT Ports"));
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kWideGap, kGap);
  auto* head = new PlainLabel(
      in ? tr("MIDI &IN ports that the program opens:") : tr("MIDI &OUT ports that the program opens:"), this);
  head->setBuddy(list_);
  layout->addWidget(head);
  layout->addWidget(search_);
  DressList(list_);
  list_->setSelectionMode(QAbstractItemView::MultiSelection);
  list_->setMinimumSize(fontMetrics().averageCharWidth() * 48, fontMetrics().height() * 10);
  layout->addWidget(list_, 1);
  BuildSearch(layout);
  layout->addWidget(openAll_);
  const PortProfileSettings settings = midi.ProfileSettings(direction);
  openAll_->setVisible(!settings.hideOpenAllPorts);
  if (in && !settings.hideBufferInfo) BuildBuffers(layout, settings);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Ok)->setText(tr("&Use These Ports"));
  SetPrimary(buttons->button(QDialogButtonBox::Ok));
  connect(buttons, &QDialogButtonBox::accepted, this, &PVMidiPorts::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &PVMidiPorts::reject);
  FillList();
  found_->Refresh();
  if (!in) BuildSpeeds(layout);
  layout->addWidget(buttons);
  connect(openAll_, &QCheckBox::toggled, this, [this](bool all) {
    list_->setDisabled(all);
    found_->ShowSummary();
  });
}

void PVMidiPorts::BuildSearch(QVBoxLayout* layout) {
  found_ = new ListSearch(search_, list_);
  found_->SetSummary([this] { return SearchSummary(); });
  layout->addWidget(found_->Summary());
  search_->ServeDialog(this);
  connect(list_, &QListWidget::itemSelectionChanged, found_, &ListSearch::ShowSummary);
}

// Ports that are chosen are opened whether the search shows them or not.
QString PVMidiPorts::SearchSummary() const {
  const QString shown = tr("%1 of %2 ports are shown.").arg(found_->Shown()).arg(list_->count());
  int hidden = 0;
  for (int i = 0; i < list_->count(); ++i) hidden += list_->item(i)->isHidden() && list_->item(i)->isSelected() ? 1 : 0;
  if (hidden == 0 || openAll_->isChecked()) return shown;
  return shown + QLatin1Char(' ') + tr("Hidden, and still chosen: %1.").arg(hidden);
}

void PVMidiPorts::BuildBuffers(QVBoxLayout* layout, const PortProfileSettings& settings) {
  auto* group = new QGroupBox(tr("A&dvanced"), this);
  auto* form = new QFormLayout(group);
  bufferCount_ = new QSpinBox(group);
  bufferCount_->setRange(1, kMostBuffers);
  bufferCount_->setValue(settings.numSysXBuffers);
  bufferSize_ = new QSpinBox(group);
  bufferSize_->setRange(256, kLargestBuffer);
  bufferSize_->setSuffix(tr(" bytes"));
  bufferSize_->setValue(settings.sysXBufferSize);
  form->addRow(tr("SysEx &buffers of each port:"), bufferCount_);
  form->addRow(tr("&Size of a buffer:"), bufferSize_);
  layout->addWidget(group);
}

void PVMidiPorts::BuildSpeeds(QVBoxLayout* layout) {
  auto* group = new QGroupBox(tr("S&peed"), this);
  auto* form = new QFormLayout(group);
  speedPort_ = new QComboBox(group);
  speedPort_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  speed_ = new QSpinBox(group);
  speed_->setRange(0, kMostPortSpeed);
  speed_->setSingleStep(1000);
  speed_->setGroupSeparatorShown(true);
  speed_->setSuffix(tr(" bytes/s"));
  speed_->setSpecialValueText(tr("MIDI cable (3,125 bytes/s)"));
  SetToolTip(speed_, tr("What the port takes: more only for USB without a MIDI cable behind it"));
  form->addRow(tr("&Port:"), speedPort_);
  form->addRow(tr("It &takes:"), speed_);
  layout->addWidget(group);
  for (int i = 0; i < list_->count(); ++i)
    if (const QVariant name = list_->item(i)->data(Qt::UserRole); name.isValid())
      speedPort_->addItem(ShownLine(name.toString()), name);
  group->setEnabled(speedPort_->count() > 0);
  const auto show = [this] {
    const std::string name = ToUtf8(speedPort_->currentData().toString());
    const auto changed = speeds_.find(name);
    const QSignalBlocker quiet(speed_);
    speed_->setValue(static_cast<int>(changed == speeds_.end() ? midi_.PortSpeed(name) : changed->second));
  };
  connect(speedPort_, &QComboBox::currentIndexChanged, this, show);
  connect(speed_, &QSpinBox::valueChanged, this, [this](int bytes) {
    speeds_[ToUtf8(speedPort_->currentData().toString())] = static_cast<std::uint32_t>(bytes);
  });
  show();
}

Result PVMidiPorts::KeepSpeeds() {
  Result result;
  for (const auto& [name, bytes] : speeds_)
    if (Result kept = midi_.SetPortSpeed(name, bytes); !kept.ok()) result = kept;
  return result;
}

void PVMidiPorts::AddPort(const std::string& name, const QString& note, bool selected) {
  const QString shown = ShownUtf8(name);
  auto* item = new QListWidgetItem(note.isEmpty() ? shown : tr("%1 (%2)").arg(shown, note), list_);
  item->setData(Qt::UserRole, FromUtf8(name));
  item->setSelected(selected);
}

void PVMidiPorts::FillList() {
  const PortMap map = direction_ == MidiDirection::Input ? midi_.GetPortInProfile() : midi_.GetPortOutProfile();
  std::set<std::string> present;
  midi_.DeviceNames(direction_);
  for (const MidiPortDevice& device : midi_.Devices(direction_)) {
    if (device.info.own) continue;
    present.insert(device.info.name);
    AddPort(device.info.name, device.info.through ? tr("sends everything back") : QString(),
            !map.openAll() && map.Listed(device.info.name));
  }
  // What was chosen and is not plugged in just now stays chosen.
  if (!map.openAll())
    for (const std::string& name : map.names())
      if (present.insert(name).second) AddPort(name, tr("not connected"), true);
  if (list_->count() == 0) {
    auto* item = new QListWidgetItem(tr("This machine has no MIDI ports. Connect an interface or start JACK."), list_);
    item->setFlags(Qt::NoItemFlags);
  }
  openAll_->setChecked(map.openAll());
  list_->setDisabled(map.openAll());
}

PortMap PVMidiPorts::Chosen() const {
  PortMap map;
  map.SetOpenAll(openAll_->isChecked());
  if (map.openAll()) return map;
  for (int i = 0; i < list_->count(); ++i) {
    const QListWidgetItem* item = list_->item(i);
    if (item->isSelected() && item->data(Qt::UserRole).isValid())
      map.AddPortName(ToUtf8(item->data(Qt::UserRole).toString()));
  }
  return map;
}

void PVMidiPorts::accept() {
  const PortMap map = Chosen();
  Result saved;
  if (direction_ == MidiDirection::Input) {
    midi_.MidiPortInClosePorts();
    if (bufferCount_) midi_.in().LoadBufferSettings(bufferCount_->value(), bufferSize_->value());
    saved = midi_.SetPortInProfile(map);
    midi_.SetMidiInPortMap(map);
    midi_.MidiPortInOpenPorts({}, true);
  } else {
    midi_.MidiPortOutClosePorts();
    saved = midi_.SetPortOutProfile(map);
    if (const Result speeds = KeepSpeeds(); saved.ok()) saved = speeds;
    midi_.SetMidiOutPortMap(map);
    midi_.MidiPortOutOpenPorts({}, true);
  }
  if (!saved.ok()) MonitorMsg("The MIDI port profile was not saved. %s", saved.text.c_str());
  QDialog::accept();
}

bool PVAskPorts(Prompts& prompts, MidiDirection direction, const std::string& profile) {
  const bool in = direction == MidiDirection::Input;
  const char* section = in ? "Midi In Ports" : kAskPortsSection;
  if (!profile.empty() && IniFile(profile).GetInt(section, kAskPortsKey, 0) != 0) return false;
  bool never = false;
  MessagePrompt prompt;
  prompt.title = "MIDI Ports";
  prompt.text = in ? "There are no MIDI IN Ports Selected!\nSelect YES to choose the ports now.\nIf you do not choose "
                     "any ports,\nthe program will not receive MIDI"
                   : "There are no MIDI OUT Ports Selected!\nSelect YES to choose the ports now.\nIf you do not choose "
                     "any ports,\nthe program will not communicate with your instrument!";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  prompt.checkBox = "Do not ask again";
  prompt.checked = &never;
  const bool yes = prompts.Message(prompt) == PromptAnswer::Yes;
  if (never && !profile.empty()) {
    IniFile ini(profile);
    ini.SetInt(section, kAskPortsKey, 1);
    if (const Result saved = ini.Save(); !saved.ok()) MonitorMsg("%s", saved.text.c_str());
  }
  return yes;
}

bool NoPortsSelected(MidiPortSystem& midi, MidiDirection direction) {
  const PortMap map = direction == MidiDirection::Input ? midi.GetPortInProfile() : midi.GetPortOutProfile();
  return !map.openAll() && map.names().empty();
}

}  // namespace tonalith
