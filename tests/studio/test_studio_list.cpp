#include "tests/studio/studio_fixture.h"

namespace tonalith {

TEST(StudioListeners, AreToldOnceWhenItIsQuietAgain) {
  ScriptedPrompts prompts({});
  const StudioSurroundings around{.paths = {}, .prompts = prompts};
  StudioList list(around);
  int told = 0, other = 0;
  list.AddListener([&] { ++told; });
  const int leaves = list.AddListener([&] { ++other; });
  const std::uint64_t before = list.generation();
  {
    const StudioList::Quiet outer(list);
    {
      const StudioList::Quiet inner(list);
      list.Changed();
      list.Changed();
    }
    EXPECT_EQ(told, 0);
    EXPECT_EQ(list.generation(), before + 2);
  }
  EXPECT_EQ(told, 1);
  EXPECT_EQ(other, 1);
  list.RemoveListener(leaves);
  list.Changed();
  EXPECT_EQ(told, 2);
  EXPECT_EQ(other, 1);
  { const StudioList::Quiet nothing(list); }
  EXPECT_EQ(told, 2);
}

}  // namespace tonalith
