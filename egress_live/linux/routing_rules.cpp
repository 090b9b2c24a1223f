#include "egress_live/linux/routing_rules.h"

#include <cerrno>
#include <cstdint>

#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

// Of Linux 6.13, which the headers of an older system lack.
constexpr std::uint16_t kDscp = 25;
constexpr std::uint16_t kFlowLabel = 26;

void addSelectors(const nlmsghdr& message, RuleSelectors& selectors) {
  const auto& rule = payloadOf<fib_rule_hdr>(message);
  const auto has = [&](std::uint16_t type) {
    return findAttribute(message, sizeof(rule), type) != nullptr;
  };
  const auto isNonzero = [&](std::uint16_t type) {
    const nlattr* const number = findAttribute(message, sizeof(rule), type);
    return number != nullptr && valueOf<std::uint32_t>(*number) != 0;
  };
  if (rule.src_len != 0) selectors.sources = true;
  if (has(FRA_SPORT_RANGE) || has(FRA_DPORT_RANGE)) selectors.ports = true;
  if (isNonzero(FRA_FWMARK) || isNonzero(FRA_FWMASK)) selectors.marks = true;
  if (rule.tos != 0 || has(kDscp) || has(kFlowLabel)) selectors.trafficClass = true;
}

}  // namespace

RuleSelectors ruleSelectorsIn(const NetlinkReply& reply) {
  RuleSelectors selectors;
  forEachMessage(reply.bytes,
                 [&selectors](const nlmsghdr& message) { addSelectors(message, selectors); });
  return selectors;
}

RuleSelectors takeRuleSelectors(int family) {
  fib_rule_hdr request{};
  request.family = static_cast<std::uint8_t>(family);
  try {
    return ruleSelectorsIn(dumpNetlink("routing rules", NETLINK_ROUTE, RTM_GETRULE, request));
  } catch (const KernelError& error) {
    // What a kernel without policy routing returns.
    if (error.errorNumber == EOPNOTSUPP || error.errorNumber == EAFNOSUPPORT) return {};
    throw;
  }
}

}  // namespace egress::live
