#include "document/history.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A few buffers that can grow up to a limit.
class Buffers : public HistoryTarget {
 public:
  explicit Buffers(std::vector<Bytes> contents) : bytes(std::move(contents)) {}
  std::vector<BufferId> HistoryBuffers() const override {
    std::vector<BufferId> ids;
    for (std::uint32_t i = 0; i < bytes.size(); ++i) ids.push_back({0, i});
    return ids;
  }
  std::span<std::uint8_t> HistoryBytes(BufferId id) override { return bytes[id.buffer]; }
  bool ResizeHistoryBuffer(BufferId id, std::size_t size) override {
    if (size > bytes[id.buffer].size() && size > limit) return false;
    bytes[id.buffer].resize(size);
    return true;
  }

  void HistoryApplied() override { ++applied; }

  std::vector<Bytes> bytes;
  std::size_t limit = 1 << 20;
  int applied = 0;
};

constexpr BufferId kFirst{0, 0};

void Edit(Buffers& buffers, History& history, std::uint64_t gesture = 0) {
  history.Begin("Edit", gesture);
  const std::uint8_t next = static_cast<std::uint8_t>(buffers.bytes[0][3] + 1);
  ASSERT_TRUE(history.Write(kFirst, 3, {&next, 1}));
  ASSERT_TRUE(history.End());
}

// e edit, k knob (one gesture), g end of the gesture, m the knob touched but not moved, o an edit inside a command, u
// undo, r redo, s save, n a command that changes nothing, a an abandoned one, d changed by other means.
TEST(History, ModifiedMeansAnotherStateThanTheOneInTheFile) {
  const struct {
    const char* steps;
    bool modified;
    std::size_t undoable;
  } rows[] = {
      {"", false, 0},     {"e", true, 1},       {"eu", false, 0},    {"es", false, 1},      {"esu", true, 0},
      {"esur", false, 1}, {"esue", true, 1},    {"esueu", true, 0},  {"eesue", true, 2},    {"eesuur", true, 1},
      {"sn", false, 0},   {"esn", false, 1},    {"esa", false, 1},   {"kkk", true, 1},      {"kkku", false, 0},
      {"kkkur", true, 1}, {"kskk", true, 2},    {"kskku", false, 1}, {"kgk", true, 2},      {"kek", true, 3},
      {"kuk", true, 1},   {"ds", false, 0},     {"d", true, 0},      {"edu", true, 0},      {"esuds", false, 0},
      {"esusr", true, 1}, {"esusrs", false, 1}, {"kkskuu", true, 0}, {"kkskuur", false, 1}, {"kgm", true, 1},
      {"m", false, 0},    {"o", true, 1},       {"eou", true, 1},    {"oou", true, 1},
  };
  for (const auto& row : rows) {
    Buffers buffers({Bytes(10)});
    History history;
    history.SetTarget(&buffers);
    for (const char* step = row.steps; *step; ++step) {
      switch (*step) {
        case 'e':
          Edit(buffers, history);
          break;
        case 'k':
          Edit(buffers, history, 1);
          break;
        case 'm':
          history.Begin("Touch", 1);
          EXPECT_FALSE(history.End());
          break;
        case 'o': {
          history.Begin("Outer");
          const std::uint8_t two[] = {static_cast<std::uint8_t>(buffers.bytes[0][5] + 1)};
          history.Write(kFirst, 5, two);
          history.Begin("Inner");
          history.Write(kFirst, 6, two);
          EXPECT_FALSE(history.End());
          EXPECT_FALSE(history.CanUndo() || history.Undo()) << "while recording";
          EXPECT_TRUE(history.End());
          EXPECT_EQ(history.UndoName(), "Outer");
          break;
        }
        case 'g':
          history.EndGesture();
          break;
        case 'u':
          EXPECT_TRUE(history.Undo()) << row.steps;
          break;
        case 'r':
          EXPECT_TRUE(history.Redo()) << row.steps;
          break;
        case 's':
          history.MarkSaved();
          break;
        case 'd':
          history.MarkUnsaved();
          break;
        default: {
          const Bytes before = buffers.bytes[0];
          history.Begin("Nothing");
          history.RememberEverything();
          if (*step == 'a') {
            buffers.bytes[0].assign(100, 9);
            history.Abandon();
          } else {
            EXPECT_FALSE(history.End());
          }
          EXPECT_EQ(buffers.bytes[0], before) << row.steps;
        }
      }
    }
    EXPECT_EQ(history.IsModified(), row.modified) << row.steps;
    EXPECT_EQ(history.Position(), row.undoable) << row.steps;
    EXPECT_EQ(history.CanUndo(), row.undoable > 0) << row.steps;
  }
}

// Changes of every kind at random; each state that was reached comes back byte for byte, in both directions.
class RandomWalk {
 public:
  explicit RandomWalk(unsigned seed) : random_(seed), buffers_({Bytes(200), Bytes(3000, 1), {}}) {
    history_.SetTarget(&buffers_);
    states_.push_back(buffers_.bytes);
  }

  void Step() {
    if (Upto(3) == 0) {
      const std::size_t to = Upto(history_.Count() + 1);
      ASSERT_TRUE(history_.GoTo(to));
      position_ = to;
    } else {
      const std::vector<Bytes> before = buffers_.bytes;
      history_.Begin("Change");
      for (std::size_t i = Upto(4); i-- > 0;) Change();
      if (Upto(6) == 0) {
        history_.Abandon();
        ASSERT_EQ(buffers_.bytes, before);
      } else if (history_.End()) {
        states_.resize(++position_);
        states_.push_back(buffers_.bytes);
      }
    }
    ASSERT_EQ(history_.Position(), position_);
    ASSERT_EQ(buffers_.bytes, states_[position_]);
    // A copy comes to any state, and nothing else moves.
    Buffers copy(buffers_.bytes);
    const std::size_t any = Upto(history_.Count() + 1);
    ASSERT_TRUE(history_.BringCopy(any, copy));
    ASSERT_EQ(copy.bytes, states_[any]);
    ASSERT_EQ(buffers_.bytes, states_[position_]);
  }

 private:
  std::size_t Upto(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }

  void Change() {
    const BufferId id{0, static_cast<std::uint32_t>(Upto(3))};
    Bytes& bytes = buffers_.bytes[id.buffer];
    const std::size_t at = Upto(bytes.size() + 1);
    const std::size_t length = std::min(bytes.size() - at, Upto(40));
    const Bytes fresh(length, static_cast<std::uint8_t>(Upto(3)));
    switch (Upto(4)) {
      case 0:
        ASSERT_TRUE(history_.Write(id, at, fresh));
        ASSERT_FALSE(history_.Write(id, bytes.size(), Bytes(1)));
        break;
      case 1:
        history_.Remember(id, at, length);
        std::copy(fresh.begin(), fresh.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        break;
      case 2:
        ASSERT_TRUE(history_.Resize(id, Upto(3500)));
        break;
      default:
        history_.RememberWhole(id);
        bytes.resize(Upto(3500), 2);
        if (!bytes.empty()) bytes[Upto(bytes.size())] ^= 0x55;
    }
  }

  std::mt19937 random_;
  Buffers buffers_;
  History history_;
  std::vector<std::vector<Bytes>> states_;
  std::size_t position_ = 0;
};

TEST(History, EveryStateComesBackByteForByte) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    RandomWalk walk(seed);
    for (int i = 0; i < 200; ++i) {
      walk.Step();
      ASSERT_FALSE(::testing::Test::HasFatalFailure()) << "seed " << seed << " step " << i;
    }
  }
}

TEST(History, ADragOfAKnobIsOneSmallEntry) {
  Buffers buffers({Bytes(100'000)});
  History history;
  history.SetTarget(&buffers);
  for (int i = 0; i < 10'000; ++i) Edit(buffers, history, 1);
  history.EndGesture();
  EXPECT_EQ(history.Count(), 1U);
  EXPECT_LT(history.MemoryBytes(), 1000U);
  // A drag over many places at once keeps no more than those places.
  for (std::size_t i = 0; i < 10'000; ++i) {
    history.Begin("Draw", 8);
    const std::uint8_t value = static_cast<std::uint8_t>(i | 1U);
    ASSERT_TRUE(history.Write(kFirst, i * 7 % 50'000, {&value, 1}));
    history.End();
  }
  history.EndGesture();
  EXPECT_EQ(history.Count(), 2U);
  EXPECT_LT(history.MemoryBytes(), 400'000U);
  EXPECT_TRUE(history.GoTo(0));
  EXPECT_EQ(buffers.bytes[0], Bytes(100'000));
  EXPECT_FALSE(history.IsModified());
}

TEST(History, TheOldestEntriesGoWhenMemoryIsUsedUp) {
  Buffers buffers({Bytes(10'000)});
  History history({100'000, 50});
  history.SetTarget(&buffers);
  const auto fill = [&](int value) {
    history.Begin("Fill " + std::to_string(value));
    history.RememberEverything();
    buffers.bytes[0].assign(10'000, static_cast<std::uint8_t>(value));
    history.End();
  };
  for (int i = 1; i <= 100; ++i) {
    fill(i);
    ASSERT_LE(history.MemoryBytes(), 100'000U);
  }
  EXPECT_EQ(history.UndoName(), "Fill 100");
  while (history.Undo()) {
  }
  EXPECT_GT(buffers.bytes[0][0], 90) << "the oldest are forgotten";
  EXPECT_LT(buffers.bytes[0][0], 99);
  EXPECT_TRUE(history.IsModified()) << "the state in the file is out of reach";
  for (int i = 0; i < 200; ++i) Edit(buffers, history);
  EXPECT_EQ(history.Count(), 50U);
  // What alone is too large is kept all the same: the last command can always be taken back.
  history.Begin("Huge");
  ASSERT_TRUE(history.Resize(kFirst, 500'000));
  ASSERT_TRUE(history.End());
  EXPECT_EQ(history.Count(), 1U);
  EXPECT_TRUE(history.Undo());
  EXPECT_EQ(buffers.bytes[0].size(), 10'000U);
}

// Writes at the edges of a buffer, before and behind what was kept already, and names that are too long.
TEST(History, EdgesOfBuffersNamesAndLimits) {
  Buffers buffers({{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {}});
  const std::vector<Bytes> start = buffers.bytes;
  History history({1 << 20, 3});
  const Bytes one = {0xAA}, two = {0xBB, 0xBC}, ten(10, 0xCC);
  EXPECT_FALSE(history.Write(kFirst, 0, one) || history.Resize(kFirst, 3)) << "not recording";
  history.Begin("No target");
  EXPECT_FALSE(history.IsOpen());
  history.SetTarget(&buffers);
  const std::pair<std::size_t, Bytes> writes[] = {{4, two}, {3, one}, {6, one}, {9, one}, {0, one}, {2, two}, {0, ten}};
  history.Begin(std::string(300, 'n'));
  for (const auto& [at, bytes] : writes) ASSERT_TRUE(history.Write(kFirst, at, bytes)) << at;
  EXPECT_FALSE(history.Write(kFirst, 9, two) || history.Write(kFirst, 10, one) || history.Write(kFirst, 11, {}));
  EXPECT_TRUE(history.Write(kFirst, 10, {}));
  ASSERT_TRUE(history.End());
  EXPECT_FALSE(history.End()) << "no more is open";
  EXPECT_EQ(history.UndoName(), std::string(255, 'n'));
  ASSERT_TRUE(history.Undo());
  EXPECT_EQ(buffers.bytes, start);
  EXPECT_EQ(history.RedoName(), std::string(255, 'n'));
  EXPECT_EQ(history.UndoName(), "");
  EXPECT_TRUE(history.GoTo(1));
  EXPECT_FALSE(history.GoTo(2));
  // Behind the sizes: kept bytes of a buffer that shrinks and grows again, and a change that is taken back by hand.
  history.Begin("Sizes");
  ASSERT_TRUE(history.Resize(kFirst, 4) && history.Resize(kFirst, 12) && history.Resize({0, 1}, 5));
  ASSERT_TRUE(history.Write(kFirst, 2, ten));
  ASSERT_TRUE(history.End());
  const std::vector<Bytes> wide = buffers.bytes;
  history.Begin("One byte");
  ASSERT_TRUE(history.Resize(kFirst, 11));
  ASSERT_TRUE(history.End() && history.Undo());
  EXPECT_EQ(buffers.bytes, wide);
  history.Begin("Back and forth");
  ASSERT_TRUE(history.Write(kFirst, 0, two) && history.Write(kFirst, 0, {ten.data(), 2}));
  EXPECT_FALSE(history.End());
  ASSERT_TRUE(history.Undo() && history.Undo());
  EXPECT_EQ(buffers.bytes, start);
  // The first of a gesture after another, and the mark while one is open.
  for (const std::uint64_t gesture : {1, 1, 2, 0, 2}) {
    history.Begin("G" + std::to_string(gesture), gesture);
    const std::uint8_t next = static_cast<std::uint8_t>(buffers.bytes[0][1] + 1);
    ASSERT_TRUE(history.Write(kFirst, 1, {&next, 1}));
    ASSERT_TRUE(history.End());
  }
  EXPECT_EQ(history.Count(), 4U) << "three, and the gesture that goes on";
  std::string names;
  for (std::size_t i = 0; i < history.Count(); ++i) names += history.Name(i) + ' ';
  EXPECT_EQ(names, "G1 G2 G0 G2 ");
  std::size_t used = 1 << 20;
  for (int round = 0; round < 2; ++round) {  // the second one with exactly the memory that is used
    Buffers twin({Bytes(10)});
    History full({used, 50});
    full.SetTarget(&twin);
    for (int i = 0; i < 3; ++i) Edit(twin, full);
    EXPECT_EQ(full.Count(), 3U);
    used = full.MemoryBytes();
  }
  history.Clear();
  EXPECT_EQ(history.Count() + history.Position() + history.MemoryBytes(), 0U);
  EXPECT_TRUE(history.IsModified());
  history.Reset();
  EXPECT_FALSE(history.IsModified() || history.CanUndo());
}

TEST(History, WithoutMemoryUndoLeavesEverythingAsItIs) {
  Buffers buffers({Bytes(10), Bytes(1000, 5)});
  History history;
  history.SetTarget(&buffers);
  history.Begin("Shrink");
  const std::uint8_t one = 1;
  ASSERT_TRUE(history.Write(kFirst, 0, {&one, 1}));
  ASSERT_TRUE(history.Resize({0, 1}, 10));
  ASSERT_TRUE(history.End());
  const std::vector<Bytes> now = buffers.bytes;
  buffers.limit = 500;
  EXPECT_FALSE(history.Undo());
  EXPECT_FALSE(history.GoTo(0));
  EXPECT_EQ(buffers.bytes, now);
  EXPECT_TRUE(history.CanUndo());
  EXPECT_EQ(buffers.applied, 0);
  buffers.limit = 5000;
  EXPECT_TRUE(history.Undo());
  EXPECT_EQ(buffers.applied, 1);
  EXPECT_EQ(buffers.bytes[1], Bytes(1000, 5));
}

}  // namespace
}  // namespace tonalith
