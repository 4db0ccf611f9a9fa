#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "services/data_compare.h"
#include "services/instrument_history.h"
#include "services/transfer_desk.h"

namespace tonalith {

// What is done beside sending, all while nobody else may use the ports.
struct CarefulSend {
  std::vector<std::uint8_t> patches;             // one value a patch of a bank; empty: all
  bool keep = false;                             // first what the instrument holds is got and kept in the history
  bool verify = false;                           // afterwards what the instrument holds is got and compared
  std::shared_ptr<const ReceivedCheck> check{};  // what the data type knows; null: no more than its descriptor
  TransferPatience patience{};
};

// What became of it; complete once the job has ended.
struct CarefulSendReport {
  HistoryEntry kept;  // number 0: nothing was kept
  bool sent = false;  // all that was meant
  bool verified = false;
  // One value a patch, when patches are sent one by one: that were to be sent and of which it is not known that they
  // were.  Empty: none.
  std::vector<std::uint8_t> notSent;
  DataDifference difference;  // of what was read back
};

// The instrument takes this data: it is no memory that can only be read.
bool CanBeSent(const DataFile& data);
// Data can be read back, and what is there be kept: it can be asked for.
bool CanBeAskedFor(const DataFile& data);

// A send of `data` (which stays the caller's, as for DeskStep) with what goes with it, as one job.  The sentence of its
// end speaks of all of it.  When what is there cannot be kept nothing is sent; when something else is read back, or
// nothing, the job has failed, and the report knows that everything was sent.  `history` must outlive the job.
DeskRequest MakeCarefulSend(DataFile* data, const CarefulSend& wishes, InstrumentHistory& history,
                            std::shared_ptr<CarefulSendReport> report);
// The same with data that the job owns.
DeskRequest MakeCarefulSend(std::shared_ptr<DataFile> data, const CarefulSend& wishes, InstrumentHistory& history,
                            std::shared_ptr<CarefulSendReport> report);

// One value a patch: those that the faults name; empty: they name none.
std::vector<std::uint8_t> FaultyPatches(const Synth& synth, const std::vector<PatchFault>& faults);

}  // namespace tonalith
