#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/jobs.h"
#include "services/careful_send.h"
#include "services/transfer_desk.h"

namespace tonalith {

class WindowContext;

// Sends that follow a change by themselves: a copy goes, so that the data can be worked on meanwhile, and nobody is
// asked or interrupted, also when it fails.  One at a time; its end is heard only while this lives.
class QuietSend final {
 public:
  struct End {
    std::vector<std::uint8_t> taken;  // what the instrument is known to hold now: one value a patch; empty: nothing
    DeskResult result;
  };
  explicit QuietSend(WindowContext& context) : context_(context) {}
  QuietSend(const QuietSend&) = delete;
  QuietSend& operator=(const QuietSend&) = delete;

  bool IsRunning() const { return job_ != nullptr; }
  // `patches`: one value each; empty: all.  A failure: nothing was started, and `ended` is not called.
  Result Start(const DataFile& data, const std::vector<std::uint8_t>& patches,
               std::function<void(const End& end)> ended);

 private:
  void Ended(const DeskResult& result);

  WindowContext& context_;
  TransferDesk::Job job_;
  Receiver receiver_;
  // Of the job.
  std::shared_ptr<CarefulSendReport> report_;
  std::vector<std::uint8_t> patches_;
  Synth synth_{};
  std::function<void(const End& end)> ended_;
};

}  // namespace tonalith
