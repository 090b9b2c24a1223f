#include "egress_live/take_snapshot.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <sys/utsname.h>
#include <utility>
#include <vector>

#include "egress_live/linux/adapters.h"
#include "egress_live/linux/errors.h"
#include "egress_live/linux/find_listener.h"
#include "egress_live/linux/processes.h"
#include "egress_live/linux/routes.h"
#include "egress_live/linux/socket_inodes.h"
#include "egress_live/linux/sockets.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;

// Reading a million descriptors takes a few seconds.
constexpr std::chrono::seconds kProcessTimeLimit{30};

std::string timeText(std::time_t time) {
  std::tm utc{};
  gmtime_r(&time, &utc);
  std::array<char, sizeof("2026-11-22T04:23:00Z")> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return {text.data(), size};
}

// Without the name of the host.
std::string systemText() {
  utsname names{};
  if (uname(&names) != 0) return {};
  std::string text = names.sysname;
  return text.append(" ").append(names.release).append(" ").append(names.machine);
}

// Fills a list with the rows that `takeRows` returns, or marks it as failed.
template <typename Row, typename TakeRows>
void take(snapshot::SnapshotList<Row>& list, TakeRows takeRows) {
  try {
    list.rows = takeRows();
  } catch (const EnumerationError& error) {
    list = {.enumFailed = true, .failureReason = error.what(), .rows = {}};
  }
}

void addMissingMarks(HostSnapshot& snapshot) {
  const auto hasMark = [](const snapshot::Socket& socket) { return socket.mark.has_value(); };
  if (std::ranges::all_of(snapshot.sockets.rows, hasMark)) return;
  snapshot.missingFacts.push_back({.fact = snapshot::FactKind::MARK,
                                   .reason = "the kernel shows marks only with CAP_NET_ADMIN"});
}

}  // namespace

std::variant<HostSnapshot, NoProcess> takeSnapshot(const ProcessChoice& choice) {
  HostSnapshot snapshot;
  snapshot.origin.time = timeText(std::time(nullptr));
  snapshot.origin.system = systemText();
  std::optional<NoProcess> noProcess;
  take(snapshot.sockets, [&]() -> std::vector<snapshot::Socket> {
    const Deadline deadline = std::chrono::steady_clock::now() + kProcessTimeLimit;
    auto found = findProcesses(choice, deadline);
    if (auto* const none = std::get_if<NoProcess>(&found)) {
      noProcess = std::move(*none);
      return {};
    }
    const auto& processes = std::get<FoundProcesses>(found);
    snapshot.processes = processesOf(processes);
    if (const auto* const listener = std::get_if<Listener>(&choice)) {
      snapshot.listeningAt = placeOf(*listener);
    }
    return takeSockets(socketInodesOf(processes, deadline));
  });
  if (noProcess) return *std::move(noProcess);
  addMissingMarks(snapshot);
  take(snapshot.adapters, takeAdapters);
  take(snapshot.routes, takeDefaultRoutes);
  return snapshot;
}

}  // namespace egress::live
