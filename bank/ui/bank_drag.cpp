#include "bank/ui/bank_drag.h"

#include <QDrag>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <algorithm>

#include "bank/bank_commands.h"
#include "bank/bank_copy.h"
#include "bank/bank_naming.h"
#include "bank/ui/bank_window.h"
#include "services/settings.h"
#include "store/bank_slots.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Nothing of the data travels: whoever takes the patches asks the window that they come from.
constexpr char kPatchesMime[] = "application/x-tonalith-bank-patches";

// There is one mouse.
BankDrag* dragUnderWay = nullptr;

}  // namespace

bool BankDrag::CanStart() const {
  return !window_.document().IsBusy() && !window_.SelectedPatches().empty();
}

BankDrag::~BankDrag() {
  Finish();
}

void BankDrag::Begin(const std::vector<int>& patches) {
  dragged_ = patches;
  dragUnderWay = this;
}

void BankDrag::Finish() {
  dragged_.clear();
  if (dragUnderWay == this) dragUnderWay = nullptr;
}

BankDrag* BankDrag::Source(const QMimeData* data) {
  return data->hasFormat(QLatin1String(kPatchesMime)) ? dragUnderWay : nullptr;
}

std::unique_ptr<QMimeData> BankDrag::Mime() const {
  auto mime = std::make_unique<QMimeData>();
  mime->setData(QLatin1String(kPatchesMime), QByteArray());
  std::string names;
  for (const std::string& line : window_.document().NameLines(dragged_)) names += line + "\n";
  mime->setData(QStringLiteral("text/plain"), QByteArray::fromStdString(names));
  return mime;
}

void BankDrag::Start(QWidget* view) {
  Begin(window_.SelectedPatches());
  auto* drag = new QDrag(view);
  drag->setMimeData(Mime().release());
  drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
  Finish();
}

std::string BankDrag::NameListIn(const QMimeData* data) {
  const QList<QUrl> urls = data->urls();
  if (urls.size() != 1 || !urls.front().isLocalFile()) return {};
  const std::string path = ToUtf8(urls.front().toLocalFile());
  return IsNameList(path) ? path : std::string();
}

bool BankDrag::DropNames(const std::string& path) {
  BankNaming naming(window_.document());
  std::vector<std::string> names;
  if (const Result read = ReadNameList(path, &names); !read.ok()) {
    window_.Say(ShownUtf8(read.text));
    return true;
  }
  std::vector<int> which = window_.SelectedPatches();
  // A single patch is where the cursor is, not what the names are for.
  if (which.size() < 2) which = SlotRun{0, window_.document().PatchCount() - 1}.Slots();
  window_.Show(naming.ImportNames(names, which));
  return true;
}

// Inside a bank the setting chooses of three; between two a patch is copied or exchanged.
DropKind BankDrag::KindOf(const BankDrag& source, Qt::KeyboardModifiers modifiers) const {
  Settings& settings = window_.context().settings();
  if (modifiers & Qt::ControlModifier) return DropKind::Copy;
  if (&source != this) return settings.Value(SettingId::MainBankDnDExtMode) == 1 ? DropKind::Exchange : DropKind::Copy;
  if (modifiers & Qt::ShiftModifier) return DropKind::Insert;
  switch (settings.Value(SettingId::MainBankDnDMode)) {
    case 1:
      return DropKind::Copy;
    case 2:
      return DropKind::Insert;
    default:
      return DropKind::Exchange;
  }
}

bool BankDrag::Fits(const BankDrag& source) const {
  if (&source == this) return true;
  const BankSlots from(*source.window_.dataFile()), to(*window_.dataFile());
  const Synth &one = source.window_.document().synth(), &other = window_.document().synth();
  return from.Refusal().empty() && to.Refusal().empty() && to.SameForm(from) &&
         one.manufacturerId == other.manufacturerId && FieldText(one.typeKey) == FieldText(other.typeKey);
}

DropCue BankDrag::Look(const QDropEvent& event, int patch, bool behind) const {
  if (!NameListIn(event.mimeData()).empty())
    return window_.EditRefusal().isEmpty() ? DropCue{DropKind::Copy, -1, 0} : DropCue{};
  const BankDrag* source = Source(event.mimeData());
  if (!source || patch < 0 || !window_.EditRefusal().isEmpty() || !Fits(*source)) return {};
  DropCue cue{KindOf(*source, event.modifiers()), patch, static_cast<int>(source->dragged_.size())};
  if (cue.kind == DropKind::Exchange && source != this && !source->window_.EditRefusal().isEmpty()) return {};
  if (cue.kind == DropKind::Insert) {
    cue.patch += behind ? 1 : 0;
    return cue;
  }
  cue.count = std::min(cue.count, window_.document().PatchCount() - patch);
  return source == this && patch == dragged_.front() ? DropCue{} : cue;
}

BankOutcome BankDrag::DropOn(BankDrag& source, const DropCue& cue, std::vector<int>* now) {
  BankCommands commands = window_.Commands();
  const std::vector<int>& dragged = source.dragged_;
  if (cue.kind == DropKind::Insert) {
    const auto passed = std::count_if(dragged.begin(), dragged.end(), [&](int slot) { return slot < cue.patch; });
    for (std::size_t i = 0; i < dragged.size(); ++i)
      now->push_back(cue.patch - static_cast<int>(passed) + static_cast<int>(i));
    return commands.MoveSlots(dragged, cue.patch);
  }
  std::vector<SlotPair> pairs;
  for (int i = 0; i < cue.count; ++i) pairs.push_back({dragged[static_cast<std::size_t>(i)], cue.patch + i});
  for (const SlotPair& pair : pairs) now->push_back(pair.to);
  if (cue.kind == DropKind::Copy) return commands.CopySlots(source.window_.document(), pairs);
  return &source == this ? commands.SwapSlots(pairs)
                         : ExchangeSlots(source.window_.document(), window_.document(), pairs);
}

bool BankDrag::Drop(const QDropEvent& event, const DropCue& cue) {
  if (const std::string names = NameListIn(event.mimeData()); !names.empty()) return DropNames(names);
  BankDrag* source = Source(event.mimeData());
  if (!source) return false;
  std::vector<int> now;
  const BankOutcome outcome = DropOn(*source, cue, &now);
  window_.Show(outcome);
  if (outcome.ok()) window_.Select(now);
  return outcome.ok();
}

}  // namespace tonalith
