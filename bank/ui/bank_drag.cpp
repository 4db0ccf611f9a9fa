#include "bank/ui/bank_drag.h"

#include <QDrag>
#include <QDropEvent>
#include <QMimeData>
#include <algorithm>

#include "bank/bank_commands.h"
#include "bank/ui/bank_view.h"
#include "bank/ui/bank_window.h"
#include "services/settings.h"
#include "store/bank_slots.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Nothing of the data travels: whoever takes the patches asks the window that they come from.
constexpr char kPatchesMime[] = "application/x-tonalith-bank-patches";

}  // namespace

bool BankDrag::CanStart() const {
  return !window_.document().IsBusy() && !window_.SelectedPatches().empty();
}

bool BankDrag::IsOwn(const QMimeData* data) const {
  return !dragged_.empty() && data->hasFormat(QLatin1String(kPatchesMime));
}

std::unique_ptr<QMimeData> BankDrag::Mime() const {
  auto mime = std::make_unique<QMimeData>();
  mime->setData(QLatin1String(kPatchesMime), QByteArray());
  QStringList names;
  for (const std::string& line : window_.document().NameLines(dragged_)) names << FromUtf8(line);
  mime->setText(names.join(QLatin1Char('\n')));
  return mime;
}

void BankDrag::Start(QWidget* view) {
  Begin(window_.SelectedPatches());
  auto* drag = new QDrag(view);
  drag->setMimeData(Mime().release());
  drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
  Finish();
}

DropKind BankDrag::KindOf(Qt::KeyboardModifiers modifiers) const {
  if (modifiers & Qt::ControlModifier) return DropKind::Copy;
  if (modifiers & Qt::ShiftModifier) return DropKind::Insert;
  switch (window_.context().settings().Value(SettingId::MainBankDnDMode)) {
    case 1:
      return DropKind::Copy;
    case 2:
      return DropKind::Insert;
    default:
      return DropKind::Exchange;
  }
}

DropCue BankDrag::Look(const QDropEvent& event, int patch, bool behind) const {
  if (!IsOwn(event.mimeData()) || patch < 0 || !window_.EditRefusal().isEmpty()) return {};
  DropCue cue{KindOf(event.modifiers()), patch, static_cast<int>(dragged_.size())};
  if (cue.kind == DropKind::Insert) {
    cue.patch += behind ? 1 : 0;
    return cue;
  }
  cue.count = std::min(cue.count, window_.document().PatchCount() - patch);
  return patch == dragged_.front() ? DropCue{} : cue;
}

bool BankDrag::Drop(const QDropEvent& event, const DropCue& cue) {
  if (!IsOwn(event.mimeData())) return false;
  BankCommands commands = window_.Commands();
  std::vector<SlotPair> pairs;
  for (int i = 0; i < cue.count; ++i) pairs.push_back({dragged_[static_cast<std::size_t>(i)], cue.patch + i});
  std::vector<int> now;
  BankOutcome outcome;
  if (cue.kind == DropKind::Insert) {
    outcome = commands.MoveSlots(dragged_, cue.patch);
    const auto passed = std::count_if(dragged_.begin(), dragged_.end(), [&](int slot) { return slot < cue.patch; });
    for (std::size_t i = 0; i < dragged_.size(); ++i)
      now.push_back(cue.patch - static_cast<int>(passed) + static_cast<int>(i));
  } else {
    outcome = cue.kind == DropKind::Copy ? commands.CopySlots(window_.document(), pairs) : commands.SwapSlots(pairs);
    for (const SlotPair& pair : pairs) now.push_back(pair.to);
  }
  window_.Show(outcome);
  if (outcome.ok()) window_.Select(now);
  return outcome.ok();
}

}  // namespace tonalith
