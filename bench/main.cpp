#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>

#include <CLI/CLI.hpp>
#include <benchmark/benchmark.h>

#include "bench/rounds.h"
#include "bench/workloads.h"

using namespace egress::bench;

int main(int argc, char** argv) {
  std::size_t rounds = 21;
  std::string minTime = "0.03";
  std::string csvFile;
  std::string selfcheckProgram;
  std::string filter;
  bool compareOnly = false;
  CLI::App app{"Times the library and its peers in turn, after comparing their results."};
  app.add_option("--rounds", rounds, "how often each contender is timed")->capture_default_str();
  app.add_option("--min-time", minTime, "seconds that one timing takes at least")
      ->capture_default_str();
  app.add_option("--csv", csvFile, "where the figures go; standard output unless given");
  app.add_option("--selfcheck", selfcheckProgram, "the program whose whole run is timed, too");
  app.add_option("--only", filter, "regular expression: only groups that it matches");
  app.add_flag("--compare", compareOnly, "only compare the results");
  CLI11_PARSE(app, argc, argv);

  Workloads all = makeWorkloads(selfcheckProgram);
  std::string missing;
  for (const std::string& library : all.missing) {
    std::cerr << "bench: not found while this was built, so not timed: " << library << "\n";
  }
  for (const std::string& complaint : all.complaints) std::cerr << "bench: " << complaint << "\n";
  if (!all.complaints.empty()) {
    std::cerr << "bench: different results are no matter for a race; nothing was timed\n";
    return 1;
  }
  if (compareOnly) return 0;
  if (!filter.empty()) {
    std::erase_if(all.workloads, [&filter](const Workload& workload) {
      return !std::regex_search(workload.group, std::regex(filter));
    });
  }
  std::string option = "--benchmark_min_time=" + minTime;
  char* arguments[] = {argv[0], option.data(), nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
  std::ofstream file;
  if (!csvFile.empty()) file.open(csvFile);
  timeRounds(all.workloads, rounds, csvFile.empty() ? std::cout : file);
  return 0;
}
