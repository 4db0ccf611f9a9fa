#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "chart/instrument.h"
#include "chart/message_bytes.h"

namespace tonalith {

// The other side of a chart: an instrument that has one of its data types and talks as the chart says.  What its data
// is stands here; how it talks, in the classes that derive from this one.
class ChartPeer {
 public:
  using Messages = std::vector<std::vector<std::uint8_t>>;
  // What it does wrong.
  struct Faults {
    bool silent = false;   // never answers
    int lostAnswers = 0;   // so many of the first answers do not arrive
    bool refuses = false;  // says no where the chart has an answer for that
  };

  virtual ~ChartPeer() = default;
  ChartPeer(const ChartPeer&) = delete;
  ChartPeer& operator=(const ChartPeer&) = delete;

  // The one that talks as the data type does; null, with the reason, when the chart does not say how.  `device`: the
  // value of the chart's device letter.  The chart must outlive the peer.
  static std::unique_ptr<ChartPeer> Make(const ChartInstrument& chart, const ChartType& type, int device,
                                         std::string* obstacle);

  void SetFaults(const Faults& faults) { faults_ = faults; }

  // A message, or pieces of some, that the program sends; what comes back.
  virtual Messages OnBytes(std::span<const std::uint8_t> bytes) = 0;
  // What is sent at the panel for these patches.
  virtual Messages Panel(const std::set<std::size_t>& patches) const;

  // The patches of a bank that goes patch by patch; of everything else one.
  std::size_t Count() const { return memory_.size(); }
  const ChartData& Patch(std::size_t index) const { return memory_[index]; }
  // Other contents than all patches have from the beginning.
  virtual ChartData Sample(std::uint32_t seed) const;
  // The messages of a patch as they lie in the image of the data type; their data may be another.
  virtual std::vector<std::uint8_t> Image(std::size_t index, const ChartData& data) const;
  // The data in such messages; empty when they are none.
  virtual ChartData DataOf(std::span<const std::uint8_t> image) const;
  // All data as the first form of a file has it; false: the chart leaves a byte of it open.
  virtual bool File(std::vector<std::uint8_t>* bytes) const;

  // Messages that fit nothing in the chart, in the order they came.
  const Messages& Unknown() const { return unknown_; }
  // Patches that were written, in the order they came; -1: nothing that was sent says which.
  const std::vector<int>& Written() const { return written_; }

  // The data can be got; and nothing asks for it, it is sent at the panel.
  virtual bool Gets() const = 0;
  virtual bool StartsAtPanel() const = 0;
  // What asks for a patch of a bank that goes patch by patch says which; true for everything else.
  virtual bool ChoosesPatch() const { return true; }
  // An answer that is lost is asked for once more.
  virtual bool IsAskedAgain() const { return false; }
  // Something that is sent waits for an answer; the chart knows one that says no; the sentences of those.
  virtual bool Confirms() const = 0;
  virtual bool CanRefuse() const = 0;
  virtual std::vector<std::string> Sentences() const { return {}; }

 protected:
  ChartPeer(const ChartInstrument& chart, const ChartType& type, int device);
  // The patches of the memory, as Sample makes them; for the end of the constructors.
  void Fill();

  ChartValues Values(std::size_t index) const;
  int First() const { return ChartFirstPatch(type_); }
  Messages WholeOf(std::size_t index) const;
  // An answer on its way: false when it does not arrive.
  bool Arrives();

  const ChartInstrument& chart_;
  const ChartType& type_;
  const int device_;
  Faults faults_;
  std::vector<ChartData> memory_;
  Messages unknown_;
  std::vector<int> written_;

 private:
  void StoreInnerSums(ChartData* data) const;
};

}  // namespace tonalith
