#include "app/move_commands.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <QPointer>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/move.h"
#include "app/move_dialog.h"
#include "platform/log.h"
#include "platform/prompts.h"
#include "ui/document_window.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr char kMoveTitle[] = "Move To";
constexpr char kNoTarget[] =
    "There are no available windows to copy to.\nPlease have at least one destination window open\n"
    "before using the MoveTo option.";
constexpr char kFailed[] = "Patch move failed for some reason....";

QString MoveText(const char* text) {
  return QCoreApplication::translate("MoveCommands", text);
}

}  // namespace

MoveCommands::MoveCommands(const FrameContext& frame, WindowContext& context) : frame_(frame), context_(context) {
  frame_.menus.Register(CommandId::EditMoveTo, {[this] { OnMoveTo(); }, [this] { return Refusal(); }});
}

DocumentWindow* MoveCommands::Active() const {
  return qobject_cast<DocumentWindow*>(frame_.children.Active());
}

QString MoveCommands::Refusal() const {
  if (!frame_.children.Active()) return NoWindowSentence(frame_);
  DocumentWindow* active = Active();
  return active ? ShownUtf8(active->MoveOutRefusal()) : MoveText("The active window has nothing that could be moved.");
}

bool MoveCommands::IsTransferable(ZKWindow& window, std::uint8_t mask) const {
  static constexpr struct {
    WindowType type;
    std::uint8_t bit;
  } kKinds[] = {{WindowType::BankEditor, kToBanks},
                {WindowType::Library, kToLibraries},
                {WindowType::PatchEditor, kToPatches},
                {WindowType::Set, kToSets},
                {WindowType::Collection, kToCollections}};
  Message message = RequestMessage(WindowRequest::WindowType);
  const std::int64_t type = SendMessage(window, context_.moves(), message);
  for (const auto& row : kKinds) {
    if (static_cast<std::int64_t>(row.type) != type) continue;
    if (mask != kToAll && (mask & row.bit) == 0) return false;
    message = RequestMessage(WindowRequest::TakesNoMoves);
    return row.type != WindowType::BankEditor || SendMessage(window, context_.moves(), message) == 0;
  }
  return false;
}

void MoveCommands::Tell(const QString& text, bool box) const {
  const std::string sentence = ToUtf8(text);
  DebugLog("%s", sentence.c_str());
  if (box) frame_.prompts().Say(kMoveTitle, sentence);
  frame_.Status(text);
}

void MoveCommands::OnMoveTo() {
  const QPointer<DocumentWindow> source = Active();
  if (!source) return;
  std::vector<MoveCandidate> candidates;
  const MoveOffer offer = source->OfferOut();
  frame_.children.ForEach([&](ZKWindow& window) {
    auto* target = qobject_cast<DocumentWindow*>(&window);
    if (!target || target == source || !IsTransferable(window)) return;
    candidates.push_back({&window, window.WithTwin(ShownTitle(&window)), ShownUtf8(target->AcceptsMove(offer))});
  });
  if (candidates.empty()) return Tell(ShownLines(QString::fromLatin1(kNoTarget)), true);
  ZKTrans dialog(std::move(candidates), &frame_.window);
  if (dialog.exec() != QDialog::Accepted) return;
  const QPointer<DocumentWindow> target = qobject_cast<DocumentWindow*>(dialog.Chosen());
  if (!source || !target) return Tell(MoveText("The window has been closed; nothing was moved."), false);
  Move move;
  if (const Result made = source->MoveOut(&move); !made.ok())
    return Tell(ShownUtf8(made.text.empty() ? kFailed : made.text), true);
  const MoveResult result = Deliver(*target, std::move(move));
  if (result.kind == MoveResult::Kind::Refused) return Tell(ShownUtf8(result.text), true);
  if (!result.taken() || !target) return;
  frame_.children.Activate(target);
  const QString done = MoveText("Moved to %1.").arg(ShownTitle(target));
  frame_.Status(result.text.empty() ? done : done + QLatin1Char(' ') + ShownUtf8(result.text));
}

}  // namespace tonalith
