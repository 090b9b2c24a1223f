#ifndef EGRESS_LIVE_TAKE_SNAPSHOT_H
#define EGRESS_LIVE_TAKE_SNAPSHOT_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "egress_live/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// All processes with a name. On Linux it is compared with /proc/PID/comm, which the kernel
// truncates to 15 bytes; a longer name is also compared with the file name of the executable. Any
// user of the system may give any name to a process.
struct ProcessName {
  std::string name;
  std::optional<std::uint32_t> user = {};  // ID of who started them; nothing: all of one user
};

// All processes that have a socket open that accepts connections at this Unix socket, or at this
// loopback address and TCP port. A socket at a wildcard address counts if none has this address.
//
// On Linux, sock_diag lists the sockets, and /proc who has them open: a process whose descriptors
// this user may not read is not found. A Unix socket that the kernel does not list in this network
// namespace is connected to once, because only the connection tells who listens.
struct Listener {
  std::string unixSocketPath;  // empty: TCP
  std::string address;         // numeric text; empty: any loopback address
  std::uint32_t port = 0;
};

// The engine's processes: the one with this ID, those with a name, or those that listen; at least
// one.
using ProcessChoice = std::variant<std::uint32_t, ProcessName, Listener>;

enum class NoProcessReason : std::uint32_t {
  NOT_VISIBLE,      // no such process, or this user may not see it
  OTHER_NETWORK,    // the process is in another network namespace; enterNetworkOf() may help
  DIFFERENT_USERS,  // different users started the processes with this name, or that listen
};

// Why there is nothing to take a snapshot of.
struct NoProcess {
  NoProcessReason reason = NoProcessReason::NOT_VISIBLE;
  std::string message;                            // one line, in which names are as they were given
  std::vector<snapshot::Process> processes = {};  // with OTHER_NETWORK and DIFFERENT_USERS: all
};

// Takes the adapters, the default routes and the sockets of the chosen processes from the system
// that this process runs on, in its network namespace. The caller adds the engine's configuration,
// its answers and the hint, and who the program is; the rest is filled in.
//
// - A moment: the system has no call that gives all lists at once. They are taken directly one
//   after the other, sockets first; each is a list that the system had at some moment, or is taken
//   again, up to 5 times. A list that cannot be had whole has no row, enumFailed and the reason.
// - Permissions: adapters and routes need none. Sockets need to read /proc/PID/fd of the chosen
//   processes: as root, with CAP_SYS_PTRACE and CAP_DAC_READ_SEARCH, or as their user if they have
//   no capabilities. Marks of sockets need CAP_NET_ADMIN; without it, they are absent and
//   missingFacts says so.
// - Facts: the kind of each adapter, and the bound device, mark and user of each socket.
//   lookUpRoutes and PacketObserver add the others.
// - Cost on Linux: a few system calls for each thread of the chosen processes and one for each
//   descriptor in a table that they do not share, for a name also six for each process of the
//   system, for a listener also those of all processes of the system, and one for each 32 KiB of
//   what the kernel has to list: all its sockets, not only the engine's. Reading /proc ends after
//   30 s, then the list of sockets has failed. No process is started and no name is looked up.
// - Threads: any number may call it at once; it keeps no state.
// - Throws only when memory runs out.
[[nodiscard]] EGRESS_LIVE_EXPORT std::variant<snapshot::HostSnapshot, NoProcess> takeSnapshot(
    const ProcessChoice& choice);

}  // namespace egress::live

#endif
