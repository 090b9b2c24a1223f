#ifndef EGRESS_TESTS_MEMORY_IN_ALL_THREADS_H
#define EGRESS_TESTS_MEMORY_IN_ALL_THREADS_H

#include <cstddef>
#include <functional>
#include <latch>
#include <thread>
#include <vector>

namespace egress::test {

inline constexpr std::size_t kThreads = 8;

// Runs `use` in all threads at the same time, with the number of the thread.
inline void inAllThreads(const std::function<void(std::size_t)>& use) {
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&start, &use, number] {
      start.arrive_and_wait();
      use(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace egress::test

#endif
