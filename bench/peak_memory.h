#ifndef EGRESS_BENCH_PEAK_MEMORY_H
#define EGRESS_BENCH_PEAK_MEMORY_H

#include <cstddef>
#include <functional>
#include <optional>

namespace egress::bench {

// The bytes of physical memory by which a copy of this process grows while it runs `run`, at most;
// exact to some pages. Memory that was freed before and is still part of this process is not
// counted when it is used again, so call it before anything large is freed. Nothing if the copy
// cannot be made, or if `run` returns false.
[[nodiscard]] std::optional<std::size_t> peakMemoryOf(const std::function<bool()>& run);

}  // namespace egress::bench

#endif
