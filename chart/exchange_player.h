#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "chart/chart_peer.h"

namespace tonalith {

// An instrument whose talk is the steps of [exchange NAME], from the other side: it waits for what is sent and says
// what is waited for.
class ExchangePlayer : public ChartPeer {
 public:
  // Null, with the reason, when a step says what only a script does.
  static std::unique_ptr<ChartPeer> Make(const ChartInstrument& chart, const ChartType& type, int device,
                                         std::string* obstacle);

  Messages OnBytes(std::span<const std::uint8_t> bytes) override;
  ChartData Sample(std::uint32_t seed) const override;
  std::vector<std::uint8_t> Image(std::size_t index, const ChartData& data) const override;
  bool File(std::vector<std::uint8_t>* bytes) const override;
  bool Gets() const override { return !get_.moves.empty() || StartsAtPanel(); }
  bool StartsAtPanel() const override { return get_.listens; }
  bool ChoosesPatch() const override;
  bool Confirms() const override;
  bool CanRefuse() const override;
  std::vector<std::string> Sentences() const override { return sentences_; }

 private:
  // A byte of a message of a step: `F0`, `??`, `70+device`, `patch+32`.
  using Words = std::vector<std::string>;
  // What the instrument does next.
  struct Move {
    enum class Kind { kHear, kHearData, kSay, kSayData };
    Kind kind = Kind::kHear;
    Words message;         // that it hears or says
    Words refused;         // that it may say instead; empty: it does not refuse
    bool anyway = false;   // nobody minds when it is not said
    std::size_t size = 0;  // of data; 0: all that is left
    int turn = 0;
  };
  struct Talk {
    std::vector<Move> moves;
    bool listens = false;
    std::vector<Words> stops, agains;  // what ends it early; what has the last word said once more
    Words owed;                        // acknowledges the block before; empty: nothing does
  };
  enum class Fit { kNo, kPart, kWhole };

  ExchangePlayer(const ChartInstrument& chart, const ChartType& type, int device);
  // The steps of a direction up to the `end` of the repeat that begins at `from`; behind that.
  std::size_t Read(const std::vector<std::string>& steps, std::size_t from, int turn, Talk* talk);
  void ReadStep(const std::string& step, int turn, Talk* talk);
  static void HearOwed(Talk* talk);
  // A byte for a patch and a turn; -1: any.
  int ByteOf(const Words& message, std::size_t at, int patch, int turn) const;
  // Finds out which patch it is about, too.
  Fit Fits(const Words& message, int turn, std::span<const std::uint8_t> bytes, int* patch) const;
  std::vector<std::uint8_t> Said(const Words& message, const Words& unlike, int turn) const;
  // Takes what has come so far when something fits it whole; false when nothing can fit it any more.
  bool TakePending(Messages* answers);
  // The same for what comes next in a talk, and for its beginning.
  Fit TakeMove(Talk* talk, std::size_t at, Messages* answers);
  // Says what is to be said, up to what it hears next.
  void GoOn(Messages* answers);
  void Store();
  void Leave();
  std::size_t Current() const { return static_cast<std::size_t>(std::max(patch_, 0)); }

  Talk get_, put_;
  std::vector<std::string> sets_;  // what is put into the data that is sent: `33: 00 00`
  Words file_;                     // in front of the data in files; empty: nothing
  std::vector<std::string> sentences_;
  std::string obstacle_;
  Talk* talk_ = nullptr;  // that goes on; null: none
  std::size_t next_ = 0;  // of its moves
  int patch_ = -1;        // that it is about; -1: not said
  std::size_t said_ = 0;  // bytes of data
  std::vector<std::uint8_t> heard_, pending_, last_;
};

}  // namespace tonalith
