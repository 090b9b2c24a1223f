#include "egress_live/linux/routing_rules.h"

#include <cstdint>
#include <sys/socket.h>
#include <vector>

#include <gtest/gtest.h>
#include <linux/fib_rules.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

constexpr int kDscp = 25;  // FRA_DSCP and FRA_FLOWLABEL, which older headers lack
constexpr int kFlowLabel = 26;

Message rule(int typeOfService = 0, int sourceBits = 0) {
  fib_rule_hdr header{};
  header.src_len = static_cast<std::uint8_t>(sourceBits);
  header.family = AF_INET;
  header.tos = static_cast<std::uint8_t>(typeOfService);
  return {RTM_NEWRULE, header};
}

// "sources ports marks trafficClass", as far as they are set.
std::string selectorsOf(const NetlinkReply& reply) {
  const RuleSelectors selectors = ruleSelectorsIn(reply);
  std::string text;
  if (selectors.sources) text += "sources ";
  if (selectors.ports) text += "ports ";
  if (selectors.marks) text += "marks ";
  if (selectors.trafficClass) text += "trafficClass ";
  return text;
}

TEST(RuleSelectorsIn, ReadsWhatARuleLooksAt) {
  const fib_rule_port_range ports{.start = 0, .end = 80};
  const fib_rule_uid_range users{.start = 0, .end = 1000};
  struct Row {
    Message message;
    std::string selectors;
  };
  for (const Row& row :
       {Row{rule(), ""}, Row{rule(0x10), "trafficClass "},
        Row{rule().with(FRA_SPORT_RANGE, ports), "ports "},
        Row{rule().with(FRA_DPORT_RANGE, ports), "ports "},
        Row{rule().with(FRA_FWMARK, 1U), "marks "}, Row{rule().with(FRA_FWMARK, 0U), ""},
        Row{rule().with(FRA_FWMASK, 0xFFFFFFFFU), "marks "}, Row{rule().with(FRA_FWMASK, 0U), ""},
        Row{rule().with(FRA_FWMARK, 0U).with(FRA_FWMASK, 1U), "marks "},
        Row{rule().with(kDscp, std::uint8_t{0}), "trafficClass "},
        Row{rule().with(kFlowLabel, 1U), "trafficClass "},
        Row{rule().with(FRA_UID_RANGE, users).with(FRA_TABLE, 100U).with(FRA_PRIORITY, 7U), ""},
        Row{rule(0, 32).with(FRA_SRC, Bytes(4)), "sources "},
        Row{rule().with(FRA_DST, Bytes(4)).with(FRA_OIFNAME, bytesOfText("up1")), ""}}) {
    EXPECT_EQ(selectorsOf(replyWith({row.message})), row.selectors);
  }
}

TEST(RuleSelectorsIn, JoinsTheSelectorsOfAllRules) {
  EXPECT_EQ(selectorsOf({}), "");
  const Message marks = rule().with(FRA_FWMARK, 1U);
  const Message ports = rule().with(FRA_SPORT_RANGE, fib_rule_port_range{.start = 1, .end = 2});
  EXPECT_EQ(selectorsOf(replyWith({ports, rule(), marks, rule(4), rule()})),
            "ports marks trafficClass ");
}

TEST(RuleSelectorsIn, RejectsShortMessagesAndMarks) {
  const Message message = rule();
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(ruleSelectorsIn({.bytes = message.first(size)})),
                 EnumerationError);
  }
  EXPECT_THROW(static_cast<void>(selectorsOf(replyWith({rule().with(FRA_FWMARK, Bytes(3))}))),
               EnumerationError);
}

TEST(RuleSelectorsIn, ReadsNothingBehindACutMessage) {
  const Message message = rule().with(FRA_FWMARK, 1U);
  for (std::size_t size = rule().size(); size < message.size(); ++size) {
    EXPECT_EQ(selectorsOf({.bytes = message.first(size)}), "");
  }
}

}  // namespace
}  // namespace egress::live
