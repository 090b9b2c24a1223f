// egress-report on a host with the processes that a test needs: replaces takeSnapshot. The process
// name "engine" gives two processes of the user that --user names, or of user 1000. "shared-N"
// gives N processes of as many users.

#include <charconv>

#include "egress_live/take_snapshot.h"

namespace egress::live {

std::variant<snapshot::HostSnapshot, NoProcess> takeSnapshot(const ProcessChoice& choice) {
  snapshot::HostSnapshot host;
  const auto* const chosen = std::get_if<ProcessName>(&choice);
  const std::string name = chosen == nullptr ? "engine" : chosen->name;
  const std::uint32_t user = chosen == nullptr ? 0 : chosen->user.value_or(1000);
  if (name == "engine") {
    host.processes = {{1234, user, "/usr/bin/engine"},
                      {1240, user, "/tmp/\x1b\n; process 1, user 0, x"},
                      {1250, user, ""}};
    return host;
  }
  const std::size_t digits = name.find('-') + 1;
  std::uint32_t count = 0;
  std::from_chars(name.data() + digits, name.data() + name.size(), count);
  NoProcess none{NoProcessReason::DIFFERENT_USERS, "several users run '" + name + "'", {}};
  for (std::uint32_t i = 1; i <= count; ++i) {
    none.processes.push_back({i, 1000 + i, i == 1 ? "/tmp/;" : "/usr/bin/engine"});
  }
  return none;
}

}  // namespace egress::live
