#include "studio/ui/instrument_settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "studio/device_ids.h"
#include "studio/instrument_change.h"
#include "studio/ui/studio_marks.h"
#include "studio/ui/studio_pictures.h"
#include "studio/ui/studio_tree.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

// Data of a port choice: its number, or one of these.
constexpr int kUnassigned = -1;
constexpr int kGone = -2;
constexpr int kPortNameRole = Qt::UserRole + 1;

QSpinBox* Number(int low, int high, int value) {
  auto* box = new QSpinBox;
  box->setRange(low, high);
  box->setValue(value);
  return box;
}

QComboBox* Channels(int current) {
  auto* box = new QComboBox;
  for (int i = 0; i < 16; ++i) box->addItem(QString::number(i + 1), i);
  box->setCurrentIndex(current);
  return box;
}

// Of a port that is there; empty: unassigned.
std::string PortName(const QComboBox* box) {
  return ToUtf8(box->currentData(kPortNameRole).toString());
}

}  // namespace

InstrumentSettingsDlg::InstrumentSettingsDlg(ZKStudioDoc& studio, ZKDrvList* instrument, StudioWindowHost& host,
                                             QWidget* parent)
    : QDialog(parent), studio_(studio), instrument_(instrument), host_(host) {
  SetTitle(this, tr("Settings of %1").arg(ShownUtf8(instrument->DisplayKey())));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kWideGap);
  auto* content = new QWidget;
  auto* groups = new QVBoxLayout(content);
  SetSpace(groups, 0, kWideGap);
  groups->addWidget(BuildPorts());
  groups->addWidget(BuildPatchBay());
  groups->addWidget(BuildDrivers(), 1);
  // On a small screen the groups are scrolled, not the buttons.
  auto* area = new QScrollArea;
  area->setFrameShape(QFrame::NoFrame);
  area->setWidgetResizable(true);
  area->setFocusPolicy(Qt::NoFocus);
  area->setWidget(content);
  column->addWidget(area, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
  QPushButton* keep = buttons->addButton(tr("&Save Settings"), QDialogButtonBox::AcceptRole);
  SetPrimary(keep);
  connect(buttons, &QDialogButtonBox::accepted, this, &InstrumentSettingsDlg::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  column->addWidget(buttons);
  keep->setDefault(true);
  // Nothing is scrolled sideways.
  area->setMinimumWidth(content->sizeHint().width() + area->verticalScrollBar()->sizeHint().width());
  resize(fontMetrics().averageCharWidth() * 66, fontMetrics().height() * 36);
}

QComboBox* InstrumentSettingsDlg::PortChoice(const std::string& current, bool input) {
  auto* box = new QComboBox;
  box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  box->setMinimumContentsLength(24);
  const auto add = [&](const QString& text, int choice, PortState state) {
    box->addItem(MarkIcon(PortStateMark(state), this), text, choice);
  };
  add(tr("unassigned"), kUnassigned, PortState::None);
  StudioPorts* ports = host_.ports();
  const auto names = !ports ? std::vector<std::string>() : input ? ports->InputPortNames() : ports->OutputPortNames();
  for (std::size_t i = 0; i < names.size(); ++i) {
    add(ShownUtf8(names[i]), static_cast<int>(i), PortState::There);
    box->setItemData(box->count() - 1, FromUtf8(names[i]), kPortNameRole);
    if (names[i] == current) box->setCurrentIndex(box->count() - 1);
  }
  if (!current.empty() && box->currentIndex() == 0) {
    add(tr("%1 (not there)").arg(ShownUtf8(current)), kGone, PortState::Gone);
    box->setCurrentIndex(box->count() - 1);
  }
  return box;
}

QWidget* InstrumentSettingsDlg::BuildPorts() {
  auto* group = new QGroupBox(tr("MIDI"));
  auto* form = new QFormLayout(group);
  in_ = PortChoice(instrument_->inPortName, true);
  out_ = PortChoice(instrument_->outPortName, false);
  form->addRow(tr("&In port:"), in_);
  form->addRow(tr("&Out port:"), out_);
  device_ = new QComboBox;
  AddDeviceIds(device_, *instrument_);
  device_->setEnabled(device_->count() > 1);
  SetToolTip(device_, tr("The number the instrument answers to in SysEx messages"));
  form->addRow(tr("&Device ID:"), device_);
  channel_ = Channels(instrument_->midiChannel);
  form->addRow(tr("MIDI &channel:"), channel_);
  return group;
}

QWidget* InstrumentSettingsDlg::BuildPatchBay() {
  patchBay_ = new QGroupBox(tr("Patch &bay"));
  patchBay_->setCheckable(true);
  patchBay_->setChecked((instrument_->patchBayFlags & kPatchBayOn) != 0);
  SetToolTip(patchBay_, tr("A patch bay is switched before the instrument is talked to"));
  auto* form = new QFormLayout(patchBay_);
  bayPort_ = PortChoice(instrument_->patchBayPortName, false);
  bayChannel_ = Channels(instrument_->patchBayChannel & 15);
  bayController_ = Number(0, 127, instrument_->patchBayController);
  SetToolTip(bayController_, tr("The patch of the patch bay that leads to this instrument"));
  manual_ = new QCheckBox(tr("&Manual: ask before each transfer"));
  manual_->setChecked((instrument_->patchBayFlags & kPatchBayManual) != 0);
  revert_ = new QCheckBox(tr("&Revert to patch:"));
  revert_->setChecked((instrument_->patchBayFlags & kPatchBayRevert) != 0);
  bayPatch_ = Number(0, 127, instrument_->patchBayRevertPatch);
  bayPatch_->setEnabled(revert_->isChecked());
  bayPatch_->setAccessibleName(tr("Patch to revert to"));
  connect(revert_, &QCheckBox::toggled, bayPatch_, &QWidget::setEnabled);
  form->addRow(tr("&Port:"), bayPort_);
  form->addRow(tr("C&hannel:"), bayChannel_);
  form->addRow(tr("Patch chan&ge:"), bayController_);
  form->addRow(manual_);
  form->addRow(revert_, bayPatch_);
  return patchBay_;
}

QWidget* InstrumentSettingsDlg::BuildDrivers() {
  auto* group = new QGroupBox(tr("Default patches"));
  auto* column = new QVBoxLayout(group);
  patches_ = new QTableWidget(static_cast<int>(instrument_->drivers.size()), 2);
  patches_->setHorizontalHeaderLabels({tr("Data"), tr("Default patch")});
  DressList(patches_);
  patches_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
  patches_->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  patches_->setSelectionMode(QAbstractItemView::NoSelection);
  patches_->setTabKeyNavigation(false);
  patches_->setAccessibleName(tr("Default patches"));
  for (int i = 0; i < patches_->rowCount(); ++i) {
    const ZKDrvList* driver = instrument_->drivers[static_cast<std::size_t>(i)].get();
    auto* name = new QTableWidgetItem(ShownLatin1(driver->TypeName()));
    name->setIcon(DriverIcon(driver, palette(), fontMetrics().height()));
    name->setFlags(Qt::ItemIsEnabled);
    patches_->setItem(i, 0, name);
    const Synth* synth = driver->synth();
    if (!synth) continue;
    const int low = PatchMin(*synth);
    const int high = PatchMax(*synth);
    if (!driver->patchNames.empty()) {
      auto* names = new QComboBox;
      for (int n = low; n <= high && n < static_cast<int>(driver->patchNames.size()); ++n)
        names->addItem(ShownLatin1(driver->patchNames[static_cast<std::size_t>(n)]), n);
      names->setCurrentIndex(names->findData(static_cast<int>(driver->defaultPatch)));
      patches_->setCellWidget(i, 1, names);
    } else {
      QSpinBox* number = Number(low, std::max(low, high), driver->defaultPatch);
      number->setEnabled(high > low);
      patches_->setCellWidget(i, 1, number);
    }
  }
  patches_->resizeRowsToContents();
  constexpr int kRowsSeen = 6;
  patches_->setMinimumHeight(patches_->horizontalHeader()->sizeHint().height() +
                             std::min(kRowsSeen, patches_->rowCount()) * patches_->rowHeight(0) + 4);
  column->addWidget(patches_);
  return group;
}

void InstrumentSettingsDlg::Apply(ZKDrvList* instrument) {
  const int flags = (patchBay_->isChecked() ? kPatchBayOn : 0) | (manual_->isChecked() ? kPatchBayManual : 0) |
                    (revert_->isChecked() ? kPatchBayRevert : 0);
  int number = instrument->patchBayPort;
  std::string name = instrument->patchBayPortName;
  if (const int chosen = bayPort_->currentData().toInt(); chosen != kGone) {
    number = std::max(0, chosen);
    name = PortName(bayPort_);
  }
  instrument->SetPatchBay(flags, bayChannel_->currentIndex(), number, bayPatch_->value(), name);
  instrument->SetPatchBayController(bayController_->value());
  for (int i = 0; i < patches_->rowCount(); ++i) {
    ZKDrvList* driver = instrument->drivers[static_cast<std::size_t>(i)].get();
    int patch = driver->defaultPatch;
    if (const auto* spin = qobject_cast<QSpinBox*>(patches_->cellWidget(i, 1))) patch = spin->value();
    if (const auto* names = qobject_cast<QComboBox*>(patches_->cellWidget(i, 1)); names && names->currentIndex() >= 0)
      patch = names->currentData().toInt();
    driver->defaultPatch = static_cast<std::uint16_t>(patch);
  }
}

void InstrumentSettingsDlg::accept() {
  // The studio may have changed while the dialog was open.
  if (studio_.GetInstrumentDrvList(instrument_) == instrument_) {
    Apply(instrument_);
    InstrumentChange change;
    if (in_->currentData().toInt() != kGone) change.inPort = PortName(in_);
    if (out_->currentData().toInt() != kGone) change.outPort = PortName(out_);
    if (device_->currentIndex() >= 0) change.device = device_->currentData().toInt();
    if (channel_->currentIndex() != instrument_->midiChannel) change.channel = channel_->currentIndex();
    if (const Result written = ChangeInstrument(studio_, instrument_, change); !written.ok())
      host_.prompts().Say("Studio", written.text);
    host_.StudioEdited();
  }
  QDialog::accept();
}

}  // namespace tonalith
