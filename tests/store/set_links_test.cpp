// Patches that play others: found, kept while the others are moved about, missed when those go.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "store/bank_slots.h"
#include "store/sets/link_tracker.h"
#include "store/sets/patch_moves.h"
#include "store/sets/set_document.h"
#include "tests/platform/files_fixture.h"
#include "tests/store/small_set.h"

namespace tonalith {

namespace {

constexpr int kSounds = 0, kMultis = 1, kBuffer = 2;  // components
constexpr int kPatches = 12;

// Sounds (type 101) that may play each other, a bank of multis (type 103) and one as an edit buffer (type 102).
class SetLinks : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    const std::string head = "Tonalith references\t1\nbits\t8\n";
    Write("References.ID101.tsv", head + "reference\tLAYER\t\t\t8\t0..11\t101:12\n");
    const std::string parts = "reference\tA\t\t\t2\t100..111\t101:12\nreference\tB\t\t\t3\t0..9\t101:12\n";
    for (const char* type : {"102", "103"}) Write("References.ID" + std::string(type) + ".tsv", head + parts);
    std::mt19937 random(7);
    std::vector<DataFilePtr> data;
    for (const int type : {1, 3, 2}) {
      data.push_back(SmallRecord(type));
      Grow(data.back().get(), type == 2 ? 1 : kPatches, &random);
    }
    set_.AddDataFiles(std::move(data));
  }
  void Write(const std::string& name, const std::string& text) { WriteFileAtomically(Path(name), text); }
  static void Grow(DataFile* data, int patches, std::mt19937* random) {
    Synth& synth = *data->synth;
    synth.numVoices = static_cast<std::uint16_t>(patches);
    synth.fileSize = static_cast<std::uint32_t>(synth.headerSize + patches * synth.voiceSize);
    AllocChunk(&data->body, &data->bodySize, synth.fileSize);
    AddDataFileComponents(data, 0);
    for (int patch = 0; patch < patches; ++patch) {
      std::uint8_t* bytes = data->body + synth.headerSize + patch * synth.voiceSize;
      for (int i = 0; i < 10; ++i) bytes[i] = static_cast<std::uint8_t>((*random)());
      bytes[2] = static_cast<std::uint8_t>(100 + (*random)() % 14);  // some name nothing
      bytes[3] = static_cast<std::uint8_t>((*random)() % 10);
      bytes[8] = static_cast<std::uint8_t>((*random)() % 13);
      BankSlots(*data).SetName(patch, "P" + std::to_string(patch));
    }
    if (data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
    // Twins and a place without a patch.
    if (patches > 1) {
      BankSlots slots(*data);
      const SlotContent twin = slots.Take(2);
      slots.Put(5, twin, true);
      slots.Put(9, twin, true);
      slots.SetUndefined(7, true);
    }
  }
  LinkTracker Tracker() {
    return {set_, [this](int) { return std::filesystem::path(Path("")); }};
  }
  DataFilePtr Permuted(int component, const std::vector<int>& order) {
    DataFilePtr copy(DupForUser(set_.GetDataFile(component)));
    EXPECT_TRUE(BankSlots(*copy).Permute(0, order));
    return copy;
  }
  // What everything plays, by name, in the order of its own name.
  std::vector<std::string> Played(const LinkTracker& tracker) {
    std::vector<std::string> lines;
    for (int i = 0; i < set_.GetDataFileCount(); ++i)
      for (std::uint32_t slot = 0; slot < LayoutOf(*set_.GetDataFile(i)).numVoices; ++slot)
        for (const auto& child : tracker.Children(i, slot))
          lines.push_back(std::to_string(i) + Name({i, slot}) + ">" + Name(child));
    std::sort(lines.begin(), lines.end());
    return lines;
  }
  std::string Name(const LinkTracker::Place& place) {
    return GetPatchName(*set_.GetDataFile(place.first), static_cast<int>(place.second));
  }

  OpenSet set_;
};

std::vector<int> Inverse(const std::vector<int>& order) {
  std::vector<int> inverse(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) inverse[static_cast<std::size_t>(order[i])] = static_cast<int>(i);
  return inverse;
}

}  // namespace

// Whatever is moved where: everything plays the same patches by name; the way back gives every byte back, and so does
// Undo, as one entry.
TEST_F(SetLinks, FollowEveryPermutationAndComeBack) {
  LinkTracker tracker = Tracker();
  const std::vector<std::string> played = Played(tracker);
  ASSERT_GT(played.size(), 10u);
  const std::vector<std::uint8_t> start = set_.Written();
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    std::vector<int> order(kPatches);
    std::iota(order.begin(), order.end(), 0);
    // Slots 10 and 11 stay: the second reference has no numbers for them.
    if (round % 3 == 0) std::swap(order[random() % 10], order[random() % 10]);
    if (round % 3 == 1) std::shuffle(order.begin(), order.begin() + 10, random);
    if (round % 3 == 2) std::rotate(order.begin(), order.begin() + static_cast<int>(random() % 10), order.begin() + 10);
    const std::size_t entries = set_.history().Count();
    for (const std::vector<int>& way : {order, Inverse(order)}) {
      const LinkTracker::Outcome edited = tracker.Edit(kSounds, *Permuted(kSounds, way), "Move");
      ASSERT_TRUE(edited.result.ok()) << edited.result.text;
      EXPECT_EQ(edited.left, 0u);
      EXPECT_EQ(Played(tracker), played) << round;
    }
    ASSERT_EQ(set_.Written(), start) << round;
    while (set_.history().Position() > entries) ASSERT_TRUE(set_.Undo().ok());
    ASSERT_EQ(set_.Written(), start) << round;
  }
  // Multis that are moved take along what they play.
  std::vector<int> order(kPatches);
  std::iota(order.rbegin(), order.rend(), 0);
  ASSERT_TRUE(tracker.Edit(kMultis, *Permuted(kMultis, order), "Reverse").result.ok());
  EXPECT_EQ(Played(tracker), played);
}

TEST_F(SetLinks, WhatCannotFollowIsCounted) {
  LinkTracker tracker = Tracker();
  std::vector<int> order(kPatches);
  std::iota(order.begin(), order.end(), 0);
  std::uint8_t* buffer = set_.GetDataFile(kBuffer)->body + 2;
  buffer[2] = 200;
  buffer[3] = 4;
  set_.TakeHeldSounds(kBuffer, {1});  // tells that it changed
  ASSERT_EQ(tracker.Children(kBuffer, 0).size(), 1u);
  std::swap(order[4], order[11]);
  const std::size_t users = tracker.Parents(kSounds, 4).size();
  const LinkTracker::Outcome edited = tracker.Edit(kSounds, *Permuted(kSounds, order), "Swap");
  ASSERT_TRUE(edited.result.ok());
  EXPECT_GE(edited.left, 1u) << "the second part has numbers up to 9 only";
  EXPECT_GE(users, 1u);
  EXPECT_EQ(buffer[3], 4);
  EXPECT_NE(edited.Sentence().find("could not follow"), std::string::npos) << edited.Sentence();
}

TEST_F(SetLinks, SayWhoPlaysWhatAndWhatIsLost) {
  LinkTracker tracker = Tracker();
  std::uint8_t* multis = set_.GetDataFile(kMultis)->body + 2;
  for (int i = 0; i < kPatches; ++i) {
    multis[i * 10 + 2] = 99;
    multis[i * 10 + 3] = static_cast<std::uint8_t>(i < 2 ? 1 : 200);
    set_.GetDataFile(kSounds)->body[2 + i * 10 + 8] = 200;
  }
  std::uint8_t* buffer = set_.GetDataFile(kBuffer)->body + 2;
  buffer[2] = 101;
  buffer[3] = 1;
  set_.EditData(kMultis, *set_.GetDataFile(kMultis), "nothing");
  set_.ChangeTogether("Rename", [this] {
    for (const int component : {kSounds, kMultis}) {
      DataFilePtr copy(DupForUser(set_.GetDataFile(component)));
      BankSlots(*copy).SetName(1, component == kSounds ? "STRAS\xDF" : "");
      set_.EditData(component, *copy, "Rename");
    }
  });
  using Places = std::vector<LinkTracker::Place>;
  EXPECT_EQ(tracker.Parents(kSounds, 1), (Places{{kMultis, 0}, {kMultis, 1}, {kBuffer, 0}})) << "each once";
  const std::string multi = tracker.NameOf({kMultis, 1});
  EXPECT_NE(multi.find("no name"), std::string::npos) << multi;
  EXPECT_EQ(tracker.LineOf(kMultis, 0), "uses: " + tracker.NameOf({kSounds, 1}));
  EXPECT_EQ(tracker.LineOf(kSounds, 1).substr(0, 12), "is used by: ");
  EXPECT_EQ(tracker.LineOf(kSounds, 0), "");
  EXPECT_EQ(tracker.Unused(kSounds).size(), static_cast<std::size_t>(kPatches - 2)) << "one is played, one is none";
  EXPECT_TRUE(tracker.Unused(kMultis).empty()) << "nothing could play them";

  const auto lost = [&](const std::function<void(BankSlots&)>& change) {
    DataFilePtr copy(DupForUser(set_.GetDataFile(kSounds)));
    BankSlots slots(*copy);
    change(slots);
    return tracker.LostOnes(kSounds, *copy);
  };
  const std::vector<std::uint32_t> none, one{1};
  EXPECT_EQ(lost([](BankSlots& slots) { slots.SetUndefined(1, true); }), one) << "deleted";
  EXPECT_EQ(lost([](BankSlots& slots) { slots.Put(1, slots.Take(4), true); }), one) << "overwritten";
  EXPECT_EQ(lost([](BankSlots& slots) { slots.SetName(1, "OTHER"); }), none) << "renamed";
  EXPECT_EQ(lost([](BankSlots& slots) { slots.SetLogical(1, std::vector<std::uint8_t>{1, 2}); }), none) << "edited";
  EXPECT_EQ(lost([](BankSlots& slots) { slots.Put(4, slots.Take(1), true); }), none) << "copied elsewhere";
  EXPECT_EQ(lost([](BankSlots& slots) { slots.SetUndefined(3, true); }), none) << "nobody plays it";
  const std::string warning = tracker.Warning(kSounds, 1);
  EXPECT_NE(warning.find("STRAS\xC3\x9F will be overwritten.\n\nThis element is used by:\n\n   "), std::string::npos)
      << warning;
}

TEST_F(SetLinks, AWarningNamesTwentyFive) {
  std::mt19937 random(3);
  std::vector<DataFilePtr> more;
  more.push_back(SmallRecord(3));
  Grow(more.back().get(), 40, &random);
  for (int i = 0; i < 40; ++i) more.back()->body[2 + i * 10 + 3] = static_cast<std::uint8_t>(i < 30 ? 3 : 200);
  set_.AddDataFiles(std::move(more));
  LinkTracker tracker = Tracker();
  ASSERT_GE(tracker.Parents(kSounds, 3).size(), 29u);
  const std::string warning = tracker.Warning(kSounds, 3);
  EXPECT_EQ(std::count(warning.begin(), warning.end(), '\n'), 4 + 26);
  EXPECT_TRUE(warning.ends_with("\n...\n"));
  const std::string line = tracker.LineOf(kSounds, 3);
  EXPECT_LE(line.size(), 511u);
}

// Commands and Undo in any order: the way back leads to where it began.
TEST_F(SetLinks, AWalkOfCommandsAndUndosComesBack) {
  ASSERT_TRUE(set_.Save(Path("walk.pvs")).ok());
  LinkTracker tracker = Tracker();
  const std::vector<std::uint8_t> start = set_.Written();
  std::mt19937 random(23);
  const auto component = [&] { return static_cast<int>(random() % 3); };
  const auto bank = [&] { return random() % 2 ? kSounds : kMultis; };
  int changed = 0;
  for (int step = 0; step < 5000; ++step) {
    switch (random() % 12) {
      case 0:
      case 1:
      case 2:
      case 3:
        set_.Undo();
        break;
      case 4:
      case 5:
        set_.Redo();
        break;
      case 6: {
        std::vector<int> order(kPatches);
        std::iota(order.begin(), order.end(), 0);
        std::shuffle(order.begin(), order.end(), random);
        const int which = bank();
        changed += tracker.Edit(which, *Permuted(which, order), "Sort").result.ok();
        break;
      }
      case 7: {
        const int which = bank();
        DataFilePtr copy(DupForUser(set_.GetDataFile(which)));
        BankSlots slots(*copy);
        slots.Put(static_cast<int>(random() % kPatches), slots.Take(static_cast<int>(random() % kPatches)), false);
        changed += tracker.Edit(which, *copy, "Paste").result.ok();
        break;
      }
      case 8: {
        DataFilePtr taken;
        const int which = component();
        if (!set_.TakeData(which, &taken).ok()) break;
        taken->body[5] ^= 0x11;
        changed += set_.PutData(which, std::move(taken)).ok();
        break;
      }
      case 9:
        changed +=
            (random() % 8 ? set_.SetActive(component(), random() % 2) : set_.ClearData(component(), nullptr)).ok();
        break;
      case 10:
        changed += set_.Initialize(component()).ok();
        break;
      default:
        set_.BeginReceive({kSounds, kBuffer});
        for (const int which : {kSounds, kBuffer}) set_.GetDataFile(which)->body[random() % 12] ^= 1;
        changed += set_.EndReceive();
    }
  }
  EXPECT_GT(changed, 1000);
  while (set_.Undo().ok()) {
  }
  EXPECT_EQ(set_.Written(), start);
  EXPECT_FALSE(set_.IsModified());
}

}  // namespace tonalith
