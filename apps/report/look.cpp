#include "apps/report/look.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "apps/report/text.h"
#include "egress/version.h"
#include "egress_live/enter_network.h"

namespace egress::report {
namespace {

using live::NoProcess;
using live::NoProcessReason;
using snapshot::HostSnapshot;

// The first processes, and how many more there are.
std::string processList(const std::vector<snapshot::Process>& processes) {
  constexpr std::size_t kShown = 10;  // any user can start any number
  std::string text;
  for (std::size_t i = 0; i < std::min(kShown, processes.size()); ++i) {
    text.append(i == 0 ? "" : "; ").append(processText(processes[i]));
  }
  if (processes.size() > kShown) {
    text.append("; and ").append(std::to_string(processes.size() - kShown)).append(" more");
  }
  return text;
}

const char* optionOf(const live::ProcessChoice& choice) {
  if (std::holds_alternative<std::uint32_t>(choice)) return "--pid";
  return std::holds_alternative<live::ProcessName>(choice) ? "--process" : "--ask";
}

[[noreturn]] void fail(const live::ProcessChoice& choice, const NoProcess& none,
                       const std::string& remedy) {
  throw NoEngine(std::string(optionOf(choice)).append(": ").append(none.message).append(remedy));
}

// Goes where the process is.
void enterNetwork(const live::ProcessChoice& choice, const NoProcess& none) {
  const std::uint32_t process = none.processes.front().id;
  const std::optional<std::string> problem = live::enterNetworkOf(process);
  if (problem) {
    fail(choice, none,
         "; use nsenter --net --target " + std::to_string(process) + " egress-report ...");
  }
  printError("entered the network namespace of process " + std::to_string(process));
}

}  // namespace

std::string processText(const snapshot::Process& process) {
  std::string text =
      "process " + std::to_string(process.id) + ", user " + std::to_string(process.user);
  if (process.program.empty()) return text;
  text.append(", ");
  // Its user chose the path. A semicolon could start an invented process in a list.
  for (const char c : process.program) text.append(c == ';' ? "%3B" : std::string(1, c));
  return text;
}

HostSnapshot takeLiveSnapshot(const live::ProcessChoice& choice) {
  auto taken = live::takeSnapshot(choice);
  const auto* none = std::get_if<NoProcess>(&taken);
  const bool isElsewhere = none != nullptr && none->reason == NoProcessReason::OTHER_NETWORK;
  if (isElsewhere && !none->processes.empty()) {
    enterNetwork(choice, *none);
    taken = live::takeSnapshot(choice);
    none = std::get_if<NoProcess>(&taken);
  }
  if (none != nullptr) {
    const bool areSeveral = none->reason == NoProcessReason::DIFFERENT_USERS;
    fail(choice, *none,
         areSeveral ? "; choose with --user or --pid: " + processList(none->processes) : "");
  }
  HostSnapshot snapshot = std::get<HostSnapshot>(std::move(taken));
  snapshot.origin.program = "egress-report";
  snapshot.origin.programVersion = kVersion;
  return snapshot;
}

}  // namespace egress::report
