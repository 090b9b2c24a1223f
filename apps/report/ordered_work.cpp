#include "apps/report/ordered_work.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace egress::report {
namespace {

// What the threads share. The results that wait are in a ring.
struct Shared {
  Shared(const OrderedWork& given, std::size_t window) : work(given), results(window) {}

  [[nodiscard]] bool isEnd() const { return isStopped || next == work.count; }
  [[nodiscard]] std::optional<WorkResult>& resultOf(std::size_t number) {
    return results[number % results.size()];
  }

  const OrderedWork& work;
  std::mutex mutex;  // of what follows
  std::condition_variable mayStart;
  std::condition_variable isReady;
  std::size_t next = 0;   // number that no thread has
  std::size_t taken = 0;  // results
  bool isStopped = false;
  std::vector<std::optional<WorkResult>> results;
};

void produceResults(Shared& shared) {
  std::unique_lock lock(shared.mutex);
  while (true) {
    shared.mayStart.wait(lock, [&shared] {
      return shared.isEnd() || shared.next - shared.taken < shared.results.size();
    });
    if (shared.isEnd()) return;
    const std::size_t number = shared.next++;
    lock.unlock();
    WorkResult result = shared.work.produce(number);
    lock.lock();
    shared.resultOf(number) = std::move(result);
    shared.isReady.notify_one();
  }
}

// Ends the threads, also when `take` throws.
class Threads {
 public:
  explicit Threads(Shared& shared) : shared_(shared) {}
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;
  ~Threads() {
    {
      const std::lock_guard lock(shared_.mutex);
      shared_.isStopped = true;
    }
    shared_.mayStart.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

  // Returns whether at least one could be started.
  [[nodiscard]] bool start(std::size_t count) {
    threads_.reserve(count);
    try {
      while (threads_.size() < count) threads_.emplace_back([this] { produceResults(shared_); });
    } catch (const std::system_error&) {  // a limit of the system: fewer are enough
    }
    return !threads_.empty();
  }

 private:
  Shared& shared_;
  std::vector<std::thread> threads_;
};

void runHere(const OrderedWork& work) {
  for (std::size_t number = 0; number < work.count; ++number) {
    if (!work.take(number, work.produce(number))) return;
  }
}

WorkResult nextResult(Shared& shared) {
  std::unique_lock lock(shared.mutex);
  std::optional<WorkResult>& slot = shared.resultOf(shared.taken);
  shared.isReady.wait(lock, [&slot] { return slot.has_value(); });
  ++shared.taken;
  shared.mayStart.notify_one();
  return *std::exchange(slot, std::nullopt);
}

}  // namespace

void runOrdered(const OrderedWork& work, std::size_t threadCount) {
  const std::size_t count = std::max<std::size_t>(threadCount, 1);
  Shared shared(work, count * kAheadForEachThread);
  Threads threads(shared);
  if (!threads.start(std::min(count, work.count))) return runHere(work);
  for (std::size_t number = 0; number < work.count; ++number) {
    if (!work.take(number, nextResult(shared))) return;
  }
}

}  // namespace egress::report
