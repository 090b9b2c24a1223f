#ifndef EGRESS_BENCH_RANDOM_SOURCE_H
#define EGRESS_BENCH_RANDOM_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <random>

namespace egress::bench {

// Numbers from a fixed seed. Not one of the standard's distributions, because those give other
// numbers with another standard library.
class RandomSource {
 public:
  explicit RandomSource(std::uint64_t seed) : engine_(seed) {}

  std::size_t below(std::size_t count) { return static_cast<std::size_t>(engine_() % count); }

  bool percent(std::size_t share) { return below(100) < share; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace egress::bench

#endif
