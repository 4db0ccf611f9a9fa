#include "platform/parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <vector>

namespace tonalith {
namespace {

TEST(InParallelTest, EveryNumberIsTakenOnceAndAllAreDoneWhenItReturns) {
  for (const std::size_t count : {0U, 1U, 2U, 1000U}) {
    std::vector<int> taken(count);
    InParallel(count, [&](std::size_t i) { ++taken[i]; });
    EXPECT_EQ(taken, std::vector<int>(count, 1)) << count;
  }
}

TEST(InParallelTest, AnExceptionReachesTheCallerAfterAllThreadsStopped) {
  std::atomic<int> running = 0;
  EXPECT_THROW(InParallel(1000,
                          [&](std::size_t i) {
                            ++running;
                            if (i == 3) {
                              --running;
                              throw std::runtime_error("third");
                            }
                            --running;
                          }),
               std::runtime_error);
  EXPECT_EQ(running, 0);
}

}  // namespace
}  // namespace tonalith
