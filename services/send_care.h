#pragma once

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"
#include "script/received_check.h"
#include "services/careful_send.h"
#include "services/instrument_history.h"
#include "services/keep_before_send.h"

namespace tonalith {

// How a user wants data to go to each instrument, and what was kept of it on the way: what every window that sends
// asks.  Owner's thread.
class SendCare {
 public:
  // Asked at each use.
  struct Places {
    std::function<std::string()> settingsFile;  // the program's INI file
    std::function<std::string()> historyFolder;
    ReceivedCheckOf checks;  // what is known of data types
  };
  explicit SendCare(Places places);

  InstrumentHistory& history() { return history_; }

  KeepBeforeSend Keeps(const DataFile& data) const;
  Result SetKeeps(const DataFile& data, KeepBeforeSend keep);
  bool Verifies(const DataFile& data) const;
  Result SetVerifies(const DataFile& data, bool verifies);
  // A send as the user chose it for the instrument of the data; what needs an answer of the instrument is left out
  // where it cannot be asked.  Whether something is kept that has to be asked about first is in Keeps.
  CarefulSend WishesFor(const DataFile& data, std::vector<std::uint8_t> patches) const;

  // What undoing the last send of data of this kind brings back: the newest content that was kept of it, and that was
  // not brought back since the program started.  A failure says that there is none.
  Result LastKept(const DataFile& data, HistoryEntry* entry) const;
  // The instrument holds that content again.
  void BroughtBack(int number);
  // Something was kept or forgotten, by whomever.
  void HistoryChanged();
  int AddListener(std::function<void()> listener);
  void RemoveListener(int id);

 private:
  Places places_;
  InstrumentHistory history_;
  std::set<int> broughtBack_;
  std::vector<std::pair<int, std::function<void()>>> listeners_;
  int nextListener_ = 1;
  // Of LastKept, which menus ask often: instrument and type.
  mutable std::vector<std::pair<std::string, HistoryEntry>> known_;
};

}  // namespace tonalith
