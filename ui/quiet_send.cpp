#include "ui/quiet_send.h"

#include <utility>

#include "services/send_care.h"
#include "ui/window_context.h"

namespace tonalith {

Result QuietSend::Start(const DataFile& data, const std::vector<std::uint8_t>& patches,
                        std::function<void(const End& end)> ended) {
  std::shared_ptr<DataFile> copy(DupForUser(&data), DataFileDeleter());
  if (!copy) return Result::Failure("There is not enough memory.");
  context_.UpdateFromStudio(copy.get());
  SendCare& care = context_.sendCare();
  CarefulSend wishes = care.WishesFor(*copy, patches);
  // Nobody can be asked at each change: what is there is not lost.
  if (care.Keeps(*copy) == KeepBeforeSend::kAskFirst) wishes.keep = CanBeAskedFor(*copy);
  report_ = std::make_shared<CarefulSendReport>();
  patches_ = patches;
  synth_ = *copy->synth;
  ended_ = std::move(ended);
  DeskRequest request = MakeCarefulSend(std::move(copy), wishes, care.history(), report_);
  request.showWindow = 0;
  request.interrupts = false;
  request.receiver = &receiver_;
  request.observer = [this](const DeskEvent& event) {
    if (event.job == job_ && event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded)
      Ended(event.result);
  };
  job_ = context_.Transfer(std::move(request));
  if (!job_->Ended()) return Result::Success();
  const Result refused = Result::Failure(job_->result().sentence);
  job_.reset();
  return refused;
}

void QuietSend::Ended(const DeskResult& result) {
  job_.reset();
  if (report_->kept.number != 0) context_.sendCare().HistoryChanged();
  const auto ended = std::exchange(ended_, {});
  ended({TakenPatches(synth_, patches_, *report_, result.ok), result});
}

}  // namespace tonalith
