#include "document/move.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "tests/document/note_document.h"

namespace tonalith {
namespace {

DataFilePtr Data(const char* typeKey, bool bank, std::uint8_t first = 0x40) {
  DataFilePtr data(AllocDataFile());
  AllocChunk(&data->synth, &data->synthSize, kSynthSize);
  std::snprintf(data->synth->typeKey, sizeof data->synth->typeKey, "%s", typeKey);
  data->synth->isBank = bank;
  data->synth->fileSize = 4;
  const std::uint8_t body[4] = {0xF0, first, 1, 0xF7};
  AllocChunk(&data->body, &data->bodySize, 4, body);
  return data;
}

// What each kind of window takes, recorded: a stand-in for windows that are not there yet.
class Recorder : public MoveTarget {
 public:
  Recorder(bool patches, bool banks, bool lists, bool sets)
      : patches_(patches), banks_(banks), lists_(lists), sets_(sets) {}

  std::string AcceptsMove(const MoveOffer& offer) const override {
    ++asked;
    if (offer.setDocument) return sets_ ? "" : "A Set can't be dropped in this window";
    if (offer.types.size() > 1) return lists_ ? "" : "One at a time.";
    return (offer.IsBank() ? banks_ : patches_) ? "" : "Not of this kind.";
  }
  MoveResult ReceiveMove(Move&& move) override {
    last = {move.source, move.action, move.destination};
    if (refuses) return MoveResult::AskDone();
    taken.push_back(std::move(move.payload));
    MoveResult result = MoveResult::Taken("kept");
    if (move.action == MoveAction::Exchange) result.back.push_back(Data("BACK", false));
    return result;
  }

  struct Last {
    MoveSource source;
    MoveAction action = MoveAction::Copy;
    int destination = -2;
  };
  mutable int asked = 0;
  bool refuses = false;
  Last last;
  std::vector<MovePayload> taken;

 private:
  bool patches_, banks_, lists_, sets_;
};

std::vector<Recorder> Targets() {
  std::vector<Recorder> targets;
  targets.emplace_back(true, true, true, false);    // BankEditor
  targets.emplace_back(true, false, false, false);  // PatchEditor
  targets.emplace_back(true, true, true, false);    // Set
  targets.emplace_back(true, true, true, false);    // Library
  targets.emplace_back(true, true, true, true);     // Collection
  targets.emplace_back(true, true, true, false);    // FolderView
  return targets;
}

Move MakeMove(int shape, WindowType from) {
  Move move;
  if (shape < 2) move.payload = Data("KEY", shape == 1);
  if (shape == 2) {
    std::vector<DataFilePtr> several;
    several.push_back(Data("A", false));
    several.push_back(Data("B", true));
    move.payload = std::move(several);
  }
  if (shape == 3) move.payload = std::unique_ptr<Document>(std::make_unique<NoteDocument>("set"));
  move.source = {from, 7, 3};
  return move;
}

// Every source to every destination with every shape: what is refused stays with the sender, what is taken has gone.
TEST(Move, EverySourceEveryTargetEveryShape) {
  const WindowType sources[] = {WindowType::BankEditor, WindowType::PatchEditor, WindowType::Set,
                                WindowType::Library,    WindowType::Collection,  WindowType::FolderView};
  const bool expected[6][4] = {{true, true, true, false}, {true, false, false, false}, {true, true, true, false},
                               {true, true, true, false}, {true, true, true, true},    {true, true, true, false}};
  for (const WindowType source : sources) {
    auto targets = Targets();
    for (std::size_t t = 0; t < targets.size(); ++t) {
      for (int shape = 0; shape < 4; ++shape) {
        Move move = MakeMove(shape, source);
        const MoveOffer offer = OfferOf(move);
        EXPECT_EQ(offer.setDocument, shape == 3);
        EXPECT_EQ(offer.types.size(), shape == 3 ? 0u : shape == 2 ? 2u : 1u);
        const std::size_t before = targets[t].taken.size();
        const MoveResult result = Deliver(targets[t], std::move(move));
        EXPECT_EQ(result.taken(), expected[t][shape]) << t << " " << shape;
        EXPECT_EQ(targets[t].taken.size(), before + (result.taken() ? 1 : 0));
        if (result.taken()) {
          EXPECT_EQ(targets[t].last.source.window, source);
          EXPECT_EQ(targets[t].last.source.entry, 3);
          continue;
        }
        EXPECT_FALSE(result.text.empty());
        const auto* document = std::get_if<std::unique_ptr<Document>>(&move.payload);
        EXPECT_TRUE(document ? *document != nullptr : OfferOf(move).types.size() == offer.types.size())
            << "the sender still owns what was refused";
      }
    }
  }
}

TEST(Move, NothingIsNotMoved) {
  Recorder target(true, true, true, true);
  std::vector<Move> empty(4);
  empty[1].payload = std::vector<DataFilePtr>();
  empty[2].payload = std::unique_ptr<Document>();
  empty[3].payload = DataFilePtr(AllocDataFile());  // without a descriptor
  for (Move& move : empty) {
    const MoveResult result = Deliver(target, std::move(move));
    EXPECT_EQ(result.kind, MoveResult::Kind::Refused);
    EXPECT_EQ(result.text, "There is nothing to move.");
  }
  EXPECT_EQ(target.asked, 0);
}

TEST(MovesOnOffer, ANumberIsGoodUntilItIsWithdrawn) {
  MovesOnOffer moves;
  int made = 0, ended = 0;
  bool gone = false;
  const auto make = [&]() -> std::optional<Move> {
    ++made;
    if (gone) return std::nullopt;
    return MakeMove(0, WindowType::BankEditor);
  };
  const auto end = [&](MoveResult& result) { ended += 1 + static_cast<int>(result.back.size()); };
  Recorder bank(true, true, true, false);
  std::uint64_t number = 0;
  {
    OfferedMove offered(moves, OfferOf(MakeMove(0, WindowType::BankEditor)), make, end);
    number = offered.number();
    ASSERT_NE(number, 0u);
    EXPECT_EQ(moves.Refusal(number, bank, MoveAction::Insert, 5), "");
    EXPECT_EQ(made, 0) << "asking makes nothing";
    EXPECT_TRUE(moves.Take(number, bank, MoveAction::Exchange, 5).taken());
    EXPECT_EQ(bank.last.destination, 5);
    EXPECT_EQ(bank.last.action, MoveAction::Exchange);
    EXPECT_EQ(ended, 2) << "the sender was given what came back";
    bank.refuses = true;
    EXPECT_EQ(moves.Take(number, bank, MoveAction::Copy, 0).kind, MoveResult::Kind::AskDone);
    EXPECT_EQ(ended, 2);
    bank.refuses = false;
    gone = true;
    EXPECT_EQ(moves.Take(number, bank, MoveAction::Copy, 0).text,
              "The data that was to be moved is not there any more.");
  }
  EXPECT_EQ(moves.Find(number), nullptr);
  EXPECT_FALSE(moves.Refusal(number, bank, MoveAction::Copy, 0).empty());
  EXPECT_FALSE(moves.Take(number, bank, MoveAction::Copy, 0).taken());
  EXPECT_FALSE(moves.Take(0, bank, MoveAction::Copy, 0).taken());
}

}  // namespace
}  // namespace tonalith
