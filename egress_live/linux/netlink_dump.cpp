#include "egress_live/linux/netlink_dump.h"

#include <memory>
#include <sys/socket.h>
#include <vector>

namespace egress::live {
namespace {

using Socket = std::unique_ptr<mnl_socket, int (*)(mnl_socket*)>;

constexpr unsigned kSequence = 1;  // one request per socket
constexpr int kAttempts = 5;       // limits the retries on a host that changes all the time
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

void sendRequest(std::string_view what, const Socket& socket, std::uint16_t type,
                 std::span<const std::byte> payload) {
  std::vector<std::byte> buffer(mnl_nlmsg_size(aligned(payload.size())));
  nlmsghdr* const header = mnl_nlmsg_put_header(buffer.data());
  header->nlmsg_type = type;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  header->nlmsg_seq = kSequence;
  std::memcpy(mnl_nlmsg_put_extra_header(header, payload.size()), payload.data(), payload.size());
  if (mnl_socket_sendto(socket.get(), header, header->nlmsg_len) < 0) {
    fail(what, "cannot send a request to the kernel");
  }
}

DumpProgress receiveReply(std::string_view what, const Socket& socket, NetlinkReply& reply) {
  std::vector<std::byte> buffer(kReceiveSize);
  DumpProgress progress = DumpProgress::More;
  while (progress == DumpProgress::More) {
    const auto size = mnl_socket_recvfrom(socket.get(), buffer.data(), buffer.size());
    if (size < 0) fail(what, "cannot receive from the kernel");
    if (size == 0) throw EnumerationError(std::string(what).append(": the reply is incomplete"));
    progress = addPart(what, std::span(buffer).first(static_cast<std::size_t>(size)), reply);
  }
  return progress;
}

}  // namespace

NetlinkReply dumpNetlink(std::string_view what, int bus, std::uint16_t type,
                         std::span<const std::byte> payload) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const Socket socket = openSocket(what, bus);
    sendRequest(what, socket, type, payload);
    NetlinkReply reply;
    if (receiveReply(what, socket, reply) == DumpProgress::Complete) return reply;
  }
  throw EnumerationError(std::string(what).append(": a change interrupted every attempt"));
}

}  // namespace egress::live
