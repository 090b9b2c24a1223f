#include "bench/rounds.h"

#include <ostream>

#include <benchmark/benchmark.h>

namespace egress::bench {
namespace {

// Keeps the one figure of the one run.
class OneFigure : public benchmark::BenchmarkReporter {
 public:
  double nanoseconds = 0;

  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) nanoseconds = run.GetAdjustedRealTime();
  }
};

double timeOnce(const Contender& contender) {
  benchmark::ClearRegisteredBenchmarks();
  benchmark::RegisterBenchmark(contender.name.c_str(), [&contender](benchmark::State& state) {
    for (auto _ : state) contender.run();
  })->UseRealTime();
  OneFigure figure;
  benchmark::RunSpecifiedBenchmarks(&figure);
  return figure.nanoseconds;
}

}  // namespace

void timeRounds(const std::vector<Workload>& workloads, std::size_t rounds, std::ostream& csv) {
  csv << "round,group,rows,contender,nanoseconds\n";
  for (std::size_t round = 0; round < rounds; ++round) {
    for (const Workload& workload : workloads) {
      const std::size_t count = workload.contenders.size();
      for (std::size_t i = 0; i < count; ++i) {
        // Another one begins in each round: nobody always has the same one's caches.
        const Contender& contender = workload.contenders[(round + i) % count];
        csv << round << ',' << workload.group << ',' << workload.rows << ',' << contender.name
            << ',' << timeOnce(contender) << '\n';
      }
    }
    csv.flush();
  }
}

}  // namespace egress::bench
