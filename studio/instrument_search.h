#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/jobs.h"
#include "studio/auto_config_services.h"
#include "studio/auto_configuration.h"

namespace tonalith {

class ZKStudioDoc;

// How one instrument of a search fares.
struct SearchedInstrument {
  enum class State {
    Waiting,
    Searching,
    Found,
    NotFound,
    Stopped,  // by the user, before it was found
    Failed,   // could not be searched for
  };
  std::string name;                 // as shown
  std::string moduleFile;           // of the instrument
  ZKDrvList* instrument = nullptr;  // of the studio; null: not in it, which changes when it is found
  State state = State::Waiting;
  int percent = 0;              // of the search
  std::string inPort, outPort;  // tried just now; found
  std::string text;             // what to tell when it is over

  bool Over() const { return state != State::Waiting && state != State::Searching; }
};

// Searches for several instruments in one go: first everybody is asked at once who is there, then one instrument after
// the other, those that answered before the others.  What is found is kept in the studio; an installed module whose
// instrument is found joins the studio.  On the user-interface thread; the searching itself is done by jobs.
class InstrumentSearch {
 public:
  // All of it must outlive this.
  InstrumentSearch(ZKStudioDoc& studio, const AutoConfigServices& services);
  ~InstrumentSearch();
  InstrumentSearch(const InstrumentSearch&) = delete;
  InstrumentSearch& operator=(const InstrumentSearch&) = delete;

  // What is searched for.  Not while a search runs.
  void Clear();
  void AddInstrument(ZKDrvList* instrument);
  // Installed modules that have no instrument in the studio.
  void AddInstalled();
  const std::vector<SearchedInstrument>& rows() const { return rows_; }

  // Searches for what is not found yet; hasty, for rows in which few instruments may be there, or patient, for slow
  // ones and for those under an unusual device ID.  Nothing while a search runs.  A failure says what is missing, MIDI
  // ports for instance.
  enum class Pace { Hasty, Patient };
  Result Start(Pace pace);
  void Stop();
  bool Running() const { return running_; }
  int Found() const;

  // Called when a row changed, and when the search is over; may be empty.
  std::function<void(std::size_t row)> changed;
  std::function<void()> ended;

 private:
  void CallEverybody();
  void Next();
  void SearchRow(std::size_t row);
  void ShowProgress(std::size_t row, const AutoConfigProgress& progress);
  void Finished(std::size_t row, const AutoConfigResult& result);
  void Fail(std::size_t row, const std::string& text);
  void End();
  void Tell(std::size_t row) const;
  // The instrument of a row that is still there, in the studio or beside it; null: gone.
  ZKDrvList* InstrumentOf(const SearchedInstrument& row) const;
  bool StartJob(std::function<void(AutoConfigSearch&)> work, AutoConfigTask task);

  ZKStudioDoc& studio_;
  const AutoConfigServices& services_;
  std::unique_ptr<ZKStudioDoc> beside_;  // instruments of modules that are not in the studio
  std::vector<SearchedInstrument> rows_;
  std::vector<std::size_t> queue_;
  std::vector<AutoConfigAnswer> answers_;  // to the call
  std::shared_ptr<AutoConfigControl> control_;
  Receiver receiver_;
  Pace pace_ = Pace::Hasty;
  bool running_ = false;
};

}  // namespace tonalith
