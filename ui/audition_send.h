#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "data/data_records.h"
#include "platform/jobs.h"
#include "platform/result.h"
#include "services/transfer_desk.h"

namespace tonalith {

class WindowContext;

// Sends a patch that is only to be heard, one at a time.  User-interface thread only.
class AuditionSend final {
 public:
  // `ended`: the transfer is over, by itself or by a fault; not after Drop.  The context must outlive the object.
  AuditionSend(WindowContext& context, std::function<void(const DeskResult&, const DataFile& sent)> ended);
  AuditionSend(const AuditionSend&) = delete;
  AuditionSend& operator=(const AuditionSend&) = delete;
  ~AuditionSend() { Drop(); }

  // In place of what is under way.  `patches`: one value a patch; empty: all.  A failure: nothing is sent, and `ended`
  // is not called.
  Result Send(DataFilePtr data, std::vector<std::uint8_t> patches);
  bool Busy() const { return job_ != nullptr; }
  // Gives up what is under way.
  void Drop();

 private:
  void Take(const DeskEvent& event);

  WindowContext& context_;
  std::function<void(const DeskResult&, const DataFile&)> ended_;
  TransferDesk::Job job_;
  DataFilePtr sent_;  // when it goes, so does the job
  Receiver receiver_;
};

}  // namespace tonalith
