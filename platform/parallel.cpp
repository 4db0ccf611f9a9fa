#include "platform/parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tonalith {

namespace {

constexpr std::size_t kMostThreads = 4;

}  // namespace

void InParallel(std::size_t count, const std::function<void(std::size_t)>& work) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failure;
  const auto run = [&] {
    for (std::size_t i = next++; i < count; i = next++) {
      try {
        work(i);
      } catch (...) {
        const std::lock_guard lock(mutex);
        if (!failure) failure = std::current_exception();
        next = count;
      }
    }
  };
  const std::size_t processors = std::thread::hardware_concurrency();
  std::vector<std::thread> helpers;
  try {
    for (std::size_t i = 1; i < std::min({count, processors, kMostThreads}); ++i) helpers.emplace_back(run);
  } catch (const std::exception&) {
    // No thread or no memory for one: this thread does it.
  }
  run();
  for (std::thread& helper : helpers) helper.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace tonalith
