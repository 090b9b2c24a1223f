#include "egress_live/linux/process_info.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "egress_live/linux/proc_text.h"

namespace egress::live {
namespace {

constexpr const char* kNetwork = "ns/net";

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

}  // namespace

// Not "self", the main thread: another one may have entered another network namespace.
std::string ownNetwork(const ProcDirectory& proc) {
  return linkIn(proc, std::string("thread-self/") + kNetwork).value_or("");
}

Network networkOf(const ProcDirectory& process, const std::string& own, Deadline deadline) {
  const std::optional<std::string> network = linkOf(process, kNetwork, deadline);
  if (!network) return Network::NONE;
  return *network == own ? Network::OWN : Network::OTHER;
}

std::optional<std::uint32_t> userOf(const ProcDirectory& process) {
  return realUserIn(publicTextIn(process, "status").value_or(""));
}

std::string programOf(const ProcDirectory& process, Deadline deadline) {
  return std::string(programIn(linkOf(process, "exe", deadline).value_or("")));
}

FoundProcess foundProcess(std::uint32_t id, std::uint32_t user, ProcDirectory directory,
                          Deadline deadline) {
  std::string program = programOf(directory, deadline);
  return {.process = {.id = id, .user = user, .program = std::move(program)},
          .directory = std::move(directory)};
}

std::vector<snapshot::Process> processesOf(const FoundProcesses& found) {
  std::vector<snapshot::Process> processes;
  processes.reserve(found.size());
  for (const FoundProcess& one : found) processes.push_back(one.process);
  return processes;
}

std::variant<FoundProcesses, NoProcess> ofOneUser(FoundProcesses found,
                                                  const std::string& message) {
  const auto isOfAnotherUser = [&](const FoundProcess& one) {
    return one.process.user != found.front().process.user;
  };
  if (std::ranges::none_of(found, isOfAnotherUser)) return found;
  return NoProcess{.reason = NoProcessReason::DIFFERENT_USERS,
                   .message = message,
                   .processes = processesOf(found)};
}

}  // namespace egress::live
