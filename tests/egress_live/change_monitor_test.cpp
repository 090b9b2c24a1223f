#include "egress_live/change_monitor.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/child_process.h"

namespace egress::live {
namespace {

bool isReadable(const ChangeMonitor& monitor) {
  pollfd wanted{.fd = monitor.descriptor(), .events = POLLIN, .revents = 0};
  return poll(&wanted, 1, 0) == 1;
}

// Changes the loopback, its addresses and its routes.
bool setLoopback(bool isUp) {
  const Descriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strcpy(&request.ifr_name[0], "lo");
  request.ifr_flags = static_cast<short>(isUp ? IFF_UP : 0);
  return ioctl(any.number(), SIOCSIFFLAGS, &request) == 0;
}

// Sends a message as the kernel would, from another socket. Returns whether there was room for it.
bool forgeChange(const ChangeMonitor& monitor) {
  sockaddr_nl target{};
  socklen_t size = sizeof(target);
  void* const pointer = &target;
  auto* const address = static_cast<sockaddr*>(pointer);
  if (getsockname(monitor.descriptor(), address, &size) != 0) return false;
  const Descriptor sender(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  const nlmsghdr message{.nlmsg_len = sizeof(message),
                         .nlmsg_type = RTM_NEWROUTE,
                         .nlmsg_flags = 0,
                         .nlmsg_seq = 0,
                         .nlmsg_pid = 0};
  return sendto(sender.number(), &message, sizeof(message), MSG_DONTWAIT, address, size) > 0;
}

// Calls the test in a network namespace of its own, and returns what it says.
std::string inNewNetwork(const std::function<std::string()>& test) {
  const ChildProcess child([&]() -> std::string { return enterNewNetwork() ? test() : "skipped"; });
  return child.text();
}

// Whether the monitor is readable, and then whether it takes a change.
std::string stateOf(ChangeMonitor& monitor) {
  const std::string readable = isReadable(monitor) ? "readable" : "idle";
  return readable + (monitor.takeChanges() ? ", changed; " : "; ");
}

TEST(ChangeMonitor, NeedsNoPermission) {
  ChangeMonitor monitor;
  EXPECT_EQ(monitor.failureReason(), "");
  EXPECT_GE(monitor.descriptor(), 0);
  static_cast<void>(monitor.takeChanges());  // does not wait
}

TEST(ChangeMonitor, SubscribesToLinksAddressesRoutesAndRules) {
  const ChangeMonitor monitor;
  std::array<std::uint32_t, 8> groups{};  // the kernel has more than 32 groups
  socklen_t size = sizeof(groups);
  ASSERT_EQ(
      getsockopt(monitor.descriptor(), SOL_NETLINK, NETLINK_LIST_MEMBERSHIPS, groups.data(), &size),
      0);
  ASSERT_LE(size, sizeof(groups));
  std::array<std::uint32_t, 8> expected{};
  for (const int group :
       {RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR, RTNLGRP_IPV4_ROUTE,
        RTNLGRP_IPV6_ROUTE, RTNLGRP_IPV4_RULE, RTNLGRP_IPV6_RULE}) {
    expected[0] |= 1U << static_cast<std::uint32_t>(group - 1);
  }
  EXPECT_EQ(groups, expected);
}

TEST(ChangeMonitor, TellsAChangeOnce) {
  const std::string text = inNewNetwork([] {
    ChangeMonitor monitor;
    std::string seen = stateOf(monitor);
    for (const bool isUp : {true, false}) {
      if (!setLoopback(isUp)) return std::string("cannot set the loopback");
      seen += stateOf(monitor);
      seen += stateOf(monitor);
    }
    return seen;
  });
  if (text == "skipped") GTEST_SKIP() << "cannot create network namespaces";
  EXPECT_EQ(text, "idle; readable, changed; idle; readable, changed; idle; ");
}

TEST(ChangeMonitor, DoesNotBelieveOtherProcesses) {
  const std::string text = inNewNetwork([] {
    ChangeMonitor monitor;
    if (!forgeChange(monitor)) return std::string("cannot forge a message");
    std::string seen = stateOf(monitor);
    return seen.append(stateOf(monitor));
  });
  if (text == "skipped") GTEST_SKIP() << "cannot create network namespaces";
  EXPECT_EQ(text, "readable; idle; ");
}

TEST(ChangeMonitor, DroppedMessagesAreAChange) {
  const std::string text = inNewNetwork([] {
    ChangeMonitor monitor;
    const int smallest = 1;
    if (setsockopt(monitor.descriptor(), SOL_SOCKET, SO_RCVBUF, &smallest, sizeof(smallest)) != 0) {
      return std::string("cannot limit the buffer");
    }
    while (forgeChange(monitor)) continue;  // until there is no room for the kernel's
    if (!setLoopback(true)) return std::string("cannot set the loopback");
    std::string seen = stateOf(monitor);
    return seen.append(stateOf(monitor));
  });
  if (text == "skipped") GTEST_SKIP() << "cannot create network namespaces";
  EXPECT_EQ(text, "readable, changed; idle; ");
}

}  // namespace
}  // namespace egress::live
