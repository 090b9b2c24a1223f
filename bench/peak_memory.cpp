#include "bench/peak_memory.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace egress::bench {
namespace {

// The largest resident set of a copy of this process, in bytes.
std::optional<std::size_t> residentSetOf(const std::function<bool()>& run) {
  const pid_t process = fork();
  if (process == 0) _exit(run() ? 0 : 1);
  int status = 0;
  rusage usage{};
  const bool hasEnded = process > 0 && wait4(process, &status, 0, &usage) == process;
  if (!hasEnded || status != 0) return std::nullopt;
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

}  // namespace

std::optional<std::size_t> peakMemoryOf(const std::function<bool()>& run) {
  const std::optional<std::size_t> before = residentSetOf([] { return true; });
  const std::optional<std::size_t> after = residentSetOf(run);
  if (!before || !after) return std::nullopt;
  return *after > *before ? *after - *before : 0;
}

}  // namespace egress::bench
