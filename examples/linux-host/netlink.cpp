#include "examples/linux-host/netlink.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <memory>
#include <netinet/in.h>
#include <span>
#include <sys/socket.h>

namespace linux_host {
namespace {

using Socket = std::unique_ptr<mnl_socket, int (*)(mnl_socket*)>;

constexpr unsigned kSequence = 1;  // one request per socket
constexpr int kAttempts = 5;       // limits the retries on a host that changes all the time
constexpr std::size_t kReceiveSize = 65536;  // larger than any message that the kernel sends

Socket openSocket(const std::string& what, int bus) {
  Socket socket(mnl_socket_open2(bus, SOCK_CLOEXEC), &mnl_socket_close);
  if (socket == nullptr || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) {
    throw EnumerationError(withSystemError(what + ": cannot open a netlink socket"));
  }
  return socket;
}

std::size_t aligned(std::size_t size) {
  constexpr std::size_t kAlignment = MNL_ALIGNTO;
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

void sendRequest(const std::string& what, const Socket& socket, std::uint16_t type,
                 std::span<const std::byte> payload) {
  std::vector<std::byte> buffer(mnl_nlmsg_size(aligned(payload.size())));
  nlmsghdr* const header = mnl_nlmsg_put_header(buffer.data());
  header->nlmsg_type = type;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  header->nlmsg_seq = kSequence;
  std::memcpy(mnl_nlmsg_put_extra_header(header, payload.size()), payload.data(), payload.size());
  if (mnl_socket_sendto(socket.get(), header, header->nlmsg_len) < 0) {
    throw EnumerationError(withSystemError(what + ": cannot send a request to the kernel"));
  }
}

// The error in NLMSG_ERROR or NLMSG_DONE: 0 or a negated errno. NLMSG_DONE contains one if the
// kernel fails in the middle of a dump.
int errorIn(const nlmsghdr& message) {
  return payloadOf<int>(message);
}

void append(const nlmsghdr& message, NetlinkReply& reply) {
  const auto* const first = static_cast<const std::byte*>(static_cast<const void*>(&message));
  reply.bytes.insert(reply.bytes.end(), first, first + message.nlmsg_len);
  reply.bytes.resize(aligned(reply.bytes.size()));
}

enum class Progress : std::uint8_t { More, Complete, Interrupted };

// Appends the data messages of one part of a reply.
Progress addPart(const std::string& what, std::span<const std::byte> part, NetlinkReply& reply) {
  const void* at = part.data();
  int left = static_cast<int>(part.size());
  for (const auto* message = static_cast<const nlmsghdr*>(at); mnl_nlmsg_ok(message, left);
       message = mnl_nlmsg_next(message, &left)) {
    if ((message->nlmsg_flags & NLM_F_DUMP_INTR) != 0) return Progress::Interrupted;
    switch (message->nlmsg_type) {
      case NLMSG_NOOP: break;
      case NLMSG_ERROR:
      case NLMSG_DONE:
        if (const int error = errorIn(*message); error != 0) {
          throw EnumerationError(withSystemError(what + ": the kernel returned an error", -error));
        }
        return Progress::Complete;
      case NLMSG_OVERRUN: throw EnumerationError(what + ": the kernel lost data (NLMSG_OVERRUN)");
      default: append(*message, reply); break;
    }
  }
  return Progress::More;
}

Progress receiveReply(const std::string& what, const Socket& socket, NetlinkReply& reply) {
  std::vector<std::byte> buffer(kReceiveSize);
  Progress progress = Progress::More;
  while (progress == Progress::More) {
    const auto size = mnl_socket_recvfrom(socket.get(), buffer.data(), buffer.size());
    if (size < 0)
      throw EnumerationError(withSystemError(what + ": cannot receive from the kernel"));
    if (size == 0) throw EnumerationError(what + ": the reply is incomplete");
    progress = addPart(what, std::span(buffer).first(static_cast<std::size_t>(size)), reply);
  }
  return progress;
}

}  // namespace

NetlinkReply dumpNetlink(const std::string& what, int bus, std::uint16_t type, const void* payload,
                         std::size_t payloadSize) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const Socket socket = openSocket(what, bus);
    sendRequest(what, socket, type, {static_cast<const std::byte*>(payload), payloadSize});
    NetlinkReply reply;
    if (receiveReply(what, socket, reply) == Progress::Complete) return reply;
  }
  throw EnumerationError(what + ": a change interrupted every attempt");
}

const nlattr* findAttribute(const nlmsghdr& message, std::size_t fixedSize, std::uint16_t type) {
  const auto* const end = static_cast<const char*>(mnl_nlmsg_get_payload_tail(&message));
  const void* at = mnl_nlmsg_get_payload_offset(&message, fixedSize);
  while (true) {
    const auto* const attribute = static_cast<const nlattr*>(at);
    const auto left = end - static_cast<const char*>(at);
    if (!mnl_attr_ok(attribute, static_cast<int>(left))) return nullptr;
    if (mnl_attr_get_type(attribute) == type) return attribute;
    at = mnl_attr_next(attribute);
  }
}

std::string addressText(int family, const void* bytes, std::size_t size) {
  constexpr std::size_t kMappedPrefix = 12;  // bytes before the IPv4 address
  if (size < (family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr))) {
    throw EnumerationError("a netlink address is too short");
  }
  if (family == AF_INET6) {
    in6_addr address{};
    std::memcpy(&address, bytes, sizeof(address));
    if (IN6_IS_ADDR_V4MAPPED(&address)) {
      return addressText(AF_INET, static_cast<const std::byte*>(bytes) + kMappedPrefix,
                         size - kMappedPrefix);
    }
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(family, bytes, text.data(), text.size());
  return text.data();
}

}  // namespace linux_host
