#include "bank/ui/bank_audition_part.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QToolButton>
#include <algorithm>
#include <array>
#include <utility>

#include "bank/ui/bank_grid.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_window.h"
#include "platform/log.h"
#include "services/audition.h"
#include "services/settings.h"
#include "store/bank_slots.h"
#include "ui/patch_player.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/document_header.h"
#include "ui/style/icons.h"

namespace tonalith {

namespace {

constexpr int kWaitMs = 150;  // who holds an arrow key hears the patch where he stops
constexpr int kGapMs = 300;
constexpr const char* kInSyncOption = "InSyncMacroAudition";
constexpr const char* kForceOption = "ForceMacroAudition";

constexpr std::array kAuditionCommands = {CommandId::BankPlayPatch,      CommandId::BankPlaySweep,
                                          CommandId::BankStopAudition,   CommandId::None,
                                          CommandId::BankAuditionInSync, CommandId::BankAuditionForce};

const char* OptionOf(CommandId command) {
  return command == CommandId::BankAuditionInSync ? kInSyncOption : kForceOption;
}

}  // namespace

BankAudition::BankAudition(TZKBank& window)
    : window_(window), sending_(window.context(), [this](const DeskResult& result, const DataFile&) { Sent(result); }) {
  for (QTimer* timer : {&wait_, &gap_}) timer->setSingleShot(true);
  connect(&wait_, &QTimer::timeout, this, &BankAudition::PlaySelected);
  connect(&gap_, &QTimer::timeout, this, &BankAudition::PlayNext);
  QTimer::singleShot(0, this, &BankAudition::Attach);
  if (window_.document().synth().isBank != 0) AddSwitch();
}

void BankAudition::AddSwitch() {
  switch_ = new QToolButton(window_.header());
  switch_->setText(tr("Audition"));
  switch_->setIcon(IconOf(Glyph::Audition));
  switch_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  switch_->setCheckable(true);
  switch_->setAutoRaise(true);
  switch_->setFocusPolicy(Qt::TabFocus);
  SetToolTip(switch_, tr("Let the instrument play a patch when it is selected, in all windows"));
  window_.header()->AddRight(switch_);
  ShowSwitch();
  PatchPlayer& player = window_.context().player();
  connect(&player, &PatchPlayer::Switched, this, &BankAudition::ShowSwitch);
  connect(switch_, &QToolButton::clicked, this, [this, &player](bool on) {
    SetPlaysWhatIsSelected(window_.context().settings(), on);
    player.TellSwitched();
    emit window_.StateChanged();
  });
}

void BankAudition::ShowSwitch() {
  const bool on = PlaysWhatIsSelected(window_.context().settings());
  if (!on) wait_.stop();
  if (switch_) switch_->setChecked(on);
}

void BankAudition::Attach() {
  for (BankPatchView* view :
       {static_cast<BankPatchView*>(window_.list()), static_cast<BankPatchView*>(window_.grid())}) {
    view->installEventFilter(this);
    view->viewport()->installEventFilter(this);
  }
  connect(&window_.context().player(), &PatchPlayer::Over, this, &BankAudition::Over);
}

// ---- commands -------------------------------------------------------------------------------------------------------

bool BankAudition::Has(CommandId command) const {
  return command != CommandId::None &&
         std::find(kAuditionCommands.begin(), kAuditionCommands.end(), command) != kAuditionCommands.end();
}

AuditionChoice BankAudition::Choice() const {
  const PatchPlayer& player = window_.context().player();
  return {player.Option(kInSyncOption), player.Option(kForceOption)};
}

QString BankAudition::Refusal(CommandId command) const {
  const ZKBankDoc& bank = window_.document();
  switch (command) {
    case CommandId::BankStopAudition:
      return window_.context().player().IsPlaying() || Sweeping() || sending_.Busy() ? QString()
                                                                                     : tr("Nothing is played.");
    case CommandId::BankAuditionInSync:
    case CommandId::BankAuditionForce:
      return bank.dataFile()->auditionScript ? QString()
                                             : tr("This data cannot be sent to be heard only: its patches are chosen "
                                                  "in the instrument.");
    default:
      break;
  }
  if (command == CommandId::BankPlaySweep && Sweeping()) return {};
  if (bank.IsBusy()) return ShownUtf8(bank.BusyReason());
  if (bank.IsEmpty()) return tr("Nothing was received yet.");
  const std::vector<int> selected = window_.SelectedPatches();
  if (selected.empty()) return tr("No patch is selected.");
  const bool can = AuditionWayOf(bank, selected.front(), Choice()) != AuditionWay::kNone;
  return can ? QString() : tr("The instrument cannot be made to play a patch of this data.");
}

bool BankAudition::IsChecked(CommandId command) const {
  if (command == CommandId::BankPlaySweep) return Sweeping();
  return (command == CommandId::BankAuditionInSync || command == CommandId::BankAuditionForce) &&
         window_.context().player().Option(OptionOf(command));
}

void BankAudition::Run(CommandId command) {
  switch (command) {
    case CommandId::BankPlayPatch: {
      EndSweep({});
      const Result played = Play(window_.SelectedPatches().front());
      return played.ok() ? void() : window_.Say(ShownUtf8(played.text));
    }
    case CommandId::BankPlaySweep:
      return Sweeping() ? Stop() : StartSweep();
    case CommandId::BankStopAudition:
      return Stop();
    default: {
      PatchPlayer& player = window_.context().player();
      const Result set = player.SetOption(OptionOf(command), !player.Option(OptionOf(command)));
      if (!set.ok()) window_.Say(ShownUtf8(set.text));
      emit window_.StateChanged();
    }
  }
}

std::vector<CommandId> BankAudition::EntriesOf(BankMenu menu) const {
  if (menu != BankMenu::Quick) return {};
  return {kAuditionCommands.begin(), kAuditionCommands.end()};
}

// ---- what a user goes to --------------------------------------------------------------------------------------------

bool BankAudition::eventFilter(QObject* watched, QEvent* event) {
  bool input = event->type() == QEvent::Wheel;
  if (event->type() == QEvent::KeyPress) {
    const auto modifiers = static_cast<QKeyEvent*>(event)->modifiers();
    input = !(modifiers & (Qt::ControlModifier | Qt::AltModifier));
  }
  if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonRelease)
    input = static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton;
  if (input) {
    input_ = true;
    // Until it has been dealt with.
    QTimer::singleShot(0, this, [this] { input_ = false; });
    // A click on the patch that is selected already plays it again.
    if (event->type() == QEvent::MouseButtonRelease) SelectionChanged();
  }
  return QObject::eventFilter(watched, event);
}

void BankAudition::SelectionChanged() {
  if (!input_) return;
  if (Sweeping()) EndSweep({});
  if (PlaysWhatIsSelected(window_.context().settings())) wait_.start(kWaitMs);
}

void BankAudition::DocumentChanged() {
  wait_.stop();
  if (window_.document().IsBusy() && Sweeping()) Stop();
}

void BankAudition::SettingsChanged() {
  ShowSwitch();
}

void BankAudition::PlaySelected() {
  const std::vector<int> selected = window_.SelectedPatches();
  // While the button is down the patch may be dragged.
  if (selected.size() != 1 || QGuiApplication::mouseButtons() != Qt::NoButton) return;
  if (window_.document().IsBusy() || window_.document().IsEmpty()) return;
  if (const Result played = Play(selected.front()); !played.ok()) MonitorMsg("%s", played.text.c_str());
}

// ---- playing --------------------------------------------------------------------------------------------------------

Result BankAudition::Play(int patch) {
  PatchPlayer& player = window_.context().player();
  const ZKBankDoc& bank = window_.document();
  sending_.Drop();
  if (Result can = AuditionRefusal(bank, patch, Choice()); !can.ok()) return can;
  const bool sends = AuditionWayOf(bank, patch, Choice()) == AuditionWay::kSend;
  if (Result played = sends ? Send(window_.document(), patch) : player.Play(this, *window_.dataFile(), patch);
      !played.ok())
    return played;
  const QString name = ShownLatin1(bank.NumberText(patch) + " " + bank.GetPatchName(patch));
  const QString what = sends || !bank.DiffersFromInstrument(patch)
                           ? tr("Plays %1").arg(name)
                           : tr("Plays %1 as the instrument holds it: the patch was changed and not sent").arg(name);
  window_.Say(Sweeping() ? tr("%1 (%2 of %3)").arg(what).arg(next_).arg(sweep_.size()) : what);
  emit window_.StateChanged();
  return Result::Success();
}

Result BankAudition::PlayState(std::size_t position) {
  ZKBankDoc& now = window_.document();
  const std::vector<int> selected = window_.SelectedPatches();
  if (selected.empty()) return Result::Failure(ToUtf8(tr("No patch is selected.")));
  const int patch = selected.front();
  DataFilePtr data = now.At(position);
  if (!data) return Result::Failure(ToUtf8(tr("There is not enough memory.")));
  ZKBankDoc then(std::move(data));
  EndSweep({});
  const bool there = patch < then.PatchCount() && then.IsPatchDefined(patch);
  if (!there) return Result::Failure(ToUtf8(tr("The patch held nothing then.")));
  const auto before = BankSlots(*then.dataFile()).Raw(patch), held = BankSlots(*now.dataFile()).Raw(patch);
  if (std::equal(before.begin(), before.end(), held.begin(), held.end())) return Play(patch);
  if (!then.dataFile()->auditionScript)
    return Result::Failure(
        ToUtf8(tr("This data cannot be sent to be heard only: the instrument plays what it holds now.")));
  sending_.Drop();
  if (Result sent = Send(then, patch); !sent.ok()) return sent;
  window_.Say(tr("Plays %1 as it was").arg(ShownLatin1(now.NumberText(patch) + " " + then.GetPatchName(patch))));
  emit window_.StateChanged();
  return Result::Success();
}

Result BankAudition::Send(ZKBankDoc& from, int patch) {
  WindowContext& context = window_.context();
  DataFile& bank = *from.dataFile();
  if (Result can = context.player().CanPlay(bank); !can.ok()) return can;
  DataFilePtr data;
  const auto newData = [&](int driverId) { return context.NewDataOf(driverId, bank); };
  if (Result made = MakeAuditionData(from, patch, newData, context.ModuleFolder(bank), &data); !made.ok()) return made;
  std::vector<std::uint8_t> patches(data->synth->numVoices, 0);
  if (!patches.empty()) patches.back() = 1;
  return sending_.Send(std::move(data), std::move(patches));
}

void BankAudition::Sent(const DeskResult& result) {
  Result played =
      result.ok ? window_.context().player().Sound(this, *window_.dataFile()) : Result::Failure(result.sentence);
  if (!played.ok()) EndSweep(ShownUtf8(played.text));
}

void BankAudition::Over(QObject* owner, bool stopped) {
  if (owner != this) return;
  if (Sweeping() && stopped && !sending_.Busy()) return EndSweep(tr("Stopped"));
  if (Sweeping()) return gap_.start(kGapMs);
  emit window_.StateChanged();
}

void BankAudition::Stop() {
  sending_.Drop();
  window_.context().player().Stop(this);
  EndSweep(tr("Stopped"));
}

// ---- one after the other --------------------------------------------------------------------------------------------

// The selected ones; of one alone, it and those behind it.
void BankAudition::StartSweep() {
  std::vector<int> patches = window_.SelectedPatches();
  if (patches.size() == 1)
    for (int patch = patches.front() + 1; patch < window_.document().PatchCount(); ++patch) patches.push_back(patch);
  std::erase_if(patches, [this](int patch) { return !window_.document().IsPatchDefined(patch); });
  if (patches.empty()) return window_.Say(tr("These patches hold nothing that could be heard."));
  wait_.stop();
  sweep_ = std::move(patches);
  next_ = 0;
  PlayNext();
}

void BankAudition::PlayNext() {
  if (!Sweeping()) return;
  if (next_ >= sweep_.size()) return EndSweep(tr("All %1 patches were played").arg(sweep_.size()));
  const int patch = sweep_[next_++];
  BankPatchView* view = window_.view();
  const QModelIndex index = view->model()->index(patch, view->modelColumn());
  view->selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
  view->scrollTo(index);
  if (const Result played = Play(patch); !played.ok()) EndSweep(ShownUtf8(played.text));
}

void BankAudition::EndSweep(const QString& said) {
  gap_.stop();
  sweep_.clear();
  if (!said.isEmpty()) window_.Say(said);
  emit window_.StateChanged();
}

}  // namespace tonalith
