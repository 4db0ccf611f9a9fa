#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "document/recovery.h"
#include "services/transfer_desk.h"

namespace tonalith {

class Clock;

// Keeps what a Get has brought so far in the recovery folder, patch by patch, so that the next start can offer it when
// this program ends in the middle.  It goes when the Get has ended.
class ReceivedSoFar {
 public:
  // Between two writes for one Get.
  static constexpr std::int64_t kEveryMs = 2000;

  // Folder and clock must outlive this.  `keepDocuments` keeps what documents hold, before what was kept of a Get that
  // ended in them goes.
  ReceivedSoFar(RecoveryFolder& folder, Clock& clock, std::function<void()> keepDocuments);
  ReceivedSoFar(const ReceivedSoFar&) = delete;
  ReceivedSoFar& operator=(const ReceivedSoFar&) = delete;
  ~ReceivedSoFar();  // removes what is not left for the next start

  // Every event of every job.
  void Take(const DeskEvent& event);
  // What was kept stays for the next start, whatever becomes of the Gets.
  void Leave();

 private:
  struct Kept {
    std::string file;  // empty: nothing yet
    std::int64_t atUs = 0;
  };
  void Keep(const DeskEvent& event, Kept* kept);
  void Sweep(const DeskJob* over);

  RecoveryFolder& folder_;
  Clock& clock_;
  std::function<void()> keepDocuments_;
  std::map<std::shared_ptr<const DeskJob>, Kept> kept_;
  bool leaving_ = false;
};

}  // namespace tonalith
