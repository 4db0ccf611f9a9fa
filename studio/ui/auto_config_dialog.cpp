#include "studio/ui/auto_config_dialog.h"

#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QListWidget>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <system_error>

#include "platform/log.h"
#include "studio/device_ids.h"
#include "studio/studio_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr char kTitle[] = "AutoSense";
constexpr std::int64_t kCloseWaitMs = 3000;
constexpr int kAfterMs = 100;

QString RemainingText(std::int64_t ms) {
  if (ms < 0) return {};
  const std::int64_t seconds = (ms + 999) / 1000;
  if (seconds <= 1) return QObject::tr("About a second left");
  if (seconds < 60) return QObject::tr("About %1 seconds left").arg(seconds);
  return QObject::tr("About %1 min %2 s left").arg(seconds / 60).arg(seconds % 60);
}

bool InStudio(const ZKStudioDoc& studio, const ZKDrvList* instrument) {
  return std::any_of(studio.instruments().begin(), studio.instruments().end(),
                     [instrument](const auto& one) { return one.get() == instrument; });
}

}  // namespace

void BeginAutoConfigRow(const AutoConfigServices& services) {
  services.memory->rowCancelled = false;
}

bool AutoConfigRowCancelled(const AutoConfigServices& services) {
  return services.memory->rowCancelled;
}

bool AutoConfigInstrument(ZKStudioDoc& studio, ZKDrvList* instrument, QWidget* studioWindow,
                          const AutoConfigServices& services, AutoConfigMode mode) {
  if (!instrument || !services.in || !services.out) {
    services.prompts->Say(instrument ? "Device Inquiry" : kTitle,
                          instrument ? "AutoConfigDeviceInquiry Internal Error! ZKBasics == NULL"
                                     : "Internal Error!\n\nNo drivers loaded. Unable to proceed with AutoSense");
    return false;
  }
  if (mode == AutoConfigMode::Quiet && services.memory->rowCancelled) return false;
  const std::string missing = AutoConfigMissingPorts(services.in->InPorts(), services.out->MaxOutPorts());
  if (!missing.empty()) {
    // In a row of instruments one box is enough; who asks for the search gets an answer each time.
    if (services.memory->missingPortsShown && mode == AutoConfigMode::Quiet) return false;
    services.memory->missingPortsShown = true;
    services.prompts->Say("AutoSense MIDI Ports Setup", missing);
    if (services.choosePorts) services.choosePorts();
    return false;
  }
  DrvAutoConfig dialog(studio, instrument, services, mode, studioWindow);
  if (!dialog.StartSearch()) return false;
  dialog.exec();
  SystemClock().SleepMs(kAfterMs);
  const bool found = dialog.found();
  const int set = dialog.outcome().setNumber;
  if (found && set >= 0 && services.openSet && InStudio(studio, instrument)) services.openSet(instrument, set);
  return found;
}

// ---------------------------------------------------------------------------------------------------- the dialog

DrvAutoConfig::DrvAutoConfig(ZKStudioDoc& studio, ZKDrvList* instrument, const AutoConfigServices& services,
                             AutoConfigMode mode, QWidget* parent)
    : QDialog(parent), studio_(studio), instrument_(instrument), services_(services), mode_(mode) {
  SetTitle(this, QString::fromLatin1(kTitle));
  Build();
}

DrvAutoConfig::~DrvAutoConfig() {
  if (control_) control_->Cancel(AutoConfigCancel::This);
}

void DrvAutoConfig::Build() {
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kWideGap, kGap);
  auto* form = new QFormLayout;
  const auto line = [&](const QString& title) {
    auto* value = new PlainLabel;
    value->setMinimumWidth(value->fontMetrics().averageCharWidth() * 54);
    if (form->rowCount() == 0) value->setFont(HeadingFont(value->font()));
    form->addRow(title, value);
    return value;
  };
  name_ = line(tr("Instrument:"));
  in_ = line(tr("MIDI IN:"));
  out_ = line(tr("MIDI OUT:"));
  device_ = line(tr("Device ID:"));
  layout->addLayout(form);
  bar_ = new QProgressBar;
  bar_->setTextVisible(false);
  bar_->setAccessibleName(tr("Progress of the search"));
  layout->addWidget(bar_);
  remaining_ = new PlainLabel;
  layout->addWidget(remaining_);
  words_ = new PlainLabel;
  words_->setWordWrap(true);
  words_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  layout->addWidget(words_);
  answersTitle_ = new PlainLabel(tr("What ans&wered:"));
  answers_ = new QListWidget;
  answers_->setWordWrap(true);
  answers_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
  answers_->setMinimumHeight(answers_->fontMetrics().lineSpacing() * 4);
  answersTitle_->setBuddy(answers_);
  layout->addWidget(answersTitle_);
  layout->addWidget(answers_, 1);

  auto* buttons = new QDialogButtonBox;
  setPorts_ = buttons->addButton(tr("&Set Ports..."), QDialogButtonBox::ActionRole);
  help_ = buttons->addButton(tr("Show &Help"), QDialogButtonBox::HelpRole);
  again_ = buttons->addButton(tr("&Try Again"), QDialogButtonBox::ActionRole);
  cancelAll_ = buttons->addButton(tr("Cancel &All"), QDialogButtonBox::ActionRole);
  cancel_ = buttons->addButton(tr("&Cancel"), QDialogButtonBox::RejectRole);
  close_ = buttons->addButton(tr("C&lose"), QDialogButtonBox::AcceptRole);
  layout->addWidget(buttons);
  connect(cancel_, &QPushButton::clicked, this, &DrvAutoConfig::OnCancel);
  connect(cancelAll_, &QPushButton::clicked, this, &DrvAutoConfig::OnCancelAll);
  connect(close_, &QPushButton::clicked, this, &QDialog::accept);
  // Nothing is opened unasked: the file is the module's.
  connect(help_, &QPushButton::clicked, this, [this] { services_.openFile(result_.helpFile); });
  connect(again_, &QPushButton::clicked, this, [this] { StartSearch(); });
  connect(setPorts_, &QPushButton::clicked, this, [this] {
    accept();
    if (services_.setPorts && InStudio(studio_, instrument_)) services_.setPorts(instrument_);
  });
  UpdateButtons();
}

bool DrvAutoConfig::StartSearch() {
  if (searching_) return false;
  AutoConfigTask task;
  std::string title;
  if (!InStudio(studio_, instrument_)) instrument_ = nullptr;
  if (const Result ready = PrepareAutoConfig(studio_, instrument_, &task, &title); !ready.ok()) {
    services_.prompts->Say(title, ready.text);
    return false;
  }
  control_ = std::make_shared<AutoConfigControl>();
  ended_ = std::make_shared<std::atomic<bool>>(false);
  receiver_.Forget();
  result_ = AutoConfigResult();
  found_ = false;
  // Jobs take calls that can be copied; the task owns data that cannot.
  auto work = [line = AutoConfigLine{*services_.out, *services_.in, services_.transfers},
               held = std::make_shared<AutoConfigTask>(std::move(task)), control = control_, ended = ended_,
               token = receiver_.token(), dispatcher = services_.dispatcher, this](const CancelToken& stop) {
    // `this` is used only inside calls that the dispatcher drops once the dialog is gone.
    const auto show = [&](const AutoConfigProgress& progress) {
      dispatcher->PostTo(token, [this, progress] { ShowProgress(progress); });
    };
    AutoConfigResult result;
    {
      AutoConfigSearch search(line, std::move(*held), control, show, {}, stop);
      result = PerformAutoConfig(search);
    }
    *ended = true;
    dispatcher->PostTo(token, [this, result] { Finished(result); });
  };
  try {
    searching_ = true;
    services_.jobs->Start(std::move(work));
  } catch (const std::system_error&) {
    searching_ = false;
    services_.prompts->Say(kTitle, "The search could not be started: the system gives no more threads.");
    return false;
  }
  AutoConfigProgress first;
  first.instrument = instrument_->DisplayKey();
  first.inPort = "Any MIDI IN port";
  ShowProgress(first);
  words_->clear();
  UpdateButtons();
  return true;
}

void DrvAutoConfig::ShowProgress(const AutoConfigProgress& progress) {
  name_->setText(ShownUtf8(progress.instrument));
  in_->setText(ShownUtf8(progress.inPort));
  out_->setText(ShownUtf8(progress.outPort));
  device_->setText(progress.device.empty() ? tr("All") : ShownUtf8(progress.device));
  bar_->setRange(0, std::max(1, progress.range));
  bar_->setValue(progress.position);
  remaining_->setText(RemainingText(progress.remainingMs));
  if (static_cast<int>(progress.answers.size()) != answers_->count() || progress.answers.empty())
    ShowAnswers(progress.answers);
}

void DrvAutoConfig::ShowAnswers(const std::vector<AutoConfigAnswer>& answers) {
  answers_->clear();
  for (const AutoConfigAnswer& answer : answers) answers_->addItem(ShownUtf8(answer.Text()));
  const bool any = !answers.empty();
  answersTitle_->setVisible(any);
  answers_->setVisible(any);
}

void DrvAutoConfig::Finished(AutoConfigResult result) {
  searching_ = false;
  result_ = std::move(result);
  // The instrument may have left the studio meanwhile.
  if (!InStudio(studio_, instrument_)) {
    reject();
    return;
  }
  bar_->setValue(bar_->maximum());
  remaining_->clear();
  ShowAnswers(result_.answers);
  if (result_.outcome == AutoConfigOutcome::Cancelled) {
    reject();
    return;
  }
  found_ = result_.outcome == AutoConfigOutcome::Found;
  QString words = ShownLines(FromUtf8(AutoConfigResultText(result_)));
  if (found_) {
    const Result kept = ApplyAutoConfig(studio_, instrument_, result_);
    if (!kept.ok()) words += "\n\n" + ShownUtf8(kept.text);
    in_->setText(ShownUtf8(result_.inPortName));
    out_->setText(ShownUtf8(result_.outPortName));
    device_->setText(QString::number(ShownDeviceId(DeviceIdSynth(*instrument_), instrument_->sysExChannel)));
    if (services_.edited) services_.edited(instrument_);
  }
  words_->setText(words);
  UpdateButtons();
  adjustSize();
  if (found_ && mode_ == AutoConfigMode::Quiet) {
    accept();
    return;
  }
  close_->setFocus();
}

void DrvAutoConfig::UpdateButtons() {
  cancel_->setVisible(searching_);
  cancelAll_->setVisible(searching_);
  close_->setVisible(!searching_);
  again_->setVisible(!searching_ && !found_);
  help_->setVisible(!searching_ && !found_ && !result_.helpFile.empty() && static_cast<bool>(services_.openFile));
  setPorts_->setVisible(!searching_ && !found_ && static_cast<bool>(services_.setPorts));
  words_->setVisible(!searching_);
  remaining_->setVisible(searching_);
  (searching_ ? cancel_ : close_)->setDefault(true);
  ShowAnswers(searching_ ? std::vector<AutoConfigAnswer>() : result_.answers);
}

void DrvAutoConfig::OnCancel() {
  if (!searching_) {
    reject();
    return;
  }
  control_->Cancel(AutoConfigCancel::This);
  cancel_->setEnabled(false);
  // The search looks at the cancel every 20 ms.  One that hangs in a driver is left to its job, which holds nothing of
  // the dialog.
  const std::int64_t deadline = SystemClock().NowUs() + kCloseWaitMs * 1000;
  while (!ended_->load() && SystemClock().NowUs() < deadline) SystemClock().SleepMs(5);
  if (!ended_->load()) MonitorMsg("AutoSense: a MIDI port does not return; the search ends by itself.");
  cancel_->setEnabled(true);
  receiver_.Forget();
  searching_ = false;
  result_ = AutoConfigResult();
  result_.outcome = AutoConfigOutcome::Cancelled;
  QDialog::reject();
}

void DrvAutoConfig::OnCancelAll() {
  services_.memory->rowCancelled = true;
  if (control_) control_->cancelState = AutoConfigCancel::All;
  OnCancel();
}

void DrvAutoConfig::reject() {
  if (searching_)
    OnCancel();
  else
    QDialog::reject();
}

}  // namespace tonalith
