#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "data/data_records.h"
#include "platform/jobs.h"
#include "services/instrument_history.h"

namespace tonalith {

class WindowContext;

// What became of a content that went back to its instrument.
struct RestoreOutcome {
  std::shared_ptr<const DataFile> held;  // the content
  bool ok = false;
  QString sentence;
};

// Sends a content of the history back to the instrument it came from, with what the user wants for every send to it;
// what the instrument holds there now is kept first only when `keeps` allows it.  `over` is called at the end, once, as
// long as the receiver lives.  What cannot begin is told the user, and is over when this returns; what the user does
// not want after all has an empty sentence.
void RestoreKept(WindowContext& context, const HistoryEntry& entry, bool keeps, const Receiver& receiver,
                 std::function<void(const RestoreOutcome&)> over);

// A date of the history as the clock on the wall had it: "2026-11-23 02:59".
QString LocalTimeText(const HistoryEntry& entry);

}  // namespace tonalith
