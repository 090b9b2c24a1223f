#ifndef EGRESS_BENCH_WORKLOADS_H
#define EGRESS_BENCH_WORKLOADS_H

#include <cstddef>
#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace egress::bench {

// One who does a workload: this library, a peer, or a lower bound.
struct Contender {
  std::string name;
  std::function<void()> run;  // one operation, and nothing of it left over
};

struct Workload {
  std::string group{};
  std::size_t rows = 1;  // outbounds, addresses or sockets in one operation
  std::vector<Contender> contenders{};
};

struct Workloads {
  std::vector<Workload> workloads;
  std::vector<std::string> libraries;   // the peers' libraries with their versions, each once
  std::vector<std::string> missing;     // peers that were not found while this was built
  std::vector<std::string> complaints;  // where a peer's result differs from ours
};

// The workloads whose group `only` matches somewhere, and whether their contenders come to the same
// results. The group of whole processes is there only if `selfcheckProgram` names one of them.
Workloads makeWorkloads(const std::regex& only, const std::string& selfcheckProgram);

}  // namespace egress::bench

#endif
