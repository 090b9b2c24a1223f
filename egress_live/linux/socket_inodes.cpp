#include "egress_live/linux/socket_inodes.h"

#include <optional>
#include <string>
#include <unistd.h>

#include "egress_live/linux/descriptor_tables.h"
#include "egress_live/linux/proc_text.h"

namespace egress::live {
namespace {

void addSocketInodes(const ProcDirectory& thread, Deadline deadline,
                     std::set<std::uint32_t>& inodes) {
  const std::optional<ProcDirectory> links = openDirectory(thread, "fd");
  if (!links) return;
  forEachNumber(*links, kThis, deadline, [&](std::uint32_t descriptor) {
    const std::optional<std::string> link = linkIn(*links, std::to_string(descriptor));
    const std::optional<std::uint32_t> inode = socketInodeIn(link.value_or(""));
    if (inode) inodes.insert(*inode);
    return true;
  });
}

// The descriptors of a main thread that has ended are root's until the other threads end, too.
void addSocketInodesUnlessEnded(const ProcDirectory& thread, Deadline deadline,
                                std::set<std::uint32_t>& inodes) {
  try {
    addSocketInodes(thread, deadline, inodes);
  } catch (const EnumerationError&) {
    if (linkIn(thread, "ns/net")) throw;
  }
}

// Those of the threads whose table of descriptors is not among `tables` yet, which it adds.
void addSocketInodesOf(const ProcDirectory& process, Deadline deadline, DescriptorTables& tables,
                       std::set<std::uint32_t>& inodes) {
  // kcmp takes the IDs of this PID namespace, which /proc may not show.
  const bool canCompare = linkIn(openProc(), "self") == std::to_string(getpid());
  forEachNumber(process, "task", deadline, [&](std::uint32_t id) {
    if (canCompare && !tables.add(id)) return true;
    const auto thread = openDirectory(process, "task/" + std::to_string(id));
    if (thread) addSocketInodesUnlessEnded(*thread, deadline, inodes);
    return true;
  });
}

}  // namespace

std::set<std::uint32_t> socketInodesOf(const FoundProcesses& processes, Deadline deadline) {
  DescriptorTables tables;
  std::set<std::uint32_t> inodes;
  for (const FoundProcess& found : processes) {
    addSocketInodesOf(found.directory, deadline, tables, inodes);
  }
  return inodes;
}

std::set<std::uint32_t> socketInodesOf(const ProcDirectory& process, Deadline deadline) {
  DescriptorTables tables;
  std::set<std::uint32_t> inodes;
  addSocketInodesOf(process, deadline, tables, inodes);
  return inodes;
}

}  // namespace egress::live
