#include "egress_live/linux/find_listener.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>

#include "egress_live/linux/errors.h"
#include "egress_live/linux/listening_sockets.h"
#include "egress_live/linux/socket_file.h"
#include "egress_live/linux/socket_inodes.h"

namespace egress::live {
namespace {

using Inodes = std::set<std::uint32_t>;

constexpr const char* kNotVisible =
    " is not visible to this user; run as root, or as the user of the engine";

// As a part of a message.
std::string listensAt(const Listener& listener) {
  const std::string place = placeOf(listener);
  return "listens at " + (listener.unixSocketPath.empty() ? place : "'" + place + "'");
}

NoProcess notVisible(const std::string& message) {
  return {.reason = NoProcessReason::NOT_VISIBLE, .message = message};
}

Inodes listeningInodes(const Listener& listener) {
  if (listener.unixSocketPath.empty()) return inodesListeningAt(listener);
  const std::optional<SocketFile> file = socketFileAt(listener.unixSocketPath);
  return file ? inodesListeningAt(*file) : Inodes();
}

struct Holders {
  FoundProcesses inOwnNetwork;
  FoundProcesses inOthers;  // they have been there, or were given the socket
};

// Adds the process if it has one of the sockets open, as far as this user may see.
void addHolder(const ProcDirectory& proc, std::uint32_t id, const Inodes& inodes, Deadline deadline,
               Holders& holders) {
  try {
    std::optional<ProcDirectory> directory = openDirectory(proc, std::to_string(id));
    if (!directory) return;
    const auto isWanted = [&](std::uint32_t inode) { return inodes.contains(inode); };
    if (std::ranges::none_of(socketInodesOf(*directory, deadline), isWanted)) return;
    const std::optional<std::uint32_t> user = userOf(*directory);
    const Network network = networkOf(*directory, ownNetwork(proc), deadline);
    if (!user || network == Network::NONE) return;
    FoundProcess found = foundProcess(id, *user, *std::move(directory), deadline);
    (network == Network::OWN ? holders.inOwnNetwork : holders.inOthers).push_back(std::move(found));
  } catch (const NoPermission&) {
    return;
  }
}

Holders holdersOf(const Inodes& inodes, Deadline deadline) {
  const ProcDirectory proc = openProc();
  Holders holders;
  forEachNumber(proc, kThis, deadline, [&](std::uint32_t id) {
    addHolder(proc, id, inodes, deadline, holders);
    return true;
  });
  return holders;
}

NoProcess inOtherNetwork(const Listener& listener, const FoundProcesses& processes) {
  return {.reason = NoProcessReason::OTHER_NETWORK,
          .message = "process " + std::to_string(processes.front().process.id) + ", which " +
                     listensAt(listener) + ", is in another network namespace",
          .processes = processesOf(processes)};
}

// The process if this user can see that it is in another network namespace.
std::optional<FoundProcess> processElsewhere(std::uint32_t id, Deadline deadline) {
  const ProcDirectory proc = openProc();
  try {
    std::optional<ProcDirectory> directory = openDirectory(proc, std::to_string(id));
    const std::optional<std::uint32_t> user = directory ? userOf(*directory) : std::nullopt;
    if (!user || networkOf(*directory, ownNetwork(proc), deadline) != Network::OTHER) return {};
    return foundProcess(id, *user, *std::move(directory), deadline);
  } catch (const NoPermission&) {
    return std::nullopt;
  }
}

// For a Unix socket that the kernel does not list: it lists those of this network namespace, but
// all that see the file can connect.
NoProcess listenerElsewhere(const Listener& listener, Deadline deadline) {
  std::uint32_t id = 0;
  try {
    id = processListeningAt(listener.unixSocketPath);
  } catch (const EnumerationError& error) {
    return notVisible(error.what());
  }
  FoundProcesses found;
  if (auto process = processElsewhere(id, deadline)) found.push_back(*std::move(process));
  if (!found.empty()) return inOtherNetwork(listener, found);
  return notVisible("the process that " + listensAt(listener) + " in another network namespace" +
                    kNotVisible);
}

}  // namespace

std::string placeOf(const Listener& listener) {
  if (!listener.unixSocketPath.empty()) return listener.unixSocketPath;
  const std::string port = std::to_string(listener.port);
  const std::string& address = listener.address;
  if (address.empty()) return "port " + port;
  const bool needsBrackets = address.find(':') != std::string::npos && !address.starts_with('[');
  return (needsBrackets ? '[' + address + ']' : address) + ':' + port;
}

std::variant<FoundProcesses, NoProcess> findListener(const Listener& listener, Deadline deadline) {
  const Inodes inodes = listeningInodes(listener);
  if (inodes.empty() && !listener.unixSocketPath.empty()) {
    return listenerElsewhere(listener, deadline);
  }
  if (inodes.empty()) {
    return notVisible("no process " + listensAt(listener) + " in this network namespace");
  }
  Holders holders = holdersOf(inodes, deadline);
  if (!holders.inOwnNetwork.empty()) {
    return ofOneUser(
        std::move(holders.inOwnNetwork),
        "processes of different users have the socket open that " + listensAt(listener));
  }
  if (!holders.inOthers.empty()) return inOtherNetwork(listener, holders.inOthers);
  return notVisible("the process that " + listensAt(listener) + kNotVisible);
}

}  // namespace egress::live
