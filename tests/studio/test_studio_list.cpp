#include <functional>

#include "tests/studio/studio_fixture.h"

namespace tonalith {

namespace {

struct Watcher final : StudioListener {
  explicit Watcher(std::function<void()> then = {}) : then_(std::move(then)) {}
  void StudioChanged() override {
    ++told;
    if (then_) then_();
  }
  int told = 0;

 private:
  std::function<void()> then_;
};

}  // namespace

TEST(StudioListeners, ComeAndGoWhileTheyAreTold) {
  ScriptedPrompts prompts({});
  const StudioSurroundings around{.paths = {}, .prompts = prompts};
  StudioList list(around);
  Watcher leaves, comes;
  Watcher once([&] { list.RemoveListener(&once); });
  Watcher rules([&] {
    list.RemoveListener(&leaves);
    if (comes.told == 0 && rules.told == 1) list.AddListener(&comes);
  });
  for (StudioListener* listener : {static_cast<StudioListener*>(&once), static_cast<StudioListener*>(&rules),
                                   static_cast<StudioListener*>(&leaves)})
    list.AddListener(listener);
  list.Changed();
  EXPECT_EQ(std::vector({once.told, rules.told, leaves.told, comes.told}), std::vector({1, 1, 0, 0}));
  list.Changed();
  EXPECT_EQ(std::vector({once.told, rules.told, leaves.told, comes.told}), std::vector({1, 2, 0, 1}));
}

TEST(StudioListeners, AreToldOnceWhenItIsQuietAgain) {
  ScriptedPrompts prompts({});
  const StudioSurroundings around{.paths = {}, .prompts = prompts};
  StudioList list(around);
  Watcher watcher;
  list.AddListener(&watcher);
  const std::uint64_t before = list.generation();
  {
    const StudioList::Quiet outer(list);
    {
      const StudioList::Quiet inner(list);
      list.Changed();
      list.Changed();
    }
    EXPECT_EQ(watcher.told, 0);
    EXPECT_EQ(list.generation(), before + 2);
  }
  EXPECT_EQ(watcher.told, 1);
  { const StudioList::Quiet nothing(list); }
  EXPECT_EQ(watcher.told, 1);
}

}  // namespace tonalith
