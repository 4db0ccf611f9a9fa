#include "ui/restore_kept.h"

#include <QDateTime>
#include <QTimeZone>
#include <utility>

#include "platform/prompts.h"
#include "services/send_care.h"
#include "ui/keep_question.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/window_context.h"

namespace tonalith {

namespace {

constexpr char kRestoreTitle[] = "Instrument History";

}  // namespace

QString LocalTimeText(const HistoryEntry& entry) {
  QDateTime when = QDateTime::fromString(FromUtf8(entry.when), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
  if (!when.isValid()) return ShownUtf8(entry.when);
  when.setTimeZone(QTimeZone::utc());
  return when.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

void RestoreKept(WindowContext& context, const HistoryEntry& entry, bool keeps, const Receiver& receiver,
                 std::function<void(const RestoreOutcome&)> over) {
  SendCare& care = context.sendCare();
  DataFilePtr loaded;
  if (const Result read = care.history().Load(entry.number, &loaded); !read.ok()) {
    context.prompts().Say(kRestoreTitle, read.text);
    care.HistoryChanged();
    return over({nullptr, false, ShownUtf8(read.text)});
  }
  context.UpdateFromStudio(loaded.get());
  const std::shared_ptr<DataFile> data(loaded.release(), DataFileDeleter());
  CarefulSend wishes = care.WishesFor(*data, {});
  wishes.keep = wishes.keep && keeps;
  if (keeps && !AskToKeep(context, *data, kRestoreTitle, &wishes)) return over({});
  const auto report = std::make_shared<CarefulSendReport>();
  DeskRequest request = MakeCarefulSend(data, wishes, care.history(), report);
  request.receiver = &receiver;
  const auto end = [&care, report, data, number = entry.number, over = std::move(over)](const DeskResult& result) {
    if (result.ok)
      care.BroughtBack(number);
    else if (report->kept.number != 0)
      care.HistoryChanged();
    over({data, report->sent && report->difference.none(), ShownUtf8(result.sentence)});
  };
  request.observer = [end](const DeskEvent& event) {
    if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded) end(event.result);
  };
  const TransferDesk::Job job = context.Transfer(std::move(request));
  if (job->Ended()) end(job->result());
}

}  // namespace tonalith
