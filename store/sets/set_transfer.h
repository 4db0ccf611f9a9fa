#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "services/careful_send.h"
#include "services/transfer_desk.h"

namespace tonalith {

class ZKGrpDoc;

// The components of a Set that are transferred, and those that stay out.
struct SetPlan {
  std::vector<int> components;  // in the order of the transfer
  struct LeftOut {
    int component = 0;
    std::string reason;  // a sentence, UTF-8
  };
  std::vector<LeftOut> leftOut;  // were meant, but cannot be transferred
  int skipped = 0;               // switched off or, when everything is sent, without data
};

// `chosen` empty: all of them; what cannot be transferred is then skipped.  Data that is started at the panel of the
// instrument is got only when it was chosen.
SetPlan PlanSetGet(const ZKGrpDoc& set, const std::vector<int>& chosen);
// How far a component stands behind those whose patches it plays; 0: it plays none that are known.
using SetRank = std::function<int(int component)>;
// Components go in their order, those of a higher rank behind those of a lower one; multis of rank 0 count as 1.
SetPlan PlanSetSend(const ZKGrpDoc& set, const std::vector<int>& chosen, const SetRank& rank = {});

// What became of a transfer; complete once its job has ended.
struct SetReport {
  struct Outcome {
    int component = 0;
    bool whole = false;  // everything that was asked for came, or was sent
    DeskResult result;
  };
  std::vector<Outcome> outcomes;  // in their order; those behind a cancel are missing
  std::size_t planned = 0;
  std::size_t Whole() const;
  bool Complete() const { return Whole() == planned; }
};

// How far the transfer of a Set is, for one line of progress.
std::string SetProgressText(const SetReport& report);  // "2 of 9"

// The components of a plan as one job: what came of each stays, whatever becomes of the others.  All must use the same
// ports.  Components of the document are filled in place: BeginReceive goes before, EndReceive behind.  The sentence of
// the job speaks of all of it.
DeskRequest MakeSetGet(ZKGrpDoc& set, const SetPlan& plan, const GetOptions& get, std::shared_ptr<SetReport> report);

// What is sent of a component: a copy, so that the document stays as it is.
struct SetPiece {
  int component = 0;
  std::shared_ptr<DataFile> data;
  CarefulSend wishes;
};
// `history` must outlive the job.
DeskRequest MakeSetSend(std::vector<SetPiece> pieces, InstrumentHistory& history, std::shared_ptr<SetReport> report);

}  // namespace tonalith
