#include "egress_live/linux/processes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "egress_live/linux/find_listener.h"
#include "egress_live/linux/proc_text.h"

namespace egress::live {
namespace {

constexpr std::size_t kMaxCommLength = 15;

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
  FoundProcesses found;
  found.push_back(foundProcess(id, *user, *std::move(directory), deadline));
  if (network == Network::OWN) return found;
  return NoProcess{.reason = NoProcessReason::OTHER_NETWORK,
                   .message = name + " is in another network namespace",
                   .processes = processesOf(found)};
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
  return foundProcess(id, *user, *std::move(directory), deadline);
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
  if (!found.empty()) {
    return ofOneUser(std::move(found), "different users have processes " + named);
  }
  if (choice.user) named += " of user " + std::to_string(*choice.user);
  return NoProcess{
      .reason = NoProcessReason::NOT_VISIBLE,
      .message = "no process " + named + " is visible to this user in this network namespace"};
}

}  // namespace

std::variant<FoundProcesses, NoProcess> findProcesses(const ProcessChoice& choice,
                                                      Deadline deadline) {
  if (const auto* const id = std::get_if<std::uint32_t>(&choice)) return findProcess(*id, deadline);
  if (const auto* const listener = std::get_if<Listener>(&choice)) {
    return findListener(*listener, deadline);
  }
  return findProcessesNamed(std::get<ProcessName>(choice), deadline);
}

}  // namespace egress::live
