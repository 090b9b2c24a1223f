#include "egress_live/linux/netlink_dump.h"

#include <memory>
#include <sys/socket.h>
#include <vector>

namespace egress::live {
namespace {

using Socket = std::unique_ptr<mnl_socket, int (*)(mnl_socket*)>;

constexpr std::uint32_t kAttempts = 5;  // limits the retries on a host that changes all the time
constexpr std::size_t kReceiveSize = 65536;  // larger than any message that the kernel sends

[[noreturn]] void fail(std::string_view what, const char* reason) {
  throw EnumerationError(withSystemError(std::string(what).append(": ").append(reason)));
}

Socket openSocket(std::string_view what, int bus) {
  Socket socket(mnl_socket_open2(bus, SOCK_CLOEXEC), &mnl_socket_close);
  if (socket == nullptr || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) {
    fail(what, "cannot open a netlink socket");
  }
  return socket;
}

void sendRequest(const NetlinkRequest& request, const Socket& socket, std::uint16_t type,
                 std::span<const std::byte> payload) {
  std::vector<std::byte> buffer(mnl_nlmsg_size(aligned(payload.size())));
  nlmsghdr* const header = mnl_nlmsg_put_header(buffer.data());
  header->nlmsg_type = type;
  header->nlmsg_flags =
      static_cast<std::uint16_t>(request.isDump ? NLM_F_REQUEST | NLM_F_DUMP : NLM_F_REQUEST);
  header->nlmsg_seq = request.sequence;
  std::memcpy(mnl_nlmsg_put_extra_header(header, payload.size()), payload.data(), payload.size());
  if (mnl_socket_sendto(socket.get(), header, header->nlmsg_len) < 0) {
    fail(request.what, "cannot send a request to the kernel");
  }
}

// Not mnl_socket_recvfrom, which does not tell the sender.
NetlinkPart receivePart(const NetlinkRequest& request, const Socket& socket,
                        std::span<std::byte> buffer) {
  sockaddr_nl sender{};
  socklen_t senderSize = sizeof(sender);
  void* const address = &sender;
  const ssize_t size = recvfrom(mnl_socket_get_fd(socket.get()), buffer.data(), buffer.size(),
                                MSG_TRUNC, static_cast<sockaddr*>(address), &senderSize);
  if (size < 0) fail(request.what, "cannot receive from the kernel");
  const auto received = static_cast<std::size_t>(size);
  if (received == 0 || received > buffer.size() || senderSize != sizeof(sender)) {
    throw EnumerationError(request.what + ": the reply is incomplete");
  }
  return {.sender = sender.nl_pid, .bytes = buffer.first(received)};
}

ReplyProgress receiveReply(const NetlinkRequest& request, const Socket& socket,
                           NetlinkReply& reply) {
  std::vector<std::byte> buffer(kReceiveSize);
  ReplyProgress progress = ReplyProgress::More;
  while (progress == ReplyProgress::More) {
    progress = addPart(request, receivePart(request, socket, buffer), reply);
  }
  return progress;
}

// The reply to a request, which is sent again after an interruption.
NetlinkReply replyTo(NetlinkRequest request, int bus, std::uint16_t type,
                     std::span<const std::byte> payload) {
  for (std::uint32_t attempt = 1; attempt <= kAttempts; ++attempt) {
    const Socket socket = openSocket(request.what, bus);
    request.sequence = attempt;
    request.port = mnl_socket_get_portid(socket.get());
    sendRequest(request, socket, type, payload);
    NetlinkReply reply;
    if (receiveReply(request, socket, reply) == ReplyProgress::Complete) return reply;
  }
  throw EnumerationError(request.what + ": a change interrupted every attempt");
}

}  // namespace

NetlinkReply dumpNetlink(std::string_view what, int bus, std::uint16_t type,
                         std::span<const std::byte> payload) {
  return replyTo({.what = std::string(what)}, bus, type, payload);
}

NetlinkReply requestNetlink(std::string_view what, int bus, std::uint16_t type,
                            std::span<const std::byte> payload) {
  return replyTo({.what = std::string(what), .isDump = false}, bus, type, payload);
}

}  // namespace egress::live
