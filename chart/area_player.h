#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "chart/chart_peer.h"
#include "chart/type_lines.h"

namespace tonalith {

// An address-based instrument: it answers requests for a range of its memory, takes data by address, and, where the
// chart says so, talks about both with acknowledgements.
class AreaPlayer : public ChartPeer {
 public:
  // Null, with the reason, when the chart does not say how addresses are written.
  static std::unique_ptr<ChartPeer> Make(const ChartInstrument& chart, const ChartType& type, int device,
                                         std::string* obstacle);

  Messages OnBytes(std::span<const std::uint8_t> bytes) override;
  ChartData Sample(std::uint32_t seed) const override;
  std::vector<std::uint8_t> Image(std::size_t index, const ChartData& data) const override;
  ChartData DataOf(std::span<const std::uint8_t> image) const override;
  bool File(std::vector<std::uint8_t>* bytes) const override;
  bool Gets() const override { return true; }
  bool StartsAtPanel() const override { return false; }
  bool Confirms() const override { return handshake_; }
  bool CanRefuse() const override { return handshake_; }

 private:
  struct Range {
    std::uint32_t address = 0, size = 0;
  };
  AreaPlayer(const ChartInstrument& chart, const ChartType& type, int device, ChartAddress address);
  std::vector<std::uint8_t> Frame(std::uint8_t command, std::vector<std::uint8_t> body) const;
  // What lies in the range, in messages as long as they may be.
  Messages Pieces(std::uint8_t command, const Range& range) const;
  std::optional<Range> RangeOf(std::span<const std::uint8_t> body) const;
  // The patch of an address and the place in it; nothing outside the memory.
  std::optional<std::pair<std::size_t, std::size_t>> PlaceOf(std::uint32_t address) const;
  bool Write(std::span<const std::uint8_t> body);
  // False when it is no message of this instrument.
  bool OnMessage(std::span<const std::uint8_t> message, Messages* answers);
  bool OnTalk(std::uint8_t command, std::span<const std::uint8_t> body, Messages* answers);

  const ChartAddress address_;
  const bool handshake_;
  std::uint8_t model_ = 0;
  std::uint32_t base_ = 0, step_ = 0;  // of the first area; step 0: it is one place
  std::uint32_t room_ = 0;             // bytes of a patch with what is not used
  std::vector<std::uint8_t> pending_;
  Messages outgoing_;  // of a talk, in their order
  std::size_t sent_ = 0;
};

}  // namespace tonalith
