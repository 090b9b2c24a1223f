#ifndef EGRESS_REPORT_ORDERED_WORK_H
#define EGRESS_REPORT_ORDERED_WORK_H

#include <cstddef>
#include <functional>
#include <string>

namespace egress::report {

// What one piece of work gives.
struct WorkResult {
  std::string output;          // empty if it failed
  std::string error;           // why it failed
  bool isOutOfMemory = false;  // in place of an error, which needs memory
};

// Independent pieces of work, which are numbered from 0.
struct OrderedWork {
  std::size_t count = 0;
  // Called once for each number, in any thread. Must not throw.
  std::function<WorkResult(std::size_t)> produce;
  // Called in the thread of runOrdered, in the order of the numbers. Returns whether to go on.
  std::function<bool(std::size_t, WorkResult)> take;
};

// How many results may be started and not taken for each thread: enough that a thread rarely waits
// for the result of a large file, and few enough that memory does not grow with the count.
inline constexpr std::size_t kAheadForEachThread = 8;

// Does the work in as many threads, at least in one; in fewer if the system does not allow more.
// Returns when all threads have ended. Throws what `take` throws.
void runOrdered(const OrderedWork& work, std::size_t threadCount);

}  // namespace egress::report

#endif
