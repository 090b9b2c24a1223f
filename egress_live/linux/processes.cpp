#include "egress_live/linux/processes.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "egress_live/linux/descriptor_tables.h"
#include "egress_live/linux/errors.h"
#include "egress_live/linux/proc_text.h"

namespace egress::live {
namespace {

constexpr std::size_t kMaxCommLength = 15;
constexpr const char* kNetwork = "ns/net";

enum class Network : std::uint8_t { NONE, OWN, OTHER };

// A link of a process, or of its first thread that has not ended: the main one may end before the
// others. Nothing if all have ended.
std::optional<std::string> linkOf(const ProcDirectory& process, const std::string& name,
                                  Deadline deadline) {
  std::optional<std::string> link = linkIn(process, name);
  if (link) return link;
  forEachNumber(process, "task", deadline, [&](std::uint32_t thread) {
    link = linkIn(process, "task/" + std::to_string(thread) + '/' + name);
    return !link.has_value();
  });
  return link;
}

Network networkOf(const ProcDirectory& process, const std::string& own, Deadline deadline) {
  const std::optional<std::string> network = linkOf(process, kNetwork, deadline);
  if (!network) return Network::NONE;
  return *network == own ? Network::OWN : Network::OTHER;
}

std::string ownNetwork(const ProcDirectory& proc) {
  return linkIn(proc, std::string("self/") + kNetwork).value_or("");
}

// The path of the executable.
std::string programOf(const ProcDirectory& process, Deadline deadline) {
  return std::string(programIn(linkOf(process, "exe", deadline).value_or("")));
}

// Nothing if the process has ended or is hidden.
std::optional<std::uint32_t> userOf(const ProcDirectory& process) {
  return realUserIn(publicTextIn(process, "status").value_or(""));
}

bool hasName(const ProcDirectory& process, const std::string& name, Deadline deadline) {
  const std::optional<std::string> comm = publicTextIn(process, "comm");
  if (!comm || nameIn(*comm) != std::string_view(name).substr(0, kMaxCommLength)) return false;
  return name.size() <= kMaxCommLength || fileNameIn(programOf(process, deadline)) == name;
}

std::variant<FoundProcesses, NoProcess> findProcess(std::uint32_t id, Deadline deadline) {
  const ProcDirectory proc = openProc();
  const std::string name = "process " + std::to_string(id);
  std::optional<ProcDirectory> directory = openDirectory(proc, std::to_string(id));
  const std::optional<std::uint32_t> user = directory ? userOf(*directory) : std::nullopt;
  const Network network = user ? networkOf(*directory, ownNetwork(proc), deadline) : Network::NONE;
  if (network == Network::NONE) {
    return NoProcess{.reason = NoProcessReason::NOT_VISIBLE,
                     .message = "no " + name + " is visible to this user"};
  }
  if (network == Network::OTHER) {
    return NoProcess{.reason = NoProcessReason::OTHER_NETWORK,
                     .message = name + " is in another network namespace"};
  }
  FoundProcesses found;
  found.push_back({.process = {.id = id, .user = *user, .program = programOf(*directory, deadline)},
                   .directory = *std::move(directory)});
  return found;
}

// The process with this ID if it is one of those with the name in this network namespace.
std::optional<FoundProcess> matchingProcess(const ProcDirectory& proc, std::uint32_t id,
                                            const ProcessName& choice, const std::string& network,
                                            Deadline deadline) {
  std::optional<ProcDirectory> directory = openDirectory(proc, std::to_string(id));
  if (!directory || !hasName(*directory, choice.name, deadline)) return std::nullopt;
  const std::optional<std::uint32_t> user = userOf(*directory);
  if (!user || user != choice.user.value_or(*user)) return std::nullopt;
  if (networkOf(*directory, network, deadline) != Network::OWN) return std::nullopt;
  return FoundProcess{
      .process = {.id = id, .user = *user, .program = programOf(*directory, deadline)},
      .directory = *std::move(directory)};
}

std::vector<snapshot::Process> processesIn(const FoundProcesses& found) {
  std::vector<snapshot::Process> processes;
  for (const FoundProcess& one : found) processes.push_back(one.process);
  return processes;
}

std::variant<FoundProcesses, NoProcess> findProcessesNamed(const ProcessName& choice,
                                                           Deadline deadline) {
  const ProcDirectory proc = openProc();
  const std::string network = ownNetwork(proc);
  FoundProcesses found;
  forEachNumber(proc, kThis, deadline, [&](std::uint32_t id) {
    auto process = matchingProcess(proc, id, choice, network, deadline);
    if (process) found.push_back(*std::move(process));
    return true;
  });
  std::string named = "named '" + choice.name + "'";
  if (found.empty()) {
    if (choice.user) named += " of user " + std::to_string(*choice.user);
    return NoProcess{
        .reason = NoProcessReason::NOT_VISIBLE,
        .message = "no process " + named + " is visible to this user in this network namespace"};
  }
  const auto isOfAnotherUser = [&](const FoundProcess& one) {
    return one.process.user != found.front().process.user;
  };
  if (std::ranges::any_of(found, isOfAnotherUser)) {
    return NoProcess{.reason = NoProcessReason::DIFFERENT_USERS,
                     .message = "different users have processes " + named,
                     .processes = processesIn(found)};
  }
  return found;
}

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
    if (linkIn(thread, kNetwork)) throw;
  }
}

}  // namespace

std::variant<FoundProcesses, NoProcess> findProcesses(const ProcessChoice& choice,
                                                      Deadline deadline) {
  if (const auto* const id = std::get_if<std::uint32_t>(&choice)) return findProcess(*id, deadline);
  return findProcessesNamed(std::get<ProcessName>(choice), deadline);
}

std::set<std::uint32_t> socketInodesOf(const FoundProcesses& processes, Deadline deadline) {
  // kcmp takes the IDs of this PID namespace, which /proc may not show.
  const bool canCompare = linkIn(openProc(), "self") == std::to_string(getpid());
  DescriptorTables tables;
  std::set<std::uint32_t> inodes;
  for (const FoundProcess& found : processes) {
    forEachNumber(found.directory, "task", deadline, [&](std::uint32_t id) {
      if (canCompare && !tables.add(id)) return true;
      const auto thread = openDirectory(found.directory, "task/" + std::to_string(id));
      if (thread) addSocketInodesUnlessEnded(*thread, deadline, inodes);
      return true;
    });
  }
  return inodes;
}

}  // namespace egress::live
