#ifndef EGRESS_LIVE_LINUX_PROCESS_INFO_H
#define EGRESS_LIVE_LINUX_PROCESS_INFO_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "egress_live/linux/proc_files.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// A process whose directory in /proc is kept open.
struct FoundProcess {
  snapshot::Process process;
  ProcDirectory directory;
};
using FoundProcesses = std::vector<FoundProcess>;

// What can be read about a process in its directory of /proc. All functions throw NoPermission if
// this user may not read it, and EnumerationError after the deadline.

enum class Network : std::uint8_t {
  NONE,   // the process has ended
  OWN,    // that of this thread
  OTHER,  // any other
};

// The network namespace of this thread, as text.
[[nodiscard]] std::string ownNetwork(const ProcDirectory& proc);

[[nodiscard]] Network networkOf(const ProcDirectory& process, const std::string& own,
                                Deadline deadline);

// The ID of who started the process. Nothing if it has ended or is hidden.
[[nodiscard]] std::optional<std::uint32_t> userOf(const ProcDirectory& process);

// The path of the executable; empty if the process has ended.
[[nodiscard]] std::string programOf(const ProcDirectory& process, Deadline deadline);

// The process with this ID and user.
[[nodiscard]] FoundProcess foundProcess(std::uint32_t id, std::uint32_t user,
                                        ProcDirectory directory, Deadline deadline);

// What a record has of them, in their order.
[[nodiscard]] std::vector<snapshot::Process> processesOf(const FoundProcesses& found);

// The processes, at least one, if one user started all of them; else DIFFERENT_USERS with this
// message.
[[nodiscard]] std::variant<FoundProcesses, NoProcess> ofOneUser(FoundProcesses found,
                                                                const std::string& message);

}  // namespace egress::live

#endif
