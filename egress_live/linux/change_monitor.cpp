#include "egress_live/change_monitor.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <sys/socket.h>

#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_message.h"

namespace egress::live {

struct ChangeMonitor::Socket {
  std::unique_ptr<mnl_socket, int (*)(mnl_socket*)> netlink{nullptr, &mnl_socket_close};
};

namespace {

constexpr std::array<int, 7> kGroups = {
    RTNLGRP_LINK,       RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR, RTNLGRP_IPV4_ROUTE,
    RTNLGRP_IPV6_ROUTE, RTNLGRP_IPV4_RULE,   RTNLGRP_IPV6_RULE};
constexpr std::size_t kReceiveSize = 65536;  // larger than any message that the kernel sends

bool joinGroups(mnl_socket* netlink) {
  for (int group : kGroups) {
    if (mnl_socket_setsockopt(netlink, NETLINK_ADD_MEMBERSHIP, &group, sizeof(group)) < 0) {
      return false;
    }
  }
  return true;
}

bool hasChange(std::span<const std::byte> bytes) {
  bool found = false;
  forEachMessage(bytes, [&found](const nlmsghdr& message) {
    if (message.nlmsg_type >= NLMSG_MIN_TYPE) found = true;  // no message of netlink itself
  });
  return found;
}

}  // namespace

ChangeMonitor::ChangeMonitor() : socket_(std::make_unique<Socket>()) {
  auto& netlink = socket_->netlink;
  netlink.reset(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (netlink != nullptr && mnl_socket_bind(netlink.get(), 0, MNL_SOCKET_AUTOPID) == 0 &&
      joinGroups(netlink.get())) {
    return;
  }
  failureReason_ = withSystemError("cannot receive changes of the network from the kernel");
  netlink.reset();
}

ChangeMonitor::~ChangeMonitor() = default;

int ChangeMonitor::descriptor() const noexcept {
  return socket_->netlink == nullptr ? -1 : mnl_socket_get_fd(socket_->netlink.get());
}

const std::string& ChangeMonitor::failureReason() const noexcept {
  return failureReason_;
}

bool ChangeMonitor::takeChanges() {
  constexpr std::uint32_t kKernel = 0;
  alignas(nlmsghdr) std::array<std::byte, kReceiveSize> buffer{};
  bool changed = false;
  mnl_socket* const netlink = socket_->netlink.get();
  while (netlink != nullptr) {
    sockaddr_nl sender{};
    socklen_t senderSize = sizeof(sender);
    void* const address = &sender;
    const ssize_t size = recvfrom(mnl_socket_get_fd(netlink), buffer.data(), buffer.size(), 0,
                                  static_cast<sockaddr*>(address), &senderSize);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && errno != ENOBUFS) return changed;  // EAGAIN: there are no more
    if (size < 0) {
      changed = true;  // the kernel dropped messages
      continue;
    }
    const auto received = std::span(buffer).first(static_cast<std::size_t>(size));
    if (sender.nl_pid == kKernel && hasChange(received)) changed = true;
  }
  return changed;
}

}  // namespace egress::live
