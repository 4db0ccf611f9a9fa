#include "ui/audition_send.h"

#include <utility>

#include "ui/window_context.h"

namespace tonalith {

AuditionSend::AuditionSend(WindowContext& context, std::function<void(const DeskResult&, const DataFile&)> ended)
    : context_(context), ended_(std::move(ended)) {}

Result AuditionSend::Send(DataFilePtr data, std::vector<std::uint8_t> patches) {
  Drop();
  sent_ = std::move(data);
  DeskRequest request;
  request.showWindow = 0;
  request.receiver = &receiver_;
  request.observer = [this](const DeskEvent& event) { Take(event); };
  DeskStep step;
  step.kind = DeskStep::Kind::kSend;
  step.dataFile = sent_.get();
  step.patches = std::move(patches);
  request.steps.push_back(std::move(step));
  job_ = context_.Transfer(std::move(request));
  if (!job_->Ended()) return Result::Success();
  const std::string sentence = job_->result().sentence;
  Drop();
  return Result::Failure(sentence);
}

void AuditionSend::Take(const DeskEvent& event) {
  if (event.job != job_ || event.kind != DeskEvent::Kind::kState || event.state != DeskState::kEnded) return;
  job_.reset();
  const DataFilePtr sent = std::move(sent_);
  ended_(event.result, *sent);
}

void AuditionSend::Drop() {
  if (job_ && !job_->Ended()) context_.AbandonTransfers(sent_.get());
  job_.reset();
  sent_.reset();
}

}  // namespace tonalith
