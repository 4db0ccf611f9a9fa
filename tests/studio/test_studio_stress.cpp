// Long lives of a studio, ended by a kill at any system call: the file is always a whole studio, the one that was saved
// last or the one that was being saved, and what is loaded is what was saved.  TONALITH_STRESS_STEPS and
// TONALITH_STRESS_SEED as for documents.

#include <cstdio>
#include <cstdlib>
#include <random>

#include "platform/atomic_file.h"
#include "tests/document/killed_program.h"
#include "tests/studio/studio_fixture.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct StudioJournal {
  std::uint32_t size = 0, nextSize = 0;  // of the file, and of the one that is being written
  std::uint8_t file[100000], next[100000];
  unsigned steps = 0, messages = 0;
  char problem[100] = {};
};

class StudioStress : public StudioTest {
 protected:
  std::string File() const { return (paths().data / kStudioFileName).string(); }
  bool Must(bool good, const char* problem) {
    if (!good) std::snprintf(journal_->problem, sizeof journal_->problem, "%s", problem);
    return good;
  }
  bool HoldsFile(const std::string& path, const std::uint8_t* bytes, std::uint32_t size) const {
    Bytes there;
    return ReadWholeFile(path, there).ok() && there.size() == size && std::equal(there.begin(), there.end(), bytes);
  }

  // One program: it loads, edits and saves at random.
  bool Live(unsigned count, unsigned seed) {
    std::mt19937 random(seed);
    const auto upto = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    ScriptedPrompts prompts{{}};
    ZKStudioDoc studio(paths(), prompts, &ports_);
    if (!Must(studio.DrvLoadSetup(0) == 0 && !studio.instruments().empty(), "load")) return false;
    for (unsigned i = 0; i < count; ++i, ++journal_->steps) {
      const int instruments = static_cast<int>(studio.instruments().size());
      ZKDrvList* instrument = studio.GetInstrument(upto(instruments));
      switch (upto(8)) {
        case 0:
          if (instruments < 6) studio.AddDrivers("Synth.ini");
          studio.UpdatePortReferences();
          break;
        case 1:
          if (instruments > 1) studio.TakeInstrument(instrument, nullptr);
          break;
        case 2:
        case 3:
          instrument->SetMidiChannel(upto(16));
          break;
        case 4:
          if (const int port = upto(2); true) instrument->SetOutPort(port, ports_.out[static_cast<std::size_t>(port)]);
          break;
        case 5:
          if (!Must(studio.DrvLoadSetup(0) == 0, "load again")) return false;
          if (!Must(HoldsFile(File(), journal_->file, journal_->size), "loading changed the file")) return false;
          break;
        default: {
          const Bytes bytes = studio.file().WriteStudio();
          std::copy(bytes.begin(), bytes.end(), journal_->next);
          journal_->nextSize = static_cast<std::uint32_t>(bytes.size());
          if (!Must(studio.DrvSaveSetup(0) == 0, "save")) return false;
          if (!Must(HoldsFile(File(), bytes.data(), journal_->nextSize), "the file is not the studio")) return false;
          Saved();
          ZKStudioDoc again(paths(), prompts, &ports_);
          if (!Must(again.DrvLoadSetup(0) == 0 && again.file().WriteStudio() == bytes, "what is loaded")) return false;
        }
      }
    }
    journal_->messages += static_cast<unsigned>(prompts.Log().size());
    return true;
  }

  void Saved() {
    std::copy_n(journal_->next, journal_->nextSize, journal_->file);
    journal_->size = std::exchange(journal_->nextSize, 0);
  }

  // What the next program finds.
  void Check() {
    if (journal_->nextSize && HoldsFile(File(), journal_->next, journal_->nextSize)) Saved();
    journal_->nextSize = 0;
    ASSERT_TRUE(HoldsFile(File(), journal_->file, journal_->size));
    ZKStudioDoc studio(paths(), prompts_, &ports_);
    ASSERT_EQ(studio.DrvLoadSetup(0), 0);
    ASSERT_EQ(studio.file().WriteStudio(), Bytes(journal_->file, journal_->file + journal_->size));
    ASSERT_TRUE(prompts_.Log().empty());
    for (const auto& entry : std::filesystem::directory_iterator(paths().data))
      ASSERT_NE(entry.path().extension(), ".broken");
  }

  Shared<StudioJournal> journal_;
};

TEST_F(StudioStress, KilledAtRandom) {
  const char* wanted = std::getenv("TONALITH_STRESS_STEPS");
  const char* other = std::getenv("TONALITH_STRESS_SEED");
  const auto steps = static_cast<unsigned>(wanted ? std::atoi(wanted) : 60);
  const auto seed = static_cast<unsigned>(other ? std::atoi(other) : 1);
  std::printf("seed %u, %u steps\n", seed, steps);
  {
    ZKStudioDoc studio(paths(), prompts_, &ports_);
    studio.LoadStudio();
    ASSERT_EQ(studio.DrvSaveSetup(0), 0);
    const Bytes bytes = studio.file().WriteStudio();
    std::copy(bytes.begin(), bytes.end(), journal_->file);
    journal_->size = static_cast<std::uint32_t>(bytes.size());
  }
  std::mt19937 random(seed);
  int kills = 0;
  while (journal_->steps < steps) {
    const auto life = static_cast<unsigned>(random());
    const long killedAt = random() % 5 == 0 ? 0 : 1 + static_cast<long>(random() % 3000);
    const End end = RunKilledAt(killedAt, [&] { return Live(20, life); });
    if (end == End::kNotAllowed) GTEST_SKIP() << "a process may not watch another here";
    ASSERT_NE(end, End::kFailed) << "seed " << seed << ", life " << life << ": " << journal_->problem;
    kills += end == End::kKilled;
    Check();
    ASSERT_FALSE(HasFailure()) << "seed " << seed << ", life " << life << " to " << killedAt;
  }
  EXPECT_EQ(journal_->messages, 0U);
  EXPECT_GT(kills, 0);
  std::printf("%u steps, %d kills\n", journal_->steps, kills);
}

}  // namespace
}  // namespace tonalith
