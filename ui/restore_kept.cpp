#include "ui/restore_kept.h"

#include <QDateTime>
#include <QTimeZone>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/send_care.h"
#include "ui/keep_question.h"
#include "ui/plain_text.h"
#include "ui/window_context.h"

namespace tonalith {

namespace {

constexpr char kRestoreTitle[] = "Instrument History";

// Of a bank that goes patch by patch those that were kept; empty: all of the data.
std::vector<std::uint8_t> PatchesOf(const DataFile& data) {
  std::vector<std::uint8_t> mask;
  if (!PatchAddressable(*data.synth)) return mask;
  for (std::uint32_t i = 0; i < data.synth->numVoices; ++i)
    mask.push_back(MapBit(data.emptyMap, data.emptyMapSize, i) ? 0 : 1);
  return mask;
}

}  // namespace

QString LocalTimeText(const HistoryEntry& entry) {
  QDateTime when = QDateTime::fromString(ShownUtf8(entry.when), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
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
  CarefulSend wishes = care.WishesFor(*data, PatchesOf(*data));
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
