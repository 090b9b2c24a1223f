#include "egress_live/enter_network.h"

#include <fcntl.h>
#include <sched.h>

#include "egress_live/linux/descriptor.h"
#include "egress_live/linux/errors.h"

namespace egress::live {

std::optional<std::string> enterNetworkOf(std::uint32_t processId) {
  const std::string id = std::to_string(processId);
  const Descriptor network(open(("/proc/" + id + "/ns/net").c_str(), O_RDONLY | O_CLOEXEC));
  if (network.number() >= 0 && setns(network.number(), CLONE_NEWNET) == 0) return std::nullopt;
  return withSystemError("cannot enter the network namespace of process " + id);
}

}  // namespace egress::live
