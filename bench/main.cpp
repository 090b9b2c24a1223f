#include <array>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>

#include <CLI/CLI.hpp>
#include <benchmark/benchmark.h>

#include "bench/rounds.h"
#include "bench/workloads.h"

namespace egress::bench {
namespace {

struct Options {
  std::size_t rounds = 21;
  std::string minTime = "0.03";
  std::string csvFile;
  std::string only = ".";
  std::string selfcheckProgram;
  std::string once;
  std::size_t times = 1;
  bool libraries = false;
  bool compare = false;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--csv", options.csvFile, "file for the figures");
  app.add_option(
      "--rounds", options.rounds,
      "how often each contender is timed, " + std::to_string(options.rounds) + " unless given");
  app.add_option("--min-time", options.minTime,
                 "seconds that one timing takes at least, " + options.minTime + " unless given");
  app.add_option("--only", options.only, "regular expression: only groups that match");
  app.add_option("--selfcheck", options.selfcheckProgram,
                 "the self-check program, whose whole run is timed, too");
  app.add_option("--once", options.once,
                 "for a profiler: only run this contender, of the one group that --only leaves");
  app.add_option("--times", options.times, "how often --once runs it, once unless given");
  app.add_flag("--libraries", options.libraries, "only print the peers' libraries");
  app.add_flag("--compare", options.compare, "only compare the results");
}

// What Google Benchmark takes from a command line.
void initializeBenchmark(std::string program, const std::string& minTime) {
  std::string option = "--benchmark_min_time=" + minTime;
  std::array<char*, 3> arguments = {program.data(), option.data(), nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments.data());
}

int runOnce(const Workloads& all, const Options& options) {
  if (all.workloads.size() == 1) {
    for (const Contender& contender : all.workloads.front().contenders) {
      if (contender.name != options.once) continue;
      for (std::size_t i = 0; i < options.times; ++i) contender.run();
      return 0;
    }
  }
  std::cerr << "bench: --only must leave one group, and --once name a contender of it\n";
  return 2;
}

int run(const Options& options) {
  const std::regex only(options.libraries ? "^$" : options.only);  // no group for the libraries
  const Workloads all = makeWorkloads(only, options.selfcheckProgram);
  if (options.libraries) {
    for (const std::string& library : all.libraries) std::cout << "library: " << library << "\n";
    for (const std::string& library : all.missing) std::cout << "missing: " << library << "\n";
    return 0;
  }
  for (const std::string& library : all.missing) {
    std::cerr << "bench: not found while this was built, so left out: " << library << "\n";
  }
  for (const std::string& complaint : all.complaints) std::cerr << "bench: " << complaint << "\n";
  if (!all.complaints.empty()) {
    std::cerr << "bench: nothing was timed, because the contenders' results differ\n";
    return 1;
  }
  if (!options.once.empty()) return runOnce(all, options);
  if (options.compare) {
    std::cout << "bench: all contenders agree\n";
    return 0;
  }
  std::ofstream csv(options.csvFile);
  if (!csv) {
    std::cerr << "bench: cannot write to '" << options.csvFile << "'; name a file with --csv\n";
    return 2;
  }
  timeRounds(all.workloads, options.rounds, csv);
  return 0;
}

}  // namespace
}  // namespace egress::bench

int main(int argc, char** argv) {
  try {
    egress::bench::Options options;
    CLI::App app{"Times this library and its peers in turn, once they come to the same results."};
    egress::bench::addOptions(app, options);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : 2;
    }
    egress::bench::initializeBenchmark(argv[0], options.minTime);
    return egress::bench::run(options);
  } catch (const std::exception& error) {  // a regular expression that is none, for one
    std::fputs(error.what(), stderr);
    std::fputs("\n", stderr);
    return 2;
  }
}
