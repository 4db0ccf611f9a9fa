#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "chart/chart_peer.h"

namespace tonalith {

// An instrument whose talk is the steps of a chart: it answers with the chart's own messages.
class ChartPlayer : public ChartPeer {
 public:
  ChartPlayer(const ChartInstrument& chart, const ChartType& type, int device);

  Messages OnBytes(std::span<const std::uint8_t> bytes) override;
  ChartData DataOf(std::span<const std::uint8_t> image) const override;
  bool Gets() const override;
  bool StartsAtPanel() const override;
  bool ChoosesPatch() const override;
  bool IsAskedAgain() const override { return true; }
  bool Confirms() const override;
  bool CanRefuse() const override;
  std::vector<std::string> Sentences() const override;

 private:
  std::size_t Current() const;
  Messages OnMessage(std::span<const std::uint8_t> message);
  bool OnGet(std::span<const std::uint8_t> message, Messages* answers);
  bool OnPut(std::span<const std::uint8_t> message, Messages* answers);
  bool Takes(const ChartMessage& known, std::span<const std::uint8_t> message, ChartData* data);
  void Answer(const ChartStep& step, Messages* answers);
  void Store(bool numbered);

  std::vector<ChartStep> get_, put_;
  ChartValues values_;  // as the last messages said
  ChartData edit_;      // what came and has no place yet
  std::vector<std::uint8_t> pending_;
};

}  // namespace tonalith
