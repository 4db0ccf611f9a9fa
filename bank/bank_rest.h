#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "document/history.h"
#include "services/transfer_rest.h"

namespace tonalith {

// What is left of a bank's transfers.  What was not received goes and comes back with the rest of its Get when that is
// undone and redone.
class BankRest {
 public:
  // The history must outlive the object.
  explicit BankRest(const History& history) : history_(history) {}

  const TransferRest& now() const { return now_; }
  // Of a file.
  void Set(TransferRest rest);
  // A Get of these patches has ended; `taken`: the data has what came; `isEntry`: as the newest entry of the history.
  void GetEnded(const DataFile& data, const std::vector<std::uint8_t>& patches, const DeskResult& result, bool taken,
                bool isEntry);
  void SendEnded(const DataFile& data, const std::vector<std::uint8_t>& patches, const DeskResult& result);
  // The history has moved.
  void Follow();

  // What a Get that goes on asks for; empty: there is nothing to go on with.
  const std::vector<std::uint8_t>& ToGet() const { return setAside_ ? toGet_ : now_.notReceived; }
  // Before it: puts what had come of a Get that was cancelled into the data.
  void PutSetAside(DataFile* data);

 private:
  const History& history_;
  TransferRest now_;
  // Of a Get that was cancelled, while the program runs.
  std::shared_ptr<const ReceivedPatches> setAside_;
  std::vector<std::uint8_t> toGet_;
  // Of the last Get, while it can be undone.
  bool isEntry_ = false;
  bool undone_ = false;
  std::size_t entry_ = 0;                     // position behind it
  std::uint64_t state_ = 0;                   // then
  std::vector<std::uint8_t> before_, after_;  // not received
};

}  // namespace tonalith
