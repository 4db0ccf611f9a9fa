#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "chart/chart_peer.h"
#include "studio/coded_messages.h"

namespace tonalith {

// An instrument whose data goes in pieces of coded text.  It is asked as `get = coded` does: command 18, request 4 with
// bank and number, each piece acknowledged with 17, command 1A (hexadecimal); what it takes are the steps of `put`.
class CodedPlayer : public ChartPeer {
 public:
  // True for data with such steps.
  static bool IsFor(const ChartType& type);
  static std::unique_ptr<ChartPeer> Make(const ChartInstrument& chart, const ChartType& type, int device,
                                         std::string* obstacle);

  Messages OnBytes(std::span<const std::uint8_t> bytes) override;
  // Kind and place of a patch are written when it goes out, and do not count when it comes.
  ChartData Sample(std::uint32_t seed) const override;
  std::vector<std::uint8_t> Image(std::size_t index, const ChartData& data) const override;
  ChartData DataOf(std::span<const std::uint8_t> image) const override;
  bool Gets() const override { return gets_; }
  bool StartsAtPanel() const override { return false; }
  bool Confirms() const override { return true; }
  bool CanRefuse() const override;

 private:
  using Bytes = std::vector<std::uint8_t>;
  // A message it takes, and what it says to it; without a message: the pieces.
  struct Step {
    Bytes message;
    std::string answer;  // `F0 00 ?? F7`
    bool refuses = false;
  };
  // Bytes that the program puts into what it sends: `set 2: 04 patch`.
  struct Put {
    std::size_t place = 0;
    std::vector<std::string> words;
  };

  CodedPlayer(const ChartInstrument& chart, const ChartType& type, int device);
  void ReadStep(const std::string& step);
  int ByteOf(const std::string& word, std::size_t patch) const;
  ChartData Without(ChartData data) const;
  void PutFixed(ChartData* data) const;
  // The patch whose place these bytes of an image say; nothing for none.
  std::optional<std::size_t> PlaceOf(const Bytes& image) const;
  Bytes Wrapped(const Bytes& payload) const;
  // As the pattern says; another one when it refuses.
  static Bytes Said(const std::string& pattern, bool other);
  Bytes Piece(std::size_t index) const;
  std::size_t Pieces() const;
  void OnMessage(const Bytes& message, Messages* answers);
  bool OnGet(const Bytes& payload, Messages* answers);
  bool OnPut(const Bytes& message, const Bytes& payload, Messages* answers);

  CodedMessages coding_;
  std::string obstacle_;
  std::vector<Step> put_;
  std::vector<Put> puts_;
  bool gets_ = false;
  Bytes pending_;
  bool open_ = false;          // between 18 and 1A
  std::size_t next_ = 0;       // of the steps
  Bytes outgoing_, incoming_;  // images
};

}  // namespace tonalith
