#ifndef EGRESS_LIVE_LINUX_ROUTING_RULES_H
#define EGRESS_LIVE_LINUX_ROUTING_RULES_H

#include "egress_live/linux/netlink_message.h"

namespace egress::live {

// What the routing rules (ip-rule(8)) of a family look at, as far as it matters here.
struct RuleSelectors {
  bool sources = false;  // source addresses
  bool ports = false;
  bool marks = false;
  bool trafficClass = false;  // type of service, DSCP or flow label

  bool operator==(const RuleSelectors&) const = default;
};

// The selectors of all rules of a family, AF_INET or AF_INET6, from rtnetlink; none if the kernel
// has no policy routing. Throws EnumerationError.
[[nodiscard]] RuleSelectors takeRuleSelectors(int family);

// The selectors in the reply to RTM_GETRULE. Throws EnumerationError.
[[nodiscard]] RuleSelectors ruleSelectorsIn(const NetlinkReply& reply);

}  // namespace egress::live

#endif
