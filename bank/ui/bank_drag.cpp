#include "bank/ui/bank_drag.h"

#include <QDrag>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <algorithm>

#include "bank/bank_commands.h"
#include "bank/bank_copy.h"
#include "bank/bank_moves.h"
#include "bank/bank_naming.h"
#include "bank/ui/bank_window.h"
#include "platform/file_bytes.h"
#include "services/settings.h"
#include "store/bank_slots.h"
#include "ui/move_mime.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Nothing of the data travels: whoever takes the patches asks the window that they come from.
constexpr char kPatchesMime[] = "application/x-tonalith-bank-patches";

// There is one mouse.
BankDrag* dragUnderWay = nullptr;

}  // namespace

BankDrag::BankDrag(TZKBank& window) : window_(window) {}

bool BankDrag::CanStart() const {
  return !window_.document().IsBusy() && !window_.SelectedPatches().empty();
}

BankDrag::~BankDrag() {
  Finish();
}

void BankDrag::Begin(const std::vector<int>& patches) {
  dragged_ = patches;
  dragUnderWay = this;
  problem_.clear();
  if (!MoveOutRefusal(window_.document(), dragged_).empty()) return;
  MoveOffer offer = OfferPatches(window_.document(), dragged_, window_.NewDataMaker());
  if (offer.types.empty()) return;
  offered_ =
      std::make_unique<OfferedMove>(window_.context().moves(), std::move(offer), [this]() -> std::optional<Move> {
        Move move;
        const Result made = MovePatches(window_.document(), dragged_, window_.NewDataMaker(),
                                        window_.context().ModuleFolder(*window_.dataFile()), &move);
        problem_ = made.text;
        return made.ok() ? std::optional<Move>(std::move(move)) : std::nullopt;
      });
}

void BankDrag::Finish() {
  dragged_.clear();
  offered_.reset();
  if (dragUnderWay == this) dragUnderWay = nullptr;
}

BankDrag* BankDrag::Source(const QMimeData* data) {
  return data->hasFormat(QLatin1String(kPatchesMime)) ? dragUnderWay : nullptr;
}

std::unique_ptr<QMimeData> BankDrag::Mime() const {
  auto mime = offered_ ? MimeOfMove(offered_->number()) : std::make_unique<QMimeData>();
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

std::vector<std::string> BankDrag::DataFilesIn(const QMimeData* data) {
  std::vector<std::string> paths;
  // What a window offers has its file for other programs only.
  if (MoveIn(data)) return paths;
  for (const QUrl& url : data->urls()) {
    const QString path = url.toLocalFile();
    if (!path.endsWith(QLatin1String(".syx"), Qt::CaseInsensitive) &&
        !path.endsWith(QLatin1String(".mid"), Qt::CaseInsensitive))
      return {};
    paths.push_back(ToUtf8(path));
  }
  return paths;
}

// All of them from this slot on, as one command.
bool BankDrag::DropData(const std::vector<std::string>& paths, int patch) {
  std::vector<DataFilePtr> data;
  for (const std::string& path : paths) {
    FileBytes bytes;
    Result read = ReadWholeFile(path, bytes);
    if (read.ok()) read = window_.context().DataIn(bytes, &data);
    if (!read.ok()) {
      window_.Say(ShownUtf8(read.text));
      return false;
    }
  }
  Move move;
  move.destination = patch;
  if (data.size() == 1)
    move.payload = std::move(data.front());
  else
    move.payload = std::move(data);
  const MoveResult result = Deliver(window_, std::move(move));
  if (!result.text.empty()) window_.Say(ShownUtf8(result.text));
  return result.taken();
}

std::optional<std::uint64_t> BankDrag::OfferIn(const QMimeData* data, int patch) const {
  const std::optional<std::uint64_t> number = MoveIn(data);
  if (!number || !window_.context().moves().Refusal(*number, window_, MoveAction::Copy, patch).empty())
    return std::nullopt;
  return number;
}

bool BankDrag::TakeOffer(std::uint64_t number, int patch) {
  const BankDrag* source = dragUnderWay;
  const MoveResult result = window_.context().moves().Take(number, window_, MoveAction::Copy, patch);
  const std::string reason = source && !source->problem_.empty() ? source->problem_ : result.text;
  if (!reason.empty()) window_.Say(ShownUtf8(reason));
  return result.taken();
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

// What comes from elsewhere takes the place of what is there.
DropCue BankDrag::LookAtOthers(const QMimeData* data, int patch) const {
  const int left = window_.document().MostPatches() - patch;
  if (left <= 0) return {};
  if (!DataFilesIn(data).empty()) return {DropKind::Copy, patch, 1};
  const auto number = OfferIn(data, patch);
  if (!number) return {};
  const auto count = static_cast<int>(window_.context().moves().Find(*number)->types.size());
  return {DropKind::Copy, patch, std::min(count, left)};
}

DropCue BankDrag::Look(const QDropEvent& event, int patch, bool behind) const {
  if (!NameListIn(event.mimeData()).empty())
    return window_.EditRefusal().isEmpty() ? DropCue{DropKind::Copy, -1, 0} : DropCue{};
  // A single patch is meant wherever its window is hit.
  if (patch < 0 && window_.document().synth().isBank == 0 && !window_.document().IsEmpty()) patch = 0;
  // Behind the last patch is where another one goes, when there is room.
  const int count = window_.document().PatchCount();
  if (patch < 0 && window_.document().MostPatches() > count && !window_.document().IsEmpty()) patch = count;
  if (patch < 0 || !window_.EditRefusal().isEmpty()) return {};
  const BankDrag* source = Source(event.mimeData());
  if (!source || !Fits(*source)) return LookAtOthers(event.mimeData(), patch);
  DropCue cue{KindOf(*source, event.modifiers()), patch, static_cast<int>(source->dragged_.size())};
  if (patch == count && cue.kind == DropKind::Exchange) cue.kind = DropKind::Copy;
  if (cue.kind == DropKind::Exchange && source != this && !source->window_.EditRefusal().isEmpty()) return {};
  if (cue.kind == DropKind::Insert) {
    cue.patch += behind && patch < count ? 1 : 0;
    return cue;
  }
  const int end = cue.kind == DropKind::Copy ? window_.document().MostPatches() : count;
  cue.count = std::min(cue.count, end - patch);
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
  if (!source || !Fits(*source)) {
    const std::vector<std::string> files = DataFilesIn(event.mimeData());
    if (!files.empty()) return DropData(files, cue.patch);
    const auto number = MoveIn(event.mimeData());
    return number && TakeOffer(*number, cue.patch);
  }
  std::vector<int> now;
  const BankOutcome outcome = DropOn(*source, cue, &now);
  window_.Show(outcome);
  if (outcome.ok()) window_.Select(now);
  return outcome.ok();
}

}  // namespace tonalith
