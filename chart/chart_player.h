#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "chart/instrument.h"
#include "chart/message_bytes.h"

namespace tonalith {

// The other side of a chart: an instrument that has one of its data types and answers with the chart's own messages.
class ChartPlayer {
 public:
  // What it does wrong.
  struct Faults {
    bool silent = false;   // never answers
    int lostAnswers = 0;   // so many of the first answers do not arrive
    bool refuses = false;  // says no where the chart has an answer for that
  };

  // `device`: the value of the chart's device letter.  The chart must outlive the player.
  ChartPlayer(const ChartInstrument& chart, const ChartType& type, int device);

  // Why the data type cannot be played; empty: it can.
  static std::string Obstacle(const ChartType& type);

  void SetFaults(const Faults& faults) { faults_ = faults; }

  // A message, or pieces of some, that the program sends; what comes back.
  std::vector<std::vector<std::uint8_t>> OnBytes(std::span<const std::uint8_t> bytes);
  // What is sent at the panel.
  std::vector<std::vector<std::uint8_t>> Panel() const;

  // The patches of a bank that goes patch by patch; of everything else one.
  std::size_t Count() const { return memory_.size(); }
  const ChartData& Patch(std::size_t index) const { return memory_[index]; }
  // Other contents than all patches have from the beginning.
  ChartData Sample(std::uint32_t seed) const;
  // The messages of a patch as they lie in the image of the data type; their data may be another.
  std::vector<std::uint8_t> Image(std::size_t index, const ChartData& data) const;
  // The data in such messages; empty when they are none.
  ChartData DataOf(std::span<const std::uint8_t> image) const;
  // All data as the first form of a file has it; false: the chart leaves a byte of it open.
  bool File(std::vector<std::uint8_t>* bytes) const;

  // Messages that fit nothing in the chart, in the order they came.
  const std::vector<std::vector<std::uint8_t>>& Unknown() const { return unknown_; }
  // Patches that were written, in the order they came; -1: nothing that was sent says which.
  const std::vector<int>& Written() const { return written_; }
  // What asks for a patch of a bank that goes patch by patch says which; true for everything else.
  bool ChoosesPatch() const;
  // The chart knows an answer that says no.
  bool CanRefuse() const;

 private:
  using Messages = std::vector<std::vector<std::uint8_t>>;
  ChartValues Values(std::size_t index) const;
  int First() const;
  std::size_t Current() const;
  Messages OnMessage(std::span<const std::uint8_t> message);
  bool OnGet(std::span<const std::uint8_t> message, Messages* answers);
  bool OnPut(std::span<const std::uint8_t> message, Messages* answers);
  bool Takes(const ChartMessage& known, std::span<const std::uint8_t> message, ChartData* data);
  void Answer(const ChartStep& step, Messages* answers);
  void Store(bool numbered);
  Messages WholeOf(std::size_t index) const;

  const ChartInstrument& chart_;
  const ChartType& type_;
  int device_;
  Faults faults_;
  std::vector<ChartStep> get_, put_;
  std::vector<ChartData> memory_;
  ChartValues values_;  // as the last messages said
  ChartData edit_;      // what came and has no place yet
  std::vector<std::uint8_t> pending_;
  Messages unknown_;
  std::vector<int> written_;
};

}  // namespace tonalith
