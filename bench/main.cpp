#include <exception>
#include <iostream>

#include <benchmark/benchmark.h>

#include "bench/workloads.h"

// Compares the results of all contenders, then times them. Takes the options of Google Benchmark.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
    std::cerr << "Usage: egress_bench [--benchmark_...] [SELFCHECK_PROGRAM]\n";
    return 2;
  }
  try {
    egress::bench::registerWorkloads(argc == 2 ? argv[1] : "");
  } catch (const std::exception& error) {
    std::cerr << "bench: " << error.what() << "; nothing was timed\n";
    return 1;
  }
  return benchmark::RunSpecifiedBenchmarks() == 0 ? 2 : 0;
}
